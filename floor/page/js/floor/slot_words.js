// What a slot says for itself, in words; its tile, its row and the screen reader all have it from here.

import { outcomeWords, plain } from '../base/words.js';
import { nextSlot, waitsForLabel } from '../scan/meaning.js';

const FREE = { idle: 'Free', ended: 'Free' };

function endedWords({ run }) {
    const checked = run.only_check;
    if (run.verdict === 'PASS') {
        return { kind: 'pass', head: 'PASS', detail: checked ? 'Matches the ledger' : run.reason || outcomeWords('verified'), advice: run.advice };
    }
    if (run.verdict === 'FAIL') {
        return { kind: 'fail', head: 'FAIL', detail: run.reason || outcomeWords(run.outcome), advice: run.advice };
    }
    return { kind: 'stopped', head: 'Stopped', detail: run.reason || outcomeWords(run.outcome), advice: run.advice };
}

function runningWords(slot) {
    const { run } = slot;
    if (run.label_back === 'differs') {
        return { kind: 'label', head: 'Wrong label', detail: 'What was scanned is not this unit’s label', advice: 'Scan the label that was printed for it' };
    }
    if (waitsForLabel(slot)) {
        return { kind: 'label', head: 'Scan its label', detail: 'Put the printed label on the unit and scan it', advice: '' };
    }
    return { kind: 'running', head: run.phase || 'At work', detail: '', advice: '' };
}

/** What a slot's tile says: { kind, head, detail, advice }. */
export function slotWords(slot, state) {
    if (slot.state === 'unplugged') {
        return { kind: 'unplugged', head: 'No adapter', detail: slot.trouble || 'Plug in the serial adapter of this slot', advice: '' };
    }
    if (slot.run && slot.state === 'ended') {
        return endedWords(slot);
    }
    if (slot.state === 'preparing') {
        return { kind: 'running', head: 'Getting its identity', detail: '', advice: '' };
    }
    if (slot.run && slot.state === 'running') {
        return runningWords(slot);
    }
    if (slot.trouble) {
        return { kind: 'trouble', head: 'Out of use', detail: slot.trouble, advice: '' };
    }
    const next = nextSlot(state) === slot;
    return { kind: 'idle', head: next ? 'Scan a label' : FREE[slot.state] ?? plain(slot.state), detail: '', advice: '' };
}
