"""What the cases ask of a bench: a switch with flash and EEPROMs on which the programs run.

There are two, and every case runs on both: board.py, the simulated board, and machine.py, an emulated
arm64 machine whose kernel reaches the memories through its own drivers. What the programs have stored
is read back on the bench by programs that others wrote.
"""

import abc
import dataclasses
import json
import os
import pathlib
import shlex
import subprocess
import zlib

IMAGE_SIZE = 8192
EEPROM_SIZE = 256
SYSTEM, CARD = 0x56, 0x57  # addresses of the EEPROMs
BLANK = b"\xff" * EEPROM_SIZE

# The kinds of flash, with the bytes of an erase block.
ERASE_SIZES = {"nor": 0x10000, "cfi": 0x40000, "nand": 0x20000, "ram": 0x10000}

# A PC operation on the switch's side: the console's settings before and after it, and its status. A
# file "finish" ends it.
SERVICE = """
{before}stty -a >before 2>/dev/null
exec 5<&0
{command} <&5 &
program=$!
(until [ -e finish ]; do sleep 0.2; done; kill $program) &
watcher=$!
wait $program
echo $? >status
kill $watcher 2>/dev/null
stty -a >after 2>/dev/null
"""

# For an operation that looks for the PC's call for 100 ms and ends: it begins when the PC is there.
AWAIT_CALL = """
stty -icanon min 1
dd bs=1 count=1 >/dev/null 2>&1
stty icanon
"""

PROGRAMS = {"setsn", "setmac", "setcountry", "setproduct", "fw_setmac", "prov_setmac", "prodinfo",
            "setmac-tlv", "tlv/prov_setmac"}


@dataclasses.dataclass(frozen=True)
class Outcome:
    """How a program ended: its output, and its exit status or, where a signal ended it, -signal."""
    output: str
    status: int = 0


@dataclasses.dataclass(frozen=True)
class Partition:
    """A partition of the flash and what is wrong with it, in numbers of its erase blocks."""
    name: str
    blocks: int
    bad: tuple = ()        # NAND: marked bad
    no_erase: tuple = ()   # erasing fails
    no_write: tuple = ()   # programming fails
    no_read: tuple = ()    # reading fails
    read_only: bool = False


@dataclasses.dataclass(frozen=True)
class Message:
    """What went over the I2C bus between two starts, or a start and a stop."""
    address: int
    is_read: bool
    data: bytes       # the bytes that were acknowledged
    answered: bool    # the chip acknowledged its address
    complete: bool    # and all that followed


@dataclasses.dataclass(frozen=True)
class Served:
    """A PC operation: what the station told, and how the program on the switch ended."""
    report: dict
    status: int
    settings: tuple   # of the console, before and after
    trace: str


def product_image(*records):
    """The image of the product information, as it stands at the start of a partition."""
    body = b"".join(record.encode() + b"\0" for record in records).ljust(IMAGE_SIZE - 4, b"\0")
    return zlib.crc32(body).to_bytes(4, "little") + body


def legacy_card_record(card_type):
    """A card EEPROM of the oldest form that says `card_type`: format 1, no flag, the type in byte 3."""
    return bytes([1, 0, 0, card_type]).ljust(EEPROM_SIZE, b"\xff")


class Bench(abc.ABC):
    """`folder` is on the host what `root` is to the programs on the bench: their working folder."""

    name = ""
    kernel = False  # real drivers

    def __init__(self, folder, station, root):
        self.folder = pathlib.Path(folder)
        self.folder.mkdir(parents=True, exist_ok=True)
        self.station = station
        self.root = root
        self.kind = None
        self.partitions = ()

    # What a bench has to offer.

    @abc.abstractmethod
    def fit(self, kind, *partitions, keep=False, gap=False, eeproms=True, system=BLANK, card=BLANK,
            cycle_ms=5, protected=False, answered_writes=None, cpld=True):
        """Fits new memories, without any operation so far.

        Flash of `kind` with a partition "boot" in front of `partitions`; a `gap` is a missing
        number in front of them. EEPROMs that hold `system` and `card`, or none: `protected` they
        acknowledge writes and drop them, and after `answered_writes` page writes no chip answers
        any more. `keep` leaves the contents as they are. `cpld`: there is a CPLD.
        """

    @abc.abstractmethod
    def execute(self, script, stdin=b""):
        """Runs a script of the shell in the working folder, over the memories that are fitted."""

    @abc.abstractmethod
    def program(self, name):
        """The path of one of our programs."""

    @abc.abstractmethod
    def console(self, script):
        """Runs a script on a console: a context that gives the port at the line's other end.

        It waits in the end for the script.
        """

    @abc.abstractmethod
    def wire(self):
        """The messages on the I2C bus since it was fitted."""

    @abc.abstractmethod
    def spoil(self, partition, offset):
        """Damages a page of NAND beyond what its checksums can correct."""

    # What cases use.

    def run(self, *command, stdin=""):
        """Runs a program, one of ours by its name alone."""
        words = [self.program(command[0]) if command[0] in PROGRAMS else command[0], *command[1:]]
        return self.execute(shlex.join(words), stdin.encode())

    def provision(self, program, operation, job):
        """A PC operation: the program on the console, the station with the job at the other end.

        A program that goes on after the station has failed, waiting for the next attempt, is ended.
        """
        (self.folder / "job.toml").write_text(job)
        for name in ("before", "after", "status", "trace", "finish"):
            (self.folder / name).unlink(missing_ok=True)
        command = shlex.join([self.program(program), operation, f"{self.root}/trace"])
        before = AWAIT_CALL if operation == "setsn" else ""
        with self.console(SERVICE.format(before=before, command=command)) as port:
            report = self.run_station(operation, program.startswith("tlv/"), port)
            if not report["ok"]:
                (self.folder / "finish").touch()
        before, after, status, trace = (
            (self.folder / name).read_text(errors="replace") for name in ("before", "after", "status", "trace"))
        return Served(report, int(status), (before, after), trace)

    def run_station(self, operation, tlv, port):
        """What the station tells of the job in the folder."""
        told = subprocess.run([self.station, operation, *(["--tlv"] if tlv else []), "--json", "--quiet",
                               "--wait", "30", "--port", port, str(self.folder / "job.toml")],
                              capture_output=True, text=True, env=self.station_environment())
        assert told.stdout, told
        return json.loads(told.stdout)

    def station_environment(self):
        """On this side the line is a pseudo-terminal, which the station's serial library refuses unhelped."""
        shim = pathlib.Path(self.station).resolve().parent.parent / "lib" / "libpty_as_port.so"
        return {**os.environ, "LD_PRELOAD": str(shim)}

    def number(self, name):
        """N of /dev/mtdN."""
        names = ["boot"] + [partition.name for partition in self.partitions]
        return names.index(name)

    def blocks(self, name="product_info"):
        """The erase blocks of a partition, as nanddump or mtd_debug reads them."""
        at = self.number(name)
        size = ERASE_SIZES[self.kind]
        count = self.partitions[at - 1].blocks
        read = (f"/usr/sbin/nanddump -q --bb=dumpbad -f dump /dev/mtd{at}" if self.kind == "nand" else
                f"/usr/sbin/mtd_debug read /dev/mtd{at} 0 {size * count} dump")
        done = self.execute(read)
        assert done.status == 0, done
        dump = (self.folder / "dump").read_bytes()
        assert len(dump) == size * count
        return [dump[i:i + size] for i in range(0, len(dump), size)]

    def write(self, data, offset=0, name="product_info"):
        """Programs NOR flash with mtd_debug, beside our programs."""
        (self.folder / "data").write_bytes(data)
        done = self.execute(f"/usr/sbin/mtd_debug write /dev/mtd{self.number(name)} {offset} {len(data)} data")
        assert done.status == 0, done

    def records(self, name="product_info"):
        """The records of a partition, as the boot loader's tool reads its own environment.

        That has the same layout: a checksum, then NUL-separated texts.
        """
        at = self.number(name)
        (self.folder / "environment").write_text(
            f"/dev/mtd{at} 0 {IMAGE_SIZE:#x} {ERASE_SIZES[self.kind]:#x} {self.partitions[at - 1].blocks}\n")
        done = self.execute("/usr/bin/fw_printenv -c environment")
        assert done.status == 0, done
        return sorted(done.output.splitlines())

    def eeprom(self, address=SYSTEM):
        """What an EEPROM holds, as i2ctransfer reads it once the last write cycle is over."""
        done = self.execute(f"sleep 0.05; /usr/sbin/i2ctransfer -y 0 w1@{address:#x} 0 r{EEPROM_SIZE}")
        assert done.status == 0, done
        return bytes(int(word, 16) for word in done.output.split())

    def page_writes(self, address=SYSTEM):
        """The writes of an EEPROM: word address and data."""
        return [(one.data[0], one.data[1:]) for one in self.wire()
                if one.address == address and not one.is_read and len(one.data) > 1]

    def refusals(self):
        """How many starts no chip answered."""
        return sum(not one.answered for one in self.wire())


def tlv_records(image):
    """The lines of tlvinfo_check.py on an EEPROM image; None where it is not valid."""
    checker = pathlib.Path(__file__).parent.parent / "e2e" / "tlv" / "tlvinfo_check.py"
    done = subprocess.run(["python3", checker, "/dev/stdin"], input=image, capture_output=True)
    return done.stdout.decode().splitlines() if done.returncode == 0 else None
