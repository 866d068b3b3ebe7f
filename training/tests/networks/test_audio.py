"""Audio through PyTorch and through the engine gives the same samples."""

import numpy as np
import pytest
import torch
from torch import nn

from vorun.audio import AudioFormat
from vorun.engine import Processor
from vorun.export import export_model
from vorun.layers import Conv, Norm, Sigmoid

# Of the largest sample.
BOUND = 1e-5

FORMATS = {
    "long and short window": AudioFormat(),
    "pair of equal windows": AudioFormat(fft_size=512, window_size=512, hop_size=256),
    "four samples": AudioFormat(fft_size=4, window_size=4, hop_size=1),
    "odd hop": AudioFormat(fft_size=64, window_size=50, hop_size=25),
    "equal windows shorter than the transform": AudioFormat(fft_size=512, window_size=256,
                                                            hop_size=128),
    "lowest bins alone": AudioFormat(bins=300),
    "complex bins": AudioFormat(fft_size=256, window_size=256, hop_size=64, complex_bins=40),
    "complex bins and a tail": AudioFormat(fft_size=256, window_size=256, hop_size=64, bins=100,
                                           complex_bins=17),
    "nothing but complex bins": AudioFormat(fft_size=64, window_size=64, hop_size=16, bins=33,
                                            complex_bins=33),
    "one complex bin and nothing else": AudioFormat(fft_size=64, window_size=64, hop_size=16,
                                                    bins=1, complex_bins=1),
    "spectra": AudioFormat(fft_size=256, window_size=256, hop_size=64, spectra=True),
    "spectra with complex bins": AudioFormat(fft_size=256, window_size=256, hop_size=64,
                                             spectra=True, complex_bins=129),
    "three stems": AudioFormat(fft_size=256, window_size=256, hop_size=64, masks=3),
    "two channels and two stems": AudioFormat(fft_size=256, window_size=256, hop_size=64, masks=2,
                                              channels=2),
}


class Mask(nn.Module):
    """Something that depends on frames, bins and channels; masks go beyond 1."""

    def __init__(self, audio: AudioFormat, lookahead: int = 1) -> None:
        super().__init__()
        outputs = audio.masks * audio.channels
        self.mix = Conv(audio.channels, outputs, (3, 5), lookahead=lookahead)
        self.soft = Sigmoid()
        self.wide = Norm(outputs, 1.5, -0.1)

    def forward(self, x):
        return self.wide(self.soft(self.mix(x)))


def noise(channels: int, samples: int) -> np.ndarray:
    return np.random.default_rng(7).normal(0, 0.1, (channels, samples)).astype(np.float32)


def in_torch(network: nn.Module, audio: AudioFormat, samples: np.ndarray) -> np.ndarray:
    """[masks, channels, samples]: each bus alone."""
    with torch.no_grad():
        spectra = audio.analyse(torch.from_numpy(samples)[None])
        buses = audio.apply(spectra, network(audio.features(spectra)))
        return audio.synthesise(buses)[0].numpy()


def assert_as_in_engine(audio: AudioFormat, path: str, rate: float, samples: np.ndarray,
                        expected: np.ndarray, library) -> None:
    with Processor(path, audio.channels, rate, library) as processor:
        for bus in range(audio.masks):
            for other in range(audio.masks + 1):
                processor.set_bus_gain(other, 1 if other == bus else 0)
            restored = processor.restore(samples)[:, :expected.shape[-1]]
            assert np.abs(restored - expected[bus]).max() <= BOUND * np.abs(expected[bus]).max()


@pytest.mark.parametrize("audio", FORMATS.values(), ids=FORMATS)
def test_the_engine_gives_the_same_samples(audio, library, tmp_path):
    torch.manual_seed(3)
    network = Mask(audio)
    path = str(tmp_path / "m.vorun")
    export_model(network, path, audio)
    samples = noise(audio.channels, 4000)
    expected = in_torch(network, audio, samples)
    assert expected.shape[-1] > 2500 and np.abs(expected).max() > 1e-4
    assert_as_in_engine(audio, path, audio.sample_rate, samples, expected, library)


@pytest.mark.parametrize("rate, scale", [(96000, 2.0), (44100, 1.0), (24000, 0.5), (16000, 0.5)])
def test_another_host_rate_is_another_framing_of_the_same_network(rate, scale, library, tmp_path):
    torch.manual_seed(3)
    audio = AudioFormat(fft_size=512, window_size=512, hop_size=128, bins=200)
    network = Mask(audio)
    path = str(tmp_path / "m.vorun")
    export_model(network, path, audio)
    sizes = [int(size * scale) for size in (512, 512, 128)]
    bins = min(200, sizes[0] // 2 + 1)
    host = AudioFormat(rate, *sizes, bins=bins)
    samples = noise(1, 4000)
    with torch.no_grad():
        spectra = host.analyse(torch.from_numpy(samples)[None])
        # Rows above the host's spectrum are 0, and what comes out of them is dropped.
        rows = nn.functional.pad(host.features(spectra), (0, 200 - bins))
        buses = host.apply(spectra, network(rows)[..., :bins])
        expected = host.synthesise(buses)[0].numpy()
    assert_as_in_engine(audio, path, rate, samples, expected, library)


def test_what_is_analysed_comes_back():
    for audio in FORMATS.values():
        samples = torch.from_numpy(noise(2, 5000))
        again = audio.synthesise(audio.analyse(samples))
        assert 5000 - audio.latency_samples <= again.shape[-1] <= 5000
        assert (again - samples[:, :again.shape[-1]]).abs().max() < 1e-6


def test_the_latency_is_that_of_the_engine(library, tmp_path):
    for index, audio in enumerate(FORMATS.values()):
        path = str(tmp_path / f"{index}.vorun")
        report = export_model(Mask(audio, lookahead=2), path, audio)
        assert report.latency_frames == report.lag_frames == 2
        with Processor(path, audio.channels, audio.sample_rate, library) as processor:
            assert processor.latency == audio.latency_samples + 2 * audio.hop_size
            wanted = [f"Stem {i + 1}" for i in range(audio.masks)] + ["Residual"]
            if audio.masks == 1:
                wanted = ["Processed", "Residual"]
            assert processor.bus_names == wanted


def test_features_of_complex_bins_keep_their_signs():
    audio = AudioFormat(fft_size=4, window_size=4, hop_size=1, complex_bins=1)
    spectra = torch.tensor([-3 + 4j, 3 - 4j, -2j]).view(1, 1, 1, 3)
    assert audio.features(spectra).flatten().tolist() == [0, 4, 3, 0, 5, 2]
    outputs = torch.tensor([0.0, 4.0, 3.0, 0.0, 5.0, 2.0]).view(1, 1, 1, 6)
    assert audio.decode(outputs).flatten().tolist() == [-3 + 4j, 5, 2]


def test_samples_have_gradients():
    audio = FORMATS["complex bins and a tail"]
    samples = torch.from_numpy(noise(1, 1000))[None].requires_grad_()
    spectra = audio.analyse(samples)
    network = Mask(audio)
    result = audio.synthesise(audio.apply(spectra, network(audio.features(spectra))))
    result.square().sum().backward()
    assert torch.isfinite(samples.grad).all() and samples.grad.abs().sum() > 0
    assert network.mix.weight.grad.abs().sum() > 0


def test_too_few_samples_give_no_frames():
    audio = AudioFormat()
    assert audio.analyse(torch.zeros(2, 100)).shape == (2, 0, 513)
    assert audio.analyse(torch.zeros(2, 511)).shape == (2, 0, 513)
    assert audio.analyse(torch.zeros(2, 512)).shape == (2, 1, 513)


@pytest.mark.parametrize("options, match", [
    (dict(fft_size=1000), "no power of two"),
    (dict(window_size=2048, hop_size=1024), "fits into the transform"),
    (dict(fft_size=2048), "fills it"),
    (dict(hop_size=128), "two hops long"),
    (dict(window_size=768), "two hops long"),
    (dict(window_size=0, hop_size=0), "two hops long"),
    (dict(bins=514), "513 bins, not 514"),
    (dict(bins=10, complex_bins=11), "can be complex"),
    (dict(masks=0), "1 mask or more"),
    (dict(masks=2, bus_names=["a", "b"]), "one bus name more"),
])
def test_formats_that_make_no_sense_are_refused(options, match):
    with pytest.raises(ValueError, match=match):
        AudioFormat(**options)
