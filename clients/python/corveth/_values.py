"""Values in both directions, and the memory that a call works in."""

from __future__ import annotations

import ctypes
import datetime
import decimal
import struct
from codecs import utf_16_le_decode, utf_16_le_encode
from ctypes import POINTER, byref, c_char, c_double, c_float, c_int16, c_int32, c_int64, c_uint8, c_uint16, c_uint32
from ctypes import c_uint64, c_void_p

from . import _binary as binary
from ._binary import free
from ._errors import ARGUMENT_COUNT, EXCEPTION, OVERFLOW, SOURCE, TYPE_MISMATCH, Error, from_hresult, number_of

# What a parameter or an assigned value takes, as far as a client has to know.
PLAIN, VARIANT, OBJECT, FLOAT, RECORD = range(5)

VARIANT_SIZE = 24
MAX_ARGUMENTS = 32

# A frame's parts.
_PARAMS = 0
_RESULT = 32
_EXCEPTION = 64
_PUT = 128
_PUT_ID = 152
_NAMED = 160
_FETCHED = _NAMED + 4 * MAX_ARGUMENTS
ARGUMENTS = _FETCHED + 8
_BOXES = ARGUMENTS + MAX_ARGUMENTS * VARIANT_SIZE
# The assigned value of a property when it is a short text: variant, parameters, length and units.
_PUT_VALUE = _BOXES + MAX_ARGUMENTS * VARIANT_SIZE
_PUT_TEXT = _PUT_VALUE + VARIANT_SIZE
_PUT_LENGTH = _PUT_TEXT + 24 + 4
_PUT_UNITS = _PUT_LENGTH + 4
PUT_ROOM = 250  # characters; each takes up to two units, and there is a terminator
_SCRATCH = _PUT_UNITS + 4 * PUT_ROOM + 8
_SIZE = _SCRATCH + 4096

# variants
_pack_integer = struct.Struct("<HHHHq").pack_into
_pack_double = struct.Struct("<HHHHd").pack_into
_pack_address = struct.Struct("<HHHHQ").pack_into
_pack_record = struct.Struct("<HHHHQQ").pack_into
_pack_params = struct.Struct("<QQII").pack_into
_pack_id = struct.Struct("<i").pack_into
_length = struct.Struct("<I").pack
_exception = struct.Struct("<HHxxxxQQQIxxxxQQi")

EPOCH = datetime.datetime(1899, 12, 30)
_LAST_DAY = (datetime.datetime.max - EPOCH).days
_FIRST_DAY = (datetime.datetime.min - EPOCH).days
_DAY_MS = 86_400_000
_DAY_US = 86_400_000_000

_CURRENCY_UNIT = decimal.Decimal("0.0001")
_CURRENCY = decimal.Context(prec=60, rounding=decimal.ROUND_HALF_EVEN, traps=[])


class _Missing:
    """Stands where an optional argument is left out before one that is given."""

    __slots__ = ()

    def __repr__(self) -> str:
        return "corveth.Missing"


Missing = _Missing()


class ByRef:
    """An argument by reference: after the call `value` is what the member left in it."""

    __slots__ = ("value",)

    def __init__(self, value=None):
        self.value = value

    def __repr__(self) -> str:
        return f"corveth.ByRef({self.value!r})"


class Frame:
    """The memory of one call: parameters, result, exception record, arguments and room for short texts.

    Frames are kept in `pool`, whose `pop` and `append` are atomic, so that a call made by a collector in the middle
    of another one, or by another thread, simply takes the next.
    """

    __slots__ = (
        "buffer", "view", "base", "used", "keep", "boxes",
        "params", "argument_count", "named_count", "put", "put_text", "put_length", "put_units",
        "result", "exception", "fetched",
        "kind", "pointer", "length", "text", "table", "count",
        "boolean", "byte", "integer", "long", "wide", "single", "double", "second",
        "found", "found_table", "second_result",
    )  # fmt: skip

    def __init__(self):
        self.buffer = buffer = ctypes.create_string_buffer(_SIZE)
        self.view = memoryview(buffer).cast("B")
        self.base = ctypes.addressof(buffer)
        self.used = _SCRATCH
        self.keep: list = []  # what the arguments point to, until the call is done
        self.boxes: list[tuple[int, ByRef]] = []  # where arguments by reference stand
        self.params = byref(buffer, _PARAMS)
        _pack_params(buffer, _PARAMS, self.base + ARGUMENTS, self.base + _NAMED, 0, 0)
        self.argument_count = c_uint32.from_buffer(buffer, _PARAMS + 16)
        self.named_count = c_uint32.from_buffer(buffer, _PARAMS + 20)
        self.put = byref(buffer, _PUT)  # one argument, which is the assigned value
        _pack_params(buffer, _PUT, self.base + ARGUMENTS, self.base + _PUT_ID, 1, 1)
        _pack_id(buffer, _PUT_ID, binary.DISPID_PROPERTYPUT)
        self.put_text = byref(buffer, _PUT_TEXT)
        _pack_params(buffer, _PUT_TEXT, self.base + _PUT_VALUE, self.base + _PUT_ID, 1, 1)
        _pack_address(buffer, _PUT_VALUE, binary.VT_BSTR, 0, 0, 0, self.base + _PUT_UNITS)
        self.put_length = c_uint32.from_buffer(buffer, _PUT_LENGTH)
        self.put_units = self.view[_PUT_UNITS : _PUT_UNITS + 4 * PUT_ROOM + 2]
        self.result = byref(buffer, _RESULT)
        self.exception = byref(buffer, _EXCEPTION)
        self.fetched = byref(buffer, _FETCHED)
        value = _RESULT + 8
        self.kind = c_uint16.from_buffer(buffer, _RESULT)
        self.pointer = c_void_p.from_buffer(buffer, value)
        # The result seen as a text, its length and an object's function table.
        self.length = POINTER(c_uint32).from_buffer(buffer, value)
        self.text = POINTER(c_char).from_buffer(buffer, value)
        self.table = POINTER(c_uint64).from_buffer(buffer, value)
        self.count = c_uint32.from_buffer(buffer, _FETCHED)
        self.boolean = self.integer = c_int16.from_buffer(buffer, value)
        self.byte = c_uint8.from_buffer(buffer, value)
        self.long = c_int32.from_buffer(buffer, value)
        self.wide = c_int64.from_buffer(buffer, value)
        self.single = c_float.from_buffer(buffer, value)
        self.double = c_double.from_buffer(buffer, value)
        # Two addresses in the result's place: an interface pointer, then another result.
        self.found = c_void_p.from_buffer(buffer, _RESULT)
        self.found_table = POINTER(c_uint64).from_buffer(buffer, _RESULT)
        self.second_result = byref(buffer, value)
        self.second = c_void_p.from_buffer(buffer, value + 8)

    def name_argument(self, index: int, dispid: int) -> None:
        _pack_id(self.buffer, _NAMED + 4 * index, dispid)

    def unbox(self) -> None:
        """Every argument by reference gets what the member left in it. Works over the result: take that first."""
        while self.boxes:
            offset, box = self.boxes.pop()
            box.value = self._open_box(offset)

    def _open_box(self, offset: int):
        self.view[_RESULT : _RESULT + VARIANT_SIZE] = self.view[offset : offset + VARIANT_SIZE]
        return decode(self)

    def reset(self) -> None:
        """Done with the arguments of a call."""
        self.used = _SCRATCH
        while self.boxes:  # of a call that failed
            self._open_box(self.boxes.pop()[0])
        if self.keep:
            keep, self.keep = self.keep, []
            for item in keep:
                if isinstance(item, Owned):
                    item.give_back()

    def failure(self, hresult: int, path: str) -> Error:
        """The failure of a call as an exception; the exception record is emptied."""
        if hresult & 0xFFFFFFFF != EXCEPTION:
            return from_hresult(hresult, path)
        fill_in = _exception.unpack_from(self.buffer, _EXCEPTION)[7]
        if fill_in:
            ctypes.CFUNCTYPE(c_int32, c_void_p)(fill_in)(self.base + _EXCEPTION)
        code, _, source, description, help_file, _, _, _, scode = _exception.unpack_from(self.buffer, _EXCEPTION)
        self.view[_EXCEPTION : _EXCEPTION + _exception.size] = bytes(_exception.size)
        binary.take_text(help_file)
        number = code or number_of(scode)
        return Error(
            number,
            binary.take_text(source),
            binary.take_text(description),
            scode & 0xFFFFFFFF if scode else None,
        )


class Owned:
    """Something kept for a call that has to be given back after it."""

    def give_back(self) -> None:
        raise NotImplementedError


pool: list[Frame] = []


def take_frame() -> Frame:
    try:
        return pool.pop()
    except IndexError:
        return Frame()


# To the server. Each encoder takes the frame, the offset of the variant, the value, what is taken there and a path for
# messages.


def _encode_text(frame, offset, value, _takes, _path):
    units = utf_16_le_encode(value + "\0", "surrogatepass")[0]
    size = len(units)
    start = frame.used
    end = start + 4 + size
    if end > _SIZE:
        block = ctypes.create_string_buffer(binary.text_block(value))
        frame.keep.append(block)
        address = ctypes.addressof(block)
    else:
        frame.view[start:end] = _length(size - 2) + units
        frame.used = (end + 3) & ~3
        address = frame.base + start
    _pack_address(frame.buffer, offset, binary.VT_BSTR, 0, 0, 0, address + 4)


def _encode_int(frame, offset, value, _takes, path):
    if not -0x80000000 <= value <= 0x7FFFFFFF:
        raise Error(OVERFLOW, SOURCE, f"Overflow: {_shown(value)} does not fit into 32 bits ({path})")
    _pack_integer(frame.buffer, offset, binary.VT_I4, 0, 0, 0, value)


def _encode_bool(frame, offset, value, _takes, _path):
    _pack_integer(frame.buffer, offset, binary.VT_BOOL, 0, 0, 0, 0xFFFF if value else 0)


def _encode_float(frame, offset, value, _takes, _path):
    _pack_double(frame.buffer, offset, binary.VT_R8, 0, 0, 0, value)


def _encode_none(frame, offset, _value, takes, _path):
    _pack_integer(frame.buffer, offset, binary.VT_DISPATCH if takes == OBJECT else binary.VT_NULL, 0, 0, 0, 0)


def _encode_missing(frame, offset, _value, _takes, _path):
    _pack_integer(frame.buffer, offset, binary.VT_ERROR, 0, 0, 0, binary.PARAM_NOT_FOUND)


def _encode_decimal(frame, offset, value, takes, path):
    if takes == FLOAT:
        try:
            number = float(value)
        except (ValueError, OverflowError):  # a signalling NaN
            raise Error(OVERFLOW, SOURCE, f"Overflow: {_shown(value)} ({path})") from None
        _pack_double(frame.buffer, offset, binary.VT_R8, 0, 0, 0, number)
        return
    rounded = value.quantize(_CURRENCY_UNIT, context=_CURRENCY) if value.is_finite() else value
    scaled = int(rounded.scaleb(4, _CURRENCY)) if rounded.is_finite() else 1 << 63
    if not -(1 << 63) <= scaled < 1 << 63:
        raise Error(OVERFLOW, SOURCE, f"Overflow: {_shown(value)} is no currency amount ({path})")
    _pack_integer(frame.buffer, offset, binary.VT_CY, 0, 0, 0, scaled)


def _encode_date(frame, offset, value, _takes, path):
    if isinstance(value, datetime.datetime):
        if value.tzinfo is not None:
            raise TypeError(f"{path}: a date has no time zone here, convert {value!r} first")
        since = value - EPOCH
    else:
        since = datetime.datetime(value.year, value.month, value.day) - EPOCH
    time = (since.seconds * 1_000_000 + since.microseconds) / _DAY_US
    number = since.days + time if since.days >= 0 else since.days - time
    _pack_double(frame.buffer, offset, binary.VT_DATE, 0, 0, 0, number)


def _encode_bytes(frame, offset, value, _takes, _path):
    if type(value) is bytes:
        data = ctypes.c_char_p(value)  # the callee reads the object's own memory
        address = ctypes.cast(data, c_void_p).value
        size = len(value)
    else:
        copy = bytes(value)
        size = len(copy)
        data = ctypes.create_string_buffer(copy, max(size, 1))
        address = ctypes.addressof(data)
    header = binary.SafeArray(1, 0, 1, 0, address, size, 0)
    frame.keep += (data, header)
    _pack_address(frame.buffer, offset, binary.VT_BYTES, 0, 0, 0, ctypes.addressof(header))


def encode_address(frame, offset, vt, address, second=0):
    _pack_record(frame.buffer, offset, vt, 0, 0, 0, address, second)


def _encode_by_reference(frame, offset, box, takes, path):
    """A reference to a variant that owns its value: the callee releases and replaces what is in it."""
    if isinstance(box.value, ByRef):
        raise TypeError(f"{path}: a reference to a reference has no counterpart in automation")
    place = _BOXES + (offset - ARGUMENTS)
    encode(frame, place, box.value, takes, path)
    variant = binary.Variant.from_buffer(frame.buffer, place)
    if variant.vt == binary.VT_BSTR:
        variant.pointer = binary.new_text(box.value)
    elif variant.vt == binary.VT_DISPATCH and variant.pointer:
        binary.add_ref(variant.pointer)
    elif variant.vt == binary.VT_BYTES:
        variant.pointer = binary.new_array(box.value)
    elif variant.vt == binary.VT_RECORD:
        frame.keep.pop().give_away()
    frame.boxes.append((place, box))
    _pack_address(frame.buffer, offset, binary.VT_BYREF_VARIANT, 0, 0, 0, frame.base + place)


encoders = {
    str: _encode_text,
    int: _encode_int,
    bool: _encode_bool,
    float: _encode_float,
    type(None): _encode_none,
    _Missing: _encode_missing,
    decimal.Decimal: _encode_decimal,
    datetime.datetime: _encode_date,
    datetime.date: _encode_date,
    bytes: _encode_bytes,
    bytearray: _encode_bytes,
    memoryview: _encode_bytes,
    ByRef: _encode_by_reference,
}


def encode(frame: Frame, offset: int, value, takes: int, path: str) -> None:
    """Puts `value` into the variant at `offset`. Error 6 for a number out of range, TypeError for what has no
    counterpart."""
    encoder = encoders.get(type(value))
    if encoder is None:
        for base in type(value).__mro__[1:-1]:
            if base in encoders:
                encoder = encoders[base]
                break
        else:
            raise TypeError(f"{path}: {type(value).__name__} has no counterpart in automation")
    encoder(frame, offset, value, takes, path)


def _shown(value) -> str:
    if isinstance(value, int) and value.bit_length() > 256:
        return "the number"
    return str(value)


# From the server: each takes the frame and turns its result into a value that owns nothing of it.


def _decode_text(frame):
    address = frame.pointer.value
    if address is None:
        return ""
    text = utf_16_le_decode(frame.text[0 : frame.length[-1]], "surrogatepass")[0]
    frame.kind.value = 0
    frame.pointer.value = address - 4
    free(frame.pointer)
    return text


def _decode_currency(frame):
    return decimal.Decimal(f"{frame.wide.value}E-4")


def to_datetime(number: float) -> datetime.datetime:
    """A day number to the millisecond. The fraction counts forward from midnight for negative days too."""
    if not _FIRST_DAY <= number < _LAST_DAY + 1:
        raise Error(OVERFLOW, SOURCE, f"Overflow: {number!r} is no date")
    day = int(number)
    milliseconds = min(round(abs(number - day) * _DAY_MS), _DAY_MS if day < _LAST_DAY else _DAY_MS - 1)
    return EPOCH + datetime.timedelta(days=day, milliseconds=milliseconds)


def _decode_date(frame):
    return to_datetime(frame.double.value)


def _decode_bytes(frame):
    address = frame.pointer.value
    frame.kind.value = 0
    return binary.take_bytes(address)


def _decode_none(_frame):
    return None


decoders = {
    binary.VT_EMPTY: _decode_none,
    binary.VT_NULL: _decode_none,
    binary.VT_ERROR: _decode_none,
    binary.VT_I2: lambda frame: frame.integer.value,
    binary.VT_I4: lambda frame: frame.long.value,
    binary.VT_R4: lambda frame: frame.single.value,
    binary.VT_R8: lambda frame: frame.double.value,
    binary.VT_CY: _decode_currency,
    binary.VT_DATE: _decode_date,
    binary.VT_BSTR: _decode_text,
    binary.VT_BOOL: lambda frame: frame.boolean.value != 0,
    binary.VT_UI1: lambda frame: frame.byte.value,
    binary.VT_I8: lambda frame: frame.wide.value,
    binary.VT_INT: lambda frame: frame.long.value,
    binary.VT_BYTES: _decode_bytes,
}


def decode(frame: Frame):
    """The result of a call."""
    kind = frame.kind.value
    decoder = decoders.get(kind)
    if decoder is None:
        frame.kind.value = 0
        raise Error(TYPE_MISMATCH, SOURCE, f"Type mismatch: automation type {kind} is not known")
    return decoder(frame)


def wrong_count(path: str, most: int, given: int) -> Error:
    return Error(
        ARGUMENT_COUNT,
        SOURCE,
        f"Wrong number of arguments or invalid property assignment: {path} takes {most} "
        f"{'argument' if most == 1 else 'arguments'}, {given} {'was' if given == 1 else 'were'} given",
    )
