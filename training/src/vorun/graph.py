"""The graph of a network, recorded by running it once on symbols."""

from __future__ import annotations

import contextlib
import copy
import sys
from dataclasses import dataclass
from fractions import Fraction
from typing import Iterator, Optional

import torch
from torch import nn

from .layers.base import Shape
from .layers.norms import BatchNorm, Norm
from .layers.symbols import Node, Symbol, Trace


@dataclass(eq=False)
class Graph:
    """nodes stand in the order of calls, without the input and without what leads nowhere."""

    input: Node
    nodes: list[Node]
    output: Node

    def consumers(self, node: Node) -> list[Node]:
        """In the order of calls."""
        return [other for other in self.nodes if node in other.inputs]

    def latency(self) -> int:
        """Frames of look-ahead, as the engine counts them."""
        known: dict[tuple[int, int], int] = {}

        def behind(node: Node, scale: int) -> int:
            key = (id(node), scale)
            if key not in known:
                known[key] = max([0] + [of(consumer, scale) for consumer in self.consumers(node)])
            return known[key]

        def of(node: Node, scale: int) -> int:
            scale_behind, own = node.layer.latency(scale)
            return behind(node, scale_behind) + own

        with deep_calls(len(self.nodes)):
            return behind(self.input, 1)

    def rate(self) -> Fraction:
        """Frames that come out for each that goes in. Raises ValueError where frames meet that come
        at different rates.
        """
        rates = {id(self.input): Fraction(1)}
        for node in self.nodes:
            fed = {rates[id(feeder)] for feeder in node.inputs}
            if len(fed) > 1:
                raise ValueError(f"layer '{node.name}' joins frames of different rates")
            rates[id(node)] = fed.pop() * node.layer.rate
        return rates[id(self.output)]

    def on_processor(self, dtype: Optional[torch.dtype] = None) -> Graph:
        """A copy with all weights in main memory, of type `dtype` if given."""
        moved = {id(self.input): self.input}
        for node in self.nodes:
            layer = copy.deepcopy(node.layer).to("cpu", dtype)
            feeders = [moved[id(feeder)] for feeder in node.inputs]
            moved[id(node)] = Node(node.name, layer, feeders, node.shape)
        return Graph(self.input, [moved[id(node)] for node in self.nodes], moved[id(self.output)])


def trace(network: nn.Module, height: int, channels: int) -> Graph:
    """Records a network whose input frames are [height, channels].

    Raises ValueError, with the layer's name, for frames that a layer cannot take, and TypeError for
    what is no layer of the engine.
    """
    names = {id(module): path for path, module in network.named_modules() if path}
    record = Trace(names)
    source = Node("input", None, [], Shape(height, channels))
    result = network(Symbol(record, source))
    if not isinstance(result, Symbol):
        raise TypeError(f"the network gives a {type(result).__name__}, not one value")
    return Graph(source, _leading_to(result.node, record.nodes), result.node)


def fold_norms(graph: Graph) -> Graph:
    """The same graph with each norm inside the convolution or dense layer that feeds it alone."""
    moved: dict[int, Node] = {id(graph.input): graph.input}
    nodes: list[Node] = []
    for node in graph.nodes:
        feeders = [moved[id(feeder)] for feeder in node.inputs]
        if _folds(graph, node):
            scale, offset = node.layer.scale_and_offset()
            feeders[0].layer = feeders[0].layer.folded(scale, offset)
            moved[id(node)] = feeders[0]
            continue
        moved[id(node)] = Node(node.name, node.layer, feeders, node.shape)
        nodes.append(moved[id(node)])
    return Graph(graph.input, nodes, moved[id(graph.output)])


def _folds(graph: Graph, node: Node) -> bool:
    if not isinstance(node.layer, (Norm, BatchNorm)):
        return False
    feeder = node.inputs[0]
    return hasattr(feeder.layer, "folded") and graph.consumers(feeder) == [node]


@contextlib.contextmanager
def deep_calls(layers: int) -> Iterator[None]:
    """Room for calls that go down a path of so many layers, as the engine's do."""
    limit = sys.getrecursionlimit()
    sys.setrecursionlimit(limit + 8 * layers)
    try:
        yield
    finally:
        sys.setrecursionlimit(limit)


def _leading_to(output: Node, nodes: list[Node]) -> list[Node]:
    wanted, waiting = {id(output)}, [output]
    while waiting:
        for feeder in waiting.pop().inputs:
            if id(feeder) not in wanted:
                wanted.add(id(feeder))
                waiting.append(feeder)
    return [node for node in nodes if id(node) in wanted]
