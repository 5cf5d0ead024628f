"""The slots in each state, on each screen: what stands there, and that it can be read."""

from PIL import Image
from selenium.webdriver.common.by import By

from browser import PICTURES, PageTest
from layout import faults_of
from made_up_floor import run_of

SIZES = [(1024, 768), (1280, 800), (1920, 1080), (2560, 1440), (3840, 2160)]
REASON = "No prompt of the switch within 120 s"
ADVICE = "Look at the console cable and the power, then scan the unit again"


def steps(*parts):
    return [dict(zip(("operation", "state", "sent", "of", "reason"), (*part, ""))) for part in parts]


WORKS = steps(("setmac", "done", 256, 256), ("setsn", "running", 13, 32), ("setfansn", "waiting", 0, 0))


def fill(floor):
    """Each slot in another state, all of them again and again."""
    for number in range(1, len(floor.state["slots"]) + 1):
        label = f"SW48-25470{number:04d}"
        STATES[list(STATES)[(number - 1) % len(STATES)]](floor, number, label)


def works(floor, number, label):
    floor.change_slot(number, state="running", run=run_of(label, phase="writes the identity", steps=WORKS))


def passed(floor, number, label):
    works(floor, number, label)
    floor.end(number, "PASS", "verified")


def failed(floor, number, label):
    works(floor, number, label)
    floor.end(number, "FAIL", "not_reached", reason=REASON, advice=ADVICE)


def stopped(floor, number, label):
    works(floor, number, label)
    floor.end(number, None, "cancelled", reason="Stopped by the operator")


STATES = {
    "running": works,
    "pass": passed,
    "fail": failed,
    "idle": lambda floor, number, label: floor.change_slot(number, state="idle", run=None),
    "waits": lambda floor, number, label: floor.change_slot(number, state="running", run=run_of(label)),
    "unplugged": lambda floor, number, label: floor.change_slot(number, state="unplugged", trouble="The adapter at usb 1-1.6 is not plugged in"),
    "label": lambda floor, number, label: floor.change_slot(number, state="running", run=run_of(label, label_back="waiting", steps=steps(("setmac", "done", 1, 1), ("setsn", "done", 1, 1)))),
    "stopped": stopped,
    "trouble": lambda floor, number, label: floor.change_slot(number, state="idle", trouble="ModemManager has opened the port"),
    "preparing": lambda floor, number, label: floor.change_slot(number, state="preparing", run=run_of(label, attempt=None, phase="")),
}


class States(PageTest):
    def test_a_tile_follows_its_slot_from_free_to_the_next_unit(self):
        self.open()
        self.assertEqual(self.tile_text(3).split("\n")[:2], ["3", "Free"])
        self.floor.change_slot(3, state="preparing", run=run_of("LABEL-1", attempt=None, phase=""))
        self.wait("return document.querySelector('.tile[data-slot=\"3\"]').innerText.includes('Getting its identity')")
        self.floor.change_slot(3, state="running", run=run_of("LABEL-1"))
        self.wait("return document.querySelector('.tile[data-slot=\"3\"]').innerText.includes('waits for the console')")
        self.floor.change_run(3, phase="writes", steps=WORKS)
        self.wait("return document.querySelector('.tile[data-slot=\"3\"]').innerText.includes('setfansn')")
        widths = "return [...document.querySelectorAll('.tile[data-slot=\"3\"] .step-done')].map(each => each.style.width)"
        self.assertEqual(self.js(widths), ["100%", "41%", "0%"])
        self.floor.end(3, "FAIL", "failed", reason=REASON, advice=ADVICE)
        self.wait_kind(3, "fail")
        for words in ("FAIL", "LABEL-1", REASON, ADVICE):
            self.assertIn(words, self.tile_text(3))
        self.floor.change_slot(4, state="running", run=run_of("LABEL-2"))
        self.wait_kind(4, "running")
        self.assertEqual(self.kind(3), "fail")
        self.floor.change_slot(3, state="running", run=run_of("LABEL-1", attempt=182))
        self.wait_kind(3, "running")
        self.check_log()

    def test_the_time_of_a_run_goes_on_between_events(self):
        self.floor.change_slot(3, state="running", run=run_of("LABEL-1", seconds=59.0))
        self.open()
        self.wait("return document.querySelector('.tile[data-slot=\"3\"] .clock').textContent === '1:01'")

    def test_nothing_is_cut_or_overlaps_at_any_size_and_number_of_slots(self):
        for number in (1, 4, 8, 16, 32, 64):
            floor = self.new_floor(number)
            fill(floor)
            self.open(floor=floor)
            for width, height in SIZES:
                for dark in (False, True):
                    name = f"slots-{number}-{width}x{height}-{'dark' if dark else 'bright'}"
                    with self.subTest(name):
                        self.resize(width, height, dark)
                        self.assertEqual(faults_of(self), [])
                        if number in (4, 8, 64) and (not dark or width == 1920):
                            self.picture(name)

    def test_a_drill_looks_like_a_drill_at_any_size(self):
        for number in (4, 8, 64):
            floor = self.new_floor(number, drill=True)
            floor.state["drill_faults"] = [{"fault": "silent", "text": "The switch stays silent"}]
            fill(floor)
            floor.slot(4)["fault"] = "silent"
            self.open(floor=floor)
            self.assertTrue(self.driver.title.startswith("DRILL – "))
            self.assertEqual(self.js("return [...document.querySelectorAll('.tile')].filter(each => !each.querySelector('.drill-mark').checkVisibility()).length"), 0)
            self.assertEqual(self.js("return [...document.querySelectorAll('.tile')].filter(each => !each.querySelector('.unseen').textContent.startsWith('Drill')).length"), 0)
            for width, height in SIZES:
                with self.subTest(number=number, width=width):
                    self.resize(width, height)
                    self.assertEqual(faults_of(self), [])
                    self.picture(f"drill-{number}-{width}x{height}")

    def test_what_is_real_says_nothing_of_a_drill(self):
        self.open()
        self.assertNotIn("DRILL", self.js("return document.body.innerText"))

    def test_the_longest_labels_reasons_and_phases_fit(self):
        for number in (4, 8, 64):
            floor = self.new_floor(number)
            for slot in range(1, number + 1):
                label = f"{slot:03d}-" + "W" * 60
                floor.change_slot(slot, state="running", run=run_of(label, phase="looks at what the switch holds, for the second time", steps=WORKS * 3))
                if slot % 2:
                    floor.end(slot, "FAIL", "failed", reason=f"{REASON}; " * 5, advice=f"{ADVICE}; " * 5)
            self.open(floor=floor)
            for width, height in SIZES:
                with self.subTest(number=number, width=width):
                    self.resize(width, height)
                    self.assertEqual(faults_of(self), [])
                    self.picture(f"long-{number}-{width}x{height}")

    def test_the_reason_and_the_advice_of_any_slot_can_be_read_whole(self):
        floor = self.new_floor(64)
        fill(floor)
        self.open(floor=floor)
        self.resize(1024, 768)
        self.scan("SLOT-43")
        self.wait_says(REASON)
        self.wait_says(ADVICE)
        self.assertEqual(faults_of(self), [])

    def test_the_bar_at_the_foot_moves_no_tile(self):
        self.open()
        place = "return JSON.stringify(document.querySelector('.tile[data-slot=\"8\"]').getBoundingClientRect())"
        before = self.js(place)
        self.scan("SLOT-3")
        self.wait_says("Slot 3")
        self.assertEqual(self.js(place), before)
        self.scan("SLOT-99")
        self.wait_says("no slot")
        self.assertEqual(self.js(place), before)

    def test_products_of_a_slot_that_has_several_can_be_chosen(self):
        self.floor.slot(3)["products"] = ["SW-48X6Q", "SW-24X4Q"]
        self.open()
        self.scan("SLOT-3")
        self.wait("return document.querySelector('.choice select')")
        self.js("const list = document.querySelector('.choice select'); list.value = 'SW-24X4Q'; list.dispatchEvent(new Event('change'))")
        self.scan("LABEL-1")
        self.assertEqual(self.posts(1), [("/api/slots/3/start", {"label": "LABEL-1", "product": "SW-24X4Q"})])

    def test_a_fault_is_ordered_in_a_drill(self):
        self.floor.state["drill"] = True
        self.floor.state["drill_faults"] = [{"fault": "silent", "text": "The switch stays silent"}]
        self.open()
        self.scan("SLOT-3")
        self.wait("return document.querySelector('.choice select')")
        self.js("const list = document.querySelector('.choice select'); list.value = 'silent'; list.dispatchEvent(new Event('change'))")
        self.assertEqual(self.posts(1), [("/api/drill/slots/3/fault", {"fault": "silent"})])
        self.wait("return document.querySelector('.tile[data-slot=\"3\"]').innerText.includes('Fault ordered: silent')")


class Verdicts(PageTest):
    """What can be told of a verdict from afar: on a picture of a tenth of the size, and without its colour."""

    def pictures(self, slots):
        floor = self.new_floor(slots)
        for slot in range(1, slots + 1):
            (passed if slot % 2 else failed)(floor, slot, f"SW48-{slot:04d}")
        self.open(floor=floor)
        self.resize(1920, 1080)
        whole = Image.open(self.picture(f"verdicts-{slots}"))
        small = whole.resize((192, 108), Image.Resampling.LANCZOS)
        small.save(PICTURES / f"verdicts-{slots}-thumbnail.png")
        return small

    def box(self, slot, part=""):
        return self.js("const box = document.querySelector(`.tile[data-slot='${arguments[0]}'] ${arguments[1]}`).getBoundingClientRect();"
                       "return [box.left / 10, box.top / 10, box.right / 10, box.bottom / 10]", slot, part)

    def test_a_thumbnail_tells_pass_from_fail_by_colour(self):
        for slots in (4, 8, 64):
            small = self.pictures(slots).convert("RGB")
            for slot in range(1, slots + 1):
                left, top, right, bottom = self.box(slot)
                # Left of the middle of the lower edge, where no letters stand.
                red, green, _ = small.getpixel((int(left + 1.5), int(bottom - 1.5)))
                self.assertEqual(green > red, slot % 2 == 1, f"slot {slot} of {slots}")

    def test_a_thumbnail_keeps_word_and_sign_in_grey_too(self):
        small = self.pictures(8).convert("L")
        word = [small.crop([round(side) for side in self.box(slot, ".tile-middle")]).resize((40, 12)) for slot in (1, 2, 3, 4)]

        def unlike(one, other):
            return sum(abs(a - b) for a, b in zip(one.getdata(), other.getdata())) / 480

        self.assertGreater(unlike(word[0], word[1]), 4 * max(unlike(word[0], word[2]), unlike(word[1], word[3]), 1))
        for each in word:
            low, high = each.getextrema()
            self.assertGreater(high - low, 100)

    def test_the_word_takes_the_tiles_width(self):
        self.pictures(8)
        for slot, word in ((1, "PASS"), (2, "FAIL")):
            tile = self.driver.find_element(By.CSS_SELECTOR, f".tile[data-slot='{slot}']").rect
            head = self.js("const range = document.createRange(); range.selectNodeContents(document.querySelector(`.tile[data-slot='${arguments[0]}'] .tile-middle`)); const box = range.getBoundingClientRect(); return [box.width, box.height]", slot)
            self.assertGreater(head[0], 0.55 * tile["width"], word)
