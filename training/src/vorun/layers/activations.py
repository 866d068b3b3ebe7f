"""Activations, in the forms that the engine computes.

What is no number stays so here, so that a training that has gone wrong shows; in the engine the
clamps of some of these turn it into a number.
"""

from __future__ import annotations

import torch
import torch.nn.functional as F
from torch import Tensor

from ..model_file import (ELURecord, HardSigmoidRecord, LayerRecord, LeakyReLURecord, ReLURecord,
                          SigmoidRecord, SoftplusRecord)
from .base import Layer

SIGMOID_LIMIT = 10.0
# 1/6 in single precision.
HARD_SIGMOID_SLOPE = 0.1666666716337204
# Beyond this e^x overflows in single precision.
SOFTPLUS_LIMIT = 88.72283


class ReLU(Layer):
    """max(x, 0)"""

    def forward(self, x: Tensor) -> Tensor:
        return F.relu(x)

    def record(self, name: str, inputs: list[str], element_type: int) -> LayerRecord:
        return ReLURecord(name, inputs)


class LeakyReLU(Layer):
    """max(x, 0) + slope * min(x, 0)"""

    def __init__(self, slope: float = 0.1) -> None:
        super().__init__()
        self.slope = slope

    def forward(self, x: Tensor) -> Tensor:
        return F.leaky_relu(x, self.slope)

    def record(self, name: str, inputs: list[str], element_type: int) -> LayerRecord:
        return LeakyReLURecord(name, inputs, self.slope)


class ELU(Layer):
    """max(x, 0) + exp(min(x, 0)) - 1, but for a rounding of 6e-8 in the engine close to 0."""

    def forward(self, x: Tensor) -> Tensor:
        return F.elu(x)

    def record(self, name: str, inputs: list[str], element_type: int) -> LayerRecord:
        return ELURecord(name, inputs)


class Sigmoid(Layer):
    """The logistic function of x between -10 and 10; beyond, it is flat and passes no gradient."""

    def forward(self, x: Tensor) -> Tensor:
        return torch.sigmoid(torch.clamp(x, -SIGMOID_LIMIT, SIGMOID_LIMIT))

    def record(self, name: str, inputs: list[str], element_type: int) -> LayerRecord:
        return SigmoidRecord(name, inputs)


class HardSigmoid(Layer):
    """x / 6 + 0.5 between 0 and 1"""

    def forward(self, x: Tensor) -> Tensor:
        return torch.clamp(x * HARD_SIGMOID_SLOPE + 0.5, 0.0, 1.0)

    def record(self, name: str, inputs: list[str], element_type: int) -> LayerRecord:
        return HardSigmoidRecord(name, inputs)


class Softplus(Layer):
    """ln(1 + exp(x)), infinite from about 88.7 on."""

    def forward(self, x: Tensor) -> Tensor:
        return F.softplus(x).masked_fill(x > SOFTPLUS_LIMIT, float("inf"))

    def record(self, name: str, inputs: list[str], element_type: int) -> LayerRecord:
        return SoftplusRecord(name, inputs)
