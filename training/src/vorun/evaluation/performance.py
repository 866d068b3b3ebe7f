"""What a model costs: time, latency, size."""

from __future__ import annotations

import os
import time
from dataclasses import dataclass
from typing import Union

import numpy as np

from ..engine import Library
from .systems import open_restoring

_BLOCKS_A_SECOND = 100


@dataclass(frozen=True)
class Cost:
    """Of a stream in blocks of 10 ms.

    latency_ms      as the engine reports it
    core_share      processor time over the time of the audio: 0.02 is 2 % of one core
    real_time_factor  time on the clock over the time of the audio
    block_ms, worst_block_ms   the 99.9th percentile and the longest of one block
    """

    sample_rate: int
    channels: int
    latency_ms: float
    core_share: float
    real_time_factor: float
    block_ms: float
    worst_block_ms: float


def measure_cost(model: Union[str, os.PathLike], sample_rate: int, channels: int = 1,
                 seconds: float = 10.0,
                 library: Union[None, str, os.PathLike, Library] = None) -> Cost:
    """Runs noise that comes and goes through the model, after a second to warm up."""
    block = sample_rate // _BLOCKS_A_SECOND
    blocks = round(seconds * _BLOCKS_A_SECOND)
    samples = np.random.default_rng(1).normal(0, 0.05, (channels, blocks * block))
    samples *= 0.55 + 0.45 * np.sin(2 * np.pi * np.arange(blocks * block) / sample_rate)
    samples = samples.astype(np.float32)
    with open_restoring(model, channels, sample_rate, library) as processor:
        for index in range(_BLOCKS_A_SECOND):
            processor.push(samples[:, index * block:(index + 1) * block])
            processor.pull()
        latency = processor.latency / sample_rate * 1000
        took = np.zeros(blocks)
        used = time.process_time()
        for index in range(blocks):
            start = time.perf_counter()
            processor.push(samples[:, index * block:(index + 1) * block])
            processor.pull()
            took[index] = time.perf_counter() - start
        used = time.process_time() - used
    return Cost(sample_rate, channels, latency, used / seconds, float(took.sum()) / seconds,
                float(np.percentile(took, 99.9)) * 1000, float(took.max()) * 1000)
