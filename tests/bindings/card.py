"""A machine of the test's own, with a card in its drive E:.

The platform asks where the machine is when it is called first.
"""

import atexit
import contextlib
import ctypes
import os
import pathlib
import random
import shutil
import subprocess
import tempfile
import xml.etree.ElementTree

import zlkcamtr

_top = pathlib.Path(tempfile.mkdtemp(prefix="zlk-test-"))
atexit.register(shutil.rmtree, _top, ignore_errors=True)
os.environ["ZLK_MACHINE"] = str(_top / "machine")

# The build tree is laid out as an installation is.
PREFIX = pathlib.Path(zlkcamtr.__file__).parents[4]
ID = "#Zephyr-Lanthorn#RemovableDrive#E"
ROOT = _top / "card"
COPIES = _top / "copies"
LARGE = ROOT / "DCIM" / "100CAM" / "LARGE.MOV"


def _run(program, *arguments):
    subprocess.run([PREFIX / "bin" / program, *map(str, arguments)], check=True,
                   stdout=subprocess.DEVNULL)


def make(large=0):
    """Registers the classes and mounts the card, with a file of `large` bytes besides the others."""
    COPIES.mkdir()
    _run("zlk-samplecard", ROOT, "--pictures", "4")
    if large:
        LARGE.write_bytes(random.Random(1).randbytes(large))
    _run("zlkcam", "register")
    _run("zlkcam", "mount", ROOT, "--letter", "E", "--label", "WEDDING")


@contextlib.contextmanager
def camera():
    with zlkcamtr.locked(zlkcamtr.dispatch("ZlkCamTr.UnloadableCamera"), ID) as device:
        yield device


def files(listing):
    """The ids of the files in a `fileInfo` document, by their paths below the card's root."""
    found = xml.etree.ElementTree.fromstring(listing).iter("file")
    return {element.findtext("camerapath").replace("\\", "/").lstrip("/"): element.findtext("id")
            for element in found}


def can_unload():
    """Whether no object of the module is left."""
    return ctypes.CDLL(str(PREFIX / "lib/zlkcamtr/ZlkCamTr.so")).DllCanUnloadNow() == 0
