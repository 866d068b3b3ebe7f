"""Patterns like those of music."""

from __future__ import annotations

import numpy as np

from ..seeds import log_uniform, pick
from .shapes import SAMPLE_RATE, decaying, place, unit

_SCALES = ((0, 2, 4, 5, 7, 9, 11), (0, 2, 3, 5, 7, 8, 10), (0, 3, 5, 7, 10), (0, 2, 4, 7, 9))


def music(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Chords and melodies of plucked and bowed tones, some with drums."""
    total = np.zeros(samples)
    beat = log_uniform(rng, 0.15, 0.6)
    scale, root = pick(rng, _SCALES), rng.uniform(50, 110)
    timbre = rng.uniform(0.6, 2.5), int(rng.integers(2, 14)), rng.uniform(0.003, 0.12)
    drums = rng.random() < 0.5
    for count, start in enumerate(range(0, samples, int(beat * SAMPLE_RATE))):
        for _ in range(rng.integers(0, 4)):
            steps = pick(rng, scale) + 12 * int(rng.integers(0, 5))
            length = beat * pick(rng, (1, 1, 2, 4)) * rng.uniform(0.8, 1.5)
            note = _note(root * 2 ** (steps / 12), length, timbre, rng)
            place(total, start, note * rng.uniform(0.3, 1))
        if drums:
            place(total, start, rng.uniform(0.3, 2) * _drum(count, rng))
    return unit(total)


def _note(hertz: float, length: float, timbre: tuple[float, int, float],
          rng: np.random.Generator) -> np.ndarray:
    slope, harmonics, attack = timbre
    time = np.arange(int(length * SAMPLE_RATE)) / SAMPLE_RATE
    sway = 0.003 * np.sin(2 * np.pi * 5.5 * time) * rng.uniform(0, 1)
    turns = hertz * (time + sway / 20)
    tone = sum(k ** -slope * np.sin(2 * np.pi * k * turns)
               for k in range(1, harmonics + 1) if k * hertz < 20000)
    edge = np.minimum(time / attack, 1) * np.minimum((time[-1] - time) / 0.01, 1)
    return tone * edge * np.exp(-time * log_uniform(rng, 0.3, 8))


def _drum(count: int, rng: np.random.Generator) -> np.ndarray:
    if count % 2:
        envelope = decaying(rng, 0.03, 0.25)
        return envelope * rng.normal(size=len(envelope))
    envelope = decaying(rng, 0.1, 0.4)
    time = np.arange(len(envelope)) / SAMPLE_RATE
    return 2 * envelope * np.sin(2 * np.pi * (50 * time + 3 * (1 - np.exp(-30 * time))))
