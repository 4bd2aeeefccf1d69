"""Inside the guest: looks at what a cut of the power has left, then unloads until the next one.

The run's folder has `job`, the pictures as files, and what lay in the folder of the copies before;
`made`, `checked`, `started` and `ended` come to lie there.
"""

import concurrent.futures
import contextlib
import json
import shutil
import time

import ledger
import volumes
from volumes import RUN, mounted

NEVER = 3600


def make(job):
    """File systems to begin with: of the card, and of a folder with something of the user's."""
    for role, content in (("card", "pictures"), ("copies", "before")):
        for system in job["systems"]:
            volumes.make(f"{role}-{system}", system)
            with mounted(f"{role}-{system}", system) as place:
                shutil.copytree(RUN / content, place, dirs_exist_ok=True)


class Left:
    """What a cut has left of a card and of the copies."""

    def __init__(self, book, state):
        self.book, self.state = book, state
        self.disks = [(state["card"], state["systems"][0]), (state["copies"], state["systems"][1])]
        self.faults, self.counts = [], {"on card": 0, "copied": 0}

    def look(self, when, is_read_only):
        try:
            with mounted(*self.disks[0], is_read_only) as card, \
                    mounted(*self.disks[1], is_read_only) as copies:
                self.faults += [f"{when}: {fault}" for fault in self.book.faults(card, copies)]
                self.counts = {"on card": len(ledger.files_below(card)),
                               "copied": self.book.copied(copies)}
        except volumes.Unmountable as reason:
            self.faults.append(f"{when}: {reason}")

    def complete(self):
        """The next run does the rest."""
        with mounted(*self.disks[0]) as card, mounted(*self.disks[1]) as copies:
            run = volumes.unload(card, copies, self.state["letter"])
            if run.returncode != 0 or not self.book.is_complete(card, copies):
                self.faults.append(f"next run: status {run.returncode}, "
                                   f"{ledger.files_below(card).keys()} stay on the card, "
                                   f"{run.stderr.strip()[-200:]}")

    def check(self):
        self.look("as it is", is_read_only=True)
        for disk in self.disks:
            volumes.repair(*disk)
        self.look("repaired", is_read_only=False)
        if self.state["goes on"] and not self.faults:
            self.complete()
        return {"faults": self.faults, **self.counts}


def unload_all(pairs):
    """At once; returns their statuses and what they said."""
    with contextlib.ExitStack() as stack, \
            concurrent.futures.ThreadPoolExecutor(len(pairs)) as pool:
        places = [[stack.enter_context(mounted(disk, system))
                   for disk, system in ((pair["card"], pair["systems"][0]),
                                        (pair["copies"], pair["systems"][1]))]
                  for pair in pairs]
        volumes.write_json("started", True)
        runs = pool.map(lambda pair, place: volumes.unload(*place, pair["letter"], pair["after"]),
                        pairs, places)
        volumes.write_json("ended", [[run.returncode, run.stderr[-300:]] for run in runs])
        time.sleep(NEVER)


def main():
    job = json.loads((RUN / "job").read_text())
    if job["do"] == "make":
        return make(job)
    volumes.zlkcam("register")
    book = ledger.Ledger(*(ledger.files_below(RUN / name) for name in ("pictures", "before")))
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        checked = list(pool.map(lambda state: Left(book, state).check(), job["check"]))
    volumes.write_json("checked", checked)
    return unload_all(job["unload"]) if job["unload"] else None


if __name__ == "__main__":
    main()
