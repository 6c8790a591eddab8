// The fixed parts of the HTML report: its style and its script. No outside references.
#ifndef REPORT_HTML_PAGE_H_
#define REPORT_HTML_PAGE_H_

#include <string_view>

namespace svc::report {

inline constexpr std::string_view kHtmlStyle = R"css(
:root { color-scheme: light dark; --back: #fff; --text: #1b1f24; --quiet: #57606a;
  --line: #d0d7de; --soft: #f3f5f7; --outdated: #9a4a00; --unknown: #7a2fa0; --newer: #0b63a5;
  --current: #1a6b33; --error: #b3151d; }
@media (prefers-color-scheme: dark) { :root { --back: #14181d; --text: #e3e8ee; --quiet: #9aa5b1;
  --line: #343c46; --soft: #1d232a; --outdated: #ffb066; --unknown: #d9a6ff; --newer: #7cc4ff;
  --current: #7ddb98; --error: #ff8f8f; } }
* { box-sizing: border-box; }
body { margin: 0 auto; padding: 1.5rem; max-width: 72rem; background: var(--back);
  color: var(--text); font: 16px/1.5 system-ui, sans-serif; }
h1 { font-size: 1.4rem; margin: 0 0 .25rem; }
.lead { font-size: 1.15rem; margin: 0 0 1rem; }
.facts { display: grid; grid-template-columns: max-content 1fr; gap: .1rem 1rem; margin: 0 0 1rem; }
.facts dt { color: var(--quiet); }
.facts dd { margin: 0; overflow-wrap: anywhere; }
.errors { border-left: 4px solid var(--error); padding: .25rem 1rem; margin: 0 0 1rem;
  background: var(--soft); }
.errors ul { margin: .25rem 0; padding-left: 1.2rem; }
.controls { display: flex; flex-wrap: wrap; gap: .5rem; align-items: end; margin: 0 0 .75rem;
  border: 0; padding: 0; }
button, input { font: inherit; color: inherit; background: var(--soft);
  border: 1px solid var(--line); border-radius: 6px; padding: .3rem .7rem; }
button { cursor: pointer; }
button[aria-pressed="false"] { opacity: .55; text-decoration: line-through; }
:focus-visible { outline: 3px solid var(--newer); outline-offset: 1px; }
label { display: flex; flex-direction: column; font-size: .85rem; color: var(--quiet); }
table { width: 100%; border-collapse: collapse; }
th, td { text-align: left; padding: .35rem .6rem; border-bottom: 1px solid var(--line);
  vertical-align: top; overflow-wrap: anywhere; }
thead th button { background: none; border: 0; padding: 0; font-weight: 600; }
th[aria-sort="ascending"] button::after { content: " \25B2"; }
th[aria-sort="descending"] button::after { content: " \25BC"; }
tbody th { background: var(--soft); }
td.version { font-family: ui-monospace, monospace; font-size: .9rem; }
.outdated { color: var(--outdated); font-weight: 600; }
.unknown { color: var(--unknown); }
.newer { color: var(--newer); }
.current { color: var(--current); }
.waived { color: var(--quiet); font-style: italic; font-weight: 400; }
[hidden] { display: none; }
@media print { .controls { display: none; } body { max-width: none; padding: 0; }
  thead { display: table-header-group; } tr { break-inside: avoid; } }
)css";

inline constexpr std::string_view kHtmlScript = R"js(
(() => {
  const table = document.getElementById('records');
  if (!table) return;
  const controls = document.getElementById('controls');
  const search = document.getElementById('search');
  const shown = document.getElementById('shown');
  const groups = [...table.tBodies];
  const rowsOf = group => [...group.rows].slice(1);
  const total = groups.reduce((sum, group) => sum + group.rows.length - 1, 0);
  const hiddenVerdicts = new Set();

  function show() {
    const needle = search.value.trim().toLowerCase();
    let count = 0;
    for (const group of groups) {
      let any = false;
      for (const row of rowsOf(group)) {
        row.hidden = hiddenVerdicts.has(row.dataset.verdict) ||
            !row.textContent.toLowerCase().includes(needle);
        if (!row.hidden) { any = true; ++count; }
      }
      group.hidden = !any;
    }
    shown.textContent = count + ' of ' + total + ' shown';
  }

  for (const button of controls.querySelectorAll('button[data-verdict]')) {
    button.addEventListener('click', () => {
      const verdict = button.dataset.verdict;
      const on = hiddenVerdicts.delete(verdict);
      if (!on) hiddenVerdicts.add(verdict);
      button.setAttribute('aria-pressed', String(on));
      show();
    });
  }
  search.addEventListener('input', show);

  const order = new Intl.Collator(undefined, { numeric: true });
  function keyOf(row, column) {
    return column === 4 ? row.dataset.rank : row.cells[column].textContent;
  }
  table.tHead.addEventListener('click', event => {
    const head = event.target.closest('th');
    if (!head) return;
    const column = head.cellIndex;
    const down = head.getAttribute('aria-sort') === 'ascending';
    for (const other of table.tHead.rows[0].cells) other.removeAttribute('aria-sort');
    head.setAttribute('aria-sort', down ? 'descending' : 'ascending');
    const sign = down ? -1 : 1;
    if (column === 0) {
      groups.sort((a, b) => sign * order.compare(a.dataset.type, b.dataset.type));
      table.append(...groups);
      return;
    }
    for (const group of groups) {
      group.append(...rowsOf(group).sort(
          (a, b) => sign * order.compare(keyOf(a, column), keyOf(b, column))));
    }
  });
  controls.hidden = false;
  show();
})();
)js";

}  // namespace svc::report

#endif  // REPORT_HTML_PAGE_H_
