"""What a simulated board holds, read from its memories by themselves: docs/formats.md has their bytes."""

import zlib

FLASH_IMAGE = 8192
TLV_HEADER = b"TlvInfo\0\x01"
TLV_SERIAL, TLV_MAC, TLV_CRC = 0x23, 0x24, 0xFE


def identity_of(board):
    """(serial number, MAC address) of a board's folder; both None where it holds nothing whole."""
    eeprom, flash = board / "i2c-56.bin", board / "mtd2.bin"
    if (board / "cpld0.bin").exists():  # only boards of the TLV flavour have one
        return _in_eeprom(eeprom.read_bytes())
    return _in_flash(flash.read_bytes()) if flash.exists() else (None, None)


def _in_flash(memory):
    image = memory[:FLASH_IMAGE]
    if int.from_bytes(image[:4], "little") != zlib.crc32(image[4:]):
        return None, None
    records = {}
    for record in image[4:].split(b"\0"):
        if not record:
            break
        name, _, value = record.decode("ascii").partition("=")
        records[name] = value
    return records.get("SerialNO"), records.get("ethaddr")


def _in_eeprom(memory):
    length = int.from_bytes(memory[9:11], "big")
    end = 11 + length
    if not memory.startswith(TLV_HEADER) or end > len(memory) or int.from_bytes(memory[end - 4:end], "big") != zlib.crc32(memory[:end - 4]):
        return None, None
    records, at = {}, 11
    while at < end:
        code, size = memory[at], memory[at + 1]
        records[code] = memory[at + 2:at + 2 + size]
        at += 2 + size
    assert memory[end - 6:end - 4] == bytes((TLV_CRC, 4)), "the CRC record is the last one"
    serial, mac = records.get(TLV_SERIAL), records.get(TLV_MAC)
    return serial and serial.decode("ascii"), mac and ":".join(f"{byte:02X}" for byte in mac)
