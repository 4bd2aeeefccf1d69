"""Objects that are called by name."""

import inspect
import threading
from collections.abc import Callable, Sequence
from contextlib import nullcontext
from ctypes import POINTER, Structure, byref, c_int32, c_uint16, c_uint32, c_void_p
from typing import Any, ClassVar

from . import _abi, _members, _variant
from ._abi import GUID, Reference
from ._errors import ComError, check
from ._interruption import Interruption
from ._members import METHOD, PROPERTY_GET, PROPERTY_PUT, Function
from ._progress import ProgressCallback
from ._variant import VARIANT

_DISPID_PROPERTYPUT = -3
_DISP_E_TYPEMISMATCH = 0x80020005
_DISP_E_EXCEPTION = 0x80020009
_DISP_E_OVERFLOW = 0x8002000A


class DISPPARAMS(Structure):
    _fields_ = [("rgvarg", POINTER(VARIANT)), ("rgdispidNamedArgs", POINTER(c_int32)),
                ("cArgs", c_uint32), ("cNamedArgs", c_uint32)]


class EXCEPINFO(Structure):
    _fields_ = [("wCode", c_uint16), ("wReserved", c_uint16), ("bstrSource", c_void_p),
                ("bstrDescription", c_void_p), ("bstrHelpFile", c_void_p),
                ("dwHelpContext", c_uint32), ("pvReserved", c_void_p),
                ("pfnDeferredFillIn", c_void_p), ("scode", c_int32)]


_GetTypeInfo = _abi.method(4, c_uint32, c_uint32, POINTER(c_void_p))
_Invoke = _abi.method(6, c_int32, POINTER(GUID), c_uint32, c_uint16, POINTER(DISPPARAMS),
                      POINTER(VARIANT), POINTER(EXCEPINFO), POINTER(c_uint32))


class Dispatch:
    """An object of a component. Each kind of object is a class of its own, with the members of its
    type information; `zlkcamtr.dispatch` tells how they are used."""

    __slots__ = ("__weakref__", "_object", "_thread")
    _spellings: ClassVar[dict[str, str]] = {}  # of the members, by their names in lower case

    _object: Reference
    _thread: int

    def __init__(self, reference: Reference) -> None:
        object.__setattr__(self, "_object", reference)
        object.__setattr__(self, "_thread", threading.get_ident())

    def __getattr__(self, name: str) -> Any:
        spelling = self._spelling(name)
        if spelling == name:  # the member exists, so what is missing is its reader
            raise AttributeError(f"{name} of {type(self).__name__} can't be read")
        return getattr(self, spelling)

    def __setattr__(self, name: str, value: Any) -> None:
        object.__setattr__(self, self._spelling(name), value)

    def _spelling(self, name: str) -> str:
        try:
            return self._spellings[name.casefold()]
        except KeyError:
            raise AttributeError(f"{type(self).__name__} has no member {name}", name=name,
                                 obj=self) from None

    def _counted(self) -> tuple[int, int]:
        _abi.AddRef(self._object.address)
        return _variant.VT_DISPATCH, self._object.address

    def _invoke(self, function: Function, values: Sequence[Any]) -> Any:
        """Calls a member with a value for each parameter that takes one."""
        if threading.get_ident() != self._thread:
            raise RuntimeError("the object belongs to the thread that made it")
        interruption = Interruption()
        taken = [parameter for parameter in function.parameters if parameter.is_in]
        values = [ProgressCallback(value, interruption)
                  if parameter.is_variant and callable(value) else value
                  for parameter, value in zip(taken, values, strict=True)]
        calls_back = any(isinstance(value, ProgressCallback) for value in values)
        with interruption.around_call() if calls_back else nullcontext():
            return self._call(function, values)

    def _call(self, function: Function, values: Sequence[Any]) -> Any:
        count = len(function.parameters)
        remaining = iter(values)
        with _variant.variants(count) as arguments, _variant.variants(count + 1) as results:
            places = zip(function.parameters, reversed(arguments), results[1:], strict=True)
            given = results[:1] if function.has_result else []
            for parameter, argument, result in places:
                target = argument
                if parameter.is_out:
                    _variant.refer(argument, result)
                    given.append(result)
                    target = result
                if parameter.is_in:
                    _variant.store(target, next(remaining))
            self._run(function, arguments, results[0])
            loaded = [_variant.load(value, wrap) for value in given]
        return loaded[0] if len(loaded) == 1 else tuple(loaded) or None

    def _run(self, function: Function, arguments: Any, result: VARIANT) -> None:
        parameters = DISPPARAMS(arguments, None, len(arguments), 0)
        if function.kind == PROPERTY_PUT:
            parameters.rgdispidNamedArgs = (c_int32 * 1)(_DISPID_PROPERTYPUT)
            parameters.cNamedArgs = 1
        exception = EXCEPINFO()
        wrong = c_uint32()
        outcome = _Invoke(self._object.address, function.id, byref(_abi.IID_NULL), 0, function.kind,
                          byref(parameters), byref(result) if function.has_result else None,
                          byref(exception), byref(wrong))
        if outcome < 0:
            raise self._error(function, outcome & 0xFFFFFFFF, exception, wrong.value)

    def _error(self, function: Function, outcome: int, exception: EXCEPINFO,
               wrong: int) -> ComError:
        description = _abi.take_bstr(exception.bstrDescription).rstrip(".")
        _abi.SysFreeString(exception.bstrSource)
        _abi.SysFreeString(exception.bstrHelpFile)
        if outcome == _DISP_E_EXCEPTION:
            return ComError(exception.scode, function.name,
                            description or _abi.description(exception.scode),
                            self._error_code(function))
        description = _abi.description(outcome)
        names_argument = outcome in (_DISP_E_TYPEMISMATCH, _DISP_E_OVERFLOW)
        if names_argument and wrong < len(function.parameters):
            description += f" (argument {function.parameters[-1 - wrong].name})"
        return ComError(outcome, function.name, description)

    def _error_code(self, failed: Function) -> int | None:
        if failed.name.casefold() == "errorcode":
            return None
        try:
            code = getattr(self, "ErrorCode", None)
        except ComError:
            return None
        return code if isinstance(code, int) else None


_SELF = inspect.Parameter("self", inspect.Parameter.POSITIONAL_ONLY)


def _method(function: Function) -> Callable[..., Any]:
    signature = function.signature
    spellings = {name.casefold(): name for name in signature.parameters}

    def call(self: Dispatch, *values: Any, **named: Any) -> Any:
        named = {spellings.get(name.casefold(), name): value for name, value in named.items()}
        try:
            bound = signature.bind(*values, **named)
        except TypeError as error:
            raise TypeError(f"{function.name}: {error}") from None
        bound.apply_defaults()
        return self._invoke(function, tuple(bound.arguments.values()))

    call.__name__ = call.__qualname__ = function.name
    call.__doc__ = function.doc
    shown = signature.replace(parameters=[_SELF, *signature.parameters.values()])
    setattr(call, "__signature__", shown)
    return call


def _property(kinds: dict[int, Function]) -> property:
    get, put = kinds.get(PROPERTY_GET), kinds.get(PROPERTY_PUT)

    def read(self: Dispatch) -> Any:
        return self._invoke(get, ()) if get else None

    def write(self: Dispatch, value: Any) -> None:
        if put:
            self._invoke(put, (value,))

    return property(read if get else None, write if put else None,
                    doc=next(iter(kinds.values())).doc)


def _make_class(info: Reference) -> type[Dispatch]:
    members: dict[str, dict[int, Function]] = {}
    for function in _members.functions(info):
        members.setdefault(function.name, {})[function.kind] = function
    name, help_text = _members.name(info)
    namespace: dict[str, Any] = {
        "__slots__": (), "__doc__": help_text, "__module__": __package__,
        "_spellings": {member.casefold(): member for member in members},
    }
    for member, kinds in members.items():
        namespace[member] = _method(kinds[METHOD]) if METHOD in kinds else _property(kinds)
    return type(name, (Dispatch,), namespace)


_classes: dict[bytes, type[Dispatch]] = {}


def wrap(reference: Reference) -> Dispatch:
    """Makes a Dispatch of a reference to an object's IDispatch, which it takes over."""
    address = c_void_p()
    check(_GetTypeInfo(reference.address, 0, 0, byref(address)), "GetTypeInfo")
    info = Reference(address.value or 0)
    kind = _members.guid(info)
    if kind not in _classes:
        _classes[kind] = _make_class(info)
    return _classes[kind](reference)


def create(progid: str) -> Dispatch:
    clsid = GUID()
    check(_abi.CLSIDFromProgID(_abi.units(progid) + b"\0\0", byref(clsid)), progid)
    address = c_void_p()
    check(_abi.CoCreateInstance(byref(clsid), None, _abi.CLSCTX_ALL, byref(_abi.IID_IDispatch),
                                byref(address)), progid)
    return wrap(Reference(address.value or 0))
