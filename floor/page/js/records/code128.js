// Code 128, code set B: printable ASCII.

import { svg } from '../base/dom.js';

// The widths of bars and spaces of each symbol, six to one; the last is the stop.
const SYMBOLS = (
    '212222222122222221121223121322131222122213122312132212221213221312231212112232122132122231113222123122'
    + '123221223211221132221231213212223112312131311222321122321221312212322112322211212123212321232121111323'
    + '131123131321112313132113132311211313231113231311112133112331132131113123113321133121313121211331231131'
    + '213113213311213131311123311321331121312113312311332111314111221411431111111224111422121124121421141122'
    + '141221112214112412122114122411142112142211241211221114413111241112134111111242121142121241114212124112'
    + '124211411212421112421211212141214121412121111143111341131141114113114311411113411311113141114131311141'
    + '411131211412211214211232'
).match(/.{6}/g);
const STOP = '2331112';
const START_B = 104;
const QUIET = 10; // modules on each side

/** The widths of bars and spaces, in turns, of a text of printable ASCII. */
export function widthsOf(text) {
    const values = [START_B, ...[...text].map((character) => character.charCodeAt(0) - 32)];
    const check = values.reduce((sum, value, at) => sum + value * Math.max(at, 1), 0) % 103;
    return [...values, check].map((value) => SYMBOLS[value]).join('') + STOP;
}

export function drawCode(text) {
    let at = QUIET;
    const bars = [...widthsOf(text)].flatMap((width, place) => {
        const x = at;
        at += Number(width);
        return place % 2 === 0 ? [svg('rect', { x, y: 0, width, height: 50 })] : [];
    });
    const all = at + QUIET;
    return svg('svg', { viewBox: `0 0 ${all} 50`, width: 2 * all, class: 'bars', role: 'img', 'aria-label': `Code of ${text}`, preserveAspectRatio: 'none' },
        svg('rect', { x: 0, y: 0, width: all, height: 50, fill: '#fff' }), svg('g', { fill: '#000' }, ...bars));
}
