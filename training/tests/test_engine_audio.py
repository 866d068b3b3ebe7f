"""Audio through the engine."""

import numpy as np
import pytest

from vorun.engine import EngineError, Processor
from vorun.model_file import ConvRecord, DenseRecord, ModelFile, ModelHeader, NormRecord

BINS = 257


def noise(channels: int, samples: int, seed: int = 1) -> np.ndarray:
    return np.random.default_rng(seed).normal(0, 0.1, (channels, samples)).astype(np.float32)


def constant_mask(*values: float, **header) -> ModelFile:
    """Masks that are the same in every bin of every frame."""
    count = len(values)
    names = [f"stem {index}" for index in range(count)] + ["rest"]
    layers = [ConvRecord("zero", ["input"], np.zeros((1, 1, 1, count))),
              NormRecord("mask", ["zero"], values, np.ones(count))]
    return ModelFile(ModelHeader(mask_count=count, bus_names=names, **header), layers, "mask")


@pytest.fixture
def half(library, save):
    """A processor whose one mask is 0.5."""
    with Processor(save(constant_mask(0.5)), library=library) as processor:
        yield processor


def test_all_gains_at_unity_give_the_input(half):
    samples = noise(1, 5000)
    assert np.abs(half.restore(samples) - samples).max() < 1e-6


def test_a_muted_residual_leaves_the_mask(half):
    samples = noise(1, 5000)
    half.set_bus_gain(1, 0)
    assert np.abs(half.restore(samples) - 0.5 * samples).max() < 1e-6
    half.set_residual_level(-20)
    assert np.abs(half.restore(samples) - (0.5 + 0.05) * samples).max() < 1e-6


def test_the_output_does_not_depend_on_the_blocks(half):
    samples = noise(1, 4000)
    half.set_bus_gain(1, 0)
    half.push(samples)
    whole = half.pull()
    half.reset()
    parts = []
    for start in range(0, 4000, 317):
        half.push(samples[0, start:start + 317])
        parts.append(half.pull())
    assert np.array_equal(np.concatenate(parts, axis=1), whole)


def test_pending_samples_trail_by_the_latency(half):
    assert half.latency == 512
    half.push(noise(1, 512))
    assert half.pending == 256
    assert half.pull(100).shape == (1, 100)
    assert half.pending == 156


def test_more_than_is_pending_is_refused_and_nothing_is_lost(half):
    half.push(noise(1, 512))
    with pytest.raises(EngineError, match="257 samples are wanted, but 256 are pending"):
        half.pull(257)
    assert half.pull().shape == (1, 256)
    assert half.pull().shape == (1, 0)
    with pytest.raises(ValueError):
        half.pull(-1)


def test_a_recording_of_any_length_is_restored_whole(half):
    for length in (0, 1, 255, 256, 257, 1000):
        samples = noise(1, length)[0]
        restored = half.restore(samples)
        assert restored.shape == (length,)
        assert length == 0 or np.abs(restored - samples).max() < 1e-6


def test_a_recording_is_a_stream_of_its_own(half):
    half.push(noise(1, 700))
    samples = noise(1, 1000, seed=2)
    first = half.restore(samples)
    assert half.pending == 0
    half.push(noise(1, 512))
    assert half.pending == 256
    assert np.array_equal(half.restore(samples), first)


def test_interleaved_blocks_carry_the_same(library, save):
    samples = noise(3, 3000)
    with Processor(save(constant_mask(0.25)), 3, library=library) as processor:
        processor.push(samples)
        expected = processor.pull()
        processor.reset()
        processor.push_interleaved(samples.T)
        got = processor.pull_interleaved()
        assert got.shape == (expected.shape[1], 3) and np.array_equal(got.T, expected)


def test_channels_are_kept_apart(library, save):
    samples = noise(2, 3000)
    with Processor(save(constant_mask(0.5)), 2, library=library) as processor:
        assert np.abs(processor.restore(samples) - samples).max() < 1e-6


@pytest.mark.parametrize("rate, latency", [(48000, 512), (44100, 512), (96000, 1024),
                                           (16000, 256), (8000, 128)])
def test_the_host_rate_scales_the_frames(library, save, rate, latency):
    with Processor(save(constant_mask(0.5)), 1, rate, library) as processor:
        assert processor.latency == latency
        assert processor.info.sample_rate == 48000 and processor.info.hop_size == 256
        samples = noise(1, 4000)
        assert np.abs(processor.restore(samples) - samples).max() < 1e-6


def test_stems_have_names_and_gains(library, save):
    samples = noise(1, 3000)
    with Processor([save(constant_mask(0.5, 0.125))], library=library) as processor:
        assert processor.bus_names == ["stem 0", "stem 1", "rest"]
        processor.set_bus_gain(0, 0)
        processor.set_bus_gain(2, 0)
        assert np.abs(processor.restore(samples) - 0.125 * samples).max() < 1e-6


def test_parameters_are_read_and_written(half):
    assert half.parameter_range(1) == (-96, 0)
    assert half.parameter_range(3) is None
    half.set_parameter(257, 0.25)
    assert half.parameter(257) == 0.25
    half.set_bus_sensitivity(0, 250)
    assert half.parameter(2) == 100
    half.reset()
    assert half.parameter(257) == 0.25


def test_a_network_that_fails_needs_a_reset(library, save):
    layers = [DenseRecord("d", ["input"], np.ones((2, 2, 1)))]
    with Processor(save(ModelFile(layers=layers, output_source="d")), library=library) as processor:
        with pytest.raises(EngineError, match="dense weights are too few"):
            processor.push(noise(1, 600))
        with pytest.raises(EngineError, match="reset it"):
            processor.push(noise(1, 10))
        processor.reset()
        processor.push(noise(1, 10))


def test_arguments_that_make_no_sense_are_refused(library, save, half):
    path = save(ModelFile(), "other.vorun")
    for arguments in ((path, 0), (path, -1), (path, 1, 0.0), (path, 1, -1.0), (path, 1, np.nan)):
        with pytest.raises(ValueError):
            Processor(*arguments, library=library)
    for block in (np.zeros((2, 5)), np.zeros((1, 1, 5)), np.float32(1)):
        with pytest.raises(ValueError, match="a block of this stream"):
            half.push(block)


def test_what_is_no_model_gives_no_processor(library, save, tmp_path):
    with pytest.raises(EngineError, match="No such file"):
        Processor(tmp_path / "missing.vorun", library=library)
    with pytest.raises(EngineError, match="none"):
        Processor([], library=library)
    silent = ModelFile(ModelHeader(hop_size=0))
    with pytest.raises(EngineError, match="refused by the engine"):
        Processor(save(silent), library=library)


def test_a_closed_processor_is_not_used(library, save):
    processor = Processor(save(ModelFile()), library=library)
    processor.close()
    processor.close()
    with pytest.raises(EngineError, match="closed"):
        processor.push(np.zeros(5))
