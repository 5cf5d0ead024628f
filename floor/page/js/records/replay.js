// An attempt's console once more, in its own time or faster.

import { el, setText, shownLines } from '../base/dom.js';
import { clock, count } from '../base/words.js';

const SPEEDS = [1, 4, 16];
const LONGEST = 400000; // characters; a console that says more is cut at its head, and that is told

function nodeOf({ from, text, left_out: leftOut }) {
    if (leftOut !== undefined) {
        return el('span.left-out', {}, `\n… ${count(leftOut, 'byte')} left out …\n`);
    }
    return el(`span.from-${from === 'station' ? 'station' : 'switch'}`, {}, shownLines(text));
}

/**
 * pieces: [{ at: seconds, from, text }], and { left_out: bytes } for a gap. Returns its node, and end() for when it is not
 * shown any more.
 */
export function makeReplay(pieces) {
    const length = pieces.findLast((piece) => piece.at !== undefined)?.at ?? 0;
    const screen = el('pre.console', { tabindex: '0', role: 'log', 'aria-live': 'off', 'aria-label': 'Console' });
    const cut = el('p.hint', {}, `Only the last ${LONGEST.toLocaleString('en')} characters are shown. Those before are seen further back.`);
    const bar = el('input', { type: 'range', min: '0', max: String(Math.max(1, Math.ceil(length * 10))), 'aria-label': 'Place in the attempt' });
    const time = el('span.replay-time');
    const play = el('button.strong', { type: 'button' });
    const speed = el('button', { type: 'button' });
    let at = length; // the whole of it, until somebody plays it
    let rate = 0; // place in SPEEDS
    let timer = null;
    let last = 0;
    let drawn = -1;

    function draw() {
        const end = pieces.findIndex((piece) => piece.at > at);
        const until = end < 0 ? pieces.length : end;
        if (until < drawn || drawn < 0) {
            screen.replaceChildren();
            cut.hidden = true;
            drawn = 0;
        }
        screen.append(...pieces.slice(drawn, until).map(nodeOf));
        drawn = until;
        for (let rest = screen.textContent.length - LONGEST; rest > 0 && screen.firstChild;) {
            rest -= screen.firstChild.textContent.length;
            screen.firstChild.remove();
            cut.hidden = false;
        }
        screen.scrollTop = screen.scrollHeight;
        bar.value = String(Math.round(at * 10));
        bar.setAttribute('aria-valuetext', `${clock(at)} of ${clock(length)}`);
        setText(time, `${clock(at)} of ${clock(length)}`);
        setText(play, timer === null ? '▶ Replay' : '❚❚ Pause');
        setText(speed, `Speed ×${SPEEDS[rate]}`);
    }

    function pause() {
        clearInterval(timer);
        timer = null;
    }

    function go() {
        const now = performance.now();
        at = Math.min(length, at + (now - last) / 1000 * SPEEDS[rate]);
        last = now;
        if (at >= length) {
            pause();
        }
        draw();
    }

    play.addEventListener('click', () => {
        if (timer === null) {
            at = at >= length ? 0 : at;
            last = performance.now();
            timer = setInterval(go, 50);
        } else {
            pause();
        }
        draw();
    });
    speed.addEventListener('click', () => {
        rate = (rate + 1) % SPEEDS.length;
        draw();
    });
    bar.addEventListener('input', () => {
        at = Number(bar.value) / 10;
        last = performance.now();
        draw();
    });
    draw();
    return {
        node: el('div.replay', {}, el('div.row', {}, play, speed, bar, time),
            el('p.hint', {}, 'What the station typed is ', el('span.from-station', {}, 'underlined'), '.'), cut, screen),
        end: pause,
    };
}
