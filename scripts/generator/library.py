"""The classes, enumerations and records that the built server describes."""

from __future__ import annotations

import json
from dataclasses import dataclass
from typing import Any

import corveth


@dataclass(frozen=True)
class Parameter:
    name: str
    type: str
    byref: bool
    optional: bool


@dataclass(frozen=True)
class Member:
    """A method, or all slots of one property."""

    name: str
    kinds: tuple[str, ...]
    """get, let, set or method, in slot order."""
    slots: tuple[int, ...]
    params: tuple[Parameter, ...]
    type: str
    """Of the result or of the property's value; `none` without one."""
    default: bool
    enumerator: bool

    @property
    def readable(self) -> bool:
        return "get" in self.kinds

    @property
    def writable(self) -> bool:
        return "let" in self.kinds or "set" in self.kinds

    @property
    def method(self) -> bool:
        return "method" in self.kinds


@dataclass(frozen=True)
class Class:
    library: str
    name: str
    creatable: bool
    members: tuple[Member, ...]

    @property
    def path(self) -> str:
        return f"{self.library}.{self.name}"

    @property
    def names(self) -> tuple[str, ...]:
        return tuple(member.name for member in self.members)

    @property
    def default(self) -> Member | None:
        return next((member for member in self.members if member.default), None)

    def find(self, name: str) -> Member | None:
        return next((member for member in self.members if member.name == name), None)

    @property
    def iterable(self) -> bool:
        return any(member.enumerator for member in self.members) or (
            self.default is not None and self.default.name == "Item" and self.find("Count") is not None
        )


@dataclass(frozen=True)
class Enumeration:
    library: str
    name: str
    members: tuple[tuple[str, int], ...]

    @property
    def path(self) -> str:
        return self.name

    @property
    def names(self) -> tuple[str, ...]:
        return tuple(name for name, _ in self.members)


@dataclass(frozen=True)
class RecordType:
    library: str
    name: str
    fields: tuple[tuple[str, str], ...]
    """Name and type."""

    @property
    def path(self) -> str:
        return self.name

    @property
    def names(self) -> tuple[str, ...]:
        return tuple(name for name, _ in self.fields)


Described = Class | Enumeration | RecordType


@dataclass(frozen=True)
class Library:
    """Everything that clients can name, in the order of the server's own list."""

    classes: tuple[Class, ...]
    enums: tuple[Enumeration, ...]
    records: tuple[RecordType, ...]

    @property
    def everything(self) -> tuple[Described, ...]:
        return self.classes + self.enums + self.records

    @property
    def names(self) -> tuple[str, ...]:
        """Of the libraries."""
        return tuple(dict.fromkeys(entry.library for entry in self.everything))

    def referred(self, type_: str, library: str) -> Described | None:
        """What a type of a member of `library` refers to: the library's own before another's of the same name. None
        for a plain type, and for a class that is not in this build."""
        kind, _, name = type_.partition(":")
        if kind in ("Picture", "Connection"):
            name, kind = kind, "Object"
        sorts: dict[str, tuple[Described, ...]] = {"Object": self.classes, "Enum": self.enums, "Record": self.records}
        candidates = [entry for entry in sorts.get(kind, ()) if entry.name == name]
        candidates.sort(key=lambda entry: entry.library != library)
        return candidates[0] if candidates else None


def read() -> Library:
    server = corveth.Dispatch("Corveth.TypeLibrary")
    content = json.loads(server.Json())
    own = content["library"]
    return Library(
        tuple(_class(path.partition(".")[0], json.loads(server.Json(path))) for path in server.ClassNames().split()),
        tuple(
            Enumeration(own, entry["name"], tuple((m["name"], m["value"]) for m in entry["members"]))
            for entry in content["enums"]
        ),
        tuple(
            RecordType(own, entry["name"], tuple((f["name"], f["type"]) for f in entry["fields"]))
            for entry in content["records"]
        ),
    )


def _class(library: str, entry: dict[str, Any]) -> Class:
    slots: dict[str, list[dict[str, Any]]] = {}
    for slot in entry["members"]:
        slots.setdefault(slot["name"], []).append(slot)
    return Class(library, entry["name"], entry["creatable"], tuple(_member(same) for same in slots.values()))


def _member(slots: list[dict[str, Any]]) -> Member:
    first = slots[0]
    return Member(
        first["name"],
        tuple(slot["kind"] for slot in slots),
        tuple(slot["slot"] for slot in slots),
        tuple(Parameter(p["name"], p["type"], p["byref"], p["optional"]) for p in first["params"]),
        first["type"],
        first["default"],
        first["enumerator"],
    )
