#!/usr/bin/env python3
"""Checks every include line against the layers: a folder includes from itself and from those below.

Refused are includes that go up or sideways, private headers (*_impl.h) of another folder, includes
that do not start at a source root, and third-party headers outside of the folders that may use them.
Prints one line for each finding and fails if there is any.
"""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent

PLATFORM = ["root", "ge", "gi", "db", "assoc", "store"]

# Where each name that starts an include path lies.
LAYER_FOLDERS = {
    **{name: f"platform/{name}" for name in PLATFORM},
    "zem_utils": "zem_utils",
    "kernel": "host/kernel",
    "protocol": "host/protocol",
    "extensions": "host/extensions",
    "importer": "host/importer",
    "cli": "host/cli",
}

# The module's headers are included by their bare names.
MODULE = "zem_db"
MODULE_FOLDER = "zem_db/src"

# What each folder may include from, besides itself. Tests, benchmarks and fuzzers stand above the
# layer they exercise.
ALLOWED = {
    **{f"platform/{name}": PLATFORM[:i] for i, name in enumerate(PLATFORM)},
    "zem_utils": ["root"],
    MODULE_FOLDER: ["root", "ge", "gi", "db", "assoc", "zem_utils"],
    "host/kernel": [],
    "host/protocol": PLATFORM,
    "host/extensions": PLATFORM + ["zem_utils", MODULE, "kernel", "protocol"],
    "host/importer": PLATFORM + ["kernel", "protocol"],
    "host/cli": PLATFORM + ["zem_utils", "protocol"],
    **{f"tests/{name}": PLATFORM[: i + 1] for i, name in enumerate(PLATFORM)},
    "tests/zem_utils": ["root", "zem_utils"],
    "tests/zem_db": PLATFORM + ["zem_utils", MODULE],
    "tests/module": PLATFORM,
    "tests/host": PLATFORM + ["kernel", "protocol", "cli"],
    "tests/kernel": ["kernel"],
    "tests/support": PLATFORM + ["kernel"],
    "bench": PLATFORM + ["zem_utils", MODULE, "kernel"],
    "fuzz": PLATFORM + ["zem_utils", MODULE, "kernel"],
    "cmake": [],
}

# Third-party headers, by what their names look like, and the folders that may include them.
THIRD_PARTY = [
    (r"sqlite3\.h|zlib\.h", ["platform/store", "tests/store", "tests/host", "bench"]),
    (r"CLI/.*|nlohmann/.*", ["host/protocol", "host/cli", "host/extensions", "tests/host",
                                 "bench"]),
    (r"benchmark/.*", ["bench"]),
    (r"gtest/.*|gmock/.*|rapidcheck.*", ["tests"]),
    (r".*\.hxx", ["host/kernel", "host/extensions", "tests/kernel", "tests/host",
                  "tests/support", "bench"]),
]

INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]')


def owner(folder):
    """The entry of ALLOWED that a folder belongs to: itself, or the nearest folder above it."""
    while folder not in ALLOWED and "/" in folder:
        folder = folder.rsplit("/", 1)[0]
    return folder if folder in ALLOWED else None


def check_third_party(folder, name):
    for pattern, allowed in THIRD_PARTY:
        if re.fullmatch(pattern, name):
            if not any(folder == place or folder.startswith(place + "/") for place in allowed):
                return "this library is used only in " + ", ".join(allowed)
    return None


def check_own(path, folder, name):
    first, _, rest = name.partition("/")
    if not rest:
        if (path.parent / name).is_file():
            return None
        if (ROOT / MODULE_FOLDER / name).is_file():
            layer, target = MODULE, MODULE_FOLDER
        else:
            return "no such header in this folder or among the module's"
    elif first in LAYER_FOLDERS and (ROOT / LAYER_FOLDERS[first] / rest).is_file():
        layer, target = first, LAYER_FOLDERS[first]
    elif folder.startswith(("tests/", "bench")) and (ROOT / "tests" / name).is_file():
        return None
    else:
        return "does not start at a source root"
    if target == folder:
        return None
    if layer not in ALLOWED[folder]:
        return f"{folder} stands below or beside {target}"
    if name.endswith("_impl.h"):
        return f"private header of {target}"
    return None


def check_file(path):
    folder = owner(path.parent.relative_to(ROOT).as_posix())
    relative = path.relative_to(ROOT).as_posix()
    if folder is None:
        return [f"{relative}: lies in a folder that belongs to no layer"]
    findings = []
    text = path.read_text(encoding="utf-8")
    for number, line in enumerate(text.splitlines(), start=1):
        match = INCLUDE.match(line)
        if not match:
            continue
        quote, name = match.groups()
        if quote == "<":
            reason = check_third_party(folder, name)
        else:
            reason = check_own(path, folder, name)
        if reason:
            findings.append(f"{relative}:{number}: includes {name}: {reason}")
    if path.suffix == ".h" and "#pragma once" not in text:
        findings.append(f"{relative}: has no #pragma once")
    return findings


def main():
    findings = []
    count = 0
    for top in ["platform", "zem_utils", "zem_db", "host", "tests", "bench", "fuzz", "cmake"]:
        for path in sorted((ROOT / top).rglob("*")):
            if path.suffix in (".h", ".cpp") and path.is_file():
                findings += check_file(path)
                count += 1
    for finding in findings:
        print(finding, file=sys.stderr)
    if findings:
        return 1
    print(f"check_layers: {count} files keep to the layers")
    return 0


if __name__ == "__main__":
    sys.exit(main())
