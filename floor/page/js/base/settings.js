// What somebody chose for this screen: light or dark, sound or none.

import { change, store } from './store.js';

const NAME = 'floor-settings';
export const THEMES = ['auto', 'light', 'dark'];

export function loadSettings() {
    try {
        const kept = JSON.parse(localStorage.getItem(NAME)) ?? {};
        store.settings.theme = THEMES.includes(kept.theme) ? kept.theme : 'auto';
        store.settings.sound = kept.sound !== false;
    } catch {
        // A browser that keeps nothing, or kept something else: the page starts as delivered.
    }
    apply();
}

export function set(parts) {
    Object.assign(store.settings, parts);
    try {
        localStorage.setItem(NAME, JSON.stringify(store.settings));
    } catch {
        // It then lasts until the page is loaded again.
    }
    apply();
    change('settings');
}

function apply() {
    document.documentElement.dataset.theme = store.settings.theme;
}
