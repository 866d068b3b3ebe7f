"""A corpus of tones and noise: what mixing needs, without any program that speaks."""

import numpy as np
import pytest

from vorun.data.corpus import NOISE, SPEECH, Shard, make_shards
from vorun.data.voices import SPLITS


def stand_ins(shard):
    rng = np.random.default_rng([len(shard.split), len(shard.kind)])
    for place in range(3):
        if shard.kind == NOISE:
            yield f"noise {place}", rng.normal(size=72000)
        else:
            time = np.arange(60000) / 48000
            pitch = rng.uniform(100, 300)
            voice = sum(np.sin(2 * np.pi * k * pitch * time) / k for k in range(1, 20))
            yield f"voice {place}", voice * (0.5 + 0.5 * np.sin(2 * np.pi * 4 * time)) ** 2


@pytest.fixture(scope="session")
def corpus(tmp_path_factory):
    """Its folder."""
    folder = tmp_path_factory.mktemp("corpus")
    make_shards(folder, [Shard(split, kind, "0", {}) for split in SPLITS
                         for kind in (SPEECH, NOISE)], stand_ins, jobs=1)
    return folder
