#!/usr/bin/env python3
"""Each system call that touches the folder of the copies fails once, in a run of its own.

usage: sweep.py BIN [--short] [KIND...]
BIN has zlkcam and zlk-faults. --short takes a few places of each kind; a word like `write` takes
that kind only. Exit status: 0 all well, 1 something was lost, spoilt or not told, 77 the kernel
doesn't let its calls be asked about.
"""

import collections
import concurrent.futures
import contextlib
import json
import os
import pathlib
import queue
import re
import shutil
import subprocess
import sys
import tempfile

import ledger
import proof

SECONDS = 60  # for a run that takes a fraction of one
SHORT = 3     # places of each kind
BENCHES = 12  # a run waits for most of its time, until the card has settled
DISK_SIZE = 192 << 20
DELETING = ("unload", "--verify", "--delete", "E:")

# A fault that lasts is a full disk, or one that was pulled.
FAULTS = (
    ("open", "EIO"), ("open", "ENOSPC"), ("write", "EIO"), ("write", "ENOSPC"), ("write", "short"),
    ("read", "EIO"), ("read", "short"), ("sync", "EIO"), ("sync", "ENOSPC"), ("rename", "EIO"),
    ("rename", "ENOSPC"), ("mkdir", "EIO"), ("mkdir", "ENOSPC"), ("resize", "EIO"),
    ("resize", "ENOSPC"), ("unlink", "EIO"), ("advise", "EIO"), ("map", "EIO"), ("stat", "EIO"),
    ("list", "EIO"), ("times", "EIO"), ("mode", "EIO"), ("lock", "EIO"),
    ("write", "ENOSPC from there on"), ("sync", "EIO from there on"), ("any", "EIO from there on"),
)
REASONS = {
    "EIO": re.compile("input(/| or )output error", re.IGNORECASE),
    "ENOSPC": re.compile("disk is full|no space", re.IGNORECASE),
}

BIG = 3_000_000
PICTURES = {name: ledger.picture(number, size) for number, (name, size) in enumerate((
    ("DCIM/100CAM/PICT0001.JPG", 9_000), ("DCIM/100CAM/SAME.JPG", 5_000),
    ("DCIM/100CAM/OTHER.JPG", 4_000), ("DCIM/101CAM/PICT0001.JPG", 700),
    ("DCIM/101CAM/EMPTY.JPG", 0), ("BIG.MOV", BIG)))}
MINE = {
    "DCIM/100CAM/SAME.JPG": PICTURES["DCIM/100CAM/SAME.JPG"],
    "DCIM/100CAM/OTHER.JPG": ledger.picture(1000, 4_000),
    "notes.txt": b"the user's own",
}


class Impossible(Exception):
    """This machine doesn't let calls be asked about; the text says why."""


@contextlib.contextmanager
def small_disk():
    """A folder on a file system of its own, which nobody else's writes keep busy: each run waits
    for all that is to be written there. Only root can have it."""
    with tempfile.TemporaryDirectory(prefix="zlk-sweep-") as folder, \
            tempfile.NamedTemporaryFile(prefix="zlk-sweep-", dir="/dev/shm") as image:
        image.truncate(DISK_SIZE)
        made = os.geteuid() == 0 and not any(
            subprocess.run(words, capture_output=True, check=False).returncode
            for words in (["mkfs.ext4", "-q", image.name],
                          ["mount", "-o", "loop", image.name, folder]))
        try:
            yield pathlib.Path(folder).resolve()
        finally:
            if made:
                subprocess.run(["umount", folder], check=True)


class Bench:
    """A card and a folder, as new for each run."""

    def __init__(self, folder, programs):
        self.folder, self.programs = folder, programs
        self.card, self.copies = folder / "card", folder / "copies"
        self.machine = dict(os.environ, ZLK_MACHINE=str(folder / "machine"))
        self.card.mkdir(parents=True)
        self.zlkcam("register")
        self.zlkcam("mount", self.card, "--letter", "E")
        self.book = None

    def zlkcam(self, *words, before=()):
        return subprocess.run([*before, self.programs / "zlkcam", "--json", *words], text=True,
                              env=self.machine, capture_output=True, timeout=SECONDS, check=False)

    def renew(self):
        shutil.rmtree(self.copies, ignore_errors=True)
        for left in self.card.iterdir():
            shutil.rmtree(left) if left.is_dir() else left.unlink()
        ledger.fill(self.card, PICTURES)
        ledger.fill(self.copies, MINE)
        self.book = ledger.Ledger(PICTURES, MINE)

    def unload(self, *fault):
        """The run, and what the tool reports of it."""
        report = self.folder / "report"
        tool = [self.programs / "zlk-faults", "--below", self.copies, "--report", report, *fault,
                "--"]
        run = self.zlkcam(*DELETING, self.copies, before=tool)
        if run.returncode == proof.SKIPPED:
            raise Impossible(run.stderr.strip())
        return run, json.loads(report.read_text())


def untold(run, fault):
    """What a run that didn't complete its work failed to say."""
    try:
        answer = json.loads(run.stdout)
    except ValueError:
        return f"no JSON: {run.stdout[-80:]!r}"
    if not answer.get("error", {}).get("message"):
        return "no message"
    if not REASONS[fault].search(run.stdout):
        return f"no reason: {answer['error']['message']!r}"
    return None


def judge(bench, run, fault):
    """What is wrong after a run with a fault."""
    yield from bench.book.faults(bench.card, bench.copies)
    complete = bench.book.is_complete(bench.card, bench.copies)
    if fault == "short" and run.returncode != 0:
        yield f"status {run.returncode} after a part that was followed by the rest"
    if run.returncode == 0 and not complete:
        yield "status 0, and not all was copied and deleted"
    if run.returncode != 0:
        silent = untold(run, fault)
        if silent:
            yield f"status {run.returncode}, {silent}"


def judge_unflushed(bench):
    """What is wrong after a run in which nothing could be flushed."""
    named = bench.book.copied(bench.copies)
    if named > sum(data in MINE.values() for data in PICTURES.values()):
        yield f"{named} copies have names, and none is on the disk"


def judge_next(bench):
    """What is wrong after the run that has no fault any more."""
    run = bench.zlkcam(*DELETING, bench.copies)
    for fault in bench.book.faults(bench.card, bench.copies):
        yield f"next run: {fault}"
    if run.returncode != 0:
        yield f"next run: status {run.returncode}: {run.stderr.strip()[-200:]}"
    elif not bench.book.is_complete(bench.card, bench.copies):
        yield "next run: status 0, and not all was copied and deleted"


class Outcome:
    """What came of one run whose n-th call of a kind failed, and of the next one."""

    def __init__(self, bench, kind, fault, nth):
        name, *lasting = fault.split(" ", 1)
        bench.renew()
        self.nth, self.status, self.is_left, self.wrong = nth, None, False, []
        try:
            run, report = bench.unload("--kind", kind, "--nth", str(nth), "--fault", name,
                                       *(["--lasting"] if lasting else []))
        except subprocess.TimeoutExpired:
            self.hit = "a call"
            self.wrong = [f"came to no end in {SECONDS} s"]
            return
        self.hit = report["hit"].replace(str(bench.copies), "DEST")
        if not self.hit:
            return
        self.status = run.returncode
        wrong = list(judge(bench, run, name))
        if kind == "sync" and lasting and nth == 1:
            wrong += judge_unflushed(bench)
        self.is_left = bool(ledger.left_behind(bench.copies))
        wrong += judge_next(bench)
        self.wrong = [line.replace(str(bench.copies), "DEST") for line in wrong]


class Row:
    """One kind of call and one fault."""

    def __init__(self, kind, fault):
        self.kind, self.fault, self.outcomes = kind, fault, []

    def add(self, outcome):
        """False where the run had no such call."""
        if outcome.hit:
            self.outcomes.append(outcome)
        return bool(outcome.hit)

    def tell(self):
        """Each thing that is wrong once, and by which calls it comes about."""
        causes = collections.defaultdict(list)
        for outcome in self.outcomes:
            for line in outcome.wrong:
                causes[line].append(f"{outcome.nth} ({outcome.hit})")
        for line, calls in causes.items():
            print(f"{self.kind}, {self.fault}: {line}: {len(calls)} calls: {', '.join(calls[:5])}",
                  flush=True)

    def cells(self):
        statuses = collections.Counter(str(outcome.status) for outcome in self.outcomes)
        return [self.kind, self.fault, str(len(self.outcomes)),
                " ".join(f"{status}:{count}" for status, count in sorted(statuses.items())),
                str(sum(outcome.is_left for outcome in self.outcomes)),
                str(sum(bool(outcome.wrong) for outcome in self.outcomes))]

    def is_well(self):
        return not any(outcome.wrong for outcome in self.outcomes)


def places(count, short):
    """Which calls fail: all, or the first, the last and some between."""
    if not short or count <= SHORT:
        return range(1, count + 1)
    return sorted({1 + step * (count - 1) // (SHORT - 1) for step in range(SHORT)})


def count_calls(bench):
    bench.renew()
    run, report = bench.unload()
    wrong = list(judge(bench, run, "short"))
    assert not wrong, f"without a fault: {wrong}, {run.stderr}"
    counts = report["seen"]
    print("Calls of a run without a fault:",
          ", ".join(f"{count} {kind}" for kind, count in counts.items()), flush=True)
    return counts


def sweep(benches, short, kinds):
    counts = count_calls(benches[0])
    free = queue.SimpleQueue()
    for bench in benches:
        free.put(bench)

    def outcome(row, nth):
        bench = free.get()
        try:
            return Outcome(bench, row.kind, row.fault, nth)
        finally:
            free.put(bench)

    rows = [Row(kind, fault) for kind, fault in FAULTS if not kinds or kind in kinds]
    with concurrent.futures.ThreadPoolExecutor(len(benches)) as pool:
        tried = [(row, pool.submit(outcome, row, nth))
                 for row in rows for nth in places(counts.get(row.kind, 0), short)]
        for row, future in tried:
            row.add(future.result())
    # A fault makes for calls that the run without one hasn't.
    for row in rows:
        nth = counts.get(row.kind, 0) + 1
        while not short and row.add(outcome(row, nth)):
            nth += 1
        row.tell()
    return rows


def main():
    programs, *words = sys.argv[1:]
    short = "--short" in words
    kinds = [word for word in words if word != "--short"]
    with small_disk() as folder:
        benches = [Bench(folder / str(number), pathlib.Path(programs).resolve())
                   for number in range(BENCHES)]
        try:
            rows = sweep(benches, short, kinds)
        except Impossible as reason:
            print(f"Skipped: {reason}")
            return proof.SKIPPED
    return proof.end(("call", "fault", "runs", "status:runs", "left hidden", "wrong"), rows)


if __name__ == "__main__":
    sys.exit(main())
