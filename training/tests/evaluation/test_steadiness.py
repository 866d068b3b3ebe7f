"""Silence, long runs, hosts of other rates, and what a model costs."""

from types import SimpleNamespace

import numpy as np
import pytest

from samples import clean_item, constant_mask, noisy_item
from vorun.engine import Processor
from vorun.evaluation.performance import measure_cost
from vorun.evaluation.steadiness import check_host_rate, check_long_run, check_silence
from vorun.evaluation.systems import EngineSystem


class Fading:
    """A stream whose gain falls by `loss` a block, late by one hop."""

    info = SimpleNamespace(hop_size=256)

    def __init__(self, loss: float) -> None:
        self.loss = loss
        self.reset()

    def reset(self):
        self.gain, self.waiting = 1.0, np.zeros(0)

    def push(self, samples):
        self.waiting = np.concatenate([self.waiting, self.gain * samples])
        self.gain *= 1 - self.loss

    def pull(self):
        ready = max(0, len(self.waiting) - 256)
        out, self.waiting = self.waiting[:ready], self.waiting[ready:]
        return out[None]


class Humming:
    """Never silent; at 16 kHz it also damages what it gets."""

    name = "humming"

    def process(self, samples, sample_rate):
        hum = np.full(len(samples), 0.001, np.float32)
        if sample_rate == 16000:
            hum += np.random.default_rng(1).normal(0, 0.1, len(samples)).astype(np.float32)
        return samples + hum


def test_a_mask_leaves_silence_silent(library, save):
    silence = check_silence(EngineSystem(save(constant_mask(1.0)), library=library), noisy_item())
    assert silence.alone_db == -np.inf and silence.after_speech_db == -np.inf


def test_what_is_not_silent_is_told():
    silence = check_silence(Humming(), noisy_item())
    assert silence.alone_db == pytest.approx(-60, abs=0.1)
    assert silence.after_speech_db == pytest.approx(-60, abs=0.1)


def test_a_mask_ends_as_it_began(library, save):
    with Processor(save(constant_mask(1.0)), library=library) as processor:
        run = check_long_run(processor, [noisy_item(), noisy_item(seed=3)], minutes=0.5)
    assert run.minutes == 0.5
    assert run.difference_db < -100 and run.level_db == pytest.approx(0, abs=1e-6)


@pytest.mark.parametrize("loss", [0, 1e-5])
def test_a_level_that_drifts_is_told(loss):
    run = check_long_run(Fading(loss), [noisy_item(), clean_item()], minutes=1)
    # Four rounds of 1000 blocks between the second and the last.
    expected = 1 - (1 - loss) ** 4000
    assert run.difference_db == pytest.approx(20 * np.log10(expected) if loss else -np.inf, abs=0.1)
    assert run.level_db == pytest.approx(20 * np.log10(1 - expected), abs=0.01)


def test_a_mask_is_the_same_on_every_host(library, save):
    system = EngineSystem(save(constant_mask(1.0)), library=library)
    for rate in (44100, 16000):
        rows = check_host_rate(system, [noisy_item(0), noisy_item(10)], rate)
        assert [(row.sample_rate, row.ratio) for row in rows] == [(rate, 0), (rate, 10)]
        for row in rows:
            assert row.gain_db == pytest.approx(0, abs=1e-3)
            assert row.gain_at_own_rate_db == pytest.approx(0, abs=1e-3)
            assert row.stoi == pytest.approx(row.stoi_at_own_rate, abs=1e-5)


def test_a_host_that_is_worse_is_told():
    row, = check_host_rate(Humming(), [noisy_item(10)], 16000)
    assert row.gain_db < row.gain_at_own_rate_db - 3 and row.stoi < row.stoi_at_own_rate


def test_the_cost_is_that_of_the_stream(library, save):
    model = save(constant_mask(1.0))
    for rate, channels, latency in ((48000, 1, 512 / 48), (16000, 2, 256 / 16)):
        cost = measure_cost(model, rate, channels, seconds=1, library=library)
        assert (cost.sample_rate, cost.channels) == (rate, channels)
        assert cost.latency_ms == pytest.approx(latency)
        assert 0 < cost.core_share < 1 and 0 < cost.real_time_factor
        assert 0 < cost.block_ms <= cost.worst_block_ms
