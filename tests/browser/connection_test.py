"""The floor that goes away and comes back, and several pages at once."""

from browser import PageTest
from layout import faults_of
from made_up_floor import run_of

AWAY = "The floor does not answer"


class Away(PageTest):
    def test_it_is_said_over_the_tiles_and_taken_back_by_itself(self):
        self.floor.change_slot(3, state="running", run=run_of("LABEL-1"))
        self.open()
        self.floor.stop()
        self.wait("return document.querySelector('.away').textContent.includes(arguments[0])", AWAY)
        self.wait_says(AWAY)
        self.assertEqual(self.js("return document.querySelector('.away').getAttribute('role')"), "alert")
        for width, height in ((1024, 768), (1920, 1080)):
            self.resize(width, height)
            self.assertEqual(faults_of(self), [])
            self.picture(f"away-{width}x{height}")
        # What happens meanwhile is on the screen as soon as the floor is.
        self.floor.slot(3)["run"] |= {"verdict": "PASS", "outcome": "verified", "ended": "2026-11-21T23:28:21.500Z"}
        self.floor.slot(3)["state"] = "ended"
        self.floor.start()
        self.wait("return document.querySelector('.away').textContent === ''")
        self.wait_kind(3, "pass")
        self.assertNotIn(AWAY, self.say())

    def test_a_verdict_that_came_meanwhile_is_heard_and_told(self):
        self.floor.change_slot(3, state="running", run=run_of("LABEL-1"))
        self.open()
        self.floor.stop()
        self.wait_says(AWAY)
        self.floor.slot(3)["run"] |= {"verdict": "FAIL", "outcome": "failed", "reason": "The cable was unplugged"}
        self.floor.slot(3)["state"] = "ended"
        self.floor.start()
        self.wait("return document.querySelector('#verdicts').textContent.includes('Slot 3 FAIL. LABEL-1. The cable was unplugged')")
        self.assertEqual(self.js("return heard"), [392, 294, 196])

    def test_scans_are_refused_aloud_while_it_is_away(self):
        self.open()
        self.floor.stop()
        self.wait_says(AWAY)
        self.scan("SLOT-3")
        self.wait("return heard.join() === '196,196,196'")
        self.floor.start()
        self.wait("return document.querySelector('.away').textContent === ''")
        self.assertEqual(self.floor.posts, [])

    def test_work_goes_on_after_a_new_start_with_another_token(self):
        self.open()
        for _ in range(3):
            self.floor.stop()
            self.wait_says(AWAY)
            self.floor.start()
            self.wait("return document.querySelector('.away').textContent === ''")
        self.scan("SLOT-3")
        self.wait_says("Slot 3: scan")
        self.scan("LABEL-1")
        self.assertEqual(self.posts(1), [("/api/slots/3/start", {"label": "LABEL-1"})])

    def test_a_change_is_asked_for_again_with_the_new_token(self):
        self.open()
        self.floor.token = "another"  # as of a floor that was started anew, whose stream has not broken yet
        self.scan("OP-0042")
        self.assertEqual(self.posts(1), [("/api/operator", {"badge": "0042"})])

    def test_a_floor_that_says_nothing_any_more_is_away(self):
        self.cdp("Page.enable")
        hurry = self.cdp("Page.addScriptToEvaluateOnNewDocument", source="const slow = setTimeout; window.setTimeout = (run, wait, ...more) => slow(run, wait === 40000 ? 400 : wait, ...more);")
        self.addCleanup(lambda: self.cdp("Page.removeScriptToEvaluateOnNewDocument", identifier=hurry["identifier"]))
        self.open()
        # The stream stays open, but not even its comments come; then it is asked anew, and answers.
        self.wait("return performance.getEntriesByName(location.origin + '/api/session').length > 1")
        self.wait("return document.querySelector('.away').textContent === ''")

    def test_a_floor_that_is_slow_to_answer_is_asked_for(self):
        self.driver.get("about:blank")
        self.floor.stop()
        self.floor.start()
        self.open()
        self.wait("return document.querySelectorAll('.tile').length === 8")

    def scan_while_the_ledger_is_slow(self):
        """Returns what lets the start go on."""
        go_on = self.floor.hold("/api/slots/3/start")
        self.addCleanup(go_on.set)
        self.scan("SLOT-3")
        self.wait_says("Slot 3: scan")
        self.scan("LABEL-1")
        self.posts(1)
        return go_on

    def test_a_start_is_waited_for_as_long_as_the_floor_may_take(self):
        self.open()
        # Whatever waits for a minute or less has waited long enough.
        self.js("const slow = AbortSignal.timeout; AbortSignal.timeout = (wait) => (wait > 60000 ? slow.call(AbortSignal, wait) : AbortSignal.abort())")
        go_on = self.scan_while_the_ledger_is_slow()
        self.settle()
        self.assertIn("Slot 3: asking for LABEL-1", self.say())
        go_on.set()
        self.wait_says("Slot 3 takes LABEL-1")
        self.wait_kind(3, "running")

    def test_of_a_start_without_an_answer_nobody_says_that_there_was_none(self):
        self.open()
        self.js("window.limit = new AbortController(); AbortSignal.timeout = () => limit.signal")
        go_on = self.scan_while_the_ledger_is_slow()
        self.js("limit.abort()")
        self.wait_says("It is not known whether this was done, or still will be. Look at the slots, and unplug nothing.")
        self.assertNotIn("Nothing was started", self.say())
        go_on.set()
        self.wait_kind(3, "running")

    def test_the_ledger_that_is_away_is_told_and_its_return(self):
        self.open()
        self.floor.change("ledger", {"usable": False, "reason": "no answer from the database"})
        self.wait_says("The ledger cannot be used: no answer from the database")
        self.picture("ledger-away")
        self.floor.change("ledger", {"usable": True, "reason": ""})
        self.wait_says("Scan a slot’s code")

    def test_two_pages_show_the_same(self):
        self.open()
        first = self.driver.current_window_handle
        self.driver.switch_to.new_window("tab")
        self.addCleanup(self.driver.switch_to.window, first)
        self.addCleanup(self.driver.close)
        self.driver.get(self.floor.url)
        self.wait("return document.querySelectorAll('.tile').length === 8")
        self.floor.change_slot(3, state="running", run=run_of("LABEL-1"))
        self.floor.end(3, "PASS", "verified")
        self.wait_kind(3, "pass")
        self.driver.switch_to.window(first)
        self.wait_kind(3, "pass")
        self.driver.switch_to.window(self.driver.window_handles[1])

    def test_a_reload_shows_verdicts_as_they_are_and_plays_none_again(self):
        self.floor.change_slot(3, state="running", run=run_of("LABEL-1"))
        self.floor.end(3, "FAIL", "failed", reason="It differs")
        self.open()
        self.wait_kind(3, "fail")
        self.driver.refresh()
        self.wait_kind(3, "fail")
        self.assertEqual(self.js("return heard"), [])
