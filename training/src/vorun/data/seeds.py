"""Random generators that depend on names and numbers alone, never on the order of calls."""

from __future__ import annotations

from typing import Union
from zlib import crc32

import numpy as np


def generator(seed: int, *place: Union[str, int]) -> np.random.Generator:
    """The same for the same seed and place, and unlike that of every other place."""
    numbers = [crc32(part.encode()) if isinstance(part, str) else int(part) for part in place]
    return np.random.default_rng([seed, *numbers])


def log_uniform(rng: np.random.Generator, low: float, high: float) -> float:
    return float(np.exp(rng.uniform(np.log(low), np.log(high))))


def pick(rng: np.random.Generator, choices):
    return choices[int(rng.integers(len(choices)))]
