"""Everything without a mouse, and without a scanner."""

from selenium.webdriver.common.keys import Keys

from browser import PageTest
from made_up_floor import run_of
from records_test import LABEL, fill

VIEWS = {"F3": "unit", "F4": "history", "F6": "pools", "F7": "health", "F8": "codes", "F2": "slots"}


class Keyboard(PageTest):
    def focus(self):
        return self.js("const at = document.activeElement; return at.dataset.slot ?? at.id ?? at.textContent")

    def tab_to(self, text):
        """Tab until what has the focus is called so."""
        for _ in range(60):
            if self.js("const at = document.activeElement; return !at.matches('body, main') && (at.getAttribute('aria-label') ?? at.textContent).includes(arguments[0])", text):
                return
            self.press(Keys.TAB)
        self.fail(f"{text} is not reached")

    def test_each_view_has_a_key(self):
        fill(self.floor)
        self.open()
        for key, view in VIEWS.items():
            self.press(getattr(Keys, key))
            self.wait("return document.querySelector('main').dataset.view === arguments[0]", view)

    def test_a_unit_is_started_stopped_and_looked_up_by_keys_alone(self):
        fill(self.floor)
        self.open()
        self.tab_to("Slot 1")
        self.press(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT)
        self.assertEqual(self.focus(), "3")
        self.press(Keys.ENTER)
        self.wait_says("Slot 3: scan the unit’s label")
        for _ in range(20):
            self.press(Keys.TAB)
            if self.focus() == "typed":
                break
        self.type_by_hand(LABEL)
        self.press(Keys.ENTER)
        self.assertEqual(self.posts(1), [("/api/slots/3/start", {"label": LABEL})])
        self.wait_kind(3, "running")
        self.press(Keys.F2)
        self.tab_to("Slot 3")
        self.press(Keys.END, Keys.HOME, Keys.ARROW_RIGHT, Keys.ARROW_RIGHT, Keys.SPACE)
        self.tab_to("Stop this run")
        self.press(Keys.ENTER)
        self.assertEqual(self.posts(2)[1], ("/api/slots/3/cancel", {}))
        self.wait_kind(3, "stopped")
        self.tab_to("Show unit")
        self.press(Keys.ENTER)
        self.wait("return document.querySelector('.unit-label')?.textContent === arguments[0]", LABEL)
        self.tab_to("2 of this unit")
        self.press(Keys.ENTER)
        self.wait("return document.querySelector('main').dataset.view === 'attempt'")
        self.tab_to("Replay")
        self.press(Keys.ENTER)
        self.wait("return document.querySelector('.replay button').textContent.includes('Pause')")

    def test_escape_lets_a_chosen_slot_go(self):
        self.open()
        self.scan("SLOT-3")
        self.wait_says("Slot 3")
        self.press(Keys.ESCAPE)
        self.wait_says("Scan a slot’s code, then the unit’s label")
        self.assertEqual(self.js("return document.querySelectorAll('.tile[aria-pressed=true]').length"), 0)

    def test_another_units_identity_is_written_over_only_by_a_persons_key(self):
        self.floor.change_slot(3, state="running", run=run_of("LABEL-1"))
        self.floor.end(3, "FAIL", "other_identity", reason="The switch holds the identity of LABEL-0", advice="Look which unit this is")
        self.open()
        self.scan("SLOT-3")
        self.wait_says("Write over the identity that the switch holds")
        self.assertEqual(self.floor.posts, [])
        self.press(Keys.F9)
        self.assertEqual(self.posts(1), [("/api/slots/3/start", {"label": "LABEL-1", "replace": True, "again": True})])

    def test_light_and_sound_are_switched_and_kept(self):
        self.open()
        for words, after in (("Screen: auto", "Screen: bright"), ("Screen: bright", "Screen: dark"), ("Sound: on", "Sound: off")):
            self.tab_to(words)
            self.press(Keys.ENTER)
            self.wait("return document.querySelector('#around').textContent.includes(arguments[0])", after)
        self.driver.refresh()
        self.wait("return document.querySelector('#around').textContent.includes('Screen: darkSound: off')")
        self.assertEqual(self.js("return getComputedStyle(document.documentElement).backgroundColor"), "rgb(11, 16, 21)")
        self.js("localStorage.clear()")

    def test_what_has_the_focus_can_be_seen(self):
        self.open()
        for _ in range(14):
            self.press(Keys.TAB)
            style = self.js("const style = getComputedStyle(document.activeElement); return [style.outlineStyle, parseFloat(style.outlineWidth), document.activeElement.tagName]")
            if style[2] == "BODY":
                continue  # on its way around
            self.assertEqual(style[0], "solid", style)
            self.assertGreaterEqual(style[1], 2, style)
