#!/usr/bin/env python3
"""Holds the sources to the table of folders in docs/architecture.md: an include that the table does not
list runs against the architecture. Also tells folders that are not in the table, or hold too many modules.
"""
import os
import re
import subprocess
import sys

TABLE = "docs/architecture.md"
ROOTS = ("", "src/")  # where the compiler looks for what is included
MOST_MODULES = 13     # of a folder: what grows past that has a second idea in it


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


def main():
    table = read_table()
    tops = sorted({folder.split("/")[0] for folder in table})
    sources = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard",
                              *(f"{top}/*.{end}" for top in tops for end in ("cpp", "h"))],
                             check=True, capture_output=True, text=True).stdout.split()
    modules = {}
    wrong = []
    for path in filter(os.path.exists, sources):
        folder = os.path.dirname(path)
        modules.setdefault(folder, set()).add(os.path.basename(path).rsplit(".", 1)[0])
        if folder in table:
            wrong += wrong_includes(path, table[folder])
    wrong += [f"{folder}: not in the table of {TABLE}" for folder in modules if folder not in table]
    wrong += [f"{folder}: in the table of {TABLE}, but empty" for folder in table if folder not in modules]
    wrong += [f"{folder}: {len(names)} modules, more than {MOST_MODULES}"
              for folder, names in modules.items() if len(names) > MOST_MODULES]
    for line in sorted(wrong):
        print(line)
    if not wrong:
        print(f"Layers: {len(sources)} sources in {len(table)} folders include downwards only")
    return 1 if wrong else 0


sys.exit(main())
