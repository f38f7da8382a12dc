# SPDX-License-Identifier: LGPL-2.1-or-later
"""The policies of the tresk framework: every function of libtresk_extend, for Python.

    import tresk_extend as tresk

    for entry in tresk.ppro_read_all_data():
        print(entry.type, entry.path)
    try:
        tresk.ppro_add("/usr/bin/cat", 1)
    except tresk.TreskError as error:
        print(error.name, error.code)

Functions have the names of the C library without "tresk_" and "_dbus", in small letters with underscores; they are
rows of one table at the end of this file. help(tresk_extend.ppro_add) tells what a row means.

 - Texts are str. Bytes that are no UTF-8 are kept as surrogates, as in os.fsdecode(), in both directions; bytes may
   be given too. A text with a NUL is refused with ValueError, since the library would see its beginning alone.
 - Records are frozen dataclasses with the C fields; unused fields are left out.
 - Arrays come as lists, and what the library allocated is released before a function returns.
 - A failure that the library tells apart is a TreskError; want of memory is a MemoryError. Where the library itself
   gives one answer for "there is none" and for "it failed", so does the function: None or an empty list.
 - Calls release the interpreter's lock and may be made from any thread. Those that ask the service wait for it
   without an end, and Ctrl-C is seen when they return.

The library (libtresk_extend.so.0) is loaded at the first call, so that importing this module needs nothing.
"""
import ctypes
import dataclasses
import enum
import errno as error_numbers
import functools
import inspect
import operator
import os
import re
import typing
from ctypes import POINTER, c_char, c_char_p, c_int, c_int32, c_int64, c_uint32, c_void_p
from typing import Annotated

__version__ = "0.1.0"

LIBRARY_NAME = "libtresk_extend.so.0"


# ---- Errors -------------------------------------------------------------------------------------------------------


class Status(enum.IntEnum):
    """The status codes of the service's answers, under their names in C without "TRESK_"."""

    SUCCESS = 0
    ERROR_AUTHORISATION = -1001
    ERROR_CANCELLED = -1002
    ERROR_DISABLED = -1003
    ERROR_DATABASE = -1004
    ERROR_LABEL_READ = -1005
    ERROR_LABEL_WRITE = -1006
    ERROR_INVALID_ARGUMENT = -1007
    ERROR_LIST = -1008
    ERROR_FILE_ATTRIBUTE = -1009
    ERROR_CONFIGURATION = -1010
    ERROR_SERVICE = -1011
    ERROR_NETWORK_CONTROL = -1012
    ERROR_DEVICE_CONTROL = -1013
    ERROR_DEVICE_EXISTS = -1014
    ERROR_DEVICE_UNCHANGED = -1015


MEANINGS = {
    Status.ERROR_AUTHORISATION: "authorisation failed",
    Status.ERROR_CANCELLED: "authorisation cancelled by the user",
    Status.ERROR_DISABLED: "the framework is disabled",
    Status.ERROR_DATABASE: "the service's policy store failed",
    Status.ERROR_LABEL_READ: "a label could not be read",
    Status.ERROR_LABEL_WRITE: "a label could not be written",
    Status.ERROR_INVALID_ARGUMENT: "an argument was refused",
    Status.ERROR_LIST: "a list could not be extracted",
    Status.ERROR_FILE_ATTRIBUTE: "a file attribute could not be read or written",
    Status.ERROR_CONFIGURATION: "configuration error",
    Status.ERROR_SERVICE: "unknown service error, no usable bus, or a path that cannot be resolved",
    Status.ERROR_NETWORK_CONTROL: "network control error",
    Status.ERROR_DEVICE_CONTROL: "device control error",
    Status.ERROR_DEVICE_EXISTS: "the device entry exists already",
    Status.ERROR_DEVICE_UNCHANGED: "repeated device update",
    -1000: "not offered in this release",
}


class TreskError(Exception):
    """A call failed.

    function: the Python function's name
    code:     what the C function returned (-1 where it returned a null pointer)
    status:   the code as a Status, or None for the small numbers of local failures
    name:     the code's name in C, such as "TRESK_ERROR_CANCELLED", or None
    meaning:  what the code means, in English
    errno:    errno behind the call; EINVAL where a text was refused because it is no UTF-8

    Edits of policies return -1 for whatever the service refused; its reason is in the framework's log.
    """

    def __init__(self, function, code, meaning="", errno=0):
        known = code in set(Status)
        self.function = function
        self.code = code
        self.status = Status(code) if known else None
        self.name = f"TRESK_{self.status.name}" if known else None
        self.meaning = meaning or MEANINGS.get(code, "")
        self.errno = errno
        if errno == error_numbers.EINVAL and not self.meaning:
            self.meaning = os.strerror(errno)
        super().__init__(function, code, self.meaning, errno)

    def __str__(self):
        number = f"{self.name}, {self.code}" if self.name else str(self.code)
        return f"{self.function}: {self.meaning or 'failed'} ({number})"


# ---- Texts and records --------------------------------------------------------------------------------------------


def _encoded(value, what, room=None):
    """@value as the bytes of a C text of at most @room bytes."""
    if isinstance(value, os.PathLike):
        value = os.fspath(value)
    if isinstance(value, str):
        value = value.encode("utf-8", "surrogateescape")
    if not isinstance(value, bytes):
        raise TypeError(f"{what}: a text is wanted, not {type(value).__name__}")
    if b"\0" in value:
        raise ValueError(f"{what}: a text with a NUL")
    if room is not None and len(value) > room:
        raise ValueError(f"{what}: {len(value)} bytes, where {room} fit")
    return value


def _decoded(value):
    return value.decode("utf-8", "surrogateescape")


def _in_range(value, ctype, what):
    """@value, unless @ctype would silently cut it."""
    value = operator.index(value)
    if ctype(value).value != value:
        raise OverflowError(f"{what}: {value} does not fit its {8 * ctypes.sizeof(ctype)} bits")
    return value


def _text(size):
    return Annotated[str, c_char * size]


_Int32 = Annotated[int, c_int32]
_UInt32 = Annotated[int, c_uint32]

RECORDS = {}
"""The record classes by the names of their C types."""


def _record(c_name):
    """Makes a class of annotated fields a frozen dataclass; `structure` is its C form, with the fields that begin
    with an underscore, which Python does not see."""

    def decorate(cls):
        layout = [(name, hint.__metadata__[0])
                  for name, hint in typing.get_type_hints(cls, include_extras=True).items()]
        fields = [(name.lstrip("_"), ctype) for name, ctype in layout]
        cls.__annotations__ = {name: hint for name, hint in cls.__annotations__.items() if not name.startswith("_")}
        for name in cls.__annotations__:
            if not hasattr(cls, name):
                setattr(cls, name, "" if dict(layout)[name]._type_ is c_char else 0)
        cls = dataclasses.dataclass(frozen=True)(cls)
        cls.structure = type(c_name, (ctypes.Structure,), {"_fields_": fields})
        cls.c_name = c_name
        RECORDS[c_name] = cls
        return cls

    return decorate


def _to_structure(cls, value):
    """The C form of a record, which may be given as the tuple of its fields or as its first field alone."""
    if isinstance(value, (str, bytes, os.PathLike)):
        value = (value,)
    record = value if isinstance(value, cls) else cls(*value)
    structure = cls.structure()
    for field in dataclasses.fields(cls):
        given = getattr(record, field.name)
        ctype = dict(cls.structure._fields_)[field.name]
        if ctype._type_ is c_char:
            setattr(structure, field.name, _encoded(given, field.name, ctypes.sizeof(ctype) - 1))
        else:
            setattr(structure, field.name, _in_range(given, ctype, field.name))
    return structure


def _from_structure(cls, structure):
    values = (getattr(structure, field.name) for field in dataclasses.fields(cls))
    return cls(*(_decoded(value) if isinstance(value, bytes) else value for value in values))


@_record("tresk_label_record")
class LabelRecord:
    """A path and its label, an element of a batch."""

    path: _text(4096)
    label: _text(32)


@_record("tresk_dpkg_label_record")
class DpkgLabelRecord:
    """A path as a package-manager hook hands it over."""

    path: _text(4096)
    _unread: _text(36)


@_record("netctl_node_data")
class NetctlNodeData:
    """A program under network control, without its presentation."""

    path: _text(4096)
    hash: _text(65)
    type: _Int32


@_record("netctl_node_info")
class NetctlNode:
    """A program under network control."""

    path: _text(4096)
    hash: _text(65)
    type: _Int32
    name: _text(256)
    ico: _text(4096)
    server_type: _Int32


@_record("netctl_ext_node_info")
class NetctlExtNode:
    """A program under network control, with its desktop entry."""

    path: _text(4096)
    hash: _text(65)
    type: _Int32
    name: _text(256)
    ico: _text(4096)
    desktop: _text(4096)
    server_type: _Int32


@_record("netctl_pkg_node_info")
class NetctlPackage:
    """A package under network control."""

    pkg: _text(4096)
    type: _Int32
    ico: _text(4096)
    desktop: _text(4096)
    server_type: _Int32


@_record("netctl_pkg_path_node_info")
class NetctlPackagePath:
    """A package under network control, with its program file."""

    pkg: _text(4096)
    path: _text(4096)
    type: _Int32
    ico: _text(4096)
    desktop: _text(4096)
    server_type: _Int32


@_record("ppro_node_info")
class PproNode:
    """A protected process."""

    path: _text(4096)
    hash: _text(65)
    type: _Int32


@_record("pblk_node_info")
class PblkNode:
    """A blocked program."""

    path: _text(4096)
    hash: _text(65)


@_record("tresk_device_policy")
class DevicePolicy:
    """A device policy: for a type of device (dtype), or for a product and vendor id (dtype 0)."""

    dtype: _Int32
    first_utype: _UInt32
    dpid: _UInt32
    dvid: _UInt32
    dperm: _Int32
    _reserved: _UInt32
    serial: _text(128)
    utype: _UInt32
    _trailing: _text(256)


@_record("tresk_device_policy_short")
class DevicePolicyShort:
    """A device policy of the "sm" listings."""

    dtype: _UInt32
    _zero_after_dtype: _UInt32
    dpid: _UInt32
    dvid: _UInt32
    utype: _UInt32
    _zero_after_utype: _UInt32
    dperm: _UInt32
    _zero_at_end: _UInt32


@_record("tresk_wireless_name")
class WirelessName:
    """The name of a permitted wireless network."""

    name: _text(128)


@_record("tresk_device_record")
class DeviceRecord:
    """A device that was seen; time is "YYYY-MM-DD HH:MM:SS"."""

    first: _Int32
    second: _Int32
    third: _UInt32
    fourth: _UInt32
    text_1: _text(128)
    text_2: _text(128)
    time: _text(20)
    text_3: _text(256)


# ---- Libraries ----------------------------------------------------------------------------------------------------


@functools.lru_cache(maxsize=None)
def library():
    """The loaded library; OSError where it is not installed."""
    return ctypes.CDLL(LIBRARY_NAME, use_errno=True)


def _foreign(soname, **prototypes):
    """A function that loads a library of others and tells ctypes its functions: name=(result, arguments...)."""

    @functools.lru_cache(maxsize=None)
    def load():
        loaded = ctypes.CDLL(soname)
        for name, (result, *arguments) in prototypes.items():
            function = getattr(loaded, name)
            function.restype, function.argtypes = result, arguments
        return loaded

    return load


_libc = _foreign(None, free=(None, c_void_p))
_glib = _foreign(
    "libglib-2.0.so.0",
    g_variant_parse=(c_void_p, c_void_p, c_char_p, c_void_p, c_void_p, POINTER(c_void_p)),
    g_variant_ref_sink=(c_void_p, c_void_p), g_variant_unref=(None, c_void_p),
    g_variant_get_type_string=(c_char_p, c_void_p),
    g_variant_n_children=(ctypes.c_size_t, c_void_p),
    g_variant_get_child_value=(c_void_p, c_void_p, ctypes.c_size_t),
    g_variant_get_string=(c_char_p, c_void_p, c_void_p),
    g_variant_get_boolean=(c_int, c_void_p), g_variant_get_byte=(ctypes.c_uint8, c_void_p),
    g_variant_get_int16=(ctypes.c_int16, c_void_p), g_variant_get_uint16=(ctypes.c_uint16, c_void_p),
    g_variant_get_int32=(c_int32, c_void_p), g_variant_get_uint32=(c_uint32, c_void_p),
    g_variant_get_int64=(c_int64, c_void_p), g_variant_get_uint64=(ctypes.c_uint64, c_void_p),
    g_variant_get_handle=(c_int32, c_void_p), g_variant_get_double=(ctypes.c_double, c_void_p),
    g_error_free=(None, c_void_p))
_gio = _foreign("libgio-2.0.so.0", g_dbus_error_new_for_dbus_error=(c_void_p, c_char_p, c_char_p))

_VARIANT_NUMBERS = {"b": "boolean", "y": "byte", "n": "int16", "q": "uint16", "i": "int32", "u": "uint32",
                    "x": "int64", "t": "uint64", "h": "handle", "d": "double"}


def _variant_value(variant):
    """A GVariant as a Python value: numbers, texts, tuples, lists, dicts."""
    glib = _glib()
    kind = glib.g_variant_get_type_string(variant).decode()
    if kind in _VARIANT_NUMBERS:
        number = getattr(glib, "g_variant_get_" + _VARIANT_NUMBERS[kind])(variant)
        return bool(number) if kind == "b" else number
    if kind in ("s", "o", "g"):
        return _decoded(glib.g_variant_get_string(variant, None))
    children = []
    for index in range(glib.g_variant_n_children(variant)):
        child = glib.g_variant_get_child_value(variant, index)
        children.append(_variant_value(child))
        glib.g_variant_unref(child)
    if kind[0] == "v" or kind[0] == "m":
        return children[0] if children else None
    if kind.startswith("a{"):
        return dict(children)
    return children if kind[0] == "a" else tuple(children)


def _parsed_variant(text, what):
    error = c_void_p()
    variant = _glib().g_variant_parse(None, _encoded(text, what), None, None, ctypes.byref(error))
    if not variant:
        _glib().g_error_free(error)
        raise ValueError(f"{what}: {text!r} is no GVariant in text form, such as \"('a text', 3)\"")
    return _glib().g_variant_ref_sink(variant)


# ---- Kinds of arguments -------------------------------------------------------------------------------------------


class _Kind:
    """How one Python argument becomes C arguments. prepare() gives them; release() is called behind the call."""

    visible = True
    default = inspect.Parameter.empty

    def __init__(self, *ctypes_taken):
        self.ctypes_taken = ctypes_taken

    def release(self, arguments):
        pass


class _Number(_Kind):
    def prepare(self, value, what):
        return [_in_range(value, self.ctypes_taken[0], what)]


class _Text(_Kind):
    def __init__(self, room=None, default=inspect.Parameter.empty):
        super().__init__(c_char_p)
        self.room = room
        self.default = default

    def prepare(self, value, what):
        if value is None and self.default is None:
            return [None]
        return [_encoded(value, what, self.room)]


class _WritableText(_Kind):
    """A text that the function may change: a copy."""

    def __init__(self):
        super().__init__(c_char_p)

    def prepare(self, value, what):
        return [ctypes.cast(ctypes.create_string_buffer(_encoded(value, what)), c_char_p)]


class _Texts(_Kind):
    def __init__(self):
        super().__init__(POINTER(c_char_p), c_int)

    def prepare(self, value, what):
        if isinstance(value, (str, bytes)):
            raise TypeError(f"{what}: a sequence of texts is wanted")
        texts = [_encoded(text, what) for text in value]
        return [(c_char_p * len(texts))(*texts), len(texts)]


class _Bytes(_Kind):
    def __init__(self):
        super().__init__(c_void_p, c_uint32)

    def prepare(self, value, what):
        data = bytes(value)
        return [ctypes.cast(ctypes.create_string_buffer(data, len(data) or 1), c_void_p), len(data)]


class _RecordArray(_Kind):
    def __init__(self, cls):
        super().__init__(POINTER(cls.structure), c_int)
        self.cls = cls

    def prepare(self, value, what):
        if isinstance(value, (str, bytes)):
            raise TypeError(f"{what}: a sequence of {self.cls.__name__} is wanted")
        records = [_to_structure(self.cls, record) for record in value]
        return [(self.cls.structure * len(records))(*records), len(records)]


class _Out(_Kind):
    """A pointer through which the function answers; -1 or null where it did not. Invisible unless it counts on from
    a value."""

    def __init__(self, ctype, default=None):
        super().__init__(POINTER(ctype))
        self.ctype = ctype
        self.unanswered = () if ctype is c_void_p else (-1,)
        self.visible = default is not None
        if self.visible:
            self.default = default

    def prepare(self, value, what):
        if self.visible:
            return [ctypes.pointer(self.ctype(_in_range(value, self.ctype, what)))]
        return [ctypes.pointer(self.ctype(*self.unanswered))]

    def answer(self, argument):
        return argument.contents.value


class _Variant(_Kind):
    """An argument tuple in GVariant's text form."""

    default = None

    def __init__(self):
        super().__init__(c_void_p)

    def prepare(self, value, what):
        return [None if value is None else _parsed_variant(value, what)]

    def release(self, arguments):
        if arguments[0]:
            _glib().g_variant_unref(arguments[0])


class _RemoteError(_Kind):
    """The (name, message) of a D-Bus error."""

    def __init__(self):
        super().__init__(c_void_p)

    def prepare(self, value, what):
        if value is None:
            return [None]
        name, message = value
        return [_gio().g_dbus_error_new_for_dbus_error(_encoded(name, what), _encoded(message, what))]

    def release(self, arguments):
        if arguments[0]:
            _glib().g_error_free(arguments[0])


_int32 = _Number(c_int)
_uint32 = _Number(c_uint32)
_text_in = _Text()
_optional = _Text(default=None)
_count = _Out(c_int)
_ucount = _Out(c_uint32)
_writable = _WritableText()
_texts_in = _Texts()


# ---- Kinds of results ---------------------------------------------------------------------------------------------


class _Call:
    """One call that was made: what came back."""

    def __init__(self, function, answer, arguments, errno):
        self.function = function
        self.answer = answer
        self.errno = errno
        self.outs = [kind.answer(values[0]) for kind, values in arguments if isinstance(kind, _Out)]

    def fail(self, code, meaning=""):
        if self.errno == error_numbers.ENOMEM:
            raise MemoryError(self.function)
        raise TreskError(self.function, code, meaning, self.errno)


class _Result:
    restype = c_int

    def __init__(self, says, take):
        self.says = says
        self.take = take


def _status(meanings=None, says="the answer (0: done). TreskError for a negative one."):
    meanings = meanings or {}

    def take(call):
        if call.answer < 0:
            call.fail(call.answer, meanings.get(call.answer, ""))
        return call.answer

    return _Result(says, take)


def _number(says, restype=c_int):
    result = _Result(says, lambda call: call.answer)
    result.restype = restype
    return result


def _yes_no(yes, no, says="True or False. TreskError where that could not be found out."):
    def take(call):
        if call.answer in (yes, no):
            return call.answer == yes
        return call.fail(call.answer)

    return _Result(says, take)


def _take_text(call):
    if not call.answer:
        if call.errno == error_numbers.ENOMEM:
            raise MemoryError(call.function)
        return None
    try:
        return _decoded(ctypes.string_at(call.answer))
    finally:
        _libc().free(call.answer)


def _pointer_result(says, take, restype=c_void_p):
    result = _Result(says, take)
    result.restype = restype
    return result


_NOT_READ = "the policy could not be read"
_THE_SAME_WITHOUT = "Also empty where the library could not tell: its answer is the same then."


def _records(cls, null_is_empty=False):
    """A list. Without an array the count tells: 0 where there is nothing, unwritten where reading failed, which some
    listings do in both cases."""

    def take(call):
        count = call.outs[0]
        if not call.answer:
            if call.errno == error_numbers.ENOMEM or not (count == 0 or null_is_empty):
                call.fail(-1, _NOT_READ)
            return []
        try:
            array = ctypes.cast(call.answer, POINTER(cls.structure))
            return [_from_structure(cls, array[index]) for index in range(count)]
        finally:
            _libc().free(call.answer)

    ending = _THE_SAME_WITHOUT if null_is_empty else "TreskError where it cannot be read."
    result = _pointer_result(f"a list of {cls.__name__}. {ending}", take)
    result.record = cls
    return result


def _one(cls):
    def take(call):
        if not call.answer:
            if call.errno == error_numbers.ENOMEM:
                raise MemoryError(call.function)
            return None
        try:
            return _from_structure(cls, ctypes.cast(call.answer, POINTER(cls.structure)).contents)
        finally:
            _libc().free(call.answer)

    result = _pointer_result(f"a {cls.__name__}, or None where there is none or the policy could not be read.", take)
    result.record = cls
    return result


def _texts_out():
    def take(call):
        if not call.answer:
            call.fail(-1)
        texts = ctypes.cast(call.answer, POINTER(c_void_p))
        found = []
        for index in range(call.array_lengths[0]):
            found.append(_decoded(ctypes.string_at(texts[index])) if texts[index] else None)
            _libc().free(texts[index])
        _libc().free(call.answer)
        return found

    return _pointer_result("a list with a text, or None, for each path. TreskError where nothing came.", take)


def _take_reply(call):
    if not call.answer:
        code = call.outs[0]
        return None if code == 0 else call.fail(code)
    try:
        return _variant_value(call.answer)
    finally:
        _glib().g_variant_unref(call.answer)


def _take_counted(call):
    if call.answer < 0:
        call.fail(call.answer)
    return call.outs[0]


def _take_action(call):
    if call.answer < 0:
        call.fail(call.answer, "the configuration could not be read")
    address = call.outs[0]
    if not address:
        return None
    try:
        return _decoded(ctypes.string_at(address))
    finally:
        _libc().free(address)


def _take_pair(call):
    if call.answer != 1:
        call.fail(call.answer, "the status could not be read")
    return tuple(call.outs)


def _take_many(call):
    if call.answer < 0 or call.errno == error_numbers.ENOMEM and call.answer == 0:
        call.fail(call.answer)
    return call.answer


_done = _status()
_answer = _status(says="the service's answer. TreskError for a negative one.")
_nothing = _Result("nothing.", lambda call: None)
_nothing.restype = None
_text_out = _pointer_result("a text, or None where there is none or the call failed.", _take_text)
_hash_out = _pointer_result("64 hexadecimal digits.", _take_text)
_reply = _pointer_result("the reply's values as a tuple, or None for the service's \"OK\". TreskError else.",
                         _take_reply)
_counted = _Result("the number, added to the one given. TreskError for an unreadable policy.", _take_counted)
_action = _Result("the text behind the \"=\", or None without a setting. TreskError for an unreadable file.",
                  _take_action)
_pair = _Result("(security status, state of module 3). TreskError unless both were read.", _take_pair)
_many = _Result("how many were done. TreskError for a negative answer.", _take_many)
_label = _status({-1: "a path that cannot be made absolute, or an unknown label", -2: "present already",
                  -3: "not present"})
_kmod_file = _status({-2: "the module's name cannot be read", -3: "the scene library failed"})
_kernel = _status({-1: "the exchange with the kernel module failed",
                   -2: "the kernel's framework version is below 4.2"},
                  "0: the kernel module answered, or nothing was to be sent. TreskError else.")


# ---- The table ----------------------------------------------------------------------------------------------------

PARAMETERS = {
    "path": "path of the file or program", "file": "policy file to read", "label": "the label",
    "mode": "0 ordinary, 1 the \"sm\" side", "data_source": "name of the requesting source",
    "type": "the type", "name": "the name", "hash": "path hash, 64 hexadecimal digits",
    "uid": "user id", "ico": "icon", "desktop": "desktop entry", "server_type": "kind of service",
    "pkg": "package name", "rpm_name": "package name", "list": "the list, such as \"white\" or \"black\"",
    "dtype": "type of device, or 0", "utype": "USB type", "dpid": "product id, or 0", "dvid": "vendor id, or 0",
    "dperm": "permission", "serial": "serial number", "ssid": "name of the network", "value": "the value",
    "parameters": "the arguments as a GVariant in text form, such as \"('a text', 3)\"",
    "error": "(name, message) of a D-Bus error", "records": "the records, or tuples of their fields",
    "policies": "the records, or tuples of their fields",
    "count": "number to count on from", "data": "the bytes", "paths": "the paths",
    "extra": "not used", "status": "0 off, else on",
}


class Row(typing.NamedTuple):
    """One function of the library."""

    symbol: str
    result: _Result
    about: str
    parameters: dict

    @property
    def name(self):
        return python_name(self.symbol)

    @property
    def argtypes(self):
        return [ctype for kind in self.parameters.values() for ctype in kind.ctypes_taken]


def python_name(symbol):
    """The Python name of a C function."""
    plain = re.sub(r"^_?(tresk_)?|_dbus$", "", symbol)
    return re.sub(r"(?<=[a-z])([A-Z])", lambda found: "_" + found[1].lower(), plain)


FUNCTIONS = {}
"""The rows by their C names."""


def _documentation(row):
    shown = [f"    {name}: {PARAMETERS.get(name, 'sent as it is')}"
             for name, kind in row.parameters.items() if kind.visible]
    return "\n".join([row.about[0].upper() + row.about[1:] + ".", ""] + shown + [f"    Returns {row.result.says}", "",
                     f"    C function: {row.symbol}"])


def _signature(row):
    """The visible parameters. A default counts only where none follows that has to be given."""
    backwards = []
    may_default = True
    for name, kind in reversed([item for item in row.parameters.items() if item[1].visible]):
        may_default = may_default and kind.default is not inspect.Parameter.empty
        default = kind.default if may_default else inspect.Parameter.empty
        backwards.append(inspect.Parameter(name, inspect.Parameter.POSITIONAL_OR_KEYWORD, default=default))
    return inspect.Signature(backwards[::-1])


def _c_function(row):
    function = getattr(library(), row.symbol)
    function.argtypes, function.restype = row.argtypes, row.result.restype
    return function


def _released(prepared):
    for kind, values in prepared:
        kind.release(values)


def _make(row):
    signature = _signature(row)
    load = functools.lru_cache(maxsize=None)(lambda: _c_function(row))

    def function(*args, **kwargs):
        bound = signature.bind(*args, **kwargs)
        bound.apply_defaults()
        call_it = load()
        prepared = []
        try:
            for name, kind in row.parameters.items():
                prepared.append((kind, kind.prepare(bound.arguments.get(name), name)))
            ctypes.set_errno(0)
            answer = call_it(*(value for _, values in prepared for value in values))
            call = _Call(row.name, answer, prepared, ctypes.get_errno())
            call.array_lengths = [values[1] for _, values in prepared if len(values) == 2]
            return row.result.take(call)
        finally:
            _released(prepared)

    function.__name__ = function.__qualname__ = row.name
    function.__doc__ = _documentation(row)
    function.__signature__ = signature
    function.__module__ = __name__
    return function


def _define(symbol, result, about, **parameters):
    row = Row(symbol, result, about, parameters)
    FUNCTIONS[symbol] = row
    globals()[row.name] = _make(row)


# Calling the service

_define("process_dbus_method", _reply, "call a method of the framework's service",
        object_path=_text_in, interface_name=_text_in, method_name=_text_in, parameters=_Variant(),
        error_code=_count)
_define("process_dbus_other_method", _reply, "call a method of another service on the system bus",
        service_name=_text_in, object_path=_text_in, interface_name=_text_in, method_name=_text_in,
        parameters=_Variant(), error_code=_count)
_define("handling_dbus_error", _number("the status code as a number."),
        "the status code of a D-Bus error, which is logged and recorded", error=_RemoteError())

# Status, configuration and module switches

_define("tresk_setstatus", _done, "switch the framework as a whole", status=_int32)
_define("tresk_set_func_status", _done, "switch one protection function (0 exectl, 1 netctl, 2 fpro, 3 kmodpro, "
        "4 3adm, 5 ppro, 6 devctl, 8 tpm, 9 sm, 10 pblk)", function_index=_int32, status=_int32)
_define("tresk_conf_add", _answer, "ask the service to add its configuration entries")
_define("tresk_conf_remove", _answer, "ask the service to remove its configuration entries")
_define("tresk_conf_set", _answer, "set one configuration entry", name=_text_in, value=_int32)
_define("getModuleStatus_dbus", _answer, "the configured state of a module", module=_int32)
_define("setModuleStatus_dbus", _answer, "change a module's state", first=_int32, second=_int32, third=_int32,
        fourth=_int32, fifth=_int32)
_define("setModuleStatusReboot_dbus", _answer, "change a module's state from the next boot on", first=_int32,
        second=_int32, third=_int32, fourth=_int32, fifth=_int32, sixth=_int32)
_define("getCurModuleStatus_dbus", _answer, "the state a module is really in", module=_int32)
_define("getCurSecurityStatusForVexDefender", _number("the status; 0 also when the call failed."),
        "the current security status")
_define("getSecurityStatusForVexDefender", _pair, "the configured security status and the state of module 3",
        first=_count, second=_count)
_define("setSecurityForVexDefender", _number("the answer; 0 also when the call failed."),
        "change the security status", first=_int32, second=_int32)
_define("setSecurityForVexDefenderReboot", _number("the answer; 0 also when the call failed."),
        "change the security status from the next boot on", first=_int32, second=_int32, third=_int32)
_define("setSelinuxPolicy", _answer, "choose the SELinux policy", policy=_text_in)
_define("checkSecuritySwitchReboot_dbus", _answer, "whether a security switch takes effect after a reboot",
        value=_int32)
_define("checkSetModuleStatusReboot_dbus", _answer, "whether a module's change takes effect after a reboot",
        first=_int32, second=_int32)
_define("processctrlPolkitForSetModuleStatus_dbus", _answer, "have the user authorised for a module's change",
        first=_int32, second=_int32)
_define("getBootMode_dbus", _number("0, always."), "the boot mode; asks nobody")
_define("tresk_netflow_perm_check", _answer, "ask for the network-flow permission")

# File labels

_define("tresk_label_set", _label, "give a file its execution label attribute", path=_text_in)
_define("tresk_protect_set_zdk", _label, "protect a file (\"readonly\", \"verify\") or end its protection (\"none\")",
        path=_text_in, label=_text_in, mode=_int32, extra=_optional)
_define("tresk_protect_set", _label, "protect a file (\"readonly\", \"verify\") or end its protection (\"none\")",
        path=_text_in, label=_text_in)
_define("tresk_protect_set_sm", _label, "protect_set() of the \"sm\" side", path=_text_in, label=_text_in)
_define("tresk_protect_set_for_dir_zdk", _label, "protect all files below a directory, or end their protection",
        path=_text_in, label=_text_in, mode=_int32, extra=_optional)
_define("tresk_protect_set_for_dir", _label, "protect all files below a directory, or end their protection",
        path=_text_in, label=_text_in)
_define("tresk_protect_set_for_dir_sm", _label, "protect_set_for_dir() of the \"sm\" side",
        path=_text_in, label=_text_in)
_define("tresk_identify_set", _label, "deny a path to all users, and give it to a role (\"secadm\", \"audadm\"; "
        "\"none\": to no role)", path=_text_in, label=_text_in)
_define("tresk_exectl_set", _label, "put a file on execution control's white list, or take it off (\"unknown\")",
        path=_text_in, label=_text_in)
_define("tresk_check_user_valid", _answer, "have the service check a user's credential through PAM",
        user=_text_in, credential=_text_in)
_define("tresk_protect_multi_set", _many, "protect many files, or end their protection; the first label decides",
        records=_RecordArray(LabelRecord))
_define("tresk_identify_multi_set", _many, "deny paths to all users and give them to roles; each label counts",
        records=_RecordArray(LabelRecord))
_define("tresk_exectl_multi_set", _done, "put many files on execution control's white list, or take them off; the "
        "first label decides", records=_RecordArray(LabelRecord))
_define("tresk_exectl_multi_set_for_dpkg", _done, "give many files their execution label attribute",
        records=_RecordArray(DpkgLabelRecord))
_define("tresk_fpro_clear_policy_zdk", _done, "end the protection of all files")

# File hashes

_define("tresk_calc_file_hash_value", _text_out, "have the service compute a file's hash", path=_text_in)
_define("tresk_get_file_hash_value", _text_out, "a file's hash that the service stored", path=_text_in)
_define("tresk_calc_multi_file_hash_value", _texts_out(), "have the service compute the hashes of many files",
        paths=_texts_in)
_define("tresk_get_multi_file_hash_value", _texts_out(), "the hashes of many files that the service stored",
        paths=_texts_in)

# Kernel module protection

_define("get_kmod_name_from_ko", _text_out, "a kernel module's name, read from its file", path=_text_in)
for _form in ("", "_sm", "_zdk"):
    _define("add_to_kmod_protect" + _form, _kmod_file, "protect the kernel module of a file", path=_text_in)
    _define("remove_from_kmod_protect" + _form, _kmod_file, "end the protection of the kernel module of a file",
            path=_text_in)
    _define("add_kmod_to_kmod_protect" + _form, _done, "protect a kernel module", name=_text_in)
    _define("remove_kmod_from_kmod_protect" + _form, _done, "end the protection of a kernel module", name=_text_in)


def _take_owner(call):
    return call.answer == 0 if call.answer >= 0 else call.fail(call.answer)


_define("check_kmod_in_sm", _Result("True or False. TreskError where the service gave no answer.", _take_owner),
        "whether a kernel module belongs to the \"sm\" side's data", name=_text_in)
_define("tresk_xattr_check_kmod_del_from_kernel", _done, "not offered in this release: always TreskError (-1000)",
        name=_text_in, mode=_uint32, extra=_optional)

# Kernel notifications

_define("get_tid", _number("the id.", c_int64), "the calling thread's kernel thread id")
_define("tresk_hash_communicate_with_kernel", _kernel, "tell the kernel module about a changed hash",
        type=_uint32, hash=_text_in, value=_uint32)
_define("tresk_ppro_communicate_with_kernel_zdk", _kernel, "tell the kernel module about a protected process",
        type=_uint32, hash=_text_in, value=_uint32, mode=_int32, data_source=_optional)
_define("tresk_ppro_communicate_with_kernel", _kernel, "tell the kernel module about a protected process",
        type=_uint32, hash=_text_in, value=_uint32)
_define("tresk_ppro_communicate_with_kernel_sm", _kernel, "the same for the \"sm\" side",
        type=_uint32, hash=_text_in, value=_uint32)
_define("tresk_netctl_communicate_with_kernel", _kernel, "tell the kernel module about a network control entry",
        type=_uint32, hash=_text_in, value=_uint32)
_define("tresk_pblk_communicate_with_kernel_zdk", _kernel, "tell the kernel module about a blocked program",
        type=_uint32, hash=_text_in, mode=_int32, data_source=_text_in)
_define("tresk_pblk_communicate_with_kernel", _kernel, "tell the kernel module about a blocked program",
        type=_uint32, hash=_text_in)
_KMOD_NAME = _Text(room=1000)  # a longer one would end the process
_define("tresk_kmod_communicate_with_kernel_zdk", _kernel, "tell the kernel module about a protected kernel module",
        type=_uint32, name=_KMOD_NAME, mode=_int32, extra=_optional)
_define("tresk_kmod_communicate_with_kernel", _kernel, "the same, unless the module is the \"sm\" side's",
        type=_uint32, name=_KMOD_NAME)
_define("tresk_kmod_communicate_with_kernel_sm", _kernel, "the same for the \"sm\" side",
        type=_uint32, name=_KMOD_NAME)
_define("tresk_devctl_communicate_with_kernel", _kernel, "tell the kernel module about a device policy",
        type=_uint32, data=_Bytes())
_define("tresk_convert_exectl_label_to_label_type", _number("the number."),
        "the kernel's number of an execution label", label=_text_in)

# Network control

_define("tresk_netctl_read_all_data_inner", _records(NetctlNodeData), "every user's entries in a file",
        file=_text_in, count=_ucount)
_define("tresk_netctl_read_all_data", _records(NetctlNodeData), "every user's entries", count=_ucount)
_define("tresk_netctl_read_all_data_with_uid_inner", _records(NetctlNode), "a user's entries in a file",
        uid=_int32, file=_text_in, count=_ucount)
_define("tresk_netctl_read_all_data_with_uid", _records(NetctlNode), "a user's entries",
        uid=_uint32, count=_ucount)
_define("tresk_netctl_ext_read_all_data_with_uid_inner", _records(NetctlExtNode),
        "a user's entries in a file, with desktop entries", uid=_int32, file=_text_in, count=_count)
_define("tresk_netctl_ext_read_all_data_with_uid", _records(NetctlExtNode), "a user's entries, with desktop entries",
        uid=_uint32, count=_count)
_define("tresk_netctl_read_node_with_uid", _one(NetctlNode), "the entry of a path", uid=_uint32, path=_text_in)
_define("tresk_netctl_ext_read_node_with_uid", _one(NetctlExtNode), "the entry of a path, with desktop entry",
        uid=_uint32, path=_text_in)
_define("tresk_netctl_get_path_hash", _hash_out, "the hash under which a program's network policy is kept",
        path=_text_in, uid=_int32)
_define("tresk_netctl_get_user_distinguish", _done,
        "read the policy's per-user setting, which is kept in user_distinguish()")
_define("tresk_netctl_add", _done, "put a program under network control", uid=_uint32, path=_text_in, type=_int32,
        name=_optional, ico=_optional, server_type=_int32)
_define("tresk_netctl_ext_add", _done, "put a program under network control, with desktop entry", uid=_uint32,
        path=_text_in, type=_int32, name=_optional, ico=_optional, desktop=_optional, server_type=_int32)
_define("tresk_netctl_remove", _done, "end a program's network control", uid=_uint32, path=_text_in)
_define("tresk_netctl_update", _done, "change a program's network control", uid=_uint32, path=_text_in,
        type=_int32, name=_optional, ico=_optional, server_type=_int32)
_define("tresk_netctl_ext_update", _done, "change a program's network control, with desktop entry", uid=_uint32,
        path=_text_in, type=_int32, name=_optional, ico=_optional, desktop=_optional, server_type=_int32)
_define("tresk_netctl_set_user_distinguish", _done, "change the policy's per-user setting", value=_uint32)

# Network control of packages

_define("tresk_netctl_pkg_read_all_data_with_uid_inner", _records(NetctlPackage), "a user's package rules in a file",
        uid=_uint32, file=_text_in, count=_ucount)
_define("tresk_netctl_pkg_read_all_data_with_uid", _records(NetctlPackage), "a user's package rules",
        uid=_uint32, count=_ucount)
_define("tresk_netctl_pkg_read_node_with_uid", _one(NetctlPackage), "the rule of a package",
        uid=_uint32, pkg=_text_in)
_define("tresk_netctl_pkg_path_read_node_with_uid", _one(NetctlPackagePath),
        "the rule of a package, with its program file", uid=_uint32, pkg=_text_in)
_define("tresk_netctl_pkg_add", _done, "put a package under network control", uid=_uint32, pkg=_text_in,
        type=_int32, ico=_optional, desktop=_optional, server_type=_int32)
_define("tresk_netctl_pkg_remove", _done, "end a package's network control", uid=_uint32, pkg=_text_in)
_define("tresk_netctl_pkg_update", _done, "change a package's network control", uid=_uint32, pkg=_text_in,
        type=_int32, ico=_optional, desktop=_optional, server_type=_int32)
_define("tresk_netctl_pkg_path_update", _done, "change a package's network control and program file", uid=_uint32,
        pkg=_text_in, path=_text_in, type=_int32, ico=_optional, desktop=_optional, server_type=_int32)
_define("tresk_netctl_pkg_path_add", _done, "not offered: always TreskError (-1000)")
_define("check_pkg_is_install", _yes_no(1, 0), "whether a package is installed", pkgname=_text_in)
_define("check_program_is_exist", _yes_no(1, 0), "whether a file exists", name=_text_in)

# Process protection

_define("tresk_ppro_get_path_hash", _hash_out, "the hash under which a path is kept", path=_text_in)
_define("tresk_ppro_read_all_data_with_file", _records(PproNode), "the ordinary entries of a file",
        file=_writable, count=_count)
_define("tresk_ppro_read_all_data_with_file_sm", _records(PproNode), "all entries of a file",
        file=_writable, count=_count)
_define("tresk_ppro_read_all_data_internal", _records(PproNode), "the ordinary entries (mode 0) or all",
        count=_count, mode=_int32)
_define("tresk_ppro_read_all_data", _records(PproNode), "the ordinary entries", count=_count)
_define("tresk_ppro_read_all_data_sm", _records(PproNode), "all entries", count=_count)
_define("tresk_ppro_read_all_data_with_file_zdk", _records(PproNode), "a file's entries of one owner and source",
        file=_text_in, count=_count, mode=_int32, data_source=_optional)
_define("tresk_ppro_read_all_data_zdk", _records(PproNode), "the entries of one owner and source",
        count=_count, mode=_int32, data_source=_optional)
_define("tresk_ppro_read_node_with_path_internal", _one(PproNode), "the entry of a path (mode 0: an ordinary one)",
        path=_text_in, mode=_int32)
_define("tresk_ppro_read_node_with_path", _one(PproNode), "the ordinary entry of a path", path=_text_in)
_define("tresk_ppro_read_node_with_path_sm", _one(PproNode), "the entry of a path, whoever owns it", path=_text_in)
_define("tresk_ppro_read_node_with_path_zdk", _one(PproNode), "the entry of a path, owner and source",
        path=_text_in, mode=_int32, data_source=_optional)
_define("tresk_ppro_read_node_with_hash_zdk", _one(PproNode),
        "the look-up before a type-10 notification, which passes over the entries with that hash",
        hash=_text_in, mode=_int32, data_source=_optional)
_define("tresk_ppro_check_in_sm", _yes_no(0, -1, "True, or False (also for an unreadable policy)."),
        "whether an entry with this hash belongs to the \"sm\" side", hash=_text_in)
_define("tresk_ppro_get_same_node_by_hash", _counted, "count entries with a hash (from 0: in the first node alone)",
        hash=_text_in, count=_Out(c_int, 0))
_define("tresk_ppro_get_action", _action, "the \"action\" setting of \"/etc/tresk/ppro/ppro.conf\"",
        action=_Out(c_void_p))
_define("ppro_path_in_blacklist", _yes_no(1, 0), "whether a path may not be protected", path=_writable)
_define("tresk_ppro_add_zdk", _done, "protect a program; 1: the scene has it already", path=_text_in, type=_int32,
        mode=_int32, data_source=_text_in)
_define("tresk_ppro_remove_zdk", _done, "end a program's protection", path=_text_in, mode=_int32,
        data_source=_text_in)
_define("tresk_ppro_update_zdk", _done, "change the type of a program's protection", path=_text_in, type=_int32,
        mode=_int32, data_source=_text_in)
for _form, _whose in (("", ""), ("_sm", " as the \"sm\" side")):
    _define("tresk_ppro_add" + _form, _done, f"protect a program{_whose}; 1: the scene has it already",
            path=_text_in, type=_int32)
    _define("tresk_ppro_remove" + _form, _done, f"end a program's protection{_whose}", path=_text_in)
    _define("tresk_ppro_update" + _form, _done, f"change the type of a program's protection{_whose}",
            path=_text_in, type=_int32)
_define("tresk_ppro_remove_internal", _done, "older form of removing: the service alone, no source",
        path=_text_in, mode=_int32)
_define("tresk_ppro_update_internal", _done, "older form of updating: no source", path=_text_in, type=_int32,
        mode=_int32)
_define("tresk_get_pid_by_path",
        _status({-1: "no such process, or the call failed"}, "the id. TreskError without one."),
        "the process id of a running program", path=_text_in)

# Process blocking

_define("tresk_pblk_get_path_hash", _hash_out, "the hash under which a path is kept", path=_text_in)
_define("tresk_pblk_read_all_data_with_file", _records(PblkNode), "a file's entries", file=_text_in, count=_count)
_define("tresk_pblk_read_all_data", _records(PblkNode), "all entries", count=_count)
_define("tresk_pblk_read_all_data_with_file_zdk", _records(PblkNode), "a file's entries of one source, without hashes",
        file=_text_in, type=_int32, name=_text_in, count=_count)
_define("tresk_pblk_read_all_data_zdk", _records(PblkNode), "the entries of one source, without hashes",
        type=_int32, name=_text_in, count=_count)
_define("tresk_pblk_read_node_with_path_zdk", _one(PblkNode), "the entry of a path and source",
        path=_text_in, type=_int32, name=_text_in)
_define("tresk_pblk_read_node_with_path", _one(PblkNode), "the entry of a path of source type 1 and name \"\"",
        path=_text_in)
_define("tresk_pblk_read_node_with_hash_zdk", _one(PblkNode), "the entry of a hash and source",
        hash=_text_in, type=_int32, name=_text_in)
_define("tresk_pblk_get_same_node_by_hash", _counted, "count entries with a hash, to 2 from 0",
        hash=_text_in, count=_Out(c_int, 0))
_define("tresk_pblk_add_zdk", _done, "block a program; 1: the scene has it already", path=_writable, type=_int32,
        name=_text_in)
_define("tresk_pblk_add", _done, "block a program, of source type 1 and name \"\"; 1: the scene has it already",
        path=_writable)
_define("tresk_pblk_remove_zdk", _done, "unblock a program", path=_writable, type=_int32, name=_text_in)
_define("tresk_pblk_remove", _done, "unblock a program, of source type 1 and name \"\"", path=_writable)

# Device control

_define("tresk_devctl_add_perm", _done, "add a device policy, by type or by product and vendor id", dtype=_uint32,
        utype=_uint32, dpid=_uint32, dvid=_uint32, record_utype=_uint32, serial=_optional, display_name=_optional,
        dperm=_int32)
_define("tresk_devctl_remove_perm", _done, "remove a device policy", dtype=_uint32, utype=_uint32, dpid=_uint32,
        dvid=_uint32, serial=_optional, dperm=_int32)
_define("tresk_devctl_update_perm", _done, "replace the permission of a device policy by 1, 2 or 5", dtype=_uint32,
        utype=_uint32, dpid=_uint32, dvid=_uint32, serial=_optional, display_name=_optional, dperm=_int32)
_define("tresk_devctl_wireless_ctl_add", _done, "permit a wireless network", ssid=_text_in)
_define("tresk_devctl_wireless_ctl_del", _done, "no longer permit a wireless network", ssid=_text_in)
_define("tresk_devctl_batch_add_perm", _done, "add many device policies", policies=_RecordArray(DevicePolicy))
_define("tresk_devctl_sm_add_perm", _done, "add a policy by type in the scene library's numbers",
        device_class=_uint32, subtype=_uint32, perm=_uint32)
_define("tresk_devctl_sm_remove_perm", _done, "remove a policy by type in the scene library's numbers",
        device_class=_uint32, subtype=_uint32, perm=_uint32)
_define("tresk_devctl_read_all_dev_data", _records(DevicePolicy), "all device policies", count=_count)
_define("tresk_devctl_read_not_special_data", _records(DevicePolicy, True), "the policies by type", count=_count)
_define("tresk_devctl_read_special_xmldata", _records(DevicePolicy, True), "the policies by product and vendor id",
        count=_count)
_define("tresk_devctl_read_all_ssid_data", _records(WirelessName), "the permitted wireless networks", count=_count)
_define("tresk_devctl_sm_get_no_special", _records(DevicePolicyShort), "the policies by type, as short records",
        count=_count)
_define("tresk_devctl_sm_read_special_xmldata", _records(DevicePolicyShort),
        "the policies by product and vendor id, as short records", count=_count)
_define("device_record_get", _records(DeviceRecord, True), "the devices seen in the last 60 days, newest first",
        count=_count)
_define("tresk_devctl_xdg_insert_record", _done, "have the service add devices to the record",
        records=_RecordArray(DeviceRecord))
_define("tresk_devctl_auto_sync_config", _number("0."), "does nothing in this release")
_define("tresk_devctl_read_sys_devinfo", _number("None.", c_void_p), "does nothing in this release")
_define("tresk_devctl_rebind_usb_device", _number("0."), "does nothing in this release")
_define("tresk_devctl_get_sm", _nothing, "does nothing in this release")
_define("tresk_devctl_sm_clean_all_policies", _nothing, "does nothing in this release")
_define("tresk_devctl_load_vex_policies", _nothing, "does nothing in this release")

# Package black and white lists

_define("tresk_bwlist_add_zdk", _done, "put a package on a list", list=_text_in, rpm_name=_text_in, type=_int32,
        name=_text_in)
_define("tresk_bwlist_del_zdk", _done, "take a package off a list", list=_text_in, rpm_name=_text_in, type=_int32,
        name=_text_in)
_define("tresk_bwlist_get_root_distinguish_zdk", _answer, "a source's root switch", type=_int32, name=_optional)
_define("tresk_bwlist_set_root_distinguish_zdk", _done, "change a source's root switch", value=_int32, type=_int32,
        name=_text_in)
_define("tresk_bwlist_clear_policy_zdk", _done, "clear the lists of a source's entries", type=_int32, name=_text_in)
_define("tresk_bwlist_select_by_rpm_name_zdk",
        _status(says="1 found, 0 not; for \"bwlist\" in mode 3: 2 white-listed and not black-listed, else 3."),
        "look a package up (mode 3: whatever the source, else the source's type)", list=_text_in,
        rpm_name=_text_in, mode=_int32, name=_optional)
_define("_bwlist_unite_select_by_rpm_name", _yes_no(1, 0), "whether a package is on a list, whatever its source",
        list=_text_in, rpm_name=_text_in)
_define("_bwlist_independence_select_by_rpm_name", _yes_no(1, 0), "whether a package of a source is on a list",
        list=_text_in, rpm_name=_text_in, type=_int32, name=_text_in)


# ---- The variable -------------------------------------------------------------------------------------------------


def user_distinguish():
    """The library's copy of "network control is kept per user": 0 no, else yes.

    It is 0 until netctl_get_user_distinguish() reads the policy or set_user_distinguish() sets it; every reader of
    network control goes by it.
    """
    return c_int32.in_dll(library(), "user_distinguish").value


def set_user_distinguish(value):
    """Sets the library's copy, for this process alone; netctl_set_user_distinguish() changes the policy."""
    c_int32.in_dll(library(), "user_distinguish").value = _in_range(value, c_int32, "value")


VARIABLES = {"user_distinguish"}

__all__ = sorted([row.name for row in FUNCTIONS.values()] + [cls.__name__ for cls in RECORDS.values()]
                 + ["Status", "TreskError", "set_user_distinguish", "user_distinguish"])
