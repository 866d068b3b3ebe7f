"""What training makes small, on frames of the spectrum.

All terms take a mask, the spectra of the mixture and those of the speech: real or complex
[batch, channels, frames, bins].
"""

from __future__ import annotations

from dataclasses import dataclass
from functools import lru_cache

import numpy as np
import torch
from torch import Tensor

from .network import AUDIO

_QUIET = 1e-4
# Of the ratio term, in which nothing below -30 dB of error is rewarded.
_RATIO_FLOOR = 1e-3
# Third octaves and segments of 0.4 s, over which intelligibility is measured.
_LOWEST_CENTRE, _BANDS = 150.0, 18
_SEGMENT_SECONDS, _SEGMENT_STEP = 0.384, 12


@dataclass(frozen=True)
class LossSettings:
    """Weights of the terms.

    power        to which magnitudes are raised before they are compared
    magnitude    squared error of magnitudes
    complex      the same of magnitudes with their phases
    ratio        dB of error over speech
    correlation  1 - correlation of the envelopes in third octaves
    lost         by how much speech that is taken away weighs more than noise that is left: 0 treats
                 both alike, 1 twice
    """

    power: float = 0.3
    magnitude: float = 0.7
    complex: float = 0.3
    ratio: float = 0.006
    correlation: float = 0.4
    lost: float = 1.5


def total_loss(mask: Tensor, mixture: Tensor, speech: Tensor,
               settings: LossSettings) -> tuple[Tensor, dict[str, float]]:
    """The sum, and each term without its weight."""
    level = mixture.abs().square().mean(dim=(1, 2, 3), keepdim=True).sqrt() + 1e-7
    mixture, speech = mixture / level, speech / level
    magnitude, phased = _compressed(mask, mixture, speech, settings)
    terms = {"magnitude": magnitude, "complex": phased, "ratio": _ratio(mask, mixture, speech),
             "correlation": _correlation(mask * mixture.abs(), speech.abs())}
    total = sum(getattr(settings, name) * term for name, term in terms.items())
    return total, {name: float(term.detach()) for name, term in terms.items()}


def _compressed(mask: Tensor, mixture: Tensor, speech: Tensor,
                settings: LossSettings) -> tuple[Tensor, Tensor]:
    weights = _ear(mixture.shape[-1]).to(mask)
    heard = mixture.abs()
    estimate = (mask * heard + _QUIET) ** settings.power
    wanted = (speech.abs() + _QUIET) ** settings.power
    error = estimate - wanted
    dearer = 1 + settings.lost * (error < 0)
    magnitude = (dearer * error.square() * weights).mean()
    difference = (estimate * mixture / (heard + 1e-6) - wanted * speech / (speech.abs() + 1e-6))
    power = difference.real.square() + difference.imag.square()
    return magnitude, (power * weights).mean()


def _ratio(mask: Tensor, mixture: Tensor, speech: Tensor) -> Tensor:
    """In silence the error is compared with a thousandth of the mixture."""
    def power(spectra: Tensor) -> Tensor:
        return spectra.abs().square().sum(dim=(1, 2, 3))

    least = 1e-3 * power(mixture) + 1e-9
    error = power(mask * mixture - speech) / (power(speech) + least)
    return 10 * torch.log10(error + _RATIO_FLOOR).mean()


def _correlation(estimate: Tensor, speech: Tensor) -> Tensor:
    """Over the segments in which somebody speaks."""
    frames = round(_SEGMENT_SECONDS * AUDIO.sample_rate / AUDIO.hop_size)
    bands = _third_octaves(speech.shape[-1]).to(estimate)
    if speech.shape[2] < frames:
        return estimate.new_zeros(())

    def segments(magnitudes: Tensor) -> Tensor:
        envelope = (magnitudes.square() @ bands + 1e-8).sqrt()
        return envelope.unfold(2, frames, _SEGMENT_STEP)

    wanted, found = segments(speech), segments(estimate)
    power = wanted.square().sum(-1)
    loudest = power.amax(dim=(1, 2), keepdim=True)
    active = ((power > 1e-3 * loudest) & (loudest > 1e-2)).to(estimate)
    wanted, found = (part - part.mean(-1, keepdim=True) for part in (wanted, found))
    size = wanted.square().sum(-1).sqrt() * (found.square().sum(-1) + 1e-8).sqrt()
    alike = (wanted * found).sum(-1) / (size + 1e-4)
    # Without anybody who speaks the term is 0.
    return (active * (1 - alike)).sum() / active.sum().clamp(min=1)


@lru_cache(maxsize=None)
def _ear(bins: int) -> Tensor:
    """Falls from 2.5 kHz on; mean 1."""
    hertz = torch.arange(bins) * AUDIO.sample_rate / AUDIO.fft_size
    weights = 1 / (1 + hertz / 2500)
    return weights / weights.mean()


@lru_cache(maxsize=None)
def _third_octaves(bins: int) -> Tensor:
    """[bins, bands] of ones and zeros; each band has a bin or more."""
    centres = _LOWEST_CENTRE * 2 ** (np.arange(_BANDS) / 3)
    width = AUDIO.sample_rate / AUDIO.fft_size
    matrix = torch.zeros(bins, _BANDS)
    for band, centre in enumerate(centres):
        low = round(centre * 2 ** (-1 / 6) / width)
        high = max(low + 1, round(centre * 2 ** (1 / 6) / width))
        matrix[low:high, band] = 1
    return matrix
