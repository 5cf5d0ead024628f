// The head of the page: which floor this is, the views, the operator, ledger and printer, light and sound.

import { el, setText, short } from '../base/dom.js';
import { VIEWS, address, go } from '../base/routes.js';
import { THEMES, set } from '../base/settings.js';
import { onChange, store } from '../base/store.js';

const THEME_WORDS = { auto: 'Screen: auto', light: 'Screen: bright', dark: 'Screen: dark' };

function lamp(name, { good, text }) {
    return el('span.lamp', { 'data-good': String(good) }, el('span.lamp-sign', { 'aria-hidden': 'true' }, good ? '✓' : '!'), `${name} ${text}`);
}

function printerWords({ usable, reason, waiting }) {
    const queue = waiting > 0 ? `, ${waiting} waiting` : '';
    return { good: usable, text: usable ? `ready${queue}` : `off: ${short(reason, 60)}${queue}` };
}

function lamps() {
    const { floor } = store;
    if (!floor) {
        return [];
    }
    return [
        lamp('Operator', { good: floor.operator !== null, text: floor.operator === null ? 'none: scan a badge' : short(floor.operator, 24) }),
        lamp('Ledger', { good: floor.ledger.usable, text: floor.ledger.usable ? 'ready' : 'away' }),
        ...(floor.printer ? [lamp('Printer', printerWords(floor.printer))] : []),
    ];
}

/** Builds the head of the page, for good. */
export function startAround({ name, views, around, band }) {
    const links = Object.entries(VIEWS).map(([view, { title, key }]) =>
        el('a', { href: address(view), 'data-view': view, 'aria-keyshortcuts': key }, title, el('kbd', {}, key)));
    views.append(...links);
    const states = el('div.lamps', { role: 'status', 'aria-label': 'State of the floor' });
    const theme = el('button', { type: 'button', onclick: () => set({ theme: THEMES[(THEMES.indexOf(store.settings.theme) + 1) % THEMES.length] }) });
    const sound = el('button', { type: 'button', onclick: () => set({ sound: !store.settings.sound }) });
    around.append(states, theme, sound);

    const show = () => {
        const { floor, view, settings } = store;
        setText(name, short(floor?.floor ?? 'Floor', 60));
        document.title = `${floor?.drill ? 'DRILL – ' : ''}${short(floor?.floor ?? 'Floor', 60)} – ${VIEWS[view.name]?.title ?? 'Attempt'}`;
        document.documentElement.classList.toggle('is-drill', floor?.drill === true);
        band.hidden = floor?.drill !== true;
        for (const link of links) {
            link.toggleAttribute('aria-current', false);
            if (link.dataset.view === view.name) {
                link.setAttribute('aria-current', 'page');
            }
        }
        setText(theme, THEME_WORDS[settings.theme]);
        setText(sound, settings.sound ? 'Sound: on' : 'Sound: off');
        const text = lamps();
        if (states.textContent !== text.map((each) => each.textContent).join('')) {
            states.replaceChildren(...text);
        }
    };
    onChange((changes) => ['floor', 'view', 'settings'].some((topic) => changes.has(topic)) && show());
    addEventListener('keydown', (event) => {
        const wanted = Object.entries(VIEWS).find(([, { key }]) => key === event.key);
        if (wanted && !event.ctrlKey && !event.altKey && !event.shiftKey) {
            event.preventDefault();
            go(wanted[0]);
            document.getElementById('main').focus();
        }
    });
    show();
}
