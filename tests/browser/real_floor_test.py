"""What the page does with the real floor: labels that are printed and scanned back, units that are compared, stopped, replaced."""

import subprocess

from selenium.webdriver.common.keys import Keys

from real_floor import PROGRAMS, RealPageTest

REFUSED = [196, 196, 196]


class RealFloorPage(RealPageTest):
    def setUp(self):
        super().setUp()
        self.open()

    def start(self, slot, label):
        self.choose(slot)
        self.scan(label)

    def run_to(self, kind, slot, label):
        self.start(slot, label)
        self.wait("const tile = document.querySelector(`.tile[data-slot='${arguments[0]}']`); return tile.dataset.kind === arguments[1] && tile.querySelector('.tile-label').textContent === arguments[2]", slot, kind, label)

    def text_of_main(self):
        return self.wait("return !document.querySelector('[aria-busy]') && document.querySelector('main').innerText")

    def memories(self, label):
        """All that a switch could have written to, and how often it was erased or written."""
        board = self.floor.board(label)
        log = subprocess.run([PROGRAMS / "simboard", "log", board], capture_output=True, text=True, check=True).stdout
        changes = [line for line in log.splitlines() if " write " in line or " erase " in line]
        return {path.name: path.read_bytes() for path in board.glob("*.bin")}, changes

    def test_a_drill_is_marked_so_that_nobody_takes_it_for_the_real_one(self):
        self.assertIn("nothing here is real", self.js("return document.querySelector('.drill-band').innerText"))
        self.assertTrue(self.driver.title.startswith("DRILL"))
        self.assertEqual(self.js("return [...document.querySelectorAll('.tile')].filter(each => each.innerText.includes('DRILL')).length"), 8)
        self.picture("real-drill")

    def test_a_label_is_printed_once_and_again_on_request(self):
        self.run_to("pass", 1, "UNIT-1")
        self.wait_for(lambda: len(self.floor.printer.of("UNIT-1")) == 1)
        self.driver.get(self.floor.url + "#/unit/UNIT-1")
        self.press_button("Print its label again")
        self.wait_says("Print number 2 of this label")
        self.wait_for(lambda: len(self.floor.printer.of("UNIT-1")) == 2)
        self.assertEqual(self.floor.printer.code_of("UNIT-1"), self.floor.unit("UNIT-1")["serial"])
        self.wait_for(lambda: all(each["state"] == "printed" for each in self.floor.get("api/prints?label=UNIT-1")["rows"]))
        self.driver.refresh()
        rows = self.wait("const rows = [...document.querySelectorAll('[aria-label=\"Labels printed\"] tbody tr')].map(row => row.innerText); return rows.length === 2 && rows")
        self.assertTrue(all("printed" in row for row in rows), rows)

    def test_an_attempt_shows_each_record_as_it_was_sent_and_read_back(self):
        self.run_to("pass", 1, "UNIT-1")
        found = self.floor.get("api/find?text=UNIT-1")
        of = found["unit"]
        self.driver.get(self.floor.url + f"#/attempt/{found['attempts'][0]['id']}")
        rows = self.wait("const rows = [...document.querySelectorAll('[role=region][aria-label=\"Sent and read back\"] tbody tr')];"
                         "return rows.length > 0 && rows.map(row => [...row.children].map(cell => cell.innerText))")
        seen = {name: rest for name, *rest in rows}
        for name, value in (("SerialNO", of["serial"]), ("ethaddr", of["mac"]), ("ProductModel", "SW-48X6Q")):
            self.assertEqual(seen[name][-3:], [value, value, "✓ yes"])
        self.assertEqual({row[-1] for row in rows}, {"✓ yes"})
        self.picture("real-attempt")

    def test_a_printer_that_is_off_holds_no_slot_and_loses_no_label(self):
        self.floor.printer.switch_off()
        for label in ("UNIT-1", "UNIT-2"):
            self.run_to("pass", 1, label)
        self.wait("return document.querySelector('.lamps').textContent.includes('Printer off')")
        self.wait("return document.querySelector('.lamps').textContent.includes('2 waiting')")
        self.floor.kill()
        self.wait("return document.querySelector('.away').textContent !== ''")
        self.floor.start()
        self.floor.printer.switch_on()
        self.wait("return document.querySelector('.lamps')?.textContent.includes('Printer ready')")
        self.assertEqual([len(self.floor.printer.of(label)) for label in ("UNIT-1", "UNIT-2")], [1, 1])

    def test_pass_comes_only_once_the_printed_label_was_scanned_back(self):
        for slot in (7, 8):
            self.start(slot, f"UNIT-{slot}")
        for slot in (7, 8):
            self.wait_kind(slot, "label")
        self.wait_for(lambda: len(self.floor.printer.labels) == 2)
        own, other = (self.floor.printer.code_of(each) for each in ("UNIT-7", "UNIT-8"))
        self.choose(7)
        self.js("heard.length = 0")
        self.scan(other)
        self.wait_says(f"Slot 7: {other} is not the label of this unit")
        self.wait("return JSON.stringify(heard) === JSON.stringify(arguments[0])", REFUSED)
        self.wait("return document.querySelector('.tile[data-slot=\"7\"]').innerText.includes('Wrong label')")
        self.assertEqual(self.floor.unit("UNIT-7")["state"], "stored")
        self.clear()
        self.scan(own)
        self.wait_kind(7, "pass")
        self.assertEqual(self.kind(8), "label")
        self.assertEqual([self.floor.unit(each)["state"] for each in ("UNIT-7", "UNIT-8")], ["verified", "stored"])
        self.scan(own)
        self.wait_says("twice")
        self.assertEqual(self.kind(8), "label")

    def test_a_switch_is_compared_without_a_byte_written(self):
        self.run_to("pass", 1, "UNIT-1")
        before = self.memories("UNIT-1")
        self.assertNotEqual(before[1], [])
        self.compare(1, "UNIT-1")
        self.wait("return document.querySelector('.tile[data-slot=\"1\"]').innerText.includes('Matches the ledger')")
        self.assertEqual(self.memories("UNIT-1"), before)
        self.assertEqual(len(self.floor.unit("UNIT-1")["attempts"]), 1)

    def test_a_blank_switch_fails_the_comparison_and_stays_blank(self):
        self.run_to("pass", 1, "UNIT-1")
        self.floor.put_board("UNIT-1")
        self.compare(1, "UNIT-1")
        self.wait_kind(1, "fail")
        self.assertIn("the switch is not provisioned", self.tile_text(1))
        self.assertNotIn("--", self.floor.slot(1)["run"]["advice"])
        self.assertEqual(self.memories("UNIT-1")[1], [])
        self.assertEqual(self.floor.held("UNIT-1"), (None, None))
        self.assertEqual(self.floor.unit("UNIT-1")["state"], "verified")

    def compare(self, slot, label):
        self.driver.get(self.floor.url + f"#/unit/{label}")
        self.press_button("Compare with a switch")
        self.wait_says("Compare only")
        self.scan(f"SLOT-{slot}")
        self.wait_says("nothing will be written")
        self.scan(label)

    def test_another_units_identity_is_written_over_only_by_a_person(self):
        self.floor.put_board("UNIT-1", "--serial", "OTHER00000001", "--mac", "02:11:22:33:44:00")
        self.run_to("fail", 1, "UNIT-1")
        advice = self.floor.slot(1)["run"]["advice"]
        self.assertIn("F9", advice)
        self.assertNotIn("--", advice)
        self.assertEqual(self.floor.held("UNIT-1"), ("OTHER00000001", "02:11:22:33:44:00"))
        self.choose(1)
        self.wait_says("Write over the identity that the switch holds")
        self.press(Keys.F9)
        self.wait_kind(1, "pass")
        of = self.floor.unit("UNIT-1")
        self.assertEqual(self.floor.held("UNIT-1"), (of["serial"], of["mac"]))

    def test_a_run_that_somebody_stopped_is_called_so_everywhere(self):
        self.choose(1)
        self.order_fault(1, "silent")
        self.scan("UNIT-1")
        self.wait_kind(1, "running")
        self.choose(1)
        self.press_button("Stop this run")
        self.wait_kind(1, "stopped")
        self.assertIn("Stopped", self.tile_text(1))
        for path in ("#/unit/UNIT-1", "#/history/attempts"):
            self.driver.get(self.floor.url + path)
            self.wait("return document.querySelector('tbody .mark')")
            text = self.text_of_main()
            self.assertIn("• stopped", text)
            self.assertNotIn("cancelled", text)
        # It is shown so by the next start of the floor, too.
        self.driver.get(self.floor.url + "#/slots")
        self.floor.kill()
        self.wait("return document.querySelector('.away')?.textContent !== ''")
        self.floor.start()
        self.wait("return document.querySelector('.away').textContent === ''")
        self.wait_kind(1, "stopped")
