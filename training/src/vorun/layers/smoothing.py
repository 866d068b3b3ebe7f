"""Smoothing by two rows of taps that all channels share."""

from __future__ import annotations

from typing import Sequence

import torch
import torch.nn.functional as F
from torch import Tensor, nn

from ..model_file import SeparableChannelConvRecord
from .base import Layer, LayerStream, WindowStream, block, require


class SeparableChannelConv(Layer):
    """A filter over time, then one over height, the same in all channels.

    time_kernel    place k weighs the frame k back
    height_kernel  place j weighs the bin j - (taps - 1) // 2 below; bins outside are zero

    The first (taps + 1) // 2 - 1 frames give no output, so that a time kernel of an odd number of
    taps is centred on the frame that it belongs to. The engine does not count these frames in its
    latency.
    """

    time_kernel: Tensor
    height_kernel: Tensor

    def __init__(self, time_kernel: Sequence[float], height_kernel: Sequence[float], *,
                 trained: bool = True) -> None:
        super().__init__()
        for name, values in (("time_kernel", time_kernel), ("height_kernel", height_kernel)):
            kernel = torch.as_tensor(values, dtype=torch.float32).clone()
            require(kernel.dim() == 1 and len(kernel) >= 1, f"{name} has 1 tap or more")
            if trained:
                setattr(self, name, nn.Parameter(kernel))
            else:
                self.register_buffer(name, kernel)

    @property
    def warm_up(self) -> int:
        """Frames that pass before the first output."""
        return (len(self.time_kernel) + 1) // 2 - 1

    def forward(self, x: Tensor) -> Tensor:
        """[batch, channels, frames, height] to [batch, channels, frames - warm_up, height]."""
        if x.shape[2] <= self.warm_up:
            return x[:, :, :0]
        return self.smooth(F.pad(x, (0, 0, len(self.time_kernel) - 1 - self.warm_up, 0)))

    def smooth(self, x: Tensor) -> Tensor:
        """Frames on which the whole time kernel fits."""
        batch, channels, frames, height = x.shape
        taps = len(self.height_kernel)
        below = taps - 1 - (taps - 1) // 2
        y = F.pad(x.reshape(batch * channels, 1, frames, height), (below, taps - 1 - below))
        y = F.conv2d(y, self.time_kernel.flip(0).view(1, 1, -1, 1))
        y = F.conv2d(y, self.height_kernel.flip(0).view(1, 1, 1, -1))
        return y.view(batch, channels, -1, height)

    def stream(self) -> LayerStream:
        return _SmoothingStream(self)

    def record(self, name: str, inputs: list[str], element_type: int) -> SeparableChannelConvRecord:
        # The file has the tap of the current frame last, behind those of the frames before it.
        time_kernel = torch.cat([self.time_kernel[1:], self.time_kernel[:1]])
        return SeparableChannelConvRecord(name, inputs, block(time_kernel),
                                          block(self.height_kernel))


class _SmoothingStream(WindowStream):
    def __init__(self, layer: SeparableChannelConv) -> None:
        super().__init__(layer, len(layer.time_kernel) - 1)

    def take(self, window: Tensor, index: int) -> list[Tensor]:
        return [self._layer.smooth(window)] if index >= self._layer.warm_up else []
