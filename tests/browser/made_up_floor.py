"""A floor whose slots do what a test says, behind the documented interface: docs/floor-api.md."""

import copy
import itertools
import json
import queue
import socket
import threading
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path
from urllib.parse import parse_qs, urlsplit

PAGE = Path(__file__).resolve().parents[2] / "floor" / "page"
TYPES = {".html": "text/html", ".css": "text/css", ".js": "text/javascript", ".svg": "image/svg+xml"}
HEALTH = {"runs": 0, "verified": 0, "retries": 0, "damaged": 0, "seconds": 0}


def idle_slot(number, products=("SW-48X6Q",)):
    return {"slot": number, "place": f"usb 1-1.{number}", "products": list(products), "state": "idle", "trouble": "",
            "fault": None, "run": None, "health": dict(HEALTH)}


def run_of(label, **parts):
    """A run that has begun; parts replace what it holds."""
    run = {"attempt": 181, "label": label, "product": "SW-48X6Q", "serial": "ABCD2547A0001", "mac": "00:1A:2B:00:01:00",
           "mac_count": 64, "operator": "0017", "only_check": False, "started": "2026-11-21T23:28:00.123Z", "ended": None,
           "phase": "waits for the console",
           "steps": [{"operation": name, "state": "waiting", "sent": 0, "of": 0, "reason": ""} for name in ("setmac", "setsn")],
           "label_back": None, "label_code": None, "outcome": None, "verdict": None, "reason": "", "advice": "", "retries": 0, "seconds": 3.0}
    return run | parts


def evidence_of(records, sent=True, **parts):
    """What a run leaves with its attempt, as station/registered writes it. records: (name, wanted, before, after, as wanted);
    parts replace what there is of values, held, steps (as sent) and results (of the steps)."""
    given = {"values": {"mac": "00:1A:2B:00:01:00", "serial": "ABCD25470002"}, "held": "nothing",
             "steps": [{"operation": "setmac", "job": "products/sw-48x6q/identity.toml", "job_sha256": "cd" * 32}],
             "results": [{"operation": "setmac", "result": "done", "reason": "", "starts": 1, "items": [
                 {"property": "MacAddress", "type": "binary", "value": "00 1A 2B 00 01 00", "result": "stored"},
                 {"property": "SerialNO", "type": "text", "value": "ABCD25470002", "result": "stored"}]}]} | parts
    out = {"values": given["values"], "records": {name: wanted for name, wanted, *_ in records}, "steps": given["steps"]}
    back = {"held": given["held"], "steps": given["results"], "records": [
        {"record": name, "before": before, "after": after, "as_wanted": fits} for name, _, before, after, fits in records]}
    return {"sent": json.dumps(out) if sent else "", "read_back": json.dumps(back)}


class MadeUpFloor:
    def __init__(self, slots=8, drill=False, port=0):
        self.port = port
        self.starts = itertools.count(1)
        self.state = {
            "floor": "Line 3", "station": "line3-pc", "drill": drill, "version": "1.0.0", "started": "2026-11-21T20:00:00.000Z",
            "event": 0, "ledger": {"usable": True, "reason": ""}, "operator": "0017",
            "codes": {"slot": "SLOT-", "operator": "OP-", "prefix": ""}, "printer": None, "drill_faults": [],
            "products": [{"name": "SW-48X6Q", "steps": ["setmac", "setsn"], "scan_back": False}],
            "slots": [idle_slot(number) for number in range(1, slots + 1)]}
        self.answers = {}  # what a GET of a path is answered with
        self.refusals = {}  # (method and path, or label) to (status, error)
        self.held = {}  # path to the event that its change waits for
        self.posts = []  # (path, content) of all changes that were asked for
        self.paths = []  # of all requests
        self.lock = threading.Lock()
        self.readers = []
        self.server = None

    # What a test does

    @property
    def url(self):
        return f"http://127.0.0.1:{self.port}/"

    def start(self):
        self.token = f"token-{next(self.starts)}"
        self.connections = set()
        self.server = Server(("127.0.0.1", self.port), handler_of(self))
        self.port = self.server.server_address[1]
        threading.Thread(target=self.server.serve_forever, kwargs={"poll_interval": 0.02}, daemon=True).start()
        return self

    def stop(self):
        """As a kill does: all connections break, nothing is said."""
        self.server.shutdown()
        self.server.server_close()
        with self.lock:
            for reader in self.readers:
                reader.put(None)
            self.readers.clear()
            for connection in list(self.connections):
                try:
                    connection.shutdown(socket.SHUT_RDWR)
                except OSError:
                    pass

    def slot(self, number):
        return next(each for each in self.state["slots"] if each["slot"] == number)

    def change_slot(self, number, tell=True, **parts):
        with self.lock:
            slot = self.slot(number)
            slot.update(parts)
            if tell:
                self._tell("slot", slot)
            return copy.deepcopy(slot)

    def hold(self, path):
        """The floor is asked for that, and does it once the event that this returns is set."""
        self.held[path] = threading.Event()
        return self.held[path]

    def change_run(self, number, **parts):
        return self.change_slot(number, run=self.slot(number)["run"] | parts)

    def end(self, number, verdict, outcome, **parts):
        return self.change_slot(number, state="ended", run=self.slot(number)["run"] | {
            "verdict": verdict, "outcome": outcome, "ended": "2026-11-21T23:28:21.500Z", "seconds": 21.4, "phase": ""} | parts)

    def change(self, kind, parts):
        with self.lock:
            self.state.update(parts if kind != "ledger" else {"ledger": parts})
            self._tell(kind, parts)

    def tell_state(self):
        with self.lock:
            self._tell("state", self.state)

    # What the interface does

    def _tell(self, kind, content):
        self.state["event"] += 1
        text = f"id: 1-{self.state['event']}\nevent: {kind}\ndata: {json.dumps(content)}\n\n".encode()
        for reader in self.readers:
            reader.put(text)

    def listen(self):
        mine = queue.Queue()
        with self.lock:
            mine.put(f"id: 1-{self.state['event']}\nevent: state\ndata: {json.dumps(self.state)}\n\n".encode())
            self.readers.append(mine)
        return mine

    def answer(self, path):
        """(status, content) of a GET."""
        with self.lock:
            fixed = {"/api/session": {"token": self.token}, "/api/state": self.state}
            content = fixed.get(path.split("?")[0]) or self.answers.get(path) or self.answers.get(path.split("?")[0])
            if content is None:
                return 404, {"error": {"code": "not_found", "reason": "Nothing is known of it", "advice": "Look at the label again."}}
            return 200, copy.deepcopy(content)

    def do(self, path, content):
        """(status, content) of a POST."""
        self.posts.append((path, content))
        if path in self.held:
            self.held[path].wait()
        refusal = self.refusals.get(path) or self.refusals.get(content.get("label"))
        if refusal and not (content.get("again") or content.get("take_over") or content.get("replace")):
            return refusal[0], {"error": refusal[1]}
        parts = path.split("/")
        if path == "/api/operator":
            self.change("operator", {"operator": content["badge"]})
            return 200, {"operator": content["badge"]}
        if path == "/api/prints/new":
            return 202, {"id": 77, "label": content["label"], "number": 2, "state": "waiting"}
        if path.startswith("/api/drill/"):
            return 202, self.change_slot(int(parts[4]), fault=content["fault"])
        return 202, self._do_slot(int(parts[3]), parts[4], content)

    def _do_slot(self, number, what, content):
        if what == "start":
            return self.change_slot(number, state="running", run=run_of(content["label"], attempt=len(self.posts) + 1000,
                                    only_check=content.get("only_check", False)))
        if what == "cancel":
            return self.end(number, None, "cancelled", reason="it was stopped")
        matches = content["code"] == self.slot(number)["run"]["label_code"]
        self.change_run(number, label_back="matches" if matches else "differs")
        return self.end(number, "PASS", "verified") if matches else copy.deepcopy(self.slot(number))


class Server(ThreadingHTTPServer):
    daemon_threads = True
    request_queue_size = 64

    def handle_error(self, request, client_address):
        """Browsers break connections as they please."""


def handler_of(floor):
    class Handler(BaseHTTPRequestHandler):
        protocol_version = "HTTP/1.1"

        def setup(self):
            super().setup()
            self.connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            floor.connections.add(self.connection)

        def finish(self):
            floor.connections.discard(self.connection)
            super().finish()

        def log_message(self, *_):
            pass

        def do_GET(self):
            floor.paths.append(self.path)
            path = urlsplit(self.path).path
            if path == "/api/events":
                self.send_events()
            elif path.endswith("/transcript"):
                text = floor.answers.get(path, "")
                self.send(200, text.encode(), "application/jsonl")
            elif path.startswith("/api/"):
                self.send_json(*floor.answer(self.path))
            else:
                self.send_file(PAGE / (path.lstrip("/") or "index.html"))

        def do_POST(self):
            floor.paths.append(self.path)
            content = json.loads(self.rfile.read(int(self.headers["Content-Length"])))
            if self.headers["X-Setmac-Token"] != floor.token:
                self.send_json(403, {"error": {"code": "wrong_token", "reason": "The token is another start's", "advice": ""}})
            else:
                self.send_json(*floor.do(urlsplit(self.path).path, content))

        def send(self, status, content, kind):
            self.send_response(status)
            self.send_header("Content-Type", kind)
            self.send_header("Content-Length", str(len(content)))
            self.send_header("Content-Security-Policy", "default-src 'self'")
            self.send_header("Cache-Control", "no-store")
            self.end_headers()
            self.wfile.write(content)

        def send_json(self, status, content):
            self.send(status, json.dumps(content).encode(), "application/json")

        def send_file(self, path):
            path = path.resolve()
            if PAGE in path.parents and path.is_file():
                self.send(200, path.read_bytes(), TYPES[path.suffix])
            else:
                self.send(404, b"", "text/plain")

        def send_events(self):
            self.send_response(200)
            self.send_header("Content-Type", "text/event-stream")
            self.send_header("Connection", "close")
            self.end_headers()
            mine = floor.listen()
            while (text := mine.get()) is not None:
                self.wfile.write(text)
            self.close_connection = True

    return Handler


def asked(path):
    """The path of a request, and its query as a dict."""
    parts = urlsplit(path)
    return parts.path, {name: values[-1] for name, values in parse_qs(parts.query).items()}
