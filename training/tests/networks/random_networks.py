"""Random networks with branches and joins, drawn from a seed."""

from __future__ import annotations

import random
from fractions import Fraction
from typing import NamedTuple

import torch
from torch import nn

from vorun.layers import (Arithmetic, BatchNorm, Concat, Conv, Dense, ELU, HardSigmoid, Layer,
                          LeakyReLU, Norm, PreNorm, ReLU, SelfAttention, SeparableChannelConv,
                          Shape, Sigmoid, Softplus, TransposedConv)
from vorun.model_file import Operation

HIGHEST, WIDEST = 24, 8


class Place(NamedTuple):
    """A value in the network: its frames, and how many there are for each at the input."""

    shape: Shape
    rate: Fraction


class RandomNetwork(nn.Module):
    """`kinds` are the names of what it holds. Each seed features one kind more often."""

    KINDS = ("conv", "depthwise", "strided", "slower", "faster", "transposed", "dense", "norm",
             "batch_norm", "level", "attention", "smoothing", "activation", "concat", "arithmetic",
             "quotient")

    def __init__(self, seed: int, steps: int = 12) -> None:
        super().__init__()
        torch.manual_seed(seed)
        self._random = random.Random(seed)
        self.input_shape = Shape(self._random.randint(4, 12), self._random.randint(1, 3))
        self.kinds: list[str] = []
        self.layers = nn.ModuleList()
        self._plan: list[tuple[int, ...]] = []
        self._places = [Place(self.input_shape, Fraction(1))]
        featured = self.KINDS[seed % len(self.KINDS)]
        for step in range(steps):
            kind = featured if step % 4 == 1 else self._random.choice(self.KINDS)
            getattr(self, f"_add_{kind}")()
            self.kinds.append(kind)
        self._join_loose_ends()

    def forward(self, x):
        values = [x]
        for layer, inputs in zip(self.layers, self._plan):
            values.append(layer(*(values[index] for index in inputs)))
        return values[-1]

    def _add(self, layer: Layer, *inputs: int) -> int:
        """Enters a layer, and gives the number of its value."""
        shapes = [self._places[index].shape for index in inputs]
        rate = self._places[inputs[0]].rate * layer.rate
        self.layers.append(layer)
        self._plan.append(inputs)
        self._places.append(Place(layer.output_shape(*shapes), rate))
        return len(self._places) - 1

    def _pick(self) -> tuple[int, Shape]:
        """Mostly the latest value, so that networks get deep."""
        last = len(self._places) - 1
        index = last if self._random.random() < 0.7 else self._random.randint(0, last)
        return index, self._places[index].shape

    def _int(self, low: int, high: int) -> int:
        return self._random.randint(low, high)

    def _chance(self, share: float) -> bool:
        return self._random.random() < share

    def _add_conv(self) -> None:
        index, shape = self._pick()
        self._add(Conv(shape.channels, self._int(1, WIDEST), (self._int(1, 4), self._int(1, 4)),
                       time_dilation=self._int(1, 3), bias=self._chance(0.7),
                       lookahead=self._int(1, 3) if self._chance(0.25) else 0), index)

    def _add_depthwise(self) -> None:
        index, shape = self._pick()
        if shape.channels == 1:
            index = self._add(Conv(1, 3), index)
        channels = self._places[index].shape.channels
        times = 2 if channels <= 3 and self._chance(0.3) else 1
        self._add(Conv(channels, channels * times, (self._int(1, 3), self._int(1, 3)),
                       time_dilation=self._int(1, 3), depthwise=True), index)

    def _add_strided(self) -> None:
        index, shape = self._pick()
        self._add(Conv(shape.channels, self._int(1, WIDEST), (1, self._int(1, 5)),
                       height_stride=self._int(2, 3) if shape.height >= 3 else 1), index)

    def _add_slower(self) -> None:
        """Back to the rate of before by a transposed convolution, as encoders and decoders do."""
        index, shape = self._pick()
        stride = self._int(2, 3)
        slow = self._add(Conv(shape.channels, 4, (self._int(1, 3), 1), time_stride=stride), index)
        if self._chance(0.5):
            slow = self._add(Conv(4, 4, (2, 3)), slow)
        self._add(TransposedConv(4, self._int(1, 4), (self._int(1, 4), 1), time_stride=stride),
                  slow)

    def _add_faster(self) -> None:
        """Twice the frames, and every second of them dropped again."""
        index, shape = self._pick()
        fast = self._add(TransposedConv(shape.channels, 3, (3, 1), time_stride=2), index)
        self._add(Conv(3, self._int(1, 4), (2, 1), time_stride=2), fast)

    def _add_transposed(self) -> None:
        index, shape = self._pick()
        stride = self._int(1, 3) if shape.height * 3 <= HIGHEST else 1
        depthwise = shape.channels > 1 and self._chance(0.3)
        self._add(TransposedConv(shape.channels, shape.channels if depthwise else self._int(1, 4),
                                 (self._int(1, 2), self._int(1, 4)), height_stride=stride,
                                 depthwise=depthwise, lookahead=self._int(0, 1)), index)

    def _add_dense(self) -> None:
        index, shape = self._pick()
        self._add(Dense(*shape, bias=self._chance(0.5)), index)

    def _add_norm(self) -> None:
        index, shape = self._pick()
        scale = [self._random.uniform(0.5, 1.5) for _ in range(shape.channels)]
        offset = [self._random.uniform(-0.5, 0.5) for _ in range(shape.channels)]
        self._add(Norm(shape.channels, scale, offset), index)

    def _add_batch_norm(self) -> None:
        index, shape = self._pick()
        layer = BatchNorm(shape.channels)
        layer.inner.running_mean.uniform_(-0.3, 0.3)
        layer.inner.running_var.uniform_(0.5, 2.0)
        self._add(layer, index)

    def _add_level(self) -> None:
        # Behind an offset, so that no frame is silent and every level well conditioned.
        index, shape = self._pick()
        index = self._add(Norm(shape.channels, 0.5, 1.0), index)
        self._add(PreNorm.exponential(self._int(1, 9), self._random.uniform(1, 9)), index)

    def _add_attention(self) -> None:
        index, shape = self._pick()
        self._add(SelfAttention(*shape, self._int(0, 4),
                                lookahead=self._int(1, 2) if self._chance(0.3) else 0), index)

    def _add_smoothing(self) -> None:
        index, _ = self._pick()
        self._add(SeparableChannelConv(torch.rand(self._int(1, 5)), torch.rand(self._int(1, 4))),
                  index)

    def _add_activation(self) -> None:
        index, _ = self._pick()
        kind = self._random.choice([ReLU, LeakyReLU, ELU, Sigmoid, HardSigmoid, Softplus])
        self._add(kind(), index)

    def _add_concat(self) -> None:
        index, _ = self._pick()
        self._add(Concat(), index, *self._partners(index, self._int(1, 2)))

    def _add_arithmetic(self) -> None:
        index, shape = self._pick()
        others = [self._add(Conv(self._places[other].shape.channels, shape.channels), other)
                  for other in self._partners(index, self._int(1, 2))]
        kind = self._random.choice([Operation.MULTIPLY, Operation.ADD, Operation.SUBTRACT])
        self._add(Arithmetic(kind), index, *others)

    def _add_quotient(self) -> None:
        """By a sigmoid, which never gets to 0."""
        index, shape = self._pick()
        other = self._partners(index, 1)[0]
        divisor = self._add(Conv(self._places[other].shape.channels, shape.channels), other)
        self._add(Arithmetic(Operation.DIVIDE), self._add(Sigmoid(), divisor), index)

    def _partners(self, index: int, count: int) -> list[int]:
        """Values of the same height and rate, which may be the same value."""
        place = self._places[index]
        fitting = [other for other, candidate in enumerate(self._places)
                   if candidate.shape.height == place.shape.height
                   and candidate.rate == place.rate]
        return [self._random.choice(fitting) for _ in range(count)]

    def _join_loose_ends(self) -> None:
        """One or two early values go to the end, past all between them."""
        last = len(self._places) - 1
        self._add(Concat(), last, *self._partners(last, 2))
