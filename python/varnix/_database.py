"""Reads of parameters."""

import ctypes
import os
from types import TracebackType
from typing import Any, List, Optional, Type, Union

from . import _library
from ._library import library

Key = Union[str, bytes]
Value = Union[List[int], str]


class NoDatabaseError(RuntimeError):
    """A database cannot be built: of its configuration, one of its files, or the production database.

    The command "varnix explain" says why, and so does "varnix trace" while it happens.
    """


def _bytes_of(text: object, what: str) -> bytes:
    if isinstance(text, str):
        text = text.encode("utf-8", "surrogateescape")
    if not isinstance(text, bytes):
        raise TypeError(f"{what} must be str or bytes, not {type(text).__name__}")
    if not text:
        raise ValueError(f"{what} must not be empty")
    if b"\0" in text:
        raise ValueError(f"{what} must not hold a NUL")
    return text


def _check(status: int) -> None:
    """Raises what a status means that depends on neither key nor type."""
    if status == _library.OUT_OF_MEMORY:
        raise MemoryError
    if status != _library.OK:
        name = library.varnix_status_name(status).decode()
        raise (ValueError if status == _library.BAD_ARGUMENT else RuntimeError)(name)


class _Handle:
    """Lives as long as somebody reads through it, so that closing cannot end it under a read."""

    def __init__(self, configuration: bytes) -> None:
        self.pointer = ctypes.c_void_p()
        status = library.varnix_open(configuration, ctypes.byref(self.pointer))
        if status == _library.NO_DATABASE:
            raise NoDatabaseError(
                f"no database from {os.fsdecode(configuration)!r}; "
                "varnix explain or varnix trace says why"
            )
        _check(status)

    def __del__(self, close: Any = library.varnix_close) -> None:
        if self.pointer:
            close(self.pointer)


class Database:
    """The parameters of one component, with the node's production database in front of them.

    Database(configuration) reads the configuration file at a path. Raises NoDatabaseError where the
    library gives no database, ValueError for an empty path, and TypeError for what is no path.

    Every read takes the key as str or bytes and raises KeyError where no file holds it, TypeError
    where it has another type than the read's, ValueError for an empty key and for a closed database,
    and MemoryError.
    """

    def __init__(self, configuration: Union[str, bytes, "os.PathLike[str]"]) -> None:
        self._handle: Optional[_Handle] = _Handle(
            _bytes_of(os.fspath(configuration), "the path of a configuration")
        )

    def get(self, key: Key) -> Value:
        """A parameter of any type: numbers as a list of int, a text as str."""
        for type_name in _library.ELEMENTS:
            try:
                return self.get_text(key) if type_name == "text" else self._numbers(type_name, key)
            except TypeError:
                if not isinstance(key, (str, bytes)):
                    raise
        raise TypeError(f"the parameter {key!r} has no type, since no file gives it a value")

    def get_u32(self, key: Key) -> List[int]:
        """All elements of a U32 parameter."""
        return self._numbers("u32", key)

    def get_u16(self, key: Key) -> List[int]:
        """All elements of a U16 parameter."""
        return self._numbers("u16", key)

    def get_u8(self, key: Key) -> List[int]:
        """All elements of a U8 parameter."""
        return self._numbers("u8", key)

    def get_s32(self, key: Key) -> List[int]:
        """All elements of an S32 parameter."""
        return self._numbers("s32", key)

    def get_s16(self, key: Key) -> List[int]:
        """All elements of an S16 parameter."""
        return self._numbers("s16", key)

    def get_s8(self, key: Key) -> List[int]:
        """All elements of an S8 parameter."""
        return self._numbers("s8", key)

    def get_text(self, key: Key) -> str:
        """A CHAR parameter as one text; bytes that are no UTF-8 become lone surrogates."""
        return self.get_bytes(key).decode("utf-8", "surrogateescape")

    def get_bytes(self, key: Key) -> bytes:
        """A CHAR parameter as its bytes."""
        elements, size = self._read("text", key)
        return ctypes.string_at(elements, size)

    def get_words(self, key: Key) -> List[str]:
        """A CHAR parameter as its words: the runs of characters between blanks."""
        words: List[bytes] = []

        def visit(word: int, length: int, _: object) -> None:
            words.append(ctypes.string_at(word, length))

        handle, name = self._open(), _bytes_of(key, "a key")
        visitor = _library.WORD_VISITOR(visit)
        self._judge(library.varnix_visit_words(handle.pointer, name, visitor, None), "text", key)
        return [word.decode("utf-8", "surrogateescape") for word in words]

    def __contains__(self, key: Key) -> bool:
        """Whether a file holds the key, with whatever type."""
        try:
            self.get_bytes(key)
        except KeyError:
            return False
        except TypeError:
            if not isinstance(key, (str, bytes)):
                raise
        return True

    def close(self) -> None:
        """Drops the database; every later read is a ValueError. Closing twice does nothing."""
        self._handle = None

    def __enter__(self) -> "Database":
        """The database itself; the end of the with statement closes it."""
        self._open()
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        traceback: Optional[TracebackType],
    ) -> None:
        """Closes the database."""
        self.close()

    def _open(self) -> _Handle:
        handle = self._handle
        if handle is None:
            raise ValueError("the database is closed")
        return handle

    def _numbers(self, type_name: str, key: Key) -> List[int]:
        elements, count = self._read(type_name, key)
        return elements[:count]

    def _read(self, type_name: str, key: Key) -> Any:
        """The array that the library filled, and how many of its elements are the value."""
        handle, name = self._open(), _bytes_of(key, "a key")
        read = getattr(library, f"varnix_get_{type_name}")
        count = ctypes.c_size_t(63)
        status = _library.NO_ROOM
        while status == _library.NO_ROOM:
            room = count.value + 1  # the end of a text wants one more
            elements = (_library.ELEMENTS[type_name] * room)()
            status = read(handle.pointer, name, elements, room, ctypes.byref(count))
        self._judge(status, type_name, key)
        return elements, count.value

    @staticmethod
    def _judge(status: int, type_name: str, key: Key) -> None:
        if status == _library.KEY_NOT_FOUND:
            raise KeyError(key)
        if status == _library.TYPE_MISMATCH:
            wanted = "CHAR" if type_name == "text" else type_name.upper()
            raise TypeError(f"the parameter {key!r} is of another type than {wanted}")
        _check(status)
