"""C++ exceptions of the engine as Python exceptions.

A C++ exception cannot travel through Python. The engine's calls therefore go through a few lines of
C++ beside this file, guard.cpp, which are compiled once, at the first use, and kept in the user's
cache folder. Without a C++ compiler calls go straight to the engine, a warning says so, and an
exception in the engine then ends the process.
"""

from __future__ import annotations

import ctypes
import subprocess
import warnings
from pathlib import Path
from typing import Any, Optional

from ..compiled import compiled_library
from .errors import EngineError

_SOURCE = Path(__file__).with_name("guard.cpp")
_TEXT_BYTES = 512

# The function of guard.cpp for each function of the engine that may raise.
_GUARD_OF = {
    "vorunCreateModel": "guardCreateModel",
    "vorunCreateProcessor": "guardCreateProcessor",
    "vorunCreateStemSeparator": "guardCreateSeparator",
    "vorunResetModelState": "guardReset",
    "vorunResetProcessorState": "guardReset",
    "vorunAddTensor": "guardAddTensor",
    "vorunGetTensor": "guardGetTensor",
    "vorunAddAudio": "guardPush",
    "vorunAddAudioInterleaved": "guardPush",
    "vorunGetAudio": "guardPull",
    "vorunGetAudioInterleaved": "guardPull",
}


class _Failure(ctypes.Structure):
    _fields_ = [("text", ctypes.c_void_p), ("size", ctypes.c_int32)]


class Guard:
    """Calls functions of the engine; what they raise becomes EngineError."""

    def __init__(self, library: Optional[ctypes.CDLL]) -> None:
        self._library = library

    @property
    def is_active(self) -> bool:
        return self._library is not None

    def call(self, function: Any, *arguments: Any) -> Any:
        """function(*arguments), with the function's declared argument and result types."""
        name = _GUARD_OF.get(function.__name__)
        if self._library is None or name is None:
            return function(*arguments)
        text = ctypes.create_string_buffer(_TEXT_BYTES)
        failure = _Failure(ctypes.addressof(text), _TEXT_BYTES)
        result = function.restype() if function.restype is not None else None
        guard = getattr(self._library, name)
        guard.restype = ctypes.c_bool
        before = [ctypes.byref(failure)] + ([] if result is None else [ctypes.byref(result)])
        converted = [kind.from_param(value)
                     for kind, value in zip(function.argtypes, arguments)]
        if not guard(*before, ctypes.cast(function, ctypes.c_void_p), *converted):
            raise EngineError(text.value.decode("utf-8", "replace"))
        return None if result is None else result.value


def load_guard() -> Guard:
    """The guard of this user, compiled if need be."""
    try:
        return Guard(ctypes.CDLL(str(compiled_library(_SOURCE))))
    except (OSError, subprocess.SubprocessError) as error:
        warnings.warn("no guard around the engine, so that an exception in it ends the process: "
                      f"{error}", RuntimeWarning, stacklevel=2)
        return Guard(None)
