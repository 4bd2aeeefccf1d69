"""Listing and copying a card through the package, with progress, stops and signals."""

import contextlib
import gc
import os
import signal
import threading
import unittest
import unittest.mock
import weakref

import card
import zlkcamtr
from zlkcamtr import _progress

LARGE = 64 << 20


def setUpModule():
    card.make(LARGE)


class Stopped(Exception):
    pass


class TransfersTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with card.camera() as camera:
            cls.listing = camera.GetFileInfo()
        cls.files = card.files(cls.listing)
        cls.large = cls.files[card.LARGE.relative_to(card.ROOT).as_posix()]

    def setUp(self):
        self.target = card.COPIES / self.id()
        self.complaints = []
        self.enterContext(unittest.mock.patch("sys.unraisablehook", self.complaints.append))

    def tearDown(self):
        self.assertEqual(self.complaints, [], "Python printed an exception and forgot it")
        self.assertEqual(_progress.living, {}, "a component kept a reference to a callback")

    def save(self, progress):
        with card.camera() as camera:
            camera.SaveFileData(self.large, self.target, progress)

    def test_every_byte_of_every_file_is_copied(self):
        expected = {path.relative_to(card.ROOT).as_posix(): path.read_bytes()
                    for path in card.ROOT.rglob("*") if path.is_file()}
        copies = {}
        with card.camera() as camera:
            for path, identity in self.files.items():
                camera.SaveFileData(identity, self.target)
                copies[path] = self.target.read_bytes()
        self.assertTrue(expected == copies)  # in words it would be megabytes

    def test_progress_is_reported_from_0_to_100(self):
        reports = []
        self.save(reports.append)
        self.assertEqual((reports[0], reports[-1]), (0, 100))
        self.assertEqual(reports, sorted(reports))
        self.assertEqual(self.target.stat().st_size, LARGE)

    def test_a_listing_can_be_stopped(self):
        with card.camera() as camera:
            listing = camera.GetFileInfo(Progress=lambda percent: False)
        self.assertLess(len(card.files(listing)), len(self.files))

    def test_only_false_stops(self):
        for answer, stops in ((False, True), (True, False), (None, False), (0, False)):
            with self.subTest(answer=answer):
                self.save(lambda percent: answer)
                self.assertEqual(self.target.stat().st_size < LARGE, stops)

    def test_an_exception_stops_and_comes_out_once(self):
        raised = Stopped("by the test")
        reports = []

        def progress(percent):
            reports.append(percent)
            raise raised

        with self.assertRaises(Stopped) as caught:
            self.save(progress)
        self.assertIs(caught.exception, raised)
        self.assertEqual(reports, [0])
        self.assertLess(self.target.stat().st_size, LARGE)

    def test_nothing_is_left_of_a_callback(self):
        def progress(percent):
            raise Stopped

        gone = weakref.ref(progress)
        gc.disable()
        self.addCleanup(gc.enable)
        with contextlib.suppress(Stopped):
            self.save(progress)
        del progress
        self.assertIsNone(gone())

    def test_a_callback_may_call_other_components(self):
        utils = zlkcamtr.dispatch("ZlkCamTr.DeviceUtils")
        names = set()
        self.save(lambda percent: names.add(utils.ContextIdToName(card.ID)))
        self.assertEqual(names, {"WEDDING (E:)"})
        self.assertEqual(self.target.stat().st_size, LARGE)

    def test_ctrl_c_while_the_component_is_running(self):
        # It comes when Python isn't, so that Python sees it on its way into the next callback.
        running, killed = threading.Event(), threading.Event()

        def kill():
            running.wait()
            os.kill(os.getpid(), signal.SIGINT)
            killed.set()

        def progress(percent):
            if running.is_set():
                killed.wait()
            running.set()

        killer = threading.Thread(target=kill)
        killer.start()
        handler = signal.getsignal(signal.SIGINT)
        with self.assertRaises(KeyboardInterrupt):
            self.save(progress)
        killer.join()
        self.assertIs(signal.getsignal(signal.SIGINT), handler)

    def test_ctrl_c_in_a_callback(self):
        with self.assertRaises(KeyboardInterrupt):
            self.save(lambda percent: signal.raise_signal(signal.SIGINT))
        self.assertLess(self.target.stat().st_size, LARGE)

    def test_a_signal_handler_that_returns_stops_nothing(self):
        heard = []
        before = signal.signal(signal.SIGUSR1, lambda number, frame: heard.append(number))
        self.addCleanup(signal.signal, signal.SIGUSR1, before)
        self.save(lambda percent: signal.raise_signal(signal.SIGUSR1))
        self.assertEqual(set(heard), {signal.SIGUSR1})
        self.assertEqual(self.target.stat().st_size, LARGE)

    def test_on_another_thread(self):
        reports = []
        thread = threading.Thread(target=self.save, args=(reports.append,))
        thread.start()
        thread.join()
        self.assertEqual((reports[0], reports[-1]), (0, 100))


if __name__ == "__main__":
    unittest.main()
