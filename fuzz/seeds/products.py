"""Product files, and what a console says to a run of one."""

import os

from seeds.messages import SILENCE, seed

EXAMPLES = os.path.join(os.path.dirname(__file__), "..", "..", "examples")


def station_product():
    for product in ("sw-48x6q", "sw-48x6q-tlv", "chassis-8"):
        with open(os.path.join(EXAMPLES, "products", product, "product.toml"), encoding="utf-8") as file:
            text = file.read()
        seed("station_product", product, b"\x01" + text.encode())
    forms = "".join(f'[[value]]\nname = "{name}"\nkind = "{kind}"\n{form}\n' for name, kind, form in (
        ("serial", "text", 'pattern = "[A-Z0-9]{13}"'), ("mac", "mac", "align = 64\ncount = 64"),
        ("n", "number", "least = 1\nmost = 9"), ("made", "date", "")))
    for number, text in enumerate(("{serial}{{}}", "{mac+1}", "{mac+64}", "{n+1}", "{made}{today}", "{serial", "}")):
        seed("station_product", f"filled_{number}", b"\x00" + f'a = "{text}"\n{forms}'.encode())


def station_console():
    prompt = b"\r\nswitch# "
    wait = SILENCE
    login = b"Loader\r\n[    0.000001] boot\r\nswitch login: " + wait + b"root\r\nPassword: " + wait
    listing = b"prodinfo" + wait + b"\r\nSerialNO=0000000000000\r\nethaddr=00:11:22:33:44:55" + prompt + wait
    typed = b"prov_setmac setmac" + wait + b"\r\nSetmac Model setup ...\r\n" + wait
    stored = (b"\x15\x01\x07\x06Save product info success.\r\r\nswitch# ")
    read = (b"prodinfo" + wait + b"\r\nethaddr=00:1A:2B:3C:4D:40\r\nSerialNO=ABCDEFGHJ1234\r\n"
            b"ProductModel=SW-48X6Q\r\nHardwareVersion=1.02\r\ncountry_def=DE\r\n"
            b"MgmtAddress=00:1A:2B:3C:4D:41\r\nManufactured=2024-01-31" + prompt + wait)
    whole = login + prompt + wait + prompt + wait + listing + listing + typed + stored + wait + read + read
    for choice in (0x00, 0x08, 0x80):
        seed("station_console", f"whole_{choice:02x}", bytes([choice]) + whole)
    seed("station_console", "refused", b"\x00" + login + b"\r\nLogin incorrect\r\nswitch login: ")
    seed("station_console", "other_prompt", b"\x00" + 8 * (b"\r\nloader> " + 8 * wait))
    seed("station_console", "backplane", b"\x00" + 30 * wait + b"\x06" + 30 * wait)
