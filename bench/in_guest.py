"""Inside the guest: our client and others on one camera, by turns, five times each.

usage: in_guest.py OUTSIDE. The run's folder gets `results`: the medians by work and program, of
wall clock seconds and of processor seconds, those of our host included.
"""

import json
import pathlib
import resource
import shutil
import statistics
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "tests" / "guest"))

from client import BIN, adopt, contents, hosts, new_folder, zlkcam  # noqa: E402
from responders import UsbMtp, wait_until  # noqa: E402

ROUNDS = 5
# No file has a size at which QEMU's camera stalls gphoto2: see tests/guest/peers.py.
CARDS = {"200 files, 43 MB": (200, 215_040), "a file of 25 MB": (1, 25_000_000),
         "a file of 100 MB": (1, 100_000_000)}
LISTING = "listing 200 files"
IDS = ":".join(UsbMtp.ids)
OURS = "zlkcam"


def copying(into):
    return {
        OURS: [BIN / "zlkcam", "unload", into],
        "bare": [BIN / "zlk-bench-initiator", IDS, "copy", into],
        "bare in our words": [BIN / "zlk-bench-initiator", IDS, "copy-in-our-words", into],
        "gphoto2": ["gphoto2", "--get-all-files", "--force-overwrite"],
    }


def listing():
    return {
        OURS: [BIN / "zlkcam", "list"],
        "bare": [BIN / "zlk-bench-initiator", IDS, "list"],
        "gphoto2": ["gphoto2", "--list-files"],
        "libmtp": ["mtp-files"],
    }


def processor_seconds_of_host():
    """What the hosts that run now have used so far."""
    total = 0
    for host in hosts():
        fields = pathlib.Path(f"/proc/{host}/stat").read_text().rsplit(")", 1)[1].split()
        total += (int(fields[11]) + int(fields[12])) / 100
    return total


def measure(command, into):
    """Wall clock and processor seconds."""
    def used():
        usage = resource.getrusage(resource.RUSAGE_CHILDREN)
        return usage.ru_utime + usage.ru_stime
    before, start = used(), time.monotonic()
    done = subprocess.run(command, cwd=into, capture_output=True, text=True, check=False)
    wall = time.monotonic() - start
    assert done.returncode == 0, f"{command}: {done.stderr}"
    seconds = used() - before + processor_seconds_of_host()
    wait_until(lambda: not hosts(), 10, "end of the host")
    return wall, seconds


def measure_all(commands_for, pictures=None):
    """Medians by program. Each copy has to equal `pictures`, unless that is None."""
    measured = {}
    for _ in range(ROUNDS):
        into = new_folder()
        for program in commands_for(into):
            target = new_folder()
            measured.setdefault(program, []).append(
                measure(commands_for(target)[program], target))
            if pictures is not None:
                assert contents(target) == pictures, f"{program} copied something else"
            shutil.rmtree(target)
    return {program: [statistics.median(values) for values in zip(*runs)]
            for program, runs in measured.items()}


def use_card(camera, count, size):
    if camera.place():
        camera.unplug()
        camera.wait_for(plugged=False)
        shutil.rmtree(camera.pictures)
    folder = camera.pictures / "DCIM" / "100CAM"
    folder.mkdir(parents=True)
    with open("/dev/urandom", "rb") as random:
        for number in range(count):
            (folder / f"PICT{number:04d}.JPG").write_bytes(random.read(size))
    camera.plug()


def libmtp_too(camera, commands):
    """libmtp's tool copies a single file, by the number that mtp-files lists it under."""
    listed = subprocess.run(["mtp-files"], check=True, capture_output=True, text=True).stdout
    number = listed.split("File ID: ")[1].split()[0]
    return lambda into: {**commands(into), "libmtp": ["mtp-getfile", number, "PICT0000.JPG"]}


def main():
    camera = UsbMtp(sys.argv[1])
    results = {}
    for work, (count, size) in CARDS.items():
        use_card(camera, count, size)
        if not results:
            adopt()
            results[LISTING] = measure_all(lambda _: listing())
        commands = copying if count > 1 else libmtp_too(camera, copying)
        results[work] = measure_all(commands, contents(camera.pictures))
        pathlib.Path("/mnt/run/results").write_text(json.dumps(results))


if __name__ == "__main__":
    main()
