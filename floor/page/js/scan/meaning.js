// What a code means as things stand. Nothing is done here.

const LABEL_MOST = 64;

function refuse(title, text) {
    return { does: 'refuse', title, text };
}

/** Whether a unit could be started in a slot. */
export function isFree(slot) {
    return (slot.state === 'idle' || slot.state === 'ended') && !slot.trouble;
}

export function waitsForLabel(slot) {
    return slot.state !== 'ended' && (slot.run?.label_back === 'waiting' || slot.run?.label_back === 'differs');
}

/** The slot that the next label goes to: the one whose code was scanned, or the only one there is. */
export function nextSlot({ slots, selected }) {
    if (selected !== null) {
        return slots.get(selected);
    }
    const usable = [...slots.values()].filter((slot) => slot.state !== 'unplugged' && !slot.trouble);
    return usable.length === 1 ? usable[0] : null;
}

/** Whether two codes ran into one: a code twice, or one of the floor's own behind something else. */
function ranTogether(code, codes) {
    const half = code.slice(0, code.length / 2);
    return (half.length >= 5 && half + half === code)
        || [codes.slot, codes.operator].some((ahead) => ahead.length >= 3 && code.indexOf(ahead, 1) > 0);
}

function slotMeant(code, { floor, slots }) {
    const number = code.slice(floor.codes.slot.length);
    if (!/^\d{1,4}$/.test(number) || !slots.has(Number(number))) {
        return refuse(`There is no slot “${number}” on this floor`, 'Scan the code at the slot itself.');
    }
    return { does: 'select', slot: Number(number) };
}

function labelMeant(code, state) {
    const next = nextSlot(state);
    const own = [...state.slots.values()].filter((slot) => waitsForLabel(slot) && slot.run.label_code === code);
    if (state.selected === null && own.length === 1) {
        return { does: 'confirm', slot: own[0].slot };
    }
    if (next === null) {
        return refuse('Which slot? No slot’s code was scanned', 'Scan the slot’s code first, then the unit’s label.');
    }
    if (waitsForLabel(next)) {
        return { does: 'confirm', slot: next.slot };
    }
    if (own.length > 0) {
        return refuse(`This is slot ${own[0].slot}’s printed label`, `Put it on the unit there, and scan it once more. Slot ${next.slot} takes the label of its own unit.`);
    }
    if (!isFree(next)) {
        return refuse(`Slot ${next.slot} ${next.state === 'unplugged' || next.trouble ? 'cannot be used' : 'is still at work'}`,
            next.trouble || 'Scan another slot, or wait for its verdict.');
    }
    return { does: 'start', slot: next.slot };
}

/**
 * { does: "operator", "select", "confirm", "start", "find" or "refuse", … } for a code and the page's state.
 * byHand: typed and looked at, so that no scanner can have doubled it.
 */
export function meaningOf(code, state, byHand = false) {
    const { codes } = state.floor;
    if (codes.operator && code.startsWith(codes.operator) && code.length > codes.operator.length) {
        return { does: 'operator', badge: code.slice(codes.operator.length) };
    }
    if (codes.slot && code.startsWith(codes.slot)) {
        return slotMeant(code, state);
    }
    if (code.length === 0 || code.length > LABEL_MOST || code.trim() !== code || /[^ -~]/.test(code)) {
        return refuse('This is no unit’s label', 'Scan the label of the unit again.');
    }
    if (!byHand && ranTogether(code, codes)) {
        return refuse('Two codes ran into one', 'Scan them again, one at a time.');
    }
    return state.view.name === 'unit' ? { does: 'find' } : labelMeant(code, state);
}
