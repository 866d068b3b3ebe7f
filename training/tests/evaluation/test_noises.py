"""The families of noise, which no training may use."""

import numpy as np
import pytest
from scipy import signal

from vorun.evaluation import noises, voices

SAMPLES = 48000 * 2


def made(family: str, seed: int = 1) -> np.ndarray:
    missing = noises.why_missing(family)
    if missing:
        pytest.skip(missing)
    return noises.FAMILIES[family](SAMPLES, np.random.default_rng(seed))


@pytest.mark.parametrize("family", noises.FAMILIES)
def test_a_seed_gives_one_noise_of_unit_level(family):
    noise = made(family)
    assert noise.shape == (SAMPLES,) and np.all(np.isfinite(noise))
    assert np.sqrt(np.mean(noise ** 2)) == pytest.approx(1, abs=1e-9)
    assert noise.mean() == pytest.approx(0, abs=1e-9)
    assert np.array_equal(noise, made(family))
    assert abs(np.mean(noise * made(family, 2))) < 0.2


@pytest.mark.parametrize("family, slope", [("white", 0), ("pink", -3)])
def test_spectra_fall_as_their_names_say(family, slope):
    frequencies, power = signal.welch(made(family), 48000, nperseg=4096)
    octaves = [np.mean(power[(frequencies >= low) & (frequencies < 2 * low)])
               for low in (250, 500, 1000, 2000, 4000, 8000)]
    assert np.diff(10 * np.log10(octaves)) == pytest.approx(np.full(5, slope), abs=0.7)


def test_rain_is_drops():
    """Its short-time level swings more than that of noise with its spectrum."""
    def swing(noise):
        high = signal.sosfilt(signal.butter(4, 3000, "high", fs=48000, output="sos"), noise)
        return np.std(np.log(np.mean(high.reshape(-1, 48) ** 2, axis=1)))
    assert swing(made("rain")) > 1.5 * swing(made("white"))


def test_a_machine_turns():
    """The rattle comes back with the shaft: its envelope has lines of 30 to 60 Hz."""
    noise = signal.sosfilt(signal.butter(2, [1800, 5200], "band", fs=48000, output="sos"),
                           made("machine"))
    envelope = np.abs(noise).reshape(-1, 48).mean(axis=1)
    spectrum = np.abs(np.fft.rfft(envelope - envelope.mean()))
    frequencies = np.fft.rfftfreq(len(envelope), 0.001)
    line = (frequencies > 30) & (frequencies < 60)
    assert spectrum[line].max() > 3 * spectrum[(frequencies > 5) & (frequencies < 25)].max()


def test_a_crowd_lacks_nothing_but_its_voices(monkeypatch):
    voices.talkers.cache_clear()
    monkeypatch.setenv("PATH", "/nonexistent")
    assert noises.why_missing("crowd") == "no voices without flite and espeak-ng"
    assert noises.why_missing("rain") is None
    monkeypatch.undo()
    voices.talkers.cache_clear()


def test_no_family_is_trained_on():
    split = pytest.importorskip("vorun.data.noises")
    assert set(split.TEST_FAMILIES) == set(noises.FAMILIES)
    assert not set(noises.FAMILIES) & set().union(*split.FAMILIES.values())


def test_no_voice_of_the_crowd_is_trained_on():
    split = pytest.importorskip("vorun.data.voices")
    recorded = {voice.name for kind, voice in split.RECORDED if kind == split.TEST}
    assert set(voices.FLITE_VOICES) <= recorded
    for name in voices.ESPEAK_VOICES:
        language, variant = name.split("+")
        assert language in split.ESPEAK_LANGUAGES[split.TEST]
        assert variant in split.ESPEAK_VARIANTS[split.TEST]
