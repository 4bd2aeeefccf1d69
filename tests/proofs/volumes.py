"""Inside the guest: file systems on its disks, and our own client upon them."""

import contextlib
import ctypes
import json
import os
import pathlib
import subprocess
import time

BIN = pathlib.Path(__file__).resolve().parents[2] / "build" / "release" / "bin"
RUN, SCRATCH = pathlib.Path("/mnt/run"), pathlib.Path("/mnt/scratch")
UNLOAD_SECONDS = 600

SYSTEMS = {  # how each is made, and repaired
    "ext4": (["mkfs.ext4", "-q"], ["fsck.ext4", "-fy"]),
    "vfat": (["mkfs.vfat", "-F", "32", "-s", "1"], ["fsck.vfat", "-a"]),
    "exfat": (["mkfs.exfat"], ["fsck.exfat", "-y"]),
}

READ_ONLY = 1
libc = ctypes.CDLL(None, use_errno=True)

os.environ["ZLK_MACHINE"] = str(SCRATCH / "machine")


class Unmountable(Exception):
    """The text says why."""


def device(disk):
    for serial in pathlib.Path("/sys/block").glob("vd*/serial"):
        if serial.read_text().strip() == disk:
            return pathlib.Path("/dev") / serial.parent.name
    raise FileNotFoundError(disk)


def make(disk, system):
    subprocess.run([*SYSTEMS[system][0], device(disk)], check=True, capture_output=True)


def repair(disk, system):
    """Its status tells what was found, and not whether it could be mended."""
    subprocess.run([*SYSTEMS[system][1], device(disk)], check=False, capture_output=True)


@contextlib.contextmanager
def mounted(disk, system, is_read_only=False):
    place = SCRATCH / "volumes" / disk
    place.mkdir(parents=True, exist_ok=True)
    # A program to mount it with would take longer to start than all the rest, in an emulated
    # machine.
    names = (os.fsencode(name) for name in (device(disk), place, system))
    if libc.mount(*names, READ_ONLY if is_read_only else 0, None) != 0:
        raise Unmountable(f"{disk} can't be mounted: {os.strerror(ctypes.get_errno())}")
    try:
        yield place
    finally:
        if libc.umount2(os.fsencode(place), 0) != 0:
            raise OSError(ctypes.get_errno(), f"{place} can't be unmounted")


def zlkcam(*words):
    return subprocess.run([BIN / "zlkcam", "--json", *words], capture_output=True, text=True,
                          timeout=UNLOAD_SECONDS, check=False)


def unload(card, copies, letter="E", after=0.0):
    """Of a drive whose letter no other one gets, once so many seconds have passed."""
    zlkcam("mount", card, "--letter", letter)
    time.sleep(after)
    return zlkcam("unload", "--verify", "--delete", f"{letter}:", copies)


def write_json(name, data):
    """Whole or not at all: somebody waits for the file."""
    part = RUN / f"{name}.part"
    part.write_text(json.dumps(data))
    part.rename(RUN / name)
