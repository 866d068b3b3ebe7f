"""Folders of the user's own recordings."""

from __future__ import annotations

import os
from dataclasses import dataclass
from math import gcd
from pathlib import Path
from typing import Iterator, Union
from zlib import crc32

import numpy as np
from scipy import signal

from .voices import TRAINING, VALIDATION

SAMPLE_RATE = 48000
PIECE_SECONDS = 20
# One in so many groups is for validation.
_VALIDATION_SHARE = 8


@dataclass(frozen=True)
class Recording:
    """A file.

    group  what must not be torn apart by splits: the folder that stands first below the user's, or
           the file itself if it lies directly in that
    """

    path: Path
    group: str

    @property
    def split(self) -> str:
        """Depends on the group's name alone, so that new files move no old ones."""
        validation = crc32(self.group.encode()) % _VALIDATION_SHARE == 0
        return VALIDATION if validation else TRAINING


def find_recordings(folder: Union[str, os.PathLike]) -> list[Recording]:
    """All files below that libsndfile reads, in a fixed order. Raises ValueError if there are
    none.
    """
    import soundfile
    endings = {f".{name.lower()}" for name in soundfile.available_formats()}
    endings |= {".aif", ".oga", ".opus", ".snd"}
    root = Path(folder)
    found = [path for path in sorted(root.rglob("*"))
             if path.suffix.lower() in endings - {".raw"} and path.is_file()]
    if not found:
        raise ValueError(f"no recordings in '{folder}'")
    return [Recording(path, path.relative_to(root).parts[0]) for path in found]


def read_pieces(recording: Recording) -> Iterator[np.ndarray]:
    """The first channel at 48 kHz, float32, in pieces of at most PIECE_SECONDS. Raises ValueError
    for a file that cannot be read.
    """
    import soundfile
    try:
        with soundfile.SoundFile(str(recording.path)) as file:
            for block in file.blocks(PIECE_SECONDS * file.samplerate, always_2d=True,
                                     dtype="float64"):
                yield to_48_khz(block[:, 0], file.samplerate).astype(np.float32)
    except (RuntimeError, OSError) as error:
        raise ValueError(f"cannot read '{recording.path}': {error}") from error


def to_48_khz(samples: np.ndarray, rate: int) -> np.ndarray:
    if rate == SAMPLE_RATE:
        return samples
    divisor = gcd(SAMPLE_RATE, rate)
    return signal.resample_poly(samples, SAMPLE_RATE // divisor, rate // divisor)
