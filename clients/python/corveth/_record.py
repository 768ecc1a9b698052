"""Records: values of a type of the library with named fields."""

from __future__ import annotations

import ctypes
from ctypes import addressof, c_void_p

from . import _binary as binary
from . import _values
from ._errors import SOURCE, TYPE_MISMATCH, Error, from_hresult
from ._typeinfo import TypeInfo
from ._values import PLAIN, Frame, decode, encode, take_frame

_PUT_VALUE = 4


def closest(name: str, candidates) -> str:
    """Of `candidates` the one most like `name`; empty when there is none."""
    import difflib

    by_folded = {candidate.lower(): candidate for candidate in candidates}
    found = difflib.get_close_matches(name.lower(), by_folded, n=1, cutoff=0.0)
    return by_folded[found[0]] if found else ""


def no_member(owner: str, name: str, candidates) -> AttributeError:
    near = closest(name, candidates)
    return AttributeError(f"{owner} has no member {name!r}" + (f"; the closest is {near!r}" if near else ""))


class Layout:
    """A record type: its name, its fields, and the interface that makes and fills its memory."""

    known: dict[str, Layout] = {}

    def __init__(self, name: str, info: TypeInfo):
        self.name = name
        self.fields = tuple(info.variables())
        self.by_name = {field.lower(): field for field in self.fields}
        self.info = binary.query(info.address, binary.IID_RECORD_INFO)
        if not self.info:
            raise Error(TYPE_MISMATCH, SOURCE, f"Type mismatch: the server cannot make a {name}")

    @classmethod
    def learn(cls, name: str, info: TypeInfo) -> Layout:
        layout = cls.known.get(name.lower())
        if layout is None:
            layout = cls.known.setdefault(name.lower(), cls(name, info))
        return layout

    def create(self) -> int:
        data = binary.record_create(self.info)
        if not data:
            raise MemoryError
        return data

    def destroy(self, data: int) -> None:
        binary.record_destroy(self.info, data)

    def read(self, data: int) -> dict:
        """The fields of the record at `data`."""
        values = {}
        frame = take_frame()
        for field in self.fields:
            frame.kind.value = 0
            name = ctypes.create_string_buffer(binary.text_block(field))
            result = binary.record_get_field(self.info, data, addressof(name) + 4, addressof(frame.kind))
            if result < 0:
                raise from_hresult(result, f"{self.name}.{field}")
            values[field] = decode(frame)
        _values.pool.append(frame)
        return values

    def write(self, data: int, values: dict) -> None:
        frame = take_frame()
        try:
            for field, value in values.items():
                path = f"{self.name}.{field}"
                encode(frame, _values.ARGUMENTS, value, PLAIN, path)
                name = ctypes.create_string_buffer(binary.text_block(field))
                result = binary.record_put_field(
                    self.info, _PUT_VALUE, data, addressof(name) + 4, frame.base + _values.ARGUMENTS
                )
                if result < 0:
                    raise from_hresult(result, path)
                frame.reset()
        finally:
            frame.reset()
            _values.pool.append(frame)


class Record:
    """A value of a record type: one attribute a field, names without regard to case.

    The fields of a type are known as soon as a class that uses it has been met; before that any name is taken, and
    looked at when the record is handed over.
    """

    __slots__ = ("_name", "_values")

    def __init__(self, name: str, /, **fields):
        object.__setattr__(self, "_name", name)
        object.__setattr__(self, "_values", {})
        for field, value in fields.items():
            setattr(self, field, value)

    def _bind(self) -> Layout | None:
        """The layout, once it is known; the record then has all its fields."""
        layout = Layout.known.get(self._name.lower())
        if layout is None or tuple(self._values) == layout.fields:
            return layout
        values = {}
        for field, value in self._values.items():
            if field.lower() not in layout.by_name:
                raise no_member(layout.name, field, layout.fields)
            values[layout.by_name[field.lower()]] = value
        data = layout.create()
        try:
            fresh = layout.read(data)
        finally:
            layout.destroy(data)
        object.__setattr__(self, "_name", layout.name)
        object.__setattr__(self, "_values", fresh | values)
        return layout

    def _field(self, name: str) -> str:
        layout = self._bind()
        if layout is not None:
            field = layout.by_name.get(name.lower())
        else:
            field = next((field for field in self._values if field.lower() == name.lower()), None)
        if field is None or name.startswith("_"):
            raise no_member(self._name, name, self._values)
        return field

    def __getattr__(self, name: str):
        if name.startswith("_"):
            raise AttributeError(name)
        field = self._field(name)  # which may fill in the fields
        return self._values[field]

    def __setattr__(self, name: str, value) -> None:
        known = Layout.known.get(self._name.lower()) is not None
        if known or any(field.lower() == name.lower() for field in self._values):
            name = self._field(name)
        elif name.startswith("_"):
            raise AttributeError(name)
        self._values[name] = value

    def __eq__(self, other) -> bool:
        if not isinstance(other, Record):
            return NotImplemented
        self._bind(), other._bind()
        return self._name.lower() == other._name.lower() and self._values == other._values

    __hash__ = None

    def __dir__(self):
        self._bind()
        return sorted(self._values)

    def __repr__(self) -> str:
        return f"corveth.Record({self._name!r}{''.join(f', {k}={v!r}' for k, v in self._values.items())})"

    def __reduce__(self):
        return _restore, (self._name, dict(self._values))

    def _make(self, path: str) -> tuple[Layout, int]:
        """The record in memory of its own."""
        layout = self._bind()
        if layout is None:
            raise Error(TYPE_MISMATCH, SOURCE, f"Type mismatch: {path} takes no record {self._name!r}")
        data = layout.create()
        try:
            layout.write(data, self._values)
        except BaseException:
            layout.destroy(data)
            raise
        return layout, data


def _restore(name: str, fields: dict) -> Record:
    return Record(name, **fields)


class _Held(_values.Owned):
    """A record's memory while it is an argument."""

    def __init__(self, layout: Layout, data: int):
        self._layout, self._data = layout, data

    def give_back(self) -> None:
        self._layout.destroy(self._data)

    def give_away(self) -> None:
        """The variant owns the memory now, and a reference to its layout."""
        binary.add_ref(self._layout.info)


def _encode_record(frame: Frame, offset: int, value: Record, _takes: int, path: str) -> None:
    layout, data = value._make(path)
    frame.keep.append(_Held(layout, data))
    _values.encode_address(frame, offset, binary.VT_RECORD, data, layout.info)


def _decode_record(frame: Frame) -> Record | None:
    data, info = frame.pointer.value, frame.second.value
    frame.kind.value = 0
    if not info:
        return None
    name = c_void_p()
    described = c_void_p()
    try:
        result = binary.record_name(info, addressof(name))
        if result >= 0:
            result = binary.record_type_info(info, addressof(described))
        if result < 0:
            raise from_hresult(result, "a record")
        layout = Layout.learn(binary.take_text(name.value), TypeInfo(described.value))
        record = Record(layout.name)
        if data:
            object.__setattr__(record, "_values", layout.read(data))
            layout.destroy(data)
        return record
    finally:
        binary.release(info)


_values.encoders[Record] = _encode_record
_values.decoders[binary.VT_RECORD] = _decode_record
