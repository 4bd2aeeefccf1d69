"""A machine in QEMU: a stock Debian kernel with its USB stack above this machine's own files.

A program of this machine runs in it at its own path and as root. What it writes is lost with the
guest, but for its run's folder, which is /mnt/run there. No KVM, no network, some 5 s to boot.
"""

import contextlib
import lzma
import pathlib
import platform
import re
import shlex
import shutil
import subprocess
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
REPOSITORY = HERE.parents[1]
STORE = REPOSITORY / "build" / "guest"
QEMU = "qemu-system-x86_64"
CONTROLLERS = {  # their devices and drivers; each calls its bus usb.0
    "xhci": (["qemu-xhci,id=usb,p2=8,p3=8"], "xhci_pci"),
    "ehci": (["usb-ehci,id=usb"], "ehci_pci"),
    "uhci": (["piix3-usb-uhci,id=usb"], "uhci_hcd"),
    "none": ([], ""),
}
KERNEL_LINE = ("console=ttyS0 quiet loglevel=4 panic=-1 nokaslr mitigations=off audit=0 apparmor=0 "
               "random.trust_cpu=on no_timer_check tsc=reliable")
# What it takes to reach the outer machine's files; the rest is loaded from there.
EARLY_MODULES = ("virtio_pci", "9pnet_virtio", "9p", "overlay", "virtio_console")


class Impossible(Exception):
    """This machine can't run a guest; the text says why."""


def _output(*command, **kwargs):
    return subprocess.run(command, check=True, capture_output=True, text=True, **kwargs).stdout


def _unpack():
    """The kernel and the responder of Debian's packages, which aren't to be installed."""
    if (STORE / "kernel").is_dir() and (STORE / "umtp").is_dir():
        return
    found = re.search(r"Depends: (linux-image-\d\S*)",
                      _output("apt-cache", "depends", "linux-image-amd64"))
    if not found:
        raise Impossible("apt knows no package linux-image-amd64 (apt-get update?)")
    for package, target in ((found[1], "kernel"), ("umtp-responder", "umtp")):
        with tempfile.TemporaryDirectory(dir=STORE) as folder:
            try:
                _output("apt-get", "download", package, cwd=folder)
            except subprocess.CalledProcessError as error:
                raise Impossible(f"can't download {package}: {error.stderr.strip()}") from None
            archive, = pathlib.Path(folder).glob("*.deb")
            _output("dpkg", "-x", archive, pathlib.Path(folder) / "unpacked")
            (pathlib.Path(folder) / "unpacked").rename(STORE / target)


def kernel_release():
    image, = (STORE / "kernel" / "boot").glob("vmlinuz-*")
    return image.name.removeprefix("vmlinuz-")


def qemu_version():
    return re.search(r"version (\S+)", _output(QEMU, "--version"))[1]


def _unpack_kernel():
    """The bare kernel boots without unpacking itself, which takes seconds under emulation."""
    if (STORE / "vmlinux").exists():
        return
    image = (STORE / "kernel" / "boot" / f"vmlinuz-{kernel_release()}").read_bytes()
    start = image.index(b"\xfd7zXZ\0")
    kernel = lzma.LZMADecompressor(lzma.FORMAT_XZ).decompress(image[start:])
    assert kernel.startswith(b"\x7fELF")
    _output("/sbin/depmod", "-b", STORE / "kernel", kernel_release())
    (STORE / "vmlinux").write_bytes(kernel)


def _make_first_disk(place):
    """The initramfs."""
    for name in ("bin", "dev", "proc", "sys", "outside", "memory", "whole", "modules"):
        (place / name).mkdir(parents=True)
    shutil.copy("/bin/busybox", place / "bin")
    shutil.copy(HERE / "init", place / "init")
    (place / "init").chmod(0o755)
    order = []
    for module in EARLY_MODULES:
        lines = _output("/sbin/modprobe", "-d", STORE / "kernel", "-S", kernel_release(),
                        "--show-depends", module).splitlines()
        order += [pathlib.Path(line.split()[1]) for line in lines if line.startswith("insmod ")]
    order = list(dict.fromkeys(order))
    for module in order:
        shutil.copy(module, place / "modules")
    (place / "modules" / "order").write_text("".join(f"{module.name}\n" for module in order))
    names = "\n".join(str(path.relative_to(place)) for path in sorted(place.rglob("*")))
    return subprocess.run(["cpio", "-o", "-H", "newc", "--quiet"], input=names.encode(), cwd=place,
                          check=True, capture_output=True).stdout


def _make_locale():
    """QEMU stays in the C locale, in which its usb-mtp can't say a name that isn't ASCII."""
    library = STORE / "locale.so"
    if not library.exists():
        source = ('#include <locale.h>\n__attribute__((constructor)) static void start(void) '
                  '{ setlocale(LC_CTYPE, "C.UTF-8"); }\n')
        subprocess.run(["cc", "-shared", "-fPIC", "-x", "c", "-", "-o", library], check=True,
                       input=source.encode())
    return library


def prepare():
    """Makes what all guests have in common, below build/guest. Raises Impossible."""
    if platform.machine() != "x86_64":
        raise Impossible(f"the guest is an x86_64 machine, and this one is {platform.machine()}")
    if not shutil.which(QEMU):
        raise Impossible(f"{QEMU} isn't installed")
    STORE.mkdir(parents=True, exist_ok=True)
    _unpack()
    _unpack_kernel()
    _make_locale()
    with tempfile.TemporaryDirectory() as place:
        (STORE / "initrd").write_bytes(_make_first_disk(pathlib.Path(place)))


class Machine:
    """One guest, off until it runs a command. `folder` is the run's folder, and `disks` are sockets
    of network block devices by name, which the guest sees as the disks' serial."""

    def __init__(self, controller, memory=2048):
        self.controller = controller
        self.memory = memory
        self.disks = {}
        self.scratch = tempfile.TemporaryDirectory(dir=STORE)
        self.folder = pathlib.Path(self.scratch.name)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.scratch.cleanup()

    def _arguments(self):
        devices, _ = CONTROLLERS[self.controller]
        monitor = self.folder / "monitor"
        share = "security_model=none,multidevs=remap"
        arguments = [
            "-nodefaults", "-no-user-config", "-display", "none", "-no-reboot",
            "-machine", "q35,usb=off", "-accel", "tcg,thread=multi,tb-size=256",
            # Where a processor claims fast string moves, all that is copied is moved by them; an
            # emulated one takes a hundred times as long for that as for any other way.
            "-cpu", "max,-erms,-fsrm",
            "-smp", "2", "-m", str(self.memory),
            "-kernel", STORE / "vmlinux", "-initrd", STORE / "initrd", "-append", KERNEL_LINE,
            "-serial", f"file:{self.folder / 'console'}",
            "-device", "virtio-serial-pci",
            "-chardev", "stdio,id=output,signal=off",
            "-device", "virtserialport,chardev=output,name=output",
            # A guest plugs its own devices: its serial line ends in QEMU's own monitor.
            "-chardev", f"socket,id=monitor,path={monitor},server=on,wait=off",
            "-mon", "chardev=monitor,mode=readline",
            "-chardev", f"socket,id=to-monitor,path={monitor}",
            "-device", "virtserialport,chardev=to-monitor,name=monitor",
            "-virtfs", f"local,path=/,mount_tag=outside,readonly=on,{share}",
            "-virtfs", f"local,path={self.folder},mount_tag=run,{share}"]
        for device in devices:
            arguments += ["-device", device]
        for name, path in self.disks.items():
            arguments += ["-blockdev", f"driver=nbd,node-name={name},server.type=unix,"
                                       f"server.path={path}",
                          "-device", f"virtio-blk-pci,drive={name},serial={name}"]
        return [QEMU, *map(str, arguments)]

    @contextlib.contextmanager
    def running(self, *command, modules=""):
        """QEMU's process, in which the guest runs `command`."""
        (self.folder / "status").unlink(missing_ok=True)
        shutil.copy(HERE / "start", self.folder)
        (self.folder / "command").write_text("exec " + shlex.join(map(str, command)) + "\n")
        _, driver = CONTROLLERS[self.controller]
        settings = {"kernel": STORE / "kernel", "modules": f"{driver} {modules}".strip(),
                    "folder": REPOSITORY}
        (self.folder / "settings").write_text(
            "".join(f"{name}={shlex.quote(str(value))}\n" for name, value in settings.items()))
        # A serial line without an open input counts as unplugged, so QEMU gets one that stays.
        with subprocess.Popen(self._arguments(), stdin=subprocess.PIPE,
                              env={"LD_PRELOAD": _make_locale(), "PATH": "/usr/bin:/bin"}) as qemu:
            try:
                yield qemu
            finally:
                qemu.kill()

    def run(self, *command, timeout, modules=""):
        """The exit status of `command` in the guest; None if it came to no end in time."""
        with self.running(*command, modules=modules) as qemu, \
                contextlib.suppress(subprocess.TimeoutExpired):
            qemu.wait(timeout)
        status = self.folder / "status"
        return int(status.read_text()) if status.exists() else None

    def console(self):
        """The end of what the kernel wrote to its console, for a guest that failed."""
        path = self.folder / "console"
        return path.read_text(errors="replace")[-2000:] if path.exists() else ""
