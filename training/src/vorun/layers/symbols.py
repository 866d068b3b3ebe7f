"""Symbols: what flows through a network while its graph is recorded."""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any, Optional, Sequence

import torch

if TYPE_CHECKING:
    from .base import Layer, Shape


@dataclass(eq=False)
class Node:
    """One layer of a graph, or its input, which has no layer."""

    name: str
    layer: Optional[Layer]
    inputs: list[Node]
    shape: Shape


@dataclass(eq=False)
class Trace:
    """Nodes in the order in which they were called.

    names  of the modules, by identity; others are named by their class
    """

    names: dict[int, str]
    nodes: list[Node] = field(default_factory=list)

    def record(self, layer: Layer, inputs: Sequence[Any]) -> Symbol:
        for value in inputs:
            if not isinstance(value, Symbol):
                raise TypeError(f"{type(layer).__name__} joins a value of the network with a "
                                f"{type(value).__name__}; factors and offsets belong in a Norm")
        feeders = [symbol.node for symbol in inputs]
        if layer.is_join:
            feeders = self._apart(feeders)
        name = self._free_name(layer)
        try:
            shape = layer.output_shape(*(feeder.shape for feeder in feeders))
        except ValueError as error:
            raise ValueError(f"layer '{name}': {error}") from None
        return self.enter(Node(name, layer, feeders, shape))

    def enter(self, node: Node) -> Symbol:
        self.nodes.append(node)
        return Symbol(self, node)

    def _apart(self, feeders: list[Node]) -> list[Node]:
        """A join that is fed twice by one layer would wait for ever on its second place."""
        from .joins import PassOn

        apart: list[Node] = []
        for feeder in feeders:
            if feeder in apart:
                feeder = self.record(PassOn(), [Symbol(self, feeder)]).node
            apart.append(feeder)
        return apart

    def _free_name(self, layer: Layer) -> str:
        base = self.names.get(id(layer)) or type(layer).__name__.lower()
        taken = {node.name for node in self.nodes} | {"input", "output"}
        name, number = base, 2
        while name in taken:
            name, number = f"{base}#{number}", number + 1
        return name


class Symbol:
    """A value that stands for the frames that a layer gives."""

    def __init__(self, trace: Trace, node: Node) -> None:
        self.trace = trace
        self.node = node

    @property
    def height(self) -> int:
        return self.node.shape.height

    @property
    def channels(self) -> int:
        return self.node.shape.channels

    def __add__(self, other):
        from .joins import add
        return add(self, other)

    __radd__ = __add__

    def __mul__(self, other):
        from .joins import multiply
        return multiply(self, other)

    __rmul__ = __mul__

    def __sub__(self, other):
        from .joins import subtract
        return subtract(self, other)

    def __rsub__(self, other):
        from .joins import subtract
        return subtract(other, self)

    def __truediv__(self, other):
        from .joins import divide
        return divide(self, other)

    def __neg__(self):
        return self * -1.0

    def __getattr__(self, name: str):
        raise AttributeError(f"'{name}': a network is recorded from its layers alone; a value has "
                             "height and channels, and +, -, * and /")

    @classmethod
    def __torch_function__(cls, function, types, args=(), kwargs=None):
        """Functions of PyTorch that a network may hold beside its layers."""
        kwargs = kwargs or {}
        if function is torch.nn.functional.dropout:
            return args[0]
        if function in (torch.cat, torch.concat):
            from .joins import concat
            dimension = args[1] if len(args) > 1 else kwargs.get("dim", 0)
            if dimension == 1:
                return concat(*args[0])
        name = getattr(function, "__name__", str(function))
        raise TypeError(f"{name} is no layer of the engine: build networks from vorun.layers")
