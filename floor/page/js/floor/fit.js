// Makes room in tiles for what is said in them. The ways to do so are tiles.css's: smaller type, no advice,
// a label in one line, the first lines of the reason only, and none of it.

const FIRST_LINES = 5;
const LAST = 6;

const overflows = ({ words }) => words.scrollHeight > words.clientHeight + 1;

/** How many lines of the reason there is room for. */
function linesOf({ words, detail }) {
    const room = words.getBoundingClientRect().bottom - detail.getBoundingClientRect().top;
    return Math.max(1, Math.floor(room / parseFloat(getComputedStyle(detail).lineHeight) + 0.1));
}

/** tiles: [{ button, words, detail }]. All are changed before any is looked at: one layout for each way. */
export function fit(tiles) {
    for (let level = 0, left = tiles; level <= LAST && left.length > 0; ++level) {
        left.forEach(({ button }) => button.setAttribute('data-fit', level));
        if (level === FIRST_LINES) {
            const lines = left.map(linesOf);
            left.forEach(({ button }, at) => button.style.setProperty('--lines', lines[at]));
        }
        left = left.filter(overflows);
    }
}
