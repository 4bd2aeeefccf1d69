#!/usr/bin/env python3
"""The rules of the house that a compiler doesn't keep.

Includes run downward only; no wchar_t; the operating system stays behind platform/; no file
beyond 600 lines and no function beyond 80. Prints each offence as file:line and exits with 1.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]

# What each floor may include, besides itself; every floor may include platform and interfaces.
BELOW = {
    "platform": set(),
    "interfaces": {"platform"},
    "foundation": set(),
    "ptp": {"foundation"},
    "transport": {"ptp", "foundation"},
    "directory": {"ptp", "foundation"},
    "camera_devices": {"ptp", "directory", "foundation"},
    "device_objects": {"camera_devices", "directory", "foundation"},
    "server": {"device_objects", "directory"},
    "siblings": set(),
    "tools": set(),
    "examples": set(),
}
COMMON = {"platform", "interfaces"}

# Longer than the limits, and why.
LONG_FILES = {}
LONG_FUNCTIONS = {}

MAX_FILE = 600
MAX_FUNCTION = 80

SYSTEM_HEADER = re.compile(r'#include <(sys/|unistd|fcntl|dirent|dlfcn|pthread|poll|signal|spawn|'
                           r'sqlite3|libusb|ffi|linux/|link\.h|elf\.h|syslog|mntent)')
INTERNAL = re.compile(r'#include "platform/internal/')
INCLUDE = re.compile(r'#include "([a-z_]+)/')


def sources():
    for folder in sorted(set(BELOW) | {"tests", "bench", "fuzz"}):
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix in (".h", ".cpp"):
                yield path.relative_to(ROOT)


def check_includes(path, lines):
    floor = path.parts[0]
    if floor not in BELOW:
        return
    allowed = BELOW[floor] | {floor} | (COMMON if floor != "platform" else set())
    for number, line in enumerate(lines, 1):
        found = INCLUDE.match(line)
        if found and found[1] in BELOW and found[1] not in allowed:
            yield number, f"{floor} must not include {found[1]}"
        if floor not in ("platform", "tools") and SYSTEM_HEADER.match(line):
            yield number, "the operating system is behind platform/"
        if floor != "platform" and INTERNAL.match(line):
            yield number, "platform/internal/ is the platform's own"


def check_words(path, lines):
    for number, line in enumerate(lines, 1):
        if re.search(r"\bwchar_t\b", line.split("//")[0]):
            yield number, "wchar_t has another width elsewhere; use WCHAR"
        if re.search(r"\b(TO[D]O|FIX[M]E|XX[X]|HA[C]K)\b", line):
            yield number, "unfinished by its own words"


def check_lengths(path, lines):
    if len(lines) > MAX_FILE and str(path) not in LONG_FILES:
        yield len(lines), f"file of {len(lines)} lines (at most {MAX_FILE})"
    # A function's body, as clang-format lays it out: opened at the end of a line that isn't
    # indented beyond a class, closed by a brace in the column in which its head began.
    start = indent = None
    for number, line in enumerate(lines, 1):
        head = re.match(r"^(\s{0,6})\S.*\)[^;=]*\{$", line)
        if start is None and head and not re.match(r"\s*(if|for|while|switch|namespace)\b", line):
            start, indent = number, head[1]
        elif start is not None and line == indent + "}":
            if number - start > MAX_FUNCTION and f"{path}:{start}" not in LONG_FUNCTIONS:
                yield start, f"function of {number - start} lines (at most {MAX_FUNCTION})"
            start = None


def main():
    offences = 0
    for path in sources():
        lines = (ROOT / path).read_text(encoding="utf-8").splitlines()
        for check in (check_includes, check_words, check_lengths):
            for number, reason in check(path, lines):
                print(f"{path}:{number}: {reason}")
                offences += 1
    print(f"{offences} offences")
    return 1 if offences else 0


if __name__ == "__main__":
    sys.exit(main())
