"""Database files, by the command varnix."""

import json
import os
from dataclasses import dataclass
from typing import Any, Dict, Iterable, List, Union

from ._command import (
    TYPES,
    Path,
    SourceFile,
    key_word,
    run,
    source_value,
    text_of,
    value_of,
)


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


def build_file(
    path: Path,
    source: Union[str, Iterable[Parameter]],
    schemas: Iterable[Path] = (),
    closed: bool = False,
) -> None:
    """Makes a database file of a text, see varnix-source(5), or of parameters.

    The parameters must be what the schemas at these paths allow; where they are closed, a key that
    none of them describes is refused too.

    The file comes into being whole, in place of an older one. Raises CommandError where it cannot be
    made, and ValueError for a parameter that no source can say.
    """
    text = source if isinstance(source, str) else "".join(map(_line, source))
    options = [word for schema in schemas for word in ("--schema", os.path.abspath(schema))]
    if closed:
        options.append("--closed")
    with SourceFile(text) as name:
        run("build", *options, "-o", os.path.abspath(path), name)


def read_file(path: Path) -> List[Parameter]:
    """The parameters of a database file, in its order. Raises CommandError where it cannot be read."""
    document = json.loads(run("dump", "--json", os.path.abspath(path)))
    return [_parameter(record) for record in document["records"] if "tag" not in record]


def _parameter(record: Dict[str, Any]) -> Parameter:
    return Parameter(text_of(record, "key"), str(record["type"]), value_of(record))


def _line(parameter: Parameter) -> str:
    kind = parameter.type
    if kind not in TYPES and not (kind.isdecimal() and kind.isascii()):
        raise ValueError(f"{kind!r} is no type")
    return f"{key_word(parameter.key)} {kind} {source_value(parameter.value)}\n"
