"""What lies between a mouth and a file: rooms and microphones, drawn anew each time."""

from __future__ import annotations

import numpy as np
from scipy import signal

from .seeds import log_uniform

SAMPLE_RATE = 48000


def impulse_response(rng: np.random.Generator) -> np.ndarray:
    """Of a room, float64 [samples], its direct sound first and 1: a few early echoes, then noise
    that dies away in 0.1 to 0.9 s, highs sooner than lows.
    """
    decay = log_uniform(rng, 0.1, 0.9)
    length = int(decay * SAMPLE_RATE)
    time = np.arange(length) / SAMPLE_RATE
    low = rng.normal(size=length) * np.exp(-6.9 * time / decay)
    dull = signal.butter(1, rng.uniform(1500, 6000), fs=SAMPLE_RATE, output="sos")
    low = signal.sosfilt(dull, low)
    high = rng.normal(size=length) * np.exp(-6.9 * time / (decay * rng.uniform(0.3, 0.8)))
    tail = low / _norm(low) + rng.uniform(0.2, 0.8) * high / _norm(high)
    start = int(rng.uniform(0.002, 0.02) * SAMPLE_RATE)
    tail[:start] = 0
    for _ in range(rng.integers(2, 8)):
        place = int(rng.uniform(0.0008, 0.03) * SAMPLE_RATE)
        if place < length:
            tail[place] += rng.choice([-1, 1]) * rng.uniform(0.02, 0.3) * _norm(tail)
    direct_to_tail = rng.uniform(-2, 20)
    tail *= 10 ** (-direct_to_tail / 20) / (_norm(tail) + 1e-9)
    tail[0] = 1
    return tail


def microphone(rng: np.random.Generator, frequencies: np.ndarray,
               strength: float = 1.0) -> np.ndarray:
    """Gains at these frequencies: a slope, a few bumps and dips, and what a small microphone lacks
    in the bass. About 0 dB at 1 kHz.
    """
    octaves = np.log2(np.maximum(frequencies, 20) / 1000)
    decibels = rng.normal(0, 1.5 * strength) * octaves
    for _ in range(rng.integers(1, 5)):
        centre, width = rng.uniform(-4, 4.3), rng.uniform(0.2, 1.2)
        decibels += rng.normal(0, 4 * strength) * np.exp(-0.5 * ((octaves - centre) / width) ** 2)
    decibels = np.clip(decibels, -24, 18)
    if rng.random() < 0.5:
        corner = log_uniform(rng, 40, 300)
        decibels -= 10 * np.log10(1 + (corner / np.maximum(frequencies, 1)) ** 4)
    return 10 ** (decibels / 20)


def band_limit(rng: np.random.Generator, frequencies: np.ndarray) -> np.ndarray:
    """Gains of a recording that ends early: a telephone's, a lossy coder's, a low sample rate's."""
    edge = rng.choice([3400, 4000, 5500, 7000, 8000, 11000, 12000, 14000, 16000])
    edge = edge * rng.uniform(0.9, 1.05)
    return 1 / np.sqrt(1 + (frequencies / edge) ** (2 * rng.integers(8, 40)))


def _norm(samples: np.ndarray) -> float:
    return float(np.sqrt(np.sum(samples ** 2)))
