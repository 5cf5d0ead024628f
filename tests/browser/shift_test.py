"""A shift in front of the real floor. Afterwards the page, the ledger and the switches say the same of each unit."""

import collections
import os
import random
import time

from browser import HEAR, PATIENCE
from held_identity import identity_of
from real_floor import RealPageTest

UNITS = int(os.environ.get("SETMAC_SHIFT_UNITS", "50"))
SEED = int(os.environ.get("SETMAC_SHIFT_SEED", "20261122"))
NOR_SLOTS, TLV_SLOTS = range(1, 7), range(7, 9)
RUN_LIMIT = 40 * PATIENCE  # seconds until a unit has its verdict, where a run takes some of them
NEVER_BY_ITSELF = ("silent", "flood", "power")  # somebody has to stop these runs
FAULTS = ("silent", "flood", "reboot", "power", "cable", "cable", "noise", "swapped")
KIND_OF = {"PASS": "pass", "FAIL": "fail", None: "stopped"}

TILES = """
if (document.querySelector('.away').textContent !== '') { return {}; }
const text = (tile, name) => tile.querySelector(name).textContent;
return Object.fromEntries([...document.querySelectorAll('.tile')].map((tile) => [tile.dataset.slot,
    { kind: tile.dataset.kind, head: text(tile, '.tile-head'), label: text(tile, '.tile-label'), detail: text(tile, '.tile-detail') }]));
"""


class Unit:
    """A switch under its label, what goes wrong in its first runs, and whether somebody tries again after the last of them."""

    def __init__(self, number, plans):
        self.slots = TLV_SLOTS if plans.random() < 0.25 else NOR_SLOTS
        self.label = f"U{number:03d}-{plans.randrange(10 ** 6):06d}"
        self.faults = [plans.choice(FAULTS) for _ in range(plans.choice((0, 0, 0, 0, 1, 1, 2)))]
        self.is_given_up = bool(self.faults) and plans.random() < 0.3
        self.scans_wrongly = plans.random() < 0.35
        self.is_done_again = not self.faults and plans.random() < 0.1
        self.starts = 0
        self.attempt = None  # the number of the last one
        self.shown = None  # its last verdict on the page

    def fault(self):
        """What is wrong in its next run."""
        return self.faults[self.starts] if self.starts < len(self.faults) else ""

    def hangs(self):
        """Whether its run, once begun, goes on until somebody stops it."""
        return 0 < self.starts <= len(self.faults) and self.faults[self.starts - 1] in NEVER_BY_ITSELF

    def is_over(self):
        has_passed = self.shown is not None and self.shown["kind"] == "pass" and not self.is_done_again
        return has_passed or (self.is_given_up and self.starts >= len(self.faults))


class Shift(RealPageTest):
    def setUp(self):
        super().setUp()
        self.random = random.Random(SEED)
        self.counts = collections.Counter()
        self.at_work = {}  # the unit in a slot
        self.done = []
        self.dies_in_next_scan = False
        self.open()
        self.pages = [self.driver.current_window_handle]
        self.driver.switch_to.new_window("tab")
        self.cdp("Page.addScriptToEvaluateOnNewDocument", source=HEAR)
        self.driver.get(self.floor.url)
        self.addCleanup(self.close_second_page)
        self.pages.append(self.driver.current_window_handle)

    def close_second_page(self):
        self.driver.switch_to.window(self.pages[1])
        self.driver.close()
        self.driver.switch_to.window(self.pages[0])

    # What the operator sees and does

    def tiles(self):
        return {int(slot): tile for slot, tile in self.js(TILES).items()}

    def scan(self, text, **how):
        self.counts["scans"] += 1
        super().scan(text, **how)

    def refused(self, code, *words):
        """A scan that has to be refused, seen and heard."""
        self.counts["wrong scans"] += 1
        self.js("heard.length = 0")
        self.scan(code)
        said = self.wait("return document.querySelector('#says').dataset.kind === 'refused' && document.querySelector('#says').textContent")
        self.assertTrue(any(each in said for each in words), f"{code}: {said}")
        self.wait("return heard.includes(196)")
        self.clear()

    def start(self, slot, unit):
        if unit.scans_wrongly:
            unit.scans_wrongly = False
            self.scan_wrongly(slot, unit)
        if self.dies_in_next_scan:
            self.dies_in_next_scan = False
            self.kill_floor_in_a_scan(slot, unit)
        fault = unit.fault()
        self.choose(slot)
        if fault:
            self.order_fault(slot, fault)
            self.counts[f"fault {fault}"] += 1
        self.scan(unit.label)
        if self.random.random() < 0.2:
            self.counts["doubled scans"] += 1
            self.scan(unit.label)
        self.await_start(slot, unit)

    def await_start(self, slot, unit):
        unit.attempt = self.wait_for(lambda: self.new_attempt(slot, unit))
        unit.starts += 1

    def new_attempt(self, slot, unit):
        run = self.floor.slot(slot)["run"] or {}
        return run.get("label") == unit.label and run["attempt"] != unit.attempt and run["attempt"]

    def scan_wrongly(self, slot, unit):
        """One of the mistakes of a long day."""
        busy = [each for number, each in self.at_work.items() if number != slot and self.goes_on(number)]
        passed = [each for each in self.done if each.shown["kind"] == "pass" and slot in each.slots]
        others = [each for each in self.done if slot not in each.slots]
        mistake = self.random.choice(("no slot", "no such slot", "two in one", "too long", "in work", "verified", "other product", "at work", "no end"))
        self.clear()
        if mistake == "no slot":
            self.refused(unit.label, "Which slot?")
        elif mistake == "no such slot":
            self.refused("SLOT-99", "There is no slot “99”")
        elif mistake == "two in one":
            self.refused(unit.label + unit.label, "Two codes ran into one")
        elif mistake == "too long":
            self.refused(unit.label * 6 + "x" * 10, "This is no unit’s label")
        elif mistake == "no end":
            self.scan(f"SLOT-{slot}", end=None)
            self.wait_says("The code could not be read")
            self.clear()
        elif mistake == "in work" and busy:
            self.choose(slot)
            self.refused(busy[0].label, "works on label", "already")
        elif mistake == "verified" and passed:
            self.choose(slot)
            self.refused(passed[-1].label, "already", "verified")
        elif mistake == "other product" and others:
            self.choose(slot)
            self.refused(others[-1].label, "put the switch into a slot for that product", "is a SW-48X6Q")
        elif mistake == "at work" and busy:
            number = next(each for each, its in self.at_work.items() if its is busy[0])
            self.choose(number)
            self.refused(unit.label, "is still at work", "is not the label of this unit")

    def goes_on(self, slot):
        """Whether its run ends only when somebody does something about it."""
        seen = self.floor.slot(slot)
        return seen["state"] == "running" and (seen["run"]["label_code"] is not None or self.at_work[slot].hangs())

    def stop_run(self, slot):
        self.choose(slot)
        self.press_button("Stop this run")
        self.wait_for(lambda: self.floor.slot(slot)["state"] == "ended")
        self.counts["stopped runs"] += 1
        self.clear()

    def scan_back(self, slot, unit):
        code = self.floor.printer.code_of(unit.label)
        if code is None:
            return
        self.clear()
        if self.random.random() < 0.3:
            self.choose(slot)
            self.refused("DRIL999999999", "is not the label of this unit")
            self.wait_for(lambda: self.tiles()[slot]["head"] == "Wrong label")
            self.counts["wrong labels scanned back"] += 1
        if self.random.random() < 0.5:
            self.choose(slot)
        self.scan(code)
        self.wait_for(lambda: self.floor.slot(slot)["run"]["label_back"] == "matches")
        self.counts["labels scanned back"] += 1

    # The day

    def next_for(self, slot):
        found = next((each for each in self.waiting if slot in each.slots), None)
        if found:
            self.waiting.remove(found)
        return found

    def look_after(self, slot):
        """One thing at a slot, if there is one to do."""
        if slot not in self.at_work:
            unit = self.next_for(slot)
            if unit:
                self.at_work[slot] = unit
                self.start(slot, unit)
            return
        unit, seen = self.at_work[slot], self.floor.slot(slot)
        run = seen["run"]
        if seen["state"] == "running" and run["label"] == unit.label:
            if run["label_back"] in ("waiting", "differs"):
                self.scan_back(slot, unit)
            elif unit.hangs() and run["seconds"] > 3:
                self.stop_run(slot)
        elif seen["state"] == "ended":
            self.take_verdict(slot, unit, run)

    def take_verdict(self, slot, unit, run):
        if run["label"] == unit.label and unit.starts > 0:
            self.wait_for(lambda: self.is_shown(slot, run))
            unit.shown = self.tiles()[slot]
        if unit.is_over():
            self.finish(slot, unit)
        elif unit.shown and unit.shown["kind"] == "pass":
            unit.is_done_again = False
            self.do_again(slot, unit)
        else:
            self.start(slot, unit)

    def is_shown(self, slot, run):
        tile = self.tiles().get(slot)
        return tile and tile["kind"] == KIND_OF[run["verdict"]] and tile["label"] == run["label"] and tile["detail"][:100] == run["reason"][:100]

    def finish(self, slot, unit):
        del self.at_work[slot]
        self.done.append(unit)

    def do_again(self, slot, unit):
        self.choose(slot)
        self.scan(unit.label)
        self.wait_says("Do it again")
        self.key("F9", "F9")
        self.await_start(slot, unit)
        self.counts["done again"] += 1

    def disturb(self):
        """What comes at certain parts of the day."""
        part = len(self.done) / UNITS
        while self.disturbances and part >= self.disturbances[0][0]:
            _, what = self.disturbances.pop(0)
            what()

    def reload(self):
        self.driver.refresh()
        self.wait(f"return document.querySelectorAll('.tile').length === 8 && document.querySelector('.away').textContent === ''")
        self.counts["reloads"] += 1

    def other_page(self):
        others = [each for each in self.pages if each != self.driver.current_window_handle]
        self.driver.switch_to.window(others[0])
        self.driver.execute_cdp_cmd("Page.bringToFront", {})
        self.wait("return document.querySelectorAll('.tile').length === 8 && document.querySelector('.away').textContent === ''")
        self.counts["changes of the page"] += 1

    def start_floor_again(self):
        self.floor.start()
        self.wait("return document.querySelector('.away').textContent === ''")

    def kill_floor(self):
        self.floor.kill()
        self.wait("return document.querySelector('.away').textContent.includes('The floor does not answer')")
        self.js("heard.length = 0")
        self.scan("SLOT-1")
        self.wait("return heard.includes(196)")
        self.start_floor_again()
        self.counts["kills"] += 1
        self.clear()

    def die_in_next_scan(self):
        self.dies_in_next_scan = True

    def kill_floor_in_a_scan(self, slot, unit):
        """It is gone between two keys of the code: that begins nothing, and is heard."""
        code, half = unit.label, len(unit.label) // 2
        self.choose(slot)
        self.js("heard.length = 0")
        self.scan(code[:half], end=None)
        self.floor.kill()
        self.keys(code[half:])
        self.key("Enter", "Enter", "\r")
        self.wait("return heard.includes(196)")
        self.start_floor_again()
        self.assertFalse(self.new_attempt(slot, unit))
        self.counts["kills in a scan"] += 1

    def printer_off(self):
        self.floor.printer.switch_off()
        self.counts["printer off"] += 1

    def printer_on(self):
        if self.floor.state()["printer"]["waiting"] > 0:
            self.wait("return document.querySelector('.lamps').textContent.includes('Printer off')")
            self.counts["labels that waited"] += self.floor.state()["printer"]["waiting"]
        self.floor.printer.switch_on()

    def work(self):
        plans = random.Random(SEED)
        self.waiting = [Unit(number, plans) for number in range(1, UNITS + 1)]
        self.disturbances = [(0.05, self.reload), (0.1, self.kill_floor), (0.15, self.other_page), (0.2, self.printer_off), (0.25, self.die_in_next_scan), (0.3, self.kill_floor),
                             (0.35, self.printer_on), (0.4, self.other_page), (0.5, self.kill_floor), (0.55, self.reload), (0.6, self.printer_off), (0.65, self.die_in_next_scan),
                             (0.7, self.printer_on), (0.75, self.kill_floor), (0.8, self.other_page), (0.9, self.kill_floor)]
        deadline = time.monotonic() + RUN_LIMIT + UNITS * PATIENCE
        while self.waiting or self.at_work:
            self.assertLess(time.monotonic(), deadline, f"still at work: {[(slot, unit.label, unit.faults) for slot, unit in self.at_work.items()]}")
            before = len(self.done), sum(unit.starts for unit in self.at_work.values())
            for slot in (*NOR_SLOTS, *TLV_SLOTS):
                try:
                    self.look_after(slot)
                    self.disturb()
                except Exception as failure:
                    self.picture("shift-failed")
                    failure.add_note(f"slot {slot}: {self.floor.slot(slot)}; {vars(self.at_work[slot]) if slot in self.at_work else 'free'}; the page says {self.say()}")
                    raise
            if before == (len(self.done), sum(unit.starts for unit in self.at_work.values())):
                time.sleep(0.05)

    def test_page_ledger_and_switches_say_the_same_of_each_unit(self):
        begin = time.monotonic()
        self.work()
        seconds = time.monotonic() - begin
        print(f"\nshift of {UNITS} units in {seconds:.0f} s, seed {SEED}: {dict(sorted(self.counts.items()))}", flush=True)
        self.check_units()

    def check_units(self):
        held = collections.Counter()
        for unit in self.done:
            with self.subTest(label=unit.label, faults=unit.faults):
                of = self.floor.unit(unit.label)
                board = self.floor.held(unit.label)
                self.check_unit(unit, of, board)
                held.update(each for each in board if each)
        self.assertEqual([each for each, times in held.items() if times > 1], [])
        self.assertEqual(len({unit.label for unit in self.done}), UNITS)
        for other in self.floor.drill.glob("switch-*-other"):
            self.assertEqual(identity_of(other), ("OTHER00000001", "02:11:22:33:44:00"))
        self.floor.ledger("check")

    def check_unit(self, unit, of, board):
        own = (of["serial"], of["mac"])
        self.assertEqual(unit.shown["kind"] == "pass", of["state"] == "verified", of["state"])
        self.assertTrue(all(each["ended_at"] for each in of["attempts"]))
        self.assertEqual(len(of["attempts"]), unit.starts)
        if unit.shown["kind"] == "pass":
            self.assertEqual(board, own)
            self.assertEqual(self.floor.printer.code_of(unit.label), of["serial"])
        else:
            self.assertIn(of["state"], ("failed", "in doubt"))
            if of["state"] == "in doubt":
                self.assertEqual(unit.shown["kind"], "fail")
            self.assertIn(board, (own, (None, None)))
