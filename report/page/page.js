(() => {
  'use strict';
  const table = document.getElementById('records');
  if (!table) return;
  const byId = name => document.getElementById(name);
  const [tools, search, sort, shown, nothing] =
      ['tools', 'search', 'sort', 'shown', 'nothing'].map(byId);
  const heads = [...table.tHead.rows[0].cells];
  const placeOf = by => heads.findIndex(head => head.dataset.by === by);
  const collator = new Intl.Collator(undefined, {numeric: true});

  // A group's rows stand in bodies of so many; the browser lays out a full one when it is in sight.
  const most = Number(table.dataset.rows);
  const ofTypes = [];
  for (const body of table.tBodies) {
    if ('type' in body.dataset) {
      ofTypes.push({place: ofTypes.length, type: body.dataset.type, head: body.rows[0], bodies: []});
    }
    ofTypes.at(-1).bodies.push(body);
  }
  // A row may stand for many records that differ in their names alone: it unfolds into these.
  const total = [...table.querySelectorAll('[data-records]')].reduce(
      (sum, row) => sum + Number(row.dataset.records) - 1,
      [...table.tBodies].reduce((sum, body) => sum + body.rows.length, -ofTypes.length));
  let groups = ofTypes;
  let ofUpdates = null;  // Made when they are asked for.

  const namesIn = row => 'records' in row.dataset ? [...row.querySelectorAll('li')] : null;

  // The rows of a group in their order; not looked at before somebody filters or sorts.
  function itemsOf(group) {
    group.items ??= group.bodies.flatMap(body => [...body.rows]).slice(1)
        .map((row, place) => ({row, place, type: group.type, text: null, names: namesIn(row)}));
    return group.items;
  }

  // A group for each update element, in the order of their first rows; its name leads its rows.
  function groupByUpdate() {
    const made = new Map();
    for (const item of ofTypes.flatMap(itemsOf)) {
      const note = item.row.querySelector('.update');
      const key = note?.title ?? '';
      if (!made.has(key)) {
        const head = ofTypes[0].head.cloneNode(true);
        head.querySelector('bdi').textContent = note?.textContent ?? 'No update known';
        head.querySelector('small').textContent = key;
        made.set(key, {place: made.size, type: '', head, bodies: [], items: []});
      }
      const {items} = made.get(key);
      items.push({...item, place: items.length});
    }
    return [...made.values()];
  }

  // Of verdicts and of types: none pressed shows all of them.
  const toggles = [...document.querySelectorAll('button[aria-pressed]')];
  const pressed = kind => new Set(
      toggles.filter(button => kind in button.dataset &&
                               button.getAttribute('aria-pressed') === 'true')
          .map(button => button.dataset[kind]));
  const allows = (wanted, value) => wanted.size === 0 || wanted.has(value);

  // A row has the type of its group, or where the types have a column what stands there.
  const typePlace = placeOf('type');
  const typeOf = item =>
      typePlace < 0 ? item.type : item.row.cells[typePlace].textContent;

  // The group with these rows and no others; without any it has no place in the table.
  function deal(group, rows) {
    const bodies = [];
    for (let from = 0; from < rows.length; from += most) {
      const part = rows.slice(from, from + most);
      const body = group.bodies[bodies.length] ?? document.createElement('tbody');
      body.classList.toggle('full', part.length === most);
      body.replaceChildren(...(from === 0 ? [group.head] : []), ...part);
      bodies.push(body);
      group.bodies[bodies.length - 1] = body;
    }
    return bodies;
  }

  function tell(count) {
    shown.textContent = count === total ? `${total} shown` : `${count} of ${total} shown`;
    nothing.hidden = count > 0;
    tools.classList.toggle('part', count < total);  // Paper says what it leaves out.
  }

  // How many records of a row go by the words that are searched. Of many those that do are shown,
  // and the row is unfolded as long as some of them do not.
  function find(item, words) {
    if (words.length === 0 && !item.names) return 1;
    const {row, names} = item;
    const list = names ? row.querySelector('ul').textContent : '';
    item.text ??= (item.type + ' ' + row.textContent.replace(list, ' ')).toLowerCase();
    const left = words.filter(word => !item.text.includes(word));
    if (!names) return left.length === 0 ? 1 : 0;
    let found = 0;
    for (const name of names) {
      const text = name.textContent.toLowerCase();
      name.hidden = !left.every(word => text.includes(word));
      if (!name.hidden) ++found;
    }
    const details = row.querySelector('details');
    if (found < names.length) item.wasOpen ??= details.open;
    details.open = found < names.length || (item.wasOpen ?? details.open);
    if (found === names.length) item.wasOpen = null;
    return found;
  }

  // Shows what goes by the filters, in the order of the groups and their items.
  function show() {
    const verdicts = pressed('verdict');
    const types = pressed('type');
    const words = search.value.toLowerCase().split(/\s+/).filter(word => word);
    let count = 0;
    const goes = item => {
      if (!allows(types, typeOf(item)) || !allows(verdicts, item.row.dataset.verdict)) return false;
      const found = find(item, words);
      count += found;
      return found > 0;
    };
    const bodies = groups.flatMap(group => {
      const items = itemsOf(group).filter(goes);
      return deal(group, items.map(item => item.row));
    });
    for (const body of [...table.tBodies]) body.remove();
    table.append(...bodies);
    tell(count);
  }

  // The text of a column, without the remarks behind it; of a verdict its rank.
  function keyOf(by) {
    const place = placeOf(by);
    if (place < 0) return () => '';
    if (by === 'verdict') return row => row.dataset.rank;
    const textOf = cell => (cell.querySelector('summary') ?? cell.firstChild)?.textContent ?? '';
    return row => textOf(row.cells[place]);
  }

  // Of counts the largest are asked for.
  const startsDescending = head => head.classList.contains('number');

  function order(by, descending) {
    const sign = descending ? -1 : 1;
    for (const head of heads) {
      head.removeAttribute('aria-sort');
      if (head.dataset.by === by) {
        head.setAttribute('aria-sort', descending ? 'descending' : 'ascending');
      }
    }
    sort.value = by;
    const byGroup = by === 'type' && typePlace < 0;
    groups.sort((a, b) => byGroup ? sign * collator.compare(a.type, b.type) : a.place - b.place);
    const key = keyOf(by);
    for (const group of groups) {
      for (const item of itemsOf(group)) item.key = key(item.row);
      group.items.sort((a, b) => sign * collator.compare(a.key, b.key) || a.place - b.place);
    }
    show();
  }

  // Where rows name their updates.
  function addGrouping() {
    const choice = document.createElement('select');
    choice.id = 'group';
    choice.append(new Option('type', ''), new Option('update'));
    const label = document.createElement('label');
    label.append('Group by ', choice);
    shown.before(label);
    choice.addEventListener('change', () => {
      groups = choice.value ? ofUpdates ??= groupByUpdate() : ofTypes;
      const head = heads.find(column => column.dataset.by === sort.value);
      order(sort.value, head?.getAttribute('aria-sort') === 'descending');
    });
  }

  function showAll() {
    for (const button of toggles) button.setAttribute('aria-pressed', 'false');
    search.value = '';
    show();
  }

  for (const button of toggles) {
    button.disabled = false;
    button.addEventListener('click', () => {
      const on = button.getAttribute('aria-pressed') !== 'true';
      button.setAttribute('aria-pressed', String(on));
      show();
    });
  }
  for (const head of heads) {
    const button = head.firstElementChild;
    button.disabled = false;
    button.addEventListener('click', () => {
      const sorted = head.getAttribute('aria-sort');
      order(head.dataset.by, startsDescending(head) ? sorted !== 'descending'
                                                    : sorted === 'ascending');
    });
  }
  sort.addEventListener('change', () => {
    order(sort.value, heads.some(head => head.dataset.by === sort.value && startsDescending(head)));
  });
  search.addEventListener('input', show);
  byId('all').addEventListener('click', showAll);
  document.addEventListener('keydown', event => {
    if (event.key === 'Escape') showAll();
    if (event.key !== '/' || event.target.matches('input, select')) return;
    event.preventDefault();
    search.focus();
  });
  if (table.querySelector('.update')) addGrouping();
  tools.hidden = false;
  tell(total);
})();
