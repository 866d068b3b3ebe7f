"""What is taken from one file that a system has restored."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Callable, Iterable

import numpy as np

from .items import CLEAN, Item
from .si_sdr import decibels, si_sdr
from .stoi import stoi

# What counts as silence, and what is as good as a copy; so that means stay finite.
SILENCE_DB = -120.0
COPY_DB = 100.0


@dataclass(frozen=True)
class Measurement:
    """si_sdr_db   while the voice speaks, at most COPY_DB
    stoi        while the voice speaks
    noise_db    change of the noise's level before the voice; NaN for clean speech
    """

    system: str
    voice: str
    family: str
    ratio: float
    si_sdr_db: float
    stoi: float
    noise_db: float


def measure(system: str, item: Item, restored: np.ndarray) -> Measurement:
    """`restored` is aligned with the item and as long."""
    if restored.shape != item.clean.shape:
        raise ValueError(f"{system} gives {restored.shape} for {item.clean.shape}")
    clean, result = item.clean[item.speech], restored[item.speech]
    change = np.nan
    if item.family != CLEAN:
        change = level_db(restored[item.pause]) - level_db(item.mixture[item.pause])
    return Measurement(system, item.voice, item.family, item.ratio,
                       min(si_sdr(clean, result), COPY_DB),
                       stoi(clean, result, item.sample_rate), change)


def measure_all(system: str, restore: Callable[[Item], np.ndarray],
                items: Iterable[Item]) -> list[Measurement]:
    return [measure(system, item, restore(item)) for item in items]


def level_db(samples: np.ndarray) -> float:
    """RMS in dB of full scale, not below SILENCE_DB."""
    return max(SILENCE_DB, decibels(np.mean(np.square(samples, dtype=np.float64))))


def peak_db(samples: np.ndarray) -> float:
    """Largest sample in dB of full scale, minus infinite for zeros."""
    return decibels(float(np.max(np.abs(samples), initial=0)) ** 2)
