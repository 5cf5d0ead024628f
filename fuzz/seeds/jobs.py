"""Job files of the station."""

import os

from seeds.messages import seed

EXAMPLES = os.path.join(os.path.dirname(__file__), "..", "..", "examples")


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
