"""Cameras and memory cards from Python: the components of ZlkCamTr, called by name.

    import zlkcamtr

    print(zlkcamtr.dispatch("ZlkCamTr.DeviceList").UnloadDevices)
    camera = zlkcamtr.dispatch("ZlkCamTr.UnloadableCamera")
    with zlkcamtr.locked(camera, "#Zephyr-Lanthorn#RemovableDrive#E"):
        files = camera.GetFileInfo()
        camera.SaveFileData(file_id, "picture.jpg", lambda percent: print(percent))

An object knows its members itself: dir(camera) lists them, and help(camera) tells how each is
called. All that fails in a component raises `ComError`.

An object belongs to the thread that made it. Other threads run while one of its members does. Wait
for a thread that copies before the interpreter ends: a daemon thread may abort the process then.
"""

from collections.abc import Iterator
from contextlib import contextmanager, suppress

from . import _abi, _dispatch
from ._dispatch import Dispatch
from ._errors import ComError

__all__ = ["ComError", "Dispatch", "dispatch", "free_unused", "locked"]


def dispatch(progid: str) -> Dispatch:
    """A new object of the class with this ProgID, such as "ZlkCamTr.DeviceList".

    Its methods and properties are those of the component; the case of their names doesn't matter. A
    method takes its arguments by place or by name, and returns what the component hands out: one
    value, a tuple of several, or None. Numbers, texts, paths and other objects may be arguments. A
    name that isn't known is an AttributeError; a wrong number of arguments, or a value of a type
    that no component takes, is a TypeError; an integer of more than 64 bits is an OverflowError. On
    another thread than this one, the members raise a RuntimeError.

    The argument `Progress` of a method is a callable, which gets the percentage done as an int. It
    stops the transfer by returning False, or by an exception, which then comes out of the method. A
    signal handler that raises, as that of Ctrl-C does, stops the transfer likewise. A stopped
    transfer is no failure to the component: without an exception, the method returns as usual.
    Without a `Progress`, Ctrl-C waits until the method is done.

    The object is let go of with the last reference to it, or at the end of the interpreter.

    Raises ComError if there is no such class, or if it can't be called by name.
    """
    return _dispatch.create(progid)


@contextmanager
def locked(device: Dispatch, context_id: str) -> Iterator[Dispatch]:
    """Claims the device `context_id` for the object `device` while the `with` statement runs.

    Raises ComError if the claim fails; its `ErrorCode` is 2 if another object holds the device. An
    exception of the body comes out as it is, even if the device can't be unlocked after it; without
    one, a failure to unlock is a ComError. One object holds one device at a time, so don't nest
    this for the same object.
    """
    device.LockDevice(context_id)
    try:
        yield device
    except BaseException:
        with suppress(ComError):
            device.UnlockDevice()
        raise
    device.UnlockDevice()


def free_unused() -> None:
    """Unloads the component modules of which no object is left.

    A module of which other threads have made objects goes only by a later call, ten seconds or more
    after one that found it without objects.
    """
    _abi.CoFreeUnusedLibraries()
