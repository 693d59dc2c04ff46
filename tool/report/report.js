"use strict";
{
  const body = document.querySelector("#records tbody");
  const rows = [...body.rows];
  const heads = [...document.querySelectorAll("#records th")];
  const filter = document.getElementById("filter");
  const outcome = document.getElementById("outcome");
  const text = (row, column) => row.cells[column].textContent;
  const byText = new Intl.Collator("en", { numeric: true });

  const show = () => {
    const words = filter.value.toLowerCase().split(/\s+/).filter(Boolean);
    let shown = 0;
    for (const row of rows) {
      const content = [...row.cells].map(cell => cell.textContent).join("\n").toLowerCase();
      const fits = words.every(word => content.includes(word)) &&
        (outcome.value === "" || row.classList.contains(outcome.value));
      row.hidden = !fits;
      shown += fits;
    }
    document.getElementById("shown").textContent = `${shown} of ${rows.length} records`;
  };

  heads.forEach((head, column) => head.firstChild.addEventListener("click", () => {
    const descending = head.getAttribute("aria-sort") === "ascending";
    for (const other of heads) other.removeAttribute("aria-sort");
    head.setAttribute("aria-sort", descending ? "descending" : "ascending");
    const sorted = [...rows].sort((a, b) => byText.compare(text(a, column), text(b, column)) * (descending ? -1 : 1));
    body.append(...sorted);
  }));

  filter.addEventListener("input", show);
  outcome.addEventListener("change", show);
  show();
}
