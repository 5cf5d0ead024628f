"""The product information in flash."""

from bench import IMAGE_SIZE, Partition, product_image
from cases import Cases

CRC_FAILED = "!!!Warning: CRC check failed.\r\n"
SAVED = "Save product info success.\r\n"
NOT_SAVED = "Save product info failed.\r\n"
NO_START = "Setmac init failed.\r\n"
NO_SIZE = "init_product_info: can't get mtd size.\r\n"

SERIAL = "ABCDEFGHJ1234"
OTHER_SERIAL = "ZYXWVUTSR9876"
MAIN = Partition("product_info", 4)
MIRROR = Partition("product_info_other", 4)
EVERY_KIND = ("nor", "cfi", "nand")


def holding(*records):
    return product_image(*records)


class OperatorCases(Cases):
    """Every command of an operator, on every kind of flash."""

    def each_kind(self):
        for kind in EVERY_KIND:
            with self.subTest(kind):
                self.bench.fit(kind, MAIN)
                yield kind

    def test_a_blank_partition_is_an_empty_store(self):
        for _ in self.each_kind():
            self.gives(CRC_FAILED, 0, "prodinfo")

    def test_setsn_stores_the_serial_number(self):
        for _ in self.each_kind():
            self.gives(CRC_FAILED + SAVED, 0, "setsn", SERIAL)
            self.assertEqual(self.bench.records(), [f"SerialNO={SERIAL}"])
            self.gives(f"SerialNO={SERIAL}\r\n", 0, "prodinfo")

    def test_setsn_asks_for_what_it_was_not_given(self):
        self.bench.fit("nor", MAIN)
        self.gives(CRC_FAILED + "Please input serial number:" + SAVED, 0, "setsn", stdin=SERIAL + "\n")
        self.assertEqual(self.bench.records(), [f"SerialNO={SERIAL}"])

    def test_setsn_refuses_another_length_and_stores_nothing(self):
        for _ in self.each_kind():
            self.gives(CRC_FAILED + "Error: Invalid serial number: 123\r\n", 1, "setsn", "123")
            self.assertEqual(set(b"".join(self.bench.blocks())), {0xFF})

    def test_setmac_stores_both_forms_of_an_address(self):
        for _ in self.each_kind():
            self.gives(CRC_FAILED + SAVED, 0, "setmac", "00d0f8a1b2c3")
            self.assertEqual(self.bench.records(), ["ethaddr=00:d0:f8:a1:b2:c3"])
            self.gives(SAVED, 0, "setmac", "00:1A:2B:3C:4D:5E")
            self.assertEqual(self.bench.records(), ["ethaddr=00:1A:2B:3C:4D:5E"])

    def test_setcountry_stores_four_texts(self):
        for _ in self.each_kind():
            asked = "".join(f"Please input country {name}:" for name in ("def", "map", "map1", "change"))
            self.gives(CRC_FAILED + asked + SAVED, 0, "setcountry", stdin="DE\nAT,CH,DE\nEU\n1\n")
            self.assertEqual(self.bench.records(), ["country_change=1", "country_def=DE",
                                                    "country_map1=EU", "country_map=AT,CH,DE"])

    def test_setproduct_adds_changes_and_removes_records(self):
        for _ in self.each_kind():
            head = ("Please input the name and value of setmac field.\r\n"
                    "Format: name=value, Press 'q' to save and quit.\r\n\r\n")
            self.gives(CRC_FAILED + head + SAVED, 0, "setproduct", stdin="a=1\nb=2\nc=3\na=4\nb=\nq\n")
            self.gives("a=4\r\nc=3\r\n", 0, "prodinfo")
            self.assertEqual(self.bench.records(), ["a=4", "c=3"])

    def test_fw_setmac_stores_one_record(self):
        for _ in self.each_kind():
            self.gives(CRC_FAILED + SAVED, 0, "fw_setmac", "HardwareVersion", "1.02")
            self.assertEqual(self.bench.records(), ["HardwareVersion=1.02"])

    def test_a_full_store_is_kept_and_a_longer_one_refused(self):
        for _ in self.each_kind():
            records = [f"{name}={name * 507}" for name in "abcdefghijklmnop"]
            lines = "".join(record + "\n" for record in records)
            # 16 records of 510 bytes are 8160; the last one takes the 27 bytes before the ending NUL.
            self.assertEqual(self.bench.run("setproduct", stdin=f"{lines}z={'z' * 24}\nq\n").status, 0)
            self.assertEqual(self.bench.records(), [*records, "z=" + "z" * 24])
            self.assertEqual(self.bench.run("setproduct", stdin=f"z={'z' * 25}\nq\n").status, 1)
            self.assertEqual(self.bench.records(), [*records, "z=" + "z" * 24])


class NorCases(Cases):

    def test_nor_is_erased_whole_and_written_from_its_start(self):
        for kind in ("nor", "cfi"):
            with self.subTest(kind):
                self.bench.fit(kind, MAIN)
                self.bench.write(bytes(1000), offset=IMAGE_SIZE)
                self.gives(CRC_FAILED + SAVED, 0, "setsn", SERIAL)
                first, *others = self.bench.blocks()
                self.assertEqual(first[:IMAGE_SIZE], holding(f"SerialNO={SERIAL}"))
                self.assertEqual(set(first[IMAGE_SIZE:] + b"".join(others)), {0xFF})

    def test_a_save_without_a_change_does_not_touch_the_flash(self):
        for kind in ("nor", "cfi"):
            with self.subTest(kind):
                self.bench.fit(kind, MAIN)
                self.gives(CRC_FAILED + SAVED, 0, "setsn", SERIAL)
                self.bench.write(b"mark", offset=IMAGE_SIZE)
                self.gives(SAVED, 0, "setsn", SERIAL)
                self.assertEqual(self.bench.blocks()[0][IMAGE_SIZE:][:4], b"mark")
                self.gives(SAVED, 0, "setsn", OTHER_SERIAL)
                self.assertEqual(self.bench.blocks()[0][IMAGE_SIZE:][:4], b"\xff" * 4)

    def test_a_damaged_image_is_recognised_and_made_good_by_the_next_save(self):
        for kind in ("nor", "cfi"):
            with self.subTest(kind):
                self.bench.fit(kind, MAIN)
                self.gives(CRC_FAILED + SAVED, 0, "setsn", SERIAL)
                self.bench.write(b"\0", offset=20)
                self.gives(CRC_FAILED, 0, "prodinfo")
                self.gives(CRC_FAILED + SAVED, 0, "setsn", SERIAL)
                self.assertEqual(self.bench.records(), [f"SerialNO={SERIAL}"])

    def test_a_block_that_cannot_be_erased_fails_the_save(self):
        self.bench.fit("nor", Partition("product_info", 4, no_erase=(2,)))
        self.bench.write(b"\x5a" * 0x40000)
        self.gives(CRC_FAILED + NOT_SAVED, 1, "setsn", SERIAL)
        # What comes before the block is erased.
        kept = [set(block) for block in self.bench.blocks()]
        self.assertEqual(kept, [{0xFF}, {0xFF}, {0x5A}, {0x5A}])
        self.gives(CRC_FAILED, 0, "prodinfo")

    def test_a_block_that_cannot_be_programmed_fails_the_save(self):
        self.bench.fit("nor", Partition("product_info", 4, no_write=(0,)))
        self.gives(CRC_FAILED + NOT_SAVED, 1, "setsn", SERIAL)
        self.assertEqual(set(b"".join(self.bench.blocks())), {0xFF})
        self.gives(CRC_FAILED, 0, "prodinfo")

    def test_a_block_that_cannot_be_read_is_no_start(self):
        for block in (0, 3):
            with self.subTest(block=block):
                self.bench.fit("nor", Partition("product_info", 4, no_read=(block,)))
                failed = "init_product_info: mtd read failed.\r\n" + NO_START
                self.gives(failed, 1, "prodinfo")
                self.gives(failed, 1, "setsn", SERIAL)


class NandCases(Cases):

    def test_nand_keeps_a_copy_in_every_good_block(self):
        self.bench.fit("nand", Partition("product_info", 8, bad=(0, 3, 7)))
        self.gives(CRC_FAILED + SAVED, 0, "setsn", SERIAL)
        image = holding(f"SerialNO={SERIAL}")
        for number, block in enumerate(self.bench.blocks()):
            with self.subTest(block=number):
                if number in (0, 3, 7):
                    self.assertNotIn(SERIAL.encode(), block)
                else:
                    self.assertEqual(block[:IMAGE_SIZE], image)
                    self.assertEqual(set(block[IMAGE_SIZE:]), {0xFF})
        self.assertEqual(self.bench.records(), [f"SerialNO={SERIAL}"])
        self.gives(f"SerialNO={SERIAL}\r\n", 0, "prodinfo")

    def test_a_new_identity_replaces_every_copy(self):
        self.bench.fit("nand", Partition("product_info", 4, bad=(1,)))
        self.gives(CRC_FAILED + SAVED, 0, "setsn", SERIAL)
        self.gives(SAVED, 0, "setsn", OTHER_SERIAL)
        image = holding(f"SerialNO={OTHER_SERIAL}")
        blocks = self.bench.blocks()
        self.assertEqual([blocks[i][:IMAGE_SIZE] == image for i in range(4)], [True, False, True, True])

    def test_bad_blocks_only_start_empty_and_nothing_is_stored(self):
        self.bench.fit("nand", Partition("product_info", 2, bad=(0, 1)))
        self.gives(CRC_FAILED, 0, "prodinfo")
        # The scan ends with the position of the last block, which counts as a success.
        self.gives(CRC_FAILED + SAVED, 0, "setsn", SERIAL)
        self.gives(CRC_FAILED, 0, "prodinfo")

    def test_a_block_that_cannot_be_erased_fails_the_save(self):
        self.bench.fit("nand", Partition("product_info", 4, no_erase=(2,)))
        self.gives(CRC_FAILED + NOT_SAVED, 1, "setsn", SERIAL)
        self.assertEqual(set(b"".join(self.bench.blocks())), {0xFF})
        self.gives(CRC_FAILED, 0, "prodinfo")

    def test_a_block_that_cannot_be_programmed_fails_the_save_after_those_before_it(self):
        self.bench.fit("nand", Partition("product_info", 4, no_write=(2,)))
        self.gives(CRC_FAILED + NOT_SAVED, 1, "setsn", SERIAL)
        image = holding(f"SerialNO={SERIAL}")
        self.assertEqual([block[:IMAGE_SIZE] == image for block in self.bench.blocks()],
                         [True, True, False, False])
        self.gives(f"SerialNO={SERIAL}\r\n", 0, "prodinfo")

    def test_the_first_copy_is_read_even_where_it_is_damaged(self):
        # The character device hands out a page that cannot be corrected as if it were right, so the
        # copies behind it are not tried: its checksum tells.
        self.bench.fit("nand", MAIN)
        self.gives(CRC_FAILED + SAVED, 0, "setsn", SERIAL)
        self.bench.spoil("product_info", 0)
        self.gives(CRC_FAILED, 0, "prodinfo")
        self.gives(CRC_FAILED + SAVED, 0, "setsn", SERIAL)
        self.gives(f"SerialNO={SERIAL}\r\n", 0, "prodinfo")

    def test_damage_in_a_later_copy_is_not_noticed(self):
        self.bench.fit("nand", MAIN)
        self.gives(CRC_FAILED + SAVED, 0, "setsn", SERIAL)
        self.bench.spoil("product_info", 0x20000)
        self.gives(f"SerialNO={SERIAL}\r\n", 0, "prodinfo")


class MirrorCases(Cases):

    def test_the_mirror_gets_the_same_image(self):
        for kind in EVERY_KIND:
            with self.subTest(kind):
                self.bench.fit(kind, MAIN, MIRROR)
                self.gives(CRC_FAILED + SAVED, 0, "setsn", SERIAL)
                for name in ("product_info", "product_info_other"):
                    self.assertEqual(self.bench.blocks(name)[0][:IMAGE_SIZE], holding(f"SerialNO={SERIAL}"))
                    self.assertEqual(self.bench.records(name), [f"SerialNO={SERIAL}"])

    def test_the_mirror_is_found_in_front_of_the_primary_too(self):
        for kind in EVERY_KIND:
            with self.subTest(kind):
                self.bench.fit(kind, MIRROR, MAIN)
                self.gives(CRC_FAILED + SAVED, 0, "setsn", SERIAL)
                self.assertEqual(self.bench.records("product_info_other"), [f"SerialNO={SERIAL}"])
                self.gives(f"SerialNO={SERIAL}\r\n", 0, "prodinfo")

    def test_a_mirror_that_fails_fails_the_save(self):
        for kind in ("nor", "nand"):
            with self.subTest(kind):
                self.bench.fit(kind, MAIN, Partition("product_info_other", 4, no_erase=(0,)))
                self.gives(CRC_FAILED + NOT_SAVED, 1, "setsn", SERIAL)
                self.gives(f"SerialNO={SERIAL}\r\n", 0, "prodinfo")

    def test_a_primary_that_fails_is_not_told_where_the_mirror_is_written(self):
        for kind in ("nor", "nand"):
            with self.subTest(kind):
                self.bench.fit(kind, Partition("product_info", 4, no_erase=(0,)), MIRROR)
                self.gives(CRC_FAILED + SAVED, 0, "setsn", SERIAL)
                self.assertEqual(self.bench.records("product_info_other"), [f"SerialNO={SERIAL}"])
                self.gives(CRC_FAILED, 0, "prodinfo")

    def test_the_mirror_is_never_read(self):
        self.bench.fit("nor", MAIN, MIRROR)
        self.bench.write(holding(f"SerialNO={SERIAL}"), name="product_info_other")
        self.gives(CRC_FAILED, 0, "prodinfo")


class StartCases(Cases):

    def test_a_start_needs_the_partition(self):
        self.bench.fit("nor", Partition("product_info2", 4))
        self.gives("init_product_info: can't find productinfo.\r\n" + NO_START, 1, "prodinfo")

    def test_the_search_ends_at_a_gap_in_the_numbers(self):
        self.bench.fit("nor", MAIN, gap=True)
        self.gives("init_product_info: can't find productinfo.\r\n" + NO_START, 1, "prodinfo")

    def test_flash_of_another_type_is_not_used(self):
        self.bench.fit("ram", MAIN)
        self.gives(NO_SIZE + NO_START, 1, "prodinfo")
        self.gives(NO_SIZE + NO_START, 1, "setsn", SERIAL)

    def test_a_partition_that_is_read_only_is_no_start(self):
        for kind in EVERY_KIND:
            with self.subTest(kind):
                self.bench.fit(kind, Partition("product_info", 4, read_only=True))
                self.gives("mtd_get_size: Open mtd1 failed.\r\n" + NO_SIZE + NO_START, 1, "prodinfo")

    def test_a_mirror_that_is_read_only_fails_the_save(self):
        for kind in EVERY_KIND:
            with self.subTest(kind):
                self.bench.fit(kind, MAIN, Partition("product_info_other", 4, read_only=True))
                self.gives(CRC_FAILED + NOT_SAVED, 1, "setsn", SERIAL)
                self.gives(f"SerialNO={SERIAL}\r\n", 0, "prodinfo")
