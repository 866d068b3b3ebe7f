"""A whole model file: header, layers in file order, and the layer that is the result."""

from __future__ import annotations

import os
from dataclasses import dataclass, field
from pathlib import Path
from typing import Union

from .bytestream import ByteReader, ByteWriter
from .errors import ModelFileError
from .fields import read_field, write_field
from .header import ModelHeader, read_header, write_header
from .records import RECORD_CLASSES, JoinRecord, LayerRecord

INPUT_NAME = "input"
OUTPUT_NAME = "output"


@dataclass
class ModelFile:
    """layers stand in an order in which each comes after those that feed it.

    output_source  name of the layer whose tensors are the result
    """

    header: ModelHeader = field(default_factory=ModelHeader)
    layers: list[LayerRecord] = field(default_factory=list)
    output_source: str = INPUT_NAME

    def to_bytes(self) -> bytes:
        """Raises ModelFileError for what the format, or this version of it, cannot hold."""
        writer = ByteWriter()
        write_header(writer, self.header)
        writer.integer(len(self.layers), 32, "number of layers")
        names = _NameCheck()
        for record in self.layers:
            _write_record(writer, record, self.header.version)
            names.enter(record)
        names.require(self.output_source, "output_source")
        writer.string(self.output_source, "output_source")
        return writer.bytes()

    @classmethod
    def from_bytes(cls, data: bytes) -> ModelFile:
        """Raises ModelFileError, with the byte, for what is no model file. The opposite of
        to_bytes(); bytes behind the last field are not looked at.
        """
        reader = ByteReader(data)
        model = cls(header=read_header(reader))
        names = _NameCheck()
        for _ in range(reader.integer(32, "number of layers")):
            start = reader.position
            record = _read_record(reader, model.header.version)
            names.enter(record, start)
            model.layers.append(record)
        start = reader.position
        model.output_source = reader.string("output_source")
        names.require(model.output_source, "output_source", start)
        return model


def write_model(path: Union[str, os.PathLike], model: ModelFile) -> int:
    """Writes a file whole or not at all. Returns its bytes."""
    data = model.to_bytes()
    target = Path(path)
    unfinished = target.with_name(target.name + ".part")
    unfinished.write_bytes(data)
    os.replace(unfinished, target)
    return len(data)


def read_model(path: Union[str, os.PathLike]) -> ModelFile:
    """The opposite of write_model()."""
    return ModelFile.from_bytes(Path(path).read_bytes())


class _NameCheck:
    """Who may be named: the model's input, and the layers entered so far."""

    def __init__(self) -> None:
        self._layers: set[str] = set()

    def enter(self, record: LayerRecord, byte=None) -> None:
        what = f"layer '{record.name}'"
        for name in record.inputs:
            self.require(name, f"input of {what}", byte)
        if record.name in self._layers:
            raise ModelFileError(f"two layers are named '{record.name}'", byte)
        if record.name == OUTPUT_NAME:
            raise ModelFileError(f"{what} has the name of the model's own output", byte)
        self._layers.add(record.name)

    def require(self, name: str, what: str, byte=None) -> None:
        if name != INPUT_NAME and name not in self._layers:
            raise ModelFileError(f"{what} is '{name}', which no layer before it is named", byte)


def _write_record(writer: ByteWriter, record: LayerRecord, version: int) -> None:
    what = f"layer '{record.name}'"
    if type(record) not in RECORD_CLASSES.values():
        raise ModelFileError(f"{what} is a {type(record).__name__}, which is no record of a file")
    writer.string(record.name, "layer name")
    writer.integer(record.TYPE, 16, f"type of {what}")
    if isinstance(record, JoinRecord):
        writer.integer(len(record.inputs), 16, f"number of inputs of {what}")
    elif len(record.inputs) != 1:
        raise ModelFileError(f"{what} takes one input, not {len(record.inputs)}")
    for name in record.inputs:
        writer.string(name, f"input of {what}")
    for item in record.FIELDS:
        write_field(writer, item, vars(record), version, what)


def _read_record(reader: ByteReader, version: int) -> LayerRecord:
    """The opposite of _write_record()."""
    name = reader.string("layer name")
    what = f"layer '{name}'"
    kind = reader.integer(16, f"type of {what}")
    if kind not in RECORD_CLASSES:
        raise ModelFileError(f"type {kind} of {what} is unknown", reader.position - 2)
    record_class = RECORD_CLASSES[kind]
    inputs = 1
    if issubclass(record_class, JoinRecord):
        inputs = reader.integer(16, f"number of inputs of {what}")
    names = [reader.string(f"input of {what}") for _ in range(inputs)]
    values: dict = {}
    for item in record_class.FIELDS:
        values[item.name] = read_field(reader, item, values, version, what)
    return record_class(name=name, inputs=names, **values)
