"""Mixtures: exact levels and ratios, and items that depend on their number alone."""

import numpy as np
import pytest

from vorun.data.levels import active_level, at_ratio, rms
from vorun.data.mixing import Mixer, MixSettings, _in_host
from vorun.data.voices import TRAINING, VALIDATION

PLAIN = MixSettings(seconds=1.0, clean_share=0, silent_share=0, late_share=0, host_share=0,
                    level_low=-30, level_high=-30)


def test_pauses_do_not_count_in_the_active_level():
    tone = 0.5 * np.sin(np.arange(48000) * 0.05)
    speech = np.concatenate([np.zeros(48000), tone, np.zeros(48000)])
    assert active_level(speech) == pytest.approx(0.5 / np.sqrt(2), rel=1e-2)
    assert active_level(np.zeros(5000)) == 0 and active_level(np.zeros(3)) == 0


@pytest.mark.parametrize("ratio", [-5.0, 0.0, 12.5])
def test_noise_gets_exactly_the_ratio(ratio):
    rng = np.random.default_rng(1)
    speech, noise = rng.normal(size=(2, 48000))
    scaled = at_ratio(speech, noise, ratio)
    assert 20 * np.log10(active_level(speech) / rms(scaled)) == pytest.approx(ratio, abs=1e-6)


def test_noise_beside_silence_is_no_silence():
    assert rms(at_ratio(np.zeros(9600), np.ones(9600), 0)) == pytest.approx(1)


@pytest.mark.parametrize("ratio", [0.0, 10.0])
def test_an_item_has_the_ratio_that_is_asked_for(corpus, ratio):
    mixer = Mixer(corpus, VALIDATION, PLAIN)
    for number in range(6):
        speech, noise = mixer.item(number, ratio)
        found = 20 * np.log10(active_level(speech) / rms(noise))
        assert found == pytest.approx(ratio, abs=1e-3)


def test_an_item_has_the_level_that_is_set(corpus):
    mixer = Mixer(corpus, TRAINING, PLAIN)
    for number in range(6):
        speech, noise = mixer.item(number, 30.0)
        assert 20 * np.log10(active_level(speech)) == pytest.approx(-30, abs=1e-3)
        assert len(speech) == len(noise) == 48000 and speech.dtype == noise.dtype == np.float32


def test_no_item_is_beyond_full_scale(corpus):
    mixer = Mixer(corpus, TRAINING, MixSettings(seconds=1.0, host_share=0, level_low=0,
                                              level_high=6))
    assert max(np.abs(sum(mixer.item(number))).max() for number in range(8)) <= 1.0


def test_an_item_depends_on_its_number_and_the_seed_alone(corpus):
    mixer, again = (Mixer(corpus, TRAINING, PLAIN, seed=2) for _ in range(2))
    again.item(3)
    first, second = mixer.item(7), again.item(7)
    assert all(np.array_equal(one, other) for one, other in zip(first, second))
    for other in (mixer.item(8), Mixer(corpus, TRAINING, PLAIN, seed=3).item(7)):
        assert not np.array_equal(first[0], other[0]) and not np.array_equal(first[1], other[1])


def test_a_batch_holds_the_items_of_its_step(corpus):
    mixer = Mixer(corpus, TRAINING, PLAIN)
    speech, noise = mixer.batch(step=2, size=3)
    assert speech.shape == noise.shape == (3, 48000)
    assert np.array_equal(speech[1], mixer.item(7)[0])


def test_silent_items_hold_noise_alone(corpus):
    mixer = Mixer(corpus, TRAINING, MixSettings(seconds=0.5, silent_share=1.0))
    speech, noise = mixer.item(0)
    assert not speech.any() and rms(noise) > 0


def test_late_items_start_with_nothing(corpus):
    mixer = Mixer(corpus, TRAINING, MixSettings(seconds=0.5, late_share=1.0, host_share=0))
    starts = [np.flatnonzero(sum(mixer.item(number)))[0] for number in range(6)]
    assert max(starts) > 2000 and max(starts) <= 12000


def test_another_host_rate_is_another_pace_and_an_empty_top():
    time = np.arange(48000) / 48000
    low, high = (np.sin(2 * np.pi * hertz * time) for hertz in (1000, 15000))
    # A stream of 16 kHz looks like one of 32 kHz whose upper half is empty.
    found = np.abs(np.fft.rfft(_in_host(low + high, 32000, 0.5)))
    assert np.argmax(found) == 1000 and found[1000] == pytest.approx(16000, rel=1e-6)
    assert found[8001:].max() < 1e-6
    # One of 32 kHz looks like one of 64 kHz.
    found = np.abs(np.fft.rfft(_in_host(low + high, 64000, 0.5)))
    assert found[1000] == pytest.approx(32000, rel=1e-6) == found[15000]


def test_items_of_other_hosts_are_as_long(corpus):
    mixer = Mixer(corpus, TRAINING, MixSettings(seconds=0.5, host_share=1.0))
    items = [mixer.item(number) for number in range(12)]
    assert {len(part) for item in items for part in item} == {24000}
    assert all(np.isfinite(part).all() for item in items for part in item)
