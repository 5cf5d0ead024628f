// The pools of numbers: what is left in each, and how long it lasts.

import { el, short } from '../base/dom.js';
import { get } from '../base/server.js';
import { count } from '../base/words.js';
import { load, page } from './parts.js';

export function showPools(root) {
    load(page(root, 'Pools'), () => get('/api/pools'), ({ pools }) => (pools.length === 0
        ? el('p.hint', {}, 'There is no pool: the labels bring their numbers.') : el('ul.cards', {}, pools.map(card))));
}

function lasts({ open, units_left: left, days_left: days }) {
    if (!open) {
        return 'Closed: nothing is taken from it any more';
    }
    if (left === 0) {
        return 'Empty: products that take from it cannot be started';
    }
    if (days === null || days === undefined) {
        return 'Nothing was taken in the last days';
    }
    return days < 1 ? 'Lasts less than a day as things go' : `Lasts ${count(Math.floor(days), 'day')} as things go`;
}

function card(pool) {
    const low = pool.open && (pool.warning !== '' || pool.units_left === 0);
    const bar = el('div.pool-bar', { role: 'img', 'aria-label': `${pool.used_percent} per cent used` }, el('div.pool-used'));
    bar.firstChild.style.setProperty('width', `${Math.min(100, pool.used_percent)}%`);
    return el(low ? 'li.card.is-low' : 'li.card', {},
        el('h3', {}, short(pool.name, 64), el('span.quiet', {}, pool.kind === 'mac' ? ' MAC addresses' : ' serial numbers')),
        el('p.pool-left', {}, el('strong', {}, Number(pool.units_left).toLocaleString('en')), ` units left of ${Number(pool.units).toLocaleString('en')}`),
        bar,
        el('p', {}, lasts(pool)),
        low ? el('p.warning', {}, `! ${short(pool.warning || 'Add a pool')}`) : null,
        el('p.quiet', {}, el('code', {}, short(pool.pattern || `${pool.first} – ${pool.last}`, 80)),
            pool.voided > 0 ? `, ${count(pool.voided, 'unit')} void` : ''));
}
