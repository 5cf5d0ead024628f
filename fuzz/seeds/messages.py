"""What the seeds of several targets are made of."""

import struct


# Target and name of each seed, and its content.
SEEDS = {}

SILENCE = b"\xf7..."

SETMAC_SIGN = bytes([0x15, 0x18, 0x03, 0x10])
SETSN_SIGN = bytes([0x10, 0x03, 0x18, 0x15])


def seed(target, name, content):
    assert (target, name) not in SEEDS, f"{target} has two seeds {name}"
    SEEDS[target, name] = content


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


def record_list(kind, records):
    return (bytes([len(records), 3, len(records) * 25])
            + b"".join(bytes([kind, 23]) + one for one in records))


def list_message(payload):
    return b"\x20\x01" + bytes([len(payload)]) + with_sum(payload)


def fan(index, kind, channel, serial, version):
    return bytes([index, 0, kind, channel]) + field(serial, 14) + field(version, 5)


def supply(index, channel, address, serial, revision):
    return bytes([index, channel, address]) + field(serial, 14) + field(revision, 5) + b"\0"
