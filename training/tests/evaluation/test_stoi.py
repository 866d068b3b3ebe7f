"""The intelligibility measure against its definition."""

import numpy as np
import pytest

from vorun.evaluation import stoi as parts
from vorun.evaluation.stoi import stoi

RATE = 10000


def voice_like(seconds: float = 2.0, rate: int = RATE, seed: int = 1) -> np.ndarray:
    """Noise whose bands come and go a few times a second, as those of a voice do."""
    rng = np.random.default_rng(seed)
    time = np.arange(int(seconds * rate)) / rate
    bands = np.zeros(len(time))
    for centre in (200, 500, 1000, 1800, 3000):
        carrier = np.sin(2 * np.pi * centre * time + np.cumsum(rng.normal(0, 0.1, len(time))))
        bands += carrier * (0.55 + 0.45 * np.sin(2 * np.pi * rng.uniform(2, 5) * time
                                                 + rng.uniform(0, 6)))
    return bands


VOICE = voice_like()
NOISE = np.random.default_rng(2).normal(0, 1, len(VOICE))


def plain_stoi(clean: np.ndarray, degraded: np.ndarray) -> float:
    """The published sums one by one, for signals at 10 kHz that are nowhere silent."""
    window = [0.5 - 0.5 * np.cos(2 * np.pi * (n + 1) / 257) for n in range(256)]
    edges = [(150 * 2 ** (j / 3) / 2 ** (1 / 6), 150 * 2 ** (j / 3) * 2 ** (1 / 6))
             for j in range(15)]
    grid = [k * 10000 / 512 for k in range(257)]
    nearest = [[min(range(257), key=lambda k: abs(grid[k] - f)) for f in pair] for pair in edges]

    def bands(signal):
        rows = []
        for start in range(0, len(signal) - 255, 128):
            spectrum = np.fft.fft(signal[start:start + 256] * window, 512)
            rows.append([np.sqrt(sum(abs(spectrum[k]) ** 2 for k in range(low, high)))
                         for low, high in nearest])
        return np.array(rows)

    # Removing silent frames windows every frame once, even if none is silent.
    def framed(signal):
        out = np.zeros(len(signal))
        for start in range(0, len(signal) - 255, 128):
            out[start:start + 256] += signal[start:start + 256] * window
        return out[:(len(signal) - 256) // 128 * 128 + 256]

    x, y = bands(framed(clean)), bands(framed(degraded))
    values = []
    for m in range(29, len(x)):
        for j in range(15):
            a, b = x[m - 29:m + 1, j], y[m - 29:m + 1, j]
            b = np.minimum(b * np.sqrt(sum(a ** 2) / sum(b ** 2)), a + 10 ** (15 / 20) * a)
            values.append(np.corrcoef(a, b)[0, 1])
    return float(np.mean(values))


@pytest.mark.parametrize("gain", [0.1, 1, 5])
def test_the_sums_of_the_publication(gain):
    degraded = VOICE + gain * NOISE
    assert stoi(VOICE, degraded, RATE) == pytest.approx(plain_stoi(VOICE, degraded), abs=1e-9)


@pytest.mark.parametrize("rate", [10000, 16000, 44100, 48000])
def test_a_copy_at_any_level_gives_one(rate):
    voice = voice_like(rate=rate)
    for scale in (1.0, 0.01, 30.0):
        assert stoi(voice, scale * voice, rate) == pytest.approx(1, abs=1e-9)


def test_the_level_of_neither_counts():
    expected = stoi(VOICE, VOICE + NOISE, RATE)
    assert stoi(VOICE, 7 * (VOICE + NOISE), RATE) == pytest.approx(expected, abs=1e-12)
    assert stoi(0.2 * VOICE, VOICE + NOISE, RATE) == pytest.approx(expected, abs=1e-12)


def test_more_noise_is_less_intelligible():
    values = [stoi(VOICE, VOICE + gain * NOISE, RATE) for gain in (0, 0.1, 0.3, 1, 3, 10)]
    assert all(before > after + 0.01 for before, after in zip(values[1:], values[2:]))
    assert values[0] == pytest.approx(1) and values[0] > values[1] and values[-1] < 0.4


def test_noise_that_knows_nothing_of_the_voice_gives_about_nothing():
    assert abs(stoi(VOICE, NOISE, RATE)) < 0.15
    assert stoi(VOICE, np.zeros(len(VOICE)), RATE) == 0


def test_only_the_band_below_5_khz_counts():
    voice = voice_like(rate=48000)
    hiss = 3 * np.sin(2 * np.pi * 9000 * np.arange(len(voice)) / 48000)
    assert stoi(voice, voice + hiss, 48000) > 0.999


def test_silence_of_the_voice_does_not_count():
    gap = np.zeros(128 * 40)
    spoken = np.concatenate([VOICE, gap, VOICE])
    loud_in_the_gap = spoken.copy()
    loud_in_the_gap[len(VOICE) + 256:len(VOICE) + len(gap) - 256] = 5.0
    assert stoi(spoken, loud_in_the_gap, RATE) == pytest.approx(1, abs=1e-9)


def test_frames_40_db_below_the_loudest_are_silent():
    loud = np.ones(256 * 3)
    for decibels, kept in ((-39.9, True), (-40.1, False)):
        signal = np.concatenate([loud, np.full(256 * 3, 10 ** (decibels / 20))])
        clean, other = parts.without_silence(signal, np.arange(len(signal), dtype=float))
        assert len(clean) == len(other)
        assert (len(clean) == len(signal)) == kept


def test_bands_are_third_octaves_from_150_hz():
    edges = parts.band_edges()
    assert edges.shape == (15, 2)
    # Hz of the edges over the 19.53 Hz between two bins
    assert edges[0].tolist() == [7, 9] and edges[14].tolist() == [174, 219]
    assert np.array_equal(edges[1:, 0], edges[:-1, 1])


def test_a_tone_fills_its_own_band():
    tone = np.sin(2 * np.pi * 1190 * np.arange(4000) / RATE)
    bands = parts.third_octave_bands(tone).mean(axis=1)
    assert bands.argmax() == 9 and np.sort(bands)[-2] < 0.05 * bands[9]


def test_a_segment_lasts_384_ms():
    assert parts.SEGMENT_FRAMES * parts.HOP / parts.SAMPLE_RATE == 0.384
    enough = parts.HOP * 29 + parts.FRAME
    assert stoi(VOICE[:enough], VOICE[:enough], RATE) == pytest.approx(1)
    with pytest.raises(ValueError, match="384 ms"):
        stoi(VOICE[:enough - parts.HOP], VOICE[:enough - parts.HOP], RATE)


def test_clipping_sets_in_at_minus_15_db():
    clean = np.ones(30)
    # Equal energy: sum of squares 30, so one frame of height h leaves the rest small.
    degraded = np.full(30, 1e-3)
    degraded[7] = 1.0
    limit = 1 + 10 ** (15 / 20)                          # 6.6234
    height = np.sqrt(30 / (1 + 29e-6))                   # 5.4772: below the limit
    assert parts.clipped(clean, degraded)[7] == pytest.approx(height, rel=1e-12)
    longer, spike = np.ones(60), np.full(60, 1e-3)
    spike[7] = 1.0                                       # 7.74 unclipped: above it
    result = parts.clipped(longer, spike)
    assert limit == pytest.approx(6.62341, abs=1e-5)
    assert result[7] == pytest.approx(limit, rel=1e-12)
    assert result[8] == pytest.approx(1e-3 * np.sqrt(60 / (1 + 59e-6)), rel=1e-12)


def test_what_cannot_be_compared_is_refused():
    with pytest.raises(ValueError, match="silent"):
        stoi(np.zeros(9000), np.ones(9000), RATE)
    with pytest.raises(ValueError, match="one length"):
        stoi(VOICE, VOICE[1:], RATE)
    with pytest.raises(ValueError, match="silent"):
        stoi(VOICE[:100], VOICE[:100], RATE)
