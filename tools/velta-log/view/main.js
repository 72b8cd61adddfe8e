// SPDX-License-Identifier: MIT
// The page: what keys, pointer, search and tables do to the timeline.

const byId = (id) => document.getElementById(id);
const log = new Log(JSON.parse(byId("data").textContent));
const timeline = new Timeline(log, byId("timeline"), byId("scroller"), byId("spacer"));
const overview = new Overview(log, byId("overview"));
const shortestView = 2;  // microseconds: the log's clock is no finer

let drawAsked = false;
function redraw() {
  if (drawAsked) return;
  drawAsked = true;
  requestAnimationFrame(() => {
    drawAsked = false;
    timeline.draw();
    overview.draw(timeline.begin, timeline.end);
  });
}

function show(begin, end) {
  const whole = log.end - log.begin;
  const span = Math.min(Math.max(end - begin, shortestView), whole);
  timeline.begin = Math.min(Math.max((begin + end - span) / 2, log.begin), log.end - span);
  timeline.end = timeline.begin + span;
  const step = span / 20;
  byId("range").textContent =
    `${momentText(timeline.begin, step)} to ${momentText(timeline.end, step)}, ${durationText(span)} of ${durationText(whole)}`;
  redraw();
}

function zoom(factor, around = (timeline.begin + timeline.end) / 2) {
  show(around - (around - timeline.begin) * factor, around + (timeline.end - around) * factor);
}

function pan(part) {
  const span = timeline.end - timeline.begin;
  const by = Math.min(Math.max(part * span, log.begin - timeline.begin), log.end - timeline.end);
  show(timeline.begin + by, timeline.end + by);
}

// Selection

function placeTime({ thread, scope, mark }) {
  return scope !== undefined ? thread.scopes.begin[scope] : thread.marks.time[mark];
}

// The operations from the outermost scope to this one, as a fact; none without a scope. Of a deep
// recursion both ends.
function inside(thread, scope) {
  const path = [];
  for (let i = scope; i >= 0; i = thread.parent(i)) {
    path.push(log.operations[thread.scopes.operation[i]].name);
  }
  path.reverse();
  if (path.length > 16) path.splice(8, path.length - 16, `\u2026 ${counted.format(path.length - 16)} more`);
  return path.length > 0 ? [["inside", path.join(" \u203a ")]] : [];
}

function describe({ thread, scope, mark }) {
  if (scope === undefined) {
    const { marks } = thread;
    const code = marks.code[mark];
    const cause = thread.causes.get(mark);
    return [log.markName(marks, mark), [
      ["event", log.eventName(code)],
      ["at", `${(marks.time[mark] / 1e6).toFixed(6)} s`],
      ["thread", thread.label], ["object", log.objectText(marks.object[mark])],
      log.isError(code) ? ["line", String(marks.value2[mark])]
        : ["values", `${marks.value1[mark]}, ${marks.value2[mark]}`],
      ...thread.parameters.get(mark) ?? [],
      ...(cause === undefined ? [] : [["after", log.markName(marks, cause)]]),
      ...inside(thread, marks.scope[mark]),
    ]];
  }
  const { scopes } = thread;
  const entry = log.operations[scopes.operation[scope]];
  const facts = [
    ["class", entry.class], ["operation", entry.operation],
    ["duration", durationText(scopes.duration[scope])],
    ["self", durationText(thread.self(scope))],
    ["at", `${(scopes.begin[scope] / 1e6).toFixed(6)} s`],
    ["thread", thread.label], ["object", log.objectText(scopes.object[scope])],
    ["values", `${scopes.value1[scope]}, ${scopes.value2[scope]}`],
  ];
  if (scopes.cut[scope] & 1) facts.push(["begin", "before the log"]);
  if (scopes.cut[scope] & 2) facts.push(["end", "never closed"]);
  return [entry.name, [...facts, ...inside(thread, thread.parent(scope))]];
}

function select(place, { reveal = false, tab = true } = {}) {
  timeline.selection = place;
  if (place === null) {
    selectionBody.replaceChildren(element("p", { class: "empty" }, "Nothing is selected."));
    redraw();
    return;
  }
  const [name, facts] = describe(place);
  selectionBody.replaceChildren(element("dl", {}, element("dt", {}, "what"),
    element("dd", {}, element("b", {}, name)),
    ...facts.flatMap(([key, value]) => [element("dt", {}, key), element("dd", {}, value)])));
  byId("announce").textContent = `${name}, ${facts.map((fact) => fact.join(" ")).join(", ")}`;
  if (tab) openTab("selection");
  if (reveal) revealPlace(place);
  redraw();
}

function revealPlace(place) {
  const time = placeTime(place);
  const span = timeline.end - timeline.begin;
  if (time < timeline.begin || time > timeline.end) show(time - span / 2, time + span / 2);
  const lane = timeline.lanes[place.thread.index];
  const { scroller } = timeline;
  if (lane.y < scroller.scrollTop + axisHeight ||
      lane.y + lane.height > scroller.scrollTop + scroller.clientHeight) {
    scroller.scrollTop = lane.y - axisHeight - 8;
  }
}

function zoomToSelection() {
  const place = timeline.selection;
  if (!place) return;
  const time = placeTime(place);
  const duration = place.scope !== undefined ? place.thread.scopes.duration[place.scope] : 0;
  const room = Math.max(duration * 0.15, (log.end - log.begin) / 2000, 5);
  show(time - room, time + duration + room);
}

// The next or previous scope or event of the selected thread.
function step(direction) {
  const thread = timeline.selection?.thread ?? log.threads[0];
  if (!thread) return;
  const { scope, mark } = timeline.selection ?? {};
  const isMark = mark !== undefined;
  const count = isMark ? thread.marks.time.length : thread.scopes.begin.length;
  const from = isMark ? mark : scope ?? (direction > 0 ? -1 : count);
  const next = Math.min(Math.max(from + direction, 0), count - 1);
  if (count > 0) select(isMark ? { thread, mark: next } : { thread, scope: next }, { reveal: true });
}

// Errors

let currentError = -1;
function goToError(index) {
  if (log.errors.length === 0) return;
  const count = log.errors.length;
  currentError = ((index % count) + count) % count;
  const error = log.errors[currentError];
  const thread = log.threads[error.thread];
  const time = thread.marks.time[error.mark];
  const room = Math.max((log.end - log.begin) / 100, 20);
  if (timeline.end - timeline.begin > 4 * room) show(time - room, time + room);
  select({ thread, mark: error.mark }, { reveal: true, tab: false });
  openTab("errors");
  errors.setCurrent(error);
}

// Search

let currentMatch = -1;
function find(text) {
  timeline.matches = findMatches(log, text);
  currentMatch = -1;
  const places = timeline.matches?.places;
  byId("matches").textContent = places ? `${counted.format(places.length)} found` : "";
  redraw();
}

function goToMatch(direction) {
  const places = timeline.matches?.places ?? [];
  if (places.length === 0) return;
  if (currentMatch < 0) {
    const n = lowerBound(places.length, (i) => places[i].time, timeline.begin);
    currentMatch = direction > 0 ? n - 1 : n;
  }
  currentMatch = (currentMatch + direction + places.length) % places.length;
  byId("matches").textContent = `${counted.format(currentMatch + 1)} of ${counted.format(places.length)}`;
  const { thread, scope, mark } = places[currentMatch];
  select(scope !== undefined ? { thread, scope } : { thread, mark }, { reveal: true });
}

// Tabs

const selectionBody = element("div");
const errors = errorTable(log, (row) => goToError(log.errors.indexOf(row)));
const hasFailures = log.errors.some(
  ({ thread, mark }) => log.isFailure(log.threads[thread].marks.code[mark]));
const openScopes = log.summary.neverClosed.length;
const tabs = [
  { id: "selection", title: "Selection", make: () => selectionBody },
  { id: "errors", title: "Errors", count: log.errors.length, bad: hasFailures,
    make: () => errors.element },
  { id: "operations", title: "Operations", count: log.operations.length,
    make: () => operationTable(log, (row) => {
      byId("find").value = row.name;
      find(row.name);
      goToMatch(1);
    }).element },
  { id: "classes", title: "Classes", count: log.summary.classes.length, make: () => classTable(log).element },
  { id: "threads", title: "Threads", count: log.threads.length, make: () => threadTable(log).element },
  { id: "states", title: "States", count: log.summary.states.length, make: () => stateTable(log).element },
  ...(openScopes ? [{ id: "open", title: "Never closed", count: openScopes,
    make: () => openScopeTable(log).element }] : []),
];

function openTab(id, focus = false) {
  const chosen = tabs.find((tab) => tab.id === id) ?? tabs[0];
  chosen.content ??= chosen.make();
  byId("body").replaceChildren(chosen.content);
  byId("body").setAttribute("aria-labelledby", `tab-${chosen.id}`);
  for (const tab of tabs) {
    tab.button.setAttribute("aria-selected", tab === chosen);
    tab.button.tabIndex = tab === chosen ? 0 : -1;
  }
  if (focus) chosen.button.focus();
}

tabs.forEach((tab, i) => {
  tab.button = element("button", { type: "button", role: "tab", id: `tab-${tab.id}`,
    "aria-controls": "body", onclick: () => openTab(tab.id), onkeydown: (event) => {
      const by = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
      if (!by) return;
      event.stopPropagation();
      openTab(tabs[(i + by + tabs.length) % tabs.length].id, true);
    } }, tab.title);
  if (tab.count !== undefined) {
    tab.button.append(" ", element("span", { class: tab.bad ? "count bad" : "count" },
      counted.format(tab.count)));
  }
  byId("tabs").append(tab.button);
});

// Pointer

const tip = byId("tip");
function showTip(event) {
  const box = timeline.canvas.getBoundingClientRect();
  const hit = timeline.hit(event.clientX - box.left, event.clientY - box.top);
  tip.hidden = hit === null;
  if (hit === null) return;
  const lines = hit.span
    ? [hit.span.state, `${hit.states.class}, ${hit.states.name === "unknown" ? hit.states.object : hit.states.name}`,
      durationText(hit.span.endUs - hit.span.beginUs)]
    : [describe(hit)[0], ...describe(hit)[1].filter(([key]) => !["class", "operation", "inside"].includes(key))
      .map(([key, value]) => `${key} ${value}`)];
  tip.replaceChildren(element("b", {}, lines[0]), ...lines.slice(1).map((line) => element("span", {}, line)));
  tip.style.left = `${Math.min(event.clientX + 14, window.innerWidth - tip.offsetWidth - 8)}px`;
  tip.style.top = `${Math.min(event.clientY + 16, window.innerHeight - tip.offsetHeight - 8)}px`;
}

function followPointer() {
  const { canvas, scroller } = timeline;
  let drag = null;
  canvas.addEventListener("pointerdown", (event) => {
    drag = { x: event.clientX, y: event.clientY, begin: timeline.begin, end: timeline.end,
      top: scroller.scrollTop, moved: false };
    canvas.setPointerCapture(event.pointerId);
  });
  canvas.addEventListener("pointermove", (event) => {
    if (!drag) {
      showTip(event);
      return;
    }
    const x = event.clientX - drag.x;
    const y = event.clientY - drag.y;
    drag.moved ||= Math.abs(x) + Math.abs(y) > 4;
    if (!drag.moved) return;
    tip.hidden = true;
    canvas.classList.add("dragging");
    const by = Math.min(Math.max(-x * timeline.microsPerPixel, log.begin - drag.begin), log.end - drag.end);
    scroller.scrollTop = drag.top - y;
    show(drag.begin + by, drag.end + by);
  });
  const drop = (event) => {
    canvas.classList.remove("dragging");
    if (drag && !drag.moved) {
      const box = canvas.getBoundingClientRect();
      const hit = timeline.hit(event.clientX - box.left, event.clientY - box.top);
      select(hit?.thread ? hit : null);
    }
    drag = null;
  };
  canvas.addEventListener("pointerup", drop);
  canvas.addEventListener("pointercancel", drop);
  canvas.addEventListener("pointerleave", () => { tip.hidden = true; });
  canvas.addEventListener("dblclick", zoomToSelection);
  canvas.addEventListener("wheel", (event) => {
    event.preventDefault();
    tip.hidden = true;
    if (event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY)) {
      pan((event.deltaX || event.deltaY) / 800);
    } else if (event.altKey) {
      scroller.scrollTop += event.deltaY;
    } else {
      const box = canvas.getBoundingClientRect();
      zoom(1.0018 ** event.deltaY, timeline.time(Math.max(event.clientX - box.left, gutter)));
    }
  }, { passive: false });

  const moveView = (event) => {
    if (event.buttons !== 1) return;
    const middle = overview.time(event.offsetX);
    const half = (timeline.end - timeline.begin) / 2;
    show(middle - half, middle + half);
  };
  overview.canvas.addEventListener("pointerdown", (event) => {
    overview.canvas.setPointerCapture(event.pointerId);
    moveView(event);
  });
  overview.canvas.addEventListener("pointermove", moveView);
}

// Keys

const keys = {
  ArrowLeft: () => pan(-0.2), ArrowRight: () => pan(0.2),
  ArrowUp: () => { timeline.scroller.scrollTop -= 40; },
  ArrowDown: () => { timeline.scroller.scrollTop += 40; },
  PageUp: () => pan(-0.9), PageDown: () => pan(0.9),
  Home: () => pan(-Infinity), End: () => pan(Infinity),
  "+": () => zoom(0.6), "=": () => zoom(0.6), "-": () => zoom(1 / 0.6),
  0: () => show(log.begin, log.end),
  ",": () => step(-1), ".": () => step(1),
  e: () => goToError(currentError + 1), E: () => goToError((currentError < 0 ? log.errors.length : currentError) - 1),
  n: () => goToMatch(1), N: () => goToMatch(-1),
  "/": () => byId("find").focus(),
  Enter: zoomToSelection, Escape: () => select(null),
};

function followKeys() {
  document.addEventListener("keydown", (event) => {
    if (event.ctrlKey || event.metaKey || event.altKey || event.target.tagName === "INPUT") return;
    // Buttons keep Enter, tables keep the arrows.
    const onTimeline = event.target === timeline.canvas || event.target === document.body;
    if (!onTimeline && (event.key.length > 1)) return;
    const act = keys[event.key];
    if (!act) return;
    event.preventDefault();
    act();
  });
  const field = byId("find");
  field.addEventListener("input", () => find(field.value));
  field.addEventListener("keydown", (event) => {
    if (event.key === "Enter") goToMatch(event.shiftKey ? -1 : 1);
    if (event.key === "Escape") {
      field.value = "";
      find("");
      timeline.canvas.focus();
    }
  });
  const buttons = { zoomIn: () => zoom(0.6), zoomOut: () => zoom(1 / 0.6),
    fit: () => show(log.begin, log.end), next: () => goToMatch(1), previous: () => goToMatch(-1) };
  for (const [id, act] of Object.entries(buttons)) byId(id).addEventListener("click", act);
}

// "#zoom=1000,2500&find=Start&error=1&tab=operations": a place to link to. Microseconds;
// errors count from 1.
function followAddress() {
  const wanted = new URLSearchParams(location.hash.slice(1));
  const [begin, end] = (wanted.get("zoom") ?? "").split(",").map(Number);
  if (end > begin) show(begin, end);
  if (wanted.has("find")) {
    byId("find").value = wanted.get("find");
    find(wanted.get("find"));
  }
  const error = Number(wanted.get("error") ?? NaN);
  if (Number.isInteger(error)) goToError(error - 1);
  if (wanted.has("tab")) openTab(wanted.get("tab"));
}

function resize() {
  timeline.resize();
  overview.resize();
  redraw();
}

function start() {
  const { records, wall } = log.summary;
  byId("span").textContent = `${countText(records, "record")} in ${durationText(log.summary.endUs - log.begin)}` +
    (wall ? `, from ${wall.replace("T", " ")}` : "");
  timeline.canvas.setAttribute("aria-label",
    `Timeline of ${countText(log.threads.length, "thread")} with ${countText(records, "record")}`);
  followPointer();
  followKeys();
  timeline.scroller.addEventListener("scroll", redraw);
  window.addEventListener("resize", resize);
  window.addEventListener("hashchange", followAddress);
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", resize);
  timeline.resize();
  overview.resize();
  show(log.begin, log.end);
  select(null, { tab: false });
  openTab(log.errors.length > 0 ? "errors" : "operations");
  followAddress();
}
start();
