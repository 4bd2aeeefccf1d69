"""Values that carry their type: from Python into a VARIANT, and back."""

import ctypes
import os
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from ctypes import POINTER, byref, c_double, c_float, c_int8, c_int16, c_int32, c_int64, c_uint8, \
    c_uint16, c_uint32, c_uint64, c_void_p
from typing import Any, Protocol, runtime_checkable

from . import _abi

VT_EMPTY = 0
VT_NULL = 1
VT_I2 = 2
VT_I4 = 3
VT_R4 = 4
VT_R8 = 5
VT_BSTR = 8
VT_DISPATCH = 9
VT_BOOL = 11
VT_VARIANT = 12
VT_UNKNOWN = 13
VT_I1 = 16
VT_UI1 = 17
VT_UI2 = 18
VT_UI4 = 19
VT_I8 = 20
VT_UI8 = 21
VT_INT = 22
VT_UINT = 23
VT_BYREF = 0x4000

_VARIANT_TRUE = -1


class _Value(ctypes.Union):
    _fields_ = [("iVal", c_int16), ("lVal", c_int32), ("llVal", c_int64), ("cVal", c_int8),
                ("bVal", c_uint8), ("uiVal", c_uint16), ("ulVal", c_uint32), ("ullVal", c_uint64),
                ("fltVal", c_float), ("dblVal", c_double), ("address", c_void_p),
                ("room", c_void_p * 2)]


class VARIANT(ctypes.Structure):
    _anonymous_ = ("value",)
    _fields_ = [("vt", c_uint16), ("wReserved", c_uint16 * 3), ("value", _Value)]


_VariantClear = _abi.function("VariantClear", _abi.HRESULT, POINTER(VARIANT))

# For each type of number, the field of the union that holds it, and its type in Python.
_NUMBERS: dict[int, tuple[str, type]] = {
    VT_I1: ("cVal", int), VT_I2: ("iVal", int), VT_I4: ("lVal", int), VT_INT: ("lVal", int),
    VT_I8: ("llVal", int), VT_UI1: ("bVal", int), VT_UI2: ("uiVal", int), VT_UI4: ("ulVal", int),
    VT_UINT: ("ulVal", int), VT_UI8: ("ullVal", int), VT_R4: ("fltVal", float),
    VT_R8: ("dblVal", float), VT_BOOL: ("iVal", bool),
}

# An integer gets the first of these types that can hold it.
_INTEGERS = ((VT_I4, range(-2**31, 2**31)), (VT_UI4, range(2**32)), (VT_I8, range(-2**63, 2**63)),
             (VT_UI8, range(2**64)))


@runtime_checkable
class Interface(Protocol):
    """What stands for an object of a component."""

    def _counted(self) -> tuple[int, int]:
        """The type of the value (VT_DISPATCH or VT_UNKNOWN), and the address of the object, counted
        once more."""


@contextmanager
def variants(count: int) -> Iterator[ctypes.Array[VARIANT]]:
    """Empty VARIANTs. Texts and objects that they hold at the end are freed."""
    values = (VARIANT * count)()
    try:
        yield values
    finally:
        for value in values:
            _VariantClear(byref(value))


def python_type(vt: int) -> type | None:
    """The type that values of a VARTYPE have in Python; None if that isn't a single one."""
    return str if vt == VT_BSTR else _NUMBERS.get(vt, ("", None))[1]


def store(target: VARIANT, value: Any) -> None:
    """Puts a Python value into an empty VARIANT. TypeError, OverflowError, MemoryError."""
    if value is None:
        return
    if isinstance(value, (str, os.PathLike)):
        target.address = _abi.new_bstr(os.fsdecode(value))
        target.vt = VT_BSTR
    elif isinstance(value, bool):
        target.iVal = _VARIANT_TRUE if value else 0
        target.vt = VT_BOOL
    elif isinstance(value, int):
        _store_integer(target, value)
    elif isinstance(value, float):
        target.dblVal = value
        target.vt = VT_R8
    elif isinstance(value, Interface):
        target.vt, target.address = value._counted()
    else:
        raise TypeError(f"a component takes no {type(value).__name__}")


def _store_integer(target: VARIANT, value: int) -> None:
    for vt, values in _INTEGERS:
        if value in values:
            setattr(target, _NUMBERS[vt][0], value)
            target.vt = vt
            return
    raise OverflowError(f"{value} has more than 64 bits")


def refer(target: VARIANT, to: VARIANT) -> None:
    """Makes an empty VARIANT a reference to another one, which must live longer."""
    target.address = ctypes.addressof(to)
    target.vt = VT_BYREF | VT_VARIANT


def load(source: VARIANT, wrap: Callable[[_abi.Reference], Any]) -> Any:
    """The Python value of a VARIANT, which stays as it is; `wrap` makes that of an object.

    TypeError for a type that has none.
    """
    vt = source.vt
    if vt in (VT_EMPTY, VT_NULL):
        return None
    if vt == VT_BSTR:
        return _abi.read_bstr(source.address)
    if vt == VT_DISPATCH:
        if source.address is None:
            return None
        _abi.AddRef(source.address)
        return wrap(_abi.Reference(source.address))
    if vt in _NUMBERS:
        place, python = _NUMBERS[vt]
        return python(getattr(source, place))
    raise TypeError(f"a component gave a value of type {vt}, which Python has none for")
