"""The browser of the tests: a page over a made-up floor, its keys as a scanner or a hand sends them, its pictures."""

import os
import time
import unittest
from pathlib import Path

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.support.ui import WebDriverWait

from made_up_floor import MadeUpFloor

PICTURES = Path(os.environ.get("PICTURES", Path(__file__).resolve().parents[2] / "build" / "screenshots"))
PATIENCE = 30  # seconds for what takes a fraction of one

# What is heard, for the tests: the pitches that oscillators were started with.
HEAR = """
window.heard = [];
window.pressed = { hasBeenActive: true };
Object.defineProperty(navigator, 'userActivation', { get: () => window.pressed });
window.AudioContext = class {
    currentTime = 0; destination = {};
    resume() {}
    createGain() { return { gain: { setValueAtTime() {}, exponentialRampToValueAtTime() {} }, connect: (to) => to }; }
    createOscillator() {
        const source = { frequency: {}, connect: (to) => to, start: () => heard.push(source.frequency.value), stop() {} };
        return source;
    }
};
"""

SHIFTED = dict(zip(')!@#$%^&*(_+{}|:"~<>?', '0123456789-=[]\\;\'`,./'))
NAMES = {"-": "Minus", "=": "Equal", "[": "BracketLeft", "]": "BracketRight", "\\": "Backslash", ";": "Semicolon",
         "'": "Quote", "`": "Backquote", ",": "Comma", ".": "Period", "/": "Slash", " ": "Space"}
ENDS = {"Enter": ("Enter", "Enter", "\r"), "Tab": ("Tab", "Tab", None)}
# What a PC with a German layout takes the keys of an American keyboard for.
GERMAN = {"y": "z", "z": "y", "Y": "Z", "Z": "Y", "-": "ß", "_": "?", "/": "-", ":": "Ö", ";": "ö", "#": "§", "=": "´"}


def key_of(character):
    """(place on an American keyboard, whether with Shift)."""
    shifted = character.isupper() or character in SHIFTED
    plain = SHIFTED.get(character, character.lower())
    code = f"Key{plain.upper()}" if plain.isalpha() else f"Digit{plain}" if plain.isdigit() else NAMES[plain]
    return code, shifted


def start_browser():
    options = Options()
    options.binary_location = "/usr/bin/chromium"
    for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--hide-scrollbars",
                     "--enable-precise-memory-info", "--js-flags=--expose-gc"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))


class PageTest(unittest.TestCase):
    """Each test has a floor of its own; the browser is that of its class."""

    slots = 8
    drill = False

    @classmethod
    def setUpClass(cls):
        cls.driver = start_browser()
        cls.driver.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": HEAR})
        cls.addClassCleanup(cls.driver.quit)

    def setUp(self):
        self.clock = time.time()
        self.driver.get("about:blank")  # so that the page of the last test asks for its floor no more
        self.driver.get_log("browser")
        self.floor = self.new_floor(self.slots, self.drill)
        self.resize(1280, 800)

    def new_floor(self, slots, drill=False):
        floor = MadeUpFloor(slots, drill).start()
        self.addCleanup(floor.stop)
        return floor

    def open(self, path="", floor=None):
        # From another page, so that the address alone does not keep the old one.
        self.driver.get("about:blank")
        self.driver.get((floor or self.floor).url + path)
        self.wait("return document.querySelector('#floor-name').textContent !== 'Floor'")

    def resize(self, width, height, dark=False):
        self.cdp("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)
        self.cdp("Emulation.setEmulatedMedia", features=[
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}, {"name": "prefers-reduced-motion", "value": "reduce"}])

    def cdp(self, command, **parts):
        return self.driver.execute_cdp_cmd(command, parts)

    def js(self, script, *values):
        return self.driver.execute_script(script, *values)

    def wait(self, script, *values):
        """Until the script returns something, which is then returned."""
        return WebDriverWait(self.driver, PATIENCE, 0.02).until(lambda _: self.js(script, *values), f"waited for: {script}")

    def wait_for(self, condition):
        return WebDriverWait(self.driver, PATIENCE, 0.02).until(lambda _: condition())

    def settle(self):
        """Until what has changed so far is on the screen."""
        self.driver.execute_async_script("const done = arguments[0]; requestAnimationFrame(() => requestAnimationFrame(() => requestAnimationFrame(done)))")

    def picture(self, name):
        PICTURES.mkdir(parents=True, exist_ok=True)
        path = PICTURES / f"{name}.png"
        self.settle()
        self.driver.save_screenshot(str(path))
        return path

    def say(self):
        return self.js("return document.querySelector('.says-title').textContent + ' | ' + document.querySelector('.says-text').textContent")

    def wait_says(self, text):
        return self.wait("return document.querySelector('#says').textContent.includes(arguments[0])", text)

    def kind(self, slot):
        return self.js("return document.querySelector(`.tile[data-slot='${arguments[0]}']`).dataset.kind", slot)

    def wait_kind(self, slot, kind):
        self.wait("return document.querySelector(`.tile[data-slot='${arguments[0]}']`)?.dataset.kind === arguments[1]", slot, kind)

    def tile_text(self, slot):
        return self.js("return [...document.querySelector(`.tile[data-slot='${arguments[0]}']`).children].filter(each => !each.matches('.unseen')).map(each => each.innerText).join('\\n')", slot)

    # Keys. The browser is told when each was pressed, so that a slow machine makes no slow scanner.

    def key(self, code, key, text=None, shift=False, gap=0.008):
        self.clock = max(self.clock + gap, time.time() if gap > 0.2 else 0)
        event = {"code": code, "key": key, "modifiers": 8 if shift else 0, "timestamp": self.clock}
        self.cdp("Input.dispatchKeyEvent", type="keyDown", **event, **({"text": text} if text else {}))
        event["timestamp"] += 0.002
        self.cdp("Input.dispatchKeyEvent", type="keyUp", **event)

    def keys(self, text, gap=0.008, layout=None):
        for character in text:
            code, shift = key_of(character)
            typed = (layout or {}).get(character, character)
            self.key(code, typed, typed, shift, gap)

    def scan(self, text, end="Enter", layout=None):
        """A code as a scanner types it."""
        self.clock = max(self.clock, time.time()) + 1
        self.keys(text, layout=layout)
        if end:
            code, key, typed = ENDS[end]
            self.key(code, key, typed)

    def type_by_hand(self, text):
        self.keys(text, gap=0.25)

    def press(self, *keys):
        """Keys of a hand, by Selenium's names."""
        for key in keys:
            ActionChains(self.driver).pause(0.25).send_keys(key).perform()

    def posts(self, number):
        """What was asked for, as soon as it is so much."""
        self.wait_for(lambda: len(self.floor.posts) >= number)
        return self.floor.posts

    def check_log(self, *expected):
        """The browser's log has what is expected, and nothing else: no refused content, no exception."""
        for line in self.driver.get_log("browser"):
            if not any(text in line["message"] for text in expected):
                self.fail(line["message"])
