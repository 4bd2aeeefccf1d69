"""Names, arguments, results and failures of members."""

import contextlib
import inspect
import threading
import unittest

import card
import zlkcamtr

E_FAIL = 0x80004005
E_NOINTERFACE = 0x80004002
CO_E_CLASSSTRING = 0x800401F3
DISP_E_TYPEMISMATCH = 0x80020005
DISP_E_OVERFLOW = 0x8002000A
HELD_BY_SOMEBODY_ELSE = 2
HOLDS_NO_DEVICE = 3
FILE_CANT_BE_WRITTEN = 6


def setUpModule():
    card.make()


class ObjectsTest(unittest.TestCase):
    def setUp(self):
        self.camera = zlkcamtr.dispatch("ZlkCamTr.UnloadableCamera")
        self.utils = zlkcamtr.dispatch("ZlkCamTr.DeviceUtils")

    @contextlib.contextmanager
    def fails(self, member, hresult, code=None):
        with self.assertRaises(zlkcamtr.ComError) as caught:
            yield
        error = caught.exception
        self.assertEqual((error.member, error.hresult, error.ErrorCode), (member, hresult, code))
        self.assertTrue(error.description)
        self.assertIn(error.description, str(error))


class MembersTest(ObjectsTest):
    def test_results(self):
        self.assertIn(f"<contextId>{card.ID}</contextId>",
                      zlkcamtr.dispatch("ZlkCamTr.DeviceList").UnloadDevices)
        self.assertEqual(self.utils.ContextIdToName(card.ID), "WEDDING (E:)")
        self.assertEqual(self.utils.IsDeviceLocked(card.ID), 0)
        self.assertIsInstance(self.utils.ContextIdToFileEnumTimeout(card.ID), int)
        self.assertIsNone(self.camera.LockDevice(card.ID))
        self.assertEqual(self.utils.IsDeviceLocked(card.ID), 1)

    def test_texts_come_back_unit_by_unit(self):
        for text in ("", "\N{SLICE OF PIZZA}\U0010FFFF", "before\0behind\0", "\ud83c alone \udf55",
                     "x" * 100_000):
            with self.subTest(text=text[:20]):
                self.assertEqual(self.utils.MapContextId(text), text)

    def test_names_in_any_case(self):
        self.assertEqual(self.utils.CONTEXTIDTONAME(contextid=card.ID), "WEDDING (E:)")
        with zlkcamtr.locked(self.camera, card.ID):
            self.camera.intent = "<intent>\N{SLICE OF PIZZA}</intent>"
            self.assertEqual(self.camera.INTENT, "<intent>\N{SLICE OF PIZZA}</intent>")

    def test_names_that_arent_there(self):
        share = zlkcamtr.dispatch("ZlkCamTr.SPostDevice")
        with self.assertRaisesRegex(AttributeError, "Nothing"):
            self.camera.Nothing
        for name in ("Nothing", "isconnected", "LockDevice"):
            with self.subTest(name), self.assertRaises(AttributeError):
                setattr(self.camera, name, 1)
        with self.assertRaises(AttributeError):
            share.Password
        self.assertFalse(hasattr(self.camera, "__iter__"))

    def test_what_python_shows(self):
        self.assertLessEqual({"LockDevice", "SaveFileData", "DeviceDate"}, set(dir(self.camera)))
        self.assertEqual(
            inspect.getdoc(self.camera.SaveFileData),
            "SaveFileData(id: str, fileName: str, Progress=None) -> None\n\nmethod SaveFileData")
        self.assertEqual(list(inspect.signature(self.camera.SaveFileData).parameters),
                         ["id", "fileName", "Progress"])
        self.assertEqual(inspect.getdoc(self.utils.ContextIdToName),
                         "ContextIdToName(ContextId: str) -> str\n\nmethod ContextIdToName")
        self.assertEqual(inspect.getdoc(type(self.camera).IsConnected),
                         "IsConnected: int\n\nproperty IsConnected")

    def test_wrong_numbers_of_arguments(self):
        for arguments, named in (((), {}), (("id",), {}), (("id", "path", None, 1), {}),
                                 (("id", "path"), {"id": "id"}), (("id", "path"), {"other": 1})):
            with self.subTest(arguments=arguments, named=named):
                with self.assertRaisesRegex(TypeError, "SaveFileData"):
                    self.camera.SaveFileData(*arguments, **named)

    def test_wrong_types(self):
        for error, member, argument in ((TypeError, self.camera.LockDevice, [card.ID]),
                                        (TypeError, self.camera.LockDevice, print),
                                        (OverflowError, self.camera.ShowDialog, 2**64)):
            with self.subTest(argument=argument), self.assertRaises(error):
                member(argument)
        for name, hresult, argument in (("ShowDialog", DISP_E_TYPEMISMATCH, "no number"),
                                        ("ShowDialog", DISP_E_OVERFLOW, 2**40),
                                        ("LockDevice", DISP_E_TYPEMISMATCH, self.utils),
                                        ("GetFileInfo", DISP_E_TYPEMISMATCH, self.utils)):
            with self.subTest(name, argument=argument), self.fails(name, hresult):
                getattr(self.camera, name)(argument)


class FailuresTest(ObjectsTest):
    def test_classes_that_cant_be_made(self):
        with self.fails("ZlkCamTr.Nothing", CO_E_CLASSSTRING):
            zlkcamtr.dispatch("ZlkCamTr.Nothing")
        with self.fails("ZlkCamTr.ProgressCallback", E_NOINTERFACE):
            zlkcamtr.dispatch("ZlkCamTr.ProgressCallback")

    def test_the_object_tells_the_reason(self):
        with self.fails("GetFileInfo", E_FAIL, HOLDS_NO_DEVICE):
            self.camera.GetFileInfo()
        with card.camera() as other:
            with self.fails("LockDevice", E_FAIL, HELD_BY_SOMEBODY_ELSE):
                self.camera.LockDevice(card.ID)
            identity = next(iter(card.files(other.GetFileInfo()).values()))
            with self.fails("SaveFileData", E_FAIL, FILE_CANT_BE_WRITTEN):
                other.SaveFileData(identity, card.COPIES / "nowhere" / "copy")

    def test_an_object_without_error_code_tells_none(self):
        with self.fails("IsDeviceLocked", E_FAIL, None):
            self.utils.IsDeviceLocked("nonsense")

    def test_locked_lets_go_and_passes_the_exception_on(self):
        with self.assertRaises(ZeroDivisionError), zlkcamtr.locked(self.camera, card.ID):
            1 / 0
        # That the device isn't locked any more, and so can't be unlocked, doesn't hide it either.
        with self.assertRaises(ZeroDivisionError), zlkcamtr.locked(self.camera, card.ID):
            self.camera.UnlockDevice()
            1 / 0
        with zlkcamtr.locked(zlkcamtr.dispatch("ZlkCamTr.UnloadableCamera"), card.ID):
            pass

    def test_another_thread_is_refused(self):
        raised = []

        def call():
            try:
                self.camera.IsConnected
            except RuntimeError as error:
                raised.append(error)

        thread = threading.Thread(target=call)
        thread.start()
        thread.join()
        self.assertEqual(len(raised), 1)


if __name__ == "__main__":
    unittest.main()
