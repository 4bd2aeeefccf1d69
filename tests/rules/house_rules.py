#!/usr/bin/env python3
"""The rules of the house that a compiler doesn't keep.

Includes run downward only, from floor to floor and from room to room in the platform; no wchar_t;
the operating system stays behind platform/; no file beyond 600 lines and no function beyond 80.
Prints each offence as file:line and exits with 1.

    house_rules.py           checks the tree
    house_rules.py --graph   draws who includes whom, by floor and by room
"""

import collections
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]

# From the bottom up. What each floor may include, besides itself and COMMON.
BELOW = {
    "platform": set(),
    "usbscan": set(),
    "interfaces": set(),
    "foundation": set(),
    "ptp": {"foundation"},
    "transport": {"ptp", "foundation", "usbscan"},
    "directory": {"ptp", "foundation"},
    "camera_devices": {"ptp", "directory", "foundation"},
    "device_objects": {"camera_devices", "directory", "foundation"},
    "server": {"device_objects", "directory"},
    "siblings": set(),
    "tools": {"usbscan"},
    "examples": set(),
}
COMMON = {"platform", "interfaces"}

# The rooms of the platform from the bottom up, and the public headers above each. A room may
# include those below it, and their headers; a public header belongs to its room.
ROOMS = {
    "base": "types error text clock descriptor fork diagnostics immortal system_log",
    "objects": "named_objects",
    "settings": "registry system",
    "drives": "volumes",
    "files": "files file_sinks device_io card_mounts",
    "components": "component component_object modules registrar",
    "automation": "automation type_library automation_object component_module",
}
ROOM_OF_HEADER = {header: room for room, headers in ROOMS.items() for header in headers.split()}

# What of the driver others may see: its public header, and programs that play a device or read a
# recording the parts that they are made of.
DRIVER_PARTS = {
    "transport": ("usbscan/usbscan.h",),
    "tools/zlkcam": ("usbscan/usbscan.h", "usbscan/recording/"),
    "tools/zlkcamsim": ("usbscan/usbscan.h", "usbscan/Protocol.h", "usbscan/host/",
                        "usbscan/recording/"),
    "tools/recording": ("usbscan/recording/",),
    "tools/emulated_usb": ("usbscan/host/",),
}

# Programs of this machine, and what is linked into the platform's library.
SYSTEM_CALLERS = {"platform", "usbscan", "tools"}

MAX_FILE = 600
MAX_FUNCTION = 80

SYSTEM_HEADER = re.compile(r'#include <(sys/|unistd|fcntl|dirent|dlfcn|pthread|poll|signal|spawn|'
                           r'sqlite3|libusb|ffi|linux/|link\.h|elf\.h|syslog|mntent)')
INCLUDE = re.compile(r'#include "(([a-z_]+)/[^"]*)"')


def sources():
    for folder in sorted(set(BELOW) | {"tests", "bench", "fuzz"}):
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix in (".h", ".cpp"):
                yield path.relative_to(ROOT)


def room_of(path):
    """The room of a file of the platform; None for one that is in no room."""
    parts = pathlib.PurePath(path).parts
    if len(parts) > 2:
        return parts[1] if parts[1] in ROOMS else None
    return ROOM_OF_HEADER.get(pathlib.PurePath(path).stem)


def is_inside(path):
    """Whether a file of the platform is not for the floors above."""
    return len(pathlib.PurePath(path).parts) > 2


def check_rooms(path, included):
    own, other = room_of(path), room_of(included)
    # What stands above the rooms, with no header of that name, may use them all.
    if own is None or other is None:
        return
    order = list(ROOMS)
    if order.index(other) > order.index(own):
        yield f"the platform's room {own} must not include {other}"


def check_driver(path, included):
    room = "/".join(path.parts[:2]) if path.parts[0] == "tools" else path.parts[0]
    if not included.startswith(DRIVER_PARTS.get(room, ())):
        yield f"{included} is the driver's own"


def check_include(path, included):
    floor, other = path.parts[0], included.split("/")[0]
    if other != floor and other in BELOW:
        common = COMMON if floor not in COMMON else {"platform"} - {floor}
        if other not in BELOW[floor] | common:
            yield f"{floor} must not include {other}"
        elif other == "usbscan":
            yield from check_driver(path, included)
    if other == "platform" and is_inside(included):
        if floor == "platform":
            yield from check_rooms(path, included)
        elif floor != "usbscan":
            yield f"{included} is the platform's own"
    elif floor == other == "platform":
        yield from check_rooms(path, included)


def check_includes(path, lines):
    floor = path.parts[0]
    if floor not in BELOW:
        return
    for number, line in enumerate(lines, 1):
        if found := INCLUDE.match(line):
            for reason in check_include(path, found[1]):
                yield number, reason
        if floor not in SYSTEM_CALLERS and SYSTEM_HEADER.match(line):
            yield number, "the operating system is behind platform/"


def check_words(path, lines):
    for number, line in enumerate(lines, 1):
        if re.search(r"\bwchar_t\b", line.split("//")[0]):
            yield number, "wchar_t has another width elsewhere; use WCHAR"
        if re.search(r"\b(TO[D]O|FIX[M]E|XX[X]|HA[C]K)\b", line):
            yield number, "unfinished by its own words"


def check_lengths(path, lines):
    if len(lines) > MAX_FILE:
        yield len(lines), f"file of {len(lines)} lines (at most {MAX_FILE})"
    # A function's body, as clang-format lays it out: opened at the end of a line that isn't
    # indented beyond a class, closed by a brace in the column in which its head began.
    start = indent = None
    for number, line in enumerate(lines, 1):
        head = re.match(r"^(\s{0,6})\S.*\)[^;=]*\{$", line)
        if start is None and head and not re.match(r"\s*(if|for|while|switch|namespace)\b", line):
            start, indent = number, head[1]
        elif start is not None and line == indent + "}":
            if number - start > MAX_FUNCTION:
                yield start, f"function of {number - start} lines (at most {MAX_FUNCTION})"
            start = None


def lines_of(path):
    return (ROOT / path).read_text(encoding="utf-8").splitlines()


def check():
    offences = 0
    for path in sources():
        lines = lines_of(path)
        for rule in (check_includes, check_words, check_lengths):
            for number, reason in rule(path, lines):
                print(f"{path}:{number}: {reason}")
                offences += 1
    print(f"{offences} offences")
    return 1 if offences else 0


def draw(title, order, count):
    """Each from the top down, with what it includes below itself and how often."""
    print(title)
    for name in reversed(order):
        below = sorted(((other, number) for (user, other), number in count.items()
                        if user == name and other != name), key=lambda pair: order.index(pair[0]))
        print(f"  {name:15}" + ", ".join(f"{other} {number}" for other, number in reversed(below)))


def graph():
    floors, rooms = collections.Counter(), collections.Counter()
    for path in sources():
        if path.parts[0] not in BELOW:
            continue
        for found in filter(None, map(INCLUDE.match, lines_of(path))):
            if found[2] in BELOW:
                floors[path.parts[0], found[2]] += 1
            users = room_of(path) if path.parts[0] == found[2] == "platform" else None
            if users and room_of(found[1]):
                rooms[users, room_of(found[1])] += 1
    draw("Floors, and what each includes (lines of #include):", list(BELOW), floors)
    draw("\nRooms of the platform:", list(ROOMS), rooms)
    return 0


if __name__ == "__main__":
    sys.exit(graph() if sys.argv[1:] == ["--graph"] else check())
