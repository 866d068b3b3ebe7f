"""Convolution over time and height."""

from __future__ import annotations

import copy
import math
from fractions import Fraction
from typing import Optional

import torch
import torch.nn.functional as F
from torch import Tensor, nn

from ..model_file import ConvRecord
from .base import (Layer, LayerStream, Shape, WindowStream, block, require,
                   require_channels)


class Conv(Layer):
    """Causal in time, zero-padded in height.

    kernel         (frames, bins)
    time_stride    frames in for each frame out
    height_stride  bins in for each bin out; a height that it does not divide loses its last bins
    time_dilation  frames between two taps
    lookahead      frames that pass before the first output: how far the last tap looks ahead
    depthwise      each input channel feeds out_channels / in_channels adjacent output channels

    `weight` is [output, input, frames, bins] as in nn.Conv2d, the last frame being the current one.
    """

    def __init__(self, in_channels: int, out_channels: int, kernel: tuple[int, int] = (1, 1), *,
                 time_stride: int = 1, height_stride: int = 1, time_dilation: int = 1,
                 lookahead: int = 0, depthwise: bool = False, bias: bool = True) -> None:
        super().__init__()
        require(min(time_stride, height_stride) >= 1, "strides are 1 or more")
        require(time_dilation >= 1, "a dilation is 1 or more")
        require(min(kernel) >= 1, "a kernel has 1 frame and 1 bin or more")
        require(not depthwise or out_channels % in_channels == 0,
                "a depthwise convolution has a multiple of its input channels")
        self.in_channels, self.out_channels, self.kernel = in_channels, out_channels, tuple(kernel)
        self.time_stride, self.height_stride = time_stride, height_stride
        self.time_dilation, self.lookahead = time_dilation, lookahead
        self.depthwise = depthwise
        self.groups = in_channels if depthwise else 1
        self.weight = nn.Parameter(torch.empty(out_channels, in_channels // self.groups, *kernel))
        self.bias = nn.Parameter(torch.empty(out_channels)) if bias else None
        initialise(self.weight, self.bias, fan_in=self.weight[0].numel())

    @property
    def history(self) -> int:
        """Frames that are kept of the past."""
        return (self.kernel[0] - 1) * self.time_dilation

    @property
    def first_frame(self) -> int:
        """The input frame at which the first output is computed."""
        return self.lookahead if self.lookahead >= 0 else self.lookahead % self.time_stride

    def forward(self, x: Tensor) -> Tensor:
        """[batch, in_channels, frames, height] to [batch, out_channels, frames out, height out]."""
        frames = x.shape[2] - self.first_frame
        if frames < 1:
            shape = self.output_shape(Shape(x.shape[3], x.shape[1]))
            return x.new_zeros(x.shape[0], shape.channels, 0, shape.height)
        return self.convolve(x, self.history - self.first_frame)

    def convolve(self, x: Tensor, frames_before: int = 0) -> Tensor:
        """From every time_stride-th frame on which the kernel fits, with that many frames of zeros
        put before, or taken off if below 0.
        """
        height, kernel, stride = x.shape[3], self.kernel[1], self.height_stride
        left, right = height_padding(height, kernel, stride)
        # The convolution pads both sides alike without a copy, and ignores bins that are left over.
        bins_if_alike = (height + 2 * left - kernel) // stride + 1
        alike = left >= 0 and bins_if_alike == height // stride
        if frames_before or not alike:
            x = F.pad(x, (0, 0, frames_before, 0) if alike else (left, right, frames_before, 0))
        return F.conv2d(x, self.weight, self.bias, (self.time_stride, self.height_stride),
                        (0, left if alike else 0), (self.time_dilation, 1), self.groups)

    def output_shape(self, *shapes: Shape) -> Shape:
        require_channels("a convolution", self.in_channels, shapes[0])
        height = shapes[0].height // self.height_stride
        require(height >= 1, f"a height stride of {self.height_stride} leaves nothing of "
                             f"{shapes[0].height} bins")
        return Shape(height, self.out_channels)

    def stream(self) -> LayerStream:
        return _ConvStream(self)

    def record(self, name: str, inputs: list[str], element_type: int) -> ConvRecord:
        return ConvRecord(
            name, inputs, block(self.weight.permute(2, 3, 1, 0), element_type),
            None if self.bias is None else block(self.bias), self.time_stride, self.height_stride,
            self.time_dilation, lookahead=self.lookahead)

    @property
    def rate(self) -> Fraction:
        return Fraction(1, self.time_stride)

    def latency(self, scale: int) -> tuple[int, int]:
        return scale * self.time_stride, scale * self.lookahead

    def folded(self, scale: Tensor, offset: Tensor) -> Conv:
        """A copy with output * scale + offset, both [out_channels], inside."""
        layer = copy.deepcopy(self)
        bias = torch.zeros_like(scale) if self.bias is None else self.bias.detach()
        layer.weight = nn.Parameter(self.weight.detach() * scale.view(-1, 1, 1, 1))
        layer.bias = nn.Parameter(bias * scale + offset)
        return layer


class DepthwiseConv(Conv):
    """A convolution of each channel by itself."""

    def __init__(self, channels: int, kernel: tuple[int, int], **options) -> None:
        super().__init__(channels, channels, kernel, depthwise=channels > 1, **options)


class _ConvStream(WindowStream):
    ticks = True

    def __init__(self, layer: Conv) -> None:
        super().__init__(layer, layer.history)

    def take(self, window: Tensor, index: int) -> list[Tensor]:
        since_first = index - self._layer.lookahead
        if since_first < 0 or since_first % self._layer.time_stride:
            return []
        return [self._layer.convolve(window)]


def height_padding(height: int, kernel: int, stride: int) -> tuple[int, int]:
    """Bins to add below and above; negative ones are taken off."""
    left = int((kernel - stride) / 2)
    return left, (height // stride - 1) * stride + kernel - left - height


def initialise(weight: Tensor, bias: Optional[Tensor], fan_in: int) -> None:
    """Uniform, as PyTorch starts its convolutions."""
    bound = 1 / math.sqrt(fan_in)
    nn.init.uniform_(weight, -bound, bound)
    if bias is not None:
        nn.init.uniform_(bias, -bound, bound)
