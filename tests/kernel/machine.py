"""The emulated arm64 machine: Debian's kernel, and flash and EEPROMs behind its own drivers."""

import contextlib
import os
import pathlib
import re
import select
import shutil
import signal
import socket
import subprocess
import time

from bench import BLANK, ERASE_SIZES, Bench, Message, Outcome

# The map of modules/chips.h.
OWN_MEMORY = 192 << 20
CHIPS_SIZE = 72 << 20
EEPROMS = 0x0
WIRE_LOG, WIRE_LOG_SIZE = 0x10000, 0x30000
NOR, NOR_SIZE = 0x100000, 0x100000
NAND, NAND_SIZE = 0x200000, 0x4200000
NAND_PAGE, NAND_SPARE = 2048, 64

CFI_SIZE = 64 << 20  # of each of the two banks that the machine has; the second is a file
CFI_BOOT = CFI_SIZE  # the first bank is the partition "boot"

# How the partitions of a kind are given to the kernel, and what brings the flash up.
MTD_IDS = {"nor": "norsim", "cfi": "0.flash", "nand": "NAND 64MiB 1,8V 8-bit", "ram": "mtdram test device"}
DRIVERS = {"nor": "modprobe mtd-norsim", "cfi": "modprobe -a cfi_probe cfi_cmdset_0001 physmap",
           "nand": "modprobe nandsim id_bytes=0x20,0xa2,0x00,0x15 bch=4", "ram": "modprobe mtdram"}
# Times of a real chip's order: an erase of a block takes 20 ms, programming 64 bytes 0.5 ms; or 2 ms, and
# 0.2 ms for a page. Else they take none.
PACES = {"nor": " erase_ms=20 write_us=500", "nand": " do_delays=1 erase_delay=2 programm_delay=200"}
ALL_DRIVERS = "physmap mtd_norsim nandsim mtdram cmdlinepart i2c_eepsim i2c_dev"


class MachineError(Exception):
    """The machine does not do what it is there for."""


class Machine:
    """A QEMU process. Its memories are files in `folder`, which last longer than it does."""

    def __init__(self, build, folder):
        self.build = pathlib.Path(build)
        self.folder = pathlib.Path(folder)
        self.share = self.folder / "share"
        self.chips = self.folder / "chips.bin"
        self.flash = self.folder / "cfi.bin"
        self.process = None
        shutil.rmtree(self.folder, ignore_errors=True)
        self.share.mkdir(parents=True)
        for path, size in ((self.chips, CHIPS_SIZE), (self.flash, CFI_SIZE)):
            path.write_bytes(b"\xff" * size)

    def start(self):
        """Starts the machine and waits for its first program."""
        self.power_on()
        self.wait()

    def power_on(self, kernel_options="loglevel=4"):
        """Starts the machine. Its line is there; wait() waits for its first program."""
        (self.folder / "control").unlink(missing_ok=True)
        listener = socket.socket(socket.AF_UNIX)
        listener.bind(str(self.folder / "control"))
        listener.listen(1)
        listener.settimeout(60)
        self.process = subprocess.Popen(
            ["qemu-system-aarch64", "-M", "virt", "-cpu", "cortex-a53", "-nodefaults", "-display", "none",
             "-no-reboot", "-m", f"{(OWN_MEMORY + CHIPS_SIZE) >> 20}",
             "-object", f"memory-backend-ram,id=own,size={OWN_MEMORY}",
             "-object", f"memory-backend-file,id=chips,size={CHIPS_SIZE},mem-path={self.chips},share=on",
             "-numa", "node,memdev=own", "-numa", "node,memdev=chips",
             "-drive", f"if=pflash,unit=1,format=raw,file={self.flash}",
             "-serial", f"file:{self.folder}/console.log",
             "-chardev", "pty,id=line", "-chardev", f"socket,id=control,path={self.folder}/control",
             "-device", "pci-serial-2x,chardev1=line,chardev2=control",
             "-fsdev", f"local,id=host,path={self.share},security_model=none",
             "-device", "virtio-9p-device,fsdev=host,mount_tag=host",
             "-kernel", str(self.build / "vmlinuz"), "-initrd", str(self.build / "initrd.gz"),
             "-append", f"console=ttyAMA0 mem={OWN_MEMORY >> 20}M panic=-1 {kernel_options}"],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.control = listener.accept()[0]
        listener.close()
        told = self.process.stdout.readline().decode()
        self.line = re.search(r"/dev/pts/\d+", told).group()
        # Held open: QEMU looks only once a second whether someone has opened the other end.
        self.line_holder = os.open(self.line, os.O_RDWR | os.O_NOCTTY)

    def wait(self):
        if self.answer(300) != "ready":
            raise MachineError("the machine's first program says something else")

    def answer(self, limit):
        """The next line from the machine's first program."""
        text = b""
        until = time.monotonic() + limit
        while not text.endswith(b"\n"):
            if not select.select([self.control], [], [], max(0, until - time.monotonic()))[0]:
                raise MachineError(f"no answer within {limit} s; see {self.folder}/console.log")
            got = self.control.recv(1)
            if not got:
                raise MachineError(f"the machine is gone; see {self.folder}/console.log")
            text += got
        return text.decode().strip()

    def begin(self, script, stdin=b""):
        """Has the machine run a script; end() waits for it."""
        (self.share / "input").write_bytes(stdin)
        (self.share / "job").write_text(script + "\n")
        self.control.sendall(b"\n")

    def end(self, limit=120):
        status = int(self.answer(limit))
        return Outcome((self.share / "output").read_bytes().decode(errors="replace"),
                       status if status < 128 else 128 - status)

    def kill(self):
        """Cuts the power."""
        if self.process:
            self.process.send_signal(signal.SIGKILL)
            self.process.wait()
            self.process.stdout.close()
            self.process = None
            os.close(self.line_holder)
            self.control.close()


class KernelBench(Bench):
    """The programs in the machine."""

    name = "kernel"
    kernel = True

    def __init__(self, build, folder, station):
        self.machine = Machine(build, folder)
        super().__init__(self.machine.share, station, "/host")
        shutil.copytree(self.machine.build / "switch", self.folder, symlinks=True, dirs_exist_ok=True)
        self.machine.start()

    def execute(self, script, stdin=b""):
        self.machine.begin(script, stdin)
        return self.machine.end()

    def program(self, name):
        return f"/host/usr/{'libexec/setmac' if '/' in name else 'bin'}/{name}"

    def restart(self):
        """Cuts the power and switches on again. The memories keep what they hold, and are fitted anew."""
        self.machine.kill()
        self.machine.start()

    def close(self):
        self.machine.kill()

    def fit(self, kind, *partitions, keep=False, gap=False, eeproms=True, system=BLANK, card=BLANK,
            cycle_ms=5, protected=False, answered_writes=None, cpld=True, paced=False):
        self.kind = kind
        self.partitions = partitions
        commands = [f"for m in {ALL_DRIVERS}; do grep -q \"^$m \" /proc/modules && rmmod $m; done"]
        if not keep:
            self.erase_chips(kind, system, card)
        pace = PACES.get(kind, "") if paced else ""
        commands += self.fit_flash(kind, partitions, gap, keep, pace)
        if eeproms:
            commands.append("modprobe i2c-dev && modprobe i2c-eepsim"
                            f" cycle_us={cycle_ms * 1000} protect={int(protected)}"
                            f" stop_after={-1 if answered_writes is None else answered_writes}")
        # A register device that answers by offset: a plain file does.
        commands.append("head -c 256 /dev/zero | tr '\\0' '\\377' >/dev/cpld0" if cpld else "rm -f /dev/cpld0")
        done = self.execute("\n".join(commands))
        if done.status != 0:
            raise MachineError(f"the memories do not come up: {done}")

    def fit_flash(self, kind, partitions, gap, keep, pace):
        erase_size = ERASE_SIZES[kind]
        boot = CFI_BOOT if kind == "cfi" else erase_size
        table = f"{boot}(boot)" + "".join(
            f",{one.blocks * erase_size}({one.name}){'ro' if one.read_only else ''}" for one in partitions)
        table = f"{MTD_IDS[kind]}:{table}"
        drivers = [DRIVERS[kind] + self.faults(kind, partitions) + pace]
        if gap:  # another chip takes the first number, and is gone then
            table = f"{MTD_IDS['ram']}:65536(gap);{table}"
            drivers = ["modprobe mtdram total_size=64", *drivers, "rmmod mtdram"]
        if kind == "cfi" and not keep:
            drivers += [f"/usr/sbin/flash_erase -q /dev/mtd{i + 1} 0 0" for i in range(len(partitions))]
        return [f"modprobe cmdlinepart mtdparts='{table}'", *drivers]

    @staticmethod
    def faults(kind, partitions):
        """The parameters of a driver for what is wrong with blocks. They count from the chip's start."""
        names = {"nor": {"no_erase": "fail_erase={}", "no_write": "fail_write={}", "no_read": "fail_read={}"},
                 "nand": {"bad": "badblocks={}", "no_erase": "weakblocks={}:0", "no_write": "weakpages={}:0"}}
        found = {}
        first = 1
        for one in partitions:
            for fault, parameter in names.get(kind, {}).items():
                for block in getattr(one, fault):
                    place = first + block
                    if fault == "no_write" and kind == "nand":
                        place *= ERASE_SIZES[kind] // NAND_PAGE
                    found.setdefault(parameter.split("=")[0], []).append(parameter.split("=")[1].format(place))
            first += one.blocks
        return "".join(f" {name}={','.join(values)}" for name, values in found.items())

    def erase_chips(self, kind, system, card):
        with open(self.machine.chips, "r+b") as chips:
            chips.seek(EEPROMS)
            chips.write(system + card)
            if kind in ("nor", "nand"):
                at, size = {"nor": (NOR, NOR_SIZE), "nand": (NAND, NAND_SIZE)}[kind]
                chips.seek(at)
                chips.write(b"\xff" * size)

    @contextlib.contextmanager
    def console(self, script):
        self.machine.begin(f"({script}) </dev/ttyS0 >/dev/ttyS0 2>&1")
        yield self.machine.line
        self.machine.end()

    def wire(self):
        with open(self.machine.chips, "rb") as chips:
            chips.seek(WIRE_LOG)
            text = chips.read(WIRE_LOG_SIZE).partition(b"\0")[0].decode()
        return [read_message(words) for transfer in text.splitlines()
                for words in transfer.removesuffix(" P").split("S")[1:]]

    def spoil(self, partition, offset):
        first = 1
        for one in self.partitions:
            if one.name == partition:
                break
            first += one.blocks
        page = (first * ERASE_SIZES["nand"] + offset) // NAND_PAGE
        with open(self.machine.chips, "r+b") as chips:
            chips.seek(NAND + page * (NAND_PAGE + NAND_SPARE))
            chips.write(b"\x5a" * 64)


def read_message(words):
    """A message of the wire log: "AC+ 00+ 9E-"."""
    taken = [(int(word[:2], 16), word[2] == "+") for word in words.split()]
    (address, answered), data = taken[0], taken[1:]
    is_read = bool(address & 1)
    # The last byte of a read is not acknowledged: so the chip knows that it is the last.
    return Message(address >> 1, is_read, bytes(byte for byte, good in data if good or is_read), answered,
                   answered and (is_read or all(good for _, good in data)))
