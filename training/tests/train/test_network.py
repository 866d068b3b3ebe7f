"""The network: its shapes, what it may hear, and that the engine computes the same."""

import numpy as np
import pytest
import torch

from vorun.engine import Processor
from vorun.export import export_model
from vorun.streaming import Stream
from vorun.train.network import AUDIO, Denoiser, NetworkSettings, count_operations
from vorun.train.validation import restore

SMALL = NetworkSettings(stairs=4, head=2, fine=4, middle=4, coarse=8, coarse_dilations=(1, 2),
                        middle_dilations=(1,), fine_dilations=(1,), dense_after=(0,),
                        level_frames=16)
# Of the largest sample; weights are rounded to 16 bits before both run.
BOUND = 1e-5


def network(settings=SMALL):
    """With norms that have measured something."""
    torch.manual_seed(1)
    made = Denoiser(settings)
    with torch.no_grad():
        for _ in range(3):
            made(torch.rand(2, 1, 20, 513))
    return made.eval()


def test_the_engine_restores_the_same_samples(library, tmp_path):
    made = network()
    export_model(made, tmp_path / "m.vorun", AUDIO)
    samples = np.random.default_rng(1).normal(0, 0.1, 20000).astype(np.float32)
    with torch.no_grad():
        expected = restore(made, samples)
    with Processor(tmp_path / "m.vorun", 1, 48000, library) as processor:
        processor.set_bus_gain(1, 0)
        found = processor.restore(samples)[:len(expected)]
        assert processor.latency == AUDIO.latency_samples == 768
    assert np.abs(found - expected).max() <= BOUND * np.abs(expected).max()


def test_half_weights_change_little(library, tmp_path):
    made = network()
    samples = np.random.default_rng(1).normal(0, 0.1, 20000).astype(np.float32)
    restored = []
    for half in (False, True):
        export_model(made, tmp_path / "m.vorun", AUDIO, half=half)
        with Processor(tmp_path / "m.vorun", 1, 48000, library) as processor:
            processor.set_bus_gain(1, 0)
            restored.append(processor.restore(samples))
    error = restored[1] - restored[0]
    assert np.mean(error ** 2) < 1e-4 * np.mean(restored[0] ** 2) and error.any()


def test_nothing_of_the_future_is_heard():
    made = network()
    frames = torch.rand(1, 1, 30, 513)
    changed = frames.clone()
    changed[:, :, 20:] *= 3
    with torch.no_grad():
        before, after = made(frames), made(changed)
    assert torch.equal(before[:, :, :20], after[:, :, :20])
    assert not torch.equal(before[:, :, 20], after[:, :, 20])


def test_a_stream_gives_the_frames_of_the_sequence():
    made = network()
    frames = torch.rand(1, 1, 12, 513)
    with torch.no_grad():
        assert torch.allclose(Stream(made, 513, 1).push(frames), made(frames), atol=1e-5)


def test_it_reaches_as_far_back_as_it_says():
    # The mean level reaches further; what is changed stays as loud.
    made, back = network().double(), SMALL.frames_back
    frames = torch.rand(1, 1, back + 4, 513, dtype=torch.float64)
    frames = frames / frames.square().mean(-1, keepdim=True).sqrt()
    with torch.no_grad():
        reference = made(frames)[:, :, -1]
        for place, heard in ((3, True), (2, False)):
            changed = frames.clone()
            changed[:, :, place] = changed[:, :, place].flip(-1)
            assert bool((made(changed)[:, :, -1] - reference).abs().max() > 1e-12) == heard


@pytest.mark.parametrize("floor", [-12.0, -30.0])
def test_the_mask_stays_above_its_floor(floor):
    from dataclasses import replace
    made = network(replace(SMALL, floor_db=floor))
    with torch.no_grad():
        made.sum.bias.fill_(-50)
        masks = made(torch.rand(1, 1, 5, 513))
        assert masks.min() >= 10 ** (floor / 20) and masks.max() < 10 ** (floor / 20) + 1e-3
        made.sum.bias.fill_(50)
        assert made(torch.rand(1, 1, 5, 513)).max() <= 1


def test_the_floor_is_not_trained():
    assert not any(values.requires_grad for values in network().open.parameters())


def test_without_a_floor_there_is_no_norm():
    assert len(Denoiser(NetworkSettings(floor_db=-300)).open) == 1


def test_the_default_is_as_small_as_promised(tmp_path):
    made = Denoiser().eval()
    parameters, operations = count_operations(made)
    assert 4e6 < operations < 5e6
    report = export_model(made, tmp_path / "m.vorun", AUDIO, half=True)
    assert report.file_bytes < 2e6 and report.latency_frames == report.lag_frames == 0
    assert parameters < 1e6


def test_operations_are_counted():
    # 1 to 4, 4 to 4 with 5 rows, and so on: by hand for the first and the last.
    made = Denoiser(SMALL)
    _, all_layers = count_operations(made)
    made.sum = torch.nn.Identity()
    _, without_sum = count_operations(made)
    assert all_layers - without_sum == 2 * 2 * 513
