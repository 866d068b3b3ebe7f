"""Speech from espeak-ng, flite and festival."""

from __future__ import annotations

import io
import subprocess
import tempfile
from dataclasses import dataclass
from pathlib import Path
from typing import Optional, Sequence

import numpy as np

from .seeds import pick
from .sentences import sentence
from .voices import Voice, espeak_languages, espeak_variants

_SECONDS_LIMIT = 60
# flite's pitch in Hz; those without one do not take it.
_FLITE_PITCH = {"slt": 170.0, "awb": 125.0, "rms": 100.0}


@dataclass(frozen=True)
class Spoken:
    """float64 [samples] at `rate` Hz."""

    samples: np.ndarray
    rate: int


def speak(voice: Voice, count: int, rng: np.random.Generator) -> list[Spoken]:
    """`count` sentences, less those on which the program failed."""
    speakers = {"flite": _flite, "festival": _festival}
    return speakers[voice.program](voice, count, rng)


def speak_espeak(split: str, count: int,
                 rng: np.random.Generator) -> list[tuple[str, Spoken]]:
    """`count` sentences, each in a language and a variant of its own, with language+variant."""
    languages, variants = espeak_languages(split), espeak_variants(split)
    english = [entry for entry in languages if entry[0].startswith("en")]
    spoken = []
    for _ in range(count):
        code, script = pick(rng, english if rng.random() < 0.3 else languages)
        text = sentence(rng, script, code)
        voice = f"{code}+{pick(rng, variants)}"
        command = ["espeak-ng", "-v", voice, "-p", str(rng.integers(15, 90)), "-s",
                   str(rng.integers(110, 240)), "--stdout", "--", text]
        spoken += [(voice, read) for read in _read(_output(command))]
    return spoken


def _flite(voice: Voice, count: int, rng: np.random.Generator) -> list[Spoken]:
    spoken = []
    with tempfile.TemporaryDirectory() as folder:
        file = Path(folder) / "spoken.wav"
        for _ in range(count):
            command = ["flite", "-voice", voice.name, "--setf",
                       f"duration_stretch={rng.uniform(0.8, 1.3):.2f}"]
            if voice.name in _FLITE_PITCH:
                pitch = _FLITE_PITCH[voice.name] * rng.uniform(0.8, 1.3)
                command += ["--setf", f"int_f0_target_mean={pitch:.0f}"]
            _output(command + ["-t", sentence(rng), "-o", str(file)])
            spoken += _read(file)
            file.unlink(missing_ok=True)
    return spoken


def _festival(voice: Voice, count: int, rng: np.random.Generator) -> list[Spoken]:
    """One process for all: it takes longer to start than to speak."""
    with tempfile.TemporaryDirectory() as folder:
        files = [Path(folder) / f"{index}.wav" for index in range(count)]
        lines = [f"(voice_{voice.name})"]
        for file in files:
            text = sentence(rng, voice.script, voice.language).replace("\\", "").replace('"', "")
            stretch = rng.uniform(0.8, 1.3)
            # A sentence that fails must not take the others with it.
            lines.append(f"(Parameter.set 'Duration_Stretch {stretch:.2f})\n"
                         f'(unwind-protect (utt.save.wave (utt.synth (Utterance Text "{text}"))'
                         f" \"{file}\" 'riff) nil)")
        script = Path(folder) / "speak.scm"
        encoding = "utf-8" if voice.language != "cs" else "iso-8859-2"
        script.write_text("\n".join(lines), encoding=encoding, errors="ignore")
        _output(["festival", "-b", str(script)])
        return [spoken for file in files for spoken in _read(file)]


def _output(command: Sequence[str]) -> bytes:
    """What a program prints; nothing if it hangs."""
    try:
        return subprocess.run(command, capture_output=True, timeout=_SECONDS_LIMIT,
                              check=False).stdout
    except subprocess.TimeoutExpired:
        return b""


def _read(source) -> list[Spoken]:
    """One sentence, or none if it is damaged, silent or hardly a word."""
    import soundfile
    try:
        samples, rate = soundfile.read(io.BytesIO(source) if isinstance(source, bytes)
                                       else str(source))
    except (RuntimeError, OSError):
        return []
    trimmed = _trim(samples)
    if trimmed is None or len(trimmed) < 0.3 * rate:
        return []
    return [Spoken(trimmed, int(rate))]


def _trim(samples: np.ndarray) -> Optional[np.ndarray]:
    """Without the silence around; None if there is nothing else."""
    loud = np.flatnonzero(np.abs(samples) > 0.005)
    return samples[loud[0]:loud[-1] + 1] if len(loud) else None
