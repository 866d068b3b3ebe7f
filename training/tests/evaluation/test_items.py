"""The files that are measured."""

import numpy as np
import pytest

from vorun.evaluation import items as module
from vorun.evaluation.items import CLEAN, Item, active_level, make_items
from vorun.evaluation.voices import RECORDINGS, recorded_voices

needs_recordings = pytest.mark.skipif(not (RECORDINGS / "Front_Center.wav").is_file(),
                                      reason="needs alsa-utils")


@pytest.fixture(scope="module")
def items():
    return make_items(voices=["Front_Center"], families=["white", "machine"], ratios=(-5, 20))


@needs_recordings
def test_a_voice_is_clean_once_and_in_each_family_at_each_ratio(items):
    assert [(item.family, item.ratio) for item in items] == [
        (CLEAN, np.inf), ("white", -5), ("white", 20), ("machine", -5), ("machine", 20)]
    assert len(recorded_voices()) == 8
    assert np.array_equal(items[0].mixture, items[0].clean)


@needs_recordings
def test_ratios_are_those_of_the_voice_while_it_speaks(items):
    for item in items[1:]:
        voice = active_level(item.clean[item.speech], 48000)
        noise = np.sqrt(np.mean(item.noise[item.speech].astype(float) ** 2))
        assert 20 * np.log10(voice / noise) == pytest.approx(item.ratio, abs=0.01)
        assert 20 * np.log10(voice) == pytest.approx(-28, abs=0.01)
        assert np.array_equal(item.mixture, item.clean + item.noise)


@needs_recordings
def test_nobody_speaks_in_the_pause(items):
    item = items[1]
    assert not np.any(item.clean[:item.speech.start]) and not np.any(item.clean[item.speech.stop:])
    assert item.pause.start == 2 * 48000 and item.pause.stop == round(2.95 * 48000)
    assert np.all(item.noise[item.pause] != 0)


@needs_recordings
def test_a_seed_gives_the_same_files_whatever_else_is_made(items):
    alone = make_items(voices=["Front_Center"], families=["machine"], ratios=(20,))[1]
    assert np.array_equal(alone.mixture, items[4].mixture)
    other = make_items(voices=["Front_Center"], families=["machine"], ratios=(20,), seed=2)[1]
    assert not np.array_equal(alone.noise, other.noise)


@needs_recordings
@pytest.mark.parametrize("rate", [16000, 44100])
def test_another_rate_gives_the_same_voice_and_noise(rate, items):
    there = make_items(rate, ["Front_Center"], ["machine"], (20,))[1]
    here = items[4]
    assert len(there.clean) == pytest.approx(len(here.clean) * rate / 48000, abs=2)
    for name in ("clean", "noise"):
        brought = module.resampled(getattr(here, name), 48000, rate)
        length = min(len(brought), len(there.clean))
        match = np.corrcoef(brought[:length], getattr(there, name)[:length])[0, 1]
        assert match > 0.999
    voice = active_level(there.clean[there.speech], rate)
    noise = np.sqrt(np.mean(there.noise[there.speech].astype(float) ** 2))
    assert 20 * np.log10(voice / noise) == pytest.approx(20, abs=0.01)


@needs_recordings
@pytest.mark.parametrize("voice", ["Front_Right", "Side_Left"])
def test_nothing_is_louder_than_full_scale(voice):
    for item in make_items(voices=[voice], ratios=(-5,)):
        assert np.abs(item.mixture).max() < 1


def test_pauses_between_words_do_not_lower_the_level():
    word = np.full(48000, 0.5)
    assert active_level(word, 48000) == pytest.approx(0.5)
    assert active_level(np.concatenate([word, 0 * word, word]), 48000) == pytest.approx(0.5)
    assert active_level(np.concatenate([word, 0.02 * word]), 48000) < 0.4


def test_without_recordings_the_error_names_the_package(monkeypatch, tmp_path):
    recorded_voices.cache_clear()
    monkeypatch.setattr("vorun.evaluation.voices.RECORDINGS", tmp_path)
    with pytest.raises(OSError, match="alsa-utils"):
        make_items()


def test_an_item_is_cut_by_its_own_rate():
    item = Item("", "", 0, 1000, np.zeros(4400), np.zeros(4400))
    assert (item.speech.start, item.speech.stop) == (3000, 4000)
    assert (item.pause.start, item.pause.stop) == (2000, 2950)
