#!/usr/bin/env python3
"""Inside the guest: one responder, and what has to work with it, a function each.

A cell is a function that takes the plugged in, adopted camera. It raises an AssertionError where
something is wrong; what it returns stands in the table (nothing: "ok").
usage: cells.py CAMERA OUTSIDE SET, where CAMERA is usb-mtp, umtprd-full or umtprd-high
"""

import json
import os
import pathlib
import signal
import subprocess
import sys
import time

import hard
import peers
from client import (BIG, DONE, PULLED, UNSUPPORTED, Unload, adopt, contents, files_below, hosts,
                    new_folder, require_no_torso, require_recovery, require_same, require_whole,
                    zlkcam)
from responders import KernelLog, Umtprd, UsbMtp, wait_until

CAMERAS = {
    "usb-mtp": UsbMtp,
    "umtprd-full": lambda _: Umtprd("full"),
    "umtprd-high": lambda _: Umtprd("high"),
}


def list_files(camera):
    listed = {file["camerapath"].split("\\")[-1]: file["size"] for file in zlkcam("list")["files"]}
    expected = {path.name: size for path, size in files_below(camera.pictures).items()}
    assert listed == expected, f"listed {listed}, on the camera {expected}"


def unload(camera):
    into = new_folder()
    answer = zlkcam("unload", "--verify", into)
    # Nothing can be compared of a file without bytes.
    unverified = [file["file"] for file in answer["files"] if file["size"] and not file["verified"]]
    assert not unverified, f"not verified: {unverified}"
    require_same(camera.pictures, into)


def thumbs(camera):
    """A camera without thumbnails of its own gets one stock picture for all of its pictures."""
    into = new_folder()
    answer = zlkcam("thumbs", into)
    made = {pathlib.Path(thumb["file"]).name: pathlib.Path(thumb["file"]).read_bytes()
            for thumb in answer["thumbnails"]}
    wanted = {f"{name}.thumb.jpg" for name in contents(camera.pictures)}
    assert made.keys() == wanted, f"thumbnails: {sorted(made)}"
    assert all(thumb.startswith(b"\xff\xd8") for thumb in made.values()), "one is no JPEG"
    kinds = {thumb for name, thumb in made.items() if ".JPG" in name}
    assert len(kinds) == 1, f"{len(kinds)} thumbnails of a camera that has none"
    return "stock"


def delete(camera):
    before = contents(camera.pictures)
    victim = next(file for file in zlkcam("list")["files"] if BIG not in file["camerapath"])
    zlkcam("delete", victim["id"])
    name = victim["camerapath"].split("\\")[-1]
    left = contents(camera.pictures)
    assert left == {key: data for key, data in before.items() if key != name}, \
        f"deleting {name} left {sorted(left)}"
    listed = [file["camerapath"].split("\\")[-1] for file in zlkcam("list")["files"]]
    assert sorted(listed) == sorted(left), f"listed {listed}"


def clock(camera):
    """Neither responder has the property, and an adopted camera isn't asked for it."""
    zlkcam("clock", status=UNSUPPORTED)
    return "none"


def unplug(camera):
    into = new_folder()
    running = Unload(into)
    running.reach_data_phase(camera)
    camera.unplug()
    camera.wait_for(plugged=False)
    pulled = time.monotonic()
    status, said = running.finish(25)
    seconds = time.monotonic() - pulled
    require_no_torso(camera, into)
    camera.plug()
    first = require_recovery(camera, into)
    assert status == PULLED, f"status {status}: {said}"
    assert seconds <= 1, f"the error came after {seconds:.1f} s"
    return f"{first:.1f} s"


def kill_client(camera):
    into = new_folder()
    running = Unload(into)
    running.reach_data_phase(camera)
    running.process.kill()
    running.finish(5)
    require_whole(contents(camera.pictures), contents(into))
    return f"{require_recovery(camera, into):.1f} s"


def kill_host(camera):
    into = new_folder()
    running = Unload(into)
    running.reach_data_phase(camera)
    host, = hosts()
    os.kill(host, signal.SIGKILL)
    status, said = running.finish(25)
    require_no_torso(camera, into)
    first = require_recovery(camera, into)
    assert status != DONE, f"the unload without a host says it is done: {said}"
    return f"{first:.1f} s"


SETS = {
    "road": {"list": list_files, "unload": unload, "thumbs": thumbs, "delete": delete,
             "clock": clock, "unplug": unplug, "kill client": kill_client,
             "kill host": kill_host},
    "peers": {"peers": peers.one_after_the_other},
    "hard": hard.CELLS,
}


def run_cell(cell, camera, log):
    """The word for the table, and what went wrong."""
    log.complaints()
    try:
        word, reason = cell(camera) or "ok", ""
    except (AssertionError, subprocess.SubprocessError, OSError, ValueError, KeyError) as error:
        word, reason = "FAIL", " ".join(f"{type(error).__name__}: {error}".split())
    complaints = log.complaints()
    if complaints:
        return "FAIL", "; ".join(filter(None, [reason, "kernel: " + complaints[0]]))
    return word, reason


def start_again(camera):
    """A cell that failed may have left anything; the next one gets a camera fresh from its box."""
    wait_until(lambda: not hosts(), 30, "end of the host")
    camera.replug()


def main():
    name, outside, *sets = sys.argv[1:]
    results = {}
    camera = CAMERAS[name](outside)
    camera.plug()
    adopt()
    log = KernelLog()
    for cell, function in ((cell, function) for each in sets
                           for cell, function in SETS[each].items()):
        start = time.monotonic()
        word, reason = run_cell(function, camera, log)
        print(f"  {cell}: {word} ({time.monotonic() - start:.1f} s) {reason}", flush=True)
        results[cell] = word
        pathlib.Path("/mnt/run/results").write_text(json.dumps(results))
        if word == "FAIL":
            start_again(camera)


if __name__ == "__main__":
    main()
