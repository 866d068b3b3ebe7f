"""What the families are built of. All arrays are float64 [samples] at 48 kHz."""

from __future__ import annotations

from typing import Callable, Sequence

import numpy as np
from scipy import fft, signal

from ..seeds import log_uniform

SAMPLE_RATE = 48000
Family = Callable[[int, np.random.Generator], np.ndarray]


def unit(samples: np.ndarray) -> np.ndarray:
    """With an RMS of 1; silence stays."""
    return samples / (np.sqrt(np.mean(samples ** 2)) + 1e-12)


def shaped(samples: int, rng: np.random.Generator, frequencies: Sequence[float],
           decibels: Sequence[float]) -> np.ndarray:
    """Gaussian noise with these levels, in straight lines over the logarithm of frequency."""
    length = fft.next_fast_len(samples, True)
    spectrum = fft.rfft(rng.normal(size=length))
    grid = np.log(np.maximum(fft.rfftfreq(length, 1 / SAMPLE_RATE), 10))
    gains = 10 ** (np.interp(grid, np.log(frequencies), decibels) / 20)
    return unit(fft.irfft(spectrum * gains, length)[:samples])


def sloped(samples: int, rng: np.random.Generator, decibels_per_octave: float) -> np.ndarray:
    return shaped(samples, rng, [20, 24000], [0, decibels_per_octave * np.log2(1200)])


def coloured(samples: int, rng: np.random.Generator) -> np.ndarray:
    """A random spectrum, falling more often than rising."""
    count = int(rng.integers(4, 14))
    levels = np.cumsum(rng.normal(rng.uniform(-5, 1), 6, count))
    return shaped(samples, rng, np.geomspace(30, 24000, count), levels)


def band(samples: int, rng: np.random.Generator, low: float, high: float) -> np.ndarray:
    """Noise between two frequencies of 20 to 23000 Hz."""
    edges = [max(low, 20), min(high, 23000)]
    return unit(filtered(rng.normal(size=samples), edges, "bandpass"))


def filtered(samples: np.ndarray, edges, kind: str, order: int = 2) -> np.ndarray:
    return signal.sosfilt(signal.butter(order, edges, kind, fs=SAMPLE_RATE, output="sos"), samples)


def wander(samples: int, rng: np.random.Generator, per_second: float) -> np.ndarray:
    """Normal numbers so often, with straight lines between them."""
    knots = int(samples / SAMPLE_RATE * per_second) + 4
    places = np.linspace(0, knots - 1, samples)
    return np.interp(places, np.arange(knots), rng.normal(size=knots))


def gain(decibels: np.ndarray) -> np.ndarray:
    return 10 ** (decibels / 20)


def phase(hertz: np.ndarray) -> np.ndarray:
    """In cycles, of something that turns at this pace."""
    return np.cumsum(hertz) / SAMPLE_RATE


def seconds(samples: int) -> np.ndarray:
    return np.arange(samples) / SAMPLE_RATE


def scatter(samples: int, rng: np.random.Generator, per_second: float,
            event: Callable[[], np.ndarray]) -> np.ndarray:
    """Events at random times, cut at the end."""
    total = np.zeros(samples)
    for _ in range(max(1, int(rng.poisson(per_second * samples / SAMPLE_RATE)))):
        place(total, int(rng.integers(samples)), event())
    return total


def place(total: np.ndarray, start: int, sound: np.ndarray) -> None:
    end = min(len(total), start + len(sound))
    if 0 <= start < end:
        total[start:end] += sound[:end - start]


def decaying(rng: np.random.Generator, shortest: float, longest: float,
             steepness: float = 5.0) -> np.ndarray:
    """An envelope from 1 on, of so many seconds."""
    length = max(8, int(log_uniform(rng, shortest, longest) * SAMPLE_RATE))
    return np.exp(-steepness * np.arange(length) / length)
