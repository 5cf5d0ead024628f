"""What is scanned is taken wherever the focus is, once, and as it stands in the code."""

from selenium.webdriver.common.keys import Keys

from browser import GERMAN, PageTest
from made_up_floor import run_of
from records_test import LABEL, fill

REFUSED = [196, 196, 196]
TAKEN = [1320]
SLOT_3 = "/api/slots/3/start"


class Scans(PageTest):
    def heard_last(self, pitches):
        return self.wait("const last = heard.slice(-arguments[0].length); return JSON.stringify(last) === JSON.stringify(arguments[0])", pitches)

    def test_a_slots_code_and_then_a_label_start_the_unit_there(self):
        self.open()
        self.scan("SLOT-3")
        self.wait_says("Slot 3: scan the unit’s label")
        self.scan("SW48-254700001")
        self.assertEqual(self.posts(1), [(SLOT_3, {"label": "SW48-254700001"})])
        self.wait_kind(3, "running")
        self.wait_says("Slot 3 takes SW48-254700001")
        self.heard_last(TAKEN)

    def test_a_scan_is_taken_whatever_has_the_focus(self):
        focuses = {
            "": "document.activeElement.blur()",
            "#/": "document.querySelector('.tile[data-slot=\"5\"]').focus()",
            "#/slots": "document.querySelector('#typed').focus()",
            "#/history": "document.querySelector('#filter-state').focus()",
            "#/history/attempts": "document.querySelector('#filter-label').focus()",
            "#/pools": "document.querySelector('nav a').focus()",
            "#/health": "document.querySelector('#around button').focus()",
        }
        for number, (path, focus) in enumerate(focuses.items()):
            with self.subTest(focus=focus):
                self.floor.posts.clear()
                self.open(path)
                self.js(focus)
                values = "return [...document.querySelectorAll('input, select')].map(each => each.value)"
                before = self.js(values)
                self.scan(f"L {number}-x/'.")
                self.wait_says("Which slot?")
                self.assertEqual(self.js(values), before)
                self.scan("SLOT-3")
                self.wait_says("Slot 3: scan the unit’s label")
                self.scan(f"L {number}-x/'.")
                self.assertEqual(self.posts(1), [(SLOT_3, {"label": f"L {number}-x/'."})])
                self.floor.end(3, "PASS", "verified")

    def test_a_scan_chooses_nothing_in_a_list_that_has_the_focus(self):
        self.floor.state["drill"] = True
        self.floor.state["drill_faults"] = [{"fault": "silent", "text": "The switch stays silent"}]
        self.floor.change_slot(3, products=["SW-48X6Q", "SW-24X4Q"])
        self.open()
        for number, name in enumerate(("Product", "Fault"), 1):
            with self.subTest(list=name):
                self.scan("SLOT-3")
                self.wait("const list = document.querySelector(`#says select[aria-label=${arguments[0]}]`); list?.focus(); return !!list", name)
                # Typed by a hand, this would choose SW-48X6Q, or the switch that stays silent.
                label = f"{'SW-48' if name == 'Product' else 'The'} {number}"
                self.scan(label)
                self.assertEqual(self.posts(number)[-1], (SLOT_3, {"label": label}))
                self.floor.end(3, "PASS", "verified")
                self.wait_kind(3, "pass")

    def test_the_arrows_choose_in_a_list(self):
        self.floor.change_slot(3, products=["SW-48X6Q", "SW-24X4Q"])
        self.open()
        self.scan("SLOT-3")
        self.wait("const list = document.querySelector('#says select[aria-label=Product]'); list?.focus(); return !!list")
        self.press(Keys.ARROW_DOWN)
        self.wait("return document.querySelector('#says select[aria-label=Product]').value === 'SW-48X6Q'")
        self.scan("LABEL-1")
        self.assertEqual(self.posts(1), [(SLOT_3, {"label": "LABEL-1", "product": "SW-48X6Q"})])

    def test_a_half_typed_text_is_kept_when_a_scan_comes_between(self):
        self.open()
        self.js("document.querySelector('#typed').focus()")
        self.type_by_hand("half")
        self.scan("SLOT-2")
        self.wait_says("Slot 2: scan")
        self.assertEqual(self.js("return document.querySelector('#typed').value"), "half")

    def test_what_the_pcs_layout_makes_of_the_keys_does_not_matter(self):
        self.open()
        self.scan("SLOT-3", layout=GERMAN)
        self.wait_says("Slot 3: scan")
        self.scan("yZ-_/:;#=", layout=GERMAN)
        self.assertEqual(self.posts(1), [(SLOT_3, {"label": "yZ-_/:;#="})])

    def test_every_character_that_a_label_can_have_is_read(self):
        self.open()
        printable = "".join(map(chr, range(0x21, 0x7F)))
        for label in (printable[:47], printable[47:]):
            self.floor.posts.clear()
            self.scan("SLOT-3")
            self.wait_says("Slot 3: scan")
            self.scan(label)
            self.assertEqual(self.posts(1), [(SLOT_3, {"label": label})])
            self.floor.end(3, "PASS", "verified")
            self.wait_kind(3, "pass")

    def test_a_tab_ends_a_scan_too_and_moves_no_focus(self):
        self.open()
        self.js("document.querySelector('#typed').focus()")
        self.scan("SLOT-4", end="Tab")
        self.wait_says("Slot 4: scan")
        self.assertEqual(self.js("return document.activeElement.id"), "typed")

    def test_what_the_scanner_sends_ahead_is_left_out(self):
        self.floor.state["codes"]["prefix"] = "]C1"
        self.open()
        self.scan("]C1SLOT-3")
        self.wait_says("Slot 3: scan")
        self.scan("]C1LABEL-7", layout=GERMAN)
        self.assertEqual(self.posts(1), [(SLOT_3, {"label": "LABEL-7"})])
        self.scan("LABEL-8")
        self.wait_says("The code could not be read")
        self.heard_last(REFUSED)

    def test_a_label_alone_goes_to_the_only_slot(self):
        self.floor.state["slots"][1:] = []
        self.open()
        self.wait_says("Scan the unit’s label: it goes to slot 1")
        self.scan("LABEL-1")
        self.assertEqual(self.posts(1), [("/api/slots/1/start", {"label": "LABEL-1"})])

    def test_a_label_alone_is_never_guessed_a_slot(self):
        self.floor.change_slot(1, state="running", run=run_of("OTHER"))
        for slot in range(3, 9):
            self.floor.change_slot(slot, state="running", run=run_of(f"OTHER-{slot}"))
        self.open()
        self.scan("LABEL-1")
        self.wait_says("Which slot?")
        self.heard_last(REFUSED)
        self.assertEqual(self.floor.posts, [])

    def open_where_time_stands(self):
        """However long it takes here from one scan to the next."""
        self.open()
        self.js("performance.now = () => 5000")

    def test_the_same_code_twice_is_taken_once_and_told(self):
        self.open_where_time_stands()
        self.scan("SLOT-3")
        self.scan("LABEL-1")
        self.posts(1)
        self.scan("LABEL-1")
        self.wait_says("LABEL-1 was scanned twice, and taken once")
        self.assertEqual(len(self.floor.posts), 1)
        self.heard_last([1320, 1320])

    def test_a_refused_code_that_comes_twice_stays_refused(self):
        self.floor.refusals["LABEL-2"] = (409, {"code": "already_verified", "reason": "The unit is verified already", "advice": ""})
        self.open_where_time_stands()
        for slot, code, words in (("", "LABEL-1", "Which slot?"), ("", "SLOT-99", "There is no slot"), ("SLOT-3", "LABEL-2", "Do it again with the same identity")):
            with self.subTest(code=code):
                if slot:
                    self.scan(slot)
                    self.wait_says("Slot 3: scan")
                self.scan(code)
                self.wait_says(words)
                self.js("heard.length = 0")
                self.scan(code)
                self.heard_last(REFUSED)
                self.settle()
                self.assertEqual(self.js("return heard"), REFUSED)
                self.assertEqual(self.js("return document.querySelector('#says').dataset.kind"), "refused")
                self.wait_says(words)
        self.assertEqual(self.floor.posts, [(SLOT_3, {"label": "LABEL-2"})])

    def test_a_code_that_was_taken_back_may_come_again_at_once(self):
        self.open()
        for _ in range(3):
            self.scan("SLOT-3")
            self.wait_says("Slot 3: scan")
            self.key("Escape", "Escape")
            self.wait_says("Scan a slot’s code")

    def test_wrong_codes_are_seen_and_heard_and_start_nothing(self):
        wrong = {
            "SLOT-99": "There is no slot “99” on this floor",
            "SLOT-3SW48-1": "There is no slot “3SW48-1” on this floor",
            "SW48-1SLOT-3": "Two codes ran into one",
            "LABEL-1LABEL-1": "Two codes ran into one",
            "L" * 65: "This is no unit’s label",
            "L" * 200: "The code could not be read",
        }
        self.open()
        self.scan("SLOT-3")
        for code, words in wrong.items():
            with self.subTest(code=code):
                self.js("heard.length = 0")
                self.scan(code)
                self.wait_says(words)
                self.heard_last(REFUSED)
                self.assertEqual(self.js("return document.querySelector('#says').dataset.kind"), "refused")
        self.assertEqual(self.floor.posts, [])

    def test_a_code_without_an_end_is_told_as_unreadable(self):
        self.open()
        self.scan("SLOT-3", end=None)
        self.wait_says("The code could not be read")
        self.heard_last(REFUSED)

    def test_a_key_that_types_nothing_known_spoils_the_code(self):
        self.open()
        self.scan("SLOT", end=None)
        self.key("IntlRo", "ろ")
        self.scan_rest("-3")
        self.wait_says("The code could not be read")

    def scan_rest(self, text):
        self.keys(text)
        self.key("Enter", "Enter", "\r")

    def test_what_a_hand_types_is_no_scan(self):
        self.open()
        self.js("document.activeElement.blur()")
        self.type_by_hand("SLOT-3")
        self.press(Keys.ENTER)
        self.settle()
        self.assertNotIn("Slot 3", self.say())

    def test_a_typed_code_means_what_a_scanned_one_does(self):
        self.open()
        for code in ("SLOT-3", "LABEL-1LABEL-1"):
            self.js("document.querySelector('#typed').focus()")
            self.type_by_hand(code)
            self.press(Keys.ENTER)
            self.wait("return document.querySelector('#typed').value === ''")
        self.assertEqual(self.posts(1), [(SLOT_3, {"label": "LABEL-1LABEL-1"})])

    def test_a_badge_changes_the_operator(self):
        self.open()
        self.scan("OP-0042")
        self.assertEqual(self.posts(1), [("/api/operator", {"badge": "0042"})])
        self.wait("return document.querySelector('.lamps').textContent.includes('Operator 0042')")

    def test_a_slot_at_work_takes_no_other_label(self):
        self.floor.change_slot(3, state="running", run=run_of("OTHER"))
        self.open()
        self.scan("SLOT-3")
        self.scan("LABEL-1")
        self.wait_says("Slot 3 is still at work: LABEL-1")
        self.assertEqual(self.floor.posts, [])

    def test_what_another_station_has_in_work_is_taken_over_only_when_a_person_says_so(self):
        self.floor.refusals["LABEL-1"] = (409, {"code": "attempt_open", "reason": "label LABEL-1 is in work at station line9, slot 4", "advice": ""})
        self.open()
        self.scan("SLOT-3")
        self.scan("LABEL-1")
        self.wait_says("Take it over from the other station")
        self.press(Keys.F9)
        self.assertEqual(self.posts(2)[1], (SLOT_3, {"label": "LABEL-1", "take_over": True}))

    def test_a_refusal_tells_why_and_what_to_do(self):
        self.floor.refusals["LABEL-1"] = (409, {"code": "label_in_work", "reason": "The label is in work in slot 5", "advice": "Look at the unit in slot 5"})
        self.open()
        self.scan("SLOT-3")
        self.scan("LABEL-1")
        self.wait_says("Slot 3, LABEL-1: The label is in work in slot 5")
        self.wait_says("Look at the unit in slot 5")
        self.heard_last(REFUSED)
        self.assertNotIn("F9", self.js("return document.querySelector('#says').textContent"))

    def test_a_verified_unit_is_done_again_only_when_a_person_says_so(self):
        self.floor.refusals["LABEL-1"] = (409, {"code": "already_verified", "reason": "The unit is verified already", "advice": ""})
        self.open()
        self.scan("SLOT-3")
        self.scan("LABEL-1")
        self.wait_says("Do it again with the same identity")
        self.assertEqual(self.posts(1), [(SLOT_3, {"label": "LABEL-1"})])
        self.press(Keys.F9)
        self.assertEqual(self.posts(2)[1], (SLOT_3, {"label": "LABEL-1", "again": True}))

    def test_a_verdict_is_heard(self):
        self.floor.change_slot(3, state="running", run=run_of("LABEL-1"))
        self.open()
        self.floor.end(3, "PASS", "verified")
        self.heard_last([784, 988, 1319])
        self.floor.change_slot(3, state="running", run=run_of("LABEL-2", attempt=182))
        self.floor.end(3, "FAIL", "failed")
        self.heard_last([392, 294, 196])

    def test_a_verdict_takes_the_place_of_a_scan_that_was_taken(self):
        self.open()
        self.scan("SLOT-3")
        self.scan("LABEL-1")
        self.wait_says("Slot 3 takes LABEL-1")
        self.floor.end(3, "FAIL", "failed", reason="The cable was unplugged", advice="Plug it in")
        self.wait_says("Slot 3 FAIL, LABEL-1: The cable was unplugged. Plug it in")
        self.assertIn("Scan a slot’s code, then the unit’s label", self.say())

    def test_a_verdict_puts_no_refusal_away(self):
        self.floor.change_slot(3, state="running", run=run_of("LABEL-1"))
        self.open()
        self.scan("SLOT-99")
        self.wait_says("There is no slot “99”")
        self.floor.end(3, "FAIL", "failed", reason="The cable was unplugged")
        self.wait_kind(3, "fail")
        self.assertIn("There is no slot “99”", self.say())

    def test_tones_from_before_the_first_key_are_not_kept_for_later(self):
        self.floor.change_slot(3, state="running", run=run_of("LABEL-1"))
        self.open()
        self.js("window.pressed = { hasBeenActive: false }")
        self.floor.end(3, "PASS", "verified")
        self.wait_kind(3, "pass")
        self.js("window.pressed = { hasBeenActive: true }")
        self.scan("SLOT-3")
        self.heard_last(TAKEN)
        self.assertEqual(self.js("return heard"), TAKEN)

    def test_nothing_is_heard_where_sound_is_switched_off(self):
        self.open()
        self.js("[...document.querySelectorAll('#around button')].find(each => each.textContent === 'Sound: on').click()")
        self.scan("SLOT-99")
        self.wait_says("There is no slot")
        self.assertEqual(self.js("return heard"), [])
        self.js("localStorage.clear()")


class Choices(PageTest):
    """What was chosen for the next unit, while something from before is still to come."""

    def setUp(self):
        super().setUp()
        fill(self.floor)
        self.open()

    def choose(self, slot, words="scan the unit’s label"):
        self.scan(f"SLOT-{slot}")
        self.wait_says(f"Slot {slot}: {words}")

    def scan_while_the_ledger_is_slow(self):
        """Returns what has the answer come."""
        go_on = self.floor.hold(SLOT_3)
        self.addCleanup(go_on.set)
        self.choose(3)
        self.scan("LABEL-1")
        self.posts(1)

        def answer():
            go_on.set()
            self.wait("return performance.getEntriesByName(location.origin + arguments[0]).length > 0", SLOT_3)
            self.settle()
        return answer

    def compare(self):
        self.js("location.hash = arguments[0]", f"#/unit/{LABEL}")
        self.wait("const found = [...document.querySelectorAll('main button')].find(each => each.textContent === 'Compare with a switch'); found?.click(); return !!found")
        self.wait_says("Compare only: scan the slot")

    def test_the_time_of_a_slot_chosen_before_ends_no_comparison(self):
        self.js("""window.ends = new Map();
            const [begin, end] = [setTimeout, clearTimeout];
            window.setTimeout = (run, wait, ...more) => { const id = begin(run, wait, ...more); if (wait === 90000) { ends.set(id, run); } return id; };
            window.clearTimeout = (id) => { ends.delete(id); end(id); };""")
        self.choose(3)
        self.assertEqual(self.js("return ends.size"), 1)
        self.compare()
        self.js("ends.forEach((run) => run())")
        self.choose(3, "scan the label of the unit to compare; nothing will be written")
        self.scan(LABEL)
        self.assertEqual(self.posts(1), [(SLOT_3, {"label": LABEL, "only_check": True})])

    def test_a_late_answer_ends_no_comparison(self):
        answer = self.scan_while_the_ledger_is_slow()
        self.compare()
        answer()
        self.choose(4, "scan the label of the unit to compare; nothing will be written")
        self.scan(LABEL)
        self.assertEqual(self.posts(2)[1], ("/api/slots/4/start", {"label": LABEL, "only_check": True}))

    def test_a_late_answer_lets_go_no_slot_that_was_chosen_since(self):
        answer = self.scan_while_the_ledger_is_slow()
        self.choose(4)
        self.press(Keys.F4)
        self.wait("return document.querySelector('main').dataset.view === 'history'")
        answer()
        self.assertEqual(self.js("return document.querySelector('main').dataset.view"), "history")
        self.scan("LABEL-2")
        self.assertEqual(self.posts(2)[1], ("/api/slots/4/start", {"label": "LABEL-2"}))

    def test_a_late_answer_puts_no_refusal_away(self):
        answer = self.scan_while_the_ledger_is_slow()
        self.scan("SLOT-99")
        self.wait_says("There is no slot “99”")
        answer()
        self.assertIn("There is no slot “99”", self.say())


class LabelsScannedBack(PageTest):
    def waiting(self, slot, label):
        self.floor.change_slot(slot, state="running", run=run_of(f"UNIT-{slot}", label_back="waiting", label_code=label))

    def test_pass_comes_after_the_label_alone_was_scanned_back(self):
        self.waiting(3, "LABEL-3")
        self.waiting(5, "LABEL-5")
        self.open()
        self.wait_kind(5, "label")
        self.scan("LABEL-5")
        self.assertEqual(self.posts(1), [("/api/slots/5/confirm", {"code": "LABEL-5"})])
        self.wait_kind(5, "pass")
        self.assertEqual(self.kind(3), "label")

    def test_another_label_is_told_and_the_right_one_can_follow(self):
        self.waiting(3, "LABEL-3")
        self.open()
        self.scan("SLOT-3")
        self.scan("LABEL-4")
        self.wait_says("Slot 3: LABEL-4 is not the label of this unit")
        self.wait("return document.querySelector('.tile[data-slot=\"3\"]').innerText.includes('Wrong label')")
        self.picture("state-wrong-label")
        self.scan("LABEL-3")
        self.wait_kind(3, "pass")

    def test_a_printed_label_starts_no_unit_in_another_slot(self):
        self.waiting(3, "LABEL-3")
        self.open()
        self.scan("SLOT-5")
        self.wait_says("Slot 5: scan")
        self.scan("LABEL-3")
        self.wait_says("This is slot 3’s printed label: LABEL-3")
        self.assertEqual(self.floor.posts, [])
        self.press(Keys.ESCAPE)
        self.scan("LABEL-3")
        self.wait_kind(3, "pass")
        self.assertEqual(self.floor.posts, [("/api/slots/3/confirm", {"code": "LABEL-3"})])

    def test_a_chosen_slot_goes_before_the_slot_whose_label_it_is(self):
        self.waiting(3, "LABEL-3")
        self.waiting(5, "LABEL-5")
        self.open()
        self.scan("SLOT-5")
        self.scan("LABEL-3")
        self.assertEqual(self.posts(1), [("/api/slots/5/confirm", {"code": "LABEL-3"})])
        self.wait_says("Slot 5: LABEL-3 is not the label of this unit")
