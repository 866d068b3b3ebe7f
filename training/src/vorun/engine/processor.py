"""Streams of audio through the engine."""

from __future__ import annotations

import ctypes
import os
from typing import Optional, Sequence, Union

import numpy as np

from .errors import EngineError
from .library import Library, ProcessorInfo, default_library
from .tensor_model import refusal_text

RESIDUAL_LEVEL = 1
SENSITIVITY = 2
BUS_GAIN = 256
BUS_SENSITIVITY = 512
_NAME_BYTES = 1024
_MOST_SAMPLES = 2**31 - 1

Path = Union[str, os.PathLike]


class Processor:
    """A stream of audio, restored.

        processor = Processor("speech.vorun", channels=2, sample_rate=44100)
        processor.set_residual_level(-20)
        clean = processor.restore(noisy)       # [2, samples], as long as noisy and aligned with it

    paths        a model file; a list of them makes a stem separator
    channels     of the stream; need not be those of the model
    sample_rate  Hz of the stream; need not be that of the model
    library      a Library, the path of one, or None for the default
    """

    def __init__(self, paths: Union[Path, Sequence[Path]], channels: int = 1,
                 sample_rate: float = 48000.0,
                 library: Union[None, Path, Library] = None) -> None:
        self._processor = None
        self._failed = False
        if channels < 1:
            raise ValueError(f"a stream has 1 channel or more, not {channels}")
        if not sample_rate > 0:
            raise ValueError(f"a sample rate is above 0 Hz, not {sample_rate}")
        self.channels = int(channels)
        self.sample_rate = float(sample_rate)
        self._library = default_library(library)
        self._processor = self._create(paths)
        if not self._processor:
            first = paths if isinstance(paths, (str, os.PathLike)) else (list(paths) or ["(none)"])
            raise EngineError(refusal_text(first if not isinstance(first, list) else first[0]))

    def push(self, samples: np.ndarray) -> None:
        """Adds a block of any length: [channels, samples], or [samples] for one channel."""
        block = self._block(samples)
        pointers = (ctypes.c_void_p * self.channels)(*(row.ctypes.data for row in block))
        self._run("vorunAddAudio", ctypes.addressof(pointers), block.shape[1])

    def push_interleaved(self, samples: np.ndarray) -> None:
        """As push(), from [samples, channels]."""
        block = np.ascontiguousarray(self._block(np.asarray(samples).T).T)
        self._run("vorunAddAudioInterleaved", block.ctypes.data, block.shape[0])

    @property
    def pending(self) -> int:
        """Samples for each channel that can be pulled now."""
        return self._library.call("vorunGetNumOfPendingSamples", self._handle())

    def pull(self, count: Optional[int] = None) -> np.ndarray:
        """Takes `count` restored samples, or all that are pending: float32 [channels, count].

        Raises EngineError, with nothing taken, if fewer are pending.
        """
        wanted = self._wanted(count)
        block = np.zeros((self.channels, wanted), dtype=np.float32)
        pointers = (ctypes.c_void_p * self.channels)(*(row.ctypes.data for row in block))
        self._take("vorunGetAudio", ctypes.addressof(pointers), wanted)
        return block

    def pull_interleaved(self, count: Optional[int] = None) -> np.ndarray:
        """As pull(), into [count, channels]."""
        wanted = self._wanted(count)
        block = np.zeros((wanted, self.channels), dtype=np.float32)
        self._take("vorunGetAudioInterleaved", block.ctypes.data, wanted)
        return block

    def restore(self, samples: np.ndarray) -> np.ndarray:
        """A whole recording, in a new stream: as long as `samples` and aligned with it, in the same
        shape.
        """
        self.reset()
        block = self._block(samples)
        length = block.shape[1]
        self.push(block)
        missing = length - self.pending
        if missing > 0:
            self.push(np.zeros((self.channels, self.latency), np.float32))
        restored = self.pull(length)
        self.reset()
        return restored.reshape(np.shape(samples))

    def reset(self) -> None:
        """Drops all audio inside and starts a new stream. Parameters stay."""
        self._library.call("vorunResetProcessorState", self._handle())
        self._failed = False

    @property
    def info(self) -> ProcessorInfo:
        info = ProcessorInfo()
        self._library.call("vorunGetProcessorInfo", self._handle(), ctypes.byref(info))
        return info

    @property
    def latency(self) -> int:
        """Samples of the stream by which output can trail input."""
        return self.info.latency

    @property
    def bus_names(self) -> list[str]:
        """Of the buses that are mixed into the output; the last is the residual."""
        count = self._library.call("vorunGetNumOfOutputBusses", self._handle())
        return [self._bus_name(index) for index in range(count)]

    def parameter(self, number: int) -> float:
        """The value of a parameter by its number in parameters.h."""
        return self._library.call("vorunGetParameterValue", self._handle(), number)

    def set_parameter(self, number: int, value: float) -> None:
        self._library.call("vorunSetParameterValue", self._handle(), number, value)

    def parameter_range(self, number: int) -> Optional[tuple[float, float]]:
        """The published range of a parameter; None for one without."""
        low, high = ctypes.c_float(np.nan), ctypes.c_float(np.nan)
        self._library.call("vorunGetParameterRange", self._handle(), number, ctypes.byref(low),
                           ctypes.byref(high))
        return None if np.isnan(low.value) else (low.value, high.value)

    def set_residual_level(self, decibels: float) -> None:
        """Level of bus 1, -96 to 0 dB. Bus 0 goes to unity."""
        self.set_parameter(RESIDUAL_LEVEL, decibels)

    def set_bus_gain(self, bus: int, gain: float) -> None:
        """Linear gain of a bus. At creation all are 1, so that the input comes out."""
        self.set_parameter(BUS_GAIN + bus, gain)

    def set_bus_sensitivity(self, bus: int, sensitivity: float) -> None:
        """-100 to 100: above 0 a mask is more decisive, below 0 more permissive."""
        self.set_parameter(BUS_SENSITIVITY + bus, sensitivity)

    def close(self) -> None:
        """Frees the processor. It cannot be used any more; closing again does nothing."""
        if self._processor:
            self._library.call("vorunDeleteProcessor", self._processor)
        self._processor = None

    def __enter__(self) -> Processor:
        return self

    def __exit__(self, *_) -> None:
        self.close()

    def __del__(self) -> None:
        self.close()

    def _create(self, paths: Union[Path, Sequence[Path]]) -> Optional[int]:
        if isinstance(paths, (str, os.PathLike)):
            return self._library.call("vorunCreateProcessor", os.fsencode(paths), self.channels,
                                      self.sample_rate)
        names = [os.fsencode(path) for path in paths]
        array = (ctypes.c_char_p * len(names))(*names)
        return self._library.call("vorunCreateStemSeparator", len(names), array, self.channels,
                                  self.sample_rate)

    def _handle(self) -> int:
        if not self._processor:
            raise EngineError("the processor is closed")
        return self._processor

    def _run(self, name: str, *arguments):
        """Frames that were in flight when the engine raised are lost: nothing lines up any more."""
        if self._failed:
            raise EngineError("the processor has failed: reset it before it is used again")
        try:
            return self._library.call(name, self._handle(), *arguments)
        except EngineError:
            self._failed = True
            raise

    def _take(self, name: str, address: int, wanted: int) -> None:
        if not self._run(name, address, wanted):
            raise EngineError(f"{wanted} samples are wanted, but {self.pending} are pending")

    def _wanted(self, count: Optional[int]) -> int:
        wanted = self.pending if count is None else int(count)
        if not 0 <= wanted <= _MOST_SAMPLES:
            raise ValueError(f"cannot pull {wanted} samples")
        return wanted

    def _block(self, samples: np.ndarray) -> np.ndarray:
        block = np.asarray(samples, dtype=np.float32)
        if block.ndim == 1:
            block = block[None]
        if block.ndim != 2 or block.shape[0] != self.channels:
            raise ValueError(f"a block of this stream is [{self.channels}, samples], "
                             f"not {list(np.shape(samples))}")
        if block.shape[1] > _MOST_SAMPLES:
            raise ValueError(f"a block has at most {_MOST_SAMPLES} samples")
        return np.ascontiguousarray(block)

    def _bus_name(self, index: int) -> str:
        name = ctypes.create_string_buffer(_NAME_BYTES)
        self._library.call("vorunGetOutputBusName", self._handle(), index, name, _NAME_BYTES)
        return name.raw.split(b"\0", 1)[0].decode("utf-8", "surrogateescape")
