// Takes what a scanner types out of what the keyboard sends, wherever the focus is: keys that follow each
// other faster than a hand types, and Enter or Tab at their end.

import { characterOf, isEnd, isModifier } from './keys.js';

const GAP = 80; // milliseconds between two keys of a scan, at most
const FEWEST = 3; // keys; below that it was a hand
const MOST = 128;
const WITHOUT_END = 6; // so many fast keys that no end follows were a scan, too,
const PATIENCE = 1000; // after these milliseconds

let burst = null;
let lastScan = -Infinity;

function begin(event) {
    const at = document.activeElement;
    const field = at?.matches('input, textarea') ? { node: at, value: at.value } : null;
    return { text: '', last: event.timeStamp, keys: 0, bad: false, field, inList: at?.matches('select') };
}

/** The field that had the focus gets back what stood there before the scan ran into it. */
function restore({ field }) {
    if (field && field.node.value !== field.value) {
        field.node.value = field.value;
    }
}

function swallow(event) {
    event.preventDefault();
    event.stopImmediatePropagation();
}

/**
 * Has took(text) called for each scan, and failed() for one that could not be read. prefix() is what the
 * scanner sends ahead of each code, if anything.
 */
export function startScanner({ took, failed, prefix }) {
    const finish = (done) => {
        restore(done);
        const ahead = prefix();
        if (done.bad || !done.text.startsWith(ahead)) {
            failed();
        } else {
            took(done.text.slice(ahead.length));
        }
    };
    const endless = (one) => {
        if (burst === one) {
            burst = null;
            if (one.keys >= WITHOUT_END && !one.field) {
                failed();
            }
        }
    };
    const key = (event) => {
        if (isModifier(event)) {
            return;
        }
        const follows = burst !== null && event.timeStamp - burst.last <= GAP && !event.repeat;
        if (isEnd(event)) {
            const done = follows ? burst : null;
            burst = null;
            if (done !== null && done.keys >= FEWEST) {
                lastScan = event.timeStamp;
                swallow(event);
                finish(done);
            } else if (event.timeStamp - lastScan <= GAP) {
                swallow(event); // a second end of the same scan
            }
            return;
        }
        if (event.ctrlKey || event.altKey || event.metaKey || event.repeat || /^F\d+$|^Arrow|^Escape$/.test(event.code)) {
            burst = null;
            return;
        }
        burst = follows ? burst : begin(event);
        take(burst, event);
        const one = burst;
        clearTimeout(one.timer);
        one.timer = setTimeout(endless, PATIENCE, one);
    };
    addEventListener('keydown', key, { capture: true });
    // A button takes a blank as a click when the key comes up.
    addEventListener('keyup', (event) => {
        if (event.code === 'Space' && burst !== null && burst.keys > 1) {
            swallow(event);
        }
    }, { capture: true });
}

function take(one, event) {
    const character = characterOf(event);
    one.bad ||= character === '' || one.keys >= MOST;
    one.text += character;
    one.keys += 1;
    one.last = event.timeStamp;
    // Outside of fields these keys would search the page, scroll it, press a button, or choose in a list: a blank opens that.
    const actsAtOnce = event.code === 'Slash' || event.code === 'Quote' || (one.inList && character.trim() !== '');
    if (!one.field && (one.keys > 1 || actsAtOnce)) {
        event.preventDefault();
    }
}
