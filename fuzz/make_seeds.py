#!/usr/bin/env python3
"""make_seeds.py FOLDER: writes the seeds of the fuzz targets, FOLDER/TARGET/NAME: messages and contents
such as the tests use, each behind the bytes by which its target chooses what is around them."""

import os
import sys

from seeds import exchange, floor, jobs, products, station, storage, units
from seeds.messages import SEEDS

WRITERS = (
    exchange.framed_exchange, exchange.apply_data, exchange.tlv_data_apply,
    storage.tlv_info, storage.product_image, storage.product_line, storage.card_type,
    units.backplane, units.fans, units.supplies, units.devices,
    station.station_framed, station.station_units, jobs.station_job,
    products.station_product, products.station_console, floor.floor_request,
)


def main():
    for writer in WRITERS:
        writer()
    for (target, name), content in SEEDS.items():
        folder = os.path.join(sys.argv[1], target)
        os.makedirs(folder, exist_ok=True)
        with open(os.path.join(folder, name), "wb") as file:
            file.write(content)


if __name__ == "__main__":
    main()
