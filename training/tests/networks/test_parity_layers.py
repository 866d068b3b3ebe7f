"""Each layer alone: sequence, stream and engine give the same frames at the same calls."""

import numpy as np
import pytest
import torch
from torch import nn

from parity import compare, frames_of
from vorun.engine import TensorModel
from vorun.export import build_model
from vorun.graph import trace
from vorun.layers import (Arithmetic, BatchNorm, Concat, Conv, Dense, DepthwiseConv, ELU,
                          HardSigmoid, LeakyReLU, Norm, PreNorm, ReLU, SelfAttention,
                          SeparableChannelConv, Sigmoid, Softplus, TransposedConv)
from vorun.model_file import Operation, write_model

HEIGHT, CHANNELS, FRAMES = 7, 3, 17


def randomised(layer: nn.Module) -> nn.Module:
    """All weights drawn, those that start at a constant too."""
    generator = torch.Generator().manual_seed(5)
    with torch.no_grad():
        for values in list(layer.parameters()) + list(layer.buffers()):
            if values.is_floating_point():
                drawn = torch.randn(values.shape, generator=generator).clamp(-1, 1)
                values.copy_(0.5 + 0.4 * drawn)
    return layer


CONVOLUTIONS = {
    "1x1": dict(kernel=(1, 1)),
    "without bias": dict(kernel=(2, 3), bias=False),
    "3x3": dict(kernel=(3, 3)),
    "even kernel": dict(kernel=(2, 4)),
    "kernel over the whole height and more": dict(kernel=(1, 15)),
    "dilated": dict(kernel=(3, 1), time_dilation=4),
    "height stride 2, kernel 3": dict(kernel=(1, 3), height_stride=2),
    "height stride 2, kernel 4": dict(kernel=(1, 4), height_stride=2),
    "height stride 3, kernel 5": dict(kernel=(1, 5), height_stride=3),
    "height stride above the kernel": dict(kernel=(1, 1), height_stride=2),
    "height stride far above the kernel": dict(kernel=(1, 2), height_stride=5),
    "height stride of the whole height": dict(kernel=(1, 3), height_stride=7),
    "time stride 2": dict(kernel=(3, 1), time_stride=2),
    "time stride above the kernel": dict(kernel=(2, 1), time_stride=3),
    "look-ahead 1": dict(kernel=(3, 1), lookahead=1),
    "look-ahead within a dilation": dict(kernel=(3, 1), time_dilation=3, lookahead=2),
    "look-ahead beyond the kernel": dict(kernel=(2, 1), lookahead=4),
    "look-ahead and stride": dict(kernel=(3, 3), lookahead=3, time_stride=2),
    "phase of the stride": dict(kernel=(3, 1), lookahead=-1, time_stride=3),
    "depthwise": dict(kernel=(3, 3), depthwise=True, out_channels=3, time_dilation=2),
    "depthwise to more channels": dict(kernel=(2, 3), depthwise=True, out_channels=6),
    "depthwise, strided": dict(kernel=(1, 3), depthwise=True, out_channels=3, height_stride=2),
}

TRANSPOSED = {
    "1x1": dict(kernel=(1, 1)),
    "kernel and stride 3": dict(kernel=(1, 3), height_stride=3),
    "kernel and stride 3 over two frames": dict(kernel=(2, 3), height_stride=3),
    "kernel above the stride": dict(kernel=(1, 4), height_stride=2),
    "odd kernel above the stride": dict(kernel=(1, 5), height_stride=2),
    "even difference": dict(kernel=(1, 3), height_stride=1),
    "kernel below the stride": dict(kernel=(1, 2), height_stride=4),
    "time stride 2": dict(kernel=(2, 1), time_stride=2),
    "time stride 2, kernel 3": dict(kernel=(3, 1), time_stride=2),
    "time stride above the kernel": dict(kernel=(1, 1), time_stride=3),
    "kernel over time": dict(kernel=(3, 2)),
    "look-ahead within a stride": dict(kernel=(3, 1), time_stride=2, lookahead=1),
    "look-ahead beyond a stride": dict(kernel=(3, 1), time_stride=2, lookahead=5),
    "negative look-ahead": dict(kernel=(2, 1), lookahead=-2),
    "without bias": dict(kernel=(1, 3), height_stride=3, bias=False),
    "depthwise": dict(kernel=(2, 3), height_stride=2, depthwise=True, out_channels=3),
    "one channel": dict(kernel=(2, 3), height_stride=2, out_channels=1),
}

OTHERS = {
    "relu": ReLU(),
    "leaky relu": LeakyReLU(0.3),
    "elu": ELU(),
    "sigmoid": Sigmoid(),
    "hard sigmoid": HardSigmoid(),
    "softplus": Softplus(),
    "norm": Norm(CHANNELS, [0.5, -2.0, 1.0], [0.0, 3.0, -1.0]),
    "norm of one number": Norm(CHANNELS, 2.0, -1.0),
    "batch norm": randomised(BatchNorm(CHANNELS)),
    "level of one frame": PreNorm([1.0]),
    "level of five frames": PreNorm([0.1, 0.2, 0.05, 0.35, 0.3]),
    "exponential level": PreNorm.exponential(30, 8.0),
    "dense": randomised(Dense(HEIGHT, CHANNELS)),
    "dense without bias": Dense(HEIGHT, CHANNELS, bias=False),
    "attention to the current frame": randomised(SelfAttention(HEIGHT, CHANNELS)),
    "attention": randomised(SelfAttention(HEIGHT, CHANNELS, 4)),
    "attention of one frame": randomised(SelfAttention(HEIGHT, CHANNELS, 1)),
    "attention ahead": randomised(SelfAttention(HEIGHT, CHANNELS, 5, lookahead=2)),
    "attention far ahead": randomised(SelfAttention(HEIGHT, CHANNELS, 2, lookahead=6)),
    "smoothing of one tap": SeparableChannelConv([0.5], [2.0]),
    "smoothing": SeparableChannelConv([0.1, 0.2, 0.3, 0.15, 0.25], [0.3, 0.5, 0.2]),
    "smoothing by even kernels": SeparableChannelConv([0.1, 0.2, 0.3, 0.4], [0.1, 0.2, 0.3, 0.4]),
    "smoothing by two taps": SeparableChannelConv([0.3, 0.7], [0.6, 0.4]),
    "smoothing wider than the height": SeparableChannelConv([1.0], np.linspace(0.1, 1, 17)),
}


@pytest.mark.parametrize("options", CONVOLUTIONS.values(), ids=CONVOLUTIONS)
def test_convolution(options, library, tmp_path):
    torch.manual_seed(1)
    layer = Conv(CHANNELS, **{"out_channels": 4, **options})
    compare(layer, frames_of(2, FRAMES, HEIGHT, CHANNELS), library, str(tmp_path / "m"))


def test_a_convolution_of_one_channel_is_not_depthwise(library, tmp_path):
    torch.manual_seed(1)
    compare(Conv(1, 4, (2, 3)), frames_of(2, 9, HEIGHT, 1), library, str(tmp_path / "a"))
    compare(DepthwiseConv(1, (2, 3)), frames_of(2, 9, HEIGHT, 1), library, str(tmp_path / "b"))
    compare(DepthwiseConv(5, (2, 3)), frames_of(2, 9, HEIGHT, 5), library, str(tmp_path / "c"))


@pytest.mark.parametrize("options", TRANSPOSED.values(), ids=TRANSPOSED)
def test_transposed_convolution(options, library, tmp_path):
    torch.manual_seed(1)
    layer = TransposedConv(CHANNELS, **{"out_channels": 4, **options})
    compare(layer, frames_of(3, FRAMES, HEIGHT, CHANNELS), library, str(tmp_path / "m"))


@pytest.mark.parametrize("layer", OTHERS.values(), ids=OTHERS)
def test_other_layers(layer, library, tmp_path):
    x = 3 * frames_of(4, FRAMES, HEIGHT, CHANNELS)
    compare(layer, x, library, str(tmp_path / "m"), fold=False)


@pytest.mark.parametrize("layer", [ReLU(), LeakyReLU(0.1), ELU(), Sigmoid(), HardSigmoid()])
def test_activations_at_extremes(layer, library, tmp_path):
    values = [0.0, -0.0, 1e-30, -1e-30, 9.99, 10.0, 10.5, -10.0, -11.0, 100.0, -100.0, 1e30, -1e30,
              3.0, -3.0]
    x = torch.tensor(values, dtype=torch.float64).view(1, 1, -1, 1)
    compare(layer, x, library, str(tmp_path / "m"))


def test_softplus_overflows_where_the_engine_does(library, tmp_path):
    write_model(tmp_path / "m", build_model(trace(Softplus(), 1, 1)))
    values = torch.tensor([-100.0, -20.0, 0.0, 20.0, 88.0, 88.7, 88.8, 100.0])
    expected = Softplus()(values.view(1, 1, -1, 1)).flatten().numpy()
    with TensorModel(tmp_path / "m", library) as model:
        result = model.push(values.view(-1, 1, 1).numpy()).ravel()
    assert np.isinf(expected).tolist() == [False] * 6 + [True] * 2
    assert np.allclose(result, expected, rtol=1e-5, atol=1e-7)


class Join(nn.Module):
    """Three inputs of one value, the second delayed by two frames."""

    def __init__(self, join: nn.Module) -> None:
        super().__init__()
        self.late = Conv(CHANNELS, CHANNELS, (3, 1), lookahead=2)
        self.positive = Sigmoid()
        self.join = join

    def forward(self, x):
        return self.join(self.positive(x), self.positive(self.late(x)), x)


@pytest.mark.parametrize("join", [Concat(), *(Arithmetic(operation) for operation in Operation)],
                         ids=["concat", "multiply", "divide", "add", "subtract"])
def test_joins_of_inputs_that_come_at_different_times(join, library, tmp_path):
    torch.manual_seed(2)
    graph = compare(Join(join), frames_of(5, FRAMES, HEIGHT, CHANNELS), library,
                    str(tmp_path / "m"))
    assert graph.latency() == 2


class Numbers(nn.Module):
    """The operators, with values and with numbers."""

    def forward(self, x):
        y = 1 - x * x
        z = (x + x) / 4 - (2 * x - 0.5) + 1
        return (-y + 3 * z) / (y * y + 1) - x


def test_operators(library, tmp_path):
    compare(Numbers(), frames_of(6, 5, HEIGHT, CHANNELS), library, str(tmp_path / "m"))
