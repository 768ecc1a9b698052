"""The automation interfaces in their binary layout, for 64-bit systems.

Memory that crosses belongs to the receiver and is malloc/free. A text points to its UTF-16 units; its block begins
4 bytes earlier with the length in bytes. A byte array is a header and a data block.
"""

from __future__ import annotations

import ctypes
import struct
import uuid
from collections.abc import Callable
from ctypes import (
    CFUNCTYPE,
    POINTER,
    PYFUNCTYPE,
    Structure,
    Union,
    c_double,
    c_int16,
    c_int32,
    c_int64,
    c_size_t,
    c_uint16,
    c_uint32,
    c_uint64,
    c_void_p,
    cast,
)

VT_EMPTY, VT_NULL, VT_I2, VT_I4, VT_R4, VT_R8, VT_CY, VT_DATE, VT_BSTR, VT_DISPATCH = range(10)
VT_ERROR, VT_BOOL, VT_VARIANT, VT_UNKNOWN = range(10, 14)
VT_I1, VT_UI1, VT_UI2, VT_UI4, VT_I8, VT_UI8, VT_INT, VT_UINT, VT_VOID = range(16, 25)
VT_PTR, VT_SAFEARRAY = 26, 27
VT_USERDEFINED = 29
VT_RECORD = 36
VT_BYTES = 0x2000 | VT_UI1
VT_BYREF_VARIANT = 0x4000 | VT_VARIANT

PARAM_NOT_FOUND = 0x80020004 - (1 << 32)

DISPID_VALUE = 0
DISPID_PROPERTYPUT = -3
DISPID_NEWENUM = -4

METHOD, PROPERTY_GET, PROPERTY_PUT, PROPERTY_PUT_REF = 1, 2, 4, 8

TYPE_ENUM, TYPE_RECORD = 0, 1
PARAM_OPTIONAL = 0x10

NAMESPACE = uuid.UUID("ebf07e2f-5069-4264-a825-b6036b77eec1")


class Guid(Structure):
    _fields_ = [("bytes", ctypes.c_ubyte * 16)]

    @classmethod
    def of(cls, value: uuid.UUID) -> Guid:
        return cls.from_buffer_copy(value.bytes_le)


def _platform_id(number: int) -> Guid:
    return Guid.of(uuid.UUID(f"{number:08x}-0000-0000-c000-000000000046"))


IID_NONE = Guid()
IID_UNKNOWN = _platform_id(0)
IID_CLASS_FACTORY = _platform_id(1)
IID_RECORD_INFO = _platform_id(0x2F)
IID_DISPATCH = _platform_id(0x20400)
IID_ENUM_VARIANT = _platform_id(0x20404)


class SafeArray(Structure):
    _fields_ = [
        ("cDims", c_uint16),
        ("fFeatures", c_uint16),
        ("cbElements", c_uint32),
        ("cLocks", c_uint32),
        ("pvData", c_void_p),
        ("cElements", c_uint32),
        ("lLbound", c_int32),
    ]


class _RecordData(Structure):
    _fields_ = [("data", c_void_p), ("info", c_void_p)]


class _VariantValue(Union):
    _fields_ = [
        ("i2", c_int16),
        ("i4", c_int32),
        ("i8", c_int64),
        ("r8", c_double),
        ("pointer", c_void_p),
        ("record", _RecordData),
    ]


class Variant(Structure):
    _anonymous_ = ("value",)
    _fields_ = [("vt", c_uint16), ("reserved", c_uint16 * 3), ("value", _VariantValue)]


class TypeDesc(Structure):
    _fields_ = [("value", c_uint64), ("vt", c_uint16)]  # value: a pointer to a TypeDesc, or a reference in 32 bits


class ElemDesc(Structure):
    _fields_ = [("type", TypeDesc), ("extra", c_void_p), ("flags", c_uint16)]


class FuncDesc(Structure):
    _fields_ = [
        ("memid", c_int32),
        ("lprgscode", c_void_p),
        ("params", POINTER(ElemDesc)),
        ("funckind", c_int32),
        ("invkind", c_int32),
        ("callconv", c_int32),
        ("cParams", c_int16),
        ("cParamsOpt", c_int16),
        ("oVft", c_int16),
        ("cScodes", c_int16),
        ("result", ElemDesc),
        ("wFuncFlags", c_uint16),
    ]


class VarDesc(Structure):
    _fields_ = [
        ("memid", c_int32),
        ("lpstrSchema", c_void_p),
        ("value", c_void_p),
        ("type", ElemDesc),
        ("wVarFlags", c_uint16),
        ("varkind", c_int32),
    ]


class TypeAttr(Structure):
    _fields_ = [
        ("guid", Guid),
        ("lcid", c_uint32),
        ("dwReserved", c_uint32),
        ("memidConstructor", c_int32),
        ("memidDestructor", c_int32),
        ("lpstrSchema", c_void_p),
        ("cbSizeInstance", c_uint32),
        ("typekind", c_int32),
        ("cFuncs", c_uint16),
        ("cVars", c_uint16),
        ("cImplTypes", c_uint16),
        ("cbSizeVft", c_uint16),
        ("cbAlignment", c_uint16),
        ("wTypeFlags", c_uint16),
        ("wMajorVerNum", c_uint16),
        ("wMinorVerNum", c_uint16),
        ("tdescAlias", TypeDesc),
        ("idlReserved", c_uint64),
        ("wIDLFlags", c_uint16),
    ]


# Functions of interfaces: the place in the table, then what they return and take after the interface pointer. Without
# argument types ctypes passes ready-made references as they are, which the frequent calls rely on.
_RAW = CFUNCTYPE(c_int32)


def word_at(address: int) -> int:
    return c_uint64.from_address(address).value


class Function:
    """One function of an interface: ``function(pointer, arguments ...)``."""

    def __init__(self, slot: int, result: type | None, *arguments: type):
        self._offset = slot * ctypes.sizeof(c_void_p)
        self._prototype = CFUNCTYPE(result, c_void_p, *arguments)
        self._ready: dict[int, Callable] = {}

    def __call__(self, pointer: int, *arguments):
        address = word_at(word_at(pointer) + self._offset)
        function = self._ready.get(address)
        if function is None:
            function = self._ready[address] = self._prototype(address)
        return function(pointer, *arguments)


def raw_function(table: int, slot: int) -> Callable:
    """A function of the table, for references that ctypes takes as they are."""
    return _RAW(word_at(table + slot * ctypes.sizeof(c_void_p)))


class Functions:
    """The functions of a dispatch interface's table that every call goes through, ready to be called."""

    __slots__ = ("release", "type_info", "invoke")

    def __init__(self, table: int):
        self.release = raw_function(table, 2)
        self.type_info = raw_function(table, 4)
        self.invoke = raw_function(table, 6)


_OUT = c_void_p
query_interface = Function(0, c_int32, c_void_p, _OUT)
add_ref = Function(1, c_uint32)
release = Function(2, c_uint32)

get_type_attr = Function(3, c_int32, _OUT)
get_func_desc = Function(5, c_int32, c_uint32, _OUT)
get_var_desc = Function(6, c_int32, c_uint32, _OUT)
get_names = Function(7, c_int32, c_int32, _OUT, c_uint32, _OUT)
get_documentation = Function(12, c_int32, c_int32, _OUT, _OUT, _OUT, _OUT)
get_ref_type_info = Function(14, c_int32, c_uint32, _OUT)
release_type_attr = Function(19, None, c_void_p)
release_func_desc = Function(20, None, c_void_p)
release_var_desc = Function(21, None, c_void_p)

record_name = Function(7, c_int32, _OUT)
record_type_info = Function(9, c_int32, _OUT)
record_get_field = Function(10, c_int32, c_void_p, c_void_p, _OUT)
record_put_field = Function(12, c_int32, c_uint32, c_void_p, c_void_p, c_void_p)
record_create = Function(16, c_void_p)
record_destroy = Function(18, c_int32, c_void_p)


def query(pointer: int, iid: Guid) -> int | None:
    """Another interface of the object at `pointer`, counted; None when it has none."""
    found = c_void_p()
    result = query_interface(pointer, ctypes.addressof(iid), ctypes.addressof(found))
    return found.value if result >= 0 else None


_libc = ctypes.CDLL(None)
malloc = PYFUNCTYPE(c_void_p, c_size_t)(cast(_libc.malloc, c_void_p).value)
# Takes a c_void_p; without argument types for the sake of speed.
free = PYFUNCTYPE(None)(cast(_libc.free, c_void_p).value)

_length = struct.Struct("<I")


def text_block(text: str) -> bytes:
    """The block of a text: length, units, terminator. A lone surrogate passes: refusing it is the server's part."""
    units = text.encode("utf-16-le", "surrogatepass")
    return _length.pack(len(units)) + units + b"\0\0"


def new_text(text: str) -> int:
    """A text that the receiver frees."""
    return new_block(text_block(text)) + 4


def new_block(data: bytes) -> int:
    address = malloc(len(data) or 1)
    if not address:
        raise MemoryError
    ctypes.memmove(address, data, len(data))
    return address


def take_text(address: int | None) -> str:
    """The text at `address`, which is freed; null is the empty text."""
    if not address:
        return ""
    length = _length.unpack(ctypes.string_at(address - 4, 4))[0]
    text = ctypes.string_at(address, length).decode("utf-16-le", "surrogatepass")
    free(c_void_p(address - 4))
    return text


def take_bytes(address: int | None) -> bytes:
    """The bytes of the array at `address`, which is freed."""
    if not address:
        return b""
    array = SafeArray.from_address(address)
    data = ctypes.string_at(array.pvData, array.cElements) if array.pvData else b""
    free(c_void_p(array.pvData))
    free(c_void_p(address))
    return data


def new_array(data) -> int:
    """An array of bytes that the receiver frees."""
    header = SafeArray(1, 0, 1, 0, new_block(bytes(data)), len(data), 0)
    return new_block(bytes(header))
