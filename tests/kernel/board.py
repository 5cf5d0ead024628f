"""The simulated board, on which the programs of this machine's own build run."""

import contextlib
import os
import pathlib
import pty
import re
import select
import shutil
import subprocess
import threading
import tty

from bench import BLANK, CARD, ERASE_SIZES, SYSTEM, Bench, Message, Outcome

# A register of the CPLD that no program writes.
LIFTED_BY_NOBODY = "lifted_by_cpld = { 0x7F = [0x00] }\n"
LONGEST_RUN = 60  # seconds
TRANSFER = re.compile(r" transfer \S+ address=(\S+)((?: (?:write|read)=[0-9a-f]*)*) = (-?\d+)")


class BoardBench(Bench):
    """The programs of `build` on a simulated board."""

    name = "board"

    def __init__(self, build, folder, station):
        self.bin = pathlib.Path(build).resolve() / "bin"
        shutil.rmtree(folder, ignore_errors=True)
        super().__init__(folder, station, str(pathlib.Path(folder).resolve()))
        self.board = pathlib.Path(self.root) / "board"

    def close(self):
        """Nothing of it stays but its folder."""

    def fit(self, kind, *partitions, keep=False, gap=False, eeproms=True, system=BLANK, card=BLANK,
            cycle_ms=5, protected=False, answered_writes=None, cpld=True):
        self.kind = kind
        self.partitions = partitions
        if not keep:
            shutil.rmtree(self.board, ignore_errors=True)
            self.board.mkdir()
            for address, content in ((SYSTEM, system), (CARD, card)):
                if eeproms:
                    (self.board / f"i2c-{address:02x}.bin").write_bytes(content)
        (self.board / "log.txt").unlink(missing_ok=True)
        text = self.flash_text(kind, partitions, gap)
        if eeproms:
            text += "".join(f"[[eeprom]]\naddress = {address}\nwrite_cycle_ms = {cycle_ms}\n"
                            f"{LIFTED_BY_NOBODY if protected else ''}"
                            f"{'' if answered_writes is None else f'answered_writes = {answered_writes}'}\n" for address in (SYSTEM, CARD))
        if cpld:
            text += "[cpld]\n"
        (self.board / "board.toml").write_text(text)

    @staticmethod
    def flash_text(kind, partitions, gap):
        type_name = "nor" if kind == "cfi" else kind
        text = ""
        for number, one in enumerate([None, *partitions]):
            name, blocks = (one.name, one.blocks) if one else ("boot", 1)
            text += (f'[[partition]]\nname = "{name}"\ntype = "{type_name}"\n'
                     f"erase_size = {ERASE_SIZES[kind]}\nblocks = {blocks}\nindex = {number + gap}\n")
            if one:
                for key in ("bad", "no_erase", "no_write", "no_read"):
                    if getattr(one, key):
                        text += f"{key} = {list(getattr(one, key))}\n"
                if one.read_only:
                    text += "read_only = true\n"
        return text

    def execute(self, script, stdin=b""):
        done = subprocess.run(self.command(script), cwd=self.folder, input=stdin, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT)
        return Outcome(done.stdout.decode(errors="replace"), done.returncode)

    def command(self, script):
        path = f"{os.environ['PATH']}:/usr/sbin:/sbin"
        return [str(self.bin / "simboard"), "run", str(self.board), "--", "env", f"PATH={path}", "sh", "-c", script]

    def program(self, name):
        return str(self.bin / name)

    @contextlib.contextmanager
    def console(self, script):
        far, console = pty.openpty()  # the switch's end of the line
        near, port = pty.openpty()    # the PC's
        tty.setraw(port)              # a serial port that nobody has opened yet sends nothing back
        with subprocess.Popen(self.command(script), cwd=self.folder, stdin=console, stdout=console,
                              stderr=console, start_new_session=True) as program:
            line = threading.Thread(target=carry, args=(far, near), daemon=True)
            line.start()
            yield os.ttyname(port)
            program.wait(LONGEST_RUN)
        for end in (console, port):
            os.close(end)
        line.join()

    def wire(self):
        log = self.board / "log.txt"
        text = log.read_text() if log.exists() else ""
        return [message for found in TRANSFER.finditer(text)
                for message in read_transfer(int(found[1], 16), found[2].split(), int(found[3]) >= 0)]

    def spoil(self, partition, offset):
        with open(self.board / f"mtd{self.number(partition)}.bin", "r+b") as cells:
            cells.seek(offset)
            cells.write(b"\x5a" * 64)


def read_transfer(address, parts, complete):
    """The messages of a transfer in the board's log: "write=00fb"."""
    for part in parts:
        kind, _, digits = part.partition("=")
        answered = complete or bool(digits)
        yield Message(address, kind == "read", bytes.fromhex(digits), answered, complete)


def carry(far, near):
    """The line: carries bytes both ways, until one of its ends is closed."""
    try:
        while True:
            for end in select.select([far, near], [], [])[0]:
                os.write(near if end == far else far, os.read(end, 4096))
    except OSError:
        os.close(far)
        os.close(near)
