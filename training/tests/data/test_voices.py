"""The made voices: what they say, how they are changed, and that a seed settles it all."""

import numpy as np
import pytest

from vorun.data import sentences
from vorun.data.humanise import PEAK, Manner, draw_manner, humanise
from vorun.data.recipe import TINY, Shard, made_shards, make
from vorun.data.seeds import generator
from vorun.data.synthesis import Spoken
from vorun.data.voices import TRAINING, missing_programs

SCRIPTS = ("latin", "cyrillic", "greek", "georgian", "kana", "hangul", "devanagari", "tamil")


def vowel(rate=16000, pitch=120.0, formant=700.0, seconds=0.8):
    """Harmonics with one formant."""
    time = np.arange(int(seconds * rate)) / rate
    hertz = pitch * np.arange(1, int(0.45 * rate / pitch))
    levels = 1 / (1 + ((hertz - formant) / 150) ** 2)
    samples = (levels[:, None] * np.sin(2 * np.pi * hertz[:, None] * time)).sum(0)
    return Spoken(0.3 * samples / np.abs(samples).max(), rate)


def spectrum(samples):
    return np.abs(np.fft.rfft(samples * np.hanning(len(samples)))), 48000 / len(samples)


def pitch_of(samples):
    correlation = np.fft.irfft(np.abs(np.fft.rfft(samples, 2 * len(samples))) ** 2)
    lags = np.arange(48000 // 400, 48000 // 60)
    return 48000 / lags[np.argmax(correlation[lags])]


def centre_of(samples):
    levels, width = spectrum(samples)
    return np.sum(levels ** 2 * np.arange(len(levels)) * width) / np.sum(levels ** 2)


def test_a_plain_manner_keeps_pitch_formant_and_length():
    changed = humanise(vowel(), Manner(fullness=0), np.random.default_rng(1))
    assert pitch_of(changed) == pytest.approx(120, rel=0.01)
    assert centre_of(changed) == pytest.approx(centre_of(_at_48(vowel())), rel=0.03)
    assert len(changed) == pytest.approx(0.84 * 48000, rel=0.02)
    assert np.abs(changed).max() == pytest.approx(PEAK, rel=1e-5) and changed.dtype == np.float32


@pytest.mark.parametrize("factor", [0.8, 1.25])
def test_the_pitch_moves_by_its_factor(factor):
    changed = humanise(vowel(), Manner(pitch=factor, fullness=0), np.random.default_rng(1))
    assert pitch_of(changed) == pytest.approx(120 * factor, rel=0.01)


@pytest.mark.parametrize("factor", [0.85, 1.2])
def test_a_throat_moves_formants_but_not_the_pitch(factor):
    changed = humanise(vowel(), Manner(throat=factor, fullness=0), np.random.default_rng(1))
    assert pitch_of(changed) == pytest.approx(120, rel=0.01)
    assert centre_of(changed) == pytest.approx(factor * centre_of(_at_48(vowel())), rel=0.08)


def test_the_missing_top_is_filled():
    def top(fullness):
        manner = Manner(fullness=fullness)
        levels, width = spectrum(humanise(vowel(8000), manner, np.random.default_rng(1)))
        return np.sum(levels[int(6000 / width):int(12000 / width)] ** 2)

    assert top(1.0) > 100 * top(0.0)


def test_a_whisper_has_no_pitch():
    def peak(whisper):
        samples = humanise(vowel(), Manner(whisper=whisper), np.random.default_rng(1))
        power = np.abs(np.fft.rfft(samples, 2 * len(samples))) ** 2
        correlation = np.fft.irfft(power)
        return correlation[300:500].max() / correlation[0]

    assert peak(False) > 0.8 and peak(True) < 0.5


def test_a_manner_and_its_clip_depend_on_the_seed_alone():
    def clip(seed):
        rng = generator(seed, "clip")
        return humanise(vowel(), draw_manner(rng), rng)

    assert np.array_equal(clip(1), clip(1)) and not np.array_equal(clip(1)[:5000], clip(2)[:5000])


@pytest.mark.parametrize("script", SCRIPTS)
def test_sentences_are_drawn_from_the_seed_in_every_script(script):
    drawn = [sentences.sentence(generator(seed, script), script) for seed in range(20)]
    assert drawn == [sentences.sentence(generator(seed, script), script) for seed in range(20)]
    assert len(set(drawn)) > 15 and all(text.strip() for text in drawn)
    if script != "latin":
        assert not any("a" <= letter <= "z" for text in drawn for letter in text)


def test_speech_of_a_shard_depends_on_its_recipe_alone():
    if missing_programs():
        pytest.skip(f"not installed: {missing_programs()}")
    shards = [shard for shard in made_shards(TINY, recorded=("slt", "kal_diphone"))
              if shard.split == TRAINING and shard.kind == "speech"]
    assert len(shards) == 3
    for shard in shards:
        first, again = list(make(shard)), list(make(shard))
        assert 1 <= len(first) == len(again)
        assert all(np.array_equal(one[1], other[1]) for one, other in zip(first, again))
        other = Shard(shard.split, shard.kind, shard.name + "x", shard.recipe)
        assert not np.array_equal(first[0][1][:1000], list(make(other))[0][1][:1000])


def _at_48(spoken):
    return np.interp(np.arange(len(spoken.samples) * 3) / 3, np.arange(len(spoken.samples)),
                     spoken.samples)
