"""PC operations over a serial console, with the station at the other end."""

import pathlib

from bench import IMAGE_SIZE, Partition, product_image
from cases import Cases

MAIN = Partition("product_info", 4)
MIRROR = Partition("product_info_other", 4)
EXAMPLE = (pathlib.Path(__file__).parents[2] / "examples" / "switch.toml").read_text()
EXAMPLE_RECORDS = [
    "FeatureMask=0102FF", "HardwareVersion=1.02", "ProductInfo=0B0EFACE", "ProductModel=SW-48X6Q",
    "SerialNO=ABCDEFGHJ1234", "country_change=1", "country_def=DE", "country_map1=",
    "country_map=AT,CH,DE,FR,IT", "ethaddr=00:1A:2B:3C:4D:5E"]


class ConsoleCases(Cases):

    def provision(self, operation, job):
        return self.bench.provision("prov_setmac", operation, job)

    def assert_stored(self, served):
        self.assertTrue(served.report["ok"], served)
        self.assertEqual(served.status, 0)
        self.assertIn("Save product info success.", served.report["console"])

    def test_setmac_stores_the_whole_identity(self):
        for kind in ("nor", "cfi", "nand"):
            with self.subTest(kind):
                self.bench.fit(kind, MAIN, MIRROR)
                self.assert_stored(self.provision("setmac", EXAMPLE))
                self.assertEqual(self.bench.records(), EXAMPLE_RECORDS)
                self.assertEqual(self.bench.records("product_info_other"), EXAMPLE_RECORDS)

    def test_setsn_stores_the_serial_number_and_sends_it_back(self):
        self.bench.fit("nor", MAIN)
        self.assert_stored(self.provision("setsn", 'serial = "ABCDEFGHJ1234"\n'))
        self.assertEqual(self.bench.records(), ["SerialNO=ABCDEFGHJ1234"])

    def test_every_byte_goes_through(self):
        # Among them 11 and 13, which stop and start a line, 03 and 1C, which end programs, 0D and FF.
        self.bench.fit("nor", MAIN)
        values = [bytes(range(start, start + 64)).hex() for start in range(0, 256, 64)]
        job = "".join(f'[[property]]\nname = "part{i}"\nhex = "{value}"\n' for i, value in enumerate(values))
        self.assert_stored(self.provision("setmac", job))
        image = product_image("ProductInfo=0B0EFACE", *(f"part{i}={value.upper()}" for i, value in enumerate(values)))
        self.assertEqual(self.bench.blocks()[0][:IMAGE_SIZE], image)

    def test_flow_control_bytes_do_not_stop_the_line(self):
        self.bench.fit("nor", MAIN)
        job = "".join(f'[[property]]\nname = "stop{i}"\nhex = "{"13" * 64}"\n' for i in range(16))
        self.assert_stored(self.provision("setmac", job))
        self.assertEqual(len(self.bench.records()), 17)

    def test_a_full_store_goes_through(self):
        self.bench.fit("nor", MAIN)
        # 58 records of 140 bytes and the mark of 21 leave 47 of 8188.
        job = "".join(f'[[property]]\nname = "name{i:06}"\ntext = "{"v" * 128}"\n' for i in range(58))
        self.assert_stored(self.provision("setmac", job))
        self.assertEqual(len(self.bench.records()), 59)

    def test_the_console_is_afterwards_as_it_was(self):
        self.bench.fit("nor", MAIN)
        for operation, job in (("setmac", EXAMPLE), ("setsn", 'serial = "ABCDEFGHJ1234"\n')):
            with self.subTest(operation):
                served = self.provision(operation, job)
                self.assert_stored(served)
                before, after = served.settings
                self.assertIn(" icanon ", before)
                self.assertIn(" ixon ", before)
                self.assertEqual(before, after)

    def test_the_trace_tells_each_step(self):
        self.bench.fit("nor", MAIN)
        served = self.provision("setmac", EXAMPLE)
        self.assertIn("Get char count:", served.trace)
        self.assertTrue(served.trace.startswith("[SETMAC <"), served.trace[:80])

    def test_a_save_that_fails_is_told_to_the_pc(self):
        self.bench.fit("nor", Partition("product_info", 4, no_erase=(0,)))
        served = self.provision("setmac", EXAMPLE)
        self.assertFalse(served.report["ok"], served)
        self.assertEqual(served.report["replies"][-1]["byte"], "12")
        self.assertEqual(served.settings[0], served.settings[1])

    def test_a_second_identity_changes_records_in_their_places(self):
        self.bench.fit("nand", MAIN)
        self.assert_stored(self.provision("setmac", EXAMPLE))
        self.assert_stored(self.provision("setmac", EXAMPLE.replace("ABCDEFGHJ1234", "ZYXWVUTSR9876")))
        changed = [record.replace("ABCDEFGHJ1234", "ZYXWVUTSR9876") for record in EXAMPLE_RECORDS]
        self.assertEqual(self.bench.records(), changed)
