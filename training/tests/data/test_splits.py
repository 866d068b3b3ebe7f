"""No voice and no family of noise is in two splits, and none of the test's is in any other."""

from itertools import combinations

import numpy as np
import pytest

from vorun.data import noises, voices
from vorun.data.noises import FAMILIES, TEST_FAMILIES, make_noise, rota
from vorun.data.seeds import generator
from vorun.evaluation import noises as test_noises
from vorun.evaluation import voices as test_voices

ALL = (voices.TRAINING, voices.VALIDATION, voices.TEST)


def speakers(split):
    return {voice.speaker for place, voice in voices.RECORDED if place == split}


def test_no_speaker_is_in_two_splits():
    for one, other in combinations(ALL, 2):
        assert speakers(one) and not speakers(one) & speakers(other)


def test_no_language_or_variant_of_espeak_is_in_two_splits():
    if not voices.espeak_variants(voices.TRAINING):
        pytest.skip("espeak-ng is not installed")
    for table in (voices.espeak_languages, voices.espeak_variants):
        for one, other in combinations(ALL, 2):
            assert table(one) and not set(table(one)) & set(table(other))


def test_the_voices_of_the_evaluation_belong_to_the_test():
    assert set(test_voices.FLITE_VOICES) <= speakers(voices.TEST)
    for voice in test_voices.ESPEAK_VOICES:
        language, variant = voice.split("+")
        assert language in voices.ESPEAK_LANGUAGES[voices.TEST]
        assert variant in voices.ESPEAK_VARIANTS[voices.TEST]


def test_no_family_is_in_two_splits():
    training, validation = (set(FAMILIES[split]) for split in voices.SPLITS)
    assert training and validation and not training & validation
    assert not (training | validation) & set(test_noises.FAMILIES)
    assert set(TEST_FAMILIES) == set(test_noises.FAMILIES)


def test_no_family_of_training_is_close_to_white_or_pink():
    # Both have a level per octave that moves by the same step everywhere: 3 dB up, and 0.
    for family, call in FAMILIES[voices.TRAINING].items():
        octaves = _octave_levels(call(96000, generator(5, family)))
        steps = np.diff(octaves)
        assert not np.all(np.abs(steps - 3) < 1) and not np.all(np.abs(steps) < 1), family


@pytest.mark.parametrize("split, family", [(split, family) for split in voices.SPLITS
                                           for family in FAMILIES[split]])
def test_a_noise_depends_on_its_seed_alone_and_has_unit_level(split, family):
    first, again = (make_noise(split, family, 24000, generator(3, family)) for _ in range(2))
    other = make_noise(split, family, 24000, generator(4, family))
    assert np.array_equal(first, again) and not np.array_equal(first, other)
    assert first.dtype == np.float32 and len(first) == 24000 and np.all(np.isfinite(first))
    assert np.sqrt(np.mean(first.astype(float) ** 2)) == pytest.approx(1, abs=1e-4)


def test_the_rota_has_every_family():
    for split in voices.SPLITS:
        assert set(rota(split)) == set(noises.FAMILIES[split])


def _octave_levels(samples):
    power = np.abs(np.fft.rfft(samples)) ** 2
    hertz = np.fft.rfftfreq(len(samples), 1 / 48000)
    edges = [125 * 2 ** octave for octave in range(8)]
    bands = [(hertz >= low) & (hertz < 2 * low) for low in edges[:-1]]
    return np.array([10 * np.log10(power[band].sum()) for band in bands])
