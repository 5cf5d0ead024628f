#!/usr/bin/env python3
"""Checks that a 256-byte EEPROM holds a valid TlvInfo image, and prints its records.

Written from the published ONIE format alone, so that it shares nothing with the programs that it
checks. Of their deliberate peculiarities it lets one pass, a date with a NUL behind it.

Usage: tlvinfo_check.py FILE
Each record is a line "0xNN hexvalue". Below a vendor extension stand its enterprise number and its
sub-records, indented. Ends with 0, with 1 and a reason when the image is not valid, and with 2 when
it was not given a file that it can read.
"""

import struct
import sys
import zlib

EEPROM_SIZE = 256
HEADER = struct.Struct(">8sBH")  # id string, version, total length of the records
MOST_RECORD_BYTES = 245
VENDOR_EXTENSION = 0xFD
CRC_32 = 0xFE
MANUFACTURE_DATE = 0x25
RESERVED = (0x00, 0xFF)

# The records whose values have one size.
VALUE_SIZES = {
    0x24: 6,  # base MAC address
    MANUFACTURE_DATE: 19,  # MM/DD/YYYY HH:NN:SS
    0x26: 1,  # device version
    0x2A: 2,  # number of MAC addresses
    0x2C: 2,  # country code
    CRC_32: 4,
}


# The exception: the format counts the 19 characters of a manufacture date, and the programs that are
# checked store and count a NUL behind them.
DATE_WITH_NUL = 20


class NotValid(Exception):
    """Why an image is not valid."""


def require(holds, reason):
    """Raises NotValid unless it holds."""
    if not holds:
        raise NotValid(reason)


def split(data, what):
    """The type-length-value records that data consists of, as (type, value) pairs."""
    records = []
    while data:
        require(len(data) >= 2, f"{what}: a single byte is left over")
        kind, length = data[0], data[1]
        require(len(data) >= 2 + length, f"{what}: {kind:#04x} runs past the end")
        records.append((kind, data[2:2 + length]))
        data = data[2 + length:]
    return records


def read_header(image):
    """The total length of the records."""
    require(len(image) == EEPROM_SIZE, f"{len(image)} bytes, not {EEPROM_SIZE}")
    name, version, total_length = HEADER.unpack_from(image)
    require(name == b"TlvInfo\0", "the id string is not TlvInfo")
    require(version == 1, f"version {version}, not 1")
    require(total_length <= MOST_RECORD_BYTES, f"a total length of {total_length}")
    return total_length


def without_exception(kind, value):
    """The value as the format has it."""
    if kind == MANUFACTURE_DATE and len(value) == DATE_WITH_NUL and value[-1] == 0:
        return value[:-1]
    return value


def check_records(records):
    """The rules that are one record's alone."""
    seen = set()
    for kind, value in records:
        require(kind not in RESERVED, f"a record of the reserved type {kind:#04x}")
        require(kind == VENDOR_EXTENSION or kind not in seen, f"{kind:#04x} stands there twice")
        value = without_exception(kind, value)
        size = VALUE_SIZES.get(kind, len(value))
        require(len(value) == size, f"{kind:#04x} has {len(value)} bytes, not {size}")
        seen.add(kind)


def check_crc(image, end, records):
    """The last record, and nothing but it, is the checksum of all that stands before its value."""
    require(records and records[-1][0] == CRC_32, "the last record is not the CRC-32")
    stored = int.from_bytes(records[-1][1], "big")
    computed = zlib.crc32(image[:end - 4])
    require(stored == computed, f"CRC-32 {stored:#010x}, but of these bytes it is {computed:#010x}")


def extension_lines(value):
    """What a vendor extension consists of: enterprise number, sub-records."""
    require(len(value) >= 4, "the vendor extension has no enterprise number")
    yield f"  enterprise {int.from_bytes(value[:4], 'big')}"
    for kind, content in split(value[4:], "vendor extension"):
        yield f"  0x{kind:02X} {content.hex()}".rstrip()


def lines_of(image):
    """The lines that tell what an image holds. Raises NotValid."""
    end = HEADER.size + read_header(image)
    records = split(image[HEADER.size:end], "records")
    check_records(records)
    check_crc(image, end, records)
    lines = []
    for kind, value in records:
        lines.append(f"0x{kind:02X} {value.hex()}".rstrip())
        if kind == VENDOR_EXTENSION:
            lines.extend(extension_lines(value))
    return lines


def main(arguments):
    """The exit status."""
    if len(arguments) != 2:
        print(f"usage: {arguments[0]} FILE", file=sys.stderr)
        return 2
    try:
        with open(arguments[1], "rb") as file:
            image = file.read()
        print("\n".join(lines_of(image)))
    except OSError as wrong:
        print(wrong, file=sys.stderr)
        return 2
    except NotValid as wrong:
        print(f"not valid: {wrong}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
