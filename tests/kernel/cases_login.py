"""A whole product from power-on to verified: the kernel's boot messages, getty, login, a shell, power cuts.

Only the emulated machine has these; the simulated board imitates them in tests/e2e/provision.
"""

import contextlib
import json
import mmap
import os
import pathlib
import pty
import select
import shutil
import subprocess
import threading
import time
import tty
import unittest

import machine
from bench import Partition, legacy_card_record, tlv_records
from cases import Cases

PRODUCTS = pathlib.Path(__file__).parents[2] / "examples" / "products"
PASSWORD = "Q7 in the dark"
SERIAL = "ABCDEFGHJ1234"
MAC = "00:1A:2B:3C:4D:80"
LONGEST_RUN = 600  # seconds
TLV_PROGRAMS = "/host/usr/libexec/setmac/tlv:"

# The kernel's console is the line to the station, as on a switch; so is all that init says.
KERNEL_ON_LINE = "console=ttyS0,115200 loglevel=7"

# What an image of a switch has: an account, a profile, and a login that comes back.
LOGIN = """
mkdir -p /root
echo 'export PATH={path}/host/usr/bin:/bin:/sbin LD_LIBRARY_PATH=/host/usr/lib/setmac-simboard' >/etc/profile
echo "root:$(mkpasswd -m sha256 '{password}'):0:0:root:/root:/bin/sh" >/etc/passwd
echo root:x:0: >/etc/group
hostname switch
dmesg -n 4
(while true; do setsid getty -L 115200 ttyS0 vt100; done) >/dev/null 2>&1 &
"""


class LastingPort:
    """A port of the station that stays when the machine behind it loses its power, as an adapter does."""

    def __init__(self):
        self.near, self.port = pty.openpty()
        tty.setraw(self.port)
        os.set_blocking(self.near, False)
        self.name = os.ttyname(self.port)
        self.line = None
        self.shown = b""  # by the switch
        self.closes = False
        self.carrier = threading.Thread(target=self.carry)
        self.carrier.start()

    def connect(self, line):
        """To the line of a machine that has just been switched on."""
        self.line = os.open(line, os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)

    def carry(self):
        while not self.closes:
            line = self.line
            ends = [self.near] if line is None else [self.near, line]
            for end in select.select(ends, [], [], 0.05)[0]:
                self.pass_on(end, line)

    def pass_on(self, end, line):
        """What nobody is there for gets lost."""
        try:
            data = os.read(end, 4096)
            if end != self.near:
                self.shown += data
            with contextlib.suppress(BlockingIOError):
                if end != self.near:
                    os.write(self.near, data)
                elif line is not None:
                    os.write(line, data)
        except OSError:
            os.close(line)
            self.line = None

    def close(self):
        self.closes = True
        self.carrier.join()
        for end in (self.near, self.port, self.line):
            if end is not None:
                os.close(end)


class LoginCases(Cases):

    @classmethod
    def setUpClass(cls):
        if not cls.bench.kernel:
            raise unittest.SkipTest("needs a kernel")
        cls.addClassCleanup(cls.bench.restart)  # without a login on the line

    def setUp(self):
        self.port = LastingPort()
        self.addCleanup(self.port.close)

    def product(self, name):
        """A product of the examples, for a switch that wants a password."""
        folder = self.bench.folder / "product"
        shutil.rmtree(folder, ignore_errors=True)
        shutil.copytree(PRODUCTS / name, folder)
        file = folder / "product.toml"
        text = file.read_text()
        known = 'user = "root"\nboot = 120\n'
        self.assertIn(known, text)
        file.write_text(text.replace(known, 'user = "root"\nboot = 300\npassword_env = "SWITCH_PASSWORD"\n'))
        return file

    def start_station(self, product):
        return subprocess.Popen(
            [self.bench.station, "provision", str(product), "--value", f"serial={SERIAL}", "--value", f"mac={MAC}",
             "--port", self.port.name, "--json", "--quiet"],
            stdout=subprocess.PIPE, text=True, env={**self.bench.station_environment(), "SWITCH_PASSWORD": PASSWORD})

    def outcome(self, station):
        output = station.communicate(timeout=LONGEST_RUN)[0]
        self.assertNotIn(PASSWORD, output)
        return json.loads(output)

    def switch_on(self, path, keep):
        """From power-on to the login."""
        self.bench.machine.kill()
        self.bench.machine.power_on(KERNEL_ON_LINE)
        self.port.connect(self.bench.machine.line)
        self.bench.machine.wait()
        self.bench.fit("nor", Partition("product_info", 4), keep=keep, card=legacy_card_record(14), paced=True)
        self.assertEqual(self.bench.execute(LOGIN.format(path=path, password=PASSWORD)).status, 0)

    def cut_power_at_first_write(self, start, size, station):
        with open(self.bench.machine.chips, "rb") as file, \
                mmap.mmap(file.fileno(), 0, prot=mmap.PROT_READ) as memory:
            before = memory[start:start + size]
            while memory[start:start + size] == before:
                if station.poll() is not None:
                    self.fail(f"ended before anything was written: {self.outcome(station)}")
                time.sleep(0.002)
        self.bench.machine.kill()

    def verifies_in_spite_of_a_power_cut(self, name, path, region):
        product = self.product(name)
        station = self.start_station(product)
        self.addCleanup(station.kill)
        self.switch_on(path, keep=False)
        self.cut_power_at_first_write(*region, station)
        self.switch_on(path, keep=True)
        first = self.outcome(station)
        self.assertEqual(first["outcome"], "verified", first)
        self.assertEqual(first["held"], "nothing")
        self.assertGreater(first["steps"][0]["starts"], 1)  # one was cut off
        self.assertEqual(first["console"].count("Password: "), 2)
        self.assertEqual(self.port.shown.count(b"] Booting Linux"), 2)
        second = self.outcome(self.start_station(product))
        self.assertEqual(second["outcome"], "verified", second)
        self.assertEqual(second["held"], "this identity")

    def test_an_identity_in_flash_is_verified_from_power_on_through_a_power_cut(self):
        self.verifies_in_spite_of_a_power_cut("sw-48x6q", "", (machine.NOR + 0x10000, 0x10000))
        records = self.bench.records()
        self.assertIn(f"SerialNO={SERIAL}", records)
        self.assertIn(f"ethaddr={MAC}", records)

    def test_an_identity_in_the_eeprom_is_verified_from_power_on_through_a_power_cut(self):
        self.verifies_in_spite_of_a_power_cut("sw-48x6q-tlv", TLV_PROGRAMS, (machine.EEPROMS, 256))
        records = tlv_records(self.bench.eeprom())
        self.assertIn(f"0x23 {SERIAL.encode().hex()}", records)
        self.assertIn(f"0x24 {MAC.replace(':', '').lower()}", records)
