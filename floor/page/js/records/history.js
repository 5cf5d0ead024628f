// Units and attempts of the past, narrowed by filters, and as files.

import { el, short } from '../base/dom.js';
import { address, go } from '../base/routes.js';
import { get } from '../base/server.js';
import { store } from '../base/store.js';
import { addresses, endOf, localTime, reasonWords } from '../base/words.js';
import { link, load, page, problem, stateMark, table } from './parts.js';

const MOST = 100;
const STATES = ['', 'reserved', 'writing', 'stored', 'verified', 'failed', 'in_doubt', 'void'];
const OUTCOMES = ['', 'stored', 'verified', 'failed', 'in_doubt'];

const KINDS = {
    __proto__: null, // names come from addresses
    units: {
        title: 'Units',
        filters: [['label', 'Label'], ['product', 'Product'], ['state', 'State', STATES], ['since', 'Since'], ['until', 'Until']],
        columns: [
            { title: 'Label', of: (row) => link(address('unit', row.label), short(row.label, 64)) },
            { title: 'State', of: (row) => stateMark(row.state) },
            { title: 'Product', of: (row) => short(row.product, 64) },
            { title: 'Serial number', of: (row) => el('code', {}, short(row.serial ?? '–', 64)) },
            { title: 'MAC address', of: (row) => el('code', {}, short(addresses(row), 64)) },
            { title: 'Reserved', of: (row) => localTime(row.reserved_at) },
        ],
    },
    attempts: {
        title: 'Attempts',
        filters: [['label', 'Label'], ['product', 'Product'], ['outcome', 'Outcome', OUTCOMES], ['slot', 'Slot'], ['operator', 'Operator'], ['since', 'Since'], ['until', 'Until']],
        columns: [
            { title: 'Attempt', of: (row) => link(address('attempt', row.id), String(row.id)) },
            { title: 'Label', of: (row) => link(address('unit', row.label), short(row.label, 64)) },
            { title: 'Outcome', of: (row) => stateMark(endOf(row)) },
            { title: 'Slot', of: (row) => short(row.slot, 16), number: true },
            { title: 'Begun', of: (row) => localTime(row.started_at) },
            { title: 'Operator', of: (row) => short(row.operator, 64) },
            { title: 'Reason', of: (row) => short(reasonWords(row)) },
        ],
    },
};

/** A day on this PC's clock as the moment it begins at, or, as the last one of a time, ends at. What is no day stays. */
function momentOf(name, value) {
    const moment = new Date(`${value}T00:00`);
    if ((name !== 'since' && name !== 'until') || !/^\d{4}-\d\d-\d\d$/.test(value) || Number.isNaN(moment.getTime())) {
        return value;
    }
    moment.setDate(moment.getDate() + (name === 'until' ? 1 : 0));
    return moment.toISOString();
}

function field([name, title, values], query) {
    const id = `filter-${name}`;
    const given = query.get(name) ?? '';
    const input = values
        ? el('select', { id, name }, values.map((value) => el('option', { value, selected: value === given }, value === '' ? 'any' : value.replaceAll('_', ' '))))
        : el('input', { id, name, type: name === 'since' || name === 'until' ? 'date' : 'text', autocomplete: 'off', maxlength: '64' });
    if (!values) {
        input.value = given;
    }
    return el('div.field', {}, el('label', { for: id }, title), input);
}

function filterForm(name, { filters }, query) {
    const form = el('form.filters', { 'aria-label': 'Filters' }, filters.map((each) => field(each, query)), el('button.strong', { type: 'submit' }, 'Show'));
    form.addEventListener('submit', (event) => {
        event.preventDefault();
        const wanted = [...new FormData(form)].filter(([, value]) => value !== '');
        go('history', name, String(new URLSearchParams(wanted)));
    });
    return form;
}

export function showHistory(root) {
    const name = store.view.argument in KINDS ? store.view.argument : 'units';
    const kind = KINDS[name];
    const { query } = store.view;
    const asked = new URLSearchParams([...query].map(([each, value]) => [each, momentOf(each, value)]));
    const tabs = el('nav.tabs', { 'aria-label': 'Kind of record' }, Object.entries(KINDS).map(([other, { title }]) =>
        el('a', { href: address('history', other), 'aria-current': other === name ? 'page' : null }, title)));
    const files = el('p.row', {}, el('span', {}, 'All that the filters let through: '), ['csv', 'jsonl'].map((format) =>
        el('a.button', { href: `/api/export/${name}.${format}?${asked}`, download: `${name}.${format}` }, format === 'csv' ? 'CSV' : 'JSON Lines')));
    const content = page(root, 'History', tabs);
    const rows = el('div');
    const days = el('p.hint', {}, 'Since and Until are days on this PC’s clock, both included. Times in the files are UTC.');
    content.append(filterForm(name, kind, query), days, files, rows);
    const more = (after) => get(`/api/${name}?${new URLSearchParams([...asked, ['limit', MOST], ...(after ? [['after', after]] : [])])}`);
    load(rows, () => more(null), (answer) => showRows(kind, answer, more));
}

function showRows({ title, columns }, first, fetchMore) {
    if (first.rows.length === 0) {
        return el('p.hint', {}, 'Nothing fits these filters.');
    }
    const { node, add } = table(title, columns, first.rows);
    let { after } = first;
    const button = el('button', { type: 'button' }, 'Show more');
    button.hidden = after === null;
    button.addEventListener('click', async () => {
        button.disabled = true;
        try {
            const next = await fetchMore(after);
            add(next.rows);
            ({ after } = next);
        } catch (refusal) {
            button.before(problem(refusal));
        }
        button.disabled = false;
        button.hidden = after === null;
    });
    return [node, button];
}
