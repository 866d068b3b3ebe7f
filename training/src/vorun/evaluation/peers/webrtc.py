"""The noise suppression of webrtc-audio-processing."""

from __future__ import annotations

import ctypes
import subprocess
from pathlib import Path

import numpy as np

from ...compiled import compiled_library

_SOURCE = Path(__file__).with_name("webrtc.cpp")
_PACKAGE = "webrtc-audio-processing"
_FRAMES_A_SECOND = 100
_RATES = (8000, 16000, 32000, 48000)


class Webrtc:
    """Level "high", all else off. At 48 kHz the library splits three bands and decides in the
    lowest of them, to 8 kHz, about the others.
    """

    name = "webrtc high"

    def __init__(self) -> None:
        try:
            flags = subprocess.run(["pkg-config", "--cflags", "--libs", _PACKAGE], check=True,
                                   capture_output=True, text=True).stdout.split()
            library = ctypes.CDLL(str(compiled_library(_SOURCE, flags)))
        except (OSError, subprocess.SubprocessError) as error:
            raise OSError("webrtc-audio-processing is left out: install Debian's pkg-config, g++ "
                          f"and libwebrtc-audio-processing-dev ({error})") from None
        self._suppress = library.suppressNoise
        self._suppress.argtypes = [ctypes.c_void_p, ctypes.c_int, ctypes.c_int]

    def process(self, samples: np.ndarray, sample_rate: int) -> np.ndarray:
        if sample_rate not in _RATES:
            raise ValueError(f"webrtc-audio-processing takes no {sample_rate} Hz")
        frame = sample_rate // _FRAMES_A_SECOND
        padded = np.pad(samples, (0, -len(samples) % frame)).astype(np.float32)
        error = self._suppress(padded.ctypes.data, len(padded), sample_rate)
        if error:
            raise RuntimeError(f"webrtc-audio-processing fails with {error}")
        return padded[:len(samples)]
