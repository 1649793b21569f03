// SPDX-License-Identifier: MIT
#include "pageText.h"

const char* const kPageStyle = R"(
:root {
  color-scheme: light dark;
  --paper: #fff; --ink: #1f2937; --faint: #5b6472; --rule: #d8dee6; --head: #f3f5f8;
  --link: #1d4ed8; --whole: #166534; --damaged: #9a3412; --failed: #991b1b; --check: #d5dae1;
}
@media (prefers-color-scheme: dark) {
  :root {
    --paper: #14181f; --ink: #e5e7eb; --faint: #a3acb9; --rule: #313945; --head: #1d232c;
    --link: #93b4ff; --whole: #86efac; --damaged: #fdba74; --failed: #fca5a5; --check: #3a4350;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0 auto; padding: 1.5rem; max-width: 88rem;
  background: var(--paper); color: var(--ink);
  font: 0.9375rem/1.45 system-ui, "DejaVu Sans", sans-serif;
}
h1 { margin: 0; font-size: 1.5rem; }
header p { margin: 0.25rem 0 1rem; color: var(--faint); }
label { cursor: pointer; }
a { color: var(--link); overflow-wrap: anywhere; }
table { width: 100%; border-collapse: collapse; margin-top: 1rem; }
th {
  position: sticky; top: 0; z-index: 1; padding: 0.5rem 0.6rem;
  background: var(--head); text-align: left; font-weight: 600; white-space: nowrap;
}
th button { all: unset; cursor: pointer; }
th button:focus-visible { outline: 2px solid var(--link); outline-offset: 3px; }
th button::after { content: "\2195"; margin-left: 0.35em; opacity: 0.4; }
th[aria-sort=ascending] button::after { content: "\2191"; opacity: 1; }
th[aria-sort=descending] button::after { content: "\2193"; opacity: 1; }
td { padding: 0.6rem; border-top: 1px solid var(--rule); vertical-align: top; }
td p { margin: 0.15rem 0 0; color: var(--faint); }
td ul { margin: 0.25rem 0; padding-left: 1.2rem; overflow-wrap: anywhere; }
td[data-column=File] { min-width: 16rem; }
td:not(.image, [data-column=File]) { font-variant-numeric: tabular-nums; white-space: nowrap; }
summary { cursor: pointer; color: var(--faint); }
.image { width: 11rem; }
.image img {
  display: block; max-width: 10rem; max-height: 7.5rem; width: auto; height: auto;
  border: 1px solid var(--rule);
  background: repeating-conic-gradient(var(--check) 0 25%, #fff0 0 50%) 0 0 / 12px 12px;
}
.image a img { width: 10rem; height: 7.5rem; object-fit: cover; object-position: top left; }
.image span {
  display: grid; place-items: center; width: 10rem; height: 4.5rem; color: var(--faint);
  border: 1px dashed var(--rule);
}
meter { width: 4rem; height: 0.7rem; vertical-align: baseline; }
.whole b { color: var(--whole); font-weight: 500; }
.damaged b { color: var(--damaged); }
.failed b { color: var(--failed); }
body:has(#faults:checked) tr.whole { display: none; }
@media (max-width: 56rem) {
  body { padding: 1rem; }
  table, tbody, td { display: block; }
  thead tr { display: flex; flex-wrap: wrap; gap: 0 0.25rem; background: var(--head); }
  th { position: static; }
  th.image { display: none; }
  tbody tr {
    display: grid; grid-template-columns: 1fr 1fr; padding: 0.8rem 0;
    border-top: 1px solid var(--rule);
  }
  td { border: 0; padding: 0.2rem 0; }
  td.image, td[data-column=File] { grid-column: 1 / -1; width: auto; min-width: 0; }
  td:not(.image, [data-column=File]) { white-space: normal; }
  td:not(.image, [data-column=File])::before {
    content: attr(data-column) ": "; color: var(--faint);
  }
  td[data-key=""], meter { display: none; }
  body:has(#faults:checked) tr.whole { display: none; }
}
@media print { label { display: none; } th { position: static; } tr { break-inside: avoid; } }
)";

const char* const kPageColumns = R"(<th class="image" scope="col">Image</th>
<th scope="col" data-sort="file">File</th>
<th scope="col" data-sort="state" data-number>State</th>
<th scope="col" data-sort="intact" data-number>Lines intact</th>
<th scope="col" data-sort="line" data-number>First bad line</th>
<th scope="col" data-sort="byte" data-number>At byte</th>
<th scope="col" data-sort="kind">Kind</th>
<th scope="col" data-sort="size" data-number>Size</th>
<th scope="col" data-sort="bytes" data-number>Bytes</th>
)";

const char* const kPageScript = R"(
(() => {
  const heads = [...document.querySelectorAll("th[data-sort]")];
  const body = document.querySelector("tbody");
  const rows = [...body.rows];
  const words = new Intl.Collator(undefined, {numeric: true});

  const sort = (name, down) => {
    const head = heads.find(head => head.dataset.sort === name);
    if (!head) return;
    const number = "number" in head.dataset;
    const keyed = rows.map(row => ({row, key: row.cells[head.cellIndex].dataset.key}));
    const compare = (a, b) =>
      (a.key === "") - (b.key === "") ||
      (down ? -1 : 1) * (number ? a.key - b.key : words.compare(a.key, b.key));
    keyed.sort(compare).forEach(({row}) => body.append(row));
    heads.forEach(other => other.removeAttribute("aria-sort"));
    head.setAttribute("aria-sort", down ? "descending" : "ascending");
  };

  for (const head of heads) {
    const button = document.createElement("button");
    button.append(...head.childNodes);
    button.addEventListener("click", () => {
      const down = head.getAttribute("aria-sort") === "ascending";
      sort(head.dataset.sort, down);
      location.replace("#" + (down ? "-" : "") + head.dataset.sort);
    });
    head.append(button);
  }
  const wanted = location.hash.slice(1);
  sort(wanted.replace(/^-/, ""), wanted.startsWith("-"));
})();
)";
