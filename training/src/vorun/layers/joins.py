"""Layers of several inputs.

Frames meet in the order in which they come: the first of each input, then the second of each. An
input that has dropped frames for a look-ahead is shorter, and the others are cut to its length.
"""

from __future__ import annotations

from functools import reduce
from numbers import Real
from typing import Union

import torch
from torch import Tensor

from ..model_file import ArithmeticRecord, ConcatRecord, Operation
from .base import Layer, Shape, require
from .norms import Norm
from .symbols import Symbol

Value = Union[Tensor, Symbol]

_STEPS = {
    Operation.MULTIPLY: lambda result, value: result * value,
    Operation.DIVIDE: lambda result, value: value / result,
    Operation.ADD: lambda result, value: result + value,
    Operation.SUBTRACT: lambda result, value: value - result,
}


class Concat(Layer):
    """The channels of all inputs behind each other."""

    is_join = True

    def forward(self, *inputs: Tensor) -> Tensor:
        return torch.cat(_as_long(inputs), 1)

    def output_shape(self, *shapes: Shape) -> Shape:
        require(len({shape.height for shape in shapes}) == 1,
                f"frames of heights {[shape.height for shape in shapes]} cannot be concatenated")
        return Shape(shapes[0].height, sum(shape.channels for shape in shapes))

    def record(self, name: str, inputs: list[str], element_type: int) -> ConcatRecord:
        return ConcatRecord(name, inputs)


class Arithmetic(Layer):
    """Folds its inputs, from the first to the last, by an operation of the engine.

    Mind the order: DIVIDE divides the later by the earlier, and SUBTRACT takes the earlier from the
    later. The functions below are in the usual order.
    """

    is_join = True

    def __init__(self, operation: Operation) -> None:
        super().__init__()
        self.operation = Operation(operation)

    def forward(self, *inputs: Tensor) -> Tensor:
        self.output_shape(*(Shape(value.shape[3], value.shape[1]) for value in inputs))
        return reduce(_STEPS[self.operation], _as_long(inputs))

    def output_shape(self, *shapes: Shape) -> Shape:
        require(len(set(shapes)) == 1,
                f"frames of different shapes: {[tuple(shape) for shape in shapes]}")
        return shapes[0]

    def record(self, name: str, inputs: list[str], element_type: int) -> ArithmeticRecord:
        return ArithmeticRecord(name, inputs, self.operation)


class PassOn(Layer):
    """Its one input, unchanged. Lets a join be fed twice by one layer."""

    is_join = True
    _NO_OPERATION = -1

    def forward(self, x: Tensor) -> Tensor:
        return x

    def record(self, name: str, inputs: list[str], element_type: int) -> ArithmeticRecord:
        return ArithmeticRecord(name, inputs, self._NO_OPERATION)


def concat(*values: Value) -> Value:
    return Concat()(*values)


def add(first: Union[Value, float], second: Union[Value, float]) -> Value:
    """first + second. As in all functions here, one of both may be a number."""
    if _is_number(first):
        first, second = second, first
    return (_affine(first, 1.0, second) if _is_number(second)
            else _join(Operation.ADD, first, second))


def multiply(first: Union[Value, float], second: Union[Value, float]) -> Value:
    """first * second"""
    if _is_number(first):
        first, second = second, first
    return (_affine(first, second, 0.0) if _is_number(second)
            else _join(Operation.MULTIPLY, first, second))


def subtract(first: Union[Value, float], second: Union[Value, float]) -> Value:
    """first - second"""
    if _is_number(first):
        return _affine(second, -1.0, first)
    return (_affine(first, 1.0, -second) if _is_number(second)
            else _join(Operation.SUBTRACT, second, first))


def divide(first: Value, second: Union[Value, float]) -> Value:
    """first / second; only the divisor may be a number."""
    return (_affine(first, 1.0 / second, 0.0) if _is_number(second)
            else _join(Operation.DIVIDE, second, first))


def _join(operation: Operation, *values: Value) -> Value:
    return Arithmetic(operation)(*values)


def _affine(value: Value, scale: float, offset: float) -> Value:
    if (scale, offset) == (1.0, 0.0):
        return value
    if isinstance(value, Symbol):
        return Norm(value.channels, scale, offset)(value)
    return value * scale + offset


def _is_number(value) -> bool:
    return isinstance(value, Real)


def _as_long(inputs: tuple[Tensor, ...]) -> list[Tensor]:
    frames = min(value.shape[2] for value in inputs)
    return [value if value.shape[2] == frames else value[:, :, :frames] for value in inputs]
