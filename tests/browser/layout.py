"""What is wrong with a layout as it is on the screen: texts that are cut, that overlap, that leave their place."""

# A text's boxes are those of its lines, less what its scrolling and clipping ancestors hide of them.
FAULTS = r"""
const faults = [];
const name = (node) => `${node.className?.baseVal ?? (node.className || node.tagName)} in ${node.closest('.tile')?.dataset.slot ?? node.closest('[id]')?.id}: ${node.textContent.slice(0, 30)}`;
const width = document.documentElement.clientWidth, height = document.documentElement.clientHeight;

if (document.documentElement.scrollWidth > width || document.documentElement.scrollHeight > height) {
    faults.push('the page is larger than the screen');
}

// The box that its ancestors leave of a node: those that hide the rest, or those that scroll to it.
function clipOf(node, hides) {
    const clip = { left: 0, top: 0, right: width, bottom: height };
    let lifted = false; // out of the flow: only what it is placed in can hide it
    for (let each = node; each && each !== document.body; each = each.parentElement) {
        const style = getComputedStyle(each);
        if (lifted && style.position === 'static') continue;
        lifted = style.position === 'absolute';
        const scrolls = style.overflowY === 'auto' || style.overflowY === 'scroll';
        if (style.display === 'contents' || scrolls === hides || (style.overflowX === 'visible' && style.overflowY === 'visible')) continue;
        const box = each.getBoundingClientRect();
        clip.left = Math.max(clip.left, box.left); clip.top = Math.max(clip.top, box.top);
        clip.right = Math.min(clip.right, box.right); clip.bottom = Math.min(clip.bottom, box.bottom);
    }
    return clip;
}

const within = (line, clip) => ({ left: Math.max(line.left, clip.left), top: Math.max(line.top, clip.top), right: Math.min(line.right, clip.right), bottom: Math.min(line.bottom, clip.bottom) });
const leaves = (line, clip) => line.left < clip.left - 1 || line.top < clip.top - 1 || line.right > clip.right + 1 || line.bottom > clip.bottom + 1;

// An element that ends its lines with an ellipsis hides the others itself, and says so.
function endsItself(node) {
    for (let each = node; each && !each.classList.contains('tile'); each = each.parentElement) {
        const style = getComputedStyle(each);
        if (style.textOverflow === 'ellipsis' || style.webkitLineClamp !== 'none') return each;
    }
    return null;
}

const texts = [];
const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
for (let text = walker.nextNode(); text; text = walker.nextNode()) {
    const node = text.parentElement;
    if (text.data.trim() === '' || node.closest('.unseen, option, noscript, [hidden]') || !node.checkVisibility({ visibilityProperty: true })) continue;
    const range = document.createRange();
    range.selectNodeContents(text);
    const clip = clipOf(node, true), scroll = clipOf(node, false), ending = endsItself(node);
    for (const line of range.getClientRects()) {
        if (line.width < 1) continue;
        if (leaves(line, scroll)) continue; // can be scrolled to
        const seen = within(line, clip);
        const high = seen.bottom - seen.top, wide = seen.right - seen.left;
        if (ending) {
            const box = ending.getBoundingClientRect();
            if (line.top > box.bottom - line.height * 0.4 || line.left > box.right - 1) continue; // behind the ellipsis
        }
        // Of a line's height a fifth is room above and below its letters.
        if (high < line.height * 0.8 || wide < 1) faults.push(`cut in its height: ${name(node)}`);
        else if (wide < line.width - 1 && !ending) faults.push(`cut in its width: ${name(node)}`);
        texts.push({ node, ...seen });
    }
}

// Letters fill the middle of a line's box.
const core = ({ top, bottom }) => [top + (bottom - top) * 0.22, bottom - (bottom - top) * 0.22];
const over = document.querySelector('.away:not(:empty)');
texts.forEach((one, at) => {
    for (const other of texts.slice(at + 1)) {
        if (one.node === other.node || (over && over.contains(one.node) !== over.contains(other.node))) continue;
        const [top, bottom] = core(one), [otherTop, otherBottom] = core(other);
        if (Math.min(one.right, other.right) - Math.max(one.left, other.left) > 1 && Math.min(bottom, otherBottom) - Math.max(top, otherTop) > 1) {
            faults.push(`overlap: ${name(one.node)} and ${name(other.node)}`);
        }
    }
});

for (const tile of document.querySelectorAll('.tile')) {
    const box = tile.getBoundingClientRect();
    if (box.right > width || box.bottom > document.querySelector('#says').getBoundingClientRect().top + 1) faults.push(`tile ${tile.dataset.slot} leaves the screen`);
}
return [...new Set(faults)];
"""


def faults_of(test):
    test.settle()
    return test.js(FAULTS)
