// Which view is shown stands in the page's address, so that "back" and a reload keep it.

import { change, store } from './store.js';

export const VIEWS = {
    __proto__: null, // names come from addresses
    slots: { title: 'Slots', key: 'F2' },
    unit: { title: 'Unit', key: 'F3' },
    history: { title: 'History', key: 'F4' },
    pools: { title: 'Pools', key: 'F6' },
    health: { title: 'Health', key: 'F7' },
    codes: { title: 'Codes', key: 'F8' },
};
const OTHERS = ['attempt'];

export function address(name, argument = '', query = '') {
    return `#/${name}${argument === '' ? '' : `/${encodeURIComponent(argument)}`}${query === '' ? '' : `?${query}`}`;
}

export function go(name, argument = '', query = '') {
    const wanted = address(name, argument, query);
    if (location.hash !== wanted && !(name === 'slots' && store.view.name === 'slots')) {
        location.hash = wanted;
    }
}

function decoded(text) {
    try {
        return decodeURIComponent(text);
    } catch {
        return text;
    }
}

function follow() {
    const [path, query = ''] = location.hash.replace(/^#\/?/, '').split('?');
    const [name, ...rest] = path.split('/');
    const known = name in VIEWS || OTHERS.includes(name);
    store.view = { name: known ? name : 'slots', argument: decoded(rest.join('/')), query: new URLSearchParams(query) };
    change('view');
}

export function startRoutes() {
    addEventListener('hashchange', follow);
    follow();
}
