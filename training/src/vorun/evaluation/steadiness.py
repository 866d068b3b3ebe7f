"""Whether a model stays what it is: in silence, over ten minutes, on hosts of other rates."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Sequence

import numpy as np

from ..engine import Processor
from .items import Item, resampled
from .measures import peak_db
from .si_sdr import decibels, si_sdr
from .stoi import stoi
from .systems import System

HOST_RATES = (44100, 16000)
_SECONDS_OF_SILENCE = 10


@dataclass(frozen=True)
class Silence:
    """Peaks in dB of full scale, minus infinite for zeros.

    alone         of what comes out of ten seconds of silence
    after_speech  of the last second of ten seconds of silence behind a noisy voice
    """

    alone_db: float
    after_speech_db: float


@dataclass(frozen=True)
class LongRun:
    """The same ten seconds over and over.

    difference_db  of the last round from the second, re its level: what drifts. The first starts
                   with an empty history
    level_db       change of level between them
    """

    minutes: float
    difference_db: float
    level_db: float


@dataclass(frozen=True)
class HostRate:
    """The files of one ratio at another rate, beside the result at their own brought to that rate:
    means over families and voices, both measured in the band that the host has.
    """

    sample_rate: int
    ratio: float
    gain_db: float
    gain_at_own_rate_db: float
    stoi: float
    stoi_at_own_rate: float


def check_silence(system: System, item: Item) -> Silence:
    rate = item.sample_rate
    silence = np.zeros(_SECONDS_OF_SILENCE * rate, np.float32)
    behind = system.process(np.concatenate([item.mixture, silence]), rate)
    return Silence(peak_db(system.process(silence, rate)), peak_db(behind[-rate:]))


def check_long_run(processor: Processor, items: Sequence[Item], minutes: float = 10.0) -> LongRun:
    """Plays the items in a circle of about ten seconds, whole hops of the model."""
    rate = items[0].sample_rate
    hop = processor.info.hop_size
    circle = np.concatenate([item.mixture for item in items])
    circle = np.resize(circle, 10 * rate // hop * hop)
    rounds = max(3, round(minutes * 60 * rate / len(circle)))
    processor.reset()
    for index in range(rounds):
        # Each trails by the same latency, so that all but the first cover the same part.
        last = _push(processor, circle).astype(np.float64)
        if index == 1:
            second = last
    processor.reset()
    power = np.sum(second ** 2)
    return LongRun(rounds * len(circle) / rate / 60,
                   decibels(np.sum((last - second) ** 2), power),
                   decibels(np.sum(last ** 2), power))


def check_host_rate(system: System, items: Sequence[Item], sample_rate: int) -> list[HostRate]:
    """For noisy items, one result for each ratio."""
    rows: dict[float, list[list[float]]] = {}
    for item in items:
        own = resampled(system.process(item.mixture, item.sample_rate), item.sample_rate,
                        sample_rate)
        clean, mixture = (resampled(signal, item.sample_rate, sample_rate).astype(np.float32)
                          for signal in (item.clean, item.mixture))
        host = system.process(mixture, sample_rate)
        there = Item(item.voice, item.family, item.ratio, sample_rate, clean, mixture - clean)
        part = there.speech
        values = [si_sdr(clean[part], signal[part]) for signal in (mixture, host, own)]
        values += [stoi(clean[part], signal[part], sample_rate) for signal in (host, own)]
        rows.setdefault(item.ratio, []).append(values)
    return [_mean_row(sample_rate, ratio, np.mean(values, axis=0))
            for ratio, values in sorted(rows.items())]


def _mean_row(sample_rate: int, ratio: float, means: np.ndarray) -> HostRate:
    before, host, own, host_stoi, own_stoi = (float(value) for value in means)
    return HostRate(sample_rate, ratio, host - before, own - before, host_stoi, own_stoi)


def _push(processor: Processor, samples: np.ndarray) -> np.ndarray:
    """In blocks as a host's; all that is pending."""
    parts = []
    for start in range(0, len(samples), 480):
        processor.push(samples[start:start + 480])
        parts.append(processor.pull())
    return np.concatenate(parts, axis=1)[0]
