#!/usr/bin/env python3
"""Runs the cases on the simulated board and on the kernel's own drivers.

Both have to pass the same cases: where they differ, the board is not what it stands for.
"""

import argparse
import pathlib
import sys
import time
import unittest

import cases_console
import cases_eeprom
import cases_flash
import cases_login
import power_cuts
from board import BoardBench
from machine import KernelBench

MODULES = (cases_flash, cases_eeprom, cases_console, cases_login)


def cases_of(bench, pattern):
    """The cases, as a suite of their own for the bench."""
    suite = unittest.TestSuite()
    loader = unittest.TestLoader()
    loader.testNamePatterns = [f"*{pattern}*"] if pattern else None
    for module in MODULES:
        for found in vars(module).values():
            if isinstance(found, type) and issubclass(found, unittest.TestCase) and found.__module__ == module.__name__:
                suite.addTest(loader.loadTestsFromTestCase(type(f"{bench.name}.{found.__name__}", (found,), {"bench": bench})))
    return suite


def make_bench(part, build):
    """The bench for a part, in a folder of its own."""
    station = str(build / "release/bin/setmac-station")
    if part == "board":
        return BoardBench(build / "release", build / "kernel/board", station)
    return KernelBench(build / "kernel", build / "kernel" / part, station)


def run_cases(bench, pattern):
    """Whether they pass."""
    start = time.monotonic()
    result = unittest.TextTestRunner(verbosity=0, stream=sys.stdout).run(cases_of(bench, pattern))
    skipped = f", {len(result.skipped)} of them not here" if result.skipped else ""
    print(f"{result.testsRun} cases on the {bench.name}{skipped}: {time.monotonic() - start:.0f} s", flush=True)
    return result.wasSuccessful()


def main():
    """The exit status."""
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("part", choices=("board", "kernel", "cuts"),
                        help="the cases on the simulated board or on the kernel, or power cuts")
    parser.add_argument("build", type=pathlib.Path, help="the folder of the builds")
    parser.add_argument("--cases", metavar="TEXT", help="only cases with this in their names")
    parser.add_argument("--cuts", type=int, default=20, metavar="N", help="so many power cuts (default 20)")
    parser.add_argument("--seed", type=int, default=1, metavar="S", help="of the moments of the cuts (default 1)")
    options = parser.parse_args()

    bench = make_bench(options.part, options.build.resolve())
    try:
        if options.part == "cuts":
            good = power_cuts.run(bench, options.cuts, options.seed)
        else:
            good = run_cases(bench, options.cases)
    finally:
        bench.close()
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
