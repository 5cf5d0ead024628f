// The slots, as large as the screen lets them be.

import { el } from '../base/dom.js';
import { onChange, store } from '../base/store.js';
import { choose } from '../scan/actions.js';
import { fit } from './fit.js';
import { makeTile } from './tile.js';

const SHAPE = 1.8; // width of a tile to its height, where it can be had
const GUTTER = 8;

/** Columns for so many tiles in that room: those that make the largest tiles of about our shape, and leave few places empty. */
export function columnsFor(number, width, height) {
    let best = { columns: 1, size: 0 };
    for (let columns = 1; columns <= number; ++columns) {
        const rows = Math.ceil(number / columns);
        const wide = (width - GUTTER * (columns - 1)) / columns;
        const high = (height - GUTTER * (rows - 1)) / rows;
        const size = Math.min(wide, high * SHAPE) * number / (columns * rows);
        best = size > best.size + 0.5 ? { columns, size } : best;
    }
    return best.columns;
}

/** Shows the slots in root until the function that it returns is called. */
export function showTiles(root) {
    const list = el('ul.tiles', { 'aria-label': 'Slots' });
    const away = el('div.away', { role: 'alert' });
    const tiles = new Map();
    let current = null;
    root.replaceChildren(el('div.floor', {}, list, away));

    const number = (target) => Number(target.closest('.tile')?.dataset.slot);
    list.addEventListener('click', (event) => number(event.target) && choose(number(event.target)));
    list.addEventListener('focusin', (event) => makeCurrent(number(event.target)));
    list.addEventListener('keydown', (event) => {
        const to = neighbour([...tiles.keys()], current, event.key, columns());
        if (to !== undefined) {
            event.preventDefault();
            tiles.get(to).button.focus();
        }
    });

    const columns = () => Number(list.style.getPropertyValue('--columns')) || 1;

    function makeCurrent(slot) {
        tiles.get(current)?.button.setAttribute('tabindex', '-1');
        current = tiles.has(slot) ? slot : tiles.keys().next().value;
        tiles.get(current)?.button.setAttribute('tabindex', '0');
    }

    function arrange() {
        const shape = columnsFor(tiles.size, list.clientWidth, list.clientHeight);
        list.style.setProperty('--columns', shape);
        list.style.setProperty('--rows', Math.ceil(tiles.size / shape));
        fit([...tiles.values()]);
    }

    function showAll() {
        if (tiles.size !== store.slots.size || [...store.slots.keys()].some((slot) => !tiles.has(slot))) {
            tiles.clear();
            for (const slot of [...store.slots.keys()].sort((one, other) => one - other)) {
                tiles.set(slot, makeTile(slot));
            }
            list.replaceChildren(...[...tiles.values()].map((tile) => tile.node));
            makeCurrent(current);
            arrange();
        }
        showSome([...tiles.keys()]);
    }

    function showSome(slots) {
        const changed = slots.filter((slot) => tiles.get(slot)?.show(store.slots.get(slot), store));
        fit(changed.map((slot) => tiles.get(slot)));
    }

    function showAway() {
        list.classList.toggle('is-away', store.connection !== 'live');
        away.replaceChildren(...(store.connection === 'live' ? [] : awayWords()));
    }

    const stop = onChange((changes) => {
        if (['floor', 'selection'].some((topic) => changes.has(topic))) {
            showAll();
        } else {
            showSome([...changes]);
        }
        if (changes.has('connection')) {
            showAway();
        }
    });
    const seconds = setInterval(() => tiles.forEach((tile, slot) => tile.tick(store.slots.get(slot))), 1000);
    const watch = new ResizeObserver(arrange);
    watch.observe(list);
    showAll();
    showAway();
    return () => {
        stop();
        clearInterval(seconds);
        watch.disconnect();
    };
}

function neighbour(slots, current, key, columns) {
    const step = { ArrowLeft: -1, ArrowRight: 1, ArrowUp: -columns, ArrowDown: columns }[key];
    if (key === 'Home' || key === 'End') {
        return slots.at(key === 'Home' ? 0 : -1);
    }
    return step === undefined ? undefined : slots[slots.indexOf(current) + step];
}

function awayWords() {
    if (store.connection === 'connecting') {
        return [el('p.away-head', {}, 'Asking the floor…')];
    }
    return [
        el('p.away-head', {}, 'The floor does not answer'),
        el('p', {}, 'What stands here may be out of date. Runs go on in the switches; start nothing and unplug nothing.'),
        el('p', {}, 'This page looks for it every second and will be right again by itself.'),
    ];
}
