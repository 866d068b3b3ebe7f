"""What the evaluation runs its files through."""

from __future__ import annotations

import os
from typing import Optional, Protocol, Union

import numpy as np

from ..engine import Library, Processor
from ..model_file import read_model
from .items import Item

# Longest delay of a system that is looked for, in seconds.
_LONGEST_DELAY = 0.125


class System(Protocol):
    """A noise suppressor. `process` gives float32 as long as `samples` [samples], which may be late
    by a time that is always the same. Each call is a stream of its own. Raises ValueError for a
    rate that the system does not take."""

    name: str

    def process(self, samples: np.ndarray, sample_rate: int) -> np.ndarray: ...


class Unprocessed:
    name = "unprocessed"

    def process(self, samples: np.ndarray, sample_rate: int) -> np.ndarray:
        return samples


class EngineSystem:
    """A model in the engine, with its last bus, the residual, muted."""

    def __init__(self, model: Union[str, os.PathLike], name: str = "",
                 library: Union[None, str, os.PathLike, Library] = None) -> None:
        self.name = name or os.path.splitext(os.path.basename(os.fspath(model)))[0]
        self.path = model
        self._library = library
        self._processors: dict[int, Processor] = {}

    def process(self, samples: np.ndarray, sample_rate: int) -> np.ndarray:
        if sample_rate not in self._processors:
            self._processors[sample_rate] = open_restoring(self.path, 1, sample_rate,
                                                           self._library)
        return self._processors[sample_rate].restore(samples)


def open_restoring(model: Union[str, os.PathLike], channels: int, sample_rate: int,
                   library: Union[None, str, os.PathLike, Library] = None) -> Processor:
    """A stream through a model with the residual muted."""
    processor = Processor(model, channels, sample_rate, library)
    processor.set_bus_gain(len(processor.bus_names) - 1, 0)
    return processor


class IdealMask:
    """The bound of a model's framing: the best real mask from 0 to 1 for each bin of each frame,
    which only who knows the voice can tell. Needs PyTorch; raises OSError without."""

    name = "ideal mask"

    def __init__(self, model: Union[str, os.PathLike]) -> None:
        try:
            import torch

            from ..audio import AudioFormat
        except ImportError:
            raise OSError("the ideal mask is left out: install Debian's python3-torch") from None
        header = read_model(model).header
        self._torch = torch
        self._format = AudioFormat(header.sample_rate, header.fft_size, header.window_size,
                                   header.hop_size)

    def restore(self, item: Item) -> np.ndarray:
        """float32, aligned and as long as the item, whose rate is that of the model."""
        audio, torch = self._format, self._torch
        voice, mixture = (audio.analyse(torch.from_numpy(signal)[None])
                          for signal in (item.clean, item.mixture))
        power = mixture.abs() ** 2
        mask = ((voice * mixture.conj()).real / (power + 1e-20)).clamp(0, 1)
        restored = audio.synthesise(mask * mixture)[0].numpy()
        return np.pad(restored, (0, max(0, len(item.clean) - len(restored))))[:len(item.clean)]


class Aligned:
    """A system whose delay, found once on a voice, is taken out."""

    def __init__(self, system: System, voice: np.ndarray, sample_rate: int) -> None:
        self.name = system.name
        self._system = system
        probe = np.pad(voice, (0, round(_LONGEST_DELAY * sample_rate)))
        self.delay = delay_of(probe, system.process(probe, sample_rate),
                              round(_LONGEST_DELAY * sample_rate))

    def restore(self, item: Item) -> np.ndarray:
        """Aligned with the item and as long."""
        late = self._system.process(np.pad(item.mixture, (0, max(0, self.delay))),
                                    item.sample_rate)
        late = late[self.delay:] if self.delay >= 0 else np.pad(late, (-self.delay, 0))
        return late[:len(item.clean)]


def delay_of(reference: np.ndarray, result: np.ndarray, longest: int) -> int:
    """Samples by which `result` is late, where both correlate best; negative if it is early."""
    size = 2 * (len(reference) + longest)
    correlation = np.fft.irfft(np.fft.rfft(result, size) * np.conj(np.fft.rfft(reference, size)),
                               size)
    around = np.concatenate([correlation[-longest:], correlation[:longest + 1]])
    return int(np.argmax(around)) - longest
