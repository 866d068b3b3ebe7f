"""The scale-invariant ratio against values computed by hand."""

import numpy as np
import pytest

from vorun.evaluation.si_sdr import decibels, si_sdr

RNG = np.random.default_rng(1)
VOICE, NOISE = RNG.normal(0, 1, (2, 4000))


@pytest.mark.parametrize("reference, estimate, expected", [
    ([1, 0], [1, 1], 0.0),
    ([1, 0], [3, 1], 10 * np.log10(9)),
    ([1, 1], [2, 0], 0.0),                               # (1, 1) along, (1, -1) across
    ([2, 1], [3, 4], 10 * np.log10(20 / 5)),             # (4, 2) along, (-1, 2) across
    ([1, 0], [-5, 0.5], 20.0),                           # a turned sign is a scale too
])
def test_cases_computed_by_hand(reference, estimate, expected):
    assert si_sdr(np.array(reference), np.array(estimate)) == pytest.approx(expected, abs=1e-12)


def test_noise_across_the_voice_gives_the_ratio_of_the_mixture():
    across = NOISE - NOISE @ VOICE / (VOICE @ VOICE) * VOICE
    across *= np.linalg.norm(VOICE) / np.linalg.norm(across)
    for ratio in (-5, 0, 12.5):
        mixture = VOICE + across * 10 ** (-ratio / 20)
        assert si_sdr(VOICE, mixture) == pytest.approx(ratio, abs=1e-9)


@pytest.mark.parametrize("scale", [1e-3, 0.5, -2, 1e4])
def test_neither_scale_counts(scale):
    expected = si_sdr(VOICE, VOICE + NOISE)
    assert si_sdr(VOICE, scale * (VOICE + NOISE)) == pytest.approx(expected, abs=1e-9)
    assert si_sdr(scale * VOICE, VOICE + NOISE) == pytest.approx(expected, abs=1e-9)


def test_the_ends_of_the_scale():
    assert si_sdr(np.array([1.0, 2.0]), np.array([2.0, 4.0])) == np.inf
    assert si_sdr(np.array([1.0, 0.0]), np.array([0.0, 1.0])) == -np.inf
    assert si_sdr(np.array([1.0, 0.0]), np.zeros(2)) == -np.inf
    assert decibels(100) == 20 and decibels(0) == -np.inf and decibels(1, 0) == np.inf


def test_what_cannot_be_compared_is_refused():
    with pytest.raises(ValueError, match="silent"):
        si_sdr(np.zeros(3), np.ones(3))
    with pytest.raises(ValueError, match="one length"):
        si_sdr(np.ones(3), np.ones(4))
