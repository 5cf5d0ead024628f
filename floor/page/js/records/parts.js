// What the views of records have in common: a heading, tables, lists of facts, and content that comes later.

import { el, short } from '../base/dom.js';

/** A view's frame in root; returns the node for its content. */
export function page(root, title, ...beside) {
    const content = el('div.content');
    root.replaceChildren(el('article.page', {}, el('header.page-head', {}, el('h2', {}, title), ...beside), content));
    return content;
}

/**
 * Puts what show(answer) returns in node as soon as work() is done, or why it isn't. Of several loads for
 * one node only the last one is shown.
 */
export async function load(node, work, show) {
    const mine = {};
    node.lastLoad = mine;
    node.setAttribute('aria-busy', 'true');
    let content;
    try {
        content = show(await work());
    } catch (refusal) {
        content = problem(refusal);
    }
    if (node.lastLoad === mine) {
        node.removeAttribute('aria-busy');
        node.replaceChildren(...[content].flat());
    }
}

export function problem({ reason, advice, message }) {
    return el('p.problem', { role: 'alert' }, el('strong', {}, short(reason ?? message, 400)), ' ', short(advice, 400));
}

/** columns: [{ title, of(row): text or node, number: whether it is one }] */
export function table(caption, columns, rows) {
    const cell = (name, { number }, content, attributes = {}) => el(number ? `${name}.number` : name, attributes, content);
    const body = el('tbody');
    const add = (more) => body.append(...more.map((row) => el('tr', {}, columns.map((column) => cell('td', column, column.of(row))))));
    add(rows);
    const node = el('div.table', { tabindex: '0', role: 'region', 'aria-label': caption }, el('table', {},
        el('caption.unseen', {}, caption),
        el('thead', {}, el('tr', {}, columns.map((column) => cell('th', column, column.title, { scope: 'col' })))), body));
    return { node, add };
}

/** Names and their values: [[name, text or node]] */
export function facts(pairs) {
    return el('dl.facts', {}, pairs.map(([name, value]) => el('div', {}, el('dt', {}, name), el('dd', {}, value))));
}

/** A state or an outcome: sign, word and colour. */
export function stateMark(code) {
    const good = code === 'verified' || code === 'printed' || code === 'PASS';
    const bad = ['failed', 'in_doubt', 'in doubt', 'void', 'FAIL'].includes(code);
    const kind = good ? 'good' : bad ? 'bad' : 'open';
    return el(`span.mark.mark-${kind}`, {}, el('span', { 'aria-hidden': 'true' }, { good: '✓ ', bad: '✕ ', open: '• ' }[kind]),
        short(String(code ?? 'not ended').replaceAll('_', ' '), 40));
}

export function link(href, text) {
    return el('a', { href }, text);
}
