// How each slot does against the others, in words.

import { el, short } from '../base/dom.js';
import { onChange, store } from '../base/store.js';
import { page, table } from './parts.js';

const ENOUGH = 5; // runs, below which nothing is said of a slot
const MEASURES = [
    { name: 'retries', of: ({ retries, runs }) => retries / runs, least: 0.5, advice: 'its cable or adapter is failing: exchange the cable, then the adapter' },
    { name: 'damaged frames', of: ({ damaged, runs }) => damaged / runs, least: 0.5, advice: 'its cable is failing: exchange it, and keep it away from power cables' },
];

function median(numbers) {
    const sorted = [...numbers].sort((one, other) => one - other);
    const middle = sorted.length / 2;
    return sorted.length === 0 ? 0 : (sorted[Math.ceil(middle) - 1] + sorted[Math.floor(middle)]) / 2;
}

const round = (number) => (number >= 10 ? number.toFixed(0) : number.toFixed(1));

function failing({ health }, others) {
    const rate = 1 - health.verified / health.runs;
    const usual = median(others.map((other) => 1 - other.health.verified / other.health.runs));
    return rate > 0.2 && rate > usual + 0.2
        ? [`${Math.round(rate * 100)} of 100 runs don’t end verified, elsewhere ${Math.round(usual * 100)}: try a unit in another slot that failed here`] : [];
}

function slow({ health }, others) {
    const usual = median(others.map((other) => other.health.seconds));
    return usual > 0 && health.seconds > usual * 1.3
        ? [`takes ${round(health.seconds)} s, the others ${round(usual)} s: look at its retries, then at the adapter’s place in the USB tree`] : [];
}

/** What is wrong with a slot, in sentences; nothing where it does as the others do. */
export function remarks(slot, slots) {
    const proven = (each) => each.health.runs >= ENOUGH;
    const others = slots.filter((other) => other !== slot && proven(other));
    if (!proven(slot) || others.length === 0) {
        return [];
    }
    const said = MEASURES.flatMap(({ name, of, least, advice }) => {
        const [own, usual] = [of(slot.health), median(others.map((other) => of(other.health)))];
        return own >= least && own > 3 * usual ? [`${round(own)} ${name} a run, the others ${round(usual)}: ${advice}`] : [];
    });
    return [...said, ...failing(slot, others), ...slow(slot, others)];
}

function verdict(slot, slots) {
    if (slot.state === 'unplugged' || slot.trouble) {
        return el('span.mark.mark-bad', {}, `✕ ${short(slot.trouble || 'no adapter')}`);
    }
    const said = remarks(slot, slots);
    if (said.length > 0) {
        return el('ul.remarks', {}, said.map((text) => el('li.mark.mark-bad', {}, `✕ Slot ${slot.slot}: ${text}`)));
    }
    return slot.health.runs < ENOUGH ? el('span.quiet', {}, `• fewer than ${ENOUGH} runs`) : el('span.mark.mark-good', {}, '✓ as the others');
}

function content() {
    const slots = [...store.slots.values()].sort((one, other) => one.slot - other.slot);
    const rate = (number, runs) => (runs > 0 ? round(number / runs) : '–');
    return table('Health of the slots', [
        { title: 'Slot', of: (row) => String(row.slot), number: true },
        { title: 'Against the others', of: (row) => verdict(row, slots) },
        { title: 'Runs', of: ({ health }) => String(health.runs), number: true },
        { title: 'Verified', of: ({ health }) => String(health.verified), number: true },
        { title: 'Retries a run', of: ({ health }) => rate(health.retries, health.runs), number: true },
        { title: 'Damaged frames a run', of: ({ health }) => rate(health.damaged, health.runs), number: true },
        { title: 'Seconds', of: ({ health }) => (health.runs > 0 ? round(health.seconds) : '–'), number: true },
        { title: 'Place', of: (row) => el('code.short', {}, short(row.place, 64)) },
    ], slots).node;
}

export function showHealth(root) {
    const node = page(root, 'Health of the slots');
    const runs = () => [...store.slots.values()].map((slot) => `${slot.health.runs} ${slot.state === 'unplugged'} ${slot.trouble}`).join();
    let shownRuns = '';
    const show = () => {
        if (runs() !== shownRuns) {
            shownRuns = runs();
            node.replaceChildren(content());
        }
    };
    show();
    return onChange(show);
}
