"""How good a network is on voices and noises that it has not been trained on."""

from __future__ import annotations

from dataclasses import dataclass, replace
from itertools import count
from typing import Iterator

import numpy as np
import torch
from torch import nn

from ..data.corpus import Path_
from ..data.mixing import Mixer, MixSettings
from ..data.voices import VALIDATION
from ..evaluation.si_sdr import si_sdr
from ..evaluation.stoi import stoi
from .config import ValidationSettings
from .network import AUDIO

_CLEAN = 60.0
_LOWEST = -30.0
# The engine starts from nothing, too, but the first frames are no measure of a stream.
_SETTLING = 0.5


@dataclass(frozen=True)
class Figures:
    """Means over the items.

    si_sdr_gain  dB, of noisy items
    stoi_gain    of noisy items
    clean        dB of SI-SDR that clean speech keeps
    score        by which checkpoints are chosen: more is better
    """

    si_sdr_gain: float
    stoi_gain: float
    clean: float
    score: float


class Validation:
    """The same items each time, whatever the training draws."""

    def __init__(self, folder: Path_, mix: MixSettings, settings: ValidationSettings) -> None:
        self._settings = settings
        mixer = Mixer(folder, VALIDATION, replace(mix, seconds=settings.seconds), seed=0)
        numbers = count()
        self._noisy = [_item(mixer, numbers, ratio) for ratio in settings.ratios
                       for _ in range(settings.items)]
        self._clean = [_item(mixer, numbers, _CLEAN) for _ in range(settings.clean_items)]
        self._before = [_measure(speech, speech + noise) for speech, noise in self._noisy]

    def run(self, network: nn.Module) -> Figures:
        """Leaves the network in the mode in which it was."""
        training = network.training
        network.eval()
        with torch.no_grad():
            after = [_measure(speech, restore(network, speech + noise))
                     for speech, noise in self._noisy]
            clean = [_measure(speech, restore(network, speech + noise))[0]
                     for speech, noise in self._clean]
        network.train(training)
        gains = np.mean(np.subtract(after, self._before), axis=0)
        kept = float(np.mean(clean)) if clean else float("nan")
        missing = max(0.0, self._settings.clean_wanted - kept) if clean else 0.0
        score = gains[0] + self._settings.stoi_weight * gains[1] - missing
        return Figures(float(gains[0]), float(gains[1]), kept, float(score))


def restore(network: nn.Module, samples: np.ndarray) -> np.ndarray:
    """float32 [samples], without the last few that no whole frame gives."""
    device = next(network.parameters()).device
    spectra = AUDIO.analyse(torch.from_numpy(samples).to(device)[None, None])
    masks = network(AUDIO.features(spectra))
    return AUDIO.synthesise(AUDIO.apply(spectra, masks))[0, 0, 0].cpu().numpy()


def _item(mixer: Mixer, numbers: Iterator[int], ratio: float) -> tuple[np.ndarray, np.ndarray]:
    """The next in which enough is said to be measured."""
    for number in numbers:
        speech, noise = mixer.item(number, ratio)
        try:
            _measure(speech, speech + noise)
        except ValueError:
            continue
        return speech, noise
    raise AssertionError("numbers do not end")


def _measure(speech: np.ndarray, samples: np.ndarray) -> tuple[float, float]:
    """SI-SDR in dB, and STOI."""
    wanted, found = _settled(speech, samples)
    # A network that shuts everything has no ratio; one such item must not hide the others.
    ratio = max(_LOWEST, si_sdr(wanted, found))
    return ratio, stoi(wanted, found, int(AUDIO.sample_rate))


def _settled(speech: np.ndarray, samples: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    start = int(_SETTLING * AUDIO.sample_rate)
    end = len(samples)
    return speech[start:end].astype(np.float64), samples[start:].astype(np.float64)
