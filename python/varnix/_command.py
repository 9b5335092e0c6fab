"""The command varnix, and what its documents and sources have in common."""

import operator
import os
import shutil
import subprocess
import tempfile
from typing import Any, Dict, Union

from ._library import ELEMENTS, neighbour

Path = Union[str, "os.PathLike[str]"]

TYPES = ["CHAR" if name == "text" else name.upper() for name in ELEMENTS]


class CommandError(RuntimeError):
    """The command varnix refused: the message is what it said, status its exit status, see varnix(1)."""

    def __init__(self, message: str, status: int) -> None:
        super().__init__(message)
        self.status = status


def run(*words: str) -> str:
    """What the command prints. Raises CommandError where its status is another than 0."""
    command = shutil.which("varnix") or neighbour("bin", "varnix")
    result = subprocess.run(
        [command, *words], capture_output=True, text=True, encoding="utf-8", errors="replace"
    )
    if result.returncode != 0:
        found = result.stdout if result.returncode == 1 else ""  # findings are a result
        raise CommandError((found + result.stderr).strip(), result.returncode)
    return result.stdout


def text_of(document: Dict[str, Any], name: str) -> str:
    """A text of a JSON document, whatever its bytes."""
    if name + "Bytes" in document:
        return bytes.fromhex(document[name + "Bytes"]).decode("utf-8", "surrogateescape")
    return document[name]


def value_of(document: Dict[str, Any]) -> Any:
    """A value of a JSON document."""
    value = document.get("value")
    if value is None:
        value = bytes.fromhex(document["bytes"])
        if document["type"] == "CHAR":
            value = value.decode("utf-8", "surrogateescape")
    return value


def word(text: str, what: str) -> str:
    """A text that a source can say without quotes."""
    if not text or not all("!" <= c <= "~" and c not in '"#' for c in text):
        raise ValueError(f"{text!r} cannot be {what}")
    return text


def key_word(key: str) -> str:
    """A key in the form of a source."""
    if not key.startswith("/"):
        raise ValueError(f"{key!r} cannot be a key in a source")
    return word(key, "a key in a source")


def quoted(text: Union[str, bytes]) -> str:
    """A text in the form of a source."""
    if isinstance(text, str):
        text = text.encode("utf-8", "surrogateescape")
    return '"' + "".join(map(_character, text)) + '"'


def _character(byte: int) -> str:
    if byte in b'"\\':
        return "\\" + chr(byte)
    return chr(byte) if 0x20 <= byte <= 0x7E else f"\\x{byte:02x}"


def source_value(value: Any) -> str:
    """A value in the form of a source."""
    if isinstance(value, (str, bytes)):
        return quoted(value)
    try:
        return " ".join(str(operator.index(number)) for number in value)
    except TypeError:
        raise ValueError(f"{value!r} is no value of a source: a text or integers") from None


class SourceFile:
    """A text for the command, in a directory of its own that goes at the end."""

    def __init__(self, text: str) -> None:
        self._directory = tempfile.TemporaryDirectory()
        self.name = os.path.join(self._directory.name, "source.txt")
        with open(self.name, "w", encoding="utf-8", errors="surrogateescape", newline="") as file:
            file.write(text)

    def __enter__(self) -> str:
        return self.name

    def __exit__(self, *_: Any) -> None:
        self._directory.cleanup()
