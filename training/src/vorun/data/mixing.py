"""Speech in noise, mixed on the fly: every item is another.

    clips with pauses -> microphone, room, band -> clipping --+-- level, -> speech
    one or two noises -> microphone, room, band -> ratio -----+-- host -> noise

An item depends on the seed and its number alone.
"""

from __future__ import annotations

from dataclasses import dataclass
from functools import lru_cache
from typing import Optional

import numpy as np
from scipy import fft

from .corpus import NOISE, SPEECH, Clips, Path_
from .levels import active_level, at_ratio, rms
from .rooms import band_limit, impulse_response, microphone
from .seeds import generator

SAMPLE_RATE = 48000
_ROOM_SAMPLES = SAMPLE_RATE
# At other rates the engine scales its frames by a power of two alone, so that a network sees other
# widths of bins, and rows that stay empty: (host's rate, rate whose frames look like that, share of
# the rows that is not empty). Those that are met most stand here more often.
_HOSTS = ((44100, 44100, 1.0), (44100, 44100, 1.0), (16000, 32000, 0.5), (16000, 32000, 0.5),
          (32000, 64000, 0.5), (24000, 48000, 0.5), (22050, 44100, 0.5), (8000, 64000, 0.125))


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
    late_share             items that start with nothing at all
    host_share             items as a network sees them in a stream of another rate
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
    late_share: float = 0.05
    host_share: float = 0.3

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

    def item(self, number: int, ratio: Optional[float] = None) -> tuple[np.ndarray, np.ndarray]:
        """(speech, noise), float32 [samples]; their sum is what a microphone hears. `ratio` in dB
        fixes what is drawn otherwise.
        """
        rng = generator(self._seed, self._split, number)
        settings = self.settings
        _, rate, share = _HOSTS[int(rng.integers(len(_HOSTS)))]
        if rng.random() >= settings.host_share or ratio is not None:
            rate, share = SAMPLE_RATE, 1.0
        count = round(settings.samples * SAMPLE_RATE / rate)
        speech, noise = self._mixture(count, ratio, rng)
        if ratio is None and rng.random() < settings.silent_share:
            speech = np.zeros_like(speech)
        if ratio is None and rng.random() < settings.late_share:
            start = int(rng.uniform(0, 0.5) * count)
            speech[:start] = noise[:start] = 0
        if (rate, share) != (SAMPLE_RATE, 1.0):
            speech, noise = (_in_host(part, settings.samples, share) for part in (speech, noise))
        return speech.astype(np.float32), noise.astype(np.float32)

    def batch(self, step: int, size: int) -> tuple[np.ndarray, np.ndarray]:
        """Items step * size and on, float32 [size, samples] each."""
        items = [self.item(step * size + place) for place in range(size)]
        return np.stack([speech for speech, _ in items]), np.stack([noise for _, noise in items])

    def _mixture(self, count: int, ratio: Optional[float],
                 rng: np.random.Generator) -> tuple[np.ndarray, np.ndarray]:
        settings = self.settings
        limit, limit_all = None, rng.random() < 0.5
        if rng.random() < settings.band_share:
            limit = band_limit(rng, _frequencies(count))
        speech = self._through(self._talk(count, rng), 1.0, limit, rng)
        if rng.random() < settings.clip_share:
            peak = np.abs(speech).max() * rng.uniform(0.2, 0.8)
            speech = np.clip(speech, -peak, peak)
        noise = self._noises(count, limit if limit_all else None, rng)
        drawn = self._draw_ratio(rng)
        noise = at_ratio(speech, noise, drawn if ratio is None else ratio)
        level = 10 ** (rng.uniform(settings.level_low, settings.level_high) / 20)
        gain = level / (active_level(speech) or rms(noise) or 1.0)
        # Too loud a sum would be clipped by any recorder.
        gain = min(gain, 0.99 / max(np.abs(speech + noise).max(), 1e-9))
        return speech * gain, noise * gain

    def _draw_ratio(self, rng: np.random.Generator) -> float:
        if rng.random() < self.settings.clean_share:
            return rng.uniform(35, 65)
        return rng.uniform(self.settings.ratio_low, self.settings.ratio_high)

    def _talk(self, samples: int, rng: np.random.Generator) -> np.ndarray:
        """Clips one after the other, most of one speaker, some softer than others; the first may
        have begun before or begin late.
        """
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

    def _noises(self, samples: int, limit: Optional[np.ndarray],
                rng: np.random.Generator) -> np.ndarray:
        total = np.zeros(samples)
        for place in range(2 if rng.random() < self.settings.second_share else 1):
            noise = self._through(self._noise_piece(samples, rng), 0.8, limit, rng)
            total += noise / (rms(noise) + 1e-9) * (1 if place == 0 else rng.uniform(0.1, 1))
        return total

    def _noise_piece(self, samples: int, rng: np.random.Generator) -> np.ndarray:
        clip = self._noise[int(rng.integers(len(self._noise)))]
        if len(clip) <= samples:
            return np.resize(clip, samples)
        start = int(rng.integers(len(clip) - samples))
        return clip[start:start + samples]

    def _through(self, samples: np.ndarray, strength: float, limit: Optional[np.ndarray],
                 rng: np.random.Generator) -> np.ndarray:
        """A microphone, maybe in a room."""
        length = _transform_length(len(samples))
        gains = microphone(rng, _frequencies(len(samples)), strength)
        if limit is not None:
            gains = gains * limit
        spectrum = fft.rfft(samples, length) * gains
        if rng.random() < self.settings.room_share:
            spectrum *= fft.rfft(impulse_response(rng), length)
        return fft.irfft(spectrum, length)[:len(samples)]


def _in_host(samples: np.ndarray, count: int, share: float) -> np.ndarray:
    """Resampled to `count` samples, with nothing above that share of the spectrum."""
    spectrum = fft.rfft(samples)[:count // 2 + 1]
    spectrum = np.pad(spectrum, (0, count // 2 + 1 - len(spectrum)))
    spectrum[int(share * (count // 2)) + 1:] = 0
    return fft.irfft(spectrum, count) * (count / len(samples))


@lru_cache(maxsize=8)
def _frequencies(samples: int) -> np.ndarray:
    """Of the transform of an item."""
    return fft.rfftfreq(_transform_length(samples), 1 / SAMPLE_RATE)


def _transform_length(samples: int) -> int:
    """With room for the end of a room."""
    return fft.next_fast_len(samples + _ROOM_SAMPLES, True)
