#!/usr/bin/env python3
"""The whole road with other makers' devices on a real USB stack, in a guest a column.

usage: usb.py [hard] [WORD...]: only the columns that have one of the words in their names.
Exit status: 0 all well, 1 a cell failed, 77 this machine can't run a guest.
"""

import json
import shutil
import subprocess
import sys

import aligned
import machine

BIN = machine.REPOSITORY / "build" / "release" / "bin"
KIB = 1024
SKIPPED = 77

# Responder, host controller, and how large a file its bus carries in about half a second.
COLUMNS = (
    ("usb-mtp", "xhci", 12 << 20),
    ("usb-mtp", "ehci", 12 << 20),
    ("usb-mtp", "uhci", 768 * KIB),
    ("umtprd-high", "none", 2 << 20),
    ("umtprd-full", "none", 768 * KIB),
)
# Around a packet, a transfer, and a container that fills them.
SIZES = (0, 1, 52, 499, 500, 501, 128 * KIB - 13, 128 * KIB - 12, 128 * KIB)


def fill(card, big):
    """A card of pictures, of sizes that are hard to get right, and of one big file."""
    subprocess.run([BIN / "zlk-samplecard", card], check=True, stdout=subprocess.DEVNULL)
    for surplus in (card / "MISC", card / "DCIM" / "101CAM"):
        shutil.rmtree(surplus)
    for surplus in sorted((card / "DCIM" / "100CAM").iterdir())[3:]:
        surplus.unlink()
    odd = card / "DCIM" / "102CAM" / "folder"
    odd.mkdir(parents=True)
    for size in SIZES:
        (odd / f"SIZE{size}.JPG").write_bytes(data(size))
    (odd / "Grüße 写真.JPG").write_bytes(data(3000))
    (card / "DCIM" / "103CAM").mkdir()
    (card / "DCIM" / "103CAM" / "BIG.MOV").write_bytes(data(big))


def data(size):
    """No two sizes have a piece in common, so that nothing stands for anything else."""
    state, made = size * 2654435761 % 2 ** 32, bytearray()
    while len(made) < min(size, 64 * KIB):
        state = (state * 1664525 + 1013904223) % 2 ** 32
        made += state.to_bytes(4, "little")
    pieces = -(-size // max(len(made), 1))
    return b"".join(piece.to_bytes(4, "little") + bytes(made[4:])
                    for piece in range(pieces))[:size]


def run_column(responder, controller, big, sets, timeout):
    with machine.Machine(controller) as guest:
        fill(guest.folder / "card", big)
        status = guest.run("python3", machine.HERE / "cells.py", responder, guest.folder, *sets,
                           timeout=timeout)
        results = guest.folder / "results"
        cells = json.loads(results.read_text()) if results.exists() else {}
        if status != 0:
            print(f"The guest ended with {status}:\n{guest.console()}")
            cells["guest"] = "FAIL"
        return cells


def print_table(table):
    names = list(dict.fromkeys(name for cells in table.values() for name in cells))
    lines = [["", *names]]
    lines += [[column, *(cells.get(name, "-") for name in names)]
              for column, cells in table.items()]
    aligned.print_lines(lines)


def main():
    try:
        machine.prepare()
    except machine.Impossible as reason:
        print(f"Skipped: no guest here, {reason}.")
        return SKIPPED
    words = sys.argv[1:]
    sets, timeout = (["hard"], 3600) if "hard" in words else (["road"], 300)
    words = [word for word in words if word != "hard"]
    table = {}
    for responder, controller, big in COLUMNS:
        bus = "dummy_hcd" if controller == "none" else controller
        column = f"{responder} on {bus}"
        if words and not any(word in column for word in words):
            continue
        print(column, flush=True)
        with_peers = sets == ["road"] and controller in ("xhci", "none")
        table[column] = run_column(responder, controller, big,
                                   sets + ["peers"] * with_peers, timeout)
    print(f"\nKernel {machine.kernel_release()}, QEMU {machine.qemu_version()}")
    print_table(table)
    failed = any(word == "FAIL" for cells in table.values() for word in cells.values())
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
