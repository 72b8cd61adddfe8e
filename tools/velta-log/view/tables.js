// SPDX-License-Identifier: MIT
// The tables of the panel below the timeline.

const mostRows = 500;  // more make the page slow and help nobody

// Takes the room that is left, so that the columns before it stay together.
const filler = { wide: true, text: () => "" };

// `columns` are { title, text, number, node }: what a row shows, and by what it is sorted.
class SortedTable {
  constructor(columns, rows, { activate, sortBy } = {}) {
    Object.assign(this, { columns, rows, activate });
    this.element = element("div");
    this.current = null;
    if (sortBy !== undefined) this.sort(sortBy, true);
    this.render();
  }

  sort(column, descending) {
    this.sorted = { column, descending };
    const { number, text } = this.columns[column];
    const order = number ? (a, b) => number(a) - number(b)
      : (a, b) => String(text(a)).localeCompare(String(text(b)));
    this.rows = [...this.rows].sort((a, b) => (descending ? order(b, a) : order(a, b)));
  }

  render() {
    const head = this.columns.map(({ title, number }, column) => {
      const isSorted = this.sorted?.column === column;
      if (!title) return element("td");
      const cell = element("th", { scope: "col", class: number ? "number" : "" },
        element("button", { type: "button", onclick: () => {
          this.sort(column, isSorted ? !this.sorted.descending : Boolean(number));
          this.render();
        } }, title));
      if (isSorted) cell.setAttribute("aria-sort", this.sorted.descending ? "descending" : "ascending");
      return cell;
    });
    // The current row is always among those shown.
    const first = Math.max(0, this.rows.indexOf(this.current));
    const from = first - (first % mostRows);
    const shown = this.rows.slice(from, from + mostRows);
    this.element.replaceChildren(element("table", {}, element("thead", {}, element("tr", {}, ...head)),
      element("tbody", {}, ...shown.map((row) => this.row(row)))));
    if (this.rows.length > mostRows) {
      this.element.append(element("p", { class: "more" },
        `${counted.format(from + 1)} to ${counted.format(from + shown.length)} of ` +
        `${counted.format(this.rows.length)}; sort to see others`));
    }
  }

  row(row) {
    const cells = this.columns.map(({ text, number, node, wide }) =>
      element("td", { class: number ? "number" : wide ? "wide" : "" }, node ? node(row) : text(row)));
    if (!this.activate) return element("tr", {}, ...cells);
    return element("tr", {
      tabindex: "0",
      ...(row === this.current ? { "aria-current": "true" } : {}),
      onclick: () => this.activate(row),
      onkeydown: (event) => {
        if (event.key === "Enter" || event.key === " ") this.activate(row);
        const neighbour = { ArrowDown: "nextElementSibling", ArrowUp: "previousElementSibling" }[event.key];
        if (neighbour) event.currentTarget[neighbour]?.focus();
        if (["Enter", " ", "ArrowDown", "ArrowUp"].includes(event.key)) {
          event.preventDefault();
          event.stopPropagation();
        }
      },
    }, ...cells);
  }

  setCurrent(row) {
    this.current = row;
    this.render();
    this.element.querySelector('[aria-current="true"]')?.scrollIntoView({ block: "nearest" });
  }
}

function errorTable(log, activate) {
  const marks = (row) => log.threads[row.thread].marks;
  const code = (row) => marks(row).code[row.mark];
  return new SortedTable([
    { title: "time", number: (row) => marks(row).time[row.mark],
      text: (row) => (marks(row).time[row.mark] / 1e6).toFixed(6) },
    { title: "kind", text: (row) => log.eventName(code(row)),
      node: (row) => element("span", { class: log.level(code(row)) }, log.eventName(code(row))) },
    { title: "error", text: (row) => log.markName(marks(row), row.mark) },
    { title: "line", number: (row) => marks(row).value2[row.mark],
      text: (row) => marks(row).value2[row.mark] },
    { title: "thread", text: (row) => log.threads[row.thread].label },
    { title: "with", text: (row) => (log.threads[row.thread].parameters.get(row.mark) ?? [])
      .map(([name, value]) => `${name} = ${value}`).join(", ") },
    { title: "after", wide: true,
      text: (row) => (row.cause < 0 ? "" : log.markName(marks(row), row.cause)) },
  ], log.errors, { activate });
}

function operationTable(log, activate) {
  const most = log.operations.reduce((longest, row) => Math.max(longest, row.selfUs), 1);
  const duration = (title, read) => ({ title, number: (row) => read(row) ?? -1,
    text: (row) => (read(row) === undefined ? "" : durationText(read(row))) });
  return new SortedTable([
    { title: "operation", text: (row) => row.name },
    { title: "records", number: (row) => row.records, text: (row) => counted.format(row.records) },
    { title: "scopes", number: (row) => row.scopes, text: (row) => counted.format(row.scopes) },
    duration("total", (row) => (row.scopes ? row.totalUs : undefined)),
    duration("self", (row) => (row.scopes ? row.selfUs : undefined)),
    { title: "", text: (row) => row.selfUs, node: (row) => element("span", { class: row.selfUs ? "bar" : "",
      style: `width:${(row.selfUs / most) * 90}px;background:hsl(${row.hue} 45% 55%)` }) },
    duration("median", (row) => row.durationUs?.p50),
    duration("90%", (row) => row.durationUs?.p90),
    duration("99%", (row) => row.durationUs?.p99),
    duration("longest", (row) => row.durationUs?.max),
    { title: "errors", number: (row) => row.errors, text: (row) => row.errors || "" },
    filler,
  ], log.operations, { activate, sortBy: 4 });
}

function classTable(log) {
  const count = (title, key) => ({ title, number: (row) => row[key],
    text: (row) => counted.format(row[key]) });
  const duration = (title, key) => ({ title, number: (row) => row[key],
    text: (row) => (row.scopes ? durationText(row[key]) : "") });
  return new SortedTable([
    { title: "class", text: (row) => row.class }, count("records", "records"),
    count("scopes", "scopes"), duration("total", "totalUs"), duration("self", "selfUs"),
    count("constructed", "constructions"), count("destroyed", "destructions"),
    count("errors", "errors"), filler,
  ], log.summary.classes, { sortBy: 1 });
}

function threadTable(log) {
  const count = (title, key) => ({ title, number: (row) => row[key],
    text: (row) => counted.format(row[key]) });
  const duration = (title, read) => ({ title, number: read, text: (row) => durationText(read(row)) });
  return new SortedTable([
    { title: "thread", text: (row) => row.label },
    { title: "id", number: (row) => row.id, text: (row) => row.id }, count("records", "records"),
    count("scopes", "scopes"), duration("in scopes", (row) => row.inScopesUs),
    count("errors", "errors"), duration("from", (row) => row.beginUs),
    duration("to", (row) => row.endUs), filler,
  ], log.summary.threads.map((row, i) => ({ ...row, label: log.threads[i].label })));
}

function stateTable(log) {
  return new SortedTable([
    { title: "class", text: (row) => row.class },
    { title: "object", text: (row) => (row.name === "unknown" ? row.object : row.name) },
    { title: "changes", number: (row) => row.history.length, text: (row) => row.history.length },
    { title: "states", wide: true, text: (row) => row.history.slice(0, 12)
      .map((span) => `${span.state} ${durationText(span.endUs - span.beginUs)}`).join(" \u2192 ") +
      (row.history.length > 12 ? " \u2192 \u2026" : row.destroyed ? " \u2192 destroyed" : "") },
  ], log.summary.states);
}

function openScopeTable(log) {
  return new SortedTable([
    { title: "never closed", text: (row) => `${row.class}.${row.operation}` },
    { title: "object", text: (row) => row.object },
    { title: "thread", text: (row) => log.threads[log.summary.threads
      .findIndex((thread) => thread.id === row.thread)].label },
    { title: "since", number: (row) => row.beginUs, text: (row) => durationText(row.beginUs) },
    { title: "for", number: (row) => row.durationUs, text: (row) => durationText(row.durationUs) },
    filler,
  ], log.summary.neverClosed);
}
