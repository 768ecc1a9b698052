"""Finding and loading the server library."""

from __future__ import annotations

import ctypes
import json
import os
import threading
import uuid
from collections.abc import Callable
from ctypes import byref, c_void_p
from pathlib import Path

from . import _binary as binary
from ._errors import CANNOT_CREATE, SOURCE, Error, from_hresult
from ._installed import SERVER

LIBRARY = "prjCorveth.so"
VARIABLE = "CORVETH_SERVER"


def cannot_create(what: str) -> Error:
    return Error(CANNOT_CREATE, SOURCE, f"Object cannot be created: {what}")


def _build_folder(start: Path) -> list[Path]:
    """The build folder of the checkout that `start` lies in; none outside of one."""
    for folder in start.parents:
        if (folder / "CMakeLists.txt").is_file() and (folder / "src" / "server").is_dir():
            return [folder / "build"]
    return []


def _registered() -> list[Path]:
    """What the registered classes are served by."""
    folder = os.environ.get("XDG_DATA_HOME", "")
    if not os.path.isabs(folder):
        folder = os.path.join(os.path.expanduser("~"), ".local", "share")
    try:
        content = json.loads(Path(folder, "corveth", "registration.json").read_text(encoding="utf-8"))
        servers = [entry["server"] for entry in content["classes"].values()]
    except (OSError, ValueError, LookupError, TypeError, AttributeError):
        return []
    return [Path(server) for server in dict.fromkeys(servers) if isinstance(server, str)]


def find() -> Path:
    """The server library: what the environment names, else of the checkout, beside the module, registered."""
    named = os.environ.get(VARIABLE)
    if named:
        if not Path(named).is_file():
            raise cannot_create(f"{VARIABLE} names {named}, which is no file")
        return Path(named)
    package = Path(__file__).resolve().parent
    places = [folder / LIBRARY for folder in _build_folder(package)]
    places += [package / LIBRARY, package.parent / LIBRARY]
    if SERVER:
        places.append(Path(os.path.normpath(package / SERVER)))
    places += _registered()
    for place in places:
        if place.is_file():
            return place
    looked = ", ".join(str(place) for place in places)
    raise cannot_create(f"{LIBRARY} was not found; looked at {looked} (set {VARIABLE} to its path)")


_factory_id = byref(binary.IID_CLASS_FACTORY)
_dispatch_id = byref(binary.IID_DISPATCH)


class _Pointer(ctypes.Union):
    """An interface pointer, seen as itself and as what leads to its function table."""

    _fields_ = [("address", c_void_p), ("table", ctypes.POINTER(ctypes.c_uint64))]


class Server:
    """The loaded library. It stays loaded until the process ends."""

    def __init__(self, path: Path):
        self.path = path
        try:
            library = ctypes.CDLL(str(path))
            # Without argument types: it gets references that are passed as they are.
            self._get_class_object = ctypes.CFUNCTYPE(ctypes.c_int32)(("DllGetClassObject", library))
        except (OSError, AttributeError) as failure:
            raise cannot_create(f"{path} cannot be loaded: {failure}") from None
        self._class_ids: dict[str, binary.Guid] = {}
        self._factories: dict[int, tuple[Callable, Callable]] = {}  # creation and release, by function table

    def create(self, prog_id: str) -> tuple[int, int]:
        """The dispatch interface of a new object, and its function table."""
        class_id = self._class_ids.get(prog_id)
        if class_id is None:
            try:
                class_id = binary.Guid.of(uuid.uuid5(binary.NAMESPACE, prog_id.lower()))
            except UnicodeEncodeError:
                raise cannot_create(f"{prog_id!r} is no known class") from None
        factory, made = _Pointer(), _Pointer()
        result = self._get_class_object(byref(class_id), _factory_id, byref(factory))
        if result < 0:
            raise cannot_create(f"{prog_id!r} is no known class (0x{result & 0xFFFFFFFF:08X})")
        self._class_ids[prog_id] = class_id
        create, release = self._factories.get(factory.table[0]) or self._bind(factory.table[0])
        result = create(c_void_p(factory.address), None, _dispatch_id, byref(made))
        release(c_void_p(factory.address))
        if result < 0:
            raise from_hresult(result, f"{prog_id} cannot be created")
        return made.address, made.table[0]

    def _bind(self, table: int) -> tuple[Callable, Callable]:
        functions = binary.raw_function(table, 3), binary.raw_function(table, 2)
        self._factories[table] = functions
        return functions


_server: Server | None = None
_lock = threading.Lock()


def server() -> Server:
    """The server, loaded at first use."""
    global _server
    if _server is None:
        with _lock:
            if _server is None:
                _server = Server(find())
    return _server
