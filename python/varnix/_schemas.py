"""Schemas, by the command varnix."""

import json
import operator
import os
import secrets
import shutil
from dataclasses import dataclass
from typing import Any, Dict, Iterable, List, Optional, Tuple, Union

from ._command import (
    TYPES,
    Path,
    SourceFile,
    key_word,
    quoted,
    run,
    source_value,
    text_of,
    value_of,
    word,
)


@dataclass(frozen=True)
class SchemaLine:
    """What a line of a schema says of a parameter, or of all whose keys match a pattern.

    elements is the least and the greatest number of elements, or of bytes of a CHAR. limits are as a
    schema has them: "0..63", "idle|normal|boost" or "/V[0-9]{4}/". default is a list of int, for
    CHAR a str. varnix-schema(5) says what each of them means.
    """

    key: str
    type: str
    elements: Optional[Tuple[int, int]] = None
    limits: str = ""
    unit: Optional[str] = None
    default: Union[List[int], str, None] = None
    required: bool = False
    deprecated: bool = False
    description: Optional[str] = None


def build_schema(path: Path, source: Union[str, Iterable[SchemaLine]]) -> None:
    """Makes a schema of a text, see varnix-schema(5), or of lines.

    The file comes into being whole, in place of an older one. Raises CommandError where the schema
    is none or contradicts itself, and ValueError for a line that no schema can say.
    """
    text = source if isinstance(source, str) else "".join(map(_line, source))
    with SourceFile(text) as name:
        run("check", "--schema", name)
        _replace(os.path.abspath(path), name)


def read_schema(*paths: Path) -> List[SchemaLine]:
    """The lines of one schema or of several. Raises CommandError where one cannot be read."""
    if not paths:
        raise ValueError("no schema is given")
    options = [part for path in paths for part in ("--schema", os.path.abspath(path))]
    return [_schema_line(line) for line in json.loads(run("dump", "--json", *options))["lines"]]


def _schema_line(line: Dict[str, Any]) -> SchemaLine:
    elements = line.get("elements")
    return SchemaLine(
        key=line["key"],
        type=line["type"],
        elements=(elements["min"], elements["max"]) if elements else None,
        limits=line.get("limits", ""),
        unit=line.get("unit"),
        default=value_of(line["default"]) if "default" in line else None,
        required=line["required"],
        deprecated=line["deprecated"],
        description=text_of(line, "description") if "description" in line else None,
    )


def _line(line: SchemaLine) -> str:
    if line.type not in TYPES:
        raise ValueError(f"{line.type!r} is no type of a schema")
    kind = line.type
    if line.elements is not None:
        least, greatest = line.elements
        kind += f"[{operator.index(least)}..{operator.index(greatest)}]"
    words = [key_word(line.key), kind, *map(_limit, line.limits.split())]
    if line.unit is not None:
        words += ["unit", word(line.unit, "a unit")]
    if line.default is not None:
        words += ["default", source_value(line.default)]
    if line.required:
        words.append("required")
    if line.deprecated:
        words.append("deprecated")
    if line.description is not None:
        words.append(quoted(line.description))
    return " ".join(words) + "\n"


def _limit(text: str) -> str:
    if text[0] not in "/-0123456789" and "|" not in text:
        raise ValueError(f"{text!r} is no limit")
    return word(text, "a limit")


def _replace(path: str, source: str) -> None:
    """Puts a copy of a file in the place of another, which keeps its mode; never half of it."""
    path = os.path.realpath(path)
    name = f"{path}.{secrets.token_hex(8)}.tmp"
    try:
        with open(source, "rb") as text, open(name, "xb") as target:
            if os.path.exists(path):
                shutil.copymode(path, name)
            shutil.copyfileobj(text, target)
            target.flush()
            os.fsync(target.fileno())
        os.replace(name, path)
    except BaseException:
        if os.path.exists(name):
            os.unlink(name)
        raise
