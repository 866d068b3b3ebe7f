"""The fields of layer records: each knows how it is written and read back."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any, Callable, Optional

from .bytestream import ByteReader, ByteWriter
from .errors import ModelFileError
from .tensors import read_tensor, write_tensor


@dataclass(frozen=True)
class Field:
    """One value of a record.

    since   the first version that holds it
    before  what readers of older versions take instead, from the fields read so far
    """

    name: str
    kind: str
    since: int = 0
    before: Optional[Callable[[dict[str, Any]], Any]] = None


def write_field(writer: ByteWriter, field: Field, values: dict[str, Any], version: int,
                what: str) -> None:
    value = values[field.name]
    what = f"{field.name} of {what}"
    if version < field.since:
        if value != _older_value(field, values):
            raise ModelFileError(f"{what} needs version {field.since}, not {version}")
        return
    if field.kind == "tensor":
        write_tensor(writer, value, version, what)
    elif field.kind == "single":
        writer.single(value, what)
    else:
        writer.integer(value, _INTEGER_BITS[field.kind], what)


def read_field(reader: ByteReader, field: Field, values: dict[str, Any], version: int,
               what: str) -> Any:
    """The opposite of write_field()."""
    what = f"{field.name} of {what}"
    if version < field.since:
        return _older_value(field, values)
    if field.kind == "tensor":
        return read_tensor(reader, version, what)
    if field.kind == "single":
        return reader.single(what)
    return reader.integer(_INTEGER_BITS[field.kind], what)


def _older_value(field: Field, values: dict[str, Any]) -> Any:
    assert field.before is not None, "a field that came later has a value before"
    return field.before(values)


_INTEGER_BITS = {"int8": 8, "int16": 16}
