// One slot on the screen. Its elements are made once; what changes in them is text and attributes.

import { el, setAttribute, setText, short, shown, sign } from '../base/dom.js';
import { clock } from '../base/words.js';
import { slotWords } from './slot_words.js';

const SIGN_OF = { pass: 'pass', fail: 'fail', stopped: 'stopped', label: 'scan', unplugged: 'warning', trouble: 'warning' };
const STEP_SIGNS = { __proto__: null, waiting: '', running: '▸', done: '✓', unseen: '?', skipped: '–', failed: '✕' };

/** A tile: its node, and show(slot, state) to bring it up to date. */
export function makeTile(number) {
    const part = (name) => el(`span.${name}`);
    const parts = {
        clock: part('clock'), drill: el('span.drill-mark', {}, 'DRILL'), sign: part('tile-sign'), head: part('tile-head'),
        label: part('tile-label'), product: part('tile-product'), detail: part('tile-detail'), advice: part('tile-advice'), fault: part('tile-fault'), steps: el('span.steps', { 'aria-hidden': 'true' }), name: part('unseen'),
    };
    parts.words = el('span.tile-words', { 'aria-hidden': 'true' }, parts.label, parts.product, parts.detail, parts.advice, parts.fault);
    const seen = { 'aria-hidden': 'true' }; // said in words by the name, whatever there is room for
    const button = el('button.tile', { type: 'button', 'data-slot': number, tabindex: '-1' },
        parts.name,
        el('span.tile-top', seen, el('span.tile-number', {}, String(number)), parts.drill, parts.clock),
        el('span.tile-middle', seen, parts.sign, parts.head),
        parts.words,
        parts.steps);
    const node = el('li', {}, button);
    let shownKind = '';
    let said = '';

    function showSign(kind) {
        if (kind !== shownKind) {
            shownKind = kind;
            parts.sign.replaceChildren(...(SIGN_OF[kind] ? [sign(SIGN_OF[kind])] : []));
        }
    }

    return {
        node,
        button,
        words: parts.words,
        detail: parts.detail,
        /** Whether what is said now may need another room than what was said before. */
        show(slot, state) {
            const words = slotWords(slot, state);
            const selected = state.selected === number;
            const run = slot.state === 'running' || slot.state === 'preparing' || slot.state === 'ended' ? slot.run : null;
            setAttribute(button, 'data-kind', words.kind);
            setAttribute(button, 'aria-pressed', selected);
            showSign(words.kind);
            setText(parts.head, short(selected && words.kind === 'idle' ? 'Scan a label' : words.head, 60));
            setText(parts.label, run ? short(run.label, 64) : '');
            setText(parts.detail, short(words.detail));
            setText(parts.advice, short(words.advice));
            setText(parts.product, words.kind === 'idle' ? short(slot.products.join(', '), 120) : '');
            setText(parts.fault, slot.fault ? `Fault ordered: ${short(slot.fault, 40)}` : '');
            parts.drill.hidden = !state.floor.drill;
            showSteps(parts.steps, slot.state === 'ended' ? [] : run?.steps ?? []);
            setText(parts.name, nameOf(slot, words, selected, state));
            this.tick(slot);
            const before = said;
            said = [words.kind, ...['label', 'detail', 'advice', 'head'].map((name) => parts[name].textContent)].join('\n');
            return said !== before;
        },
        tick(slot) {
            const { run } = slot;
            const going = run && !run.ended && slot.state === 'running';
            const seconds = run ? run.seconds + (going ? (performance.now() - slot.heard) / 1000 : 0) : 0;
            setText(parts.clock, run && (going || slot.state === 'ended') ? clock(seconds) : '');
        },
    };
}

function nameOf(slot, words, selected, { floor }) {
    const step = slot.state === 'running' ? slot.run?.steps.findIndex((each) => each.state === 'running') ?? -1 : -1;
    return [
        `${floor.drill ? 'Drill, slot' : 'Slot'} ${slot.slot}`,
        words.head,
        slot.run && slot.state !== 'idle' ? short(slot.run.label, 64) : '',
        step >= 0 ? `step ${step + 1} of ${slot.run.steps.length}, ${shown(slot.run.steps[step].operation)}` : '',
        short(words.detail), short(words.advice),
        slot.fault ? `fault ordered: ${short(slot.fault, 40)}` : '',
        selected ? 'waits for a label' : '',
    ].filter(Boolean).join(', ');
}

/** How much of a step is done, from 0 to 1. */
function partDone({ state, sent, of }) {
    if (state === 'running') {
        return of > 0 ? Math.min(1, sent / of) : 0.04;
    }
    return state === 'waiting' ? 0 : 1;
}

function showSteps(node, steps) {
    while (node.children.length > steps.length) {
        node.lastChild.remove();
    }
    while (node.children.length < steps.length) {
        node.append(el('span.step', {}, el('span.step-sign'), el('span.step-name'), el('span.step-bar', {}, el('span.step-done'))));
    }
    steps.forEach((step, at) => {
        const [mark, name, bar] = node.children[at].children;
        setAttribute(node.children[at], 'data-state', step.state);
        setText(mark, STEP_SIGNS[step.state] ?? '');
        setText(name, short(step.operation, 30));
        bar.firstChild.style.setProperty('width', `${Math.round(partDone(step) * 100)}%`);
    });
}
