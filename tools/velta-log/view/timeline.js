// SPDX-License-Identifier: MIT
// The lanes of the threads on a canvas: drawing, and what is under the pointer.

const gutter = 196;      // where the lanes' names stand
const axisHeight = 24;
const rowHeight = 18;
const markHeight = 12;   // the strip of events below a lane's rows
const laneGap = 8;
const deepestRow = 24;   // deeper scopes are reached by search and by steps, and share the last row
const mostStates = 60;   // objects with a row of their own

// A canvas in device pixels that is drawn in those of the page.
function fitCanvas(canvas, width, height) {
  const scale = window.devicePixelRatio || 1;
  canvas.width = Math.round(width * scale);
  canvas.height = Math.round(height * scale);
  canvas.style.height = `${height}px`;
  const context = canvas.getContext("2d");
  context.setTransform(scale, 0, 0, scale, 0, 0);
  return context;
}

function readColours() {
  const style = getComputedStyle(document.documentElement);
  const colour = (name) => style.getPropertyValue(`--${name}`).trim();
  const names = ["paper", "panel", "line", "ink", "dim", "accent", "accent-soft", "error", "warning",
    "lane", "mark", "select", "block-ink", "block-saturation", "block-light"];
  return Object.fromEntries(names.map((name) => [name, colour(name)]));
}

class Timeline {
  constructor(log, canvas, scroller, spacer) {
    Object.assign(this, { log, canvas, scroller, spacer });
    this.begin = log.begin;
    this.end = log.end;
    this.selection = null;  // { thread, scope } or { thread, mark }
    this.matches = null;    // what `findMatches` has found, while something is searched
    this.stateRows = log.summary.states.slice(0, mostStates);
    this.stateHues = stateHues(this.stateRows);
    this.layOut();
  }

  layOut() {
    let y = axisHeight + 4;
    this.lanes = this.log.threads.map((thread) => {
      const rows = Math.max(1, Math.min(thread.rows.length, deepestRow));
      const lane = { thread, y, rows, height: rows * rowHeight + markHeight };
      y += lane.height + laneGap;
      return lane;
    });
    this.statesTop = y;
    if (this.stateRows.length > 0) y += 20 + this.stateRows.length * rowHeight;
    this.contentHeight = y + 8;
  }

  resize() {
    this.width = this.scroller.clientWidth;
    this.height = this.scroller.clientHeight;
    this.spacer.style.height = `${Math.max(0, this.contentHeight - this.height)}px`;
    this.context = fitCanvas(this.canvas, this.width, this.height);
    this.colours = readColours();
    this.blocks = this.log.operations.map(({ hue }) =>
      `hsl(${hue} ${this.colours["block-saturation"]} ${this.colours["block-light"]})`);
  }

  get microsPerPixel() { return (this.end - this.begin) / Math.max(1, this.width - gutter - 8); }
  x(time) { return gutter + (time - this.begin) / this.microsPerPixel; }
  time(x) { return this.begin + (x - gutter) * this.microsPerPixel; }

  draw() {
    const { context, width, height, colours } = this;
    context.fillStyle = colours.paper;
    context.fillRect(0, 0, width, height);
    context.font = "12px system-ui, 'DejaVu Sans', sans-serif";
    context.textBaseline = "middle";
    const top = this.scroller.scrollTop;
    context.save();
    context.beginPath();
    context.rect(0, axisHeight, width, height - axisHeight);
    context.clip();
    context.translate(0, -top);
    this.drawGrid(top);
    for (const lane of this.lanes) {
      if (lane.y + lane.height >= top && lane.y <= top + height) this.drawLane(lane);
    }
    this.drawStates();
    context.restore();
    this.drawAxis();
  }

  // A round step that puts marks some hundred pixels apart.
  axisStep() {
    const raw = this.microsPerPixel * 110;
    const power = 10 ** Math.floor(Math.log10(raw));
    const factor = [1, 2, 5, 10].find((candidate) => candidate * power >= raw);
    return Math.max(factor * power, 0.01);
  }

  // Counted, not summed up: beside a huge time a step may be nothing.
  axisTimes(step) {
    const first = Math.ceil(this.begin / step);
    const count = Math.min(Math.floor(this.end / step) - first + 1, this.width);
    return Array.from({ length: Math.max(count, 0) }, (_, i) => (first + i) * step);
  }

  drawGrid(top) {
    const { context, colours } = this;
    context.fillStyle = colours.line;
    context.globalAlpha = 0.55;
    for (const t of this.axisTimes(this.axisStep())) {
      context.fillRect(Math.round(this.x(t)), top, 1, this.height);
    }
    context.globalAlpha = 1;
  }

  drawAxis() {
    const { context, colours, width } = this;
    context.fillStyle = colours.panel;
    context.fillRect(0, 0, width, axisHeight);
    context.fillStyle = colours.line;
    context.fillRect(0, axisHeight - 1, width, 1);
    context.fillStyle = colours.dim;
    const step = this.axisStep();
    for (const t of this.axisTimes(step)) {
      const x = Math.round(this.x(t));
      context.fillRect(x, axisHeight - 6, 1, 5);
      context.fillText(momentText(t, step), x + 4, axisHeight / 2 - 1);
    }
  }

  drawLane(lane) {
    const { context, colours, width } = this;
    context.fillStyle = colours.lane;
    context.fillRect(gutter, lane.y, width - gutter, lane.height);
    context.save();
    context.beginPath();
    context.rect(gutter, lane.y - 3, width - gutter, lane.height + 6);
    context.clip();
    lane.thread.rows.forEach((row, depth) => this.drawRow(lane, row, depth));
    this.drawMarks(lane);
    context.restore();
    this.drawLabel(lane.thread.label, lane.y + rowHeight / 2, colours.ink);
    const { records, errors } = this.log.summary.threads[lane.thread.index];
    if (lane.height < 34) return;
    this.drawLabel(countText(records, "record") + (errors ? `, ${countText(errors, "error")}` : ""),
      lane.y + rowHeight * 1.4, errors ? colours.error : colours.dim);
  }

  // Cut in its middle where it is too long: threads of one name differ at the end.
  drawLabel(text, y, colour) {
    const { context } = this;
    context.fillStyle = colour;
    const ends = (head) => `${text.slice(0, head)}\u2026${text.slice(-8)}`;
    const fits = (candidate) => context.measureText(candidate).width <= gutter - 20;
    let head = Math.min(50, text.length - 9);
    let shown = head === 50 ? ends(head) : text;
    for (; head > 0 && !fits(shown); --head) shown = ends(head);
    context.fillText(shown, 12, y);
  }

  // Scopes narrower than a pixel are drawn once a pixel: a full ring has more of them than pixels.
  drawRow(lane, row, depth) {
    const { context, colours } = this;
    const { thread } = lane;
    const { begin, duration, operation } = thread.scopes;
    const y = lane.y + Math.min(depth, deepestRow - 1) * rowHeight;
    const first = Math.max(0, lowerBound(row.length, (i) => begin[row[i]], this.begin) - 1);
    let lastPixel = -1;
    let lastWasMatch = true;
    for (let n = first; n < row.length; ++n) {
      const i = row[n];
      if (begin[i] > this.end) break;
      const left = Math.max(this.x(begin[i]), gutter - 2);
      const right = Math.min(this.x(begin[i] + duration[i]), this.width + 2);
      if (right < gutter) continue;
      const isMatch = this.isMatch(thread.scopes, i);
      const pixel = Math.round(right);
      if (right - left < 1 && pixel === lastPixel && (lastWasMatch || !isMatch)) continue;
      lastPixel = pixel;
      lastWasMatch = isMatch;
      const room = Math.max(right - left, 1);
      context.globalAlpha = isMatch ? 1 : 0.22;
      context.fillStyle = this.blocks[operation[i]];
      context.fillRect(left, y + 1, room > 3 ? room - 0.6 : room, rowHeight - 2);
      if (room > 34) this.drawBlockText(i, thread, left, y, room);
    }
    context.globalAlpha = 1;
    const { selection } = this;
    if (selection?.thread === thread && thread.scopes.depth[selection.scope] === depth) {
      const left = Math.max(this.x(begin[selection.scope]), gutter - 4);
      const right = Math.min(this.x(thread.end(selection.scope)), this.width + 4);
      context.strokeStyle = colours.select;
      context.lineWidth = 2;
      context.strokeRect(left, y + 1, Math.max(right - left, 2), rowHeight - 2);
    }
  }

  drawBlockText(i, thread, left, y, room) {
    const { context, colours } = this;
    const { name, operation } = this.log.operations[thread.scopes.operation[i]];
    const fits = (text) => context.measureText(text).width < room - 8;
    const text = [name, operation].find(fits);
    if (text === undefined) return;
    context.fillStyle = colours["block-ink"];
    context.fillText(text, Math.max(left, gutter) + 4, y + rowHeight / 2 + 0.5);
  }

  // Events as ticks below the rows; errors as triangles above all else.
  drawMarks(lane) {
    const { context, colours } = this;
    const { marks } = lane.thread;
    const y = lane.y + lane.rows * rowHeight;
    const at = (i) => marks.time[i];
    let lastPixel = -1;
    for (let i = lowerBound(marks.time.length, at, this.begin); i < marks.time.length; ++i) {
      if (marks.time[i] > this.end) break;
      const pixel = Math.round(this.x(marks.time[i]));
      const isMatch = this.isMarkMatch(marks, i);
      if (pixel === lastPixel && !(this.matches && isMatch)) continue;
      lastPixel = pixel;
      context.globalAlpha = isMatch ? 1 : 0.3;
      context.fillStyle = this.matches && isMatch ? colours.accent : colours.mark;
      context.fillRect(pixel, y + 3, 1, markHeight - 4);
    }
    this.drawErrors(lane.thread, y + markHeight, false);
    this.drawErrors(lane.thread, y + markHeight, true);
    context.globalAlpha = 1;
    const { selection } = this;
    if (selection?.thread === lane.thread && selection.mark !== undefined) {
      context.fillStyle = colours.select;
      context.fillRect(Math.round(this.x(marks.time[selection.mark])) - 1, lane.y, 2, lane.height);
    }
  }

  drawErrors({ marks, errors }, bottom, failures) {
    const { context, colours } = this;
    let lastPixel = -1;
    const first = lowerBound(errors.length, (n) => marks.time[errors[n]], this.begin);
    for (let n = first; n < errors.length; ++n) {
      const i = errors[n];
      if (marks.time[i] > this.end) break;
      const pixel = Math.round(this.x(marks.time[i]));
      if (pixel === lastPixel || this.log.isFailure(marks.code[i]) !== failures) continue;
      const isMatch = this.isMarkMatch(marks, i);
      if (isMatch) lastPixel = pixel;
      context.globalAlpha = isMatch ? 1 : 0.3;
      this.drawTriangle(pixel, bottom, failures ? colours.error : colours.warning);
    }
  }

  drawTriangle(x, bottom, colour) {
    const { context } = this;
    context.fillStyle = colour;
    context.beginPath();
    context.moveTo(x, bottom - 11);
    context.lineTo(x + 5.5, bottom - 1);
    context.lineTo(x - 5.5, bottom - 1);
    context.fill();
  }

  drawStates() {
    if (this.stateRows.length === 0) return;
    const { context, colours } = this;
    this.drawLabel("States", this.statesTop + 9, colours.dim);
    this.stateRows.forEach((states, row) => {
      const y = this.statesTop + 20 + row * rowHeight;
      this.drawLabel(states.name === "unknown" ? states.class : states.name, y + rowHeight / 2,
        colours.ink);
      const first = Math.max(0,
        lowerBound(states.history.length, (i) => states.history[i].beginUs, this.begin) - 1);
      let lastPixel = -1;
      for (let i = first; i < states.history.length; ++i) {
        const span = states.history[i];
        if (span.beginUs > this.end) break;
        const left = Math.max(this.x(span.beginUs), gutter);
        const right = Math.min(this.x(span.endUs), this.width);
        const pixel = Math.round(right);
        if (right < gutter || (right - left < 1 && pixel === lastPixel)) continue;
        lastPixel = pixel;
        context.fillStyle = `hsl(${this.stateHues.get(span.state)} ${colours["block-saturation"]} ${colours["block-light"]})`;
        context.fillRect(left, y + 3, Math.max(right - left - 0.6, 1), rowHeight - 6);
        if (context.measureText(span.state).width < right - left - 8) {
          context.fillStyle = colours["block-ink"];
          context.fillText(span.state, left + 4, y + rowHeight / 2 + 0.5);
        }
      }
    });
  }

  // Without a search everything stands out.
  isMatch(scopes, i) { return this.matches === null || this.matches.hasScope(scopes, i); }
  isMarkMatch(marks, i) { return this.matches === null || this.matches.hasMark(marks, i); }

  // What is at a place of the canvas: { thread, scope }, { thread, mark }, { state, span } or null.
  hit(x, y) {
    if (x < gutter || y < axisHeight) return null;
    const contentY = y + this.scroller.scrollTop;
    const lane = this.lanes.find((l) => contentY >= l.y && contentY < l.y + l.height);
    if (lane) return this.hitLane(lane, x, contentY);
    const states = this.stateRows[Math.floor((contentY - this.statesTop - 20) / rowHeight)];
    if (!states || contentY < this.statesTop + 20) return null;
    const time = this.time(x);
    const span = states.history.find((s) => s.beginUs <= time && s.endUs >= time);
    return span ? { states, span } : null;
  }

  hitLane({ thread, y, rows }, x, contentY) {
    const near = 5 * this.microsPerPixel;
    const time = this.time(x);
    const depth = Math.floor((contentY - y) / rowHeight);
    if (depth >= rows) {
      const nearest = (indexes, at) => {
        const n = lowerBound(indexes, at, time);
        return [n - 1, n].filter((i) => i >= 0 && i < indexes && Math.abs(at(i) - time) <= near)
          .sort((a, b) => Math.abs(at(a) - time) - Math.abs(at(b) - time))[0];
      };
      // An error is what one aims at, among many other events.
      const error = nearest(thread.errors.length, (n) => thread.marks.time[thread.errors[n]]);
      if (error !== undefined) return { thread, mark: thread.errors[error] };
      const mark = nearest(thread.marks.time.length, (n) => thread.marks.time[n]);
      return mark === undefined ? null : { thread, mark };
    }
    const row = thread.rows[depth] ?? [];
    const n = lowerBound(row.length, (i) => thread.scopes.begin[row[i]], time);
    const found = [n - 1, n].find((i) => i >= 0 && i < row.length &&
      this.x(thread.scopes.begin[row[i]]) <= x + 1.5 && this.x(thread.end(row[i])) >= x - 1.5);
    return found === undefined ? null : { thread, scope: row[found] };
  }
}
