#!/usr/bin/env python3
"""The figures of `zlkcam unload`, beside the tools that people copy cards with.

usage: unloading.py BIN, or by table.py. Where programs copy, they take turns, and caches are
dropped before each, which only root can. The second for which a listing lets a card settle is left
out of our time.
"""

import contextlib
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

ROUNDS = 3
SETTLING = 1.0
CARDS = {"2 GB in files of 8 MB": (250, 8_000_000), "10,000 files of 100 KB": (10_000, 100_000)}
MOST_MEMORY = 150  # MiB, with 100,000 files
MOST_CALLS = 40    # for a file of 200 KB


def run(*command, **options):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True,
                          check=False, **options)
    if done.returncode:
        print(done.stderr, file=sys.stderr)
    done.check_returncode()
    return done


def drop_caches():
    os.sync()
    pathlib.Path("/proc/sys/vm/drop_caches").write_text("3")


def timed(work):
    drop_caches()
    start = time.perf_counter()
    work()
    return time.perf_counter() - start


def read_cold(folder):
    drop_caches()
    for place, _, names in os.walk(folder):
        for name in names:
            with open(os.path.join(place, name), "rb", buffering=0) as file:
                while file.read(1 << 20):
                    pass


def fill(card, count, size):
    for number in range(count):
        folder = card / "DCIM" / f"{100 + number // 1000}CAM"
        folder.mkdir(parents=True, exist_ok=True)
        (folder / f"PICT{number:06}.JPG").write_bytes(os.urandom(size))


class Bench:
    """A card, and a new folder for each copy, since a file system is slow to use the space of what
    was deleted a moment ago."""

    def __init__(self, programs, scratch):
        self.programs, self.scratch, self.card, self.folders = programs, scratch, None, 0

    def insert(self, name, count, size):
        self.eject()
        self.card = self.scratch / name
        fill(self.card, count, size)
        run(self.programs / "zlkcam", "mount", self.card, "--letter", "E")

    def eject(self):
        if self.card:
            run(self.programs / "zlkcam", "unmount", "E")
            shutil.rmtree(self.card)
        self.card = None

    def new(self):
        self.folders += 1
        return self.scratch / f"copy{self.folders}"

    def unload(self, *options, before=(), into=()):
        return run(*before, self.programs / "zlkcam", "unload", "--quiet", *options, "E:",
                   self.new(), *into)

    def copy(self):
        target = self.new()
        run("cp", "-r", self.card, target)
        os.sync()
        return target

    def rsync(self):
        """Copies in the first run and compares in the second, which must find nothing in memory."""
        target = self.new()
        for _ in range(2):
            drop_caches()
            run("rsync", "-a", "--checksum", f"{self.card}/", target)
            os.sync()

    def medians(self, ways):
        """Seconds by way."""
        seconds = {way: [] for way in ways}
        for _ in range(ROUNDS):
            for way, work in ways.items():
                seconds[way].append(timed(work))
        return {way: statistics.median(each) for way, each in seconds.items()}


def times(bench):
    for card, (count, size) in CARDS.items():
        bench.insert(card.replace(" ", "-"), count, size)
        took = bench.medians({
            "cp": bench.copy, "unload": bench.unload,
            "cp and read": lambda: read_cold(bench.copy()),
            "proved": lambda: bench.unload("--verify=copies"),
            "rsync": bench.rsync})
        ours, proved = took["unload"] - SETTLING, took["proved"] - SETTLING
        for what, mine, other, reach in (
                ("unload against cp -r and sync", ours, took["cp"], 1.05),
                ("unload --verify=copies against the same and a cold read", proved,
                 took["cp and read"], 1.05),
                ("the same against rsync --checksum, twice", proved, took["rsync"], 0.5)):
            yield (f"{card}: {what}", f"{mine / other:.2f} x ({mine:.1f} s, {other:.1f} s)",
                   f"{reach} x", mine / other <= reach)


@contextlib.contextmanager
def fast_disk(scratch):
    """The folder of a disk that lies in memory. Raises OSError or subprocess.CalledProcessError
    where there can be none."""
    with tempfile.TemporaryDirectory(dir="/dev/shm") as memory:
        image, place = pathlib.Path(memory) / "image", scratch / "fast"
        with open(image, "wb") as file:  # all of its memory is there before anything is measured
            for _ in range(5 << 10):
                file.write(bytes(1 << 20))
        run("mkfs.ext4", "-q", "-E", "nodiscard,lazy_itable_init=0,lazy_journal_init=0", image)
        place.mkdir()
        run("mount", "-o", "loop", image, place)
        try:
            yield place
        finally:
            run("umount", place)


def two_disks(bench):
    what = "2 GB in files of 8 MB: unload --verify=copies to two disks, against cp, sync and a " \
        "cold read on the slower"
    bench.insert("two", *CARDS["2 GB in files of 8 MB"])
    try:
        with fast_disk(bench.scratch) as fast:
            seconds = []
            for number in range(1 + ROUNDS):
                target = fast / f"copy{number}"
                ours = timed(lambda into=target: bench.unload("--verify=copies", into=[into]))
                seconds.append((ours - SETTLING, timed(lambda: read_cold(bench.copy()))))
                shutil.rmtree(target)
            del seconds[0]  # a virtual machine is slow to use memory for the first time
    except (OSError, subprocess.CalledProcessError) as reason:
        yield f"{what}: skipped, {reason}", "-", "-", True
        return
    ours, other = (statistics.median(each) for each in zip(*seconds))
    yield what, f"{ours / other:.2f} x ({ours:.1f} s, {other:.1f} s)", "1.1 x", ours <= 1.1 * other


def sums(bench):
    file = bench.scratch / "summed"
    file.write_bytes(os.urandom(1 << 28) * 4)
    def ours():
        seconds, digits = run(bench.programs / "zlk-bench-sums", file).stdout.split()
        return float(seconds), digits
    def theirs():
        start = time.perf_counter()
        digits = run("xxhsum", "-H2", file).stdout.split()[0].removeprefix("XXH128_")
        return time.perf_counter() - start, digits
    assert ours()[1] == theirs()[1]
    mine, other = (statistics.median(way()[0] for _ in range(5)) for way in (ours, theirs))
    file.unlink()
    yield ("sums of 1 GB in memory, against xxhsum -H2", f"{mine / other:.2f} x ({mine:.2f} s)",
           "1.2 x", mine <= 1.2 * other)


def calls(bench):
    counts = []
    for number in (100, 300):
        bench.insert(f"calls{number}", number, 200_000)
        report = bench.scratch / "calls"
        bench.unload(before=("strace", "-f", "-c", "-o", report))
        counts.append(int(re.search(r"(\d+)\s+\d*\s+total", report.read_text())[1]))
    each = (counts[1] - counts[0]) / 200
    yield ("system calls for a file of 200 KB", f"{each:.0f}", f"{MOST_CALLS}", each <= MOST_CALLS)


def memory(bench):
    bench.insert("many", 100_000, 200)
    report = bench.scratch / "memory"
    bench.unload("--verify=copies", before=("/usr/bin/time", "-f", "%M", "-o", report))
    peak = int(report.read_text()) / 1024
    yield ("peak memory of unloading 100,000 files", f"{peak:.0f} MiB", f"{MOST_MEMORY} MiB",
           peak <= MOST_MEMORY)


def rows(programs):
    """(what, measured, limit, met) of each figure."""
    if os.geteuid() != 0:
        yield "unload beside cp and rsync: skipped, only root can drop caches", "-", "-", True
        return
    with tempfile.TemporaryDirectory(dir=os.environ.get("ZLK_BENCH_DIR", "/var/tmp")) as name:
        scratch = pathlib.Path(name)
        os.environ["ZLK_MACHINE"] = str(scratch / "machine")
        run(programs / "zlkcam", "register")
        bench = Bench(programs, scratch)
        for figures in (times, two_disks, sums, calls, memory):
            yield from figures(bench)
            bench.eject()


if __name__ == "__main__":
    for figure in rows(pathlib.Path(sys.argv[1]).resolve()):
        print(*figure, sep="  ", flush=True)
