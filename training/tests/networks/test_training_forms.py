"""What training needs of the layers: gradients, batches, lengths, and norms that measure."""

import pytest
import torch
from torch import nn

from vorun.layers import (Arithmetic, BatchNorm, Concat, Conv, Dense, ELU, HardSigmoid, LeakyReLU,
                          Norm, PreNorm, ReLU, SelfAttention, SeparableChannelConv, Sigmoid,
                          Softplus, TransposedConv)
from vorun.model_file import Operation

LAYERS = [Conv(3, 4, (2, 3), lookahead=1), Conv(3, 4, (2, 3), time_stride=2, height_stride=2),
          Conv(3, 6, (2, 2), depthwise=True), TransposedConv(3, 4, (1, 2), height_stride=2),
          TransposedConv(3, 4, (3, 3), time_stride=2, height_stride=2, lookahead=1),
          TransposedConv(3, 3, (2, 2), depthwise=True), Dense(5, 3), Norm(3),
          PreNorm([0.5, 0.3, 0.2], trained=True), SelfAttention(5, 3, 3, lookahead=1),
          SeparableChannelConv([0.2, 0.3, 0.5], [0.5, 0.5]), ReLU(), LeakyReLU(), ELU(), Sigmoid(),
          HardSigmoid(), Softplus()]


@pytest.mark.parametrize("layer", LAYERS, ids=lambda layer: type(layer).__name__)
def test_gradients_are_those_of_small_steps(layer):
    torch.manual_seed(1)
    layer = layer.double()
    x = torch.randn(2, 3, 4, 5, dtype=torch.float64, requires_grad=True)
    names = [name for name, _ in layer.named_parameters()]
    parameters = [values.detach().clone().requires_grad_() for values in layer.parameters()]

    def run(x, *values):
        return nn.utils.stateless.functional_call(layer, dict(zip(names, values)), (x,))

    assert torch.autograd.gradcheck(run, (x, *parameters))


@pytest.mark.parametrize("layer", LAYERS, ids=lambda layer: type(layer).__name__)
def test_sequences_of_a_batch_do_not_meet(layer):
    torch.manual_seed(2)
    layer = layer.float()
    x = torch.randn(3, 3, 6, 5)
    whole = layer(x)
    apart = torch.cat([layer(x[index:index + 1]) for index in range(3)])
    assert torch.allclose(whole, apart, atol=1e-6)


@pytest.mark.parametrize("layer", LAYERS, ids=lambda layer: type(layer).__name__)
def test_no_frame_sees_what_comes_after_it(layer):
    """But for those that a look-ahead or a centred window lets it see."""
    torch.manual_seed(3)
    layer = layer.float()
    x = torch.randn(1, 3, 9, 5)
    for length in range(9):
        part = layer(x[:, :, :length])
        assert torch.allclose(part, layer(x)[:, :, :part.shape[2]], atol=1e-6)
        assert part.shape[0] == 1 and part.shape[1:2] + part.shape[3:] == layer(x).shape[1::2]


def test_a_silent_frame_has_gradients():
    x = torch.zeros(1, 2, 3, 4, requires_grad=True)
    PreNorm([0.5, 0.5])(x).sum().backward()
    assert torch.isfinite(x.grad).all()


def test_gradients_at_zero_are_those_of_one_side():
    for layer in (ReLU(), LeakyReLU(0.1), ELU(), HardSigmoid(), Sigmoid()):
        x = torch.zeros(1, 1, 1, 1, requires_grad=True)
        layer(x).backward()
        assert 0 <= x.grad.item() <= 1


def test_a_batch_norm_measures_while_it_trains():
    torch.manual_seed(4)
    layer = BatchNorm(3, momentum=0.5)
    x = 3 * torch.randn(4, 3, 20, 5) + 1
    for _ in range(20):
        y = layer.train()(x)
    assert y.mean().abs() < 1e-5 and (y.var() - 1).abs() < 0.01
    scale, offset = layer.scale_and_offset()
    assert torch.allclose(x * scale.view(1, 3, 1, 1) + offset.view(1, 3, 1, 1), layer.eval()(x),
                          atol=1e-5)
    assert (layer(x) - y).abs().max() < 0.05


def test_joins_cut_to_the_shortest():
    long, short = torch.ones(1, 2, 5, 3), torch.full((1, 2, 3, 3), 2.0)
    assert Concat()(long, short).shape == (1, 4, 3, 3)
    assert Arithmetic(Operation.SUBTRACT)(long, short).unique().tolist() == [1]
    with pytest.raises(ValueError, match="different shapes"):
        Arithmetic(Operation.ADD)(long, torch.ones(1, 1, 5, 3))


def test_weights_start_as_pytorch_starts_them():
    torch.manual_seed(5)
    ours, theirs = Conv(64, 32, (3, 5)), nn.Conv2d(64, 32, (3, 5))
    for a, b in ((ours.weight, theirs.weight), (ours.bias, theirs.bias)):
        assert a.shape == b.shape
        assert abs(a.std() / b.std() - 1) < 0.2


@pytest.mark.parametrize("make", [
    lambda: Conv(1, 1, time_stride=0), lambda: Conv(1, 1, height_stride=0),
    lambda: Conv(1, 1, time_dilation=0), lambda: Conv(1, 1, (0, 1)),
    lambda: Conv(2, 3, depthwise=True), lambda: TransposedConv(1, 1, time_stride=0),
    lambda: TransposedConv(2, 4, depthwise=True), lambda: TransposedConv(1, 1, depthwise=True),
    lambda: TransposedConv(1, 1, (1, 0)), lambda: PreNorm([]), lambda: Norm(3, [1.0, 2.0]),
    lambda: SelfAttention(3, 1, -1), lambda: SelfAttention(3, 1, lookahead=-1),
    lambda: SeparableChannelConv([], [1.0]), lambda: SeparableChannelConv([1.0], [[1.0]]),
])
def test_layers_that_make_no_sense_are_refused(make):
    with pytest.raises(ValueError):
        make()
