"""Transposed convolution, which widens frames and raises their rate."""

from __future__ import annotations

import copy
from fractions import Fraction
from typing import Optional

import torch
import torch.nn.functional as F
from torch import Tensor, nn

from ..model_file import TransposedConvRecord
from .base import Layer, LayerStream, Shape, block, require, require_channels
from .convolution import initialise


class TransposedConv(Layer):
    """The mirror of Conv: each input frame gives time_stride frames, each bin height_stride bins.

    kernel     (frames, bins); taps reach from the first of the frames given to later ones
    lookahead  output frames that are dropped at the start
    depthwise  each channel by itself; in_channels and out_channels are the same

    `weight` is [input, output, frames, bins] as in nn.ConvTranspose2d.
    """

    def __init__(self, in_channels: int, out_channels: int, kernel: tuple[int, int] = (1, 1), *,
                 time_stride: int = 1, height_stride: int = 1, lookahead: int = 0,
                 depthwise: bool = False, bias: bool = True) -> None:
        super().__init__()
        require(min(time_stride, height_stride) >= 1, "strides are 1 or more")
        require(min(kernel) >= 1, "a kernel has 1 frame and 1 bin or more")
        require(not depthwise or 1 < in_channels == out_channels,
                "a depthwise transposed convolution gives the channels that it takes, 2 or more")
        self.in_channels, self.out_channels, self.kernel = in_channels, out_channels, tuple(kernel)
        self.time_stride, self.height_stride, self.lookahead = time_stride, height_stride, lookahead
        self.depthwise = depthwise
        self.groups = in_channels if depthwise else 1
        self.weight = nn.Parameter(torch.empty(in_channels, out_channels // self.groups, *kernel))
        self.bias = nn.Parameter(torch.empty(out_channels)) if bias else None
        taps = max(1, kernel[0] * kernel[1] // (time_stride * height_stride))
        initialise(self.weight, self.bias, in_channels // self.groups * taps)

    def forward(self, x: Tensor) -> Tensor:
        """[batch, in_channels, frames, height] to
        [batch, out_channels, frames * time_stride - lookahead, height * height_stride].
        """
        dropped = max(self.lookahead, 0)
        frames = x.shape[2] * self.time_stride
        if frames <= dropped:
            return x.new_zeros(x.shape[0], self.out_channels, 0, x.shape[3] * self.height_stride)
        y = self.scatter(x)
        if dropped or y.shape[2] != frames:
            y = F.pad(y, (0, 0, -dropped, frames - y.shape[2]))
        return self.add_bias(y)

    def scatter(self, x: Tensor) -> Tensor:
        """All frames that the taps reach, at the output height and without bias."""
        if self.groups == 1 and self.kernel == (1, self.height_stride) and self.time_stride == 1:
            return self._spread(x)
        y = F.conv_transpose2d(x, self.weight, None, (self.time_stride, self.height_stride),
                               groups=self.groups)
        left = int((self.kernel[1] - self.height_stride) / 2)
        height = x.shape[3] * self.height_stride
        right = height + left - y.shape[3]
        return F.pad(y, (-left, right)) if left or right else y

    def _spread(self, x: Tensor) -> Tensor:
        """Taps that do not overlap: an ordinary convolution to more channels, whose groups then
        stand side by side in height. On a processor that trains in half the time.
        """
        weight = self.weight[:, :, 0].permute(1, 2, 0).reshape(-1, self.in_channels, 1, 1)
        y = F.conv2d(x, weight)
        batch, _, frames, height = y.shape
        y = y.view(batch, self.out_channels, self.height_stride, frames, height)
        return y.permute(0, 1, 3, 4, 2).reshape(batch, self.out_channels, frames, -1)

    def add_bias(self, y: Tensor) -> Tensor:
        return y if self.bias is None else y + self.bias.view(1, -1, 1, 1)

    def output_shape(self, *shapes: Shape) -> Shape:
        require_channels("a transposed convolution", self.in_channels, shapes[0])
        return Shape(shapes[0].height * self.height_stride, self.out_channels)

    def stream(self) -> LayerStream:
        return _TransposedConvStream(self)

    def record(self, name: str, inputs: list[str], element_type: int) -> TransposedConvRecord:
        return TransposedConvRecord(
            name, inputs, block(self.weight.permute(2, 3, 1, 0), element_type),
            None if self.bias is None else block(self.bias), self.out_channels, self.time_stride,
            self.height_stride, lookahead=self.lookahead)

    @property
    def rate(self) -> Fraction:
        return Fraction(self.time_stride)

    def latency(self, scale: int) -> tuple[int, int]:
        return scale // self.time_stride, scale * self.lookahead

    def folded(self, scale: Tensor, offset: Tensor) -> TransposedConv:
        """A copy with output * scale + offset, both [out_channels], inside."""
        layer = copy.deepcopy(self)
        bias = torch.zeros_like(scale) if self.bias is None else self.bias.detach()
        along = (-1, 1, 1, 1) if self.depthwise else (1, -1, 1, 1)
        layer.weight = nn.Parameter(self.weight.detach() * scale.view(along))
        layer.bias = nn.Parameter(bias * scale + offset)
        return layer


class _TransposedConvStream(LayerStream):
    """Keeps the output frames that later taps still reach."""

    queues = True

    def __init__(self, layer: TransposedConv) -> None:
        self._layer = layer
        self.reset()

    def reset(self) -> None:
        self._open: Optional[Tensor] = None
        self._count = 0

    def step(self, *frames: Tensor) -> list[Tensor]:
        layer = self._layer
        reached = layer.scatter(frames[0])
        missing = max(layer.kernel[0], layer.time_stride) - reached.shape[2]
        reached = F.pad(reached, (0, 0, 0, missing))
        if self._open is not None:
            reached = reached + self._open
        done, still_open = reached[:, :, :layer.time_stride], reached[:, :, layer.time_stride:]
        self._open = F.pad(still_open, (0, 0, 0, layer.time_stride))
        released = [layer.add_bias(frame) for frame in done.split(1, 2)]
        dropped = max(0, layer.lookahead - self._count)
        self._count += layer.time_stride
        return released[dropped:]
