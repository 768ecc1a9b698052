"""Class descriptions, read from the objects' own type descriptions."""

from __future__ import annotations

from ctypes import addressof, c_uint32, c_void_p
from dataclasses import dataclass, field

from . import _binary as binary
from ._errors import from_hresult
from ._values import FLOAT, OBJECT, PLAIN, RECORD, VARIANT

_NAMES = {
    binary.VT_EMPTY: "none",
    binary.VT_VOID: "none",
    binary.VT_I2: "Integer",
    binary.VT_I4: "Long",
    binary.VT_R4: "Single",
    binary.VT_R8: "Double",
    binary.VT_CY: "Currency",
    binary.VT_DATE: "Date",
    binary.VT_BSTR: "String",
    binary.VT_DISPATCH: "Object",
    binary.VT_UNKNOWN: "Enumerator",
    binary.VT_BOOL: "Boolean",
    binary.VT_VARIANT: "Variant",
    binary.VT_UI1: "Byte",
    binary.VT_SAFEARRAY: "Byte()",
}
_TAKES = {
    binary.VT_VARIANT: VARIANT,
    binary.VT_DISPATCH: OBJECT,
    binary.VT_UNKNOWN: OBJECT,
    binary.VT_R4: FLOAT,
    binary.VT_R8: FLOAT,
}


@dataclass(frozen=True)
class Type:
    name: str
    """For people: String, Long, Enum:ctContactType, Object:Notes ..."""
    takes: int = PLAIN
    prog_id: str = ""
    """Of the class, when it is one that this build has."""


@dataclass(frozen=True)
class Parameter:
    name: str
    type: Type
    optional: bool


@dataclass(frozen=True)
class Slot:
    flag: int
    """What it is called with: METHOD, PROPERTY_GET, PROPERTY_PUT or PROPERTY_PUT_REF."""
    params: tuple[Parameter, ...]
    type: Type
    """Of the result, or of the assigned value."""


@dataclass
class Member:
    name: str
    dispid: int
    slots: dict[int, Slot] = field(default_factory=dict)

    @property
    def reader(self) -> Slot | None:
        return self.slots.get(binary.METHOD) or self.slots.get(binary.PROPERTY_GET)

    @property
    def signature(self) -> str:
        slot = self.reader or next(iter(self.slots.values()))
        text = self.name
        if slot.params or slot.flag == binary.METHOD:
            params = (f"{p.name}: {p.type.name}" for p in slot.params)
            shown = (f"[{text}]" if p.optional else text for p, text in zip(slot.params, params))
            text += f"({', '.join(shown)})"
        return text if slot.type.name == "none" else f"{text} -> {slot.type.name}"


@dataclass
class Description:
    name: str
    prog_id: str
    members: list[Member]

    def __post_init__(self):
        self._by_name = {member.name.lower(): member for member in self.members}

    def find(self, name: str) -> Member | None:
        """Without regard to case."""
        return self._by_name.get(name.lower())

    def names(self) -> list[str]:
        return [member.name for member in self.members]

    def by_id(self, dispid: int) -> Member | None:
        return next((member for member in self.members if member.dispid == dispid), None)


class TypeInfo:
    """A counted reference to a type description."""

    def __init__(self, address: int):
        self.address = address

    def __del__(self, release=binary.release):
        release(self.address)

    def documentation(self) -> tuple[str, str]:
        """Name and text of the type itself."""
        name, text = c_void_p(), c_void_p()
        self._check(binary.get_documentation(self.address, -1, addressof(name), addressof(text), None, None))
        return binary.take_text(name.value), binary.take_text(text.value)

    def counts(self) -> tuple[int, int, int]:
        """Its kind, how many functions and how many variables it has."""
        pointer = c_void_p()
        self._check(binary.get_type_attr(self.address, addressof(pointer)))
        attributes = binary.TypeAttr.from_address(pointer.value)
        counts = attributes.typekind, attributes.cFuncs, attributes.cVars
        binary.release_type_attr(self.address, pointer)
        return counts

    def names(self, dispid: int, capacity: int) -> list[str]:
        """The member's name and those of its parameters."""
        texts = (c_void_p * capacity)()
        count = c_uint32()
        self._check(binary.get_names(self.address, dispid, addressof(texts), capacity, addressof(count)))
        return [binary.take_text(texts[i]) for i in range(count.value)]

    def referenced(self, reference: int) -> TypeInfo:
        pointer = c_void_p()
        self._check(binary.get_ref_type_info(self.address, reference, addressof(pointer)))
        return TypeInfo(pointer.value)

    def variables(self) -> list[str]:
        """The names of a record's fields, in their order."""
        names = []
        for i in range(self.counts()[2]):
            pointer = c_void_p()
            self._check(binary.get_var_desc(self.address, i, addressof(pointer)))
            dispid = binary.VarDesc.from_address(pointer.value).memid
            binary.release_var_desc(self.address, pointer)
            names += self.names(dispid, 1)
        return names

    @staticmethod
    def _check(result: int) -> None:
        if result < 0:
            raise from_hresult(result, "reading a type description")


class Reader:
    """Reads one class; `on_record` is told of every record type that its members name."""

    def __init__(self, info: TypeInfo, on_record):
        self._info = info
        self._on_record = on_record
        self._references: dict[int, Type] = {}

    def read(self) -> Description:
        interface, prog_id = self._info.documentation()
        members: dict[int, Member] = {}
        for i in range(self._info.counts()[1]):
            self._read_function(i, members)
        return Description(interface.removeprefix("_"), prog_id, list(members.values()))

    def _read_function(self, index: int, members: dict[int, Member]) -> None:
        pointer = c_void_p()
        self._info._check(binary.get_func_desc(self._info.address, index, addressof(pointer)))
        try:
            function = binary.FuncDesc.from_address(pointer.value)
            dispid, flag, count = function.memid, function.invkind, function.cParams
            names = self._info.names(dispid, count + 1)
            types = [self._type(function.params[i].type) for i in range(count)]
            optional = [bool(function.params[i].flags & binary.PARAM_OPTIONAL) for i in range(count)]
            type_ = self._type(function.result.type)
        finally:
            binary.release_func_desc(self._info.address, pointer)
        if flag in (binary.PROPERTY_PUT, binary.PROPERTY_PUT_REF):
            type_ = types.pop()
        names += [""] * (count + 1 - len(names))
        params = tuple(Parameter(*row) for row in zip(names[1:], types, optional))
        member = members.setdefault(dispid, Member(names[0], dispid))
        member.slots[flag] = Slot(flag, params, type_)

    def _type(self, described: binary.TypeDesc) -> Type:
        while described.vt == binary.VT_PTR:
            described = binary.TypeDesc.from_address(described.value)
        if described.vt == binary.VT_USERDEFINED:
            reference = described.value & 0xFFFFFFFF
            if reference not in self._references:
                self._references[reference] = self._referenced(self._info.referenced(reference))
            return self._references[reference]
        return Type(_NAMES.get(described.vt, f"type {described.vt}"), _TAKES.get(described.vt, PLAIN))

    def _referenced(self, info: TypeInfo) -> Type:
        kind = info.counts()[0]
        name, text = info.documentation()
        if kind == binary.TYPE_ENUM:
            return Type(f"Enum:{name}")
        if kind == binary.TYPE_RECORD:
            self._on_record(name, info)
            return Type(f"Record:{name}", RECORD)
        return Type(f"Object:{name.removeprefix('_')}", OBJECT, text)

