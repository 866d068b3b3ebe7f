"""Clips of speech and noise in a folder, made once and read many times.

A shard is a pair of files: `NAME.npy`, int16 samples of all its clips end to end, and `NAME.json`,
where each clip ends and what it is. The second is written last: a shard without it is not
finished, and is made again, as is one that was made by another recipe. `corpus.json` names the
shards that belong together; others in the folder are of no matter.
"""

from __future__ import annotations

import json
import os
from concurrent.futures import ProcessPoolExecutor, as_completed
from dataclasses import dataclass
from pathlib import Path
from typing import Callable, Iterable, Sequence, Union

import numpy as np

SPEECH, NOISE = "speech", "noise"
_FULL_SCALE = 32767
_LIST = "corpus.json"

Path_ = Union[str, os.PathLike]
# (what it is, float samples)
Clip = tuple[str, np.ndarray]


@dataclass(frozen=True)
class Shard:
    """A piece of the work.

    recipe  everything that the clips depend on; the maker gets it
    """

    split: str
    kind: str
    name: str
    recipe: dict

    @property
    def stem(self) -> str:
        return f"{self.split}-{self.kind}-{self.name}"


Maker = Callable[[Shard], Iterable[Clip]]


def make_shards(folder: Path_, shards: Sequence[Shard], maker: Maker, jobs: int = 2,
                report: Callable[[str], None] = lambda line: None) -> int:
    """Makes those that are not there yet, and gives their number. A pool of processes shares the
    work; what comes out does not depend on it.
    """
    root = Path(folder)
    root.mkdir(parents=True, exist_ok=True)
    (root / _LIST).unlink(missing_ok=True)
    missing = [shard for shard in shards if not _is_made(root, shard)]
    if jobs <= 1:
        for count, shard in enumerate(missing, 1):
            _make(root, shard, maker)
            report(f"{count} of {len(missing)}: {shard.stem}")
    else:
        with ProcessPoolExecutor(jobs) as pool:
            waiting = {pool.submit(_make, root, shard, maker): shard for shard in missing}
            for count, done in enumerate(as_completed(waiting), 1):
                done.result()
                report(f"{count} of {len(missing)}: {waiting[done].stem}")
    _replace_text(root / _LIST, json.dumps(sorted(shard.stem for shard in shards)))
    return len(missing)


class Clips:
    """All clips of a split and a kind. `names[k]` tells what clip k is; `clips[k]` gives float32 at
    48 kHz.
    """

    def __init__(self, folder: Path_, split: str, kind: str) -> None:
        self.names: list[str] = []
        self._places: list[tuple[int, int, int]] = []
        self._files = [Path(folder) / f"{stem}.json" for stem in _stems(Path(folder))
                       if stem.startswith(f"{split}-{kind}-")]
        self._shards: dict[int, np.ndarray] = {}
        for number, file in enumerate(self._files):
            index = json.loads(file.read_text())
            start = 0
            for name, end in zip(index["names"], index["ends"]):
                self.names.append(name)
                self._places.append((number, start, end))
                start = end
        if not self.names:
            raise ValueError(f"no {kind} for {split} in '{folder}'")

    def __len__(self) -> int:
        return len(self.names)

    def __getitem__(self, index: int) -> np.ndarray:
        number, start, end = self._places[index]
        if number not in self._shards:
            # Opened where it is used: processes share the pages, not the handle.
            self._shards[number] = np.load(self._files[number].with_suffix(".npy"), mmap_mode="r")
        return self._shards[number][start:end].astype(np.float32) / _FULL_SCALE

    def length(self, index: int) -> int:
        """Samples of a clip."""
        _, start, end = self._places[index]
        return end - start

    @property
    def seconds(self) -> float:
        return sum(end - start for _, start, end in self._places) / 48000


def _stems(root: Path) -> list[str]:
    try:
        return json.loads((root / _LIST).read_text())
    except OSError as error:
        raise ValueError(f"'{root}' holds no clips, or not yet all: {error}") from error


def _is_made(root: Path, shard: Shard) -> bool:
    try:
        index = json.loads((root / f"{shard.stem}.json").read_text())
    except (OSError, ValueError):
        return False
    return index.get("recipe") == shard.recipe and (root / f"{shard.stem}.npy").is_file()


def _make(root: Path, shard: Shard, maker: Maker) -> None:
    (root / f"{shard.stem}.json").unlink(missing_ok=True)
    names, ends, parts, total = [], [], [], 0
    for name, samples in maker(shard):
        peak = max(float(np.abs(samples).max()), 1e-9) if len(samples) else 1.0
        parts.append(np.round(samples * (0.95 * _FULL_SCALE / peak)).astype(np.int16))
        total += len(samples)
        names.append(name)
        ends.append(total)
    if not names:
        raise RuntimeError(f"nothing came out of {shard.stem}: is its program installed?")
    data = root / f"{shard.stem}.npy"
    with open(data.with_suffix(".part"), "wb") as file:
        np.save(file, np.concatenate(parts))
    os.replace(data.with_suffix(".part"), data)
    index = {"recipe": shard.recipe, "names": names, "ends": ends}
    _replace_text(root / f"{shard.stem}.json", json.dumps(index))


def _replace_text(path: Path, text: str) -> None:
    part = path.with_suffix(".index")
    part.write_text(text)
    os.replace(part, path)
