"""The system EEPROM of the TLV flavour, on the I2C bus."""

import pathlib

from bench import BLANK, CARD, SYSTEM, Partition, legacy_card_record, tlv_records
from cases import Cases

MAIN = Partition("product_info", 4)
EXAMPLE = (pathlib.Path(__file__).parents[2] / "examples" / "eeprom.toml").read_text()
CARD_14 = legacy_card_record(14)

# What the example's image holds, as an independent reader lists it: without the values that the switch
# adds of itself in the vendor extension.
EXAMPLE_RECORDS = (
    "0x21 53572d343858365120"[:-2], "0x22 504e2d34383036", "0x23 4142434445464748" "4a31323334",
    "0x24 001a2b3c4d5e", "0x2A 0080", "0x2C 4445", "0x29 323032332e3038")
PAGES = [(at, 8) for at in range(0, 256, 8)]


class TlvCases(Cases):

    def fit(self, **eeproms):
        self.bench.fit("nor", MAIN, **{"card": CARD_14, **eeproms})

    def provision(self, operation="setmac", job=EXAMPLE):
        return self.bench.provision("tlv/prov_setmac", operation, job)

    def assert_stored(self, served):
        self.assertTrue(served.report["ok"], served)
        self.assertEqual(served.status, 0)

    def assert_not_stored(self, served):
        self.assertFalse(served.report["ok"], served)
        self.assertEqual([reply["byte"] for reply in served.report["replies"]][-1], "12")

    def sent_pages(self):
        return [(at, len(data)) for at, data in self.bench.page_writes()]

    def test_setmac_writes_an_image_that_others_can_read(self):
        self.fit()
        self.assert_stored(self.provision())
        records = tlv_records(self.bench.eeprom())
        self.assertIsNotNone(records)
        for record in EXAMPLE_RECORDS:
            self.assertIn(record, records)
        self.assertEqual(self.bench.records(), ["ProductInfo=0B0EFACE"])

    def test_the_image_goes_out_in_32_pages_between_write_cycles(self):
        self.fit()
        self.assert_stored(self.provision())
        self.assertEqual(self.sent_pages(), PAGES)
        self.assertEqual(self.bench.refusals(), 0)
        sent = b"".join(data for _, data in self.bench.page_writes())
        self.assertEqual(sent, self.bench.eeprom())

    def test_setsn_replaces_the_serial_number_of_the_image(self):
        self.fit()
        self.assert_stored(self.provision())
        served = self.provision("setsn", 'serial = "ZYXWVUTSR9876"\n')
        self.assert_stored(served)
        records = tlv_records(self.bench.eeprom())
        self.assertIn("0x23 5a5958575655545352" "39383736", records)
        self.assertNotIn("0x23 41424344454647484a31323334", records)
        self.assertEqual(len(self.sent_pages()), 64)

    def test_the_listing_tells_what_was_stored(self):
        self.fit()
        self.assert_stored(self.provision())
        done = self.bench.run("setmac-tlv")
        self.assertEqual(done.status, 0)
        for line in ("SerialNO=ABCDEFGHJ1234", "ethaddr=00:1A:2B:3C:4D:5E", "ProductModel=SW-48X6Q"):
            self.assertIn(line + "\n", done.output)

    def test_a_write_cycle_longer_than_the_pause_is_waited_for(self):
        # 10 ms after a page, and 10 ms after each of up to five starts that find no answer.
        self.fit(cycle_ms=25)
        self.assert_stored(self.provision())
        self.assertEqual(self.sent_pages(), PAGES)
        self.assertGreater(self.bench.refusals(), 31)
        self.assertIsNotNone(tlv_records(self.bench.eeprom()))

    def test_a_chip_that_stops_answering_fails_the_operation(self):
        old = bytes(range(256))
        self.fit(system=old, answered_writes=10)
        served = self.provision()
        self.assert_not_stored(served)
        self.assertEqual(self.sent_pages(), PAGES[:10])
        # The page behind them was tried five times, and so was what follows on the bus.
        self.assertEqual(self.bench.refusals() % 5, 0)
        self.assertIn("Failed to get e2prom info: dev /dev/i2c-0 0x56, offset: 80(ret -1)", served.trace)
        self.bench.fit("nor", MAIN, keep=True)
        content = self.bench.eeprom()
        self.assertEqual(content[80:], old[80:])
        self.assertIsNone(tlv_records(content))

    def test_a_protected_chip_keeps_what_it_holds(self):
        self.fit(protected=True)
        self.provision()
        self.assertEqual(self.bench.eeprom(), BLANK)
        self.assertEqual(self.bench.run("setmac-tlv").status, 1)

    def test_a_chip_that_is_not_there_is_told(self):
        self.fit(eeproms=False)
        done = self.bench.run("setmac-tlv")
        self.assertEqual(done.status, 1)
        self.assertIn("Setmac e2prom read faile", done.output)

    def test_the_cards_type_is_read_and_compared(self):
        self.fit(card=legacy_card_record(15))
        served = self.provision()
        self.assert_not_stored(served)
        self.assertEqual(self.bench.eeprom(), BLANK)
        self.assertEqual(self.bench.eeprom(CARD), legacy_card_record(15))

    def test_a_damaged_image_is_recognised(self):
        self.fit()
        self.assert_stored(self.provision())
        image = bytearray(self.bench.eeprom())
        image[100] ^= 1
        self.fit(system=bytes(image))
        done = self.bench.run("setmac-tlv")
        self.assertIn("!!!Warning: CRC check failed.\r\n", done.output)
        self.assertNotIn("SerialNO", done.output)

    def test_the_write_enable_of_the_cpld_is_taken_back(self):
        self.fit()
        self.assert_stored(self.provision())
        registers = self.bench.execute("head -c 38 /dev/cpld0 | tail -c 1 | od -A n -t x1")
        self.assertEqual(registers.output.split(), ["ff"])

    def test_the_legacy_flavour_asks_the_card_too(self):
        job = '[[property]]\nname = "e2type"\nhex = "00 0E"\n[[property]]\nname = "SerialNO"\ntext = "ABCDEFGHJ1234"\n'
        for card_type, stored in ((14, True), (15, False)):
            with self.subTest(card_type=card_type):
                self.fit(card=legacy_card_record(card_type))
                served = self.bench.provision("prov_setmac", "setmac", job)
                self.assertEqual(served.report["ok"], stored, served)
                self.assertEqual(self.bench.eeprom(SYSTEM), BLANK)


class KernelEepromCases(Cases):
    """Beside the kernel's own driver for EEPROMs, which the simulated board has not."""

    def setUp(self):
        if not self.bench.kernel:
            self.skipTest("needs a kernel")

    def bind(self):
        done = self.bench.execute("modprobe at24; echo 24c02 0x56 >/sys/bus/i2c/devices/i2c-0/new_device")
        self.assertEqual(done.status, 0, done)

    def content(self):
        done = self.bench.execute("cat /sys/bus/i2c/devices/0-0056/eeprom >eeprom")
        self.assertEqual(done.status, 0, done)
        return (self.bench.folder / "eeprom").read_bytes()

    def test_the_kernels_driver_reads_the_image(self):
        self.bench.fit("nor", MAIN, card=CARD_14)
        self.assertTrue(self.bench.provision("tlv/prov_setmac", "setmac", EXAMPLE).report["ok"])
        self.bind()
        self.assertIn("0x23 41424344454647484a31323334", tlv_records(self.content()))

    def test_the_image_is_written_while_the_kernels_driver_has_the_chip(self):
        self.bench.fit("nor", MAIN, card=CARD_14)
        self.bind()
        self.assertTrue(self.bench.provision("tlv/prov_setmac", "setmac", EXAMPLE).report["ok"])
        self.assertIn("0x23 41424344454647484a31323334", tlv_records(self.content()))
