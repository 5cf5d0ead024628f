// The floor's interface: its requests, and the stream of its events.

import { setConnection, takeParts, takeSlot, takeState } from './store.js';

// The floor sends a comment every 15 seconds: this long without a byte, and it is away.
const SILENCE = 40000;
const PAUSE = 700;
const HANG = 15000;
// A change is answered within a minute, be it that the floor is still at it.
const CHANGE = 75000;

let token = '';

/** Why the floor did not do something. */
export class Refusal extends Error {
    constructor({ code = '', reason = '', advice = '' }) {
        super(reason);
        Object.assign(this, { code, reason, advice });
    }
}

const AWAY = { code: 'away', reason: 'The floor does not answer', advice: 'Nothing was started. Wait until it is back, and scan again.' };
// Of a change that was sent: it may have been made, or be made yet.
const NO_ANSWER = { code: 'no_answer', reason: 'The floor did not answer', advice: 'It is not known whether this was done, or still will be. Look at the slots, and unplug nothing.' };

async function answered(path, options = {}, limit = HANG, unanswered = AWAY) {
    let response;
    try {
        response = await fetch(path, { cache: 'no-store', signal: AbortSignal.timeout(limit), ...options });
    } catch {
        throw new Refusal(unanswered);
    }
    if (response.ok) {
        return response;
    }
    const content = await response.json().catch(() => ({}));
    throw new Refusal(content.error ?? { code: 'unknown', reason: `The floor answered with status ${response.status}`, advice: 'Try again; if it stays so, tell whoever looks after the line.' });
}

export async function get(path) {
    return (await answered(path)).json();
}

export async function getText(path) {
    return (await answered(path)).text();
}

export async function post(path, content) {
    const send = () => answered(path, {
        method: 'POST',
        headers: { 'Content-Type': 'application/json', 'X-Setmac-Token': token },
        body: JSON.stringify(content),
    }, CHANGE, NO_ANSWER);
    try {
        return await (await send()).json();
    } catch (refusal) {
        if (refusal.code !== 'wrong_token') {
            throw refusal;
        }
    }
    await fetchToken(); // the floor was started anew
    return (await send()).json();
}

async function fetchToken() {
    token = (await get('/api/session')).token;
}

const TAKE = { __proto__: null, state: takeState, slot: takeSlot, ledger: (ledger) => takeParts({ ledger }), operator: takeParts, printer: takeParts };

function take({ name, data }) {
    TAKE[name]?.(JSON.parse(data));
    if (name === 'state') {
        setConnection('live');
    }
}

/** Takes server-sent events out of a stream's text, which comes in pieces of any length. */
export function eventReader(took) {
    let rest = '';
    return (piece) => {
        const blocks = (rest + piece).split('\n\n');
        rest = blocks.pop();
        for (const block of blocks) {
            const event = { name: 'message', data: '' };
            for (const line of block.split('\n')) {
                if (line.startsWith('event:')) {
                    event.name = line.slice(6).trim();
                } else if (line.startsWith('data:')) {
                    event.data += line.slice(5);
                }
            }
            if (event.data) {
                took(event);
            }
        }
    };
}

async function followOnce() {
    const stop = new AbortController();
    let watch = setTimeout(() => stop.abort(), HANG);
    try {
        await fetchToken();
        const response = await fetch('/api/events', { cache: 'no-store', signal: stop.signal });
        if (!response.ok) {
            return;
        }
        const read = eventReader(take);
        const text = response.body.pipeThrough(new TextDecoderStream()).getReader();
        for (let piece = await text.read(); !piece.done; piece = await text.read()) {
            read(piece.value);
            clearTimeout(watch);
            watch = setTimeout(() => stop.abort(), SILENCE);
        }
    } finally {
        clearTimeout(watch);
        stop.abort();
    }
}

/**
 * Follows the floor as long as the page is open. After each break it asks for the whole state again, so
 * that what is shown is right whatever was missed.
 */
export async function follow() {
    for (;;) {
        await followOnce().catch(() => {});
        setConnection('away');
        await new Promise((done) => setTimeout(done, PAUSE));
    }
}
