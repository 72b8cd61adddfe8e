// SPDX-License-Identifier: MIT
// Finds scopes and events by a part of what they are called.

function findMatches(log, wanted) {
  const text = wanted.trim().toLowerCase();
  if (text === "") return null;
  const has = (name) => name.toLowerCase().includes(text);
  const select = (list, name) => new Set(list.flatMap((entry, i) => (has(name(entry, i)) ? [i] : [])));
  const byName = new Map();  // whether an event's operation and subject match, asked once
  const matches = {
    operations: select(log.operations, ({ name }) => name),
    objects: select(log.objects, (_, i) => log.objectText(i)),
    places: [],
    hasScope(scopes, i) {
      return this.operations.has(scopes.operation[i]) || this.objects.has(scopes.object[i]);
    },
    hasMark(marks, i) {
      const key = (marks.operation[i] * log.subjects.length + marks.subject[i]) * 1000 + marks.code[i];
      let isMatch = byName.get(key);
      if (isMatch === undefined) byName.set(key, isMatch = has(log.markName(marks, i)));
      return isMatch || this.objects.has(marks.object[i]);
    },
  };
  for (const thread of log.threads) {
    const { scopes, marks } = thread;
    for (let i = 0; i < scopes.begin.length; ++i) {
      if (matches.hasScope(scopes, i)) {
        matches.places.push({ thread, scope: i, time: scopes.begin[i] });
      }
    }
    for (let i = 0; i < marks.time.length; ++i) {
      if (matches.hasMark(marks, i)) {
        matches.places.push({ thread, mark: i, time: marks.time[i] });
      }
    }
  }
  matches.places.sort((a, b) => a.time - b.time);
  return matches;
}
