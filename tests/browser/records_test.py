"""Units at any later time, their attempts and replays; history, pools, health, codes, labels."""

import json
import subprocess

from selenium.webdriver.common.keys import Keys

from browser import PICTURES, PageTest
from layout import faults_of
from made_up_floor import asked, evidence_of, run_of

LABEL = "SW48-254700002"
UNIT = {"label": LABEL, "product": "SW-48X6Q", "serial": "ABCD25470002", "mac": "00:1A:2B:00:01:00", "mac_count": 64, "state": "verified",
        "reserved_at": "2026-11-21T20:01:00.000Z", "changed_at": "2026-11-21T23:28:21.000Z", "void_reason": None, "void_by": None}
CONSOLE = [{"at": 0.0, "from": "switch", "text": "login: "}, {"at": 0.5, "from": "station", "text": "root\r\n"},
           {"at": 1.0, "from": "switch", "text": "# "}, {"at": 600.0, "from": "switch", "text": "the end\r\n"}]
READ_BACK = [(name, value, None, value, True) for name, value in (
    ("ethaddr", "00:1A:2B:00:01:00"), ("SerialNO", "ABCD25470002"), ("ProductModel", "SW-48X6Q"), ("HardwareVersion", "1.02"),
    ("country_def", "DE"), ("MgmtAddress", "00:1A:2B:00:01:01"), ("Manufactured", "2026-11-21"))]
TABLE = "[role=region][aria-label=\"%s\"]"


def attempt(number, outcome, reason=""):
    return {"id": 180 + number, "label": LABEL, "product": "SW-48X6Q", "number": number, "station": "line3-pc", "slot": "3", "operator": "0017",
            "product_file": "product.toml", "product_sha256": "ab" * 32, "program_version": "1.0.0", "started_at": "2026-11-21T23:20:00.000Z",
            "stored_at": None, "ended_at": "2026-11-21T23:28:21.000Z", "outcome": outcome, "reason": reason}


def fill(floor):
    attempts = [attempt(1, "failed", "No prompt of the switch within 120 s"), attempt(2, "verified", "verified: all of it was read back")]
    floor.state["printer"] = {"usable": True, "reason": "", "waiting": 0}
    floor.answers |= {
        "/api/find": {"unit": UNIT, "attempts": attempts, "history": [{"number": 412, "at": UNIT["reserved_at"], "kind": "reserve", "content": {}}]},
        "/api/prints": {"rows": [{"id": 77, "label": LABEL, "number": 1, "at": UNIT["changed_at"], "operator": "0017", "state": "printed", "reason": ""}], "after": None},
        "/api/attempts/182": attempts[1] | evidence_of(READ_BACK) | {"console": "login: root"},
        "/api/attempts/182/transcript": "\n".join(map(json.dumps, CONSOLE)),
        "/api/attempts/181": attempts[0] | {"sent": "", "read_back": "no JSON", "console": "a console\nof old"},
        "/api/units": {"rows": [UNIT | {"label": f"SW48-{number:09d}", "state": state} for number, state in enumerate(["verified", "failed", "in_doubt", "void", "reserved"] * 6)], "after": 30},
        "/api/attempts": {"rows": attempts * 10, "after": None},
        "/api/pools": {"pools": [
            {"name": "office", "kind": "mac", "first": "00:1A:2B:00:00:00", "last": "00:1A:2B:00:FF:FF", "pattern": "", "units": 1024, "units_left": 900,
             "voided": 1, "used_percent": 12, "units_a_day": 40.5, "days_left": 22.2, "open": True, "warning": ""},
            {"name": "office-sn", "kind": "serial", "first": "0", "last": "99999", "pattern": "ABCD{yy}{ww}{n:5}", "units": 100000, "units_left": 4900,
             "voided": 0, "used_percent": 95, "units_a_day": 0, "days_left": None, "open": True, "warning": "95 per cent of the pool are used"}]}}


class Records(PageTest):
    def setUp(self):
        super().setUp()
        fill(self.floor)

    def text(self):
        return self.wait("return !document.querySelector('[aria-busy]') && document.querySelector('main').innerText")

    def test_every_view_fits_every_screen(self):
        for name, path in {"unit": f"#/unit/{LABEL}", "attempt": "#/attempt/182", "units": "#/history", "attempts": "#/history/attempts",
                           "pools": "#/pools", "health": "#/health", "codes": "#/codes", "search": "#/unit"}.items():
            self.open(path)
            self.text()
            for width, height, dark in ((1024, 768, False), (1920, 1080, True), (3840, 2160, False)):
                with self.subTest(view=name, width=width):
                    self.resize(width, height, dark)
                    self.assertEqual(faults_of(self), [])
                    self.picture(f"view-{name}-{width}x{height}")

    def test_a_scan_looks_a_unit_up_while_that_view_is_open_and_starts_nothing(self):
        self.open("#/unit")
        self.scan(LABEL)
        self.wait("return document.querySelector('.unit-label')")
        for words in (LABEL, "verified", "ABCD25470002", "00:1A:2B:00:01:00, 64 addresses", "2 of this unit", "No prompt of the switch within 120 s", "reserve", "printed"):
            self.assertIn(words, self.text())
        self.assertEqual(self.floor.posts, [])

    def test_a_slots_code_leads_back_to_the_slots(self):
        self.open("#/unit")
        self.scan("SLOT-3")
        self.wait("return document.querySelector('.tile[aria-pressed=true]')?.dataset.slot === '3'")

    def test_a_unit_that_is_not_known_is_told(self):
        del self.floor.answers["/api/find"]
        self.open("#/unit/NOBODY")
        self.wait("return document.querySelector('.problem')?.textContent.includes('Nothing is known of it')")

    def open_attempt(self, **parts):
        self.floor.answers["/api/attempts/182"] |= parts
        self.open("#/attempt/182")
        return self.text()

    def rows(self, of):
        """The cells of a table, below its heads."""
        return self.js("return [...document.querySelectorAll(arguments[0] + ' tr')].map(row => [...row.children].map(cell => cell.innerText))", TABLE % of)

    def marks(self):
        return self.js("return [...document.querySelectorAll('.table .mark')].map(each => each.innerText)")

    def test_each_record_that_was_sent_stands_beside_what_was_read_back(self):
        self.open_attempt()
        self.assertEqual(self.rows("Sent and read back"), [["Record", "Sent", "Read back", "As wanted"]]
                         + [[name, value, value, "✓ yes"] for name, value, *_ in READ_BACK])
        facts = self.js("return [...document.querySelectorAll('.facts div')].map(each => each.innerText)")
        for fact in ("mac\n00:1A:2B:00:01:00", "serial\nABCD25470002", "Held before\nnothing"):
            self.assertIn(fact, facts)
        self.assertEqual(self.rows("Steps")[1:], [["setmac", "✓ done", "1", "", "products/sw-48x6q/identity.toml"]])
        self.assertEqual(self.rows("Sent by setmac")[1:], [["MacAddress", "binary", "00 1A 2B 00 01 00", "stored"], ["SerialNO", "text", "ABCD25470002", "stored"]])
        self.assertIn("all of it was read back", self.text())
        self.picture("attempt-verified")

    def test_a_record_that_differs_is_told_and_the_others_are_not(self):
        records = [("ethaddr", "00:1A:2B:00:01:00", "00:11:22:33:44:55", "00:1A:2B:00:01:40", False), READ_BACK[1], ("country_def", "DE", None, None, False)]
        self.open_attempt(**evidence_of(records), outcome="failed", reason="failed: read back it differs: ethaddr is \"00:1A:2B:00:01:40\" and not "
                          "\"00:1A:2B:00:01:00\", country_def is missing and not \"DE\"")
        self.assertEqual(self.rows("Sent and read back"), [
            ["Record", "Before", "Sent", "Read back", "As wanted"],
            ["ethaddr", "00:11:22:33:44:55", "00:1A:2B:00:01:00", "00:1A:2B:00:01:40", "✕ no"],
            ["SerialNO", "–", "ABCD25470002", "ABCD25470002", "✓ yes"],
            ["country_def", "–", "DE", "missing", "✕ no"]])
        self.picture("attempt-differs")

    def test_a_record_that_no_two_readings_agree_on_is_neither_right_nor_wrong(self):
        self.open_attempt(**evidence_of([READ_BACK[0], ("SerialNO", "ABCD25470002", None, None, False)]), outcome="stored")
        self.assertEqual([row[2:] for row in self.rows("Sent and read back")[1:]], [["00:1A:2B:00:01:00", "✓ yes"], ["–", "• not seen"]])

    def test_what_was_right_before_is_not_called_read_back_where_a_run_broke_off(self):
        serial = READ_BACK[1][1]
        broke_off = [{"operation": "setmac", "result": "failed", "reason": "no answer", "starts": 3, "items": []}]
        self.open_attempt(**evidence_of([("SerialNO", serial, serial, None, True)], held="this identity", results=broke_off), outcome="in_doubt")
        self.assertEqual(self.rows("Sent and read back")[1:], [["SerialNO", serial, serial, "–", "• not seen"]])
        self.assertEqual(self.marks(), ["• not seen", "✕ failed"])

    def test_a_switch_that_was_left_as_it_was_is_judged_by_nothing(self):
        not_run = [{"operation": "setmac", "result": "not run", "reason": "", "starts": 0, "items": []}]
        other = evidence_of([("SerialNO", "ABCD25470002", "OTHER00000001", None, False)], sent=False, held="another identity", results=not_run)
        self.assertIn("Nothing was sent that the switch may have stored.", self.open_attempt(**other, outcome="failed"))
        self.assertEqual(self.rows("Sent and read back"), [["Record", "Before"], ["SerialNO", "OTHER00000001"]])
        self.assertEqual(self.marks(), ["• not run"])
        self.picture("attempt-left")
        blank = evidence_of([("SerialNO", "ABCD25470002", None, None, False)], sent=False, held="", results=not_run)
        self.open_attempt(**blank)
        self.assertEqual(self.rows("Sent and read back"), [])

    def test_units_that_a_step_programs_are_shown_one_by_one(self):
        fans = [{"fan": "1", "serial": "FAN000000001", "result": "written"}, {"fan": "2", "serial": "FAN000000002", "result": "not known"}]
        self.open_attempt(**evidence_of(READ_BACK, results=[{"operation": "setfansn", "result": "unseen", "reason": "the answer was lost", "starts": 1, "items": fans}]))
        self.assertEqual(self.rows("Sent by setfansn"), [["fan", "serial", "result"], ["1", "FAN000000001", "written"], ["2", "FAN000000002", "not known"]])

    def test_an_attempt_that_has_left_nothing_yet_is_not_said_to_have_sent_nothing(self):
        self.assertIn("It comes into the ledger when the attempt ends.", self.open_attempt(sent="", read_back="", ended_at=None, outcome=None))
        self.assertIn("Nothing of it is in the ledger.", self.open_attempt(ended_at=UNIT["changed_at"], outcome="in_doubt"))
        self.assertEqual(self.marks(), [])

    def test_evidence_of_another_shape_is_shown_as_it_is_and_not_judged(self):
        real = evidence_of(READ_BACK)
        for sent, back in (("{\"SerialNO\":\"A\"}", "{\"SerialNO\":\"A\"}"), ("[1]", "null"), (real["sent"], ""), (real["sent"], "{\"records\":[7],\"steps\":[]}"),
                           ("{\"values\":{},\"records\":[],\"steps\":[]}", real["read_back"])):
            with self.subTest(sent=sent, back=back):
                self.open_attempt(sent=sent, read_back=back)
                self.assertEqual(self.js("return [...document.querySelectorAll('.beside pre')].map(each => each.textContent)"), [sent, back or "Nothing"])
                self.assertEqual(self.marks(), [])

    def test_evidence_that_is_no_json_and_a_console_without_times_are_shown_as_they_are(self):
        self.open("#/attempt/181")
        self.wait("return document.querySelectorAll('pre').length === 3")
        self.assertEqual(self.js("return [...document.querySelectorAll('pre')].map(each => each.textContent)"), ["Nothing", "no JSON", "a console\nof old"])

    def test_a_replay_goes_in_its_own_time(self):
        self.open("#/attempt/182")
        shown = "return document.querySelector('.console').textContent"
        self.wait(f"{shown}.endsWith('the end\\n')")
        self.js("document.querySelector('.replay button').click()")
        # Ten minutes of silence at the end: the beginning is there soon, the end is not.
        self.wait(f"{shown} === 'login: root\\n# '")
        self.assertEqual(self.js("return document.querySelector('.from-station').textContent"), "underlined")
        self.assertEqual(self.js("return document.querySelector('.console .from-station').textContent"), "root\n")
        self.js("document.querySelector('.replay button').click()")
        place = self.js("const bar = document.querySelector('input[type=range]'); bar.value = 4; bar.dispatchEvent(new Event('input')); return bar.getAttribute('aria-valuetext')")
        self.assertEqual(place, "0:00 of 10:00")
        self.assertEqual(self.js(shown), "login: ")

    def open_replay(self, pieces):
        self.floor.answers["/api/attempts/182/transcript"] = "\n".join(map(json.dumps, pieces))
        self.open("#/attempt/182")
        self.wait("return document.querySelector('.replay') && !document.querySelector('[aria-busy]')")

    def go_back(self):
        self.js("const bar = document.querySelector('input[type=range]'); bar.value = 0; bar.dispatchEvent(new Event('input'))")

    def test_a_gap_in_a_replay_is_told_where_it_is(self):
        self.open_replay([CONSOLE[0], {"left_out": 1234567}, CONSOLE[3]])
        self.assertEqual(self.js("return document.querySelector('.console').textContent"), "login: \n… 1,234,567 bytes left out …\nthe end\n")
        self.picture("replay-gap")
        self.open_replay([CONSOLE[0], {"left_out": 1}])
        self.assertEqual(self.js("return document.querySelector('.console').textContent"), "login: \n… 1 byte left out …\n")

    def test_a_replay_that_is_cut_at_its_head_says_so(self):
        hint = "return document.querySelector('.replay').innerText.includes('Only the last 400,000 characters are shown')"
        self.open_replay([{"at": float(at), "from": "switch", "text": f"{at}" + "x" * 99998 + "\n"} for at in range(5)])
        self.assertTrue(self.js(hint))
        self.assertEqual(self.js("return document.querySelector('.console').textContent.slice(0, 2)"), "1x")
        self.go_back()
        self.assertFalse(self.js(hint))
        self.assertEqual(self.js("return document.querySelector('.console').textContent.slice(0, 2)"), "0x")

    def test_a_switch_is_compared_with_the_ledger_and_nothing_is_written(self):
        self.open(f"#/unit/{LABEL}")
        self.text()
        self.js("[...document.querySelectorAll('button')].find(each => each.textContent === 'Compare with a switch').click()")
        self.wait_says("Compare only")
        self.scan("SLOT-3")
        self.wait_says("nothing will be written")
        self.scan(LABEL)
        self.assertEqual(self.posts(1), [("/api/slots/3/start", {"label": LABEL, "only_check": True})])
        self.wait_says("nothing is written")
        self.floor.end(3, "PASS", "verified")
        self.wait("return document.querySelector('.tile[data-slot=\"3\"]').innerText.includes('Matches the ledger')")
        self.picture("compared")
        # The next unit is a unit like any other.
        self.scan("SLOT-4")
        self.scan("LABEL-9")
        self.assertEqual(self.posts(2)[1], ("/api/slots/4/start", {"label": "LABEL-9"}))

    def test_a_label_is_printed_again_on_request(self):
        self.open(f"#/unit/{LABEL}")
        self.text()
        self.js("[...document.querySelectorAll('button')].find(each => each.textContent === 'Print its label again').click()")
        self.assertEqual(self.posts(1), [("/api/prints/new", {"label": LABEL})])
        self.wait_says(f"Label {LABEL} goes to the printer")

    def test_a_printer_that_is_off_is_told_and_holds_nothing_up(self):
        self.open()
        self.floor.change("printer", {"printer": {"usable": False, "reason": "no answer", "waiting": 3}})
        self.wait("return document.querySelector('.lamps').textContent.includes('Printer off: no answer, 3 waiting')")
        self.scan("SLOT-3")
        self.scan("LABEL-1")
        self.posts(1)

    def test_filters_narrow_the_history_and_its_files(self):
        self.cdp("Emulation.setTimezoneOverride", timezoneId="America/New_York")
        self.addCleanup(self.cdp, "Emulation.setTimezoneOverride", timezoneId="")
        self.open("#/history/attempts")
        self.text()
        # The clocks go back an hour on that day.
        self.js("document.querySelector('#filter-label').value = 'A&B'; document.querySelector('#filter-outcome').value = 'failed';"
                "document.querySelector('#filter-since').value = '2026-11-01'; document.querySelector('#filter-until').value = '2026-11-01';"
                "document.querySelector('.filters button').click()")
        self.wait("return location.hash.includes('outcome=failed')")
        self.text()
        wanted = {"label": "A&B", "outcome": "failed", "since": "2026-11-01T04:00:00.000Z", "until": "2026-11-02T05:00:00.000Z"}
        self.wait_for(lambda: ("/api/attempts", wanted | {"limit": "100"}) in [asked(path) for path in self.floor.paths])
        files = self.js("return [...document.querySelectorAll('a[download]')].map(each => each.getAttribute('href'))")
        self.assertEqual([asked(path) for path in files], [("/api/export/attempts.csv", wanted), ("/api/export/attempts.jsonl", wanted)])
        self.assertEqual(self.js("return ['label', 'since', 'until'].map(each => document.querySelector(`#filter-${each}`).value)"), ["A&B", "2026-11-01", "2026-11-01"])
        self.assertIn("days on this PC’s clock, both included", self.text())
        self.picture("history-filtered")

    def test_a_time_that_is_no_day_is_left_to_the_floor(self):
        self.open("#/history/units?since=2026-11-21T08:30:00Z&until=2026-99-99&label=2026-11-21")
        self.text()
        wanted = {"since": "2026-11-21T08:30:00Z", "until": "2026-99-99", "label": "2026-11-21", "limit": "100"}
        self.assertIn(("/api/units", wanted), [asked(path) for path in self.floor.paths])

    def test_more_rows_come_on_request(self):
        self.open("#/history")
        self.text()
        self.floor.answers["/api/units"] = {"rows": [UNIT | {"label": "THE-LAST"}], "after": None}
        self.js("[...document.querySelectorAll('main button')].find(each => each.textContent === 'Show more').click()")
        self.wait("return document.querySelectorAll('tbody tr').length === 31")
        self.assertIn(("/api/units", {"limit": "100", "after": "30"}), [asked(path) for path in self.floor.paths])
        self.assertTrue(self.js("return [...document.querySelectorAll('main button')].find(each => each.textContent === 'Show more').hidden"))

    def test_pools_tell_what_is_left_and_how_long(self):
        self.open("#/pools")
        for words in ("900 units left of 1,024", "Lasts 22 days as things go", "1 unit void", "4,900 units left of 100,000", "! 95 per cent of the pool are used", "Nothing was taken in the last days"):
            self.assertIn(words, self.text())

    def health(self, slot, **parts):
        self.floor.slot(slot)["health"] = {"runs": 40, "verified": 39, "retries": 4, "damaged": 2, "seconds": 21.0} | parts

    def test_the_health_of_a_slot_is_told_against_the_others(self):
        for slot in range(1, 9):
            self.health(slot)
        self.health(2, damaged=100)
        self.health(3, verified=20)
        self.health(4, seconds=60.0)
        self.health(5, runs=3, verified=0, retries=90)
        self.health(7, retries=200)
        self.floor.slot(6)["trouble"] = "ModemManager has opened the port"
        self.open("#/health")
        rows = self.js("return [...document.querySelectorAll('tbody tr')].map(row => row.children[1].innerText)")
        self.assertEqual(rows[0], "✓ as the others")
        self.assertIn("Slot 2: 2.5 damaged frames a run, the others 0.1: its cable is failing", rows[1])
        self.assertIn("50 of 100 runs don’t end verified, elsewhere 3", rows[2])
        self.assertIn("takes 60 s, the others 21 s", rows[3])
        self.assertEqual(rows[4], "• fewer than 5 runs")
        self.assertEqual(rows[5], "✕ ModemManager has opened the port")
        self.assertIn("Slot 7: 5.0 retries a run, the others 0.1: its cable or adapter is failing", rows[6])
        self.assertEqual(rows[7], "✓ as the others")

    def test_the_codes_of_the_sheet_are_read_as_what_stands_below_them(self):
        floor = self.new_floor(12)
        self.open("#/codes", floor)
        self.resize(1920, 1080)
        path = self.picture("codes")
        read = subprocess.run(["zbarimg", "--quiet", "--raw", "--nodbus", path], capture_output=True, text=True, check=False).stdout.split()
        self.assertEqual(sorted(read), sorted(f"SLOT-{slot}" for slot in range(1, 13)))

    def test_the_slots_go_on_behind_a_record(self):
        self.open("#/pools")
        self.floor.change_slot(3, state="running", run=run_of("LABEL-1"))
        self.floor.end(3, "PASS", "verified")
        self.wait("return heard.join() === '784,988,1319'")
        self.press(Keys.F2)
        self.wait_kind(3, "pass")
