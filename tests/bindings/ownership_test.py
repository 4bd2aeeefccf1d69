"""Objects are let go of exactly once, whatever happens."""

import gc
import pathlib
import subprocess
import sys
import threading
import unittest
import unittest.mock

import card
import zlkcamtr
from zlkcamtr import _members

PAGE = 4096

# What is registered before the first object comes when all of them have been let go of.
AT_THE_END = """
import atexit, card, zlkcamtr

def late():
    try:
        camera.IsConnected
    except RuntimeError as error:
        print(error)
    print("can unload:", card.can_unload())

card.make()
atexit.register(late)
camera = zlkcamtr.dispatch("ZlkCamTr.UnloadableCamera")
camera.LockDevice(card.ID)
"""

# The test's own process holds the module for its questions.
UNUSED = """
import pathlib, card, zlkcamtr

def loaded():
    return "ZlkCamTr.so" in pathlib.Path("/proc/self/maps").read_text()

card.make()
devices = zlkcamtr.dispatch("ZlkCamTr.DeviceList")
zlkcamtr.free_unused()
print(loaded())
del devices
zlkcamtr.free_unused()
print(loaded())
print(card.ID in zlkcamtr.dispatch("ZlkCamTr.DeviceList").UnloadDevices)
"""


def setUpModule():
    card.make()


def resident():
    """This process's resident memory in bytes."""
    return int(pathlib.Path("/proc/self/statm").read_text().split()[1]) * PAGE


class OwnershipTest(unittest.TestCase):
    def tearDown(self):
        gc.collect()
        self.assertTrue(card.can_unload(), "an object is left")

    def test_a_hundred_thousand_objects_and_many_calls(self):
        utils = zlkcamtr.dispatch("ZlkCamTr.DeviceUtils")
        text = "x" * 500
        for what, use, count in (
                ("objects", lambda: zlkcamtr.dispatch("ZlkCamTr.UnloadableCamera"), 100_000),
                ("calls", lambda: utils.MapContextId(text), 20_000)):
            for _ in range(1_000):
                use()
            before = resident()
            for _ in range(count):
                use()
            grown = resident() - before
            print(f"{count:,} {what}: {grown / 2**20:.2f} MiB more resident memory")
            with self.subTest(what):
                self.assertLess(grown, 1 << 20)

    def test_an_object_that_fails_to_tell_its_members(self):
        with unittest.mock.patch.object(_members, "guid", side_effect=MemoryError):
            with self.assertRaises(MemoryError):
                zlkcamtr.dispatch("ZlkCamTr.UnloadableCamera")

    def test_the_last_reference_on_another_thread(self):
        held = []

        def make():
            camera = zlkcamtr.dispatch("ZlkCamTr.UnloadableCamera")
            camera.LockDevice(card.ID)
            held.append(camera)

        thread = threading.Thread(target=make)
        thread.start()
        thread.join()
        held.clear()
        with card.camera():
            pass

    def run_script(self, script):
        run = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True,
                             cwd=pathlib.Path(__file__).parent)
        self.assertEqual((run.stderr, run.returncode), ("", 0))
        return run.stdout

    def test_unused_modules_go_and_come_back(self):
        self.assertEqual(self.run_script(UNUSED), "True\nFalse\nTrue\n")

    def test_at_the_end_of_the_interpreter(self):
        self.assertEqual(self.run_script(AT_THE_END),
                         "the interpreter ends, and the object has been let go of\n"
                         "can unload: True\n")


if __name__ == "__main__":
    unittest.main()
