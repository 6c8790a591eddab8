(() => {
  'use strict';
  const table = document.getElementById('records');
  if (!table) return;
  const byId = name => document.getElementById(name);
  const [tools, search, sort, shown, nothing] =
      ['tools', 'search', 'sort', 'shown', 'nothing'].map(byId);
  const heads = [...table.tHead.rows[0].cells];
  const groups = [...table.tBodies].map((body, place) => ({
    body, place, type: body.dataset.type,
    rows: [...body.rows].slice(1).map((row, place) => ({row, place, text: null})),
  }));
  const total = groups.reduce((sum, group) => sum + group.rows.length, 0);
  const collator = new Intl.Collator(undefined, {numeric: true});

  // Of verdicts and of types: none pressed shows all of them.
  const toggles = [...document.querySelectorAll('button[aria-pressed]')];
  const pressed = kind => new Set(
      toggles.filter(button => kind in button.dataset &&
                               button.getAttribute('aria-pressed') === 'true')
          .map(button => button.dataset[kind]));
  const allows = (wanted, value) => wanted.size === 0 || wanted.has(value);

  function filter() {
    const verdicts = pressed('verdict');
    const types = pressed('type');
    const words = search.value.toLowerCase().split(/\s+/).filter(word => word);
    let count = 0;
    for (const group of groups) {
      const before = count;
      const isWanted = allows(types, group.type);
      for (const item of group.rows) {
        item.text ??= (group.type + ' ' + item.row.textContent).toLowerCase();
        const show = isWanted && allows(verdicts, item.row.dataset.verdict) &&
            words.every(word => item.text.includes(word));
        item.row.hidden = !show;
        if (show) ++count;
      }
      group.body.hidden = count === before;
    }
    shown.textContent = count === total ? `${total} shown` : `${count} of ${total} shown`;
    nothing.hidden = count > 0;
    tools.classList.toggle('part', count < total);  // Paper says what it leaves out.
  }

  const keys = {
    name: item => item.row.cells[0].firstChild?.data ?? '',
    installed: item => item.row.cells[1].textContent,
    offered: item => item.row.cells[2].textContent,
    verdict: item => item.row.dataset.rank,
  };

  function order(by, descending) {
    const sign = descending ? -1 : 1;
    for (const head of heads) {
      head.removeAttribute('aria-sort');
      if (head.dataset.by === by) {
        head.setAttribute('aria-sort', descending ? 'descending' : 'ascending');
      }
    }
    sort.value = by;
    groups.sort((a, b) => by === 'type' ? sign * collator.compare(a.type, b.type)
                                        : a.place - b.place);
    table.append(...groups.map(group => group.body));
    const keyOf = keys[by];
    for (const group of groups) {
      const sorted = group.rows.map(item => ({item, key: keyOf ? keyOf(item) : ''}));
      sorted.sort((a, b) => sign * collator.compare(a.key, b.key) || a.item.place - b.item.place);
      const fragment = document.createDocumentFragment();
      for (const {item} of sorted) fragment.append(item.row);
      group.body.append(fragment);
    }
  }

  function showAll() {
    for (const button of toggles) button.setAttribute('aria-pressed', 'false');
    search.value = '';
    filter();
  }

  for (const button of toggles) {
    button.disabled = false;
    button.addEventListener('click', () => {
      const on = button.getAttribute('aria-pressed') !== 'true';
      button.setAttribute('aria-pressed', String(on));
      filter();
    });
  }
  for (const head of heads) {
    const button = head.firstElementChild;
    button.disabled = false;
    button.addEventListener('click', () => {
      order(head.dataset.by, head.getAttribute('aria-sort') === 'ascending');
    });
  }
  sort.addEventListener('change', () => order(sort.value, false));
  search.addEventListener('input', filter);
  byId('all').addEventListener('click', showAll);
  document.addEventListener('keydown', event => {
    if (event.key === 'Escape') showAll();
    if (event.key !== '/' || event.target.matches('input, select')) return;
    event.preventDefault();
    search.focus();
  });
  tools.hidden = false;
  filter();
})();
