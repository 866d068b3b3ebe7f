"""Speech in noise, mixed on the fly: every item is another.

    clips with pauses -> microphone, room, band -> clipping --+-> level -> speech
    one or two noises -> microphone, room, band -> ratio -----+-------- -> noise

An item depends on the seed and its number alone.
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import Optional

import numpy as np
from scipy import fft

from .corpus import NOISE, SPEECH, Clips, Path_
from .levels import active_level, at_ratio, rms
from .rooms import band_limit, impulse_response, microphone
from .seeds import generator

SAMPLE_RATE = 48000
_ROOM_SAMPLES = SAMPLE_RATE


@dataclass(frozen=True)
class MixSettings:
    """Ranges and shares of what is drawn.

    seconds                of an item
    ratio_low, ratio_high  dB of active speech over noise
    clean_share            items with hardly any noise: 35 to 65 dB
    silent_share           items without speech
    level_low, level_high  dB re full scale of active speech
    room_share             items in a room
    band_share             items that end below 17 kHz, half of them with their noise
    clip_share             items whose speech is overdriven
    second_share           items with a second noise
    """

    seconds: float = 3.0
    ratio_low: float = -6.0
    ratio_high: float = 22.0
    clean_share: float = 0.06
    silent_share: float = 0.03
    level_low: float = -46.0
    level_high: float = -12.0
    room_share: float = 0.5
    band_share: float = 0.16
    clip_share: float = 0.05
    second_share: float = 0.35

    @property
    def samples(self) -> int:
        return int(self.seconds * SAMPLE_RATE)


class Mixer:
    """Items of a split of a corpus."""

    def __init__(self, folder: Path_, split: str, settings: MixSettings = MixSettings(),
                 seed: int = 1) -> None:
        self.settings = settings
        self._speech = Clips(folder, split, SPEECH)
        self._noise = Clips(folder, split, NOISE)
        self._speakers: dict[str, list[int]] = {}
        for index, name in enumerate(self._speech.names):
            self._speakers.setdefault(name, []).append(index)
        self._split, self._seed = split, seed
        self._length = fft.next_fast_len(settings.samples + _ROOM_SAMPLES, True)
        self._frequencies = fft.rfftfreq(self._length, 1 / SAMPLE_RATE)

    def item(self, number: int, ratio: Optional[float] = None) -> tuple[np.ndarray, np.ndarray]:
        """(speech, noise), float32 [samples]; their sum is what a microphone hears. `ratio` in dB
        fixes what is drawn otherwise.
        """
        rng = generator(self._seed, self._split, number)
        settings = self.settings
        drawn = self._draw_ratio(rng)
        silent = rng.random() < settings.silent_share and ratio is None
        limit = None
        if rng.random() < settings.band_share:
            limit = band_limit(rng, self._frequencies)
        limit_all = rng.random() < 0.5
        speech = self._through(self._talk(rng), 1.0, limit, rng)
        if rng.random() < settings.clip_share:
            peak = np.abs(speech).max() * rng.uniform(0.2, 0.8)
            speech = np.clip(speech, -peak, peak)
        noise = self._noises(limit if limit_all else None, rng)
        noise = at_ratio(speech, noise, drawn if ratio is None else ratio)
        level = 10 ** (rng.uniform(settings.level_low, settings.level_high) / 20)
        gain = level / (active_level(speech) or rms(noise) or 1.0)
        # Too loud a sum would be clipped by any recorder.
        gain = min(gain, 0.99 / max(np.abs(speech + noise).max(), 1e-9))
        if silent:
            speech = np.zeros_like(speech)
        return (speech * gain).astype(np.float32), (noise * gain).astype(np.float32)

    def batch(self, step: int, size: int) -> tuple[np.ndarray, np.ndarray]:
        """Items step * size and on, float32 [size, samples] each."""
        items = [self.item(step * size + place) for place in range(size)]
        return np.stack([speech for speech, _ in items]), np.stack([noise for _, noise in items])

    def _draw_ratio(self, rng: np.random.Generator) -> float:
        if rng.random() < self.settings.clean_share:
            return rng.uniform(35, 65)
        return rng.uniform(self.settings.ratio_low, self.settings.ratio_high)

    def _talk(self, rng: np.random.Generator) -> np.ndarray:
        """Clips one after the other, most of one speaker, some softer than others; the first may
        have begun before or begin late.
        """
        samples = self.settings.samples
        total = np.zeros(samples, np.float32)
        index = int(rng.integers(len(self._speech)))
        start = int(rng.uniform(0, 0.5) * samples) if rng.random() < 0.4 else 0
        skip = 0
        if start == 0:
            skip = int(rng.uniform(0, max(0, self._speech.length(index) - SAMPLE_RATE)))
        while start < samples:
            clip = self._speech[index][skip:skip + samples - start]
            clip = clip / (active_level(clip) + 1e-9) * 10 ** (rng.normal(0, 3) / 20)
            total[start:start + len(clip)] = clip
            start += len(clip) + int(rng.exponential(0.35) * SAMPLE_RATE)
            skip = 0
            same = self._speakers[self._speech.names[index]]
            others = same if rng.random() < 0.7 else range(len(self._speech))
            index = int(others[int(rng.integers(len(others)))])
        return total

    def _noises(self, limit: Optional[np.ndarray], rng: np.random.Generator) -> np.ndarray:
        total = np.zeros(self.settings.samples)
        for place in range(2 if rng.random() < self.settings.second_share else 1):
            noise = self._through(self._noise_piece(rng), 0.8, limit, rng)
            total += noise / (rms(noise) + 1e-9) * (1 if place == 0 else rng.uniform(0.1, 1))
        return total

    def _noise_piece(self, rng: np.random.Generator) -> np.ndarray:
        clip = self._noise[int(rng.integers(len(self._noise)))]
        samples = self.settings.samples
        if len(clip) <= samples:
            return np.resize(clip, samples)
        start = int(rng.integers(len(clip) - samples))
        return clip[start:start + samples]

    def _through(self, samples: np.ndarray, strength: float, limit: Optional[np.ndarray],
                 rng: np.random.Generator) -> np.ndarray:
        """A microphone, maybe in a room."""
        gains = microphone(rng, self._frequencies, strength)
        if limit is not None:
            gains = gains * limit
        spectrum = fft.rfft(samples, self._length) * gains
        if rng.random() < self.settings.room_share:
            spectrum *= fft.rfft(impulse_response(rng), self._length)
        return fft.irfft(spectrum, self._length)[:len(samples)]
