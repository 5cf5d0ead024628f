// A unit at any later time: its identity, its attempts, what was done with its label; found by a scan or by
// hand, and compared with the switch in a slot.

import { el, short, shown } from '../base/dom.js';
import { address, go } from '../base/routes.js';
import { get } from '../base/server.js';
import { store } from '../base/store.js';
import { addresses, endOf, localTime, plain, reasonWords } from '../base/words.js';
import { compareNext, printAgain } from '../scan/actions.js';
import { facts, link, load, page, stateMark, table } from './parts.js';

function search(text) {
    const field = el('input', { type: 'search', id: 'find', name: 'text', autocomplete: 'off', spellcheck: 'false', maxlength: '128' });
    field.value = text;
    const form = el('form.search', { role: 'search' }, el('label', { for: 'find' }, 'Label, serial number or MAC address'), field, el('button.strong', { type: 'submit' }, 'Find'));
    form.addEventListener('submit', (event) => {
        event.preventDefault();
        if (field.value.trim() !== '') {
            go('unit', field.value.trim());
        }
    });
    return { form, field };
}

export function showUnit(root) {
    const wanted = store.view.argument;
    const { form, field } = search(wanted);
    const content = page(root, 'Unit', form);
    if (wanted === '') {
        content.append(el('p.hint', {}, 'Scan a unit’s label, or type what is known of it. While this view is open a label is looked up, and nothing is started.'));
        field.focus();
        return;
    }
    load(content, () => get(`/api/find?text=${encodeURIComponent(wanted)}`), showFound);
}

function showFound({ unit, attempts, history }) {
    const newest = [...attempts].sort((one, other) => other.id - one.id);
    return [
        el('div.unit-head', {}, el('p.unit-label', {}, short(unit.label, 64)), stateMark(unit.state)),
        facts([
            ['Product', short(unit.product)],
            ['Serial number', el('code', {}, short(unit.serial ?? '–'))],
            ['MAC address', el('code', {}, shown(addresses(unit)))],
            ['Reserved', localTime(unit.reserved_at)],
            ['Last change', localTime(unit.changed_at)],
            ...(unit.void_reason ? [['Ended', short(`${unit.void_reason}, by ${unit.void_by}`)]] : []),
        ]),
        el('div.row', {}, el('button', { type: 'button', onclick: compareNext }, 'Compare with a switch'),
            store.floor?.printer ? el('button', { type: 'button', onclick: () => printAgain(unit.label) }, 'Print its label again') : null),
        el('h3', {}, 'Attempts'),
        newest.length === 0 ? el('p', {}, 'None: nothing was ever sent to a switch.') : attemptsTable(newest).node,
        prints(unit),
        el('h3', {}, 'In the ledger'),
        table('History of the unit', HISTORY, history).node,
    ];
}

function prints(unit) {
    const node = el('div');
    if (store.floor?.printer) {
        load(node, () => get(`/api/prints?label=${encodeURIComponent(unit.label)}`), ({ rows }) => (rows.length === 0 ? []
            : [el('h3', {}, 'Labels printed'), table('Labels printed', PRINTS, rows).node]));
    }
    return node;
}

const PRINTS = [
    { title: 'Print', of: (row) => String(row.number), number: true },
    { title: 'When', of: (row) => localTime(row.at) },
    { title: 'State', of: (row) => stateMark(row.state) },
    { title: 'Operator', of: (row) => short(row.operator, 64) },
    { title: 'Reason', of: (row) => short(row.reason) },
];

const HISTORY = [
    { title: 'Entry', of: (row) => String(row.number), number: true },
    { title: 'When', of: (row) => localTime(row.at) },
    { title: 'What', of: (row) => short(plain(row.kind), 64) },
];

const ATTEMPTS = [
    { title: 'Attempt', of: (row) => link(address('attempt', row.id), `${row.number} of this unit`) },
    { title: 'Begun', of: (row) => localTime(row.started_at) },
    { title: 'Outcome', of: (row) => stateMark(endOf(row)) },
    { title: 'Slot', of: (row) => short(row.slot, 16), number: true },
    { title: 'Operator', of: (row) => short(row.operator, 64) },
    { title: 'Station', of: (row) => short(row.station, 64) },
    { title: 'Reason', of: (row) => short(reasonWords(row)) },
];

function attemptsTable(rows) {
    return table('Attempts', ATTEMPTS, rows);
}
