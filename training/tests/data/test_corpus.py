"""Shards: made once, made again if they are not whole, the same for one and for two processes."""

import os

import numpy as np
import pytest

from vorun.data.corpus import NOISE, SPEECH, Clips, Shard, make_shards
from vorun.data.voices import TRAINING

calls = []


def tones(shard):
    calls.append(shard.stem)
    rng = np.random.default_rng(shard.recipe["number"])
    for place in range(2):
        yield f"tone {place}", rng.normal(size=1000 + 100 * place)


def nothing(shard):
    return iter(())


def shards(numbers=(0, 1), version=1):
    return [Shard(TRAINING, SPEECH, f"t{number}", {"number": number, "version": version})
            for number in numbers]


def test_clips_come_back_in_order_with_their_names(tmp_path):
    make_shards(tmp_path, shards(), tones, jobs=1)
    clips = Clips(tmp_path, TRAINING, SPEECH)
    assert clips.names == ["tone 0", "tone 1"] * 2
    assert [clips.length(index) for index in range(4)] == [1000, 1100] * 2
    expected = np.random.default_rng(1).normal(size=1000)
    expected *= 0.95 / np.abs(expected).max()
    assert np.abs(clips[2] - expected).max() <= 1 / 32767
    assert clips.seconds == pytest.approx(4200 / 48000)


def test_only_what_is_missing_is_made(tmp_path):
    make_shards(tmp_path, shards(), tones, jobs=1)
    (tmp_path / "training-speech-t1.json").unlink()
    calls.clear()
    assert make_shards(tmp_path, shards(), tones, jobs=1) == 1
    assert calls == ["training-speech-t1"]


def test_another_recipe_is_made_again(tmp_path):
    make_shards(tmp_path, shards(), tones, jobs=1)
    assert make_shards(tmp_path, shards(version=2), tones, jobs=1) == 2


def test_shards_of_another_corpus_do_not_count(tmp_path):
    make_shards(tmp_path, shards((0, 1, 2)), tones, jobs=1)
    make_shards(tmp_path, shards((0,)), tones, jobs=1)
    assert len(Clips(tmp_path, TRAINING, SPEECH)) == 2


def test_two_processes_make_the_same_files(tmp_path):
    make_shards(tmp_path / "one", shards(range(4)), tones, jobs=1)
    make_shards(tmp_path / "two", shards(range(4)), tones, jobs=2)
    for name in sorted(os.listdir(tmp_path / "one")):
        assert (tmp_path / "one" / name).read_bytes() == (tmp_path / "two" / name).read_bytes()


def test_a_maker_that_gives_nothing_is_told(tmp_path):
    with pytest.raises(RuntimeError, match="training-speech-t0"):
        make_shards(tmp_path, shards((0,)), nothing, jobs=1)


def test_a_folder_without_clips_is_told(tmp_path):
    with pytest.raises(ValueError, match="holds no clips"):
        Clips(tmp_path, TRAINING, SPEECH)
    make_shards(tmp_path, shards(), tones, jobs=1)
    with pytest.raises(ValueError, match="no noise for training"):
        Clips(tmp_path, TRAINING, NOISE)
