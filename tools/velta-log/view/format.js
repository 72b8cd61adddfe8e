// SPDX-License-Identifier: MIT
// Times and numbers as people read them, and elements with text in them.

const counted = new Intl.NumberFormat("en");

function durationText(micros) {
  const magnitude = Math.abs(micros);
  if (magnitude < 1000) return `${Math.round(micros * 100) / 100} \u00b5s`;
  if (magnitude < 1e6) return `${(micros / 1000).toPrecision(3)} ms`;
  return `${(micros / 1e6).toFixed(3)} s`;
}

const countText = (count, noun) => `${counted.format(count)} ${noun}${count === 1 ? "" : "s"}`;

// A moment, to the precision that steps of `step` microseconds need.
function momentText(micros, step = 1) {
  const [unit, name] = step >= 1e6 ? [1e6, "s"] : step >= 1000 ? [1000, "ms"] : [1, "\u00b5s"];
  return `${counted.format(Math.round((micros / unit) * 100) / 100)} ${name}`;
}

function element(tag, attributes = {}, ...children) {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (name.startsWith("on")) made.addEventListener(name.slice(2), value);
    else if (name === "class") made.className = value;
    else made.setAttribute(name, value);
  }
  made.append(...children);
  return made;
}
