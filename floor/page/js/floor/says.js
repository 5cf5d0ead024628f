// The bar at the foot of the page: what to do now, what came of the last scan, and the slot that was chosen.

import { el, setAttribute, setText, short, sign } from '../base/dom.js';
import { go } from '../base/routes.js';
import { onChange, onHappening, setNext, setNotice, store } from '../base/store.js';
import { cancel, dismiss, orderFault, start, take } from '../scan/actions.js';
import { nextSlot } from '../scan/meaning.js';
import { slotWords } from './slot_words.js';

const SIGNS = { taken: 'pass', refused: 'fail', info: 'info', scan: 'scan', fail: 'fail' };

/** Builds the bar in root, for good. */
export function startSays(root) {
    const mark = el('div.says-sign');
    const title = el('p.says-title');
    const text = el('p.says-text');
    const words = el('div.says-words', { role: 'status' }, title, text);
    const actions = el('div.says-actions');
    const field = el('input', { id: 'typed', autocomplete: 'off', spellcheck: 'false', maxlength: '128' });
    const form = el('form.says-typed', {},
        el('label', { for: 'typed' }, 'Type a code'), field, el('button', { type: 'submit' }, 'Take'));
    form.addEventListener('submit', (event) => {
        event.preventDefault();
        const code = field.value.trim();
        field.value = '';
        if (code !== '') {
            take(code, true);
        }
    });
    root.append(mark, words, actions, form);

    const render = () => {
        const said = whatToSay();
        setAttribute(root, 'data-kind', said.kind);
        setAttribute(words, 'role', said.kind === 'refused' ? 'alert' : 'status');
        if (mark.dataset.shown !== said.kind) {
            mark.dataset.shown = said.kind;
            mark.replaceChildren(sign(SIGNS[said.kind]));
        }
        setText(title, short(said.title, 300));
        setText(text, short(said.text, 400));
        keepFocus(actions, actionsFor(said));
    };
    onChange((changes) => {
        const slots = [...changes].some((each) => typeof each === 'number');
        if (slots || ['floor', 'selection', 'notice', 'connection', 'view'].some((topic) => changes.has(topic))) {
            render();
        }
    });
    // From then on there is more to say than that a unit was taken: which one failed last, and why.
    onHappening('verdict', () => store.notice?.kind === 'taken' && setNotice(null));
    addEventListener('keydown', (event) => {
        if (event.key === 'F9') {
            event.preventDefault();
            whatToSay().offer?.run();
        } else if (event.key === 'Escape') {
            dismiss();
        }
    });
}

/** Puts in buttons only where others are there now, so that the one with the focus keeps it. */
function keepFocus(node, wanted) {
    const key = wanted.map((each) => each.dataset.key ?? each.textContent).join('|');
    if (node.dataset.shown !== key) {
        node.dataset.shown = key;
        node.replaceChildren(...wanted);
    }
}

function whatToSay() {
    if (store.connection === 'away') {
        return { kind: 'refused', title: 'The floor does not answer', text: 'Scans are not taken until it is back.' };
    }
    if (store.floor?.ledger.usable === false) {
        return { kind: 'refused', title: `The ledger cannot be used: ${store.floor.ledger.reason}`, text: 'No unit can be started until it is back. Nothing is lost.' };
    }
    if (store.notice && store.notice.kind !== 'taken' || store.notice && store.selected === null) {
        return store.notice;
    }
    return store.selected === null ? idleWords() : selectedWords(store.slots.get(store.selected));
}

function selectedWords(slot) {
    const words = slotWords(slot, store);
    const held = slot.run && slot.state !== 'idle';
    const before = held ? `${words.head}, ${short(slot.run.label, 64)}: ${[words.detail, words.advice].filter(Boolean).join('. ')}` : words.detail;
    const free = slot.state === 'idle' || slot.state === 'ended';
    const ask = store.next.onlyCheck ? 'scan the label of the unit to compare; nothing will be written' : 'scan the unit’s label';
    const title = `Slot ${slot.slot}: ${free || words.kind === 'label' ? ask : words.head}`;
    return { kind: 'scan', title, text: before, slot, offer: replaceOffer(slot) };
}

function replaceOffer({ slot, run, state }) {
    if (state !== 'ended' || run?.outcome !== 'other_identity') {
        return null;
    }
    return { text: 'Write over the identity that the switch holds', run: () => start(slot, run.label, { replace: true, again: true }) };
}

function idleWords() {
    const failed = [...store.slots.values()].filter((slot) => slot.state === 'ended' && slot.run?.verdict === 'FAIL')
        .sort((one, other) => String(other.run.ended).localeCompare(String(one.run.ended)));
    const next = nextSlot(store);
    if (store.view.name === 'unit') {
        return { kind: 'scan', title: 'Scan a unit’s label: it is looked up, nothing is started', text: 'A slot’s code leads back to the slots.' };
    }
    const ask = next ? `Scan the unit’s label: it goes to slot ${next.slot}` : 'Scan a slot’s code, then the unit’s label';
    if (failed.length === 0) {
        return { kind: 'scan', title: ask, text: '' };
    }
    const { slot, run } = failed[0];
    const words = slotWords(store.slots.get(slot), store);
    const more = failed.length > 1 ? ` — FAIL also in ${failed.slice(1, 9).map((each) => each.slot).join(', ')}${failed.length > 9 ? ' and more' : ''}` : '';
    return { kind: 'scan', title: ask, text: `Slot ${slot} FAIL, ${short(run.label, 40)}: ${[words.detail, words.advice].filter(Boolean).map((each) => short(each, 110)).join('. ')}${more}` };
}

function button(text, run, key = text) {
    return el('button', { type: 'button', 'data-key': key, onclick: run }, text);
}

function actionsFor(said) {
    const { offer, slot } = said;
    const buttons = [];
    if (offer) {
        buttons.push(el('button.strong', { type: 'button', 'data-key': `F9 ${offer.text} ${store.notice?.title}`, onclick: offer.run }, el('kbd', {}, 'F9'), offer.text));
    }
    if (slot) {
        buttons.push(...slotActions(slot));
    }
    if (said === store.notice && said.kind === 'refused') {
        buttons.push(button('Dismiss (Esc)', () => setNotice(null)));
    }
    return buttons;
}

function slotActions(slot) {
    const buttons = [];
    if (slot.state === 'running' || slot.state === 'preparing') {
        buttons.push(button('Stop this run', () => cancel(slot.slot), `stop ${slot.slot}`));
    } else if (slot.state !== 'unplugged') {
        buttons.push(el('button', { type: 'button', 'aria-pressed': store.next.onlyCheck, 'data-key': `check ${store.next.onlyCheck}`,
            onclick: () => setNext({ onlyCheck: !store.next.onlyCheck }) }, 'Compare only'));
    }
    if (slot.run) {
        buttons.push(button('Show unit', () => go('unit', slot.run.label), `unit ${slot.run.label}`));
    }
    if (slot.products.length > 1) {
        buttons.push(productChoice(slot));
    }
    if (store.floor.drill_faults?.length > 0) {
        buttons.push(faultChoice(slot));
    }
    return buttons;
}

function choice(name, key, options, chosen, took) {
    const list = el('select', { 'aria-label': name, onchange: (event) => took(event.target.value) },
        options.map(({ value, text }) => el('option', { value, selected: value === chosen }, short(text, 60))));
    return el('label.choice', { 'data-key': key }, name, list);
}

function productChoice({ products }) {
    const options = [{ value: '', text: 'as the label says' }, ...products.map((name) => ({ value: name, text: name }))];
    return choice('Product', `product ${products} ${store.next.product}`, options, store.next.product, (product) => setNext({ product }));
}

function faultChoice({ slot, fault }) {
    const options = [{ value: '', text: 'none' }, ...store.floor.drill_faults.map((each) => ({ value: each.fault, text: each.text }))];
    return choice('Fault', `fault ${slot} ${fault}`, options, fault ?? '', (wanted) => orderFault(slot, wanted || null));
}
