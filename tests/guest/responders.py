"""Inside the guest: two still-image devices of other makers, to be plugged in and pulled.

Each has a folder of pictures as its storage, and says what it can't do.
"""

import contextlib
import os
import pathlib
import select
import shutil
import signal
import subprocess
import time

HERE = pathlib.Path(__file__).resolve().parent
STORE = HERE.parents[1] / "build" / "guest"
SYSFS = pathlib.Path("/sys/bus/usb/devices")
GADGET = pathlib.Path("/sys/kernel/config/usb_gadget/camera")
FUNCTION_FILES = pathlib.Path("/dev/camera")


def wait_until(holds, seconds, what, poll=0.005):
    """What `holds` returns once it is true; an AssertionError when `seconds` have passed."""
    end = time.monotonic() + seconds
    while True:
        result = holds()
        if result:
            return result
        if time.monotonic() > end:
            raise AssertionError(f"no {what} within {seconds} s")
        time.sleep(poll)


class KernelLog:
    """What the kernel has written about USB since the last question, worst first."""

    def __init__(self):
        self.file = os.open("/dev/kmsg", os.O_RDONLY | os.O_NONBLOCK)
        os.lseek(self.file, 0, os.SEEK_END)

    def complaints(self):
        """Warnings and errors of USB's drivers: none where everything went as it should."""
        found = []
        while select.select([self.file], [], [], 0)[0]:
            try:
                head, _, text = os.read(self.file, 8192).decode(errors="replace").partition(";")
            except BlockingIOError:
                break
            except BrokenPipeError:  # lines were overwritten
                continue
            severity = int(head.split(",")[0]) & 7
            text = text.splitlines()[0]
            about_usb = any(word in text for word in ("usb", "hci", "udc", "gadget"))
            if "returned -19" in text:  # something was asked of a device that had been pulled
                continue
            if "EP not empty" in text or "usbfs:" in text or (severity <= 4 and about_usb):
                found.append(text)
        return found


class Responder:
    """Common to both: found on the bus by its USB ids."""

    ids = ("", "")

    def place(self):
        """Its folder in sysfs; None while it isn't plugged in."""
        for path in SYSFS.glob("*/idVendor"):
            try:
                product = (path.parent / "idProduct").read_text().strip()
                if (path.read_text().strip(), product) == self.ids:
                    return path.parent
            except OSError:  # it is being pulled
                continue
        return None

    def urbs(self):
        """How many transfers the device has been asked for, which grows while data comes."""
        try:
            return int((self.place() / "urbnum").read_text())
        except (OSError, TypeError):
            return 0

    def replug(self):
        """As new, in whatever state it was."""
        self.unplug()
        self.wait_for(plugged=False)
        self.plug()

    def wait_for(self, plugged):
        wait_until(lambda: bool(self.place()) == plugged, 10, "device" if plugged else "pull")


class UsbMtp(Responder):
    """QEMU's own, on the host controller that the guest was given."""

    ids = ("46f4", "0004")
    lists_for_all_peers = True

    def __init__(self, outside):
        """`outside` is the run's folder as the outer machine calls it."""
        self.pictures = pathlib.Path("/mnt/run/card")
        self.outside = outside

    def plug(self):
        monitor(f"device_add usb-mtp,bus=usb.0,id=camera,serial=0001,readonly=off,"
                f"rootdir={self.outside}/card")
        self.wait_for(plugged=True)

    def unplug(self):
        """Where a client has left its session open, QEMU stands still for good once pictures are
        deleted behind this; one that closes it (gphoto2, the bare initiator) has to come last."""
        monitor("device_del camera")


def monitor(line):
    with open("/dev/guest-monitor", "w", encoding="ascii") as port:
        port.write(line + "\n")


class Umtprd(Responder):
    """Debian's umtp-responder, on the kernel's own pair of controllers without hardware."""

    ids = ("1d6b", "0100")
    # Its list of all storages at once is refused, and leaves a lock taken: the next list hangs.
    lists_for_all_peers = False

    def __init__(self, speed):
        self.pictures = pathlib.Path("/card")
        shutil.copytree("/mnt/run/card", self.pictures)
        self.packet = {"full": 64, "high": 512}[speed]
        self.daemon = None
        fast = "Y" if speed == "high" else "N"
        subprocess.run(["modprobe", "dummy_hcd", f"is_high_speed={fast}"], check=True)
        subprocess.run(["modprobe", "-a", "libcomposite", "usb_f_fs"], check=True)
        if not GADGET.parent.exists():
            subprocess.run(["mount", "-t", "configfs", "configfs", "/sys/kernel/config"],
                           check=True)
        self._make_gadget()
        self._write_settings()

    def _make_gadget(self):
        for folder in ("strings/0x409", "configs/c.1/strings/0x409", "functions/ffs.camera"):
            (GADGET / folder).mkdir(parents=True)
        for name, text in {"idVendor": "0x" + self.ids[0], "idProduct": "0x" + self.ids[1],
                           "strings/0x409/manufacturer": "Test Maker",
                           "strings/0x409/product": "Test Model",
                           "strings/0x409/serialnumber": "0001",
                           "configs/c.1/strings/0x409/configuration": "PTP"}.items():
            (GADGET / name).write_text(text)
        (GADGET / "configs/c.1/ffs.camera").symlink_to(GADGET / "functions/ffs.camera")
        FUNCTION_FILES.mkdir()
        subprocess.run(["mount", "-t", "functionfs", "camera", FUNCTION_FILES], check=True)

    def _write_settings(self):
        path = pathlib.Path("/etc/umtprd/umtprd.conf")
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(f"""loop_on_disconnect 0
storage "{self.pictures}" "Card" "rw"
manufacturer "Test Maker"
product "Test Model"
serial "0001"
firmware_version "1.0"
interface "MTP"
usb_vendor_id 0x{self.ids[0]}
usb_product_id 0x{self.ids[1]}
usb_class 0x6
usb_subclass 0x1
usb_protocol 0x1
usb_dev_version 0x3008
usb_functionfs_mode 0x1
usb_dev_path "{FUNCTION_FILES}/ep0"
usb_epin_path "{FUNCTION_FILES}/ep1"
usb_epout_path "{FUNCTION_FILES}/ep2"
usb_epint_path "{FUNCTION_FILES}/ep3"
usb_max_packet_size {self.packet:#x}
""")

    def plug(self):
        with open("/mnt/run/umtprd.log", "ab") as log:
            self.daemon = subprocess.Popen([STORE / "umtp/usr/bin/umtprd"], stdout=log,
                                           stderr=log)
        wait_until((FUNCTION_FILES / "ep1").exists, 10, "responder")
        controller, = os.listdir("/sys/class/udc")
        (GADGET / "UDC").write_text(controller)
        self.wait_for(plugged=True)

    def unplug(self):
        with contextlib.suppress(OSError):  # it has left by itself, as it does after a reset
            (GADGET / "UDC").write_text("\n")
        self.daemon.kill()
        self.daemon.wait()
        # The next one's would be taken for made while they are these.
        wait_until(lambda: not (FUNCTION_FILES / "ep1").exists(), 10, "end of the responder")

    def freeze(self):
        """Until it is plugged in anew it answers nothing."""
        self.daemon.send_signal(signal.SIGSTOP)
