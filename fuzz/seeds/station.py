"""What a switch answers to the station."""

import struct

from seeds.messages import SILENCE, fan, field, record_list, seed, supply, with_sum


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
