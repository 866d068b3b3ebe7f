"""Tensor blocks: the weights inside the records of a model file."""

from __future__ import annotations

from dataclasses import dataclass
from enum import IntEnum
from typing import Optional

import numpy as np

from .bytestream import ByteReader, ByteWriter
from .errors import ModelFileError
from .half import decode_half, encode_half

FIRST_VERSION_WITH_ELEMENT_TYPE = 4105
MOST_DIMENSIONS = 127
_SMALL_FILE = 65536


class ElementType(IntEnum):
    """How values are stored. Other numbers stand for blocks that leave their values out."""

    HALF = 0
    SINGLE = 1


@dataclass(eq=False)
class TensorBlock:
    """A tensor as a file holds it.

    shape         dimensions, outermost first; () for a block that holds nothing, such as a bias
                  that is left out
    values        float32, one dimension, row-major; zeros where the file left them out
    element_type  how values are stored from version 4105 on; older files hold 32-bit floats
    """

    shape: tuple[int, ...]
    values: np.ndarray
    element_type: int = ElementType.SINGLE

    @classmethod
    def of(cls, values, element_type: int = ElementType.SINGLE) -> TensorBlock:
        """From an array of any shape; None gives the empty block."""
        if values is None:
            return cls((), np.zeros(0, np.float32), ElementType.SINGLE)
        array = np.asarray(values, dtype=np.float32)
        if array.ndim == 0:
            raise ModelFileError("a tensor of no dimensions holds no values: give it one of size 1")
        return cls(array.shape, array.reshape(-1), element_type)

    @property
    def array(self) -> np.ndarray:
        """The values in their shape; an empty array for an empty block."""
        return self.values.reshape(self.shape) if len(self.values) else np.zeros(0, np.float32)

    def dimension(self, index: int) -> int:
        """0 where the shape is shorter."""
        return self.shape[index] if index < len(self.shape) else 0

    def __eq__(self, other: object) -> bool:
        """Equal bit for bit, NaN and signed zeros included."""
        return (isinstance(other, TensorBlock) and tuple(self.shape) == tuple(other.shape)
                and self.element_type == other.element_type
                and self.values.tobytes() == other.values.tobytes())


def wrapped_volume(shape: tuple[int, ...]) -> int:
    """The product as readers compute it, wrapped to a signed 32-bit number; 0 for no dimensions."""
    volume = 1
    for dimension in shape:
        volume = (volume * dimension + 2**31) % 2**32 - 2**31
    return volume if shape else 0


def write_tensor(writer: ByteWriter, block: TensorBlock, version: int, what: str) -> None:
    _require_storable(block, version, what)
    if version >= FIRST_VERSION_WITH_ELEMENT_TYPE:
        writer.unsigned_byte(block.element_type, f"element type of {what}")
    writer.integer(len(block.shape), 8, f"rank of {what}")
    for dimension in block.shape:
        writer.integer(dimension, 32, f"dimension of {what}")
    if block.element_type == ElementType.SINGLE:
        writer.raw(block.values.astype("<f4").tobytes())
    elif block.element_type == ElementType.HALF:
        writer.raw(_half_words(block, what).astype("<u2").tobytes())


def read_tensor(reader: ByteReader, version: int, what: str) -> TensorBlock:
    """The opposite of write_tensor()."""
    element_type: int = ElementType.SINGLE
    if version >= FIRST_VERSION_WITH_ELEMENT_TYPE:
        element_type = reader.unsigned_byte(f"element type of {what}")
    rank = reader.integer(8, f"rank of {what}")
    if rank < 0:
        raise ModelFileError(f"{what} has {rank} dimensions", reader.position - 1)
    shape = tuple(reader.integer(32, f"dimension of {what}") for _ in range(rank))
    count = max(wrapped_volume(shape), 0)
    return TensorBlock(shape, _read_values(reader, element_type, count, what), element_type)


def _read_values(reader: ByteReader, element_type: int, count: int, what: str) -> np.ndarray:
    if element_type == ElementType.SINGLE:
        data = reader.raw(count * 4, f"values of {what}")
        return np.frombuffer(data, "<f4").astype(np.float32)
    if element_type == ElementType.HALF:
        return decode_half(np.frombuffer(reader.raw(count * 2, f"values of {what}"), "<u2"))
    if count * 4 > max(2 * reader.size, _SMALL_FILE):
        raise ModelFileError(f"{what} asks for {count} values without holding them",
                             reader.position)
    return np.zeros(count, np.float32)


def _require_storable(block: TensorBlock, version: int, what: str) -> None:
    if version < FIRST_VERSION_WITH_ELEMENT_TYPE and block.element_type != ElementType.SINGLE:
        raise ModelFileError(f"{what}: version {version} holds 32-bit floats only")
    if len(block.shape) > MOST_DIMENSIONS:
        raise ModelFileError(f"{what} has {len(block.shape)} dimensions, but at most "
                             f"{MOST_DIMENSIONS} fit")
    held = max(wrapped_volume(block.shape), 0)
    if held != len(block.values):
        raise ModelFileError(f"{what} of shape {list(block.shape)} holds {held} values, "
                             f"not {len(block.values)}")


def _half_words(block: TensorBlock, what: str) -> np.ndarray:
    try:
        return encode_half(block.values)
    except ModelFileError as error:
        raise ModelFileError(f"{what}: {error}") from None


def empty_block() -> TensorBlock:
    return TensorBlock.of(None)


def as_block(values, element_type: Optional[int] = None) -> TensorBlock:
    """A block from a block, an array or None."""
    if isinstance(values, TensorBlock):
        return values
    return TensorBlock.of(values, ElementType.SINGLE if element_type is None else element_type)
