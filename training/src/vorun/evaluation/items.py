"""The files of the evaluation: a recorded voice in noise, with noise alone around it.

    |  noise alone, 3.0 s  |  voice and noise  |  noise alone, 0.4 s  |
               |<- pause ->|<---- speech ----->|
"""

from __future__ import annotations

from dataclasses import dataclass
from math import gcd
from typing import Iterable, Optional, Sequence

import numpy as np
from scipy.signal import resample_poly

from .noises import FAMILIES, why_missing
from .noises import SAMPLE_RATE as SOURCE_RATE
from .voices import recorded_voices

RATIOS = (-5, 0, 5, 10, 15, 20)
CLEAN = "clean"
LEAD_SECONDS = 3.0
TAIL_SECONDS = 0.4
# Two seconds are for settling, which speexdsp needs; frames that reach into the voice do not count.
SETTLING_SECONDS = 2.0
GUARD_SECONDS = 0.05
# Level of the voice while it speaks, re full scale: as loud as leaves every drop of rain below full
# scale at -5 dB. Systems of 16 bits would clip it, and speexdsp damages quieter voices more.
SPEECH_DB = -28.0


@dataclass(frozen=True)
class Item:
    """One file. All arrays are float32 [samples].

    family  of the noise; CLEAN for none, and `ratio` is infinite then
    ratio   dB of the voice while it speaks over the noise in the same time
    """

    voice: str
    family: str
    ratio: float
    sample_rate: int
    clean: np.ndarray
    noise: np.ndarray

    @property
    def mixture(self) -> np.ndarray:
        return self.clean + self.noise

    @property
    def speech(self) -> slice:
        return slice(round(LEAD_SECONDS * self.sample_rate),
                     len(self.clean) - round(TAIL_SECONDS * self.sample_rate))

    @property
    def pause(self) -> slice:
        return slice(round(SETTLING_SECONDS * self.sample_rate),
                     round((LEAD_SECONDS - GUARD_SECONDS) * self.sample_rate))


def make_items(sample_rate: int = SOURCE_RATE, voices: Optional[Sequence[str]] = None,
               families: Optional[Sequence[str]] = None, ratios: Iterable[float] = RATIOS,
               seed: int = 1) -> list[Item]:
    """Every voice clean, and in every family at every ratio; all voices and families if None.

    One noise serves all ratios of a voice. The same seed gives the same files. Another sample rate
    gives the same voices and noises through a resampler, mixed behind it. A family that this
    machine cannot make is refused with OSError if it is asked for, and left out otherwise.
    """
    recordings = recorded_voices()
    ratios = tuple(ratios)
    items = []
    for voice in voices or recordings:
        clean = _spoken(recordings[voice], sample_rate)
        silence = np.zeros_like(clean)
        items.append(Item(voice, CLEAN, np.inf, sample_rate, clean, silence))
        for family in families or available_families():
            noise = _noise(family, _seed(seed, voice, family), clean, sample_rate)
            items += [Item(voice, family, ratio, sample_rate, clean,
                           noise * np.float32(10 ** ((SPEECH_DB - ratio) / 20)))
                      for ratio in ratios]
    return items


def available_families() -> list[str]:
    return [family for family in FAMILIES if why_missing(family) is None]


def active_level(samples: np.ndarray, sample_rate: int) -> float:
    """RMS over the 20 ms frames that are less than 40 dB below the loudest."""
    length = sample_rate // 50
    powers = np.mean(samples[:len(samples) // length * length].reshape(-1, length) ** 2, axis=1)
    return float(np.sqrt(powers[powers > 1e-4 * powers.max()].mean()))


def _spoken(recording: np.ndarray, sample_rate: int) -> np.ndarray:
    voice = resampled(recording, SOURCE_RATE, sample_rate)
    voice = voice / active_level(voice, sample_rate) * 10 ** (SPEECH_DB / 20)
    lead, tail = (round(seconds * sample_rate) for seconds in (LEAD_SECONDS, TAIL_SECONDS))
    return np.pad(voice, (lead, tail)).astype(np.float32)


def _noise(family: str, rng: np.random.Generator, clean: np.ndarray,
           sample_rate: int) -> np.ndarray:
    """RMS 1 while the voice speaks. Made at one length for all rates, so that all are alike."""
    seconds = -(-len(clean) // sample_rate)
    noise = FAMILIES[family](seconds * SOURCE_RATE, rng)
    noise = resampled(noise, SOURCE_RATE, sample_rate)[:len(clean)]
    speech = Item("", family, 0, sample_rate, clean, noise).speech
    return (noise / np.sqrt(np.mean(noise[speech] ** 2))).astype(np.float32)


def _seed(seed: int, voice: str, family: str) -> np.random.Generator:
    """Of each pair alone, so that leaving one out changes no other."""
    return np.random.default_rng([seed, *f"{voice} {family}".encode()])


def resampled(samples: np.ndarray, from_rate: int, to_rate: int) -> np.ndarray:
    divisor = gcd(from_rate, to_rate)
    return resample_poly(samples, to_rate // divisor, from_rate // divisor)
