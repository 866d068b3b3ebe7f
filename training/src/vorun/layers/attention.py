"""Attention with a fixed window."""

from __future__ import annotations

import torch
import torch.nn.functional as F
from torch import Tensor, nn

from ..model_file import SelfAttentionRecord
from .base import (Layer, LayerStream, Shape, WindowStream, block, require, require_channels,
                   require_height)


class SelfAttention(Layer):
    """A weighted sum over the latest frames, each channel by itself, then a matrix over channels
    and a bias for each bin. All weights are trained; nothing depends on the data.

    window     frames in the sum; 0 for the current one as it is
    lookahead  frames that pass before the first output

    `projection` is [input, output channels], `attention` [frames, channels] from the oldest to the
    current, `bias` [height, channels].
    """

    def __init__(self, height: int, channels: int, window: int = 0, *, lookahead: int = 0) -> None:
        super().__init__()
        require(window >= 0, "a window has 0 frames or more")
        require(lookahead >= 0, "an attention has a look-ahead of 0 or more")
        self.height, self.channels, self.window = height, channels, window
        self.lookahead = lookahead
        bound = channels**-0.5
        self.projection = nn.Parameter(torch.empty(channels, channels).uniform_(-bound, bound))
        self.bias = nn.Parameter(torch.zeros(height, channels))
        mean = torch.full((window, channels), 1 / max(window, 1))
        self.attention = nn.Parameter(mean) if window else None

    def forward(self, x: Tensor) -> Tensor:
        """[batch, channels, frames, height] to [batch, channels, frames - lookahead, height]."""
        if x.shape[2] <= self.lookahead:
            return x[:, :, :0]
        before = max(self.window - 1, 0) - self.lookahead
        return self.attend(F.pad(x, (0, 0, before, 0)) if before else x)

    def attend(self, x: Tensor) -> Tensor:
        """Frames on which the whole window fits."""
        if self.attention is not None:
            x = F.conv2d(x, self.attention.t()[:, None, :, None], groups=self.channels)
        y = F.conv2d(x, self.projection.t()[:, :, None, None])
        return y + self.bias.t()[None, :, None, :]

    def output_shape(self, *shapes: Shape) -> Shape:
        require_channels("an attention", self.channels, shapes[0])
        require_height("an attention", self.height, shapes[0])
        return shapes[0]

    def stream(self) -> LayerStream:
        return _SelfAttentionStream(self)

    def record(self, name: str, inputs: list[str], element_type: int) -> SelfAttentionRecord:
        return SelfAttentionRecord(
            name, inputs, block(self.projection, element_type), block(self.bias), self.lookahead,
            None if self.attention is None else block(self.attention))

    def latency(self, scale: int) -> tuple[int, int]:
        # The engine does not scale this look-ahead with the strides before it.
        return scale, self.lookahead


class _SelfAttentionStream(WindowStream):
    def __init__(self, layer: SelfAttention) -> None:
        super().__init__(layer, max(layer.window - 1, 0))

    def take(self, window: Tensor, index: int) -> list[Tensor]:
        return [self._layer.attend(window)] if index >= self._layer.lookahead else []
