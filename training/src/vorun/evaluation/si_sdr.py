"""Scale-invariant signal-to-distortion ratio.

J. Le Roux, S. Wisdom, H. Erdogan, J. R. Hershey: "SDR - half-baked or well done?", ICASSP 2019.
"""

from __future__ import annotations

import numpy as np


def si_sdr(reference: np.ndarray, estimate: np.ndarray) -> float:
    """dB of `estimate`'s part along `reference` over the rest of it; two arrays [samples].

    Infinite for a scaled copy, minus infinite for what has nothing of the reference (silence, too).
    Raises ValueError for a silent reference.
    """
    reference = np.asarray(reference, np.float64)
    estimate = np.asarray(estimate, np.float64)
    if reference.ndim != 1 or reference.shape != estimate.shape:
        raise ValueError(f"two signals of one length are compared, not {reference.shape} and "
                         f"{estimate.shape}")
    energy = reference @ reference
    if energy == 0:
        raise ValueError("the reference is silent")
    target = (estimate @ reference / energy) * reference
    rest = estimate - target
    return decibels(target @ target, rest @ rest)


def decibels(power: float, other: float = 1.0) -> float:
    """10 log10(power / other); minus infinite for no power, infinite for some over none."""
    if power == 0:
        return -np.inf
    return np.inf if other == 0 else float(10 * np.log10(power / other))
