#!/usr/bin/env python3
"""make_seeds.py FOLDER: writes the seeds of the fuzz targets, FOLDER/TARGET/NAME: messages and contents
such as the tests use, each behind the bytes by which its target chooses what is around them."""

import os
import struct
import sys
import zlib

CORPUS = sys.argv[1]
EXAMPLES = os.path.join(os.path.dirname(__file__), "..", "examples")
SILENCE = b"\xf7..."

SETMAC_SIGN = bytes([0x15, 0x18, 0x03, 0x10])
SETSN_SIGN = bytes([0x10, 0x03, 0x18, 0x15])


def seed(target, name, content):
    folder = os.path.join(CORPUS, target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as file:
        file.write(content)


def line_crc(data):
    """CRC-32/MPEG-2, as it stands behind what the PC sends."""
    crc = 0xFFFFFFFF
    for byte in data:
        crc ^= byte << 24
        for _ in range(8):
            crc = (crc << 1 ^ (0x04C11DB7 if crc & 0x80000000 else 0)) & 0xFFFFFFFF
    return struct.pack(">I", crc)


def with_crc(data):
    return data + line_crc(data)


def frame(sign, payload):
    value = with_crc(payload)
    return with_crc(sign) + b"\x01" + struct.pack(">I", len(value)) + value


def node(name, kind, value):
    return name + bytes([0, kind]) + struct.pack(">I", len(value)) + value


def part(flag, content):
    return bytes([flag]) + struct.pack(">I", len(content) + 5) + content


def with_sum(data):
    return data + bytes([sum(data) & 0xFF])


def field(text, size):
    return text.ljust(size, b"\0")


PRODUCT_INFO = part(2, node(b"MacAddress", 2, bytes([0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E]))
                    + node(b"SerialNO", 1, b"ABCDEFGHJ1234\0")
                    + node(b"FeatureMask", 2, bytes([1, 2, 0xFF])))
FOR_CARD_5 = part(2, node(b"e2type", 2, bytes([0, 0, 0, 5])) + node(b"ProductModel", 1, b"SW-48\0"))

EEPROM_NODES = (node(b"e2type", 2, bytes([0, 5])) + node(b"ProductModel", 1, b"SW-48X6Q\0")
                + node(b"HardwareVersion", 1, b"1.02\0")
                + node(b"MacAddress", 2, bytes([0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E]))
                + node(b"ethaddr_scale", 1, b"80\0")
                + node(b"setmac_time", 1, b"2024-01-02 03:04:05 \0")
                + node(b"Serial Number", 1, b"ABCDEFGHJ1234\0")
                + node(b"serial0", 1, b"A1\0") + node(b"serial1", 1, b"B2\0")
                + node(b"e2_write_en_reg", 2, b"\x31") + node(b"unknown", 1, b"?\0"))


def framed_exchange():
    seed("framed_exchange", "setmac", b"\x00" + frame(SETMAC_SIGN, PRODUCT_INFO))
    seed("framed_exchange", "setmac_tlv", b"\x02" + frame(SETMAC_SIGN, part(1, EEPROM_NODES)))
    seed("framed_exchange", "setsn", b"\x01{{" + frame(SETSN_SIGN, b"ABCDEFGHJ1234"))
    seed("framed_exchange", "setsn_tlv", b"\x03{" + frame(SETSN_SIGN, b"ABCDEFGHJ1234"))
    seed("framed_exchange", "handler", b"\x04{" + frame(SETSN_SIGN, b"ABCDEFGHJ1234"))
    seed("framed_exchange", "handler_without_start", b"\x04x")
    seed("framed_exchange", "no_handler", b"\x05{")
    seed("framed_exchange", "no_mode", b"\x06{")
    seed("framed_exchange", "no_start", b"\x01" + 2000 * b"x")
    seed("framed_exchange", "silent", b"\x01")
    seed("framed_exchange", "refused", b"\x00" + frame(SETMAC_SIGN, part(7, b"")))
    seed("framed_exchange", "silences",
         b"\x80" + SILENCE + with_crc(SETMAC_SIGN)[:3] + SILENCE + with_crc(SETMAC_SIGN) + SILENCE
         + b"\x01" + with_crc(SETMAC_SIGN) + b"\x01\0\0" + SILENCE + b"\0\0\0\x08x" + SILENCE
         + with_crc(SETMAC_SIGN) + b"\x01\0\0\0\x04\0\0\0\0")
    seed("framed_exchange", "bad_sign", b"\x80" + b"z" + SETMAC_SIGN + b"\0\0\0\0"
         + with_crc(SETMAC_SIGN) + b"\x02")
    seed("framed_exchange", "too_long", b"\x80" + with_crc(SETMAC_SIGN) + b"\x01\x00\x02\x00\x01")
    seed("framed_exchange", "longest", b"\xc0" + with_crc(SETMAC_SIGN) + b"\x01\x00\x02\x00\x00")
    seed("framed_exchange", "too_long_and_there", b"\xc0" + with_crc(SETMAC_SIGN) + b"\x01\x00\x02\x00\x01")
    seed("framed_exchange", "sign_after_silence",
         b"\x81{{" + SILENCE + with_crc(SETSN_SIGN) + b"\x01\xff\xff\xff\xff")


def apply_data():
    seed("apply_data", "properties", b"\x00" + PRODUCT_INFO)
    seed("apply_data", "properties_nand_mirror", b"\x06" + part(1, b"skipped") + PRODUCT_INFO)
    seed("apply_data", "right_card", b"\x08" + FOR_CARD_5)
    seed("apply_data", "wrong_card",
         b"\x08" + part(2, node(b"e2type", 2, bytes([0, 0, 0, 6]))))
    seed("apply_data", "unknown_type",
         b"\x00" + part(2, node(b"odd", 3, b"x") + node(b"name", 1, b"value\0")))
    seed("apply_data", "cut_off_node", b"\x00" + part(2, b"name\0\x01\0\0\0\xff"))
    seed("apply_data", "unknown_part", b"\x00" + part(3, b"x"))
    seed("apply_data", "empty_part", b"\x00" + part(1, b""))
    seed("apply_data", "cut_off_part", b"\x00\x02\0\0")
    seed("apply_data", "short_part", b"\x00\x02\0\0\0\x04")
    seed("apply_data", "not_saved", b"\x10" + PRODUCT_INFO)
    seed("apply_data", "serial", b"\x01ABCDEFGHJ1234")
    seed("apply_data", "long_serial", b"\x01" + 70 * b"A")
    seed("apply_data", "serial_not_saved", b"\x11ABCDEFGHJ1234")


def tlv_data_apply():
    seed("tlv_data_apply", "nodes", b"\x04" + part(0, b"skipped") + part(1, EEPROM_NODES))
    seed("tlv_data_apply", "default_register", b"\x00" + part(1, node(b"serial3", 1, b"C3\0")))
    seed("tlv_data_apply", "wrong_card", b"\x04" + part(1, node(b"e2type", 2, bytes([0, 6]))))
    seed("tlv_data_apply", "cut_off", b"\x00" + part(1, EEPROM_NODES)[:60])
    seed("tlv_data_apply", "short_part", b"\x00\x01\0\0\0\x04")
    seed("tlv_data_apply", "bad_mac", b"\x00" + part(1, node(b"MacAddress", 2, bytes(6))))
    seed("tlv_data_apply", "not_programmed", b"\x0c" + part(1, EEPROM_NODES))
    seed("tlv_data_apply", "no_card", b"\x20" + part(1, EEPROM_NODES))
    seed("tlv_data_apply", "long_card_type", b"\x04" + part(1, node(b"e2type", 2, bytes(5))))
    seed("tlv_data_apply", "odd_versions", b"\x02" + node(b"HardwareVersion", 1, b"1.2345\0")
         + node(b"HardwareVersion", 1, b"12\0") + node(b"HardwareVersion", 1, b"9.99\0")
         + node(b"ProductModel", 1, 19 * b"M" + b"\0"))
    seed("tlv_data_apply", "no_room", b"\x02" + node(b"serial2", 1, 200 * b"S" + b"\0")
         + node(b"serial3", 1, 250 * b"S" + b"\0") + node(b"Part Number", 1, 400 * b"P" + b"\0"))
    seed("tlv_data_apply", "serial", b"\x01ABCDEFGHJ5678")
    seed("tlv_data_apply", "no_serial", b"\x11ABCDEFGHJ5678")
    seed("tlv_data_apply", "serial_not_programmed", b"\x09ABCDEFGHJ5678")


def record(code, value):
    return bytes([code, len(value)]) + value


def tlv_image(records):
    head = b"TlvInfo\0\x01" + struct.pack(">H", len(records) + 6) + records + b"\xfe\x04"
    return head + struct.pack(">I", zlib.crc32(head))


def tlv_edit(what, code, text):
    return bytes([what, code]) + struct.pack(">H", len(text)) + text


def tlv_info():
    extension = struct.pack(">I", 32473) + record(0x44, b"A1") + record(0x4A, bytes([0, 7]))
    whole = tlv_image(record(0x23, b"ABCDEFGHJ1234") + record(0x24, bytes([0, 17, 34, 51, 68, 85]))
                      + record(0x2A, bytes([0, 128])) + record(0x21, b"SW-48")
                      + record(0x25, b"01/02/2024 03:04:05\0") + record(0x26, b"\x01")
                      + record(0x30, bytes([1, 2])) + record(0xFD, extension))
    edits = [tlv_edit(2, 0x25, b"2024-01-02 03:04:05 "), tlv_edit(2, 0x25, b"2024-1-2"),
             tlv_edit(2, 0x25, b"20x4-01-02 03:04:05 "), tlv_edit(2, 0x25, b"20240-1-02 03:04:05 "),
             tlv_edit(2, 0x26, b"0x10"), tlv_edit(2, 0x26, b"256"), tlv_edit(2, 0x2A, b"ffff"),
             tlv_edit(2, 0x2A, b"10000"), tlv_edit(2, 0x24, b"00:11:22:33:44:55"),
             tlv_edit(2, 0x24, b"01:11:22:33:44:55"), tlv_edit(2, 0x24, b"00-11-22-33-44-55"),
             tlv_edit(2, 0x24, b"0g:11:22:33:44:55"), tlv_edit(2, 0x24, b"00:11"),
             tlv_edit(2, 0x30, b"1, 2;0x10"), tlv_edit(2, 0x30, b"1 2 "), tlv_edit(2, 0x30, b"1 a"),
             tlv_edit(2, 0x30, b"300"), tlv_edit(2, 0x30, b"1"), tlv_edit(2, 0xFE, b""),
             tlv_edit(2, 0xFD, b"raw"), tlv_edit(0, 0x23, b""), tlv_edit(0, 0xFE, b""),
             tlv_edit(1, 0, b""), tlv_edit(4, 0, b""), tlv_edit(5, 0, b""),
             tlv_edit(6, 0, b"Serial Number"), tlv_edit(6, 0, b"serial0"), tlv_edit(6, 0, b"?")]
    image = bytes([0, len(whole)]) + whole
    for number in range(0, len(edits), 6):
        seed("tlv_info", f"edits_{number // 6}", image + b"".join(edits[number:number + 6]))
    seed("tlv_info", "many_bytes", image + tlv_edit(2, 0x30, 254 * b"1 " + b"1")
         + tlv_edit(2, 0x30, 300 * b"1 "))
    for kinds in (b"\x40\x01", b"\x4a\x04\0\0\0\7", b"\x4a\x01\7", b"\x50\x01x", b""):
        content = tlv_image(record(0x23, b"S") + record(0xFD, b"\0\0\x7e\xd9" + kinds))
        seed("tlv_info", f"extension_{kinds.hex() or 'none'}", bytes([0, len(content)]) + content)
    seed("tlv_info", "short_extension", b"\x00\x1e" + tlv_image(record(0xFD, b"\0\0")))
    seed("tlv_info", "blank", b"\x01\x00" + tlv_edit(2, 0x23, b"ABCDEFGHJ1234"))
    seed("tlv_info", "unreadable", b"\x02\x00" + tlv_edit(2, 0x23, b"ABCDEFGHJ1234"))
    seed("tlv_info", "wrong_crc", bytes([1, len(whole)]) + whole[:-1] + b"?")
    full = tlv_image(record(0x22, 237 * b"P"))
    seed("tlv_info", "full", bytes([0, 255]) + full[:255] + tlv_edit(2, 0x21, b"x"))
    seed("tlv_info", "invalid_record", b"\x00\x20" + tlv_image(b"\0\4abcd" + record(0x21, b"x"))
         [:32].ljust(32, b"\0"))


def store_image(records):
    area = b"".join(one + b"\0" for one in records)
    return bytes(4) + area


def product_image():
    seed("product_image", "records",
         b"\x00" + store_image([b"ProductInfo=0B0EFACE", b"SerialNO=ABCDEFGHJ1234", b"empty="]))
    seed("product_image", "nand", b"\x04" + store_image([b"ethaddr=00:1A:2B:3C:4D:5E"]))
    for name, choice in (("mirror", 0x08), ("mirror_fails", 0x28), ("read_fails", 0x10), ("write_fails", 0x20),
                         ("ioctl_fails", 0x30), ("no_partition", 0x40), ("small_partition", 0x80)):
        seed("product_image", name,
             bytes([choice]) + store_image([b"first=1", b"a=2", b"last=3"]))
    seed("product_image", "too_much", b"\x02" + store_image([b"a=" + 400 * b"v", b"b=", b"d"])[:-1])
    seed("product_image", "malformed", b"\x00" + store_image(
        [b"no equals sign", b"=no name", 70 * b"N" + b"=long", b"long=" + 600 * b"V", b"a=1", b"a=2"]))
    seed("product_image", "full", b"\x02" + store_image([b"long=V"])[:-1])
    seed("product_image", "blank", b"\x03\xff")
    seed("product_image", "wrong_checksum", b"\x01" + store_image([b"a=b"]))


def product_line():
    seed("product_line", "lines", b"\n".join(
        [b" name=value", b" name=other", b" last=1", b" name=", b" absent=", b" no equals sign",
         b" =no name", b" " + 64 * b"N" + b"=long", b" last=", b" long=" + 600 * b"V", b""]))
    seed("product_line", "fields", b"\n".join(
        [b"SABCDEFGHJ1234", b"Stoo short", b"M00:D0:F8:A1:B2:C3", b"M00d0f8a1b2c3",
         b"M00-D0-F8-A1-B2-C3", b"M00:D0:F8:A1:B2:Cg", b"M1", b"H1.0.3", b"HV1.0", b"CDE",
         b"GSerialNO", b"Gabsent"]))
    seed("product_line", "too_many", b"\n".join(
        b" name%02d=" % number + 500 * b"V" for number in range(17)))


def card_type():
    wanted = bytes([0, 0, 1, 9])
    tlv = bytes([1, 0x7E, 0, 0xF1, 0, 10, 1, 2, 0xAA, 0xBB, 6, 4]) + wanted
    seed("card_type", "tlv", b"\x00\x04" + wanted + tlv + b"\0\0")
    seed("card_type", "small_room", b"\x00\x02" + wanted + tlv + b"\0\0")
    seed("card_type", "no_room", b"\x00\x00" + wanted + tlv + b"\0\0")
    seed("card_type", "direct", b"\x00\x04" + bytes([0, 0, 0, 14, 1, 0x7E, 0, 14, 0, 3, 1, 1, 1]) + b"\0\0")
    seed("card_type", "no_entry", b"\x00\x04" + wanted + bytes([1, 0x7E, 0, 0xF1, 0, 4, 1, 2, 3, 4]) + b"\0\0")
    seed("card_type", "wrong_sum", b"\x01\x04" + wanted + tlv + b"\0\0")
    seed("card_type", "bad_length", b"\x01\x04" + wanted + bytes([1, 0x7E, 0, 0xF1, 1, 0]))
    seed("card_type", "format2", b"\x00\x04" + wanted
         + bytes([2, 0x7E, 0, 0xF1, 0, 0, 0, 0, 0, 6, 6, 4]) + wanted)
    seed("card_type", "format2_no_area", b"\x00\x04" + wanted + bytes([2, 0x7E, 0, 0xF1, 0, 0, 0, 0, 0, 0]))
    seed("card_type", "format2_direct", b"\x00\x04" + wanted + bytes([2, 0x7E, 0, 14]))
    seed("card_type", "legacy", b"\x00\x04" + bytes([0, 0, 0, 5, 1, 0, 0, 5]))
    for sub_type in (0x11, 0x01, 0x00):
        content = bytes([1, 0, 0, 0x9C]).ljust(64, b"\0") + bytes([sub_type])
        seed("card_type", f"legacy_sub_{sub_type:02x}", b"\x00\x04" + wanted + content)
    seed("card_type", "legacy_9e", b"\x00\x04" + wanted + bytes([1, 0, 0, 0x9E]))
    seed("card_type", "legacy2", b"\x00\x04" + wanted + bytes([2, 0, 0, 0xF0, 0, 0, 0, 0x20]))
    seed("card_type", "unknown_format", b"\x00\x04" + wanted + bytes([3]))
    for call in (1, 2, 6, 7, 8, 9):
        seed("card_type", f"fails_at_{call}", bytes([2 + 16 * (call - 1), 4]) + wanted + tlv + b"\0\0")


def element(kind, text):
    return bytes([kind, len(text)]) + text + b"\0"


def backplane():
    whole = (element(1, b"00e0fc0a0b0c") + element(2, b"BP123456789012345X") + element(3, b"0x1F")
             + element(4, b"V1.00") + element(5, b"01") + element(6, b"a2") + element(7, b"3")
             + element(8, b"1ff") + element(9, b"12345678"))
    message = b"\x15\x01" + bytes([len(whole), 9]) + with_sum(whole)
    for name, choice, trouble in (("driver", 0, 0), ("bridge", 1, 0), ("bridge_shown", 3, 0),
                                  ("driver_fails", 0, 2), ("bridge_busy", 1, 5), ("bridge_fails", 1, 6),
                                  ("bridge_sticks", 1, 7), ("fpga_fails", 1, 3), ("status_unread", 1, 1),
                                  ("seek_fails", 1, 4)):
        seed("backplane", name, bytes([choice, trouble]) + message)
    odd = element(1, b"00e0zz") + element(1, b"00e0zz0a0b0c") + element(10, b"?") + element(4, b"VERSION8x")
    seed("backplane", "odd_elements", b"\x01\x00\x15\x01" + bytes([len(odd), 200]) + with_sum(odd))
    seed("backplane", "wrong_sum", b"\x80\x00" + message[:-1] + b"?" + SILENCE + b"\x15?\x15" + SILENCE
         + b"\x15\x01" + SILENCE + b"\x15\x01\x05" + SILENCE + b"\x15\x01\x05\x01" + SILENCE)


def record_list(kind, records):
    return (bytes([len(records), 3, len(records) * 25])
            + b"".join(bytes([kind, 23]) + one for one in records))


def list_message(payload):
    return b"\x20\x01" + bytes([len(payload)]) + with_sum(payload)


def fan(index, kind, channel, serial, version):
    return bytes([index, 0, kind, channel]) + field(serial, 14) + field(version, 5)


def fans():
    two = list_message(record_list(4, [fan(1, 0x51, 0, b"FAN0000000001", b"1.23"),
                                       fan(2, 0x52, 1, b"FAN00000000002", b"2.0A")])) + b"\x06\x06"
    poe = list_message(record_list(4, [fan(1, 0x11, 2, b"POE0000000001", b"1.00")])) + b"\x06\x06"
    for name, choice, trouble, message in (("fans", 0, 0, two), ("poe", 5, 0, poe), ("fans_read", 4, 0, two),
                                           ("no_fpga", 2, 0, two), ("fails", 0, 6, two),
                                           ("sticks", 0, 7, two), ("second_half_fails", 1, 14, poe)):
        seed("fans", name, bytes([choice, trouble]) + message)
    seed("fans", "nine", b"\x00\x00" + list_message(record_list(4, 9 * [fan(1, 1, 0, b"F", b"1.00")])))
    seed("fans", "bad_head", b"\x00\x00" + list_message(b"\x01\x04\x00"))
    seed("fans", "bad_element", b"\x00\x00" + list_message(record_list(5, [fan(1, 1, 0, b"F", b"1.00")])))
    seed("fans", "short_list", b"\x00\x00" + list_message(b"\x01\x03"))
    seed("fans", "too_long", b"\x80\x00\x20\x01\xfb")
    seed("fans", "damaged", b"\x80\x00" + two[:-3] + b"?" + SILENCE + b"\x20\x01\x03\x00")
    seed("fans", "not_acknowledged", b"\x00\x00" + two[:-2] + 20 * b"x")


def supply(index, channel, address, serial, revision):
    return bytes([index, channel, address]) + field(serial, 14) + field(revision, 5) + b"\0"


def supplies():
    two = list_message(record_list(5, [supply(1, 0, 0x58, b"PWR0000000001", b"A01"),
                                       supply(2, 1, 0x59, b"PWR00000000002", b"B123")])) + b"\x06\x06"
    absent = list_message(record_list(5, [supply(1, 2, 0x58, b"PWR3", b"A01")])) + b"\x06\x06"
    for name, choice, trouble, message in (("two", 0, 0, two), ("absent", 0, 0, absent),
                                           ("no_fpga", 1, 0, two), ("write_fails", 0, 6, two),
                                           ("second_write_fails", 0, 14, two), ("read_fails", 0, 22, two),
                                           ("busy", 0, 5, two)):
        seed("supplies", name, bytes([choice, trouble]) + message)
    seed("supplies", "nine", b"\x00\x00" + list_message(record_list(5, 9 * [supply(1, 0, 0x58, b"P", b"A")])))
    seed("supplies", "too_many", b"\x00\x00" + list_message(b"\x09\x03\x00"))
    seed("supplies", "missing_element", b"\x00\x00" + list_message(b"\x01\x03\x19"))
    seed("supplies", "too_long", b"\x80\x00\x20\x01\xff")


def device(kind, index, serial, hardware, number=0, name=b"", fan_type=0):
    return (bytes([kind, 129, index, 0x55, fan_type, 7, 8]) + field(serial, 24) + field(hardware, 6)
            + field(name, 32) + struct.pack(">I", number) + 58 * b"\xa5")


def device_list(devices):
    content = bytes([len(devices), 9, 0x34, 0x12, 0, 0]) + b"".join(devices)
    return b"\x20\x01" + struct.pack(">I", len(content)) + with_sum(content)


def devices():
    each = [device(1, 0, b"FAN0000000001", b"1.23", 0x11223344), device(2, 0, b"", b"2.00", 0, b"PSU-550"),
            device(3, 0, b"CARD000000001", b"3.00", 0x99)]
    over = b"\x06\x06\x03"
    for name, choice, trouble in (("each_kind", 0, 0), ("chassis", 1, 0)):
        seed("devices", name, bytes([choice, trouble]) + device_list(each) + over)
    # The library's operations from number 1 on, in the order of unit_run.cpp.
    for number, one in enumerate(5 * [each[0]] + 3 * [each[1]] + 4 * [each[2]]):
        seed("devices", f"refused_{number}", bytes([number == 2, 2 + 8 * number]) + device_list([one]) + over)
    seed("devices", "others", b"\x00\x00" + device_list(
        [device(1, 0, b"F", b"", 1), device(1, 1, b"F", b"1"), device(1, 0, b"F", b"1", 0, b"", 5),
         device(2, 0, b"", b"1", 0, b"PSU-551"), device(3, 0, b"C", b"1", 0x98), device(4, 0, b"", b"")])
         + over)
    seed("devices", "seventeen", b"\x00\x00" + device_list(17 * [each[0]]) + over)
    seed("devices", "too_many", b"\x00\x00\x20\x01\0\0\0\1" + with_sum(b"\x11") + b"\x03")
    seed("devices", "too_long", b"\x80\x00\x20\x01\x7f\xff\xff\xff\x03")
    seed("devices", "negative", b"\x80\x00\x20\x01\xff\xff\xff\xff\x00\x03")
    seed("devices", "damaged", b"\x80\x00\x20\x01\0\0\0\1\x01?" + b"\x20" + SILENCE + b"\x20\x01\0"
         + SILENCE + b"\x20\x01\0\0\0\2x" + SILENCE + b"\x03")


def station_framed():
    banner = (b"Setmac Model setup ...\r\nDisconnect your console terminal first \r\n"
              b" Using your PC SetMac program to perform Setmac Operation ...\r\n")
    serial = b"ABCDEFGHJ1234"
    for job, name in enumerate(("setmac", "setmac_tlv")):
        start = bytes([job, 0]) + banner + SILENCE
        seed("station_framed", f"{name}_stored", start + b"\x15\x01\x07" + SILENCE + b"\x06")
        seed("station_framed", f"{name}_failed", start + b"\x15\x01\x07" + SILENCE + b"\x12")
        seed("station_framed", f"{name}_refused", start + b"\x15\x01\x07" + SILENCE + b"\x19")
        seed("station_framed", f"{name}_damaged", start + b"\x15\x01\x14")
        seed("station_framed", f"{name}_probed", bytes([job, 0]) + 4 * SILENCE + b"\x15\x01\x07table\r\n\x06")
        seed("station_framed", f"{name}_closed", bytes([job, 2]) + banner + SILENCE + b"\x15\x01")
    seed("station_framed", "not_raw", b"\x00\x01" + banner + SILENCE + banner + SILENCE + b"\x15\x01\x07\x06")
    seed("station_framed", "unwritable", b"\x00\x04" + banner + SILENCE + b"\x15\x01\x07\x06")
    seed("station_framed", "unwritable_value", b"\x00\x24" + banner + SILENCE + b"\x15\x01\x07\x06")
    seed("station_framed", "byte_by_byte", b"\x01\x08" + banner + SILENCE
         + b"\x15\x01\x07Vendor Name          0x2D   6 talvex\r\n" + SILENCE + b"\x06\r\n")
    seed("station_framed", "late_version", b"\x00\x00" + banner + SILENCE + b"\x15" + 33 * SILENCE + b"\x01\x14")
    seed("station_framed", "other_byte", b"\x00\x00" + banner + SILENCE + b"\x15\x10" + SILENCE + b"\x01\x00")
    for job, name in ((2, "setsn"), (3, "setsn_tlv")):
        seed("station_framed", f"{name}_stored",
             bytes([job, 0]) + b"}\x10\x01\x07\x06\x0d" + serial + b"\x06")
        seed("station_framed", f"{name}_mismatch",
             bytes([job, 0]) + b"}\x10\x01\x07\x06\x0d" + serial[:-1] + b"5\x06")
        seed("station_framed", f"{name}_zeros",
             bytes([job, 0]) + b"}\x10\x01\x07\x06\x0d" + bytes(13) + b"\x06")
        seed("station_framed", f"{name}_other_length",
             bytes([job, 0]) + b"}\x10\x01\x07\x06\x0c" + serial + b"\x06")
        seed("station_framed", f"{name}_cut_off", bytes([job, 0]) + b"}\x10\x01\x07\x06\x0dABC")
        seed("station_framed", f"{name}_echoed_calls", bytes([job, 1]) + b"{{login: }" + SILENCE + b"{}\x10")
        seed("station_framed", f"{name}_failed", bytes([job, 0]) + b"}\x10\x01\x07\x12")


def example_units(name):
    """The payload that the station sends for an example."""
    if name == "fans":
        return record_list(4, [fan(1, 5, 0, b"FANA000000001", b"1.23"), fan(2, 5, 1, b"FANA000000002", b"1.23")])
    if name == "poe":
        return record_list(4, [fan(1, 0x11, 2, b"POEA000000001", b"2.0A")])
    return record_list(5, [supply(1, 0, 0x58, b"PSUA000000001", b"A01"),
                           supply(2, 0, 0x59, b"PSUA000000002", b"A01")])


def station_units():
    banners = {"fans": b"perform SetFanSn Operation", "poe": b"perform SetPOESn Operation",
               "supplies": b"perform SetPowerSn Operation"}
    for job, (name, banner) in enumerate(banners.items(), 1):
        payload = example_units(name)
        start = bytes([job, 0]) + b"Disconnect your console terminal first\r\n" + banner + b" ......" + SILENCE + b"\x06"
        back = b"\x06\x20\x01" + bytes([len(payload)])
        seed("station_units", f"{name}_written", start + back + with_sum(payload))
        outcomes = bytearray(payload)
        for outcome in (1, 2, 3, 9):
            outcomes[27 if name == "supplies" else 6] = outcome
            seed("station_units", f"{name}_outcome_{outcome}", start + back + with_sum(bytes(outcomes)))
        for at in (0, 5, 8):
            changed = bytearray(payload)
            changed[at] ^= 0x20
            seed("station_units", f"{name}_changed_{at}", start + back + with_sum(bytes(changed)))
        seed("station_units", f"{name}_refused", start + bytes([0x28 + job]))
        seed("station_units", f"{name}_too_long", start + b"\x28")
        seed("station_units", f"{name}_other_outcome", start + back + with_sum(payload[:6] + b"\x07" + payload[7:]))
        seed("station_units", f"{name}_once_more", start + b"\x20\x06" + back + with_sum(payload))
        seed("station_units", f"{name}_not_offered", start + b"\x06")
        seed("station_units", f"{name}_not_sent", start + b"\x06\x20")
        seed("station_units", f"{name}_cut_off", start + back + payload[:20])
        seed("station_units", f"{name}_other_length", start + b"\x06\x20\x01\x05")
        seed("station_units", f"{name}_wrong_sum", start + back + payload + b"?")
    seed("station_units", "another_operation", b"\x01\x00" + banners["poe"])
    seed("station_units", "closed", b"\x01\x02" + banners["fans"])
    seed("station_units", "silent", b"\x01\x00" + banners["fans"])
    seed("station_units", "probed", b"\x01\x00" + 4 * SILENCE + b"\x06" + SILENCE + b"\x06\x28")

    first = b"Disconnect your console terminal first ...\r\n" + SILENCE + b"\x06"
    for name, answer in (("written", b"\x06"), ("one_fails", b"\x01\x06"), ("both_fail", b"\x01\x02\x06"),
                         ("three", b"\x01\x02\x03\x06"), ("once_more", b"\x15\x06" + b"\x06"),
                         ("text", b"text\r\n\x06"), ("once_more_after_text", b"x\r\n\x15" + SILENCE), ("half", b"\x01" + SILENCE), ("silent", b"")):
        seed("station_units", f"backplane_{name}", b"\x00\x00" + first + answer)

    banner = (b"Disconnect your console terminal first\r\n"
              b" Using your PC Setmac program to perform Set device info Operation ......" + SILENCE + b"\x06")
    sent = station_device_list()
    back = b"\x06\x20\x01" + struct.pack(">I", len(sent))
    seed("station_units", "devices_written", b"\x04\x00" + banner + back + with_sum(sent))
    for outcome in range(1, 6):
        flagged = bytearray(sent)
        for entry in range(4):
            flagged[6 + 131 * entry + 3] = outcome
        seed("station_units", f"devices_outcome_{outcome}",
             b"\x04\x00" + banner + back + with_sum(bytes(flagged)))
    for writes in (2, 6):
        seed("station_units", f"devices_unwritable_{writes}",
             bytes([4, 4 + 16 * writes]) + banner + back + with_sum(sent))
    other = bytearray(sent)
    other[6 + 7] ^= 0x20
    seed("station_units", "devices_differ", b"\x04\x00" + banner + back + with_sum(bytes(other)))
    seed("station_units", "devices_refused", b"\x04\x00" + banner + b"\x29" + b"\x06\x28" + b"\x06\x29")


def station_device_list():
    """What the station sends for examples/devices.toml."""
    def entry(kind, index, serial, hardware, number, name=b""):
        return (bytes([kind, 129, index, 0, 0, 0, 0]) + field(serial, 24) + field(hardware, 6)
                + field(name, 32) + struct.pack(">I", number) + bytes(58))

    entries = [entry(1, 0, b"FANB000000000001", b"1.23", 0x8001),
               entry(1, 1, b"FANB000000000002", b"1.23", 0x8001),
               entry(2, 0, b"", b"A01", 0, b"PSU-550"),
               entry(3, 0, b"CARD000000000003", b"2.00", 0x21)]
    return bytes([4, 0, 0x0C, 0x02, 0, 0]) + b"".join(entries)


def station_job():
    examples = (("switch", 0), ("serial", 1), ("backplane", 2), ("fans", 3), ("poe", 4), ("supplies", 5),
                ("devices", 6), ("switch", 7), ("eeprom", 0x80), ("serial", 0x81), ("eeprom", 0x87))
    for example, choice in examples:
        with open(os.path.join(EXAMPLES, f"{example}.toml"), encoding="utf-8") as file:
            lines = file.read().splitlines()
        text = "\n".join(line for line in lines if line and not line.startswith("#")) + "\n"
        seed("station_job", f"{example}_{choice:02x}", bytes([choice]) + text.encode())
    odd = b'a = "x"\nb = 1.5\nc = true\nd = 2024-01-02\ne = [1, 2]\n[f]\ng = 1\n'
    for choice in (0, 1, 2, 3, 6, 0x80):
        seed("station_job", f"odd_kinds_{choice:02x}", bytes([choice]) + odd)
    for name, choice, text in JOBS:
        seed("station_job", name, bytes([choice]) + text.encode())


def nodes(*pairs):
    return "".join(f'[[node]]\nname = "{name}"\n{value}\n' for name, value in pairs)


def properties(*pairs):
    return "".join(f'[[property]]\nname = "{name}"\n{value}\n' for name, value in pairs)


def units(name, count, keys):
    return "".join(f"[[{name}]]\nchannel = {number}\nindex = {number}\n{keys}\n" for number in range(count))


# Job files by the number of their command, 0x80 more for the other flavour.
JOBS = (
    ("no_toml", 0, "[[["),
    ("records", 6, '[[record]]\n[[record.device]]\nkind = "fan"\nindex = 0\nfan_type = 5\nserial = "F"\n'),
    ("too_many_in_record", 6, "[[record]]\n" + "".join(
        f'[[record.device]]\nkind = "fan"\nindex = {number}\ntype = 1\nserial = "F"\n' for number in range(17))),
    ("odd_device", 6, '[[device]]\nkind = "lamp"\nindex = 256\n[[device]]\nkind = "fan"\nindex = 0\ntype = 1\n'
     'fan_type = 2\n[[device]]\nkind = "supply"\nindex = 0\nserial = "S"\nname = "'
     + 33 * "N" + '"\nhardware = ""\n'),
    ("parts", 0x80, '[[part]]\nflag = 0\n[[part.node]]\nname = "serial0"\ntext = "A"\n'
     '[[part]]\nflag = 256\n[[part.node]]\nname = "Part Number"\ntext = "' + 250 * "P" + '"\n'),
    ("nodes_of_each_kind", 0x80, nodes(
        ("Vendor Extension", 'hex = "00 00 7E D9 44 02 41 31"'), ("Device Version", 'text = "0x64"'),
        ("e2_write_en_reg", 'hex = "31"'), ("e2type", 'hex = "05"'), ("serial1", 'text = "B2"'))),
    ("nodes_refused", 0x80, nodes(
        ("CRC-32", 'hex = "00"'), ("Serial Number", 'hex = "00"'), ("serial0", 'text = "a\\u0007"'),
        ("serial0", 'text = "again"'), ("setmac_time", 'text = "2024-02-30 00:00:00"'),
        ("setmac_time", 'text = "now"'), ("Device Version", 'text = "010"'), ("ethaddr_scale", 'text = "g"'),
        ("Vendor Extension", 'hex = "00 00 7E D9 44 09 41"'), ("Vendor Extension", 'hex = "00"'),
        ("e2_write_en_reg", 'hex = "31 32"'), ("MacAddress", 'hex = "01 1A 2B 3C 4D 5E"'), ("", 'text = ""'),
        ("ProductModel", 'text = "' + 19 * "M" + '"'), ("HardwareVersion", 'text = "1.2.3"'))),
    ("derived_lost", 0x80, nodes(
        ("Label Revision", 'text = "7"'), ("Platform Name", 'text = "P"'), ("HardwareVersion", 'text = "3.00"'),
        ("ProductModel", 'text = "M"'), ("Vendor Extension", 'hex = "00 00 7E D9 4A 04 00 00 00 05"'))),
    ("bases", 0x87, nodes(("HardwareVersion", 'text = "0.x1"'), ("e2type", 'hex = "00 00 05"'))),
    ("octal", 0x87, nodes(("HardwareVersion", 'text = "0.17"'), ("e2type", 'hex = "00 00 00 05"'))),
    ("extension_without_values", 0x87, nodes(
        ("Vendor Extension", 'hex = "00 00 7E D9 01 00"'), ("Serial Number", 'text = "S"'),
        ("MacAddress", 'hex = "00 1A 2B 3C 4D 5E"'), ("ethaddr_scale", 'text = "80"'),
        ("ProductModel", 'text = "M"'), ("setmac_time", 'text = "2024-01-02 03:04:05"'))),
    ("no_room", 0x80, nodes(("serial0", 'text = "' + 200 * "S" + '"'), ("serial1", 'text = "' + 99 * "S" + '"'))),
    ("properties_refused", 0, properties(
        ("a\\u0000b", 'text = "x"'), ("ProductInfo", 'text = "x"'), (70 * "n", 'text = "x"'), ("a=b", 'text = "x"'),
        ("nul", 'text = "a\\u0000"'), ("long", 'text = "' + 200 * "v" + '"'), ("hex", 'hex = "0g"'), ("", 'text = ""'),
        ("twice", 'text = ""'), ("twice", 'text = ""'), ("typed", 'type = 2\ntext = "ab"'),
        ("typed1", 'type = 1\nhex = "41 00"'), ("typed3", "type = 3\nhex = \"41\""), ("both", 'text = ""\nhex = ""'),
        ("none", ""), ("list", 'text = [[1]]'), ("MacAddress", 'hex = "00"'))),
    ("serial_nul", 1, 'serial = "a\\u0000"\n'),
    ("serial_long", 1, 'serial = "' + 70 * "S" + '"\n'),
    ("serial_no_text", 1, "serial = 1\n"),
    ("serial_of_tables", 1, "[[serial]]\na = 1\n"),
    ("ten_fans", 3, units("fan", 10, 'type = 5\nserial = "F"\nhardware = "1.00"')),
    ("odd_fans", 3, units("fan", 2, 'type = 300\nserial = "' + 14 * "F" + '"\nhardware = "1,00"\nchannel = 0')),
    ("same_fans", 3, 2 * units("fan", 1, 'type = 5\nserial = "F"\nhardware = "1.00"')),
    ("odd_supplies", 5, units("supply", 2, 'address = 0x57\nserial = ""\nhardware = "A\\u0001"')),
    ("nine_supplies", 5, units("supply", 9, 'address = 0x58\nserial = "P"\nhardware = "A"')),
    ("odd_backplane", 2, '[backplane]\nmac = "00 1A"\nserial = ""\ntype = -1\nversion = "123456789"\ntype9_value = -1\n'),
    ("text_for_backplane", 2, 'backplane = "x"\n'),
    ("text_for_number", 2, '[backplane]\nmac = 1\nserial = [[1]]\ntype = "x"\nversion = 1979-05-27\n'),
)


def main():
    for write in (framed_exchange, apply_data, tlv_data_apply, tlv_info, product_image, product_line,
                  card_type, backplane, fans, supplies, devices, station_framed, station_units,
                  station_job):
        write()


if __name__ == "__main__":
    main()
