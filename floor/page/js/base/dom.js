// Makes elements. Texts become text nodes and never markup, and what could not be seen in them is shown.

const SVG = 'http://www.w3.org/2000/svg';

// Controls, marks that turn the direction of writing, and characters without width.
const UNSEEN = /[\u0000-\u001f\u007f-\u009f\u00ad\u061c\u200b\u200e\u200f\u2028-\u202e\u2060-\u2069\ufeff]/gu;
const UNSEEN_BUT_LINES = /[\u0000-\u0008\u000b-\u001f\u007f-\u009f\u00ad\u061c\u200b\u200e\u200f\u2028-\u202e\u2060-\u2069\ufeff]/gu;

function named(character) {
    const code = character.codePointAt(0);
    return code < 0x20 ? String.fromCodePoint(0x2400 + code)
        : `[U+${code.toString(16).toUpperCase().padStart(4, '0')}]`;
}

/** A text from outside as it can be read: control characters are seen, and direct nothing. */
export function shown(text) {
    return String(text ?? '').toWellFormed().replace(UNSEEN, named);
}

/** The same for a text of several lines. */
export function shownLines(text) {
    return String(text ?? '').toWellFormed().replaceAll('\r\n', '\n').replace(UNSEEN_BUT_LINES, named);
}

/** At most so many characters of it. */
export function short(text, most = 240) {
    const characters = [...shown(String(text ?? '').slice(0, 2 * most + 2))];
    return characters.length <= most ? characters.join('') : `${characters.slice(0, most - 1).join('')}…`;
}

/** An element: "button.big", its attributes (on… are listeners), its children (texts or nodes). */
export function el(selector, attributes = {}, ...children) {
    const [name, ...classes] = selector.split('.');
    const node = document.createElement(name);
    if (classes.length > 0) {
        node.className = classes.join(' ');
    }
    setAttributes(node, attributes);
    node.append(...children.flat().filter((child) => child !== null && child !== undefined));
    return node;
}

export function svg(name, attributes = {}, ...children) {
    const node = document.createElementNS(SVG, name);
    setAttributes(node, attributes);
    node.append(...children);
    return node;
}

function setAttributes(node, attributes) {
    for (const [name, value] of Object.entries(attributes)) {
        if (name.startsWith('on')) {
            node.addEventListener(name.slice(2), value);
        } else if (value === true) {
            node.setAttribute(name, '');
        } else if (value !== false && value !== null && value !== undefined) {
            node.setAttribute(name, value);
        }
    }
}

/** Changes a node only where it differs: most of what is rendered again is as it was. */
export function setText(node, text) {
    if (node.textContent !== text) {
        node.textContent = text;
    }
}

export function setAttribute(node, name, value) {
    if (value === null || value === undefined) {
        node.removeAttribute(name);
    } else if (node.getAttribute(name) !== String(value)) {
        node.setAttribute(name, value);
    }
}

const STROKE = { fill: 'none', stroke: 'currentColor', 'stroke-width': '9', 'stroke-linecap': 'round', 'stroke-linejoin': 'round' };
const SIGNS = {
    pass: ['circle', { cx: 50, cy: 50, r: 43 }, 'M29 52 44 67 72 35'],
    fail: ['path', { d: 'M32 7h36l25 25v36l-25 25h-36l-25-25v-36z' }, 'M36 36 64 64M64 36 36 64'],
    warning: ['path', { d: 'M50 9 94 89H6z' }, 'M50 38v24M50 75v1'],
    scan: ['path', { d: 'M8 28V12h16M76 12h16v16M92 72v16H76M24 88H8V72' }, 'M30 32v36M44 32v36M56 32v36M70 32v36'],
    stopped: ['circle', { cx: 50, cy: 50, r: 43 }, 'M22 50h56'],
    info: ['circle', { cx: 50, cy: 50, r: 43 }, 'M50 47v25M50 28v1'],
};

/** A sign, for what a colour says too. */
export function sign(kind) {
    const [shape, place, path] = SIGNS[kind];
    return svg('svg', { viewBox: '0 0 100 100', class: `sign sign-${kind}`, 'aria-hidden': 'true' },
        svg(shape, { ...place, ...STROKE }), svg('path', { d: path, ...STROKE }));
}
