"""A matrix over height."""

from __future__ import annotations

import copy

import torch
from torch import Tensor, nn

from ..model_file import DenseRecord
from .base import Layer, Shape, block, require_channels, require_height
from .convolution import initialise


class Dense(Layer):
    """Every output bin is a sum over all input bins, with weights of its own in each channel.

    `weight` is [channels, output bins, input bins], `bias` [channels, bins].
    """

    def __init__(self, height: int, channels: int, *, bias: bool = True) -> None:
        super().__init__()
        self.height, self.channels = height, channels
        self.weight = nn.Parameter(torch.empty(channels, height, height))
        self.bias = nn.Parameter(torch.empty(channels, height)) if bias else None
        initialise(self.weight, self.bias, height)

    def forward(self, x: Tensor) -> Tensor:
        """[batch, channels, frames, height], in and out."""
        batch, channels, frames, height = x.shape
        rows = x.transpose(0, 1).reshape(channels, batch * frames, height)
        y = torch.bmm(rows, self.weight.transpose(1, 2))
        if self.bias is not None:
            y = y + self.bias.unsqueeze(1)
        return y.view(channels, batch, frames, height).transpose(0, 1)

    def output_shape(self, *shapes: Shape) -> Shape:
        require_channels("a dense layer", self.channels, shapes[0])
        require_height("a dense layer", self.height, shapes[0])
        return shapes[0]

    def record(self, name: str, inputs: list[str], element_type: int) -> DenseRecord:
        return DenseRecord(name, inputs, block(self.weight.permute(1, 2, 0), element_type),
                           None if self.bias is None else block(self.bias.t()))

    def folded(self, scale: Tensor, offset: Tensor) -> Dense:
        """A copy with output * scale + offset, both [channels], inside."""
        layer = copy.deepcopy(self)
        bias = self.weight.new_zeros(self.channels, self.height)
        if self.bias is not None:
            bias = self.bias.detach()
        layer.weight = nn.Parameter(self.weight.detach() * scale.view(-1, 1, 1))
        layer.bias = nn.Parameter(bias * scale.view(-1, 1) + offset.view(-1, 1))
        return layer
