"""Levels, and mixtures at exact ratios."""

from __future__ import annotations

import numpy as np

SAMPLE_RATE = 48000
_FRAME = SAMPLE_RATE // 50
_BELOW_LOUDEST = 1e-4


def rms(samples: np.ndarray) -> float:
    return float(np.sqrt(np.mean(np.square(samples, dtype=np.float64)))) if len(samples) else 0.0


def active_level(speech: np.ndarray) -> float:
    """RMS over the 20 ms frames that are less than 40 dB below the loudest, so that pauses do not
    count; 0 for silence.
    """
    whole = len(speech) // _FRAME * _FRAME
    if not whole:
        return rms(speech)
    powers = np.mean(np.square(speech[:whole], dtype=np.float64).reshape(-1, _FRAME), axis=1)
    active = powers[powers > _BELOW_LOUDEST * powers.max()]
    return float(np.sqrt(active.mean())) if len(active) else 0.0


def at_ratio(speech: np.ndarray, noise: np.ndarray, decibels: float) -> np.ndarray:
    """The noise so loud that the speech, while it is active, stands that far above it. Beside
    silence the noise gets an RMS of 1.
    """
    wanted = (active_level(speech) or 1.0) * 10 ** (-decibels / 20)
    return noise * (wanted / (rms(noise) + 1e-12))
