// One attempt: what was sent and what was read back, side by side, the console as it was, and its replay.

import { el, short, shown, shownLines } from '../base/dom.js';
import { address } from '../base/routes.js';
import { get, getText } from '../base/server.js';
import { store } from '../base/store.js';
import { endOf, localTime, reasonWords } from '../base/words.js';
import { facts, link, load, page, stateMark, table } from './parts.js';
import { makeReplay } from './replay.js';

export function showAttempt(root) {
    const id = store.view.argument;
    const content = page(root, `Attempt ${short(id, 20)}`);
    const ends = [];
    load(content, () => get(`/api/attempts/${encodeURIComponent(id)}`), (attempt) => showFound(attempt, ends));
    return () => ends.forEach((end) => end());
}

function showFound(attempt, ends) {
    return [
        el('div.unit-head', {}, el('p.unit-label', {}, link(address('unit', attempt.label), short(attempt.label, 64))), stateMark(endOf(attempt))),
        attempt.reason ? el('p.reason', {}, short(reasonWords(attempt), 2000)) : null,
        facts([
            ['Product', short(attempt.product)],
            ['Attempt', `${attempt.number} of this unit`],
            ['Slot', `${short(attempt.slot, 16)} at ${short(attempt.station, 64)}`],
            ['Operator', short(attempt.operator || 'none', 64)],
            ['Begun', localTime(attempt.started_at)],
            ['Stored', localTime(attempt.stored_at)],
            ['Ended', localTime(attempt.ended_at)],
            ['Program', short(attempt.program_version, 64)],
        ]),
        el('h3', {}, 'Sent and read back'),
        compared(attempt.sent, attempt.read_back),
        el('h3', {}, 'Console'),
        transcript(attempt, ends),
    ].filter(Boolean);
}

/** The records of a text that is a JSON object of them; none where it is something else. */
function records(text) {
    try {
        const value = JSON.parse(text);
        return value !== null && typeof value === 'object' && !Array.isArray(value) ? value : null;
    } catch {
        return null;
    }
}

function compared(sent, readBack) {
    const [out, back] = [records(sent), records(readBack)];
    if (out === null || back === null) {
        return el('div.beside', {}, quoted('Sent', sent), quoted('Read back', readBack));
    }
    const text = (value) => (value === undefined ? '–' : shown(typeof value === 'string' ? value : JSON.stringify(value)));
    const rows = [...new Set([...Object.keys(out), ...Object.keys(back)])].map((name) => ({ name, out: text(out[name]), back: text(back[name]) }));
    return table('Sent and read back', [
        { title: 'Record', of: ({ name }) => shown(name) },
        { title: 'Sent', of: (row) => el('code', {}, row.out) },
        { title: 'Read back', of: (row) => el('code', {}, row.back) },
        { title: 'Same', of: (row) => el(`span.mark.mark-${row.out === row.back ? 'good' : 'bad'}`, {}, row.out === row.back ? '✓ yes' : '✕ no') },
    ], rows).node;
}

function quoted(title, text) {
    return el('figure', {}, el('figcaption', {}, title), el('pre', { tabindex: '0' }, text ? shownLines(text) : 'Nothing'));
}

function transcript({ id, console }, ends) {
    const node = el('div');
    const whole = Array.isArray(console) ? console.map(({ text }) => text).join('') : console;
    load(node, async () => {
        const lines = (await getText(`/api/attempts/${encodeURIComponent(id)}/transcript`)).split('\n').filter(Boolean);
        return lines.map((line) => JSON.parse(line));
    }, (pieces) => {
        if (pieces.length === 0) {
            return quoted('As it came', whole);
        }
        const replay = makeReplay(pieces);
        ends.push(replay.end);
        return replay.node;
    });
    return node;
}
