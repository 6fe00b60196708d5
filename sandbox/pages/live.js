'use strict';

const shownRows = 200;
const counters = [
  ['links', 'links'], ['clicks', 'clicks'], ['installs', 'installs'], ['uncountedInstalls', 'uncounted'],
  ['opens', 'opens'], ['resolves', 'resolves'], ['events', 'events'], ['faults', 'faults'],
];
const links = new Map();
const byId = (id) => document.getElementById(id);

// Values are inserted as text, never through innerHTML.
function element(name, className, ...children) {
  const made = document.createElement(name);
  if (className) made.className = className;
  made.append(...children);
  return made;
}

function timeOf(at) {
  const date = new Date(at * 1000);
  const time = element('time', '', date.toLocaleTimeString());
  time.dateTime = date.toISOString();
  return time;
}

function row(kind, badge, what, at, note, bad, raw) {
  const item = element('li', '',
    element('div', 'top', element('span', `badge ${kind}`, badge), element('span', 'what', what), timeOf(at)),
    element('p', bad ? 'note bad' : 'note', note));
  if (raw) item.append(element('details', '', element('summary', '', 'Request'), element('pre', '', raw)));
  return item;
}

function clickRow(click) {
  return row('click', 'click', click.slug, click.at, `token ${click.token}`, false, '');
}

const kinds = {
  '/v1/events/install': ['install', (m) => m.identifier],
  '/v1/events/open': ['open', (m) => m.slug],
  '/v1/events': ['event', (m) => [m.name, m.value, m.currency].filter((part) => part !== undefined).join(' ')],
};

// The strings and numbers of a body. Other values are skipped: not every object can be converted to a string.
function messageOf(arrival) {
  try {
    const members = Object.entries(JSON.parse(arrival.body) ?? {});
    return Object.fromEntries(members.filter(([, value]) => ['string', 'number'].includes(typeof value)));
  } catch {
    return {};
  }
}

function arrivalRow(arrival) {
  const [kind, describe] = kinds[arrival.path] ?? ['request', () => ''];
  const isResolve = arrival.path === '/v1/links/resolve';
  const target = arrival.path + (arrival.query ? `?${arrival.query}` : '');
  const what = describe(messageOf(arrival)) || (isResolve && new URLSearchParams(arrival.query).get('slug')) || target;
  const bad = arrival.status === 0 || arrival.status >= 400;
  const status = arrival.status || 'no response';
  const raw = `${arrival.method} ${target}\n${arrival.key ? `Idempotency-Key: ${arrival.key}\n` : ''}` +
              arrival.body;
  const badge = isResolve ? 'resolve' : kind;
  return row(bad ? 'fault' : kind, badge, what, arrival.at, `${status} · ${arrival.note}`, bad, raw.trim());
}

function addRow(item) {
  const list = byId('activity');
  list.prepend(item);
  while (list.children.length > shownRows) list.lastElementChild.remove();
  byId('nothing').hidden = true;
}

function showCounts(counts) {
  byId('counts').replaceChildren(...counters.map(([name, caption]) => {
    const item = element('li', '', element('strong', '', String(counts[name])), element('span', '', caption));
    item.dataset.count = name;
    return item;
  }));
}

function showLinks() {
  byId('links').replaceChildren(...[...links.values()].reverse().map((link) => {
    const open = element('a', '', link.slug);
    open.href = `/l/${encodeURIComponent(link.slug)}`;
    open.target = '_blank';
    open.rel = 'noreferrer';
    const details = [link.campaign, link.channel, link.deepLinkPath].filter(Boolean).join(' · ');
    return element('li', '', element('div', 'top', element('span', 'what', open)), element('p', 'note', details));
  }));
}

function begin(message) {
  links.clear();
  for (const link of message.links) links.set(link.slug, link);
  showLinks();
  const rows = [...message.clicks.map((click) => [click.at, clickRow(click)]),
                ...message.arrivals.map((arrival) => [arrival.at, arrivalRow(arrival)])];
  rows.sort((one, other) => one[0] - other[0]);
  byId('activity').replaceChildren();
  byId('nothing').hidden = rows.length > 0;
  for (const [, item] of rows) addRow(item);
}

const handlers = {
  beginning: begin,
  link: ({ row: link }) => { links.delete(link.slug); links.set(link.slug, link); showLinks(); },
  click: ({ row: click }) => addRow(clickRow(click)),
  arrival: ({ row: arrival }) => addRow(arrivalRow(arrival)),
  faults: () => {},
  cleared: () => { byId('activity').replaceChildren(); byId('nothing').hidden = false; },
};

function listen() {
  const stream = new EventSource('/sandbox/stream');
  const connection = byId('connection');
  stream.onopen = () => { connection.className = 'live'; connection.textContent = `live at ${location.host}`; };
  stream.onerror = () => {
    connection.className = '';
    connection.textContent = 'reconnecting…';
    // The browser reconnects by itself, but not after a response that is not a stream.
    if (stream.readyState === EventSource.CLOSED) setTimeout(listen, 1000);
  };
  stream.onmessage = (event) => {
    const message = JSON.parse(event.data);
    handlers[message.kind](message);
    showCounts(message.counts);
  };
}

// JSON is sent as it was typed: parsing it into numbers would round large ones.
function linkBody(form) {
  const members = [];
  for (const [name, value] of new FormData(form)) {
    if (value.trim() === '') continue;
    const isJSON = name === 'utm' || name === 'customData';
    if (isJSON) JSON.parse(value);
    members.push(`${JSON.stringify(name)}:${isJSON ? value : JSON.stringify(value.trim())}`);
  }
  return `{${members.join(',')}}`;
}

async function makeLink(event) {
  event.preventDefault();
  const form = event.target;
  const status = byId('formStatus');
  try {
    const answer = await fetch('/sandbox/links',
      { method: 'POST', headers: { 'Content-Type': 'application/json' }, body: linkBody(form) });
    if (!answer.ok) throw new Error((await answer.json()).error);
    status.textContent = '';
    form.reset();
    byId('newLink').open = false;
  } catch (error) {
    status.textContent = error.message;
  }
}

byId('linkForm').addEventListener('submit', makeLink);
byId('clear').addEventListener('click', () => fetch('/sandbox/records', { method: 'DELETE' }));
listen();
