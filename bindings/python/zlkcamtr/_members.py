"""What members an object has, as its type information tells."""

import ctypes
import inspect
import keyword
from collections.abc import Iterator
from contextlib import contextmanager
from ctypes import POINTER, byref, c_int16, c_int32, c_uint16, c_uint32, c_void_p
from dataclasses import dataclass, field
from typing import Any

from . import _abi
from ._abi import GUID, Reference
from ._errors import check
from ._variant import VT_VARIANT, python_type

METHOD = 1  # INVOKE_FUNC and DISPATCH_METHOD
PROPERTY_GET = 2
PROPERTY_PUT = 4

_VT_VOID = 24
_VT_HRESULT = 25
_VT_PTR = 26
_PARAMFLAG_FIN = 1
_PARAMFLAG_FOUT = 2
_MEMBERID_NIL = -1
_MOST_NAMES = 64


class TYPEDESC(ctypes.Structure):
    @property
    def target(self) -> "TYPEDESC | None":
        """What this is a pointer to."""
        return self.lptdesc.contents if self.vt == _VT_PTR else None


class _TypeTarget(ctypes.Union):
    _fields_ = [("lptdesc", POINTER(TYPEDESC)), ("hreftype", c_uint32)]


TYPEDESC._anonymous_ = ("of",)
TYPEDESC._fields_ = [("of", _TypeTarget), ("vt", c_uint16)]


class PARAMDESC(ctypes.Structure):
    _fields_ = [("pparamdescex", c_void_p), ("wParamFlags", c_uint16)]


class ELEMDESC(ctypes.Structure):
    _fields_ = [("tdesc", TYPEDESC), ("paramdesc", PARAMDESC)]


class FUNCDESC(ctypes.Structure):
    _fields_ = [("memid", c_int32), ("lprgscode", c_void_p),
                ("lprgelemdescParam", POINTER(ELEMDESC)), ("funckind", c_int32),
                ("invkind", c_int32), ("callconv", c_int32), ("cParams", c_int16),
                ("cParamsOpt", c_int16), ("oVft", c_int16), ("cScodes", c_int16),
                ("elemdescFunc", ELEMDESC), ("wFuncFlags", c_uint16)]


class _IDLDESC(ctypes.Structure):
    _fields_ = [("dwReserved", ctypes.c_size_t), ("wIDLFlags", c_uint16)]


class TYPEATTR(ctypes.Structure):
    _fields_ = [("guid", GUID), ("lcid", c_uint32), ("dwReserved", c_uint32),
                ("memidConstructor", c_int32), ("memidDestructor", c_int32),
                ("lpstrSchema", c_void_p), ("cbSizeInstance", c_uint32), ("typekind", c_int32),
                ("cFuncs", c_uint16), ("cVars", c_uint16), ("cImplTypes", c_uint16),
                ("cbSizeVft", c_uint16), ("cbAlignment", c_uint16), ("wTypeFlags", c_uint16),
                ("wMajorVerNum", c_uint16), ("wMinorVerNum", c_uint16), ("tdescAlias", TYPEDESC),
                ("idldescType", _IDLDESC)]


_GetTypeAttr = _abi.method(3, POINTER(POINTER(TYPEATTR)))
_GetFuncDesc = _abi.method(5, c_uint32, POINTER(POINTER(FUNCDESC)))
_GetNames = _abi.method(7, c_int32, POINTER(c_void_p), c_uint32, POINTER(c_uint32))
_GetDocumentation = _abi.method(12, c_int32, POINTER(c_void_p), POINTER(c_void_p), c_void_p,
                                c_void_p)
_ReleaseTypeAttr = _abi.method(19, POINTER(TYPEATTR), result=None)
_ReleaseFuncDesc = _abi.method(20, POINTER(FUNCDESC), result=None)


@dataclass(frozen=True)
class Parameter:
    name: str
    is_in: bool
    is_out: bool
    is_variant: bool  # any value, or none
    python: type | None  # None: values of more than one type, or of none known


@dataclass(frozen=True)
class Function:
    """One way to call a member."""

    id: int
    kind: int  # METHOD, PROPERTY_GET or PROPERTY_PUT
    name: str
    help: str
    parameters: tuple[Parameter, ...]
    has_result: bool
    python: type | None  # of the result
    signature: inspect.Signature = field(init=False)

    def __post_init__(self) -> None:
        object.__setattr__(self, "signature", _signature(self))

    @property
    def doc(self) -> str:
        """How the member is used, and its help text."""
        head = self.name
        python = self.parameters[-1].python if self.kind == PROPERTY_PUT else self.python
        if self.kind == METHOD:
            head += str(self.signature)
        elif python:
            head += f": {python.__name__}"
        return f"{head}\n\n{self.help}"


def _annotation(python: type | None) -> Any:
    return python or inspect.Parameter.empty


def _signature(function: Function) -> inspect.Signature:
    """How Python calls the function: without the parameters that only hand something out."""
    taken: list[inspect.Parameter] = []
    may_be_left_out = True
    for parameter in reversed([each for each in function.parameters if each.is_in]):
        may_be_left_out = may_be_left_out and parameter.is_variant
        taken.insert(0, inspect.Parameter(
            parameter.name, inspect.Parameter.POSITIONAL_OR_KEYWORD,
            default=None if may_be_left_out else inspect.Parameter.empty,
            annotation=_annotation(parameter.python)))
    given = [function.python] if function.has_result else []
    given += [parameter.python for parameter in function.parameters if parameter.is_out]
    result: Any = None
    if len(given) == 1:
        result = _annotation(given[0])
    elif given:
        result = tuple
    return inspect.Signature(taken, return_annotation=result)


@contextmanager
def _attributes(info: Reference) -> Iterator[TYPEATTR]:
    attributes = POINTER(TYPEATTR)()
    check(_GetTypeAttr(info.address, byref(attributes)), "GetTypeAttr")
    try:
        yield attributes.contents
    finally:
        _ReleaseTypeAttr(info.address, attributes)


@contextmanager
def _description(info: Reference, index: int) -> Iterator[FUNCDESC]:
    description = POINTER(FUNCDESC)()
    check(_GetFuncDesc(info.address, index, byref(description)), "GetFuncDesc")
    try:
        yield description.contents
    finally:
        _ReleaseFuncDesc(info.address, description)


def _documentation(info: Reference, member: int) -> tuple[str, str]:
    """The name and the help text of a member."""
    name, help_text = c_void_p(), c_void_p()
    check(_GetDocumentation(info.address, member, byref(name), byref(help_text), None, None),
          "GetDocumentation")
    return _abi.take_bstr(name.value), _abi.take_bstr(help_text.value)


def _parameter_names(info: Reference, description: FUNCDESC) -> list[str]:
    """Names for all parameters; one without a name, as a property's new value, gets `value0`."""
    names = (c_void_p * _MOST_NAMES)()
    count = c_uint32()
    check(_GetNames(info.address, description.memid, names, _MOST_NAMES, byref(count)), "GetNames")
    known = [_abi.take_bstr(name) for name in names[:count.value]][1:]
    known = [name + "_" if keyword.iskeyword(name) else name for name in known]
    return known + [f"value{place}" for place in range(len(known), description.cParams)]


def _parameter(name: str, element: ELEMDESC) -> Parameter:
    kind, flags = element.tdesc, element.paramdesc.wParamFlags
    is_out = bool(flags & _PARAMFLAG_FOUT)
    value = kind.target or kind
    return Parameter(name, is_in=bool(flags & _PARAMFLAG_FIN) or not is_out, is_out=is_out,
                     is_variant=value.vt == VT_VARIANT, python=python_type(value.vt))


def _function(info: Reference, index: int) -> Function:
    with _description(info, index) as description:
        name, help_text = _documentation(info, description.memid)
        elements = description.lprgelemdescParam[:description.cParams]
        result = description.elemdescFunc.tdesc.vt
        return Function(
            description.memid, description.invkind, name, help_text,
            tuple(map(_parameter, _parameter_names(info, description), elements)),
            has_result=result not in (_VT_VOID, _VT_HRESULT), python=python_type(result))


def guid(info: Reference) -> bytes:
    """The id of the type."""
    with _attributes(info) as attributes:
        return bytes(attributes.guid)


def name(info: Reference) -> tuple[str, str]:
    """The name and the help text of the type."""
    return _documentation(info, _MEMBERID_NIL)


def functions(info: Reference) -> list[Function]:
    """The members of the type. A property has a function to read it, one to write it, or both."""
    with _attributes(info) as attributes:
        return [_function(info, index) for index in range(attributes.cFuncs)]
