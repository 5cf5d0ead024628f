// All that the page knows, once. Whoever changes it says what changed; whoever shows it is told of that
// ahead of the next frame, once, however often it changed until then.

export const store = {
    connection: 'connecting', // then 'live' or 'away'
    awaySince: 0,
    floor: null, // the state of the floor, without its slots
    slots: new Map(), // by their numbers
    selected: null, // the slot whose code was scanned, until its unit is
    next: { onlyCheck: false, product: '' }, // how the next unit is started
    notice: null, // what came of the last scan: { kind, title, text, offer }
    view: { name: 'slots', argument: '', query: new URLSearchParams() },
    settings: { theme: 'auto', sound: true },
};

const showing = new Set();
const hearing = new Map();
const changed = new Set();

/** Has show(changes) called ahead of a frame; changes has topics, and slots by their numbers. */
export function onChange(show) {
    showing.add(show);
    return () => showing.delete(show);
}

export function change(topic) {
    if (changed.size === 0) {
        requestAnimationFrame(tell);
    }
    changed.add(topic);
}

function tell() {
    const changes = new Set(changed);
    changed.clear();
    for (const show of [...showing]) {
        show(changes);
    }
}

/** Has hear(what) called when it happens: "verdict", "refusal", "taken". Nothing of it is kept. */
export function onHappening(name, hear) {
    hearing.set(name, [...(hearing.get(name) ?? []), hear]);
}

export function happens(name, what) {
    for (const hear of hearing.get(name) ?? []) {
        hear(what);
    }
}

export function takeState(state) {
    const { slots, ...floor } = state;
    const had = store.slots;
    store.floor = floor;
    store.slots = new Map();
    for (const slot of slots) {
        keepSlot(slot, had.get(slot.slot));
    }
    if (!store.slots.has(store.selected)) {
        store.selected = null;
    }
    change('floor');
}

export function takeSlot(slot) {
    if (store.slots.has(slot.slot)) {
        keepSlot(slot, store.slots.get(slot.slot));
        change(slot.slot);
    }
}

function keepSlot(slot, before) {
    slot.heard = performance.now(); // what the seconds of its run are counted from
    store.slots.set(slot.slot, slot);
    if (before && slot.run?.verdict && !(before.run?.verdict && before.run.attempt === slot.run.attempt)) {
        happens('verdict', slot);
    }
}

/** Replaces parts of the floor's state: its ledger, its operator, its printer. */
export function takeParts(parts) {
    if (store.floor) {
        Object.assign(store.floor, parts);
        change('floor');
    }
}

export function setConnection(state) {
    if (store.connection !== state) {
        store.connection = state;
        store.awaySince = state === 'away' ? Date.now() : 0;
        change('connection');
    }
}

export function select(slot) {
    store.selected = slot;
    change('selection');
}

export function setNext(parts) {
    Object.assign(store.next, parts);
    change('selection');
}

/** kind: "taken", "refused", "info"; offer: { text, run } is what F9 then does. */
export function setNotice(notice) {
    store.notice = notice;
    change('notice');
}
