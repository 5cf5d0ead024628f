"""What a PC sends to the framed exchange, and the payloads in it."""

from seeds.messages import SETMAC_SIGN, SETSN_SIGN, SILENCE, frame, node, part, seed, with_crc


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
