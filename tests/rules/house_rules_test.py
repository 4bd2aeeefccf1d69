"""That the rules of the house notice an include that runs upward."""

import pathlib
import unittest

from house_rules import BELOW, ROOMS, check_include

REFUSED = [
    ("ptp/Stream.cpp", "directory/CDeviceList.h"),
    ("foundation/Xml.cpp", "ptp/ZlPTPdrv.h"),
    ("platform/files.cpp", "usbscan/client/CameraHandle.h"),
    ("platform/files.cpp", "interfaces/IXmlDoc.h"),
    ("usbscan/host/DeviceHost.cpp", "foundation/Paths.h"),
    ("transport/WindowsUSB.cpp", "usbscan/Protocol.h"),
    ("tools/zlkcam/Text.cpp", "usbscan/host/EventLoop.h"),
    ("tools/zlkcam/Text.cpp", "directory/CDeviceList.h"),
    ("tools/zlkcam/Text.cpp", "platform/base/Handle.h"),
    ("server/ZlkCamTr.cpp", "platform/automation/TypeLibrary.h"),
    ("platform/base/Handle.cpp", "platform/named_objects.h"),
    ("platform/settings/RegistryKeys.cpp", "platform/files/PathTarget.h"),
    ("platform/error.cpp", "platform/automation.h"),
]
TAKEN = [
    ("directory/CDeviceList.cpp", "ptp/ZlPTPdrv.h"),
    ("transport/WindowsUSB.cpp", "usbscan/usbscan.h"),
    ("tools/zlkcamsim/Plug.h", "usbscan/host/DeviceHost.h"),
    ("usbscan/client/CameraHandle.h", "platform/base/Handle.h"),
    ("platform/files/PathTarget.cpp", "platform/drives/DriveTable.h"),
    ("platform/component_module.cpp", "platform/registrar.h"),
]


class HouseRules(unittest.TestCase):
    def test_includes_run_downward_only(self):
        for path, included in REFUSED:
            self.assertTrue(list(check_include(pathlib.Path(path), included)), (path, included))
        for path, included in TAKEN:
            self.assertEqual(list(check_include(pathlib.Path(path), included)), [], path)

    def test_no_room_or_floor_is_above_and_below_another(self):
        def reaches(start, goal):
            return goal in BELOW[start] or any(reaches(below, goal) for below in BELOW[start])
        self.assertFalse([floor for floor in BELOW if reaches(floor, floor)])
        self.assertEqual(len(set(" ".join(ROOMS.values()).split())),
                         len(" ".join(ROOMS.values()).split()))


if __name__ == "__main__":
    unittest.main()
