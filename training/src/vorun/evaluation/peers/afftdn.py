"""The filter afftdn of ffmpeg."""

from __future__ import annotations

import shutil
import subprocess

import numpy as np

from ..si_sdr import decibels

# The filter's own reduction in dB, and what its floor takes, in dB of full scale.
_REDUCTION = 12
_LOWEST_FLOOR, _HIGHEST_FLOOR = -80, -20
_ABOVE_THE_NOISE = 6
_LISTENING_SECONDS = 0.5


class Afftdn:
    """The filter wants to be told the floor of the noise. It gets what suits it best of what was
    tried: 6 dB above the level of the first half second. Letting it follow the noise by itself
    (tn=1) leaves more noise.
    """

    name = "ffmpeg afftdn"

    def __init__(self) -> None:
        if not shutil.which("ffmpeg"):
            raise OSError("afftdn is left out: install Debian's ffmpeg")

    def process(self, samples: np.ndarray, sample_rate: int) -> np.ndarray:
        heard = samples[:round(_LISTENING_SECONDS * sample_rate)]
        floor = np.clip(decibels(np.mean(np.square(heard, dtype=np.float64))) + _ABOVE_THE_NOISE,
                        _LOWEST_FLOOR, _HIGHEST_FLOOR)
        wanted = f"afftdn=nr={_REDUCTION}:nf={floor:.1f}"
        raw = ["-f", "f32le", "-ar", str(sample_rate), "-ac", "1"]
        result = subprocess.run(["ffmpeg", "-v", "error", *raw, "-i", "-", "-af", wanted,
                                 *raw, "-"], input=samples.astype(np.float32).tobytes(),
                                capture_output=True)
        if result.returncode:
            raise RuntimeError(f"ffmpeg fails: {result.stderr.decode(errors='replace').strip()}")
        restored = np.frombuffer(result.stdout, np.float32)
        return np.pad(restored, (0, max(0, len(samples) - len(restored))))[:len(samples)]
