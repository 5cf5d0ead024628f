"""Texts of strangers, in all places where they are shown: text they stay, and nothing else."""

import json

from browser import PageTest
from layout import faults_of
from made_up_floor import asked, evidence_of, run_of

TEXTS = {
    "markup": "<img src=x onerror=\"window.owned=1\"><script>window.owned=1</script><b>bold</b>&amp;<style>*{display:none}</style>",
    "direction": "abc\u202e321\u202c\u2066def\u2069\u200f\u200eghi\u061c",
    "long": "x" * 10240,
    "long words": "word " * 2048,
    "emoji": "👩\u200d👩\u200d👧\u200d👦🏳️\u200d🌈 שלום مرحبا 你好 " + "\u0301" * 60,
    "controls": "".join(map(chr, range(0x20))) + "\x7f\x80\x9b31m\u2028\u2029\ufeff\u200b",
    "lone": "\ud800 and \udfff",
    "address": "javascript:window.owned=1",
    "template": "{{constructor.constructor('window.owned=1')()}} ${window.owned=1} %s %n ../../etc/passwd",
}
PLACES = ("label", "phase", "reason", "advice", "trouble", "step", "product", "operator", "floor", "place", "fault", "printer", "ledger", "serial")


def fill(floor, text):
    """The text in all that the floor tells."""
    state = floor.state
    state |= {"floor": text, "operator": text, "printer": {"usable": False, "reason": text, "waiting": 1}, "drill_faults": [{"fault": text, "text": text}]}
    steps = [{"operation": text, "state": "running", "sent": 1, "of": 2, "reason": text}]
    for slot in state["slots"]:
        slot |= {"products": [text, text + "2"], "place": text, "fault": text,
                 "run": run_of(text, phase=text, steps=steps, product=text, serial=text, mac=text, operator=text), "state": "running"}
    floor.end(2, "FAIL", "failed", reason=text, advice=text)
    floor.end(3, "PASS", "verified", reason=text, advice=text)
    floor.change_slot(4, state="unplugged", trouble=text)
    floor.change_slot(5, state="idle", trouble=text)
    floor.change_run(6, label_back="differs")
    floor.end(7, None, text, reason=text)
    unit = {"label": text, "product": text, "serial": text, "mac": text, "mac_count": 64, "state": text, "reserved_at": text,
            "changed_at": text, "void_reason": text, "void_by": text}
    attempt = {name: text for name in ("label", "product", "station", "slot", "operator", "product_file", "product_sha256", "program_version",
                                       "started_at", "stored_at", "ended_at", "outcome", "reason", "sent", "read_back", "console")} | {"id": 181, "number": 1}
    pool = {name: text for name in ("name", "kind", "first", "last", "pattern", "warning")} | {
        "units": 10, "units_left": 3, "voided": 1, "used_percent": 70, "units_a_day": 1, "days_left": 3, "open": True}
    floor.answers |= {
        "/api/find": {"unit": unit, "attempts": [attempt], "history": [{"number": 1, "at": text, "kind": text, "content": {text: text}}]},
        "/api/prints": {"rows": [{"id": 1, "label": text, "number": 1, "at": text, "operator": text, "state": text, "reason": text}], "after": None},
        "/api/units": {"rows": [unit], "after": None}, "/api/attempts": {"rows": [attempt], "after": None},
        "/api/attempts/181": attempt, "/api/attempts/182": attempt | evidence_of(
            [(text, text, text, text, False)], values={text: text}, held=text, steps=[{"operation": text, "job": text, "job_sha256": text}],
            results=[{"operation": text, "result": text, "reason": text, "starts": 1, "items": [{text: text}]}]),
        "/api/pools": {"pools": [pool]},
        "/api/attempts/181/transcript": transcript(text)}


def transcript(text):
    return "\n".join(json.dumps({"at": at, "from": text if at == 1 else "switch", "text": text}) for at in range(3))


class Hostile(PageTest):
    def elements(self):
        """All kinds of elements and attributes that there are."""
        return set(self.js("""return [...document.querySelectorAll('*')].flatMap(each =>
            [each.tagName.toLowerCase(), ...[...each.attributes].map(one => each.tagName.toLowerCase() + ' ' + one.name)])"""))

    def visit(self):
        seen = {}
        for path in ("", "#/unit/any", "#/attempt/181", "#/attempt/182", "#/history", "#/history/attempts", "#/pools", "#/health", "#/codes"):
            self.open(path)
            self.wait("return !document.querySelector('[aria-busy]')")
            if path == "":
                self.scan("SLOT-2")
                self.wait("return document.querySelector('#says').textContent.includes('Slot 2')")
            seen[path] = (self.elements(), faults_of(self))
        return seen

    def test_texts_stay_texts_in_every_view(self):
        fill(self.floor, "plain")
        tame = self.visit()
        for name, text in TEXTS.items():
            fill(self.floor, text)
            self.floor.paths.clear()
            self.driver.get_log("browser")
            for path, (elements, faults) in self.visit().items():
                with self.subTest(text=name, view=path):
                    # Some kinds of elements are there for some contents only, as a transcript is.
                    extra = elements - tame[path][0] - {"code", "figure", "figcaption", "pre", "pre tabindex", "p role", "button style"}
                    self.assertEqual(extra, set())
                    self.assertEqual(faults, [])
                    self.assertIsNone(self.js("return window.owned ?? null"))
            for asked in self.floor.paths:
                self.assertRegex(asked, r"^/(api/(session|events|find\?|units\?|attempts[/?]|prints\?|pools)|css/|js/|icon\.svg|$)")
            self.check_log()

    def test_nothing_is_asked_of_anybody_else(self):
        fill(self.floor, TEXTS["markup"])
        self.visit()
        names = self.js("return performance.getEntriesByType('resource').map(each => each.name)")
        self.assertTrue(names)
        for name in names:
            self.assertTrue(name.startswith(self.floor.url), name)

    def test_marks_of_direction_are_seen_and_turn_nothing(self):
        self.floor.change_slot(1, state="running", run=run_of("abc\u202e321"))
        self.floor.change_slot(2, state="running", run=run_of("a\x07b\x1bc"))
        self.open()
        self.assertIn("abc[U+202E]321", self.tile_text(1))
        self.assertIn("a␇b␛c", self.tile_text(2))

    def test_an_address_of_any_kind_shows_a_view_or_the_slots(self):
        for path in ("#/nothing", "#/unit/%E0%A4%A", "#/attempt/../../api/slots", "#//", "#/history/__proto__?limit=9", "#/constructor"):
            with self.subTest(path):
                self.open(path)
                self.wait("return document.querySelector('main').children.length > 0")
        self.assertEqual(self.floor.posts, [])

    def test_a_label_in_an_address_reaches_the_floor_as_it_is(self):
        label = "A/B?c=d&e#f%20+\"<'"
        self.floor.answers["/api/find"] = {"unit": {"label": label, "product": "P", "serial": None, "mac": None, "mac_count": 0, "state": "reserved",
                                                    "reserved_at": "", "changed_at": "", "void_reason": None, "void_by": None}, "attempts": [], "history": []}
        self.open("#/unit/")
        self.scan(label)
        self.wait("return document.querySelector('.unit-label')?.textContent === arguments[0]", label)
        self.assertIn(("/api/find", {"text": label}), [asked(path) for path in self.floor.paths])
