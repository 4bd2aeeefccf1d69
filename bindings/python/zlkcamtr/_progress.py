"""Callables as objects that a component reports its progress to."""

import ctypes
from collections.abc import Callable
from ctypes import CFUNCTYPE, POINTER, c_int32, c_uint32, c_void_p
from typing import Any

from ._abi import E_NOINTERFACE, E_POINTER, GUID, HRESULT, S_FALSE, S_OK, IID_IUnknown
from ._interruption import Interruption
from ._variant import VT_UNKNOWN

IID_IProgressCallback = GUID.of("A1B0C008-7E11-4A08-9C08-0000000000A8")

_IIDS = {bytes(IID_IUnknown), bytes(IID_IProgressCallback)}


class _Table(ctypes.Structure):
    _fields_ = [
        ("QueryInterface", CFUNCTYPE(HRESULT, c_void_p, POINTER(GUID), POINTER(c_void_p))),
        ("AddRef", CFUNCTYPE(c_uint32, c_void_p)),
        ("Release", CFUNCTYPE(c_uint32, c_void_p)),
        ("UpdateProgress", CFUNCTYPE(HRESULT, c_void_p, c_int32)),
    ]


class _Object(ctypes.Structure):
    _fields_ = [("table", POINTER(_Table))]


class ProgressCallback:
    """An object with IProgressCallback that hands reports on to a callable.

    It lives as long as a component counts a reference to it.
    """

    def __init__(self, report: Callable[[int], Any], interruption: Interruption) -> None:
        self._report = report
        self._interruption = interruption
        self._count = 0
        self._object = _Object(ctypes.pointer(_table))

    def _counted(self) -> tuple[int, int]:
        address = ctypes.addressof(self._object)
        living[address] = self
        self.add(1)
        return VT_UNKNOWN, address

    def add(self, references: int) -> int:
        self._count += references
        if self._count == 0:
            del living[ctypes.addressof(self._object)]
        return self._count

    def update(self, percent: int) -> int:
        return S_OK if self._interruption.ask(self._report, percent) else S_FALSE


# All callbacks that a component holds, by address. The functions of the table, which are the same
# for all callbacks, find here the one that they are called on.
living: dict[int, ProgressCallback] = {}


def _query_interface(this: int, iid: Any, target: Any) -> int:
    if not target:
        return E_POINTER
    if bytes(iid.contents) not in _IIDS:
        target[0] = None
        return E_NOINTERFACE
    living[this].add(1)
    target[0] = this
    return S_OK


_types = dict(_Table._fields_)
_table = _Table(
    _types["QueryInterface"](_query_interface),
    _types["AddRef"](lambda this: living[this].add(1)),
    _types["Release"](lambda this: living[this].add(-1)),
    _types["UpdateProgress"](lambda this, percent: living[this].update(percent)),
)
