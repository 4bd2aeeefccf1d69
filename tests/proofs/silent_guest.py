"""Inside the guest: unloads a card onto a disk that lies, and looks at what came of it.

usage: silent_guest.py SYSTEM
The run's folder has the pictures as files. `honest` there tells the disk to lie no more; `result`
is for the outer machine.
"""

import shutil
import sys

import ledger
import volumes
from volumes import RUN, SCRATCH, mounted


def main():
    system, = sys.argv[1:]
    card = SCRATCH / "card"
    shutil.copytree(RUN / "pictures", card)
    volumes.zlkcam("register")
    volumes.make("copies", system)
    with mounted("copies", system) as copies:
        run = volumes.unload(card, copies)
    (RUN / "honest").touch()
    with mounted("copies", system, is_read_only=True) as copies:
        faults = list(ledger.Ledger(ledger.files_below(RUN / "pictures"), {}).faults(card, copies))
    volumes.write_json("result", {
        "status": run.returncode, "answer": run.stdout, "said": run.stderr[-2000:],
        "on card": [str(path) for path in ledger.files_below(card)], "faults": faults})


if __name__ == "__main__":
    main()
