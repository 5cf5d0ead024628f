// Verdicts for a screen reader, as they come.

import { el, short } from '../base/dom.js';
import { onHappening, store } from '../base/store.js';
import { slotWords } from './slot_words.js';

const KEPT = 10;

export function startVerdicts(root) {
    onHappening('verdict', (slot) => {
        const { head, detail, advice } = slotWords(slot, store);
        root.append(el('p', {}, [`Slot ${slot.slot} ${head}`, short(slot.run.label, 64), short(detail), short(advice)].filter(Boolean).join('. ')));
        while (root.children.length > KEPT) {
            root.firstChild.remove();
        }
    });
}
