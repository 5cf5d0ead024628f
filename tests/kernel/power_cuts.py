"""Power cuts: the emulated machine is killed while a program stores an identity.

The chips outlive the machine with whatever they held at that moment. It is started again, and what the
program finds then must be the identity before, the new one, or one that it knows as damaged; and the next
attempt must store the new one whole. Each cut comes at a random moment after the first byte of the
memory has changed, up to a little after an uncut run is through; some come before.

A save takes the machine few milliseconds, less than the host can aim into. It is therefore let run in
slices, with the memory looked at in between, and a moment is a number of slices.
"""

import collections
import mmap
import random
import signal
import threading
import time

import machine
from bench import IMAGE_SIZE, Partition, legacy_card_record, product_image, tlv_records

CRC_FAILED = "!!!Warning: CRC check failed.\r\n"
LONGEST_SLICE = 0.005  # seconds, of a machine that sleeps or gets no processor
OLD, NEW, DAMAGED = "the old identity", "the new one", "damaged, and told so"


class CutError(Exception):
    """Something was found that must not be."""


class FlashPlan:
    """The product information in flash, which setproduct stores."""

    slice = 50_000  # nanoseconds of the processor, and what the host takes to end it

    def __init__(self, bench, kind, *partitions):
        self.bench, self.kind, self.partitions = bench, kind, partitions
        self.name = kind + (" with a mirror" if len(partitions) > 1 else "")
        file, start, block = {"nor": (bench.machine.chips, machine.NOR + 0x10000, 0x10000),
                              "cfi": (bench.machine.flash, 0, 0x40000),
                              "nand": (bench.machine.chips, machine.NAND + 64 * 2112, 64 * 2112)}[kind]
        self.region = (file, start, block * sum(one.blocks for one in partitions))

    def identity(self, chance):
        """Records that nearly fill the image, so that no two images agree in much."""
        return [f"field{i}={chance.randbytes(240).hex()}" for i in range(16)]

    def fit(self, keep):
        self.bench.fit(self.kind, *self.partitions, keep=keep, paced=True)

    def start(self, identity):
        lines = "".join(record + "\n" for record in identity)
        self.bench.machine.begin(self.bench.program("setproduct"), f"{lines}q\n".encode())

    def finish(self):
        done = self.bench.machine.end()
        if not done.output.endswith("Save product info success.\r\n"):
            raise CutError(f"{self.name}: the save fails: {done}")

    def found(self, old, new):
        """What the program finds, and whether the flash's own bytes agree."""
        done = self.bench.run("prodinfo")
        held = {OLD: old, NEW: new}
        good = [name for name, records in held.items()
                if done.output == "".join(record + "\r\n" for record in records)]
        verdict = good[0] if good else DAMAGED if done.output == CRC_FAILED else None
        images = {product_image(*records): name for name, records in held.items()}
        first = self.bench.blocks()[0][:IMAGE_SIZE]
        if done.status != 0 or verdict is None or images.get(first, DAMAGED) != verdict:
            raise CutError(f"{self.name}: {done.output[:300]!r}, flash {first[:64].hex()}...")
        return verdict


class EepromPlan:
    """The TlvInfo image of the system EEPROM, which a PC operation writes."""

    name = "EEPROM"
    slice = None  # a write takes it a third of a second, and the station does not wait for ever

    def __init__(self, bench):
        self.bench = bench
        self.region = (bench.machine.chips, machine.EEPROMS, 256)

    def identity(self, chance):
        return chance.randbytes(40).hex()

    def fit(self, keep):
        self.bench.fit("nor", Partition("product_info", 4), keep=keep, card=legacy_card_record(14))

    def start(self, identity):
        (self.bench.folder / "job.toml").write_text(
            f'[[node]]\nname = "Service Tag"\ntext = "{identity}"\n'
            f'[[node]]\nname = "Serial Number"\ntext = "{identity[:13]}"\n'
            '[[node]]\nname = "ProductID"\ntext = "4806"\n')  # without an extension nothing is listed
        program = self.bench.program("tlv/prov_setmac")
        self.bench.machine.begin(f"{program} setmac </dev/ttyS0 >/dev/ttyS0 2>&1")
        self.station = threading.Thread(target=self.bench.run_station,
                                        args=("setmac", True, self.bench.machine.line))
        self.station.start()

    def finish(self):
        done = self.bench.machine.end()
        self.station.join()
        if done.status != 0:
            raise CutError(f"{self.name}: the operation fails: {done}")

    def found(self, old, new):
        """What the program lists, and whether another reader of the image agrees."""
        listing = self.bench.run("setmac-tlv").output
        records = tlv_records(self.bench.eeprom())
        tags = {f"0x2F {identity.encode().hex()}": name for name, identity in ((OLD, old), (NEW, new))}
        held = [tags.get(record, "some other") for record in records or () if record.startswith("0x2F")]
        verdict = held[0] if held else DAMAGED
        serials = {OLD: f"SerialNO={old[:13]}\n", NEW: f"SerialNO={new[:13]}\n"}
        listed = [name for name, line in serials.items() if line in listing] or [DAMAGED]
        if listed != [verdict] or (verdict == DAMAGED) != (CRC_FAILED in listing or "can't find" in listing):
            raise CutError(f"{self.name}: {listing[:300]!r}, records {records}")
        return verdict


class Clock:
    """Lets the machine run in slices and tells after which of them the plan's memory has changed."""

    def __init__(self, plan):
        path, self.start, self.size = plan.region
        self.slice = plan.slice
        self.process = plan.bench.machine.process
        self.worked = (~self.process.pid << 3) | 2  # the clock of its processor time, clock_getcpuclockid(3)
        with open(path, "rb") as file:
            self.memory = mmap.mmap(file.fileno(), 0, prot=mmap.PROT_READ)
        self.content = self.look()

    def look(self):
        return self.memory[self.start:self.start + self.size]

    def tick(self, work=None, limit=LONGEST_SLICE):
        """A slice, or more work than that: whether the memory has changed."""
        if self.slice:
            until = time.monotonic() + limit
            start = time.clock_gettime_ns(self.worked)
            self.process.send_signal(signal.SIGCONT)
            while time.clock_gettime_ns(self.worked) < start + (work or self.slice) and time.monotonic() < until:
                time.sleep(0)
            self.process.send_signal(signal.SIGSTOP)
        else:
            time.sleep(0.001)
        before, self.content = self.content, self.look()
        return self.content != before

    def wait_for_change(self, lead=0, limit=60):
        """The first change, which comes after somewhat more work than `lead`. The work that it was."""
        start = time.clock_gettime_ns(self.worked)
        if lead and self.tick(lead, limit=1):
            return time.clock_gettime_ns(self.worked) - start
        until = time.monotonic() + limit
        while not self.tick():
            if time.monotonic() > until:
                raise CutError("nothing is written")
        return time.clock_gettime_ns(self.worked) - start

    def close(self):
        self.process.send_signal(signal.SIGCONT)
        self.memory.close()


def measure(plan, identity):
    """Stores an identity without a cut.

    How much work there is before the first change, and how many slices from there to the last.
    """
    clock = Clock(plan)
    plan.start(identity)
    lead = clock.wait_for_change()
    last = now = 0
    while now < last + 300:
        now += 1
        if clock.tick():
            last = now
    clock.close()
    plan.finish()
    return lead, last


def cut(plan, identity, lead, delay):
    """Kills the machine so many slices after the first change of a run, and starts it again.

    A delay below 0: so many slices after the run's start, which is long before the first change.
    """
    clock = Clock(plan)
    plan.start(identity)
    if delay >= 0:
        clock.wait_for_change(lead // 2)
    for _ in range(abs(delay)):
        clock.tick()
    plan.bench.restart()
    clock.memory.close()


def run_plan(plan, cuts, chance):
    """Cuts the power so many times. How often was found what."""
    plan.fit(keep=False)
    held = plan.identity(chance)
    lead, length = measure(plan, held)
    told = collections.Counter()
    for _ in range(cuts):
        wanted = plan.identity(chance)
        cut(plan, wanted, lead, chance.randint(-length // 5 - 1, length + length // 5 + 3))
        plan.fit(keep=True)
        verdict = plan.found(held, wanted)
        told[verdict] += 1
        if verdict == DAMAGED:  # the next attempt makes it good
            plan.start(wanted)
            plan.finish()
            if plan.found(held, wanted) != NEW:
                raise CutError(f"{plan.name}: not made good")
        if verdict != OLD:
            held = wanted
    print(f"{plan.name}, written in {length} slices: {cuts} cuts left "
          + ", ".join(f"{told[name]} times {name}" for name in (OLD, NEW, DAMAGED)), flush=True)


def run(bench, cuts, seed):
    """Shares the cuts among the plans. Whether all is well."""
    main, mirror = Partition("product_info", 4), Partition("product_info_other", 4)
    plans = [FlashPlan(bench, "nor", main), FlashPlan(bench, "cfi", main), FlashPlan(bench, "nand", main),
             FlashPlan(bench, "nor", main, mirror), EepromPlan(bench)]
    try:
        for number, plan in enumerate(plans):
            share = cuts // len(plans) + (number < cuts % len(plans))
            run_plan(plan, share, random.Random(f"{seed} {plan.name}"))
    except CutError as wrong:
        print(wrong)
        return False
    return True
