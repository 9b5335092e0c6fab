"""Database files, by the command varnix."""

import json
import os
import shutil
import subprocess
import tempfile
from dataclasses import dataclass
from typing import Iterable, List, Union

from ._library import ELEMENTS, neighbour

Path = Union[str, "os.PathLike[str]"]

NAMES = ["CHAR" if name == "text" else name.upper() for name in ELEMENTS]


class CommandError(RuntimeError):
    """The command varnix refused: the message is what it said, status its exit status, see varnix(1)."""

    def __init__(self, message: str, status: int) -> None:
        super().__init__(message)
        self.status = status


@dataclass(frozen=True)
class Parameter:
    """A parameter of a database file.

    type is "U8", "S8", "U16", "S16", "U32", "S32", "CHAR", or a number for a type without a name. value
    is a list of int; for CHAR a str, with lone surrogates for bytes that are no UTF-8; and for a
    type without a name, or a value that does not fit its type, bytes.
    """

    key: str
    type: str
    value: Union[List[int], str, bytes]


def build_file(path: Path, source: Union[str, Iterable[Parameter]]) -> None:
    """Makes a database file of a text, see varnix-source(5), or of parameters.

    The file comes into being whole, in place of an older one. Raises CommandError where it cannot be
    made, and ValueError for a parameter that no source can say.
    """
    text = source if isinstance(source, str) else "".join(map(_line, source))
    with tempfile.TemporaryDirectory() as directory:
        name = os.path.join(directory, "source.txt")
        with open(name, "w", encoding="utf-8", errors="surrogateescape", newline="") as file:
            file.write(text)
        _run("build", "-o", os.path.abspath(path), name)


def read_file(path: Path) -> List[Parameter]:
    """The parameters of a database file, in its order. Raises CommandError where it cannot be read."""
    document = json.loads(_run("dump", "--json", os.path.abspath(path)))
    return [_parameter(record) for record in document["records"] if "tag" not in record]


def _run(*words: str) -> str:
    command = shutil.which("varnix") or neighbour("bin", "varnix")
    result = subprocess.run(
        [command, *words], capture_output=True, text=True, encoding="utf-8", errors="replace"
    )
    if result.returncode != 0:
        raise CommandError(result.stderr.strip(), result.returncode)
    return result.stdout


def _parameter(record: dict) -> Parameter:
    key, value = record["key"], record.get("value")
    if "keyBytes" in record:
        key = bytes.fromhex(record["keyBytes"]).decode("utf-8", "surrogateescape")
    if value is None:
        value = bytes.fromhex(record["bytes"])
        if record["type"] == "CHAR":
            value = value.decode("utf-8", "surrogateescape")
    return Parameter(key, str(record["type"]), value)


def _line(parameter: Parameter) -> str:
    key, value = parameter.key, parameter.value
    if not key.startswith("/") or not all("!" <= c <= "~" and c not in '"#' for c in key):
        raise ValueError(f"{key!r} cannot be a key in a source")
    if parameter.type not in NAMES and not (parameter.type.isdecimal() and parameter.type.isascii()):
        raise ValueError(f"{parameter.type!r} is no type")
    if isinstance(value, str):
        value = value.encode("utf-8", "surrogateescape")
    if isinstance(value, bytes):
        text = '"' + "".join(f"\\x{byte:02x}" for byte in value) + '"'
    else:
        text = " ".join(str(int(number)) for number in value)
    return f"{key} {parameter.type} {text}\n"
