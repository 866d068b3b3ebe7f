"""What all layers have in common.

A layer computes in two forms that give the same frames:

- as a whole sequence: calling it with [batch, channels, frames, height] gives all frames that come
  out, in order. This form is for training.
- as a stream: `stream()` gives an object that takes one frame at a time and keeps what it needs of
  the past, as the engine does. This form is for checks; see vorun.streaming for whole networks.

Frame k of a result belongs to frame k of the input: a look-ahead drops the first frames, so that a
sequence comes out shorter, and nothing has to be shifted back.
"""

from __future__ import annotations

from fractions import Fraction
from typing import Any, Callable, NamedTuple, Optional

import torch
from torch import Tensor, nn

from ..model_file import ElementType, LayerRecord, TensorBlock
from .symbols import Symbol


class Shape(NamedTuple):
    """Of one frame."""

    height: int
    channels: int


class LayerStream:
    """One layer at work on a stream. Frames are [batch, channels, 1, height].

    ticks   a frame that gives nothing is told to the layers behind (convolutions alone do that)
    queues  what comes out waits for such a tick if the frame before it has reached the output
    """

    ticks = False
    queues = False

    def step(self, *frames: Tensor) -> list[Tensor]:
        """Takes one frame of each input, and gives the frames that come out, oldest first."""
        raise NotImplementedError

    def reset(self) -> None:
        """Starts a new stream."""


class FrameFunction(LayerStream):
    """The stream of a layer that keeps nothing."""

    def __init__(self, function: Callable[..., Tensor]) -> None:
        self._function = function

    def step(self, *frames: Tensor) -> list[Tensor]:
        return [self._function(*frames)]


class WindowStream(LayerStream):
    """The stream of a layer that sees each frame with some before it, silence before the first."""

    def __init__(self, layer: Any, before: int) -> None:
        self._layer = layer
        self._before = before
        self.reset()

    def reset(self) -> None:
        self._past: Optional[Tensor] = None
        self._count = 0

    def step(self, *frames: Tensor) -> list[Tensor]:
        frame = frames[0]
        if self._past is None:
            self._past = frame.new_zeros(*frame.shape[:2], self._before, frame.shape[3])
        window = torch.cat([self._past, frame], 2)
        self._past = window[:, :, 1:]
        self._count += 1
        return self.take(window, self._count - 1)

    def take(self, window: Tensor, index: int) -> list[Tensor]:
        """The frames that come out for frame number `index`, the last one of the window."""
        raise NotImplementedError


class Layer(nn.Module):
    """Base of the engine's layers.

    In a trace (vorun.graph) a layer is called with symbols in place of tensors, and records itself.
    """

    is_join = False

    def __call__(self, *inputs):
        for value in inputs:
            if isinstance(value, Symbol):
                return value.trace.record(self, inputs)
        return super().__call__(*inputs)

    def output_shape(self, *shapes: Shape) -> Shape:
        """Raises ValueError for frames that the layer cannot take."""
        return shapes[0]

    def stream(self) -> LayerStream:
        return FrameFunction(self.forward)

    def record(self, name: str, inputs: list[str], element_type: int) -> LayerRecord:
        """The layer's record in a model file, large tensors stored as `element_type`."""
        raise NotImplementedError

    @property
    def rate(self) -> Fraction:
        """Frames that come out for each frame in."""
        return Fraction(1)

    def latency(self, scale: int) -> tuple[int, int]:
        """As the engine counts it, for a layer whose frames are `scale` frames of the input long:
        that number for the layers behind, and the frames that this layer adds.
        """
        return scale, 0


def block(values: Tensor, element_type: int = ElementType.SINGLE) -> TensorBlock:
    """A tensor of a model file."""
    return TensorBlock.of(values.detach().to("cpu", torch.float32).numpy(), element_type)


def require(condition: bool, text: str) -> None:
    if not condition:
        raise ValueError(text)


def require_channels(layer: str, wanted: int, shape: Shape) -> None:
    require(shape.channels == wanted,
            f"{layer} of {wanted} channels is fed frames of {shape.channels}")


def require_height(layer: str, wanted: int, shape: Shape) -> None:
    require(shape.height == wanted, f"{layer} of height {wanted} is fed frames of {shape.height}")
