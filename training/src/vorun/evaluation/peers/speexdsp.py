"""The preprocessor of speexdsp."""

from __future__ import annotations

import ctypes
import ctypes.util

import numpy as np

_SET_DENOISE = 0
_SET_NOISE_SUPPRESS = 18
_FRAMES_A_SECOND = 50


class Speexdsp:
    """Noise suppression down to `decibels` at most; all else of the preprocessor is off.

    It takes any rate and frame, so that 48 kHz is processed as it is: 16-bit frames of 20 ms.
    """

    def __init__(self, decibels: int) -> None:
        found = ctypes.util.find_library("speexdsp")
        if not found:
            raise OSError("speexdsp is left out: install Debian's libspeexdsp1")
        self.name = f"speexdsp {decibels} dB"
        self._decibels = decibels
        self._library = ctypes.CDLL(found)
        self._library.speex_preprocess_state_init.restype = ctypes.c_void_p
        for name, kinds in (("ctl", [ctypes.c_void_p, ctypes.c_int, ctypes.c_void_p]),
                            ("run", [ctypes.c_void_p, ctypes.c_void_p]),
                            ("state_destroy", [ctypes.c_void_p])):
            getattr(self._library, f"speex_preprocess_{name}").argtypes = kinds

    def process(self, samples: np.ndarray, sample_rate: int) -> np.ndarray:
        frame = sample_rate // _FRAMES_A_SECOND
        state = self._library.speex_preprocess_state_init(frame, sample_rate)
        try:
            self._set(state, _SET_DENOISE, 1)
            self._set(state, _SET_NOISE_SUPPRESS, self._decibels)
            padded = np.pad(samples, (0, -len(samples) % frame))
            frames = np.clip(np.round(padded * 32768), -32768, 32767).astype(np.int16)
            for start in range(0, len(frames), frame):
                self._library.speex_preprocess_run(state, frames[start:].ctypes.data)
        finally:
            self._library.speex_preprocess_state_destroy(state)
        return frames[:len(samples)].astype(np.float32) / 32768

    def _set(self, state: int, request: int, value: int) -> None:
        self._library.speex_preprocess_ctl(state, request, ctypes.byref(ctypes.c_int(value)))
