"""What a PC sends to the operations on units."""

import struct

from seeds.messages import SILENCE, fan, field, list_message, record_list, seed, supply, with_sum


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
