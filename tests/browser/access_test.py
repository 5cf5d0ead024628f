"""For those who see badly, or not at all: contrast of all texts, roles, names, and what is announced."""

import os
import unittest
from pathlib import Path

from browser import PageTest
from made_up_floor import run_of
from records_test import LABEL, fill
from tiles_test import fill as fill_tiles

VIEWS = ("", f"#/unit/{LABEL}", "#/unit", "#/attempt/182", "#/history", "#/history/attempts", "#/pools", "#/health", "#/codes")
NAMED = {"button", "link", "textbox", "searchbox", "combobox", "slider", "image", "img", "table", "region", "list box", "Date", "DateTime", "log"}

# The least contrast of WCAG 2 AA: 4.5, for large letters 3; for the edge of what can be operated 3.
CONTRAST = r"""
const parse = (text) => { const [r, g, b, a = 1] = text.match(/[\d.]+/g).map(Number); return { r, g, b, a }; };
const channel = (value) => { const part = value / 255; return part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4; };
const light = ({ r, g, b }) => 0.2126 * channel(r) + 0.7152 * channel(g) + 0.0722 * channel(b);
const ratio = (one, other) => { const [low, high] = [light(one), light(other)].sort((x, y) => x - y); return (high + 0.05) / (low + 0.05); };
function ground(node) {
    for (let each = node; each; each = each.parentElement) {
        const color = parse(getComputedStyle(each).backgroundColor);
        if (color.a === 1) return color;
        if (color.a > 0) throw new Error(`a ground that shines through: ${each.className}`);
    }
    return parse(getComputedStyle(document.documentElement).backgroundColor);
}
const found = [];
let looked = 0;
const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
for (let text = walker.nextNode(); text; text = walker.nextNode()) {
    const node = text.parentElement;
    if (text.data.trim() === '' || node.closest('.unseen, option, noscript, [hidden], .is-away') || !node.checkVisibility()) continue;
    const style = getComputedStyle(node);
    const size = parseFloat(style.fontSize);
    const wanted = size >= 24 || (size >= 18.66 && Number(style.fontWeight) >= 700) ? 3 : 4.5;
    const has = ratio(parse(style.color), ground(node));
    looked += 1;
    if (has < wanted) found.push(`${has.toFixed(2)} ${node.className || node.tagName} in ${node.closest('.tile')?.dataset.kind ?? node.closest('[id]').id}: ${text.data.slice(0, 30)}`);
}
for (const node of document.querySelectorAll('input:not([type=range]), select, button:not(.tile), .sign')) {
    if (!node.checkVisibility()) continue;
    const style = getComputedStyle(node);
    const drawn = parse(node.matches('.sign') ? style.color : style.borderTopColor);
    const has = Math.max(ratio(drawn, ground(node.parentElement)), node.matches('.sign') ? 0 : ratio(ground(node), ground(node.parentElement)));
    looked += 1;
    if (has < 3) found.push(`${has.toFixed(2)} edge of ${node.className.baseVal ?? node.id ?? node.className}`);
}
return { found: [...new Set(found)], looked };
"""


class Access(PageTest):
    slots = 10

    def setUp(self):
        super().setUp()
        fill(self.floor)
        fill_tiles(self.floor)
        self.floor.state["slots"][3]["fault"] = "silent"

    def states(self):
        """Each view, and the bar at the foot in each of its kinds."""
        for path in VIEWS:
            self.open(path)
            self.wait("return !document.querySelector('[aria-busy]')")
            yield path
        self.open()
        for code in ("SLOT-4", "SLOT-99", "LABEL-1"):
            self.scan(code)
            self.wait("return document.querySelector('.says-title').textContent !== ''")
            yield code
        self.floor.stop()
        self.wait_says("does not answer")
        yield "away"
        self.floor.start()

    def test_all_texts_have_contrast_in_bright_and_in_dark_halls(self):
        for drill in (False, True):
            self.floor.state["drill"] = drill
            for dark in (False, True):
                self.resize(1280, 800, dark)
                for state in self.states():
                    with self.subTest(state=state, dark=dark, drill=drill):
                        result = self.js(CONTRAST)
                        self.assertEqual(result["found"], [])
                        self.assertGreater(result["looked"], 15)

    def test_a_scheme_that_was_chosen_goes_before_the_systems(self):
        ground = "return getComputedStyle(document.documentElement).backgroundColor"
        for dark in (False, True):
            self.resize(1280, 800, dark)
            self.open()
            grounds = {self.js(f"document.documentElement.dataset.theme = '{theme}'; {ground}") for theme in ("light", "dark")}
            self.assertEqual(grounds, {"rgb(230, 235, 240)", "rgb(11, 16, 21)"})

    def tree(self):
        nodes = self.cdp("Accessibility.getFullAXTree")["nodes"]
        return [(node["role"]["value"], node.get("name", {}).get("value", ""), node) for node in nodes if not node.get("ignored")]

    def test_what_can_be_operated_has_a_name(self):
        for state in self.states():
            tree = self.tree()
            for role, name, node in tree:
                with self.subTest(state=state, role=role):
                    if role in NAMED:
                        self.assertNotEqual(name.strip(), "", node.get("backendDOMNodeId"))
            roles = [role for role, _, _ in tree]
            for landmark in ("banner", "navigation", "main"):
                self.assertIn(landmark, roles, state)
            self.assertEqual(roles.count("main"), 1)
            self.assertEqual(self.js("return document.querySelectorAll('h1').length"), 1)
            self.assertEqual(self.js("const ids = [...document.querySelectorAll('[id]')].map(each => each.id); return ids.length - new Set(ids).size"), 0)

    def test_a_tiles_name_says_what_is_seen(self):
        self.open()
        names = {node_name for role, node_name, _ in self.tree() if role == "button" and node_name.startswith("Slot")}
        for name in ("Slot 1, writes the identity, SW48-254700001, step 2 of 3, setsn",
                     "Slot 2, PASS, SW48-254700002, Written and read back",
                     "Slot 3, FAIL, SW48-254700003, No prompt of the switch within 120 s, Look at the console cable and the power, then scan the unit again",
                     "Slot 4, Free, fault ordered: silent",
                     "Slot 6, No adapter, The adapter at usb 1-1.6 is not plugged in"):
            self.assertIn(name, names)

    def test_verdicts_and_refusals_are_announced(self):
        self.open()
        self.floor.change_slot(4, state="running", run=run_of("LABEL-1", attempt=500))
        self.floor.end(4, "FAIL", "failed", reason="It differs", advice="Exchange it")
        self.wait("return document.querySelector('[aria-live=polite]').textContent === 'Slot 4 FAIL. LABEL-1. It differs. Exchange it'")
        self.assertEqual(self.js("return document.querySelector('.says-words').getAttribute('role')"), "status")
        self.scan("SLOT-99")
        self.wait("return document.querySelector('.says-words[role=alert]')?.textContent.includes('There is no slot')")

    def test_every_colour_comes_with_a_word_and_most_with_a_sign(self):
        self.open()
        tiles = self.js("return [...document.querySelectorAll('.tile')].map(tile => [tile.dataset.kind, tile.querySelector('.tile-head').textContent, !!tile.querySelector('.sign')])")
        words = {kind: word for kind, word, _ in tiles}
        self.assertEqual(len(set(words.values())), len(words))
        for kind, _, has_sign in tiles:
            self.assertEqual(has_sign, kind not in ("idle", "running"), kind)

    def test_what_is_pressed_is_large_enough_for_gloves(self):
        for state in self.states():
            small = self.js("return [...document.querySelectorAll('button, select, input:not([type=range])')].filter(each => each.checkVisibility() && each.getBoundingClientRect().height < 26).map(each => each.textContent)")
            self.assertEqual(small, [], state)

    @unittest.skipUnless(os.environ.get("AXE"), "AXE names no axe.min.js")
    def test_another_checker_finds_nothing(self):
        script = Path(os.environ["AXE"]).read_text(encoding="utf-8")
        for state in self.states():
            self.js(script)
            result = self.driver.execute_async_script("axe.run().then(arguments[0])")
            found = [(each["id"], [node["html"][:200] for node in each["nodes"]][:3]) for each in result["violations"]]
            with self.subTest(state=state):
                self.assertEqual(found, [])
