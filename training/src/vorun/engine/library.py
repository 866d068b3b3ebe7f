"""The engine's shared library: where it is, and what its functions take and give."""

from __future__ import annotations

import ctypes
import ctypes.util
import os
import sys
from ctypes import POINTER, c_bool, c_char_p, c_double, c_float, c_int32, c_void_p
from pathlib import Path
from typing import Iterator, Optional, Union

from .errors import LibraryNotFoundError
from .guard import Guard, load_guard

ENVIRONMENT_VARIABLE = "VORUN_LIBRARY"
_FILE_NAME = "libVorunEngine.so"
_MODEL_INFO_FUNCTION = "_Z21vorunGetProcessorInfoPvP14VorunModelInfo"


class ProcessorInfo(ctypes.Structure):
    """What a processor tells about itself; see VorunProcessorInfo in records.h."""

    _fields_ = [("sample_rate", c_double), ("input_channels", c_int32), ("latency", c_int32),
                ("window_size", c_int32), ("hop_size", c_int32)]


class ModelInfo(ctypes.Structure):
    """What a model tells about itself; see VorunModelInfo in records.h. latency is in frames."""

    _fields_ = [("sample_rate", c_double), ("input_channels", c_int32), ("fft_size", c_int32),
                ("window_size", c_int32), ("hop_size", c_int32), ("latency", c_int32)]


# Arguments and result of every exported function that this package calls.
SIGNATURES = {
    "vorunCreateProcessor": ([c_char_p, c_int32, c_double], c_void_p),
    "vorunCreateStemSeparator": ([c_int32, POINTER(c_char_p), c_int32, c_double], c_void_p),
    "vorunDeleteProcessor": ([c_void_p], None),
    "vorunAddAudio": ([c_void_p, c_void_p, c_int32], None),
    "vorunAddAudioInterleaved": ([c_void_p, c_void_p, c_int32], None),
    "vorunGetAudio": ([c_void_p, c_void_p, c_int32], c_bool),
    "vorunGetAudioInterleaved": ([c_void_p, c_void_p, c_int32], c_bool),
    "vorunGetNumOfPendingSamples": ([c_void_p], c_int32),
    "vorunGetNumOfOutputBusses": ([c_void_p], c_int32),
    "vorunGetOutputBusName": ([c_void_p, c_int32, c_char_p, c_int32], None),
    "vorunGetProcessorInfo": ([c_void_p, POINTER(ProcessorInfo)], None),
    "vorunResetProcessorState": ([c_void_p], None),
    "vorunGetParameterRange": ([c_void_p, c_int32, POINTER(c_float), POINTER(c_float)], None),
    "vorunGetParameterValue": ([c_void_p, c_int32], c_float),
    "vorunSetParameterValue": ([c_void_p, c_int32, c_float], None),
    "vorunCreateModel": ([c_char_p], c_void_p),
    "vorunDeleteModel": ([c_void_p], None),
    "vorunAddTensor": ([c_void_p, c_void_p, c_int32, c_void_p], None),
    "vorunGetResultTensorShape": ([c_void_p, c_int32, c_void_p], c_bool),
    "vorunGetTensor": ([c_void_p, c_void_p], c_bool),
    "vorunResetModelState": ([c_void_p], None),
    _MODEL_INFO_FUNCTION: ([c_void_p, POINTER(ModelInfo)], None),
}


class Library:
    """The loaded library. `call` runs a function by name; C++ exceptions become EngineError.

    path  the file; otherwise that of VORUN_LIBRARY, of an installation, or of the newest build in
          the checkout that this package runs from
    """

    def __init__(self, path: Optional[Union[str, os.PathLike]] = None) -> None:
        self.path = find_library(path)
        try:
            self._functions = ctypes.CDLL(self.path)
        except OSError as error:
            raise LibraryNotFoundError(f"cannot load '{self.path}': {error}") from None
        for name, (arguments, result) in SIGNATURES.items():
            function = getattr(self._functions, name)
            function.argtypes, function.restype = arguments, result
        self._guard: Guard = load_guard()

    @property
    def is_guarded(self) -> bool:
        """Whether an exception in the engine comes back as one, rather than ending the process."""
        return self._guard.is_active

    def call(self, name: str, *arguments):
        return self._guard.call(getattr(self._functions, name), *arguments)

    def model_info(self, model: int) -> ModelInfo:
        info = ModelInfo()
        self.call(_MODEL_INFO_FUNCTION, model, ctypes.byref(info))
        return info


_shared: dict[str, Library] = {}


def default_library(path: Union[None, str, os.PathLike, Library] = None) -> Library:
    """A library, loaded once for each path."""
    if isinstance(path, Library):
        return path
    found = find_library(path)
    if found not in _shared:
        _shared[found] = Library(found)
    return _shared[found]


def find_library(path: Optional[Union[str, os.PathLike]] = None) -> str:
    """The file that a Library would load. Raises LibraryNotFoundError."""
    named = path or os.environ.get(ENVIRONMENT_VARIABLE)
    if named:
        if not Path(named).is_file():
            raise LibraryNotFoundError(f"there is no library '{os.fspath(named)}'")
        return str(Path(named).resolve())
    for candidate in _places():
        return candidate
    raise LibraryNotFoundError(
        f"{_FILE_NAME} is not installed: build the engine and name the file in "
        f"{ENVIRONMENT_VARIABLE}")


def _places() -> Iterator[str]:
    builds = sorted(_checkout_builds(), key=lambda file: file.stat().st_mtime, reverse=True)
    yield from (str(file) for file in builds)
    for prefix in (sys.prefix, "/usr/local", "/usr"):
        for folder in ("lib", f"lib/{os.uname().machine}-linux-gnu", "lib64"):
            file = Path(prefix) / folder / _FILE_NAME
            if file.is_file():
                yield str(file)
    installed = ctypes.util.find_library("VorunEngine")
    if installed:
        yield installed


def _checkout_builds() -> list[Path]:
    """Empty for a package that was installed away from its checkout."""
    root = Path(__file__).resolve().parents[4]
    if not (root / "src" / "api" / "exports.txt").is_file():
        return []
    # A library under a sanitizer cannot be loaded into a program without it.
    return [file for file in root.glob(f"build/*/src/api/{_FILE_NAME}")
            if file.parts[-4] not in ("asan", "tsan")]
