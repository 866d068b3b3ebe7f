"""Noises that hardly change."""

from __future__ import annotations

import numpy as np

from ..seeds import log_uniform, pick
from .shapes import (SAMPLE_RATE, band, coloured, filtered, gain, phase, seconds, shaped, sloped,
                     unit, wander)


def brown(samples: int, rng: np.random.Generator) -> np.ndarray:
    """A deep rumble."""
    return sloped(samples, rng, rng.uniform(-8, -4.5))


def hiss(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Of amplifiers and tapes: rising, with a knee."""
    knee = log_uniform(rng, 1500, 9000)
    rise = rng.uniform(1.5, 6) * np.log2(knee / 60)
    fall = rng.uniform(0, 9) * np.log2(24000 / knee)
    return shaped(samples, rng, [60, knee, 24000], [-rise, 0, -fall])


def hum(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Of the mains, with harmonics."""
    mains = pick(rng, (50, 60, 100, 120)) * rng.uniform(0.995, 1.005)
    pitch = mains if rng.random() < 0.7 else log_uniform(rng, 40, 400)
    time, total = seconds(samples), np.zeros(samples)
    slope = rng.uniform(0.2, 1.6)
    for harmonic in range(1, int(rng.integers(4, 40))):
        if harmonic * pitch < 20000:
            turn = harmonic * pitch * time + rng.uniform()
            total += rng.uniform() * harmonic ** -slope * np.sin(2 * np.pi * turn)
    return unit(total) + rng.uniform(0.02, 0.7) * coloured(samples, rng)


def fan(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Blades that pass, and the air that they move."""
    turns = phase(rng.uniform(20, 250) * (1 + 0.01 * wander(samples, rng, 2)))
    blades = sum(rng.uniform() / k * np.sin(2 * np.pi * (k * turns + rng.uniform()))
                 for k in range(1, 9))
    air = filtered(rng.normal(size=samples), log_uniform(rng, 150, 3000), "lowpass", 1)
    pulsing = 1 + rng.uniform(0, 0.5) * np.sin(2 * np.pi * turns)
    return unit(air) * pulsing + rng.uniform(0, 1) * unit(blades) + 0.2 * coloured(samples, rng)


def ventilation(samples: int, rng: np.random.Generator) -> np.ndarray:
    """A duct: a falling rush with resonances."""
    total = sloped(samples, rng, rng.uniform(-6.5, -3.8))
    for _ in range(rng.integers(2, 6)):
        centre = log_uniform(rng, 80, 4000)
        total += rng.uniform(0.1, 0.6) * band(samples, rng, centre * 0.93, centre * 1.07)
    return total * gain(wander(samples, rng, 0.5))


def room_tone(samples: int, rng: np.random.Generator) -> np.ndarray:
    """A quiet room: low air, a far hum, the hiss of the microphone."""
    low = shaped(samples, rng, [20, 100, 1000, 24000],
                 [0, rng.uniform(-10, 0), rng.uniform(-35, -15), -50])
    return (low + rng.uniform(0, 0.3) * hum(samples, rng)
            + rng.uniform(0.02, 0.3) * hiss(samples, rng))


def banded(samples: int, rng: np.random.Generator) -> np.ndarray:
    """A narrow rush over something softer."""
    centre, width = log_uniform(rng, 100, 12000), rng.uniform(0.15, 0.8)
    narrow = band(samples, rng, centre * (1 - width / 2), centre * (1 + width / 2))
    return narrow + rng.uniform(0, 0.4) * coloured(samples, rng)


def buzz(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Electronics: pulses at a fixed pace, often switched on and off, as phones couple in."""
    turns = seconds(samples) * log_uniform(rng, 60, 900)
    pulses = np.exp(-rng.uniform(3, 30) * (turns % 1)) - 0.1
    if rng.random() < 0.5:
        gate = (seconds(samples) * rng.uniform(1, 12) + rng.uniform()) % 1
        pulses = pulses * (gate < rng.uniform(0.3, 0.9))
    low = filtered(pulses - pulses.mean(), log_uniform(rng, 3000, 18000), "lowpass")
    return unit(low) + rng.uniform(0.02, 0.4) * coloured(samples, rng)


def whine(samples: int, rng: np.random.Generator) -> np.ndarray:
    """A few steady or gliding tones over noise, as of coils, pumps and kettles."""
    total = np.zeros(samples)
    for _ in range(rng.integers(1, 6)):
        glide = 2 ** (rng.uniform(0, 0.5) * wander(samples, rng, rng.uniform(0.1, 1)))
        hertz = np.minimum(log_uniform(rng, 150, 9000) * glide, 0.45 * SAMPLE_RATE)
        swell = gain(rng.uniform(0, 6) * wander(samples, rng, 1))
        total += rng.uniform(0.1, 1) * swell * np.sin(2 * np.pi * phase(hertz))
    return unit(total) + rng.uniform(0.05, 1) * coloured(samples, rng)
