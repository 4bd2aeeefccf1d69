"""Inside the guest: our client and two stock initiators, one after the other on one camera."""

import os
import subprocess
import time

from client import files_below, new_folder, require_same, zlkcam

# Our host keeps the camera for 5 s after its last client.
PATIENCE = 8
# Each of the six orders of three stands somewhere in this row.
ROW = ("zlkcam", "gphoto2", "libmtp", "zlkcam", "gphoto2", "zlkcam", "libmtp", "gphoto2", "zlkcam")


def take_away_traps(camera):
    """gphoto2 reads the rest of an object to the byte. QEMU's usb-mtp stalls where that is less
    than a container's head, and is lost until it is plugged in again."""
    for path, size in files_below(camera.pictures).items():
        if 1 <= (12 + size) % 512 <= 11:
            path.unlink()
    camera.replug()


def with_zlkcam(camera, into):
    zlkcam("unload", into)
    require_same(camera.pictures, into)


def with_gphoto2(camera, into):
    run("gphoto2", "--get-all-files", "--force-overwrite", into=into)
    require_same(camera.pictures, into)


def with_libmtp(camera, into):
    """It lists; its tools copy one file a call."""
    listed = run("mtp-files", into=into)
    for name in os.listdir(camera.pictures / "DCIM" / "100CAM"):
        assert name in listed, f"mtp-files doesn't list {name}"


PROGRAMS = {"zlkcam": with_zlkcam, "gphoto2": with_gphoto2, "libmtp": with_libmtp}


def run(*command, into):
    done = subprocess.run(command, cwd=into, capture_output=True, text=True, timeout=60,
                          check=False)
    # mtp-tools end with 0 whatever happens.
    failed = done.returncode != 0 or "No raw devices found" in done.stdout or \
        "Unable to open raw device" in done.stdout + done.stderr
    assert not failed, f"{command[0]}: {(done.stderr + done.stdout).strip()[-300:]}"
    return done.stdout


def one_after_the_other(camera):
    """Returns how long a peer had to wait at most until it got the camera."""
    take_away_traps(camera)
    longest = 0
    before = "nothing"
    for name in ROW:
        if name == "gphoto2" and not camera.lists_for_all_peers:
            continue
        start = time.monotonic()
        while True:
            waited = time.monotonic() - start
            try:
                PROGRAMS[name](camera, new_folder())
                break
            except AssertionError as error:
                assert waited < PATIENCE, f"{name} after {before}: {error}"
                time.sleep(0.5)
        longest = max(longest, waited)
        before = name
    return f"{longest:.0f} s"
