"use strict";
// Rows beyond the edges of what is in view, so that quick scrolling shows no gap.
const kMargin = 30;

/** A table whose rows are drawn as they come into view. */
class DataTable {
  constructor(section) {
    const data = JSON.parse(section.querySelector("script").textContent);
    this.columns = data.columns;
    this.styles = data.styles;
    for (const column of [...this.columns, this.styles]) column.places = Uint32Array.from(column.places);
    this.scroll = section.querySelector(".scroll");
    this.table = section.querySelector("table");
    this.body = section.querySelector("tbody");
    this.filter = section.querySelector("input");
    this.choice = section.querySelector("select");
    this.output = section.querySelector("output");
    this.heads = [...section.querySelectorAll("th")];
    this.count = this.styles.places.length;
    this.order = Uint32Array.from({ length: this.count }, (_, row) => row);
    this.rows = this.order;
    this.listen();
    this.select();
  }

  listen() {
    if (this.choice)
      for (const text of this.columns[this.choice.dataset.column].texts) this.choice.add(new Option(text, text));
    this.filter.addEventListener("input", () => this.select());
    if (this.choice) this.choice.addEventListener("change", () => this.select());
    this.scroll.addEventListener("scroll", () => this.draw());
    addEventListener("resize", () => { this.height = undefined; this.draw(true); });
    this.heads.forEach((head, column) => head.firstChild.addEventListener("click", () => this.sort(column)));
    this.body.addEventListener("click", event => this.open(event.target.closest("tr")));
    this.body.addEventListener("keydown", event => {
      if (event.key !== "Enter" && event.key !== " ") return;
      event.preventDefault();
      this.open(event.target.closest("tr"));
    });
  }

  text(row, column) {
    return this.columns[column].texts[this.columns[column].places[row]];
  }

  /** Sorts all rows by counting: a column's places are numbers in the order of its texts. */
  sort(column) {
    const descending = this.heads[column].getAttribute("aria-sort") === "ascending";
    for (const head of this.heads) head.removeAttribute("aria-sort");
    this.heads[column].setAttribute("aria-sort", descending ? "descending" : "ascending");
    const { texts, places } = this.columns[column];
    const last = texts.length - 1;
    const starts = new Uint32Array(texts.length + 1);
    const key = row => descending ? last - places[row] : places[row];
    for (const row of this.order) ++starts[key(row) + 1];
    for (let i = 1; i < starts.length; ++i) starts[i] += starts[i - 1];
    const sorted = new Uint32Array(this.count);
    for (const row of this.order) sorted[starts[key(row)]++] = row;
    this.order = sorted;
    this.select();
  }

  /** A column's texts in lower case, made once. */
  folded(column) {
    return column.folded ??= column.texts.map(text => text.toLowerCase());
  }

  /** Marks the rows that hold a word in any column. Every distinct text is looked at once. */
  rowsWith(word) {
    const marks = new Uint8Array(this.count);
    for (const column of this.columns) {
      const texts = this.folded(column);
      const hits = new Uint8Array(texts.length);
      let isHit = false;
      for (let i = 0; i < texts.length; ++i) if (texts[i].includes(word)) isHit = hits[i] = 1;
      if (!isHit) continue;
      const places = column.places;
      for (let row = 0; row < marks.length; ++row) marks[row] |= hits[places[row]];
    }
    return marks;
  }

  select() {
    const words = this.filter.value.toLowerCase().split(/\s+/).filter(Boolean).map(word => this.rowsWith(word));
    const chosen = this.choice && this.choice.value !== "" ? this.columns[this.choice.dataset.column] : null;
    const place = chosen ? chosen.texts.indexOf(this.choice.value) : -1;
    const fits = row => (!chosen || chosen.places[row] === place) && words.every(marks => marks[row]);
    this.rows = words.length || chosen ? this.order.filter(fits) : this.order;
    this.output.textContent = `${this.rows.length} of ${this.count} ${this.output.dataset.what}`;
    this.scroll.scrollTop = 0;
    this.draw(true);
  }

  rowElement(index) {
    const row = this.rows[index];
    const element = document.createElement("tr");
    element.className = this.styles.texts[this.styles.places[row]];
    element.tabIndex = 0;
    element.dataset.row = row;
    element.setAttribute("aria-rowindex", index + 2);
    this.columns.forEach((column, i) => {
      const cell = element.insertCell();
      cell.textContent = this.text(row, i);
      cell.dataset.title = column.title;
    });
    return element;
  }

  spacer(rows) {
    const element = document.createElement("tr");
    element.className = "spacer";
    element.style.height = `${rows * this.height}px`;
    return element;
  }

  draw(anew = false) {
    if (this.printing) return;
    if (this.height === undefined) this.measure();
    const first = Math.max(0, Math.floor(this.scroll.scrollTop / this.height) - kMargin);
    const inView = Math.ceil(this.scroll.clientHeight / this.height) + 2 * kMargin;
    const end = Math.min(this.rows.length, first + inView);
    if (!anew && this.first === first && this.end === end) return;
    this.first = first;
    this.end = end;
    const focused = document.activeElement?.dataset?.row;
    const elements = [this.spacer(first)];
    for (let i = first; i < end; ++i) elements.push(this.rowElement(i));
    elements.push(this.spacer(this.rows.length - end));
    this.body.replaceChildren(...elements);
    this.table.setAttribute("aria-rowcount", this.rows.length + 1);
    if (focused !== undefined) this.body.querySelector(`tr[data-row="${focused}"]`)?.focus({ preventScroll: true });
  }

  /** All rows are of one height, whatever is in them. */
  measure() {
    this.height = 1;
    if (this.rows.length === 0) return;
    const probe = this.rowElement(0);
    this.body.replaceChildren(probe);
    this.height = Math.max(1, probe.getBoundingClientRect().height + (parseFloat(getComputedStyle(probe).marginBottom) || 0));
  }

  /** Paper has no scroll bars: it gets every row that is selected. */
  print(printing) {
    if (printing === Boolean(this.printing)) return;
    this.printing = printing;
    if (printing) this.body.replaceChildren(...Array.from(this.rows, (_, index) => this.rowElement(index)));
    else { this.height = undefined; this.draw(true); }
  }

  open(element) {
    if (!element?.dataset.row) return;
    const details = document.getElementById("details");
    details.querySelector("dl").replaceChildren(...this.columns.flatMap((column, i) => {
      const [term, value] = [document.createElement("dt"), document.createElement("dd")];
      term.textContent = column.title;
      value.textContent = this.text(element.dataset.row, i);
      return [term, value];
    }));
    details.showModal();
  }
}

const tables = [...document.querySelectorAll("section.data")].map(section => new DataTable(section));
const print = printing => { for (const table of tables) table.print(printing); };
// After the first paint, so that the first letter in a filter finds its texts ready.
for (const table of tables)
  for (const column of table.columns) setTimeout(() => table.folded(column));
addEventListener("beforeprint", () => print(true));
addEventListener("afterprint", () => print(false));
matchMedia("print").addEventListener("change", event => print(event.matches));
