"""The C interface, see varnix_c(3). CDLL, and not PyDLL, so that calls release the interpreter's lock."""

import ctypes
import os
from pathlib import Path

SONAME = "libvarnix-c.so.0"

OK = 0
KEY_NOT_FOUND = 1
TYPE_MISMATCH = 2
NO_ROOM = 3
BAD_ARGUMENT = 4
NO_DATABASE = 5
OUT_OF_MEMORY = 6

ELEMENTS = {
    "u32": ctypes.c_uint32,
    "u16": ctypes.c_uint16,
    "u8": ctypes.c_uint8,
    "s32": ctypes.c_int32,
    "s16": ctypes.c_int16,
    "s8": ctypes.c_int8,
    "text": ctypes.c_char,
}


def neighbour(*path: str) -> str:
    """A file of the installation that this package is in, below PREFIX/lib/python3/dist-packages."""
    return os.fspath(Path(__file__).resolve().parents[4].joinpath(*path))


def _load() -> ctypes.CDLL:
    try:
        return ctypes.CDLL(SONAME)
    except OSError as error:
        beside = neighbour("lib", SONAME)
        if not os.path.exists(beside):
            raise ImportError(f"the package varnix needs {SONAME}: {error}") from None
        return ctypes.CDLL(beside)


def _declare(library: ctypes.CDLL) -> ctypes.CDLL:
    library.varnix_version.restype = ctypes.c_char_p
    library.varnix_status_name.restype = ctypes.c_char_p
    library.varnix_open.argtypes = [ctypes.c_char_p, ctypes.POINTER(ctypes.c_void_p)]
    library.varnix_close.argtypes = [ctypes.c_void_p]
    size = ctypes.POINTER(ctypes.c_size_t)
    for name, element in ELEMENTS.items():
        getattr(library, f"varnix_get_{name}").argtypes = [
            ctypes.c_void_p,
            ctypes.c_char_p,
            ctypes.POINTER(element),
            ctypes.c_size_t,
            size,
        ]
    library.varnix_visit_words.argtypes = [
        ctypes.c_void_p,
        ctypes.c_char_p,
        WORD_VISITOR,
        ctypes.c_void_p,
    ]
    return library


WORD_VISITOR = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_size_t, ctypes.c_void_p)
library = _declare(_load())


def version() -> str:
    """The version of the library that the process runs with, "MAJOR.MINOR.PATCH"."""
    return library.varnix_version().decode()
