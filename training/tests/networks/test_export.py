"""Networks as model files."""

import numpy as np
import pytest
import torch
from torch import nn

from vorun.audio import AudioFormat
from vorun.engine import TensorModel
from vorun.export import build_model, export_model
from vorun.graph import fold_norms, trace
from vorun.layers import (BatchNorm, Conv, Dense, LeakyReLU, Norm, PreNorm, ReLU, SelfAttention,
                          SeparableChannelConv, Sigmoid, TransposedConv, concat)
from vorun.model_file import ElementType, ModelFileError, read_model
from vorun.streaming import measure_lag

SMALL = AudioFormat(fft_size=16, window_size=16, hop_size=4)


class Two(nn.Module):
    """Nested modules with norms behind convolutions."""

    def __init__(self) -> None:
        super().__init__()
        self.level = PreNorm.exponential(8, 3.0)
        self.body = nn.Sequential(Conv(1, 4, (1, 3)), BatchNorm(4), LeakyReLU(0.2))
        self.head = nn.Sequential(Conv(8, 1), Norm(1, 2.0, 0.5), Sigmoid())

    def forward(self, x):
        y = self.body(self.level(x))
        return self.head(concat(y, y))


def test_layers_are_named_by_their_place_in_the_module(tmp_path):
    export_model(Two(), tmp_path / "m", SMALL, fold=False)
    names = [record.name for record in read_model(tmp_path / "m").layers]
    assert names == ["level", "body.0", "body.1", "body.2", "passon", "concat", "head.0", "head.1",
                     "head.2"]


def test_norms_go_into_what_feeds_them(tmp_path):
    torch.manual_seed(1)
    network = Two().eval()
    network.body[1].inner.running_mean.uniform_(-1, 1)
    network.body[1].inner.running_var.uniform_(0.5, 2)
    report = export_model(network, tmp_path / "m", SMALL)
    model = read_model(tmp_path / "m")
    assert [record.name for record in model.layers] == ["level", "body.0", "body.2", "passon",
                                                        "concat", "head.0", "head.2"]
    assert report.layers == 7 and report.file_bytes == (tmp_path / "m").stat().st_size
    assert report.values == 8 + (4 * 3 + 4) + (8 + 1)
    # The network itself stays as it was.
    assert network.body[0].bias is not None and len(list(network.body)) == 3


@pytest.mark.parametrize("layer", [Conv(3, 4, (2, 3), bias=False), Conv(3, 6, depthwise=True),
                                   TransposedConv(3, 4, (2, 3), height_stride=2),
                                   TransposedConv(3, 3, (1, 2), depthwise=True), Dense(5, 3),
                                   Dense(5, 3, bias=False)])
def test_folding_changes_nothing_that_can_be_heard(layer):
    torch.manual_seed(2)
    channels = layer.channels if isinstance(layer, Dense) else layer.out_channels
    norm = Norm(channels, torch.rand(channels) + 0.5, torch.rand(channels))
    graph = trace(nn.Sequential(layer, norm), 5, 3)
    folded = fold_norms(graph)
    assert len(folded.nodes) == 1
    x = torch.randn(2, 3, 6, 5)
    expected = norm(layer(x))
    assert torch.allclose(folded.nodes[0].layer(x), expected, atol=1e-6)


def test_a_norm_stays_where_others_see_what_it_is_fed():
    class Seen(nn.Module):
        def __init__(self):
            super().__init__()
            self.conv, self.norm = Conv(1, 1), Norm(1, 2.0)

        def forward(self, x):
            y = self.conv(x)
            return y + self.norm(y)

    assert len(fold_norms(trace(Seen(), 3, 1)).nodes) == 3


def test_one_layer_used_twice_is_two_records():
    layer = Conv(2, 2)
    names = [node.name for node in trace(nn.Sequential(layer, ReLU(), layer), 3, 2).nodes]
    assert names == ["0", "1", "0#2"]


def test_what_leads_nowhere_is_left_out():
    class Idle(nn.Module):
        def __init__(self):
            super().__init__()
            self.a, self.b = ReLU(), Sigmoid()

        def forward(self, x):
            self.b(x)
            return self.a(x)

    assert [node.name for node in trace(Idle(), 3, 2).nodes] == ["a"]


def test_modules_called_like_the_ends_of_the_graph_get_other_names():
    class Named(nn.Module):
        def __init__(self):
            super().__init__()
            self.input, self.output = ReLU(), Sigmoid()

        def forward(self, x):
            return self.output(self.input(x))

    assert [node.name for node in trace(Named(), 3, 2).nodes] == ["input#2", "output#2"]


def test_dropout_and_torch_cat_are_understood():
    class Usual(nn.Module):
        def __init__(self):
            super().__init__()
            self.drop, self.relu = nn.Dropout(0.5), ReLU()

        def forward(self, x):
            return torch.cat([x, self.relu(self.drop(x))], 1)

    graph = trace(Usual(), 3, 2)
    assert graph.output.shape == (3, 4)
    assert [type(node.layer).__name__ for node in graph.nodes] == ["ReLU", "Concat"]


def test_halves_hold_the_nearest_values(library, tmp_path):
    torch.manual_seed(3)
    network = nn.Sequential(Conv(1, 4, (1, 3)), TransposedConv(4, 1), Dense(9, 1),
                            SelfAttention(9, 1, 3))
    export_model(network, tmp_path / "m", SMALL, half=True)
    halves = read_model(tmp_path / "m").layers
    assert halves[0].weights.element_type == ElementType.HALF
    assert halves[0].bias.element_type == ElementType.SINGLE
    single = build_model(trace(network, 9, 1)).layers
    for record, exact in zip(halves[:3], single):
        expected = exact.weights.array.astype(np.float16).astype(np.float32)
        assert np.array_equal(record.weights.array, expected)
    with TensorModel(tmp_path / "m", library) as model, torch.no_grad():
        x = torch.randn(1, 1, 5, 9)
        for layer in network[:3]:
            layer.weight.copy_(layer.weight.half().float())
        network[3].projection.copy_(network[3].projection.half().float())
        expected = network(x)[0].permute(1, 2, 0).numpy()
        assert np.allclose(model.push_each(x[0].permute(1, 2, 0).numpy()), expected, atol=1e-5)


def test_a_weight_beyond_the_halves_is_refused(tmp_path):
    layer = Conv(1, 1)
    with torch.no_grad():
        layer.weight.fill_(2e5)
    with pytest.raises(ModelFileError, match="weights of layer 'conv': 200000 is beyond 131008"):
        export_model(layer, tmp_path / "m", SMALL, half=True)
    assert not (tmp_path / "m").exists()


def test_numbers_that_the_format_cannot_hold_are_refused(tmp_path):
    with pytest.raises(ModelFileError, match="time_dilation of layer '0' is 200"):
        export_model(nn.Sequential(Conv(1, 1, (2, 1), time_dilation=200)), tmp_path / "m", SMALL)


def test_weights_that_are_not_finite_are_refused(tmp_path):
    layer = nn.Sequential(ReLU(), Conv(1, 1))
    with torch.no_grad():
        layer[1].bias.fill_(float("nan"))
    with pytest.raises(ValueError, match="bias of layer '1' holds values that are not finite"):
        export_model(layer, tmp_path / "m", SMALL)


@pytest.mark.parametrize("network, match", [
    (Conv(2, 1), "layer 'conv': a convolution of 2 channels is fed frames of 1"),
    (nn.Sequential(Conv(1, 2), Dense(4, 2)), "layer '1': a dense layer of height 4 is fed frames"),
    (nn.Sequential(Conv(1, 1, height_stride=10)), "leaves nothing of 9 bins"),
    (Conv(1, 2), "gives frames of 9 rows and 2 channels, but 9 rows and 1 channels"),
    (Conv(1, 1, height_stride=2), "gives frames of 4 rows"),
    (Conv(1, 1, time_stride=2), "gives 1/2 frames for each that it takes"),
    (TransposedConv(1, 1, time_stride=2), "gives 2 frames for each that it takes"),
])
def test_networks_that_do_not_fit_are_refused(network, match, tmp_path):
    with pytest.raises(ValueError, match=match):
        export_model(network, tmp_path / "m", SMALL)


class Function(nn.Module):
    def __init__(self, function):
        super().__init__()
        self.function, self.slow = function, Conv(1, 1, time_stride=2)

    def forward(self, x):
        return self.function(self, x)


@pytest.mark.parametrize("function, error, match", [
    (lambda net, x: torch.tanh(x), TypeError, "tanh is no layer of the engine"),
    (lambda net, x: nn.Conv2d(1, 1, 1)(x), TypeError, "conv2d is no layer"),
    (lambda net, x: x.mean(1), AttributeError, "'mean': a network is recorded from its layers"),
    (lambda net, x: (x, x), TypeError, "gives a tuple"),
    (lambda net, x: x + torch.ones(1), TypeError, "joins a value of the network with a Tensor"),
    (lambda net, x: concat(x, torch.ones(1)), TypeError, "with a Tensor"),
    (lambda net, x: concat(torch.ones(1), x), TypeError, "with a Tensor"),
    (lambda net, x: torch.cat([x, x], 2), TypeError, "cat is no layer"),
    (lambda net, x: x + net.slow(x), ValueError, "joins frames of different rates"),
    (lambda net, x: x + concat(x, x), ValueError, "frames of different shapes"),
])
def test_what_is_no_network_of_layers_is_told(function, error, match, tmp_path):
    with pytest.raises(error, match=match):
        export_model(Function(function), tmp_path / "m", SMALL)


def test_delays_that_the_engine_does_not_count_are_told(tmp_path):
    network = nn.Sequential(Conv(1, 1, (2, 1), lookahead=1),
                            SeparableChannelConv([0.2] * 5, [1.0]))
    with pytest.warns(UserWarning, match="trails the input by 3 frames.*reports 1"):
        report = export_model(network, tmp_path / "m", SMALL)
    assert (report.latency_frames, report.lag_frames) == (1, 3)


def test_a_network_may_be_deep(library, tmp_path):
    network = nn.Sequential(*(LeakyReLU(0.99) for _ in range(900)))
    assert export_model(network, tmp_path / "m", SMALL).layers == 900
    with TensorModel(tmp_path / "m", library) as model:
        assert model.push(np.ones((1, 9, 1))).tolist() == [[[1.0]] * 9]


def test_sums_of_python_add_no_layer():
    class Sum(nn.Module):
        def forward(self, x):
            return sum([x, x]) * np.float32(2)

    assert [type(node.layer).__name__ for node in trace(Sum(), 3, 2).nodes] == [
        "PassOn", "Arithmetic", "Norm"]


@pytest.mark.parametrize("network, lag", [
    (nn.Sequential(Conv(1, 1, time_stride=3), SeparableChannelConv([0.1] * 9, [1.0]),
                   TransposedConv(1, 1, time_stride=3)), 12),
    (nn.Sequential(Conv(1, 1, (8, 1), lookahead=7, time_dilation=3), Conv(1, 1, lookahead=30)), 37),
    (nn.Sequential(Conv(1, 1, time_stride=2), SelfAttention(9, 1, lookahead=5),
                   TransposedConv(1, 1, (2, 1), time_stride=2)), 10),
])
def test_the_lag_is_counted_until_nothing_more_is_dropped(network, lag):
    assert measure_lag(trace(network, 9, 1)) == lag


def test_an_export_leaves_the_network_as_it_was(tmp_path):
    network = Two().train()
    before = {name: values.clone() for name, values in network.state_dict().items()}
    export_model(network, tmp_path / "m", SMALL)
    assert network.training
    for name, values in network.state_dict().items():
        assert torch.equal(values, before[name])


def test_a_network_that_was_trained_in_double_precision_is_exported(tmp_path):
    export_model(Two().double(), tmp_path / "m", SMALL)
    assert read_model(tmp_path / "m").output_source == "head.2"
