"""Wrappers: one Python class for every class that the server describes."""

from __future__ import annotations

import threading
from codecs import utf_16_le_decode, utf_16_le_encode
from collections.abc import Callable, Iterator
from ctypes import byref, c_void_p

from . import _binary as binary
from . import _values
from ._binary import METHOD, PROPERTY_GET, PROPERTY_PUT, PROPERTY_PUT_REF, VT_BSTR, VT_DISPATCH, free
from ._errors import NAMED_ARGUMENT, SOURCE, Error, from_hresult
from ._library import server
from ._record import Layout, no_member
from ._typeinfo import Description, Member, Reader, Slot, TypeInfo
from ._values import ARGUMENTS, MAX_ARGUMENTS, OBJECT, PLAIN, PUT_ROOM, VARIANT_SIZE, Frame, decode, encode

_pop, _push = _values.pool.pop, _values.pool.append
_iid = byref(binary.IID_NONE)
_no_params = byref(binary.Variant())  # a parameter record that counts none is as many zeros
_new = object.__new__


class Object:
    """An object of the server. Members are attributes, without regard to case; calling it reads its default member."""

    __slots__ = ("_this", "__weakref__")

    _description: Description
    _path: str
    _take_member: Callable = staticmethod(decode)
    _read_default: Callable | None = None
    _read_count: Callable | None = None
    _read_enumerator: Callable | None = None
    _iterates_items = False

    def __new__(cls, *_args, **_kwargs):
        raise TypeError("objects of the server are made by corveth.Dispatch")

    def __getattr__(self, name: str):
        if name.startswith("_"):
            raise AttributeError(f"{self._path} has no attribute {name!r}")
        cls = type(self)
        member = cls._description.find(name)
        if member is None:
            raise no_member(cls._path, name, cls._description.names())
        if member.reader is None:
            raise AttributeError(f"{cls._path}.{member.name} cannot be read")
        setattr(cls, name, cls.__dict__[member.name])
        return getattr(self, name)

    def __call__(self, *args, **kwargs):
        if self._read_default is None:
            raise TypeError(f"{self._path} has no default member")
        return self._read_default(*args, **kwargs)

    def __bool__(self) -> bool:
        return True

    def __len__(self) -> int:
        if self._read_count is None:
            raise TypeError(f"{self._path} has no Count")
        return self._read_count()

    def __iter__(self) -> Iterator:
        if self._read_enumerator is not None:
            enumerator = self._read_enumerator()
            if type(enumerator) is Enumerator:
                enumerator._take = self._take_member
            return iter(enumerator)
        if self._iterates_items:
            return self._items()
        raise TypeError(f"{self._path} is no collection that can be iterated")

    def _items(self) -> Iterator:
        position = 1
        while position <= len(self):
            yield self(position)
            position += 1

    def __getitem__(self, key):
        raise TypeError(f"{self._path} is not subscripted: members are read by x(1) or x.Item(1)")

    def __eq__(self, other) -> bool:
        if not isinstance(other, Object):
            return NotImplemented
        return self._this.value == other._this.value or self._identity() == other._identity()

    def __hash__(self) -> int:
        return hash(self._identity())

    def _identity(self) -> int:
        this = self._this.value
        found = binary.query(this, binary.IID_UNKNOWN)
        if found is None:
            return this
        binary.release(found)
        return found

    def __dir__(self):
        return self._description.names()

    def __repr__(self) -> str:
        return f"<corveth {self._path}>"

    def __reduce_ex__(self, _protocol):
        raise TypeError(f"{self._path} can be neither copied nor pickled")


_set_this = Object._this.__set__
_this_of = Object._this.__get__


class Enumerator:
    """Steps through a collection, live."""

    __slots__ = ("_this", "_next", "_take", "_done")

    def __init__(self, address: int):
        self._this = c_void_p(address)
        self._take = decode
        self._next = binary.raw_function(binary.word_at(address), 3)
        self._done = False

    def __del__(self, release=binary.release):
        release(self._this.value)

    def __iter__(self) -> Enumerator:
        return self

    def __next__(self):
        if self._done:
            raise StopIteration
        try:
            frame = _pop()
        except IndexError:
            frame = Frame()
        frame.kind.value = 0
        result = self._next(self._this, 1, frame.result, frame.fetched)
        if result != 0:
            _push(frame)
            self._done = True
            if result > 0:
                raise StopIteration
            raise from_hresult(result, "the enumerator")
        value = self._take(frame)
        _push(frame)
        return value


# Members. A reader without arguments is the frequent case and reads texts and objects in place.


def _reader(invoke, dispid: int, slot: Slot, path: str) -> Callable:
    flag = slot.flag
    take = _taker(slot)

    def read(self):
        try:
            frame = _pop()
        except IndexError:
            frame = Frame()
        frame.kind.value = 0
        result = invoke(_this_of(self), dispid, _iid, 0, flag, _no_params, frame.result, frame.exception, None)
        if result < 0:
            error = frame.failure(result, path)
            _push(frame)
            raise error
        kind = frame.kind.value
        if kind == VT_BSTR:
            address = frame.pointer.value
            if address is None:
                value = ""
            else:
                value = utf_16_le_decode(frame.text[0 : frame.length[-1]], "surrogatepass")[0]
                frame.pointer.value = address - 4
                free(frame.pointer)
                frame.kind.value = 0
        else:
            value = take(frame)
        _push(frame)
        return value

    return read


def _taker(slot: Slot) -> Callable:
    """Takes the result of a member. The class of an object is asked for once when the member names it."""
    expected = slot.type.prog_id
    if not expected:
        return decode
    known: dict[int, type] = {}  # by function table

    def take(frame):
        if frame.kind.value != VT_DISPATCH or not frame.pointer.value:
            return decode(frame)
        address, table = frame.pointer.value, frame.table[0]
        cls = known.get(table)
        if cls is None:
            value = decode(frame)
            if value._path == expected:
                known[table] = type(value)
            return value
        value = _new(cls)
        _set_this(value, c_void_p(address))
        return value

    return take


def _caller(invoke, dispid: int, slot: Slot, path: str) -> Callable:
    flag = slot.flag
    read = _reader(invoke, dispid, slot, path)
    take = _taker(slot)
    params = slot.params
    expected = [(param.type.takes, f"{param.name} of {path}") for param in params]
    positions = {param.name.lower(): i for i, param in enumerate(params)}
    most = len(expected)
    find_encoder = _values.encoders.get

    def call(self, *args, **kwargs):
        count = len(args)
        if not count and not kwargs:
            return read(self)
        try:
            frame = _pop()
        except IndexError:
            frame = Frame()
        try:
            if kwargs:
                encode_named(frame, kwargs, count)
            else:
                frame.argument_count.value = count
                frame.named_count.value = 0
            offset = ARGUMENTS + (count + len(kwargs)) * VARIANT_SIZE
            for value, (takes, name) in zip(args, expected if count <= most else more_expected(count)):
                offset -= VARIANT_SIZE
                (find_encoder(type(value)) or encode)(frame, offset, value, takes, name)
            frame.kind.value = 0
            result = invoke(_this_of(self), dispid, _iid, 0, flag, frame.params, frame.result, frame.exception, None)
            if result < 0:
                raise frame.failure(result, path)
            # More arguments than parameters are for the default member of what the member yields.
            value = take(frame) if count <= most else decode(frame)
            if frame.boxes:
                frame.unbox()
            return value
        finally:
            frame.reset()
            _push(frame)

    def encode_named(frame, kwargs, count):
        """Named arguments stand before the positional ones."""
        check_count(count + len(kwargs))
        for index, (keyword, value) in enumerate(kwargs.items()):
            position = positions.get(keyword.lower())
            if position is None:
                raise Error(NAMED_ARGUMENT, SOURCE, f"Named argument not found: {keyword} of {path}")
            takes, name = expected[position]
            frame.name_argument(index, position)
            encode(frame, ARGUMENTS + index * VARIANT_SIZE, value, takes, name)
        frame.argument_count.value = count + len(kwargs)
        frame.named_count.value = len(kwargs)

    def more_expected(count):
        check_count(count)
        return expected + [(PLAIN, path)] * (count - most)

    def check_count(count):
        if count > MAX_ARGUMENTS:
            raise _values.wrong_count(path, most, count)

    return call


def _writer(invoke, dispid: int, slot: Slot, path: str) -> Callable:
    flag = slot.flag
    takes = slot.type.takes

    def write(self, value):
        try:
            frame = _pop()
        except IndexError:
            frame = Frame()
        if type(value) is str and len(value) <= PUT_ROOM:
            units = utf_16_le_encode(value + "\0", "surrogatepass")[0]
            size = len(units)
            frame.put_length.value = size - 2
            frame.put_units[0:size] = units
            result = invoke(_this_of(self), dispid, _iid, 0, flag, frame.put_text, None, frame.exception, None)
        else:
            encode(frame, ARGUMENTS, value, takes, path)
            result = invoke(_this_of(self), dispid, _iid, 0, flag, frame.put, None, frame.exception, None)
            frame.reset()
        if result < 0:
            error = frame.failure(result, path)
            _push(frame)
            raise error
        _push(frame)

    return write


def _assigner(invoke, member: Member, path: str) -> Callable | None:
    """Assigns by value or by reference: an object goes to the reference slot where there is one."""
    let, reference = member.slots.get(PROPERTY_PUT), member.slots.get(PROPERTY_PUT_REF)
    writers = [_writer(invoke, member.dispid, slot, path) for slot in (let, reference) if slot and not slot.params]
    if len(writers) < 2:
        return writers[0] if writers else None
    let_value, set_reference = writers
    none_is_reference = let.type.takes == OBJECT

    def assign(self, value):
        if isinstance(value, Object) or (value is None and none_is_reference):
            set_reference(self, value)
        else:
            let_value(self, value)

    return assign


_named: dict[str, type[Object]] = {}


def class_named(path: str) -> type[Object]:
    """Stands for all objects of this name; what the server describes under it is derived from it."""
    cls = _named.get(path)
    if cls is None:
        library, _, name = path.rpartition(".")
        namespace = {"__slots__": (), "__module__": f"corveth.{library}", "_path": path}
        cls = _named.setdefault(path, type(name, (Object,), namespace))
    return cls


def _make_class(description: Description, functions: binary.Functions) -> type[Object]:
    path = description.prog_id or description.name
    invoke = functions.invoke
    puts: dict[str, Callable] = {}
    members: dict[str, object] = {}
    for member in description.members:
        member_path = f"{path}.{member.name}"
        reader = member.reader
        if reader is not None:
            if reader.params or reader.flag == METHOD:
                function = _caller(invoke, member.dispid, reader, member_path)
                function.__name__ = member.name
                function.__qualname__ = member_path
                function.__doc__ = member.signature
                members[member.name] = function
            else:
                members[member.name] = property(
                    _reader(invoke, member.dispid, reader, member_path), doc=member.signature
                )
        assigner = _assigner(invoke, member, member_path)
        if assigner is not None:
            puts[member.name] = assigner

    def find_put(name: str) -> Callable:
        member = description.find(name)
        if member is None:
            raise no_member(path, name, description.names())
        if member.name not in puts:
            raise AttributeError(f"{path}.{member.name} cannot be assigned")
        put = puts[name] = puts[member.name]
        return put

    def set_attribute(self, name, value):
        put = puts.get(name)
        if put is None:
            put = find_put(name)
        put(self, value)

    release = functions.release

    def give_back(self):
        try:
            release(_this_of(self))
        except AttributeError:  # it never came to hold anything
            pass

    default = description.by_id(binary.DISPID_VALUE)
    count = description.find("Count")
    enumerator = description.by_id(binary.DISPID_NEWENUM)
    namespace = members | {
        "__slots__": (),
        "__module__": path.rpartition(".")[0],
        "__del__": give_back,
        "__setattr__": set_attribute,
        "__doc__": "\n".join([path, "", *(member.signature for member in description.members)]),
        "_description": description,
        "_path": path,
    }
    if default is not None and default.reader is not None:
        namespace["_read_default"] = _caller(invoke, 0, default.reader, f"{path}.{default.name}")
        namespace["_take_member"] = staticmethod(_taker(default.reader))  # members are what Item yields
    if count is not None and count.reader is not None:
        namespace["_read_count"] = _reader(invoke, count.dispid, count.reader, f"{path}.Count")
    if enumerator is not None:
        slot = Slot(METHOD | PROPERTY_GET, (), enumerator.reader.type)
        namespace["_read_enumerator"] = _reader(invoke, enumerator.dispid, slot, f"{path}.{enumerator.name}")
    namespace["_iterates_items"] = (
        default is not None and default.name.lower() == "item" and "_read_count" in namespace
    )
    cls = type(description.name, (class_named(path),), namespace)
    _values.encoders[cls] = _encode_object
    return cls


_lock = threading.RLock()
_functions: dict[int, binary.Functions] = {}
_classes: dict[tuple[bytes, int], type[Object]] = {}  # by the interface's id and function table


class _Describing:
    """The functions of a type description's table that finding a class goes through."""

    __slots__ = ("attributes", "release_attributes", "release")

    def __init__(self, table: int):
        self.attributes = binary.raw_function(table, 3)
        self.release_attributes = binary.raw_function(table, 19)
        self.release = binary.raw_function(table, 2)


_describing: dict[int, _Describing] = {}


def _class_of(address: int, table: int) -> type[Object]:
    """The class of the dispatch interface at `address`, whose functions are in `table`."""
    functions = _functions.get(table)
    if functions is None:
        functions = _functions.setdefault(table, binary.Functions(table))
    frame = _values.take_frame()
    result = functions.type_info(c_void_p(address), 0, 0, frame.result)
    if result < 0:
        _push(frame)
        raise from_hresult(result, "asking an object for its class")
    info = frame.found.value
    describing = _describing.get(frame.found_table[0])
    if describing is None:
        describing = _describing[frame.found_table[0]] = _Describing(frame.found_table[0])
    result = describing.attributes(frame.found, frame.second_result)
    if result >= 0:
        key = frame.text[0:16], table
        describing.release_attributes(frame.found, frame.pointer)
        cls = _classes.get(key)
        if cls is not None:
            describing.release(frame.found)
    frame.kind.value = 0
    _push(frame)
    if result < 0:
        binary.release(info)
        raise from_hresult(result, "asking an object for its class")
    return cls or _new_class(TypeInfo(info), key, functions)


def _new_class(info: TypeInfo, key: tuple[bytes, int], functions: binary.Functions) -> type[Object]:
    with _lock:
        cls = _classes.get(key)
        if cls is None:
            cls = _classes[key] = _make_class(Reader(info, Layout.learn).read(), functions)
    return cls


def wrap(address: int) -> Object:
    """A wrapper of the dispatch interface at `address`, whose reference it takes over."""
    try:
        cls = _class_of(address, binary.word_at(address))
    except BaseException:
        binary.release(address)
        raise
    wrapper = _new(cls)
    _set_this(wrapper, c_void_p(address))
    return wrapper


def _decode_dispatch(frame: Frame) -> Object | None:
    address = frame.pointer.value
    frame.kind.value = 0
    return None if address is None else wrap(address)


def _decode_unknown(frame: Frame):
    address = frame.pointer.value
    frame.kind.value = 0
    if address is None:
        return None
    try:
        dispatch = binary.query(address, binary.IID_DISPATCH)
        if dispatch is not None:
            return wrap(dispatch)
        enumerator = binary.query(address, binary.IID_ENUM_VARIANT)
        if enumerator is not None:
            return Enumerator(enumerator)
        raise from_hresult(0x80004002, "the object can be neither driven nor iterated")
    finally:
        binary.release(address)


def _encode_object(frame: Frame, offset: int, value: Object, _takes: int, _path: str) -> None:
    _values.encode_address(frame, offset, binary.VT_DISPATCH, value._this.value)


_values.decoders[binary.VT_DISPATCH] = _decode_dispatch
_values.decoders[binary.VT_UNKNOWN] = _decode_unknown
_values.encoders[Object] = _encode_object


_created: dict[str, tuple[type[Object], int]] = {}  # by identifier: class and function table of what it makes


def Dispatch(prog_id: str) -> Object:  # noqa: N802
    """A new object of the class with this programmatic identifier. Error 429 when there is no such class or the
    server cannot be loaded."""
    if not isinstance(prog_id, str):
        raise TypeError(f"a programmatic identifier is a text, not {type(prog_id).__name__}")
    address, table = server().create(prog_id)
    known = _created.get(prog_id)
    if known is None or known[1] != table:
        wrapper = wrap(address)
        _created[prog_id] = type(wrapper), table
        return wrapper
    wrapper = _new(known[0])
    _set_this(wrapper, c_void_p(address))
    return wrapper
