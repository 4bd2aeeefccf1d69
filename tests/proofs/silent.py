#!/usr/bin/env python3
"""Copies on a disk that changes a byte of each and says nothing, or can't read one.

usage: silent.py [COUNT]: how many pictures for each way in which a disk lies, over all file systems.
Exit status: 0 each changed byte was found, 1 one wasn't, 77 this machine can't run a guest.
"""

import collections
import errno
import json
import os
import pathlib
import random
import sys

import disk
import ledger
import proof
from ledger import SECTOR
from proof import machine

LIES = ("none", "written", "read", "unreadable")
SECONDS = 1200  # for a guest that does all its work, on a busy machine
GUEST = pathlib.Path(__file__).resolve().parent / "silent_guest.py"


class LyingDisk(disk.Disk):
    """Changes one bit of each picture as it is written, or as it is read, or can't read there."""

    def __init__(self, size, lie, places, honest):
        super().__init__(bytes(size))
        self.lie, self.places, self._honest = lie, places, honest
        self.told = set()  # pictures that it lied about
        self.read_back = collections.defaultdict(set)  # which sectors, since they were written

    def _victim(self, data):
        """Where in the data a bit is to be changed, and of which picture, place by place."""
        for at, number, sector in ledger.marks(data):
            place = self.places[number]
            if place // SECTOR == sector:
                yield at + place % SECTOR, number

    def _change(self, data):
        changed = bytearray(data)
        for at, number in self._victim(data):
            changed[at] ^= 1 << number % 8
            self.told.add(number)
        return changed

    def write(self, offset, data, is_durable):
        for _, number, sector in ledger.marks(data):
            self.read_back[number].discard(sector)
        super().write(offset, self._change(data) if self.lie == "written" else data, is_durable)

    def read(self, offset, length):
        data = super().read(offset, length)
        if self._honest.exists():
            return data
        for _, number, sector in ledger.marks(data):
            self.read_back[number].add(sector)
        if self.lie == "unreadable":
            victims = {number for _, number in self._victim(data)}
            self.told |= victims
            if victims:
                raise OSError(errno.EIO, os.strerror(errno.EIO))
        return self._change(data) if self.lie == "read" else data


def make_pictures(count, chance):
    """Sizes around sectors and pages; no last sector is too short for its mark."""
    sizes = [SECTOR * chance.randint(1, 40) + chance.choice((0, 24, 100, 511))
             for _ in range(count)]
    return [ledger.picture(number, size) for number, size in enumerate(sizes)]


def place_in(data, chance):
    """A byte to be changed, and no mark's."""
    while True:
        place = chance.randrange(len(data))
        if place % SECTOR >= ledger.MARK_SIZE:
            return place


def name_of(number):
    return f"DCIM/{100 + number // 100}CAM/PICT{number:04}.JPG"


class Row:
    """What came of one lie on one file system."""

    def __init__(self, system, lie, disk_after, pictures, result):
        on_card = set(result["on card"])
        kept = {number for number in range(len(pictures)) if name_of(number) in on_card}
        self.system, self.lie, self.told = system, lie, disk_after.told
        self.count, self.status = len(pictures), result["status"]
        self.found = self.told & kept & self._named(result["answer"])
        self.deleted = self.count - len(kept)
        self.read_back = sum(len(disk_after.read_back[number]) == -(-len(data) // SECTOR)
                             for number, data in enumerate(pictures))
        self.faults = result["faults"]
        for fault in self.faults[:5]:
            print(f"{system}, {lie}: {fault}")
        if result["said"]:
            print(f"{system}, {lie}: {result['said'].splitlines()[0][:200]}")

    @staticmethod
    def _named(answer):
        """Pictures of which the client says what is wrong."""
        ids = (file["id"].replace("\\", "/") for file in json.loads(answer)["files"]
               if file.get("error"))
        return {int(pathlib.PurePosixPath(path).stem.removeprefix("PICT")) for path in ids}

    def is_well(self):
        if self.lie == "none":
            wanted = self.status == 0 and self.deleted == self.read_back == self.count
        else:
            wanted = self.status != 0 and self.deleted == 0 and len(self.told) == self.count
        return wanted and self.found == self.told and not self.faults

    def cells(self):
        return [self.system, self.lie, str(self.count), str(len(self.told)), str(len(self.found)),
                str(self.deleted), str(self.read_back), str(self.status)]


def run(system, lie, count, chance):
    pictures = make_pictures(count, chance)
    places = [place_in(data, chance) for data in pictures]
    size = (64 << 20) + 4 * sum(map(len, pictures))
    with machine.Machine("none") as guest:
        ledger.fill(guest.folder / "pictures",
                    {name_of(number): data for number, data in enumerate(pictures)})
        lying = LyingDisk(size, lie, places, guest.folder / "honest")
        with disk.serve(guest.folder, {"copies": lying}) as guest.disks:
            status = guest.run("python3", GUEST, system, modules="virtio_blk", timeout=SECONDS)
        if status != 0:
            raise RuntimeError(f"the guest ended with {status}: {guest.console()}")
        result = json.loads((guest.folder / "result").read_text())
    return Row(system, lie, lying, pictures, result)


def prove(count):
    seed = random.randrange(2 ** 32)
    print(f"Seed {seed}", flush=True)
    chance = random.Random(seed)
    share = -(-count // len(proof.SYSTEMS))
    rows = [run(system, lie, share, chance) for lie in LIES for system in proof.SYSTEMS]
    return proof.end(("copies", "bytes", "pictures", "changed", "found", "deleted", "read back",
                      "status"), rows)


if __name__ == "__main__":
    sys.exit(proof.run_in_guests(prove, 1000))
