// The sheet of codes to print and hang up at the slots.

import { el, short } from '../base/dom.js';
import { onChange, store } from '../base/store.js';
import { drawCode } from './code128.js';
import { page } from './parts.js';

function card(title, code) {
    return el('li.code', {}, el('p.code-title', {}, title), drawCode(code), el('p', {}, el('code', {}, short(code, 64))));
}

export function showCodes(root) {
    const node = page(root, 'Codes of the slots', el('button', { type: 'button', onclick: () => print() }, 'Print this sheet'));
    const list = el('ul.codes');
    node.append(el('p.hint', {}, 'Cut out, and fix each one at its slot where a scanner reaches it. Code 128.'), list);
    const show = () => {
        const ahead = store.floor?.codes.slot ?? '';
        const slots = [...store.slots.keys()].sort((one, other) => one - other);
        const wanted = `${ahead} ${slots}`;
        if (list.dataset.shown !== wanted) {
            list.dataset.shown = wanted;
            list.replaceChildren(...(ahead === '' ? [] : slots.map((slot) => card(`Slot ${slot}`, `${ahead}${slot}`))));
        }
    };
    show();
    return onChange((changes) => changes.has('floor') && show());
}
