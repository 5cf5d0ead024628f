"""What stands in flash and in EEPROMs, and what an operator types."""

import struct
import zlib

from seeds.messages import seed


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
    seed("tlv_info", "programmed", b"\x04" + image[1:] + tlv_edit(0, 0x23, b""))
    seed("tlv_info", "not_programmed", b"\x06" + image[1:] + tlv_edit(0, 0x23, b""))
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
    for name, room in (("nearly_full", 460), ("too_many", 480)):
        seed("product_line", name, b"\n".join([b"F", b" first=" + room * b"V", b" last=1"]))


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
