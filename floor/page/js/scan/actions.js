// Carries out what was scanned, typed or pressed, and tells what came of it.

import { go } from '../base/routes.js';
import { post } from '../base/server.js';
import { happens, select, setNext, setNotice, store } from '../base/store.js';
import { short } from '../base/dom.js';
import { meaningOf } from './meaning.js';

const TWICE = 1500; // milliseconds in which the same code again is the scanner's, not the operator's
const SELECTED = 90000; // how long a slot waits for the label that belongs to it

const NONE = { code: '', at: -Infinity };

let last = NONE;
let selectionEnds = 0;
let choices = 0; // were made or let go so far

export function refuse(title, text, offer = null) {
    setNotice({ kind: 'refused', title, text, offer });
    happens('scan', 'refused');
}

function tell(title, text = '') {
    setNotice({ kind: 'taken', title, text, offer: null });
    happens('scan', 'taken');
}

export function unreadable() {
    refuse('The code could not be read', 'Scan it again, whole and one at a time.');
}

/** Of a code that was refused the refusal stays, with what it offers. */
function tellTwice(code) {
    if (store.notice?.kind === 'refused') {
        return happens('scan', 'refused');
    }
    setNotice({ kind: 'info', title: `${short(code, 64)} was scanned twice, and taken once`, text: '', offer: null });
    return happens('scan', 'twice');
}

/** A code from the scanner, or one that was typed. */
export function take(code, byHand = false) {
    const now = performance.now();
    if (!byHand && code === last.code && now - last.at < TWICE) {
        last.at = now;
        return tellTwice(code);
    }
    last = { code, at: now };
    setNotice(null);
    if (store.connection !== 'live') {
        return refuse('The floor does not answer', 'Nothing was started. Wait until it is back, and scan again.');
    }
    const meaning = meaningOf(code, store, byHand);
    return DO[meaning.does](code, meaning);
}

const DO = {
    refuse: (code, { title, text }) => refuse(`${title}: ${short(code, 64)}`, text),
    operator: (code, { badge }) => changeOperator(badge),
    select: (code, { slot }) => choose(slot),
    confirm: (code, { slot }) => confirm(slot, code),
    start: (code, { slot }) => start(slot, code),
    find: (code) => {
        happens('scan', 'taken');
        go('unit', code);
    },
};

/** A slot is the next label's. Its last verdict stays until the unit is scanned. */
export function choose(slot) {
    choices += 1;
    select(slot);
    setNotice(null);
    happens('scan', 'taken');
    go('slots');
    clearTimeout(selectionEnds);
    selectionEnds = setTimeout(letGo, SELECTED);
}

function letGo() {
    choices += 1;
    clearTimeout(selectionEnds);
    select(null);
    setNext({ onlyCheck: false });
}

/** Lets go what was chosen then: a late answer must not take what was chosen since. */
function letGoOf(choice) {
    if (choice === choices) {
        letGo();
    }
}

/** The next slot that is chosen compares its unit, and writes nothing. */
export function compareNext() {
    last = NONE; // the slot's code may come again at once
    letGo();
    setNext({ onlyCheck: true });
    setNotice({ kind: 'info', title: 'Compare only: scan the slot with the switch, then the label', text: 'What the switch holds is read and compared with the ledger. Nothing is written.', offer: null });
    go('slots');
}

/** Takes back what the last scan did: the same code may then come at once. */
export function dismiss() {
    last = NONE;
    setNotice(null);
    letGo();
}

async function attempt(work, refused) {
    try {
        return await work();
    } catch (refusal) {
        refused(refusal);
        return undefined;
    }
}

const plainRefusal = (refusal) => refuse(refusal.reason, refusal.advice);

async function changeOperator(badge) {
    await attempt(async () => {
        await post('/api/operator', { badge });
        tell(`Operator ${short(badge, 64)}`, 'Units from now on are kept under this badge.');
    }, plainRefusal);
}

async function confirm(slot, code) {
    const chosen = choices;
    await attempt(async () => {
        const { run } = await post(`/api/slots/${slot}/confirm`, { code });
        if (run?.label_back === 'differs') {
            refuse(`Slot ${slot}: ${short(code, 64)} is not the label of this unit`, `Scan the label that was printed for ${short(run.label, 64)}.`);
        } else {
            tell(`Slot ${slot}: the label is right`);
            letGoOf(chosen);
        }
    }, plainRefusal);
}

// What a refused start can be repeated with, where a person answers for it.
const STRONGER = {
    __proto__: null,
    already_verified: { text: 'Do it again with the same identity', option: 'again' },
    attempt_open: { text: 'Take it over from the other station', option: 'take_over' },
};

function strongerOffer(slot, label, options, { code }) {
    const stronger = STRONGER[code];
    return stronger && { text: stronger.text, run: () => start(slot, label, { ...options, [stronger.option]: true }) };
}

export async function start(slot, label, options = {}) {
    const wanted = { label, ...options };
    if (store.next.onlyCheck) {
        wanted.only_check = true;
    }
    if (store.next.product && store.slots.get(slot)?.products.length > 1) {
        wanted.product = store.next.product;
    }
    const chosen = choices;
    const asking = { kind: 'info', title: `Slot ${slot}: asking for ${short(label, 64)}`, text: '', offer: null };
    setNotice(asking);
    go('slots');
    await attempt(async () => {
        await post(`/api/slots/${slot}/start`, wanted);
        letGoOf(chosen);
        if (store.notice === asking) {
            tell(`Slot ${slot} takes ${short(label, 64)}`, wanted.only_check ? 'It is compared with the ledger; nothing is written.' : '');
        }
    }, (refusal) => refuse(`Slot ${slot}, ${short(label, 64)}: ${refusal.reason}`, refusal.advice, strongerOffer(slot, label, options, refusal)));
}

export async function cancel(slot) {
    await attempt(async () => {
        await post(`/api/slots/${slot}/cancel`, {});
        tell(`Slot ${slot} is being stopped`);
    }, plainRefusal);
}

export async function orderFault(slot, fault) {
    await attempt(async () => {
        await post(`/api/drill/slots/${slot}/fault`, { fault: fault ?? '' });
        tell(fault ? `Slot ${slot}: a fault is ordered for the next unit` : `Slot ${slot}: no fault`);
    }, plainRefusal);
}

export async function printAgain(label) {
    await attempt(async () => {
        const job = await post('/api/prints/new', { label });
        tell(`Label ${short(label, 64)} goes to the printer`, job?.number > 1 ? `Print number ${job.number} of this label.` : '');
    }, plainRefusal);
}
