#!/usr/bin/env python3
"""The power fails while a card is unloaded and emptied, many times over.

usage: power.py [COUNT]
QEMU is killed in the midst of three unloads at once, which count as three, and its disks lose of
what they weren't told to flush nothing, or blocks at random, or all. Exit status: 0 no picture was
lost, 1 one was, or a copy isn't whole, 77 this machine can't run a guest.
"""

import collections
import itertools
import json
import pathlib
import random
import sys
import time

import disk
import ledger
import proof
from proof import machine

SIZE = 40 << 20  # the least that FAT32 takes
SECONDS = 300    # for a guest that does all its work, on a busy machine
GUEST = pathlib.Path(__file__).resolve().parent / "power_guest.py"

PICTURES = {f"DCIM/{100 + number % 2}CAM/PICT{number:04}.JPG":
            ledger.picture(number, size)
            for number, size in enumerate((0, 700, 4096, 9_000, 30_000, 60_000, 100_000, 200_000))}
PICTURES["DCIM/100CAM/LONG_NAME_OF_A_CLIP.MOV"] = ledger.picture(1000, 1 << 20)
BEFORE = {"notes.txt": b"the user's own"}

AT_ONCE = 3  # unloads in one guest
PHASES = ("copying", "copied", "deleting", "done")


def wait_for(path, qemu, seconds=SECONDS):
    end = time.monotonic() + seconds
    while not path.exists():
        if qemu.poll() is not None or time.monotonic() > end:
            return False
        time.sleep(0.02)
    return True


class Pair:
    """The file systems of card and copies, and what has come of the cuts upon them."""

    def __init__(self, card, copies):
        self.systems = card, copies
        self.cuts, self.states = 0, 0
        self.phases, self.faults = collections.Counter(), []

    def add(self, fate, state):
        self.states += 1
        self.note(fate, state["faults"])
        if fate == "kept":
            self.phases[phase(state)] += 1

    def note(self, where, faults):
        self.faults += faults
        if faults:
            print(f"{' to '.join(self.systems)}, {where}: {len(faults)} faults: "
                  f"{'; '.join(faults[:3])}", flush=True)

    def cells(self):
        return [*self.systems, str(self.cuts), *(str(self.phases[each]) for each in PHASES),
                str(self.states), str(len(self.faults))]

    def is_well(self):
        return not self.faults


def phase(state):
    """How far a run had come, by what is found if nothing was lost."""
    if state["copied"] < len(PICTURES):
        return "copying"
    if state["on card"] == len(PICTURES):
        return "copied"
    return "deleting" if state["on card"] else "done"


class Group:
    """Pairs that are unloaded in one guest, and how much there is to do in all."""

    def __init__(self, pairs):
        self.pairs = pairs
        self.requests, self.seconds = None, None  # of whole unloads; not known before the first


class Trials:
    """A boot after the other: each looks at what the cut before has left, unloads, and is cut."""

    def __init__(self, chance, beginnings):
        self.chance, self.beginnings = chance, beginnings
        self.left = []  # pair, fate, and the disks of card and copies

    def boot(self, group):
        """Without a group only what is left is looked at."""
        left, disks, checks = self.left, {}, []
        for number, (pair, fate, contents) in enumerate(left):
            checks.append(self._entry(disks, f"left{number}", pair, contents, number))
            checks[-1]["goes on"] = fate != "kept"
        unloads = []
        for number, pair in enumerate(group.pairs if group else []):
            contents = [self.beginnings[f"{role}-{system}"]
                        for role, system in zip(("card", "copies"), pair.systems)]
            unloads.append(self._entry(disks, f"new{number}", pair, contents, len(left) + number))
            unloads[-1]["after"] = self.chance.uniform(0, 2)  # so that they aren't in step
        power = disk.Power()
        with machine.Machine("none") as guest, disk.serve(guest.folder, disks, power) as sockets:
            guest.disks = sockets
            prepare(guest.folder, {"do": "check", "check": checks, "unload": unloads})
            with guest.running("python3", GUEST, modules="virtio_blk") as qemu:
                require(wait_for(guest.folder / "checked", qemu), guest, "look")
                states = json.loads((guest.folder / "checked").read_text())
                for (pair, fate, _), state in zip(left, states):
                    pair.add(fate, state)
                if not group:
                    return
                require(wait_for(guest.folder / "started", qemu), guest, "unload")
                self._cut(group, power, guest.folder / "ended", qemu)
        self.left = [(pair, fate, [disks[f"new{number}{role}"].after_cut(survives)
                                   for role in ("card", "copies")])
                     for number, pair in enumerate(group.pairs)
                     for fate, survives in self._fates()]

    @staticmethod
    def _entry(disks, name, pair, contents, number):
        """Of the guest's job, for a pair whose disks are served."""
        disks |= {name + role: disk.Disk(each) for role, each in zip(("card", "copies"), contents)}
        return {"card": f"{name}card", "copies": f"{name}copies", "systems": pair.systems,
                "letter": chr(ord("E") + number)}

    def _fates(self):
        """What becomes of the blocks that weren't flushed: all are kept, or some or none of
        them."""
        share = self.chance.choice((0, 0.5, 0.9))
        return (("kept", lambda: True),
                (f"{share:.0%} kept", lambda: self.chance.random() < share))

    def _cut(self, group, power, ended, qemu):
        """By turns after a number of requests to the disks, and after a time."""
        begin, start = power.requests, time.monotonic()
        by_requests = group.pairs[0].cuts % 2
        for pair in group.pairs:
            pair.cuts += 1
        seconds = SECONDS
        if group.requests and by_requests:
            power.cut_at(begin + self.chance.randint(1, group.requests), qemu.kill)
        elif group.seconds:
            seconds = self.chance.uniform(0, group.seconds)
        while power.is_on and not ended.exists() and time.monotonic() < start + seconds:
            time.sleep(0.005)
        if ended.exists():
            for pair, (status, said) in zip(group.pairs, json.loads(ended.read_text())):
                if status != 0:
                    pair.note("without a cut", [f"status {status}: {said}"])
            group.requests = group.requests or power.requests - begin
            group.seconds = group.seconds or time.monotonic() - start
        power.cut()
        qemu.kill()


def require(condition, guest, doing):
    if not condition:
        raise RuntimeError(f"the guest didn't come to {doing}: {guest.console()}")


def prepare(folder, job):
    ledger.fill(folder / "pictures", PICTURES)
    ledger.fill(folder / "before", BEFORE)
    (folder / "job").write_text(json.dumps(job))


def make_beginnings():
    disks = {f"{role}-{system}": disk.Disk(bytes(SIZE))
             for role in ("card", "copies") for system in proof.SYSTEMS}
    with machine.Machine("none") as guest, disk.serve(guest.folder, disks) as sockets:
        guest.disks = sockets
        prepare(guest.folder, {"do": "make", "systems": proof.SYSTEMS})
        status = guest.run("python3", GUEST, modules="virtio_blk", timeout=SECONDS)
        if status != 0:
            raise RuntimeError(f"no file systems were made, status {status}: {guest.console()}")
    return {name: each.contents for name, each in disks.items()}


def prove(count):
    seed = random.randrange(2 ** 32)
    print(f"Seed {seed}", flush=True)
    pairs = [Pair(*systems) for systems in itertools.product(proof.SYSTEMS, repeat=2)]
    groups = [Group(pairs[start::AT_ONCE]) for start in range(AT_ONCE)]
    trials = Trials(random.Random(seed), make_beginnings())
    try:
        for number in range(-(-count // AT_ONCE)):
            trials.boot(groups[number % len(groups)])
        trials.boot(None)
    except KeyboardInterrupt:
        print("Stopped; this is how far it came.")
    return proof.end(("card", "copies", "cuts", *PHASES, "states", "faults"), pairs)


if __name__ == "__main__":
    sys.exit(proof.run_in_guests(prove, 100))
