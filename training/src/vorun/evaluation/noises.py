"""The families of noise of the evaluation, at 48 kHz. They are for the test alone: no training uses
them.

Each is a function of (samples, rng) that gives float64 [samples] with an RMS of 1 and no mean,
the same for the same rng.
"""

from __future__ import annotations

from typing import Callable, Optional

import numpy as np
from scipy import signal

from .voices import talkers

SAMPLE_RATE = 48000
Family = Callable[[int, np.random.Generator], np.ndarray]

_DROPS_PER_SECOND = 500
_LARGEST_DROP = 4.0
_TALKERS = 10


def white(samples: int, rng: np.random.Generator) -> np.ndarray:
    return _unit(rng.normal(size=samples))


def pink(samples: int, rng: np.random.Generator) -> np.ndarray:
    """3 dB less for each octave."""
    return _shaped(samples, rng, [20, 24000], [0, -3 * np.log2(1200)])


def rain(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Drops, each a short falling whistle of its own pitch, over a steady rush."""
    drops = np.zeros(samples)
    for _ in range(samples * _DROPS_PER_SECOND // SAMPLE_RATE):
        length = int(rng.uniform(0.0005, 0.006) * SAMPLE_RATE)
        start = rng.integers(0, max(1, samples - length))
        position = np.arange(length) / length
        cycles = rng.uniform(900, 14000) * length / SAMPLE_RATE * position * (1 + 0.3 * position)
        size = min(_LARGEST_DROP, rng.lognormal(0, 0.8))
        drop = size * np.sin(2 * np.pi * cycles) * np.exp(-4 * position)
        drops[start:start + length] += drop[:samples - start]
    rush = _shaped(samples, rng, [30, 300, 1500, 6000, 24000], [-8, -14, 0, 1, -12])
    return _unit(_unit(drops) + 0.6 * rush)


def machine(samples: int, rng: np.random.Generator) -> np.ndarray:
    """A shaft whose speed sways: its firing, a rattle twice a turn, a whining gear, and air."""
    time = np.arange(samples) / SAMPLE_RATE
    sway = np.sin(2 * np.pi * 0.23 * time + rng.uniform(0, 2 * np.pi))
    turns = np.cumsum(22 * (1 + 0.25 * sway)) / SAMPLE_RATE + rng.uniform()
    firing = _filtered(2 * (4 * turns % 1) - 1, 2500, "lowpass")
    rattle = _filtered(rng.normal(size=samples), [1800, 5200], "bandpass")
    rattle *= np.exp(-8 * (2 * turns % 1))
    gear = np.sin(2 * np.pi * 37 * turns) * (0.6 + 0.4 * np.sin(2 * np.pi * turns))
    return _unit(_unit(firing) + 0.9 * _unit(rattle) + 0.35 * gear + 0.4 * pink(samples, rng))


def crowd(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Synthesised voices that talk at once, near and far, in a room. Raises OSError where the
    programs that synthesise them are missing."""
    mixed = np.zeros(samples)
    for _ in range(_TALKERS):
        mixed += rng.lognormal(0, 0.4) * _talk(samples, rng)
    tail = rng.normal(size=SAMPLE_RATE // 4)
    tail *= np.exp(-np.arange(len(tail)) / (0.04 * SAMPLE_RATE))
    tail[0] += 3
    return _unit(signal.fftconvolve(mixed, tail)[:samples])


def _talk(samples: int, rng: np.random.Generator) -> np.ndarray:
    """One talker after the other, the first from the middle of a sentence."""
    voices = talkers()
    spoken = [voices[index] for index in rng.integers(len(voices), size=2)]
    start = rng.integers(len(spoken[0]))
    while sum(map(len, spoken)) < start + samples:
        spoken.append(voices[rng.integers(len(voices))])
    return np.concatenate(spoken)[start:start + samples]


FAMILIES: dict[str, Family] = {"rain": rain, "machine": machine, "crowd": crowd, "white": white,
                               "pink": pink}


def why_missing(family: str) -> Optional[str]:
    """What a family lacks on this machine; None if nothing."""
    if family != "crowd":
        return None
    try:
        talkers()
    except OSError as error:
        return str(error)
    return None


def _unit(samples: np.ndarray) -> np.ndarray:
    samples = samples - samples.mean()
    return samples / np.sqrt(np.mean(samples ** 2))


def _filtered(samples: np.ndarray, edges, kind: str) -> np.ndarray:
    return signal.sosfilt(signal.butter(2, edges, kind, fs=SAMPLE_RATE, output="sos"), samples)


def _shaped(samples: int, rng: np.random.Generator, frequencies, decibels) -> np.ndarray:
    """Gaussian noise with these levels, in straight lines over the logarithm of frequency."""
    spectrum = np.fft.rfft(rng.normal(size=samples))
    grid = np.maximum(np.fft.rfftfreq(samples, 1 / SAMPLE_RATE), frequencies[0])
    levels = np.interp(np.log(grid), np.log(frequencies), decibels)
    return _unit(np.fft.irfft(spectrum * 10 ** (levels / 20), samples))
