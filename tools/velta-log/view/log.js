// SPDX-License-Identifier: MIT
// The log, built from the columns that the program has written.

function sums(differences) {
  const values = new Float64Array(differences.length);
  let value = 0;
  for (let i = 0; i < values.length; ++i) values[i] = value += differences[i];
  return values;
}

const pairs = (list) => list.flatMap((name, i) => (i % 2 ? [] : [[name, list[i + 1]]]));

class Thread {
  constructor(data, index, log) {
    this.index = index;
    this.label = data.label;
    this.scopes = { ...data.scopes, begin: sums(data.scopes.begin) };
    this.marks = { ...data.marks, time: sums(data.marks.time) };
    // A row for each depth: scopes of one depth never overlap.
    this.rows = [];
    this.scopes.depth.forEach((depth, i) => (this.rows[depth] ??= []).push(i));
    this.errors = [];
    this.causes = new Map();  // of a dismissed error, the one before it
    this.parameters = new Map();  // of an error, [name, value] of each parameter
    this.marks.code.forEach((code, i) => { if (log.isError(code)) this.errors.push(i); });
  }

  end(scope) { return this.scopes.begin[scope] + this.scopes.duration[scope]; }

  // The scope's time without its direct inner scopes.
  self(scope) {
    const { depth, duration } = this.scopes;
    let self = duration[scope];
    for (let i = scope + 1; i < depth.length && depth[i] > depth[scope]; ++i) {
      if (depth[i] === depth[scope] + 1) self -= duration[i];
    }
    return Math.max(self, 0);
  }

  // The scope around the one at `scope`; -1 for an outermost one.
  parent(scope) {
    const { depth } = this.scopes;
    if (depth[scope] === 0) return -1;
    let i = scope - 1;
    while (depth[i] >= depth[scope]) --i;
    return i;
  }
}

class Log {
  constructor(data) {
    Object.assign(this, data);
    this.eventOf = new Map(data.events.map((event) => [event.code, event]));
    this.begin = data.summary.beginUs;
    this.end = Math.max(data.summary.endUs, this.begin + 1);
    const hues = classHues(data.summary.classes);
    this.operations = data.summary.operations.map((entry) => ({
      ...entry, name: `${entry.class}.${entry.operation}`, hue: hues.get(entry.class) }));
    this.threads = data.threads.map((thread, index) => new Thread(thread, index, this));
    this.errors = data.errors.map(([thread, mark, cause]) => ({ thread, mark, cause }));
    for (const [thread, mark, cause, parameters] of data.errors) {
      if (cause >= 0) this.threads[thread].causes.set(mark, cause);
      if (parameters) this.threads[thread].parameters.set(mark, pairs(parameters));
    }
  }

  objectText(object) {
    const name = this.objectNames[object];
    return name === undefined ? this.objects[object] : `${name} (${this.objects[object]})`;
  }

  eventName(code) { return this.eventOf.get(code)?.name.replaceAll("_", " ") ?? `event ${code}`; }
  level(code) { return this.eventOf.get(code)?.level; }
  isError(code) { return this.level(code) === "error" || this.level(code) === "warning"; }

  // Whether something failed and was not dismissed.
  isFailure(code) { return this.level(code) === "error"; }

  // What a mark is called: its operation, and the error, state or message if it names one.
  markName(marks, i) {
    const name = this.operations[marks.operation[i]].name;
    const subject = this.subjects[marks.subject[i]];
    switch (this.eventOf.get(marks.code[i])?.subject) {
      case "error": return `${name}:${subject}`;
      case "state": return `${name} to ${subject}`;
      case "message": return `${name} ${subject}`;
      default: return name;
    }
  }
}

// The busiest classes are the farthest apart: steps of the golden angle from the accent's blue on.
const goldenAngle = 137.508;
const hue = (number) => Math.round((212 + number * goldenAngle) % 360);

function classHues(classes) {
  const ranked = [...classes].sort((a, b) => b.records - a.records);
  return new Map(ranked.map((entry, i) => [entry.class, hue(i)]));
}

function stateHues(histories) {
  const states = new Set(histories.flatMap(({ history }) => history.map(({ state }) => state)));
  return new Map([...states].map((state, i) => [state, hue(i)]));
}

// The first index of the sorted `length` values whose `value(i)` is not below `wanted`.
function lowerBound(length, value, wanted) {
  let low = 0;
  let high = length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (value(middle) < wanted) low = middle + 1; else high = middle;
  }
  return low;
}
