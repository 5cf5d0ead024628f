"""Requests to the floor: each begins with a byte whose lowest bit leaves out host, type and token."""

from seeds.messages import seed

READS = (
    "/", "/index.html", "/api/session", "/api/state", "/api/events", "/api/pools", "/api/find?text=A%20B+C",
    "/api/units?label=A&product=P&state=in_doubt&since=2026-11-21&until=2026-11-22T08:30:00Z&after=1&limit=5",
    "/api/attempts?outcome=failed&slot=3&operator=0017", "/api/attempts/181", "/api/attempts/181/transcript",
    "/api/export/units.csv?state=void", "/api/export/units.jsonl", "/api/export/attempts.csv?slot=1",
    "/api/export/attempts.jsonl", "/api/units?label=%00%c3%28", "/api/units?label=a&label=b",
)
CHANGES = (
    ("/api/slots/3/start", '{"label": "A-1", "product": "SW", "serial": "S1", "mac": "00:1A:2B:3C:4D:5E", '
     '"operator": "0017", "again": true, "take_over": false, "replace": true, "only_check": false}'),
    ("/api/slots/3/start", '{"label": "A", "l\\u0061bel": "B"}'),
    ("/api/slots/3/start", '{"label": {"a": [1]}}'),
    ("/api/slots/3/cancel", ""),
    ("/api/operator", '{"badge": "0017"}'),
)
HEADERS = (
    "Host: localhost:8080", "Origin: http://localhost:8080", "Sec-Fetch-Site: same-origin",
    "Last-Event-ID: s-17", "Content-Type: application/json; charset=utf-8", "X-Setmac-Token: 0123456789abcdef",
)


def floor_request():
    for number, target in enumerate(READS):
        seed("floor_request", f"read_{number}", f"\x00GET {target}\n\n<b>\n".encode())
    for number, (target, body) in enumerate(CHANGES):
        seed("floor_request", f"change_{number}", f"\x00POST {target}\n\n{body}".encode())
    head = "\n".join(HEADERS)
    seed("floor_request", "stranger", f"\x01POST /api/operator\n{head}\n\n{CHANGES[-1][1]}".encode())
    seed("floor_request", "events", f"\x01GET /api/events\n{head}\n\n".encode())
