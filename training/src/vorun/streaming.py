"""A network frame by frame, in the order in which the engine runs it.

A call hands a frame to the layers behind the input, each of which hands on what comes out of it
before the next is called. What comes out when is told by the engine's rules: a convolution that
swallows a frame sends a tick through the layers behind it, and a transposed convolution keeps what
it has beyond one frame for the ticks.
"""

from __future__ import annotations

from collections import deque
from typing import Union

import torch
from torch import Tensor, nn

from .graph import Graph, deep_calls, trace
from .layers.base import LayerStream
from .layers.symbols import Node


class Stream:
    """A network at work on a stream.

        stream = Stream(network, height=513, channels=1)
        result = stream.push(frame)         # [batch, 1, 1, 513]; the result has 0 or more frames

    `network` may also be a Graph, which tells height and channels itself.
    """

    def __init__(self, network: Union[nn.Module, Graph], height: int = 0,
                 channels: int = 0) -> None:
        graph = network if isinstance(network, Graph) else trace(network, height, channels)
        self._shape = graph.output.shape
        self._sink = _Sink()
        self._source = _Pipe()
        pipes: dict[int, _Pipe] = {id(graph.input): self._source}
        for node in graph.nodes:
            pipes[id(node)] = _pipe_of(node)
            for feeder in node.inputs:
                pipes[id(feeder)].consumers.append((pipes[id(node)], id(feeder)))
        pipes[id(graph.output)].consumers.append((self._sink, 0))
        self._pipes = list(pipes.values())

    def push(self, frames: Tensor) -> Tensor:
        """[batch, channels, frames, height], taken one by one; gives what has come out."""
        with deep_calls(len(self._pipes)):
            for frame in frames.split(1, 2):
                self._source.hand_on(frame)
        results, self._sink.frames = self._sink.frames, []
        if not results:
            return frames.new_zeros(frames.shape[0], self._shape.channels, 0, self._shape.height)
        return torch.cat(results, 2)

    def reset(self) -> None:
        """Starts a new stream."""
        self._sink.frames = []
        for pipe in self._pipes:
            pipe.reset()


def measure_lag(graph: Graph) -> int:
    """By how many frames the output trails the input at most."""
    stream = Stream(graph.on_processor(torch.float32))
    silence = torch.zeros(1, graph.input.shape.channels, 1, graph.input.shape.height)
    lag = given = 0
    with torch.no_grad():
        for taken in range(1, _frames_to_settle(graph) + 1):
            given += stream.push(silence).shape[2]
            lag = max(lag, taken - given)
    return lag


def _frames_to_settle(graph: Graph) -> int:
    """Enough for every layer to have dropped what it drops, at the pace of the slowest."""
    dropped, pace = 4, 1
    for node in graph.nodes:
        dropped += max(0, getattr(node.layer, "lookahead", 0)) + getattr(node.layer, "warm_up", 0)
        pace *= max(1, node.layer.rate.denominator)
    return 2 * dropped * pace


class _Pipe:
    """A layer at its place in the graph; this one hands on what it is given."""

    def __init__(self) -> None:
        self.consumers: list[tuple[_Pipe, int]] = []

    def take(self, frame: Tensor, source: int) -> bool:
        """Whether something has reached the output."""
        raise NotImplementedError

    def tick(self) -> None:
        for consumer, _ in self.consumers:
            consumer.tick()

    def reset(self) -> None:
        """Forgets all frames."""

    def hand_on(self, frame: Tensor) -> bool:
        reached = [consumer.take(frame, source) for consumer, source in self.consumers]
        return any(reached)


class _Sink(_Pipe):
    def __init__(self) -> None:
        super().__init__()
        self.frames: list[Tensor] = []

    def take(self, frame: Tensor, source: int) -> bool:
        self.frames.append(frame)
        return True


class _LayerPipe(_Pipe):
    def __init__(self, stream: LayerStream) -> None:
        super().__init__()
        self._stream = stream

    def take(self, frame: Tensor, source: int) -> bool:
        given = self._stream.step(frame)
        if not given and self._stream.ticks:
            self.tick()
        return any([self.hand_on(result) for result in given])

    def reset(self) -> None:
        self._stream.reset()


class _QueuePipe(_LayerPipe):
    """Frames beyond the one that reaches the output wait for ticks."""

    def __init__(self, stream: LayerStream) -> None:
        super().__init__(stream)
        self._waiting: deque[Tensor] = deque()

    def take(self, frame: Tensor, source: int) -> bool:
        self._waiting.extend(self._stream.step(frame))
        return self._deliver()

    def tick(self) -> None:
        self._deliver()
        super().tick()

    def reset(self) -> None:
        super().reset()
        self._waiting.clear()

    def _deliver(self) -> bool:
        while self._waiting:
            if self.hand_on(self._waiting.popleft()):
                return True
        return False


class _JoinPipe(_LayerPipe):
    """Frames wait for those of the other inputs."""

    def __init__(self, stream: LayerStream, sources: list[int]) -> None:
        super().__init__(stream)
        self._waiting: dict[int, deque[Tensor]] = {source: deque() for source in sources}

    def take(self, frame: Tensor, source: int) -> bool:
        self._waiting[source].append(frame)
        reached = False
        while all(self._waiting.values()):
            frames = [queue.popleft() for queue in self._waiting.values()]
            for result in self._stream.step(*frames):
                reached = self.hand_on(result) or reached
        return reached

    def reset(self) -> None:
        super().reset()
        for queue in self._waiting.values():
            queue.clear()


def _pipe_of(node: Node) -> _Pipe:
    stream = node.layer.stream()
    if node.layer.is_join:
        return _JoinPipe(stream, [id(feeder) for feeder in node.inputs])
    return _QueuePipe(stream) if stream.queues else _LayerPipe(stream)
