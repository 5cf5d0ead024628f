// One attempt: what was sent and what was read back, the console as it was, and its replay.

import { el, short } from '../base/dom.js';
import { address } from '../base/routes.js';
import { get, getText } from '../base/server.js';
import { store } from '../base/store.js';
import { endOf, localTime, reasonWords } from '../base/words.js';
import { quoted, showEvidence } from './evidence.js';
import { facts, link, load, page, stateMark } from './parts.js';
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
        attempt.reason ? el(attempt.outcome === 'verified' ? 'p.reason.is-good' : 'p.reason', {}, short(reasonWords(attempt), 2000)) : null,
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
        ...showEvidence(attempt),
        el('h3', {}, 'Console'),
        transcript(attempt, ends),
    ].filter(Boolean);
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
