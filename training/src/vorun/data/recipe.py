"""Which clips a corpus holds, and how each shard of them is made."""

from __future__ import annotations

import os
from dataclasses import asdict, dataclass
from pathlib import Path
from typing import Iterator, Optional, Sequence, Union

import numpy as np

from .corpus import NOISE, SPEECH, Clip, Shard
from .humanise import draw_manner, humanise
from .noises import SAMPLE_RATE, make_noise, rota
from .recordings import Recording, find_recordings, read_pieces
from .seeds import generator
from .synthesis import Spoken, speak, speak_espeak
from .voices import SPLITS, TRAINING, VALIDATION, Voice, espeak_variants, recorded_voices

# Grows when what is made from the same recipe changes.
VERSION = 1
ESPEAK = "espeak-ng"


@dataclass(frozen=True)
class Amount:
    """How much is made, of each split.

    recorded_shards  for each voice that is cut from recordings
    espeak_shards    of the voices of espeak-ng, each sentence another
    sentences        of a shard
    takes            manners in which each sentence is used
    noise_shards     each goes once through all families
    noise_seconds    of a clip of noise
    """

    recorded_shards: int
    espeak_shards: int
    sentences: int
    takes: int
    noise_shards: int
    noise_seconds: float


# About 300 minutes of speech and 200 minutes of noise for training, 3 GB.
FULL = {TRAINING: Amount(3, 32, 25, 2, 32, 12.0), VALIDATION: Amount(1, 2, 12, 1, 6, 12.0)}
TINY = {TRAINING: Amount(1, 1, 2, 1, 1, 1.5), VALIDATION: Amount(1, 1, 1, 1, 1, 1.5)}


def made_shards(amounts: dict[str, Amount] = FULL, seed: int = 1,
                recorded: Optional[Sequence[str]] = None) -> list[Shard]:
    """Of speech and noise that are made; `recorded` limits the recorded voices to some."""
    shards = []
    for split in SPLITS:
        amount = amounts[split]
        recipe = {"version": VERSION, "seed": seed, **asdict(amount)}
        for voice in recorded_voices(split):
            if recorded is None or voice.name in recorded:
                shards += [Shard(split, SPEECH, f"{voice.name}-{number:02}",
                                 {**recipe, "voice": asdict(voice), "number": number})
                           for number in range(amount.recorded_shards)]
        if espeak_variants(split):
            shards += [Shard(split, SPEECH, f"{ESPEAK}-{number:02}",
                             {**recipe, "voice": ESPEAK, "number": number})
                       for number in range(amount.espeak_shards)]
        shards += [Shard(split, NOISE, f"made-{number:02}", {**recipe, "number": number})
                   for number in range(amount.noise_shards)]
    return shards


def recorded_shards(kind: str, folders: Sequence[Union[str, os.PathLike]]) -> list[Shard]:
    """Of the user's recordings, a shard for each file."""
    shards = []
    for number, folder in enumerate(folders):
        for place, recording in enumerate(find_recordings(folder)):
            state = recording.path.stat()
            recipe = {"version": VERSION, "path": str(recording.path.resolve()),
                      "group": recording.group, "size": state.st_size, "time": state.st_mtime_ns}
            shards.append(Shard(recording.split, kind, f"own{number}-{place:06}", recipe))
    return shards


def make(shard: Shard) -> Iterator[Clip]:
    """The clips of a shard, which depend on its recipe alone."""
    recipe = shard.recipe
    if "path" in recipe:
        yield from _own(shard)
    elif shard.kind == NOISE:
        yield from _noises(shard)
    else:
        yield from _speech(shard)


def _own(shard: Shard) -> Iterator[Clip]:
    recording = Recording(Path(shard.recipe["path"]), shard.recipe["group"])
    for piece in read_pieces(recording):
        if len(piece) >= 0.3 * SAMPLE_RATE and np.abs(piece).max() > 1e-4:
            yield recording.group, piece


def _noises(shard: Shard) -> Iterator[Clip]:
    recipe = shard.recipe
    samples = int(recipe["noise_seconds"] * SAMPLE_RATE)
    for place, family in enumerate(rota(shard.split)):
        rng = generator(recipe["seed"], shard.split, NOISE, recipe["number"], place)
        yield family, make_noise(shard.split, family, samples, rng)


def _speech(shard: Shard) -> Iterator[Clip]:
    recipe = shard.recipe
    rng = generator(recipe["seed"], shard.stem)
    for name, spoken in _sentences(shard, rng):
        for _ in range(recipe["takes"]):
            yield name, humanise(spoken, draw_manner(rng), rng)


def _sentences(shard: Shard, rng: np.random.Generator) -> list[tuple[str, Spoken]]:
    voice, count = shard.recipe["voice"], shard.recipe["sentences"]
    if voice == ESPEAK:
        return speak_espeak(shard.split, count, rng)
    known = Voice(**voice)
    return [(known.speaker, spoken) for spoken in speak(known, count, rng)]
