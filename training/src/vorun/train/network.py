"""The network of a speech denoiser: magnitudes in, a mask out, no look-ahead.

    513 levels -> relative to the past -> stairs -> 171 -> 57 -> 19 rows ---.
                                            |        |      |          blocks, back to 1.4 s
                                            |        |      `- blocks <- 57 <--'
                                            |        `- blocks <- 171 <-'
                                            `- head <------------'
                                                `-> mask
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import Sequence

import torch
from torch import Tensor, nn

from ..audio import AudioFormat
from ..layers import (BatchNorm, Conv, Dense, DepthwiseConv, LeakyReLU, Norm, PreNorm, Sigmoid,
                      TransposedConv, concat)

# 16 ms at 48 kHz. 513 rows are three strides of 3 without a remainder.
AUDIO = AudioFormat(sample_rate=48000.0, fft_size=1024, window_size=1024, hop_size=256)

# Levels, relative to the mean of the past, between which the stairs lie.
_LOWEST_STEP, _HIGHEST_STEP = 1 / 2000, 20.0
# Of the mask's logits at the start: rather open than shut.
_START = 1.0


@dataclass(frozen=True)
class NetworkSettings:
    """Sizes. The engine is fastest where channels are multiples of 16.

    stairs     soft thresholds, which are to levels what a logarithm is
    head       products of stairs and decoder from which the mask is summed
    fine, middle, coarse   channels at 171, 57 and 19 rows
    coarse_dilations, middle_dilations, fine_dilations   frames between the taps of each block
    dense_after   places in the coarse blocks behind which all rows are joined
    floor_db   what the mask leaves at least, in dB; -200 and less is nothing
    """

    stairs: int = 16
    head: int = 8
    fine: int = 16
    middle: int = 32
    coarse: int = 80
    coarse_dilations: Sequence[int] = (1, 2, 4, 8, 16, 32, 64)
    middle_dilations: Sequence[int] = (1, 4)
    fine_dilations: Sequence[int] = ()
    dense_after: Sequence[int] = (2, 5)
    level_frames: int = 192
    level_time_constant: float = 60.0
    floor_db: float = -18.0

    @property
    def floor(self) -> float:
        return 10 ** (self.floor_db / 20) if self.floor_db > -200 else 0.0

    @property
    def frames_back(self) -> int:
        """By which the oldest frame that matters lies back, without the mean level."""
        dilations = (*self.coarse_dilations, *self.middle_dilations, *self.fine_dilations)
        return 2 * sum(dilations)


class Denoiser(nn.Module):
    """[batch, 1, frames, 513] magnitudes to a mask of the same shape."""

    def __init__(self, settings: NetworkSettings = NetworkSettings()) -> None:
        super().__init__()
        self.settings = s = settings
        self.level = PreNorm.exponential(s.level_frames, s.level_time_constant)
        self.stairs = nn.Sequential(_steps(s.stairs), Sigmoid())
        self.down1 = _unit(Conv(s.stairs, s.fine, (1, 5), height_stride=3))
        self.down2 = _unit(Conv(s.fine, s.middle, (1, 5), height_stride=3))
        self.down3 = _unit(Conv(s.middle, s.coarse, (1, 5), height_stride=3))
        self.past = nn.Sequential(*_coarse_blocks(s))
        self.up3 = _unit(TransposedConv(s.coarse, s.middle, (1, 3), height_stride=3))
        self.join3 = _unit(Conv(2 * s.middle, s.middle))
        self.middle = nn.Sequential(*[Block(s.middle, d) for d in s.middle_dilations])
        self.up2 = _unit(TransposedConv(s.middle, s.fine, (1, 3), height_stride=3))
        self.join2 = _unit(Conv(2 * s.fine, s.fine))
        self.fine = nn.Sequential(*[Block(s.fine, d) for d in s.fine_dilations])
        self.steer = TransposedConv(s.fine, s.head, (1, 3), height_stride=3)
        self.curves = Conv(s.stairs, s.head)
        self.sum = Conv(s.head, 1)
        nn.init.constant_(self.sum.bias, _START)
        self.open = nn.Sequential(Sigmoid(), *_floor(s.floor))

    def forward(self, magnitudes: Tensor) -> Tensor:
        stairs = self.stairs(self.level(magnitudes))
        fine = self.down1(stairs)
        middle = self.down2(fine)
        coarse = self.past(self.down3(middle))
        middle = self.middle(self.join3(concat(self.up3(coarse), middle)))
        fine = self.fine(self.join2(concat(self.up2(middle), fine)))
        return self.open(self.sum(self.steer(fine) * self.curves(stairs)))


class Block(nn.Module):
    """Three frames by three rows of each channel, then all channels of a row; added to what came
    in.
    """

    def __init__(self, channels: int, dilation: int) -> None:
        super().__init__()
        self.spread = _unit(DepthwiseConv(channels, (3, 3), time_dilation=dilation))
        self.mix = nn.Sequential(Conv(channels, channels), BatchNorm(channels))
        self.bend = LeakyReLU(0.1)

    def forward(self, x: Tensor) -> Tensor:
        return self.bend(x + self.mix(self.spread(x)))


class AllRows(nn.Module):
    """Every row hears every other of its channel; added to what came in."""

    def __init__(self, height: int, channels: int) -> None:
        super().__init__()
        self.dense = _unit(Dense(height, channels), channels)

    def forward(self, x: Tensor) -> Tensor:
        return x + self.dense(x)


def count_operations(network: nn.Module, audio: AudioFormat = AUDIO) -> tuple[int, int]:
    """(parameters, floating-point operations of the matrices for a frame)."""
    operations = 0

    def count(layer: nn.Module, _, output: Tensor) -> None:
        nonlocal operations
        per_value = layer.weight[0].numel()
        if isinstance(layer, TransposedConv):
            per_value = layer.in_channels
        elif isinstance(layer, Dense):
            per_value = layer.height
        operations += 2 * per_value * output.shape[1] * output.shape[3]

    hooks = [layer.register_forward_hook(count) for layer in network.modules()
             if isinstance(layer, (Conv, TransposedConv, Dense))]
    training = network.training
    network.eval()
    with torch.no_grad():
        network(torch.ones(1, audio.channels, 1, audio.rows))
    network.train(training)
    for hook in hooks:
        hook.remove()
    return sum(values.numel() for values in network.parameters()), operations


def _unit(layer: nn.Module, channels: int = 0) -> nn.Sequential:
    return nn.Sequential(layer, BatchNorm(channels or layer.out_channels), LeakyReLU(0.1))


def _steps(count: int) -> Conv:
    """1 row to `count` channels, steeper from one to the next."""
    conv = Conv(1, count)
    with torch.no_grad():
        gains = torch.logspace(0, 1, count, _HIGHEST_STEP / _LOWEST_STEP) / _HIGHEST_STEP
        conv.weight.copy_(gains.view(-1, 1, 1, 1))
        conv.bias.zero_()
    return conv


def _coarse_blocks(settings: NetworkSettings) -> list[nn.Module]:
    blocks: list[nn.Module] = []
    height = AUDIO.rows // 27
    for place, dilation in enumerate(settings.coarse_dilations):
        blocks.append(Block(settings.coarse, dilation))
        if place in settings.dense_after:
            blocks.append(AllRows(height, settings.coarse))
    return blocks


def _floor(floor: float) -> list[nn.Module]:
    """Fixed: 0 to 1 becomes floor to 1."""
    if floor <= 0:
        return []
    norm = Norm(1, 1 - floor, floor)
    norm.requires_grad_(False)
    return [norm]
