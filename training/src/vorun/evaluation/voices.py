"""The voices of the evaluation, at 48 kHz. They are for the test alone: no training uses them."""

from __future__ import annotations

import io
import shutil
import subprocess
import tempfile
from functools import lru_cache
from math import gcd
from pathlib import Path

import numpy as np
from scipy.signal import resample_poly

SAMPLE_RATE = 48000
RECORDINGS = Path("/usr/share/sounds/alsa")

# The recorded voice of Debian's alsa-utils; its Noise.wav is none.
PROMPTS = ("Front_Center", "Front_Left", "Front_Right", "Rear_Center", "Rear_Left", "Rear_Right",
           "Side_Left", "Side_Right")

# Voices of the crowd: of flite, and of espeak-ng as language+variant.
FLITE_VOICES = ("rms",)
ESPEAK_VOICES = ("it+f3", "pl+m4", "hu+Andrea", "tr+Denis", "en-gb-scotland+Lee", "it+Gene",
                 "pl+f3", "tr+Andrea", "en-gb-scotland+m4")

_SENTENCES = (
    "The train to the coast leaves from the other platform, so we should hurry a little.",
    "She asked for two cups of tea, a slice of lemon cake and the paper of yesterday.",
    "Nobody had told him that the old bridge behind the mill would be closed all summer.",
    "Put the blue boxes under the window and carry the heavy ones up to the first floor.",
    "We have walked for hours, and still there is no sign of the lake on the map.",
)


@lru_cache(maxsize=1)
def recorded_voices() -> dict[str, np.ndarray]:
    """By name: float64 [samples] without their mean. Raises OSError if they are not installed."""
    import soundfile
    voices = {}
    for name in PROMPTS:
        file = RECORDINGS / f"{name}.wav"
        if not file.is_file():
            raise OSError(f"there is no '{file}': install Debian's alsa-utils")
        samples, rate = soundfile.read(file)
        voices[name] = _at_48_khz(samples - samples.mean(), rate)
    return voices


@lru_cache(maxsize=1)
def talkers() -> tuple[np.ndarray, ...]:
    """Synthesised sentences, RMS 1. Raises OSError without flite or espeak-ng."""
    missing = [name for name in ("flite", "espeak-ng") if not shutil.which(name)]
    if missing:
        raise OSError(f"no voices without {' and '.join(missing)}")
    spoken = [_flite(voice, sentence, 85 + 15 * index) for voice in FLITE_VOICES
              for index, sentence in enumerate(_SENTENCES)]
    spoken += [_espeak(voice, _SENTENCES[index % len(_SENTENCES)], 145 + 9 * index)
               for index, voice in enumerate(ESPEAK_VOICES)]
    return tuple(samples / np.sqrt(np.mean(samples ** 2)) for samples in spoken)


def _flite(voice: str, sentence: str, pitch: int) -> np.ndarray:
    import soundfile
    with tempfile.TemporaryDirectory() as folder:
        file = Path(folder) / "spoken.wav"
        _run(["flite", "-voice", voice, "--setf", f"int_f0_target_mean={pitch}", "-t", sentence,
              "-o", str(file)])
        return _at_48_khz(*soundfile.read(file))


def _espeak(voice: str, sentence: str, words_a_minute: int) -> np.ndarray:
    import soundfile
    wave = _run(["espeak-ng", "-v", voice, "-s", str(words_a_minute), "--stdout", sentence])
    return _at_48_khz(*soundfile.read(io.BytesIO(wave)))


def _run(command: list[str]) -> bytes:
    result = subprocess.run(command, capture_output=True)
    if result.returncode:
        raise OSError(f"{command[0]} failed: {result.stderr.decode(errors='replace').strip()}")
    return result.stdout


def _at_48_khz(samples: np.ndarray, rate: int) -> np.ndarray:
    divisor = gcd(SAMPLE_RATE, int(rate))
    return resample_poly(samples, SAMPLE_RATE // divisor, int(rate) // divisor)
