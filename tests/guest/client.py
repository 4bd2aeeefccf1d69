"""Inside the guest: our own client and the copies it makes, as the cells see them."""

import contextlib
import json
import os
import pathlib
import subprocess
import tempfile
import time

from responders import wait_until

BIN = pathlib.Path(__file__).resolve().parents[2] / "build" / "release" / "bin"
SCRATCH = pathlib.Path("/mnt/scratch")
BIG = "BIG.MOV"  # long enough on the bus to be interrupted in its midst
DONE, PULLED, UNSUPPORTED = 0, 9, 8
FIRST_BYTE_SECONDS = 3
START_SECONDS = 0.6  # of `zlkcam devices`, at most, in a guest on two processors that are its own

os.environ["ZLK_MACHINE"] = str(SCRATCH / "machine")


def new_folder():
    return pathlib.Path(tempfile.mkdtemp(dir=SCRATCH))


def zlkcam(*words, status=DONE, seconds=90):
    """Its JSON answer; an AssertionError where it ends with another status than this."""
    try:
        run = subprocess.run([BIN / "zlkcam", "--json", *words], capture_output=True, text=True,
                             timeout=seconds, check=False)
    except subprocess.TimeoutExpired:
        raise AssertionError(f"zlkcam {words[0]} came to no end in {seconds} s") from None
    if run.returncode != status:
        said = (run.stderr or run.stdout).strip().splitlines() or ["nothing"]
        raise AssertionError(f"zlkcam {words[0]}: status {run.returncode}, {said[-1][:300]}")
    return json.loads(run.stdout) if run.stdout.strip() else {}


def adopt():
    subprocess.run([BIN / "zlkcam", "register"], check=True, stdout=subprocess.DEVNULL)
    zlkcam("adopt", "--yes")


def hosts():
    """Process ids of running hosts."""
    found = []
    for path in pathlib.Path("/proc").glob("[0-9]*/comm"):
        with contextlib.suppress(OSError):
            if path.read_text().strip() == "zlk-usbscan":
                found.append(int(path.parent.name))
    return found


def files_below(folder):
    """Sizes by path, hidden files too."""
    found = {}
    for place, _, names in os.walk(folder):
        for name in names:
            with contextlib.suppress(OSError):  # it was moved to its name meanwhile
                found[pathlib.Path(place) / name] = (pathlib.Path(place) / name).stat().st_size
    return found


def is_hidden(path):
    """What isn't whole lies in a hidden folder of its run."""
    return any(part.startswith(".") for part in path.parts)


def is_record(path):
    """Of what was copied, and no copy itself."""
    return path.parent.name == "ascmhl" or path.name == "journal"


def contents(folder):
    """What a camera or a copy has, name by name; a camera shows all of its files in one folder."""
    return {path.name: path.read_bytes() for path in files_below(folder)
            if not is_hidden(path.relative_to(folder)) and not is_record(path)}


def require_same(pictures, copies):
    """Every file of the camera is in the folder, byte for byte, and nothing else."""
    wanted, got = contents(pictures), contents(copies)
    require_whole(wanted, got)
    assert wanted.keys() == got.keys(), f"not copied: {sorted(wanted.keys() - got.keys())}"


def require_whole(wanted, got):
    for name, data in got.items():
        assert name in wanted, f"{name} isn't on the camera"
        assert data == wanted[name], f"{name} is another file than on the camera"


def require_no_torso(camera, into):
    require_whole(contents(camera.pictures), contents(into))
    hidden = [path for path in files_below(into) if is_hidden(path.relative_to(into))]
    assert not hidden, f"left behind: {hidden}"


class Unload:
    """An unload that runs, to be interrupted."""

    def __init__(self, into, *options):
        self.into = into
        self.before = files_below(into)
        self.start = time.monotonic()
        self.process = subprocess.Popen([BIN / "zlkcam", "--json", "unload", *options, into],
                                        stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                        text=True)

    def reach_data_phase(self, camera):
        """Waits until the bytes of the big file come, and not yet all of them."""
        wait_until(lambda: self.ended() or any(path.name.endswith(f"{BIG}.part")
                                               for path in files_below(self.into)
                                               if path not in self.before), 60, "big file")
        reached = camera.urbs()
        wait_until(lambda: self.ended() or camera.urbs() >= reached + 2, 20, "data")
        assert not self.ended(), "the unload ended early: " + self.process.stdout.read()[-300:]

    def ended(self):
        return self.process.poll() is not None

    def seconds_to_first_byte(self):
        """From the program's start until a file has something in it that wasn't there before; 0
        where it ends without any."""
        def came():
            return any(size for path, size in files_below(self.into).items()
                       if self.before.get(path) != size and not is_record(path))
        came_first = wait_until(lambda: "a byte" if came() else self.ended() and "the end", 60,
                                "first byte", poll=0.02)
        return time.monotonic() - self.start if came_first == "a byte" else 0

    def finish(self, seconds):
        """Its exit status and what it said; it is killed when it hasn't ended in time."""
        try:
            said, _ = self.process.communicate(timeout=seconds)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.communicate()
            raise AssertionError(f"the unload came to no end in {seconds} s") from None
        return self.process.returncode, said[-300:]


def require_recovery(camera, into):
    """The next run gets the rest, and begins with it at once. Returns when that was."""
    rest = Unload(into, "--new")
    first = rest.seconds_to_first_byte()
    status, said = rest.finish(90)
    assert status == DONE, f"the next unload ended with {status}: {said}"
    require_same(camera.pictures, into)
    assert first <= FIRST_BYTE_SECONDS * slowness(), \
        f"first byte of the next unload after {first:.1f} s"
    return first


def slowness():
    """How much longer than on a machine that has nothing else to do our client's start takes now;
    1 there. Bounds in seconds are of such a machine."""
    start = time.monotonic()
    zlkcam("devices")
    return max(1, (time.monotonic() - start) / START_SECONDS)
