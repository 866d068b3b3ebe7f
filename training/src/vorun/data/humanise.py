"""Synthesised speech made more like people in front of microphones.

    speech at its own rate -> pitch, with drift and jitter -> 48 kHz -> spectral frames:
        size of the throat (formants), sound of the voice (breath, whisper), strength of
        consonants, the band that the synthesiser lacks -> loudness over time, creak

All of it is drawn anew for each clip, so that one voice becomes many.
"""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np
from scipy import fft, signal

from .seeds import log_uniform
from .synthesis import Spoken

SAMPLE_RATE = 48000
PEAK = 0.7

_FRAME, _HOP = 1024, 256
# Lag below which a cepstrum is the envelope: 1.25 ms, above the pitch of all voices here.
_ENVELOPE_LAG = 60
_OVERSAMPLING = 2
_FLOOR = 1e-7


@dataclass(frozen=True)
class Manner:
    """How a clip is changed.

    pitch      factor of pitch, formants and pace
    throat     factor of the formants alone, on top of that
    drift      share by which the pitch wanders over 50 ms and more
    jitter     the same from period to period
    breath     level of breath noise under the voice, of its envelope
    whisper    no voice at all, breath alone
    consonants dB on frames with more energy above 3 kHz than below
    brightness dB per octave of the band that is made up
    fullness   level of that band
    contour    dB by which loudness wanders
    creak      depth of the slow pulses at the end of a sentence
    """

    pitch: float = 1.0
    throat: float = 1.0
    drift: float = 0.0
    jitter: float = 0.0
    breath: float = 0.0
    whisper: bool = False
    consonants: float = 0.0
    brightness: float = -6.0
    fullness: float = 1.0
    contour: float = 0.0
    creak: float = 0.0


def draw_manner(rng: np.random.Generator) -> Manner:
    pitch = log_uniform(rng, 0.75, 1.35)
    return Manner(
        pitch=pitch,
        # Throats vary less than pitches do.
        throat=float(np.clip(log_uniform(rng, 0.84, 1.2) / np.sqrt(pitch), 0.75, 1.3)),
        drift=rng.uniform(0, 0.02),
        jitter=rng.uniform(0, 0.008),
        breath=log_uniform(rng, 0.02, 0.5) if rng.random() < 0.6 else 0.0,
        whisper=bool(rng.random() < 0.03),
        consonants=rng.uniform(-4, 9),
        brightness=rng.uniform(-9, -1),
        fullness=log_uniform(rng, 0.4, 1.8),
        contour=rng.uniform(0, 5),
        creak=rng.uniform(0.3, 0.9) if rng.random() < 0.15 else 0.0)


def humanise(spoken: Spoken, manner: Manner, rng: np.random.Generator) -> np.ndarray:
    """float32 at 48 kHz with a peak of PEAK."""
    band = 0.5 * spoken.rate * manner.pitch
    samples = _repitched(spoken, manner, rng)
    spectra = _analyse(samples)
    spectra = _shape(spectra, min(band, 0.5 * SAMPLE_RATE), manner, rng)
    samples = _synthesise(spectra, len(samples))
    samples = samples * _contour(len(samples), manner, rng)
    return (samples * (PEAK / max(np.abs(samples).max(), 1e-9))).astype(np.float32)


def _repitched(spoken: Spoken, manner: Manner, rng: np.random.Generator) -> np.ndarray:
    """At 48 kHz, read at a pace that wanders. Twice the rate keeps straight lines between samples
    true to the sound.
    """
    padding = spoken.rate // 50
    padded = np.pad(spoken.samples, (padding, padding))
    padded = np.pad(padded, (0, fft.next_fast_len(len(padded), True) - len(padded)))
    ratio = _OVERSAMPLING * SAMPLE_RATE / (spoken.rate * manner.pitch)
    fine = signal.resample(padded, fft.next_fast_len(round(len(padded) * ratio), True))
    count = len(fine) // _OVERSAMPLING
    pace = 1 + _wander(count, 2400, rng) * manner.drift + _wander(count, 300, rng) * manner.jitter
    places = np.cumsum(pace * (len(fine) / count))
    places = places[places < len(fine) - 1]
    return np.interp(places, np.arange(len(fine)), fine)


def _shape(spectra: np.ndarray, band: float, manner: Manner,
           rng: np.random.Generator) -> np.ndarray:
    """[frames, bins], with energy up to `band` Hz."""
    envelope = _envelope(spectra)
    moved = _stretch(envelope, manner.throat)
    spectra = spectra * np.clip(moved / envelope, 0.05, 20)
    edge = min(0.92 * band * min(manner.throat, 1.0), 0.5 * SAMPLE_RATE)
    noise = _noise(spectra.shape, rng)
    sibilance = _sibilance(moved)
    if manner.whisper:
        spectra = moved * noise
    elif manner.breath:
        rise = np.clip(_frequencies() / 2000, 0.1, 1.5)
        spectra = spectra + manner.breath * moved * rise * noise
    spectra = _fill_top(spectra, edge, sibilance, manner, noise)
    return spectra * 10 ** (manner.consonants * sibilance / 20)


def _fill_top(spectra: np.ndarray, edge: float, sibilance: np.ndarray, manner: Manner,
              noise: np.ndarray) -> np.ndarray:
    """Noise above the edge that goes on with the level below it: a voice without it would teach
    that nothing there is speech.
    """
    frequencies = _frequencies()
    if edge > 17000:
        return spectra
    below = (frequencies > 0.6 * edge) & (frequencies < 0.9 * edge)
    level = np.sqrt(np.mean(np.abs(spectra[:, below]) ** 2, axis=1, keepdims=True))
    octaves = np.log2(np.maximum(frequencies, edge) / edge)
    tilt = 10 ** (manner.brightness * octaves / 20)
    share = manner.fullness * (0.5 + 0.5 * sibilance)
    fade = np.clip((frequencies / edge - 0.9) / 0.1, 0, 1)
    return spectra * (1 - fade) + level * share * tilt * fade * noise


def _sibilance(envelope: np.ndarray) -> np.ndarray:
    """[frames, 1]: 0 for vowels, 1 for s, f and the like; smoothed over a few frames."""
    power = envelope ** 2
    high = _frequencies() > 3000
    share = power[:, high].sum(1) / (power.sum(1) + _FLOOR)
    smooth = np.convolve(share, np.hanning(7)[1:-1] / np.hanning(7).sum(), "same")
    return np.clip((smooth - 0.2) / 0.5, 0, 1)[:, None]


def _contour(count: int, manner: Manner, rng: np.random.Generator) -> np.ndarray:
    gain = 10 ** (manner.contour * _wander(count, 24000, rng) / 20)
    if manner.creak:
        length = min(count, int(rng.uniform(0.2, 0.7) * SAMPLE_RATE))
        pulses = np.cumsum(rng.uniform(28, 60) * (1 + 0.4 * _wander(length, 800, rng)))
        phase = pulses / SAMPLE_RATE % 1
        rise = np.minimum(np.linspace(0, 4, length), 1)
        gain[count - length:] *= 1 - manner.creak * rise * (1 - np.exp(-5 * phase))
    return gain


def _wander(count: int, step: int, rng: np.random.Generator) -> np.ndarray:
    """Normal numbers every `step` samples with straight lines between them."""
    knots = count // step + 3
    return np.interp(np.arange(count) / step, np.arange(knots), rng.normal(size=knots))


def _analyse(samples: np.ndarray) -> np.ndarray:
    padded = np.pad(samples, (_FRAME, 2 * _FRAME))
    frames = np.lib.stride_tricks.sliding_window_view(padded, _FRAME)[::_HOP]
    return fft.rfft(frames * signal.get_window("hann", _FRAME), axis=1)


def _synthesise(spectra: np.ndarray, count: int) -> np.ndarray:
    """The opposite of _analyse()."""
    frames = fft.irfft(spectra, _FRAME, axis=1) * signal.get_window("hann", _FRAME)
    blocks = frames.reshape(len(frames), _FRAME // _HOP, _HOP)
    total = np.zeros((len(frames) + _FRAME // _HOP - 1, _HOP))
    for part in range(_FRAME // _HOP):
        total[part:part + len(frames)] += blocks[:, part]
    # The squares of four Hann windows sum to 1.5.
    return total.reshape(-1)[_FRAME:_FRAME + count] / 1.5


def _envelope(spectra: np.ndarray) -> np.ndarray:
    """Without the harmonics: the low part of the cepstrum."""
    magnitudes = np.abs(spectra)
    floor = 1e-4 * magnitudes.max() + _FLOOR
    cepstrum = fft.irfft(np.log(magnitudes + floor), _FRAME, axis=1)
    cepstrum[:, _ENVELOPE_LAG:_FRAME - _ENVELOPE_LAG + 1] = 0
    return np.maximum(np.exp(fft.rfft(cepstrum, axis=1).real) - floor, 0.01 * floor)


def _stretch(envelope: np.ndarray, factor: float) -> np.ndarray:
    """What stood at f stands at factor * f."""
    places = np.arange(envelope.shape[1]) / factor
    low = np.minimum(places.astype(int), envelope.shape[1] - 2)
    share = np.clip(places - low, 0, 1)
    return envelope[:, low] * (1 - share) + envelope[:, low + 1] * share


def _noise(shape: tuple[int, int], rng: np.random.Generator) -> np.ndarray:
    """Unit power, complex."""
    return (rng.normal(size=shape) + 1j * rng.normal(size=shape)) * np.sqrt(0.5)


def _frequencies() -> np.ndarray:
    return fft.rfftfreq(_FRAME, 1 / SAMPLE_RATE)
