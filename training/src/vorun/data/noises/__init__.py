"""Noises that are made, in families, and which split each family belongs to.

A family is a function of (samples, rng) that gives float64 [samples] at 48 kHz, the same for the
same rng. Rain, machines, crowds, white and pink noise belong to the test, which makes them itself.
"""

from __future__ import annotations

import numpy as np

from ..voices import TRAINING, VALIDATION
from . import events, moving, steady, tunes
from .shapes import SAMPLE_RATE, Family, coloured, unit

TEST_FAMILIES = ("rain", "machine", "crowd", "white", "pink")

FAMILIES: dict[str, dict[str, Family]] = {
    TRAINING: {family.__name__: family for family in (
        coloured, steady.brown, steady.hiss, steady.hum, steady.fan, steady.room_tone,
        steady.banded, steady.buzz, steady.whine, moving.drifting, moving.tremolo, moving.flutter,
        moving.swells, moving.siren, events.clicks, events.crackle, events.thumps, events.rustle,
        events.bubbles, events.alarms, tunes.music)},
    VALIDATION: {family.__name__: family for family in (
        steady.ventilation, moving.wind, moving.traffic, events.keyboard, events.applause)},
}
# Plain noise of any colour is what is met most.
_MORE_OFTEN = {"coloured": 5, "drifting": 3, "music": 2, "flutter": 2, "fan": 2, "clicks": 2}


def rota(split: str) -> list[str]:
    """The order in which families take turns."""
    return [name for name in sorted(FAMILIES[split]) for _ in range(_MORE_OFTEN.get(name, 1))]


def make_noise(split: str, family: str, samples: int, rng: np.random.Generator) -> np.ndarray:
    """float32 with an RMS of 1."""
    return unit(FAMILIES[split][family](samples, rng)).astype(np.float32)


__all__ = ["FAMILIES", "SAMPLE_RATE", "TEST_FAMILIES", "make_noise", "rota"]
