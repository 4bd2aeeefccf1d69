"""The component model as the machine sees it: the platform's library, texts, and virtual tables.

Names are those of the C declarations, and so is all ownership: what a function hands out belongs to
its caller. Results of the type HRESULT are plain numbers here, negative for a failure.
"""

import ctypes
import uuid
import weakref
from collections.abc import Callable
from ctypes import POINTER, c_char_p, c_int32, c_ubyte, c_uint16, c_uint32, c_void_p
from pathlib import Path
from typing import Any

from ._location import LIBRARY

HRESULT = c_int32
BSTR = c_void_p  # as an address: ctypes would cut a text at its first zero

S_OK = 0
S_FALSE = 1
E_NOINTERFACE = 0x80004002 - 2**32
E_POINTER = 0x80004003 - 2**32

CLSCTX_ALL = 7
_MESSAGE_OF_SYSTEM = 0x1200  # FORMAT_MESSAGE_FROM_SYSTEM and FORMAT_MESSAGE_IGNORE_INSERTS


class GUID(ctypes.Structure):
    _fields_ = [("Data1", c_uint32), ("Data2", c_uint16), ("Data3", c_uint16),
                ("Data4", c_ubyte * 8)]

    @classmethod
    def of(cls, text: str) -> "GUID":
        return cls.from_buffer_copy(uuid.UUID(text).bytes_le)


IID_NULL = GUID()
IID_IUnknown = GUID.of("00000000-0000-0000-C000-000000000046")
IID_IDispatch = GUID.of("00020400-0000-0000-C000-000000000046")

_library = ctypes.CDLL(str(Path(__file__).resolve().parent / LIBRARY))


def function(name: str, result: Any, *arguments: Any) -> Any:
    """A function of the platform's library. Other Python threads run while it does."""
    entry = getattr(_library, name)
    entry.restype = result
    entry.argtypes = arguments
    return entry


_SysAllocStringLen = function("SysAllocStringLen", BSTR, c_char_p, c_uint32)
_SysStringLen = function("SysStringLen", c_uint32, BSTR)
SysFreeString = function("SysFreeString", None, BSTR)
_FormatMessageW = function("FormatMessageW", c_uint32, c_uint32, c_void_p, c_uint32, c_uint32,
                           c_void_p, c_uint32, c_void_p)
CLSIDFromProgID = function("CLSIDFromProgID", HRESULT, c_char_p, POINTER(GUID))
CoCreateInstance = function("CoCreateInstance", HRESULT, POINTER(GUID), c_void_p, c_uint32,
                            POINTER(GUID), POINTER(c_void_p))
CoFreeUnusedLibraries = function("CoFreeUnusedLibraries", None)


def units(text: str) -> bytes:
    """A text in UTF-16, without a terminator."""
    # Lone surrogates are text like any other to a component.
    return text.encode("utf-16-le", "surrogatepass")


def _text(address: int, length: int) -> str:
    return ctypes.string_at(address, 2 * length).decode("utf-16-le", "surrogatepass")


def new_bstr(text: str) -> int:
    characters = units(text)
    address: int | None = _SysAllocStringLen(characters, len(characters) // 2)
    if address is None:
        raise MemoryError
    return address


def read_bstr(address: int | None) -> str:
    """The text of a BSTR, which stays its owner's. None is the empty text."""
    return _text(address, _SysStringLen(address)) if address else ""


def take_bstr(address: int | None) -> str:
    """The text of a BSTR, which is freed."""
    try:
        return read_bstr(address)
    finally:
        SysFreeString(address)


def description(hresult: int) -> str:
    """The text of a result, without the full stop at its end."""
    buffer = (c_uint16 * 512)()
    length = _FormatMessageW(_MESSAGE_OF_SYSTEM, None, hresult & 0xFFFFFFFF, 0, buffer, len(buffer),
                             None)
    return _text(ctypes.addressof(buffer), length).rstrip(".")


def method(place: int, *arguments: Any, result: Any = HRESULT) -> Callable[..., Any]:
    """The method at a place of an interface's virtual table, as a function of the interface's
    address and the arguments."""
    prototype = ctypes.CFUNCTYPE(result, c_void_p, *arguments)
    offset = place * ctypes.sizeof(c_void_p)

    def call(interface: int, *values: Any) -> Any:
        table = c_void_p.from_address(interface).value or 0
        entry = c_void_p.from_address(table + offset).value or 0
        return prototype(entry)(interface, *values)

    return call


AddRef = method(1, result=c_uint32)
_Release = method(2, result=c_uint32)


class Reference:
    """Owns a counted reference to an interface, from its constructor on. The reference is released
    when this object goes or when the interpreter ends, whichever comes first."""

    def __init__(self, address: int) -> None:
        self._address = address
        self._release = weakref.finalize(self, _Release, address)

    @property
    def address(self) -> int:
        # Handlers that run at the interpreter's end may still use an object whose reference is
        # released.
        if not self._release.alive:
            raise RuntimeError("the interpreter ends, and the object has been let go of")
        return self._address
