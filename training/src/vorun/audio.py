"""Audio as the engine shows it to a network, in PyTorch and differentiable.

    samples -> analyse() -> spectra -> features() -> network -> apply() -> spectra -> synthesise()

gives what the engine gives for the same network with the residual muted, sample for sample.
"""

from __future__ import annotations

from dataclasses import dataclass
from functools import cached_property
from typing import Optional, Sequence

import numpy as np
import torch
from torch import Tensor

from .model_file import ModelHeader, PipelineMode

_TAIL_SMOOTHING = 0.02
SPLIT_FORMAT = 2


@dataclass(frozen=True)
class AudioFormat:
    """How audio is framed and what the network takes and gives.

    sample_rate    Hz; the sizes below are samples at this rate
    fft_size       a power of two
    window_size    two hops, for a pair of square-root Hann windows, or four, for a long Hann window
                   with a short one of two hops for synthesis; the latter takes a transform of the
                   same size. Other windows do not give the signal back in the engine
    bins           lowest bins that the network takes and gives; all if None. Bins above get about
                   the mean level of the network's highest
    complex_bins   of these, the lowest that are four rows each instead of a magnitude
    masks          outputs of the network
    bus_names      one for each mask and one for the residual
    spectra        outputs are spectra, not masks to multiply with the input's
    """

    sample_rate: float = 48000.0
    fft_size: int = 1024
    window_size: int = 1024
    hop_size: int = 256
    bins: Optional[int] = None
    complex_bins: int = 0
    channels: int = 1
    masks: int = 1
    bus_names: Optional[Sequence[str]] = None
    spectra: bool = False
    model_id: int = 1

    def __post_init__(self) -> None:
        if self.fft_size < 2 or self.fft_size & (self.fft_size - 1):
            raise ValueError(f"fft_size is {self.fft_size}, which is no power of two")
        pair = 0 < 2 * self.hop_size == self.window_size <= self.fft_size
        long_and_short = 0 < 4 * self.hop_size == self.window_size == self.fft_size
        if not pair and not long_and_short:
            raise ValueError("a window is two hops long and fits into the transform, or is four "
                             "hops long and fills it")
        if not 0 <= self.complex_bins <= self.network_bins <= self.all_bins:
            raise ValueError(f"there are {self.all_bins} bins, not {self.network_bins}, and no "
                             "more of them can be complex")
        if self.channels < 1 or self.masks < 1 or len(self._names) != self.masks + 1:
            raise ValueError("there are 1 channel and 1 mask or more, and one bus name more than "
                             "masks")

    @property
    def all_bins(self) -> int:
        return self.fft_size // 2 + 1

    @property
    def network_bins(self) -> int:
        return self.all_bins if self.bins is None else self.bins

    @property
    def rows(self) -> int:
        """Height of the network's frames, in and out."""
        return self.network_bins + 3 * self.complex_bins

    @property
    def latency_samples(self) -> int:
        """Samples by which the output trails, without the network's look-ahead (a hop a frame),
        when blocks are of any length.
        """
        counted = 1 if self.hop_size == 1 else 0
        return (self._shift + 2 - counted) * self.hop_size

    def header(self) -> ModelHeader:
        """Of the model file."""
        split = self.complex_bins > 0
        return ModelHeader(
            model_id=self.model_id, sample_rate=float(self.sample_rate),
            input_channels=self.channels, input_format=SPLIT_FORMAT if split else 0,
            complex_input_bins=self.complex_bins,
            magnitude_input_bins=self.network_bins - self.complex_bins,
            pipeline_mode=PipelineMode.SPECTRUM if self.spectra else PipelineMode.MASK,
            output_channels=self.channels, mask_count=self.masks, bus_names=list(self._names),
            skipped=(self.network_bins,), fft_size=self.fft_size, window_size=self.window_size,
            hop_size=self.hop_size)

    def analyse(self, samples: Tensor) -> Tensor:
        """[..., samples] to the spectra of all whole frames, complex [..., frames, all_bins].

        The engine puts silence before the stream; so does this.
        """
        before = self.window_size - (self._shift + 1) * self.hop_size
        padded = torch.nn.functional.pad(samples, (before, 0))
        if padded.shape[-1] < self.window_size:
            return padded.new_zeros(*samples.shape[:-1], 0, self.all_bins, dtype=torch.complex64)
        windows = padded.unfold(-1, self.window_size, self.hop_size)
        windowed = windows * self._windows[0].to(samples)
        front = self.fft_size - self.window_size
        return torch.fft.rfft(torch.nn.functional.pad(windowed, (front, 0)) if front else windowed)

    def synthesise(self, spectra: Tensor) -> Tensor:
        """complex [..., frames, all_bins] to [..., (frames - 1) * hop_size] samples. Sample k is
        sample k of the signal that was analysed. The opposite of analyse().
        """
        frames = torch.fft.irfft(spectra, n=self.fft_size, norm="forward")
        frames = frames[..., self.fft_size - self.window_size:] * self._windows[1].to(frames)
        hop = self.hop_size
        start = self.window_size - (self._shift + 1) * hop
        older = frames[..., :-1, start:start + hop]
        newer = frames[..., 1:, start - hop:start]
        return (older + newer).flatten(-2)

    def features(self, spectra: Tensor) -> Tensor:
        """complex [batch, channels, frames, all_bins] to the network's input, [batch, channels,
        frames, rows].
        """
        split = self.complex_bins
        magnitudes = spectra[..., split:self.network_bins].abs()
        if not split:
            return magnitudes
        low = spectra[..., :split]
        parts = torch.stack([low.real, low.imag, -low.real, -low.imag], -1)
        return torch.cat([parts.clamp(min=0).flatten(-2), magnitudes], -1)

    def decode(self, outputs: Tensor) -> Tensor:
        """The network's output, [batch, masks * channels, frames, rows], to complex masks or
        spectra, [batch, masks, channels, frames, all_bins].
        """
        split = self.complex_bins
        four = outputs[..., :4 * split].unflatten(-1, (split, 4)) if split else None
        real = outputs[..., 4 * split:]
        imaginary = torch.zeros_like(real)
        if split:
            real = torch.cat([four[..., 0] - four[..., 2], real], -1)
            imaginary = torch.cat([four[..., 1] - four[..., 3], imaginary], -1)
        decoded = torch.complex(real, imaginary)
        missing = self.all_bins - self.network_bins
        if missing:
            level = (decoded.abs() * self._tail_weights.to(real)).sum(-1, keepdim=True)
            tail = level.expand(*level.shape[:-1], missing)
            decoded = torch.cat([decoded, torch.complex(tail, torch.zeros_like(tail))], -1)
        return decoded.unflatten(1, (self.masks, self.channels))

    def apply(self, spectra: Tensor, outputs: Tensor) -> Tensor:
        """The spectra of all buses but the residual, [batch, masks, channels, frames, all_bins],
        from the spectra that went in and what the network gave. A network with a look-ahead gives
        fewer frames; as many come out.
        """
        decoded = self.decode(outputs)
        if self.spectra:
            return decoded
        return decoded * spectra[:, None, :, :decoded.shape[3]]

    @property
    def _names(self) -> Sequence[str]:
        if self.bus_names is not None:
            return self.bus_names
        if self.masks == 1:
            return ("Processed", "Residual")
        return [f"Stem {index + 1}" for index in range(self.masks)] + ["Residual"]

    @property
    def _shift(self) -> int:
        """1 for the long and the short window, 0 for the pair of equals."""
        return 0 if self.window_size == 2 * self.hop_size else 1

    @cached_property
    def _windows(self) -> tuple[Tensor, Tensor]:
        """For analysis and synthesis, double precision. The second has the scale of the inverse."""
        window, hop = self.window_size, self.hop_size
        if not self._shift:
            root = np.sqrt(_hann(window))
            return torch.from_numpy(root), torch.from_numpy(root / self.fft_size)
        analysis, synthesis = _hann(window), np.zeros(window)
        start = (window - 2 * hop) // 2
        synthesis[start:start + 2 * hop] = _hann(2 * hop)
        return torch.from_numpy(analysis), torch.from_numpy(synthesis / (analysis * window))

    @cached_property
    def _tail_weights(self) -> Tensor:
        """Of the magnitudes in the level that reaches the highest bin of the network."""
        above = torch.arange(self.network_bins - 1, -1, -1, dtype=torch.float64)
        return _TAIL_SMOOTHING * (1 - _TAIL_SMOOTHING) ** above


def _hann(length: int) -> np.ndarray:
    """Symmetric and nowhere zero."""
    return 0.5 - 0.5 * np.cos((np.arange(length) + 0.5) * 2 * np.pi / length)
