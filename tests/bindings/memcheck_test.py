#!/usr/bin/env python3
"""Runs memcheck_scenario.py in valgrind, which has to be installed.

Python leaks memory on purpose as it ends, so a loss counts only where our code has allocated it.
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import xml.etree.ElementTree

SCENARIO = pathlib.Path(__file__).with_name("memcheck_scenario.py")
OURS = ("libzlkplatform.so", "ZlkCamTr.so")
ACCESSES = {"InvalidRead", "InvalidWrite", "InvalidFree", "MismatchedFree", "InvalidJump"}
LOSS = "Leak_DefinitelyLost"
SHOWN_FRAMES = 15


def library(frame):
    return pathlib.Path(frame.findtext("obj", "")).name


def counts(error):
    kind = error.findtext("kind")
    frames = error.find("stack").findall("frame")
    if kind in ACCESSES:
        # The loader compares texts by words, beyond their ends.
        return not library(frames[0]).startswith("ld-linux")
    return kind == LOSS and any(library(frame).startswith(OURS) for frame in frames)


def errors():
    with tempfile.NamedTemporaryFile() as report:
        subprocess.run(["valgrind", "--quiet", "--leak-check=full", "--show-leak-kinds=definite",
                        "--num-callers=40", "--xml=yes", f"--xml-file={report.name}",
                        sys.executable, SCENARIO],
                       check=True, env={**os.environ, "PYTHONMALLOC": "malloc"})
        return [error for error in xml.etree.ElementTree.parse(report.name).iter("error")
                if counts(error)]


def main():
    found = errors()
    for error in found:
        print(error.findtext("kind"), error.findtext("what") or error.findtext("xwhat/text"))
        for frame in error.find("stack").findall("frame")[:SHOWN_FRAMES]:
            print("   ", frame.findtext("fn", "?")[:80], library(frame))
    print(f"{len(found)} invalid accesses and losses")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
