// What a run leaves with its attempt in the ledger: what was sent, and what was read back, as the station judged it.

import { el, short, shown, shownLines } from '../base/dom.js';
import { facts, table } from './parts.js';

const NOTHING = { values: {}, records: {}, steps: [] };

function isObject(value) {
    return value !== null && typeof value === 'object' && !Array.isArray(value);
}

function isListOfObjects(value) {
    return Array.isArray(value) && value.every(isObject);
}

function parsed(text) {
    try {
        return JSON.parse(text);
    } catch {
        return null;
    }
}

/** The two texts of a station's run; null where they are something else. */
function evidenceOf({ sent, read_back: readBack }) {
    const [out, back] = [sent === '' ? NOTHING : parsed(sent), parsed(readBack)];
    const isOfRun = isObject(out) && isObject(out.values) && isObject(out.records) && isListOfObjects(out.steps)
        && isObject(back) && isListOfObjects(back.records) && isListOfObjects(back.steps);
    return isOfRun ? { out, back } : null;
}

export function showEvidence(attempt) {
    if (!attempt.sent && !attempt.read_back) {
        return [el('h3', {}, 'Sent and read back'), el('p.hint', {}, attempt.ended_at
            ? 'Nothing of it is in the ledger.' : 'It comes into the ledger when the attempt ends.')];
    }
    const raw = el('div.beside', {}, quoted('Sent', attempt.sent), quoted('Read back', attempt.read_back));
    const evidence = evidenceOf(attempt);
    if (evidence === null) {
        return [el('h3', {}, 'Sent and read back'), raw];
    }
    const { out, back } = evidence;
    return [
        el('h3', {}, 'Sent and read back'),
        attempt.sent ? null : el('p.hint', {}, 'Nothing was sent that the switch may have stored.'),
        facts([...Object.entries(out.values).map(([name, value]) => [short(name, 64), code(value)]),
            ...(back.held ? [['Held before', shown(back.held)]] : [])]),
        recordsTable(attempt, out, back),
        ...steps(out, back),
        el('details', {}, el('summary', {}, 'As it stands in the ledger'), raw),
    ].filter(Boolean);
}

function code(value) {
    const isMissing = value === null || value === undefined;
    return el('code', {}, isMissing ? '–' : shown(typeof value === 'string' ? value : JSON.stringify(value)));
}

/**
 * Whether a record is as wanted: true, false, or null where nobody has seen it. Its "as_wanted" is about what it was before
 * until it is read back. A run that failed over what it read back knows which records are not there.
 */
function fits({ after, as_wanted: asWanted }, isMissingTold) {
    if (typeof after !== 'string') {
        return isMissingTold ? false : null;
    }
    return asWanted === true;
}

function fitMark(fit) {
    const [kind, words] = fit === null ? ['open', '• not seen'] : fit ? ['good', '✓ yes'] : ['bad', '✕ no'];
    return el(`span.mark.mark-${kind}`, {}, words);
}

/** A column only where some record has something in it. */
function recordsTable({ outcome }, out, back) {
    const wanted = new Map(Object.entries(out.records));
    const has = (part) => back.records.some((row) => typeof row[part] === 'string');
    const isJudged = wanted.size > 0 || has('after');
    const isMissingTold = outcome === 'failed' && has('after');
    const columns = [
        has('before') ? { title: 'Before', of: ({ before }) => code(before) } : null,
        wanted.size > 0 ? { title: 'Sent', of: ({ record }) => code(wanted.get(record)) } : null,
        isJudged ? { title: 'Read back', of: ({ after }) => code(after ?? (isMissingTold ? 'missing' : null)) } : null,
        isJudged ? { title: 'As wanted', of: (row) => fitMark(fits(row, isMissingTold)) } : null,
    ].filter(Boolean);
    return columns.length === 0 || back.records.length === 0 ? null
        : table('Sent and read back', [{ title: 'Record', of: ({ record }) => shown(record) }, ...columns], back.records).node;
}

function steps(out, back) {
    if (back.steps.length === 0) {
        return [];
    }
    const done = back.steps.map((step, at) => ({ ...step, job: out.steps[at]?.job }));
    return [el('h3', {}, 'Steps'), table('Steps', STEPS, done).node, ...done.flatMap(items)];
}

const STEPS = [
    { title: 'Step', of: ({ operation }) => shown(operation) },
    { title: 'Result', of: ({ result }) => stepMark(result) },
    { title: 'Starts', of: ({ starts }) => shown(starts), number: true },
    { title: 'Reason', of: ({ reason }) => shown(reason) },
    { title: 'Job', of: ({ job }) => shown(job ?? '–') },
];

function stepMark(result) {
    const [kind, sign] = result === 'done' ? ['good', '✓'] : result === 'failed' ? ['bad', '✕'] : ['open', '•'];
    return el(`span.mark.mark-${kind}`, {}, `${sign} ${shown(result)}`);
}

/** The properties, fans, supplies or their like that a step sent, one a row. */
function items({ operation, items: rows }) {
    if (!isListOfObjects(rows) || rows.length === 0) {
        return [];
    }
    const columns = Object.keys(rows[0]).map((name) => ({ title: short(name, 64), of: (item) => code(item[name]) }));
    const title = `Sent by ${short(operation, 64)}`;
    return [el('figure', {}, el('figcaption', {}, title), table(title, columns, rows).node)];
}

/** A text as it is. */
export function quoted(title, text) {
    return el('figure', {}, el('figcaption', {}, title), el('pre', { tabindex: '0' }, text ? shownLines(text) : 'Nothing'));
}
