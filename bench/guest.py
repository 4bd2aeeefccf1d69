"""The figures of a real USB stack: our client beside others on one device, in a guest of QEMU's."""

import json
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests" / "guest"))

import machine  # noqa: E402

REACH = {"listing 200 files": 1.3}  # limits, as multiples of the bare initiator's time
COPYING_REACH = 1.25
PROCESSOR_REACH = 2


def measured():
    """Seconds and processor seconds by work and program. Raises machine.Impossible."""
    machine.prepare()
    with machine.Machine("xhci", memory=3072) as guest:
        status = guest.run("python3", machine.REPOSITORY / "bench" / "in_guest.py", guest.folder,
                           timeout=1800)
        if status != 0:
            sys.exit(f"The guest ended with {status}:\n{guest.console()}")
        return json.loads((guest.folder / "results").read_text())


def rows():
    """(what, measured, limit, met) of each figure."""
    try:
        results = measured()
    except machine.Impossible as reason:
        yield f"on a real USB stack: skipped, {reason}", "-", "-", True
        return
    place = f"kernel {machine.kernel_release()}, QEMU {machine.qemu_version()}"
    yield f"on a real USB stack: {place}", "-", "-", True
    for work, programs in results.items():
        ours, bare = programs.pop("zlkcam"), programs.pop("bare")
        others = "".join(f", {name} {seconds:.1f} s" for name, (seconds, _) in programs.items())
        ratio = ours[0] / bare[0]
        reach = REACH.get(work, COPYING_REACH)
        yield (f"{work} against a bare initiator",
               f"{ratio:.2f} x (ours {ours[0]:.1f} s, bare {bare[0]:.1f} s{others})",
               f"{reach} x", ratio <= reach)
        ratio = ours[1] / bare[1]
        yield ("its processor time", f"{ratio:.2f} x ({ours[1]:.2f} s)", f"{PROCESSOR_REACH} x",
               ratio <= PROCESSOR_REACH)
