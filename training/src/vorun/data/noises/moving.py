"""Noises whose level or colour moves."""

from __future__ import annotations

import numpy as np

from ..seeds import log_uniform
from .shapes import (SAMPLE_RATE, band, coloured, gain, phase, seconds, shaped, sloped, unit,
                     wander)


def drifting(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Two colours that come and go."""
    pace, depth = log_uniform(rng, 0.3, 5), rng.uniform(2, 7)
    first = coloured(samples, rng) * gain(depth * wander(samples, rng, pace))
    second = coloured(samples, rng) * gain(depth * wander(samples, rng, pace))
    return first + rng.uniform(0.2, 1) * second


def tremolo(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Level that swings evenly, as of things that turn or pump."""
    turn = seconds(samples) * log_uniform(rng, 0.3, 15) + rng.uniform()
    swing = (0.5 + 0.5 * np.sin(2 * np.pi * turn)) ** rng.uniform(0.5, 4)
    return coloured(samples, rng) * (rng.uniform(0.02, 0.4) + swing)


def flutter(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Bands of noise that each move by themselves at the pace of syllables. It has the rhythm and
    the colour of speech but none of its sounds.
    """
    total, depth = np.zeros(samples), rng.uniform(4, 10)
    edges = np.geomspace(100, log_uniform(rng, 5000, 16000), int(rng.integers(4, 10)))
    slope = rng.uniform(-6, -1)
    for low, high in zip(edges[:-1], edges[1:]):
        level = slope * np.log2(low / 500) + depth * wander(samples, rng, log_uniform(rng, 2, 9))
        total += band(samples, rng, low, high) * gain(level)
    return total


def swells(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Surf, breath and doors of trains: noise that grows over a second and dies."""
    total = 0.05 * coloured(samples, rng)
    start = 0
    while start < samples:
        length = int(log_uniform(rng, 0.3, 5) * SAMPLE_RATE)
        rise = rng.uniform(0.1, 0.8)
        time = np.linspace(0, 1, length)
        envelope = np.where(time < rise, time / rise, (1 - time) / (1 - rise)) ** 2
        end = min(samples, start + length)
        total[start:end] += rng.uniform(0.3, 1) * (coloured(length, rng) * envelope)[:end - start]
        start += int(length * rng.uniform(0.5, 1.5))
    return total


def siren(samples: int, rng: np.random.Generator) -> np.ndarray:
    """A tone with harmonics that sweeps up and down, and air."""
    turn = seconds(samples) * log_uniform(rng, 0.1, 4) + rng.uniform()
    sweep = np.sin(2 * np.pi * turn) if rng.random() < 0.5 else 2 * (turn % 1) - 1
    turns = phase(log_uniform(rng, 300, 1500) * 2 ** (rng.uniform(0.1, 0.8) * sweep))
    tone = sum(k ** -rng.uniform(1, 3) * np.sin(2 * np.pi * k * turns) for k in range(1, 7))
    return unit(tone) + rng.uniform(0.1, 1.5) * coloured(samples, rng)


def wind(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Gusts on a microphone: deep, with flutter that follows the gust."""
    gusts = gain(6 * wander(samples, rng, 1.5) + 3 * wander(samples, rng, 8))
    deep = shaped(samples, rng, [20, 80, 300, 2000, 24000], [0, 0, -15, -35, -60])
    howl = np.exp(0.3 * wander(samples, rng, 2))
    high = band(samples, rng, 300, 1800) * howl
    return deep * gusts + rng.uniform(0.03, 0.2) * high * gusts


def traffic(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Cars that pass, over the rush of a road."""
    total = 0.3 * sloped(samples, rng, -5)
    time = seconds(samples)
    for _ in range(max(1, int(samples / SAMPLE_RATE * rng.uniform(0.2, 0.7)))):
        middle, width = rng.uniform(0, time[-1]), rng.uniform(0.5, 2.5)
        nearness = 1 / (1 + ((time - middle) / width) ** 2)
        tyres = shaped(samples, rng, [30, 700, 1200, 24000], [-6, -4, 0, -30])
        turns = phase(rng.uniform(30, 90) * (1.03 - 0.06 / (1 + np.exp(-(time - middle)))))
        exhaust = sum(np.sin(2 * np.pi * k * turns) / k for k in range(1, 8))
        total += nearness ** 1.5 * (tyres + rng.uniform(0, 0.6) * unit(exhaust))
    return total
