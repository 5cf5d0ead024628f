#!/usr/bin/env python3
"""Holds the sources to the table of folders in docs/architecture.md: an include that the table does not
list runs against the architecture, and so does a table whose arrows go round. Also tells folders that are not in
the table, and those, of tests too, that hold too many modules.
"""
import os
import re
import subprocess
import sys

TABLE = "docs/architecture.md"
ROOTS = ("", "src/")  # where the compiler looks for what is included
MOST_MODULES = 13     # of a folder: what grows past that has a second idea in it
BESIDE = ("bench", "fuzz", "tests")  # not in the table, but with as many modules at most


def read_table():
    """Folder -> the folders, or single modules, that its sources may include."""
    rows = {}
    for line in open(TABLE, encoding="utf-8"):
        match = re.match(r"\| `((?:src|sim|station|ledger|floor)/[a-z_]+)` \|.*\|([^|]*)\|$", line)
        if match:
            rows[match[1]] = re.findall(r"`([^`]+)`", match[2])
    return rows


def resolve(including, name):
    """The path in the tree of an include, without its ending."""
    for root in (os.path.dirname(including) + "/", *ROOTS):
        if os.path.exists(root + name):
            return os.path.normpath(root + name).rsplit(".", 1)[0]
    return None


def wrong_includes(path, allowed):
    folder = os.path.dirname(path)
    for number, line in enumerate(open(path, encoding="utf-8"), 1):
        match = re.match(r'#include "([^"]+)"', line)
        if not match:
            continue
        module = resolve(path, match[1])
        if module is None:
            yield f"{path}:{number}: {match[1]} is not in the tree"
        elif os.path.dirname(module) not in (folder, *allowed) and module not in allowed:
            yield f"{path}:{number}: {folder} does not include {module}, see the table in {TABLE}"


def round_trips(table):
    """The folders from which the arrows of the table lead back to them."""
    above = {folder: {name if name in table else os.path.dirname(name) for name in names} - {folder}
             for folder, names in table.items()}
    while True:
        below = set().union(*above.values())
        ends = {folder for folder, names in above.items() if not names & above.keys() or folder not in below}
        if not ends:
            return sorted(above)
        above = {folder: names for folder, names in above.items() if folder not in ends}


def files_of(tops):
    listed = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard",
                             *(f"{top}/*.{end}" for top in tops for end in ("cpp", "h"))],
                            check=True, capture_output=True, text=True).stdout.split()
    return [path for path in listed if os.path.exists(path)]


def modules_of(paths):
    modules = {}
    for path in paths:
        modules.setdefault(os.path.dirname(path), set()).add(os.path.basename(path).rsplit(".", 1)[0])
    return modules


def main():
    table = read_table()
    sources = files_of(sorted({folder.split("/")[0] for folder in table}))
    modules = modules_of(sources)
    wrong = [f"{folder}: the arrows of the table of {TABLE} lead back to it" for folder in round_trips(table)]
    for path in sources:
        if os.path.dirname(path) in table:
            wrong += wrong_includes(path, table[os.path.dirname(path)])
    wrong += [f"{folder}: not in the table of {TABLE}" for folder in modules if folder not in table]
    wrong += [f"{folder}: in the table of {TABLE}, but empty" for folder in table if folder not in modules]
    wrong += [f"{folder}: {len(names)} modules, more than {MOST_MODULES}"
              for folder, names in (modules | modules_of(files_of(BESIDE))).items() if len(names) > MOST_MODULES]
    for line in sorted(wrong):
        print(line)
    if not wrong:
        print(f"Layers: {len(sources)} sources in {len(table)} folders include downwards only")
    return 1 if wrong else 0


sys.exit(main())
