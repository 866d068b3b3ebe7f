"""Layers that scale: by fixed numbers, by what training measured, by the level of the past."""

from __future__ import annotations

from typing import Optional, Sequence, Union

import torch
import torch.nn.functional as F
from torch import Tensor, nn

from ..model_file import NormRecord, PreNormRecord
from .base import FrameFunction, Layer, LayerStream, Shape, block, require, require_channels

LEVEL_FLOOR = 1e-12


class Norm(Layer):
    """Each channel times a scale plus an offset, both trained. Numbers stand for all channels."""

    def __init__(self, channels: int, scale: Union[float, Sequence[float]] = 1.0,
                 offset: Union[float, Sequence[float]] = 0.0) -> None:
        super().__init__()
        self.channels = channels
        self.scale = nn.Parameter(_of_channels(scale, channels))
        self.offset = nn.Parameter(_of_channels(offset, channels))

    def forward(self, x: Tensor) -> Tensor:
        return x * self.scale.view(1, -1, 1, 1) + self.offset.view(1, -1, 1, 1)

    def output_shape(self, *shapes: Shape) -> Shape:
        require_channels("a norm", self.channels, shapes[0])
        return shapes[0]

    def scale_and_offset(self) -> tuple[Tensor, Tensor]:
        return self.scale.detach(), self.offset.detach()

    def record(self, name: str, inputs: list[str], element_type: int) -> NormRecord:
        scale, offset = self.scale_and_offset()
        return NormRecord(name, inputs, block(offset), block(scale))


class BatchNorm(Layer):
    """Batch normalisation in training; afterwards, in streams and in files, the Norm that it has
    become, which an export puts into the convolution before it where there is one.
    """

    def __init__(self, channels: int, *, momentum: float = 0.1, epsilon: float = 1e-5) -> None:
        super().__init__()
        self.channels = channels
        self.inner = nn.BatchNorm2d(channels, eps=epsilon, momentum=momentum)

    def forward(self, x: Tensor) -> Tensor:
        return self.inner(x)

    def output_shape(self, *shapes: Shape) -> Shape:
        require_channels("a batch norm", self.channels, shapes[0])
        return shapes[0]

    def scale_and_offset(self) -> tuple[Tensor, Tensor]:
        inner = self.inner
        scale = inner.weight.detach() / torch.sqrt(inner.running_var + inner.eps)
        return scale, inner.bias.detach() - inner.running_mean * scale

    def stream(self) -> LayerStream:
        return FrameFunction(self._as_norm)

    def _as_norm(self, frame: Tensor) -> Tensor:
        scale, offset = self.scale_and_offset()
        return frame * scale.view(1, -1, 1, 1) + offset.view(1, -1, 1, 1)

    def record(self, name: str, inputs: list[str], element_type: int) -> NormRecord:
        scale, offset = self.scale_and_offset()
        return NormRecord(name, inputs, block(offset), block(scale))


class PreNorm(Layer):
    """Divides each frame by a weighted sum of the levels (root mean squares over all channels and
    bins) of the latest frames. The first frame counts as its own past.

    window  weight of the level k frames back at place k; a sum of 1 gives about unit level
    """

    def __init__(self, window: Sequence[float], *, trained: bool = False) -> None:
        super().__init__()
        values = torch.as_tensor(window, dtype=torch.float32).clone()
        require(values.dim() == 1 and len(values) >= 1, "a level window has 1 weight or more")
        self.window: Tensor
        if trained:
            self.window = nn.Parameter(values)
        else:
            self.register_buffer("window", values)

    @classmethod
    def exponential(cls, frames: int, time_constant: float) -> PreNorm:
        """The mean of the latest `frames` levels, each weighing 1/e of that `time_constant` frames
        after it.
        """
        window = torch.exp(-torch.arange(frames, dtype=torch.float64) / time_constant)
        return cls((window / window.sum()).tolist())

    def forward(self, x: Tensor) -> Tensor:
        """[batch, channels, frames, height], in and out."""
        if x.shape[2] == 0:
            return x
        before = len(self.window) - 1
        levels = F.pad(_levels(x), (before, 0), mode="replicate")
        weighted = F.conv1d(levels, self.window.flip(0).view(1, 1, -1))
        return x * (1 / (weighted + LEVEL_FLOOR)).unsqueeze(3)

    def stream(self) -> LayerStream:
        return _PreNormStream(self)

    def record(self, name: str, inputs: list[str], element_type: int) -> PreNormRecord:
        # The file has the current frame first, then the others from the oldest on.
        current, past = self.window[:1], self.window[1:]
        return PreNormRecord(name, inputs, block(torch.cat([current, past.flip(0)])))


class _PreNormStream(LayerStream):
    def __init__(self, layer: PreNorm) -> None:
        self._layer = layer
        self.reset()

    def reset(self) -> None:
        self._levels: Optional[list[Tensor]] = None

    def step(self, *frames: Tensor) -> list[Tensor]:
        window = self._layer.window
        level = _levels(frames[0])
        if self._levels is None:
            self._levels = [level] * len(window)
        self._levels = [level] + self._levels[:-1]
        weighted = sum(weight * past for weight, past in zip(window, self._levels))
        return [frames[0] * (1 / (weighted + LEVEL_FLOOR)).unsqueeze(3)]


def _levels(x: Tensor) -> Tensor:
    """[batch, 1, frames]. The gradient of a silent frame is 0."""
    norm = torch.linalg.vector_norm(x, dim=(1, 3)).unsqueeze(1)
    return norm / (x.shape[1] * x.shape[3]) ** 0.5


def _of_channels(values: Union[float, Sequence[float]], channels: int) -> Tensor:
    tensor = torch.as_tensor(values, dtype=torch.float32)
    require(tensor.dim() == 0 or tensor.shape == (channels,),
            f"a norm of {channels} channels takes one number or {channels}")
    return tensor.expand(channels).clone()
