"""One network in PyTorch, as a sequence and as a stream, and in the engine."""

from __future__ import annotations

import numpy as np
import torch
from torch import Tensor, nn

from vorun.engine import TensorModel
from vorun.export import build_model
from vorun.graph import Graph, fold_norms, trace
from vorun.model_file import write_model
from vorun.streaming import Stream

# Of single against double precision, relative to the largest value that comes out.
BOUND = 1e-5
# Of two double-precision forms.
EXACT = 1e-10


def frames_of(seed: int, frames: int, height: int, channels: int) -> Tensor:
    """[1, channels, frames, height] of numbers that single precision holds, in double precision."""
    values = np.random.default_rng(seed).normal(0, 1, (1, channels, frames, height))
    return torch.from_numpy(values.astype(np.float32)).double()


def by_call(model: TensorModel, x: Tensor) -> list[np.ndarray]:
    """What the engine gives for each frame: [frames out, height, channels]."""
    return [model.push(frame.permute(1, 2, 0).numpy()) for frame in x[0].split(1, 1)]


def compare(network: nn.Module, x: Tensor, library, path: str, fold: bool = True) -> Graph:
    """Asserts that all three forms give the same, call by call, and after a reset again."""
    network = network.double().eval()
    graph = trace(network, x.shape[3], x.shape[1])
    write_model(path, build_model(fold_norms(graph) if fold else graph))
    with torch.no_grad(), TensorModel(path, library) as model:
        assert model.info.latency == graph.latency()
        whole = network(x)
        stream = Stream(graph)
        scale = float(whole.abs().max()) if whole.numel() else 1.0
        for _ in range(2):
            given = 0
            for call, (expected, result) in enumerate(
                    zip((stream.push(frame) for frame in x.split(1, 2)), by_call(model, x))):
                count = expected.shape[2]
                assert result.shape[0] == count, f"call {call} gives another number of frames"
                after = given + count
                assert_close(expected, whole[:, :, given:after], EXACT * scale, f"stream {call}")
                if count:
                    assert_close(torch.from_numpy(result).permute(2, 0, 1)[None].double(),
                                 whole[:, :, given:after], BOUND * scale, f"engine {call}")
                given = after
            assert given > 0
            stream.reset()
            model.reset()
    return graph


def assert_close(result: Tensor, expected: Tensor, bound: float, what: str) -> None:
    assert result.shape == expected.shape, f"{what}: {result.shape} is not {expected.shape}"
    if result.numel():
        difference = float((result - expected).abs().max())
        assert difference <= bound, f"{what}: off by {difference}, more than {bound}"
