"""The drill of examples/floor with the real programs: a ledger of its own, eight simulated switches, and a printer."""

import json
import os
import shutil
import signal
import socket
import socketserver
import subprocess
import tempfile
import threading
import time
import urllib.request
from pathlib import Path

from browser import PageTest
from held_identity import identity_of

TREE = Path(__file__).resolve().parents[2]
PROGRAMS = TREE / "build" / "release" / "bin"
POOLS = (
    ("init",),
    ("pool", "add", "mac", "drill", "--first", "02:00:00:00:00:00", "--last", "02:00:00:0F:FF:FF", "--count", "128", "--align", "128"),
    ("pool", "add", "serial", "drill-sn", "--pattern", "DRIL{yy}{ww}{n:5}"),
    ("product", "add", "SW-48X6Q", "--mac", "drill", "--serial", "drill-sn"),
    ("product", "add", "SW-48X6Q-TLV", "--mac", "drill", "--serial", "drill-sn"),
)
START_LIMIT = 60  # seconds for what takes a fraction of one


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Printer:
    """What prints labels on a TCP port, and can be switched off."""

    def __init__(self):
        self.port = free_port()
        self.labels = []
        self.server = None

    def switch_on(self):
        printer = self

        class Handler(socketserver.StreamRequestHandler):
            def handle(self):
                printer.labels.append(self.rfile.read().decode("utf-8"))

        class Server(socketserver.TCPServer):
            allow_reuse_address = True

        self.server = Server(("127.0.0.1", self.port), Handler)
        threading.Thread(target=self.server.serve_forever, kwargs={"poll_interval": 0.02}, daemon=True).start()

    def of(self, unit):
        """All prints of a unit's label."""
        return [each for each in self.labels if f"^FDUnit {unit}^FS" in each]

    def code_of(self, unit):
        """What a scanner reads from it; None before it has come out."""
        mine = self.of(unit)
        return mine[-1].split("^BCN")[1].split("^FD")[1].split("^FS")[0] if mine else None

    def switch_off(self):
        if self.server is not None:
            self.server.shutdown()
            self.server.server_close()
            self.server = None


class RealFloor:
    def __init__(self):
        self.folder = Path(tempfile.mkdtemp(prefix="floor-of-test-"))
        self.drill = self.folder / "drill"
        self.port = free_port()
        self.printer = Printer()
        self.process = None
        self.kills = 0
        shutil.copytree(TREE / "examples" / "floor" / "drill", self.drill)
        shutil.copytree(TREE / "examples" / "products", self.folder / "products")
        self.edit("port = 8440", f"port = {self.port}")
        self.edit('command = "cat >> printed.zpl"', f'address = "127.0.0.1:{self.printer.port}"')
        self.environment = os.environ | {"PATH": f"{PROGRAMS}:{os.environ['PATH']}", "SETMAC_LEDGER": "sqlite:drill.db"}
        for command in POOLS:
            self.ledger(*command)
        self.printer.switch_on()

    def edit(self, text, other):
        """Changes FLOOR.toml, before the floor is started."""
        path = self.drill / "FLOOR.toml"
        before = path.read_text()
        assert text in before, text
        path.write_text(before.replace(text, other))

    @property
    def url(self):
        return f"http://127.0.0.1:{self.port}/"

    def start(self):
        with open(self.drill / "serve.log", "a", encoding="utf-8") as log:
            self.process = subprocess.Popen(["setmac-floor", "serve", "FLOOR.toml"], cwd=self.drill, env=self.environment, stdout=log, stderr=log)
        deadline = time.monotonic() + START_LIMIT
        while True:
            try:
                self.state()
                return self
            except OSError:
                if time.monotonic() > deadline or self.process.poll() is not None:
                    raise AssertionError("the floor does not start: " + (self.drill / "serve.log").read_text()[-2000:]) from None
                time.sleep(0.02)

    def kill(self):
        """As a power cut of the PC: nothing is told to anybody."""
        self.process.send_signal(signal.SIGKILL)
        self.process.wait()
        self.kills += 1

    def stop(self):
        if self.process is not None and self.process.poll() is None:
            self.process.terminate()
            self.process.wait()

    def remove(self):
        self.stop()
        self.printer.switch_off()
        shutil.rmtree(self.folder)

    # What others than the page know.

    def get(self, path):
        with urllib.request.urlopen(self.url + path, timeout=START_LIMIT) as answer:
            return json.load(answer)

    def state(self):
        return self.get("api/state")

    def slot(self, number):
        return next(each for each in self.state()["slots"] if each["slot"] == number)

    def ledger(self, *arguments):
        done = subprocess.run(["setmac-ledger", *arguments], cwd=self.drill, env=self.environment, capture_output=True, text=True, check=False)
        assert done.returncode == 0, f"setmac-ledger {' '.join(arguments)}: {done.stdout}{done.stderr}"
        return done.stdout

    def unit(self, label):
        return json.loads(self.ledger("find", label, "--by", "label", "--json"))

    def board(self, label):
        return self.drill / f"switch-{label}"

    def put_board(self, label, *options):
        """Another switch under a label; a blank one, where options don't tell what it holds."""
        shutil.rmtree(self.board(label), ignore_errors=True)
        subprocess.run(["simboard", "new", *options, self.board(label)], env=self.environment, check=True, stdout=subprocess.DEVNULL)

    def held(self, label):
        board = self.board(label)
        return identity_of(board) if board.exists() else (None, None)


class RealPageTest(PageTest):
    """The page of the real floor."""

    def new_floor(self, slots, drill=False):
        floor = RealFloor()
        self.addCleanup(floor.remove)
        return floor.start()

    def clear(self):
        self.key("Escape", "Escape")
        self.wait("return !document.querySelector('.tile[aria-pressed=true]')")

    def choose(self, slot):
        self.clear()
        self.scan(f"SLOT-{slot}")
        self.wait("return document.querySelector(`.tile[data-slot='${arguments[0]}']`).getAttribute('aria-pressed') === 'true'", slot)

    def press_button(self, text):
        self.wait("const found = [...document.querySelectorAll('button')].find(each => each.textContent === arguments[0]); found?.focus(); return found", text)
        self.key("Enter", "Enter", "\r", gap=0.5)

    def order_fault(self, slot, fault):
        self.wait("""const list = document.querySelector('#says select[aria-label=Fault]');
            if (!list) { return false; }
            list.value = arguments[0];
            list.dispatchEvent(new Event('change', { bubbles: true }));
            return true;""", fault)
        self.wait_for(lambda: self.floor.slot(slot)["fault"] == fault)
