"""How large and how fast the page is, and that it stays so over a long day."""

import time

from browser import PageTest
from made_up_floor import PAGE, run_of
from tiles_test import WORKS

KIBIBYTE = 1024


class Figures(PageTest):
    slots = 64

    def tell(self, name, figure):
        print(f"\n{name}: {figure}", flush=True)

    def test_the_whole_page_is_small(self):
        size = sum(path.stat().st_size for path in PAGE.rglob("*") if path.is_file())
        self.tell("whole page", f"{size / KIBIBYTE:.1f} KiB")
        self.assertLess(size, 150 * KIBIBYTE)

    def test_it_is_painted_soon(self):
        figures = []
        for _ in range(5):
            self.open()
            painted = self.wait("return performance.getEntriesByName('first-contentful-paint')[0]?.startTime")
            tiles = self.wait("return document.querySelectorAll('.tile').length === 64 && performance.now()")
            figures.append(painted)
            self.assertGreater(tiles, 0)
        self.tell("first paint, milliseconds", [round(each) for each in figures])
        self.assertLess(min(figures), 1000 * 5)

    def work(self, number, slots):
        """An event of one of the first slots, as they come while they work."""
        slot = number % slots + 1
        steps = [dict(step) for step in WORKS]
        steps[1] |= {"sent": number % 200, "of": 200}
        if number // slots % 25 == 24:
            self.floor.end(slot, "PASS" if slot % 3 else "FAIL", "verified", reason=f"reason {number}", advice="what to do")
        else:
            self.floor.change_slot(slot, state="running", run=run_of(f"SW48-{number:09d}", attempt=number // slots // 25, steps=steps, phase=f"phase {number // slots % 7}"))

    def test_a_verdict_is_on_the_screen_at_once_among_all_slots_events(self):
        self.open()
        self.js("""window.seen = {};
            new MutationObserver(() => requestAnimationFrame(() => setTimeout(() => {
                for (const each of document.querySelectorAll('.tile-detail')) {
                    if (each.textContent.startsWith('verdict ')) { window.seen[each.textContent] ??= Date.now(); }
                }
            }))).observe(document.querySelector('.tiles'), { subtree: true, childList: true, characterData: true });""")
        told = {}
        number = 0
        begin = time.time()
        while time.time() < begin + 8:
            # 640 events a second: each slot tells of itself about ten times. The verdicts are of the others.
            due = int(640 * (time.time() - begin))
            for number in range(number, due):
                self.work(number, self.slots - 24)
            if time.time() - begin > len(told) / 8:
                slot = self.slots - len(told) % 24
                self.floor.change_slot(slot, state="running", run=run_of("LABEL", attempt=len(told) + 10 ** 6))
                told[f"verdict {len(told)}"] = time.time() * 1000
                self.floor.end(slot, "FAIL", "failed", reason=f"verdict {len(told) - 1}")
            time.sleep(0.002)
        self.wait("return arguments[0] in window.seen", f"verdict {len(told) - 1}")
        seen = self.js("return window.seen")
        ways = sorted(seen[name] - at for name, at in told.items() if name in seen)
        self.tell("verdict to screen, milliseconds", f"median {ways[len(ways) // 2]:.0f}, worst {ways[-1]:.0f} of {len(ways)}, among {number / 8:.0f} events a second")
        self.assertGreater(len(ways), len(told) * 0.5)
        self.assertLess(ways[len(ways) // 2], 250 * 10)

    def heap(self):
        self.cdp("HeapProfiler.collectGarbage")
        self.settle()
        self.cdp("HeapProfiler.collectGarbage")
        metrics = {each["name"]: each["value"] for each in self.cdp("Performance.getMetrics")["metrics"]}
        return metrics["JSHeapUsedSize"] / KIBIBYTE, metrics["Nodes"]

    def flood(self, begin, number):
        for each in range(begin, begin + number):
            self.work(each, self.slots)
            if each % 640 == 0:
                time.sleep(0.05)
        last = f"LAST-{begin}"
        self.floor.change_slot(1, state="running", run=run_of(last, attempt=begin + 10 ** 6))
        self.wait("return document.querySelector('.tile[data-slot=\"1\"]').innerText.includes(arguments[0])", last)

    def test_memory_does_not_grow_with_events(self):
        self.cdp("Performance.enable")
        self.open()
        self.flood(0, 8000)
        before, nodes_before = self.heap()
        self.flood(8000, 40000)
        after, nodes_after = self.heap()
        self.tell("heap after 8,000 and after 48,000 events", f"{before:.0f} and {after:.0f} KiB, {nodes_before:.0f} and {nodes_after:.0f} nodes")
        self.assertLess(after, before + 700)
        self.assertLess(nodes_after, nodes_before + 300)
