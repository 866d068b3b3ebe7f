"""Noises made of single sounds."""

from __future__ import annotations

import numpy as np

from ..seeds import log_uniform, pick
from .shapes import SAMPLE_RATE, coloured, decaying, filtered, place, scatter, sloped, unit


def clicks(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Knocks, taps and clinks: each a tone and a burst of noise that die away."""
    def event() -> np.ndarray:
        envelope = decaying(rng, 0.003, 0.15)
        turn = np.arange(len(envelope)) * log_uniform(rng, 150, 9000) / SAMPLE_RATE
        tone = rng.uniform() * np.sin(2 * np.pi * turn)
        burst = rng.uniform() * rng.normal(size=len(envelope))
        return (tone + burst) * envelope * rng.lognormal(0, 0.7)

    struck = unit(scatter(samples, rng, log_uniform(rng, 1, 25), event))
    return struck + rng.uniform(0.01, 0.2) * coloured(samples, rng)


def crackle(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Of records and fires: many tiny pulses of very different strength."""
    pulses = np.zeros(samples)
    count = rng.poisson(log_uniform(rng, 10, 300) * samples / SAMPLE_RATE)
    pulses[rng.integers(0, samples, count)] = rng.standard_t(2, count).clip(-20, 20)
    lit = filtered(pulses, [log_uniform(rng, 80, 800), log_uniform(rng, 3000, 20000)], "bandpass")
    return unit(lit) + rng.uniform(0.05, 0.6) * coloured(samples, rng)


def thumps(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Steps, doors and tables: low, with a scuff, at a pace that wavers."""
    total = 0.1 * coloured(samples, rng)
    spot, pace = 0.0, log_uniform(rng, 0.4, 1.5)
    while spot < samples:
        envelope = decaying(rng, 0.05, 0.3, 7)
        turn = np.arange(len(envelope)) * rng.uniform(40, 160) / SAMPLE_RATE
        scuff = filtered(rng.normal(size=len(envelope)), log_uniform(rng, 400, 6000), "highpass", 1)
        sound = np.sin(2 * np.pi * turn) + rng.uniform(0.05, 0.8) * scuff
        place(total, int(spot), rng.lognormal(0, 0.4) * sound * envelope)
        spot += SAMPLE_RATE * pace * rng.lognormal(0, 0.25)
    return total


def rustle(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Paper, cloth and bags: bursts of high noise, each of many small ones."""
    def event() -> np.ndarray:
        length = int(log_uniform(rng, 0.03, 0.6) * SAMPLE_RATE)
        grains = rng.normal(size=length) * (rng.random(length // 200 + 1) ** 3).repeat(200)[:length]
        return np.hanning(length) * grains * rng.lognormal(0, 0.6)

    total = scatter(samples, rng, log_uniform(rng, 1, 8), event)
    high = filtered(total, [log_uniform(rng, 300, 2500), log_uniform(rng, 5000, 20000)], "bandpass")
    return unit(high) + rng.uniform(0.01, 0.3) * coloured(samples, rng)


def bubbles(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Water that boils or pours: rising chirps."""
    def event() -> np.ndarray:
        envelope = decaying(rng, 0.008, 0.08, 4)
        share = np.arange(len(envelope)) / len(envelope)
        hertz = log_uniform(rng, 250, 3500) * (1 + rng.uniform(0.1, 0.9) * share)
        return np.sin(2 * np.pi * np.cumsum(hertz) / SAMPLE_RATE) * envelope * rng.lognormal(0, 0.6)

    poured = unit(scatter(samples, rng, log_uniform(rng, 8, 120), event))
    return poured + rng.uniform(0.05, 0.8) * coloured(samples, rng)


def alarms(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Beeps and rings in a rhythm."""
    total = rng.uniform(0.02, 0.5) * coloured(samples, rng)
    pitch, period = log_uniform(rng, 400, 4500), log_uniform(rng, 0.1, 1.2)
    length = max(64, int(period * rng.uniform(0.2, 0.9) * SAMPLE_RATE))
    turn = np.arange(length) / SAMPLE_RATE
    edge = np.minimum(1, np.minimum(turn, turn[::-1]) / 0.004)
    for start in range(0, samples, int(period * SAMPLE_RATE)):
        hertz = pitch * pick(rng, (1, 1, 1, 1.25, 0.8))
        beep = sum(np.sin(2 * np.pi * k * hertz * turn) / k ** 2 for k in (1, 2, 3, 5))
        if rng.random() < 0.85:
            place(total, start, beep * edge)
    return total


def keyboard(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Keys that go down and up, in bursts of typing."""
    total = 0.04 * sloped(samples, rng, -5)
    body = rng.uniform(200, 600)
    spot = 0.0
    while spot < samples:
        for back, strength in ((0.0, 1.0), (rng.uniform(0.06, 0.12), rng.uniform(0.2, 0.6))):
            envelope = decaying(rng, 0.01, 0.03, 6)
            snap = filtered(rng.normal(size=len(envelope)), rng.uniform(1500, 3500), "highpass", 1)
            turn = np.arange(len(envelope)) * body / SAMPLE_RATE
            sound = (snap + np.sin(2 * np.pi * turn)) * envelope * strength * rng.lognormal(0, 0.3)
            place(total, int(spot + back * SAMPLE_RATE), sound)
        pause = rng.uniform(0.5, 2) if rng.random() < 0.06 else rng.uniform(0.09, 0.3)
        spot += pause * SAMPLE_RATE
    return total


def applause(samples: int, rng: np.random.Generator) -> np.ndarray:
    """Hands of many, in a hall."""
    centres = rng.uniform(700, 2500, 6)

    def event() -> np.ndarray:
        envelope = decaying(rng, 0.008, 0.02, 5)
        centre = pick(rng, centres)
        clap = filtered(rng.normal(size=len(envelope)), [0.6 * centre, 1.8 * centre], "bandpass", 1)
        return clap * envelope * rng.lognormal(0, 0.6)

    return scatter(samples, rng, rng.uniform(80, 250), event)
