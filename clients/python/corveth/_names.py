"""The modules prjCorveth, ADODB and Corveth: the names of the server's libraries, found when they are used.

They have no files, because the server itself may stand here as prjCorveth.so. A class stands for all objects of its
name (``isinstance``, annotations), an enumeration is an ``IntEnum``, and a record type is ``Record``.
"""

from __future__ import annotations

import functools
import json
import keyword
import sys
from collections.abc import Callable
from enum import IntEnum
from types import ModuleType

from ._object import Dispatch, class_named
from ._record import Record, no_member


@functools.cache
def _libraries() -> dict[str, dict[str, Callable[[], type]]]:
    """By library and name: what makes the class that stands for it."""
    described = Dispatch("Corveth.TypeLibrary")
    libraries: dict[str, dict[str, Callable[[], type]]] = {}
    for path in described.ClassNames().split():
        library, _, name = path.partition(".")
        libraries.setdefault(library, {})[name] = functools.partial(class_named, path)
    content = json.loads(described.Json())
    names = libraries[content["library"]]
    for entry in content["enums"]:
        names[entry["name"]] = functools.partial(_enumeration, entry, f"{__package__}.{content['library']}")
    for entry in content["records"]:
        names[entry["name"]] = lambda: Record
    return libraries


def _enumeration(entry: dict, module: str) -> type[IntEnum]:
    """A member that is a word of the language gets an underscore behind it."""
    members = {m["name"] + "_" * keyword.iskeyword(m["name"]): m["value"] for m in entry["members"]}
    return IntEnum(entry["name"], members, module=module)


class _Library(ModuleType):
    def __init__(self, name: str):
        super().__init__(f"{__package__}.{name}", f"What the library {name} holds.")
        self._library = name
        sys.modules[self.__name__] = self  # where an import of it looks first

    def __getattr__(self, name: str) -> type:
        if name.startswith("_"):
            raise AttributeError(f"module {self.__name__!r} has no attribute {name!r}")
        names = _libraries()[self._library]
        if name not in names:
            raise no_member(self._library, name, names)
        found = names[name]()
        setattr(self, name, found)
        return found

    def __dir__(self) -> list[str]:
        return sorted(_libraries()[self._library])


prjCorveth, ADODB, Corveth = map(_Library, ("prjCorveth", "ADODB", "Corveth"))
