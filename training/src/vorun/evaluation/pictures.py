"""An evaluation as pictures. Needs Matplotlib."""

from __future__ import annotations

import io
import os
from typing import Sequence, Union

import numpy as np

from .evaluation import Evaluation
from .items import make_items
from .systems import EngineSystem

Path = Union[str, os.PathLike]

# Told apart without colour vision, too.
_COLOURS = ("#0b3c5d", "#e69f00", "#d55e00", "#56b4e9", "#999999", "#cc79a7")
_FFT = 2048
_HOP = 480
_DEEPEST_DB, _LOUDEST_DB = -95, -35
_HIGHEST_HZ = 12000
_LEVELS = 60


def write_spectrograms(path: Path, system: EngineSystem, sample_rate: int, family: str,
                       voices: Sequence[str] = ("Front_Center", "Side_Left", "Rear_Right"),
                       ratio: float = 5.0, seed: int = 1) -> None:
    """Recorded voices in noise: noisy, restored, and what was removed."""
    items = make_items(sample_rate, voices, [family], [ratio], seed)
    noisy = np.concatenate([item.mixture[sample_rate * 2:] for item in items
                            if item.family == family])
    restored = system.process(noisy, sample_rate)
    plt = _pyplot()
    figure, axes = plt.subplots(3, 1, figsize=(11, 9), sharex=True, sharey=True,
                                layout="constrained")
    titles = (f"Noisy: recorded voice in {family} at {ratio:g} dB", f"Restored by {system.name}",
              "Removed")
    for axis, title, samples in zip(axes, titles, (noisy, restored, noisy - restored)):
        image = axis.imshow(_spectrogram(samples), origin="lower", aspect="auto",
                            cmap=plt.get_cmap("magma", _LEVELS),
                            vmin=_DEEPEST_DB, vmax=_LOUDEST_DB, interpolation="nearest",
                            extent=(0, len(samples) / sample_rate, 0, sample_rate / 2000))
        axis.set_title(title, loc="left", fontsize=11)
        axis.set_ylabel("Frequency, kHz")
        axis.set_ylim(0, min(_HIGHEST_HZ, sample_rate / 2) / 1000)
    axes[-1].set_xlabel("Time, s")
    figure.colorbar(image, ax=axes, label="Level, dB of full scale", shrink=0.6)
    _save(figure, path)


def write_bars(path: Path, evaluation: Evaluation) -> None:
    """Gains in SI-SDR and STOI by ratio, beside the peers."""
    results = evaluation.results
    systems = [evaluation.model, *evaluation.peers]
    plt = _pyplot()
    figure, axes = plt.subplots(2, 1, figsize=(11, 8), sharex=True, layout="constrained")
    ratios = results.ratios
    width = 0.84 / len(systems)
    for axis, gain, label in zip(axes, (results.si_sdr_gain, results.stoi_gain),
                                 ("Gain in SI-SDR, dB", "Gain in STOI")):
        for index, name in enumerate(systems):
            places = np.arange(len(ratios)) + (index - (len(systems) - 1) / 2) * width
            axis.bar(places, [gain(name, ratio) for ratio in ratios], width * 0.92, label=name,
                     color=_COLOURS[index % len(_COLOURS)])
        axis.axhline(0, color="black", linewidth=0.8)
        axis.set_ylabel(label)
        axis.grid(axis="y", alpha=0.3)
        axis.set_axisbelow(True)
        for side in ("top", "right"):
            axis.spines[side].set_visible(False)
    axes[1].set_xticks(range(len(ratios)), [f"{ratio:g} dB" for ratio in ratios])
    axes[1].set_xlabel("Ratio of voice to noise; means over "
                       f"{', '.join(results.families)}")
    axes[0].legend(loc="lower center", bbox_to_anchor=(0.5, 1.02), ncol=len(systems),
                   frameon=False)
    _save(figure, path)


def _save(figure, path: Path) -> None:
    """With 128 colours: noise in all colours takes three times the room."""
    from PIL import Image
    drawn = io.BytesIO()
    figure.savefig(drawn, dpi=100)
    _pyplot().close(figure)
    few = Image.open(drawn).convert("RGB").quantize(128, Image.Quantize.MAXCOVERAGE,
                                                    dither=Image.Dither.NONE)
    few.save(path, optimize=True)


def _spectrogram(samples: np.ndarray) -> np.ndarray:
    """dB [bins, frames]; a sine at full scale has 0."""
    window = np.hanning(_FFT)
    frames = np.lib.stride_tricks.sliding_window_view(samples, _FFT)[::_HOP] * window
    magnitudes = np.abs(np.fft.rfft(frames)) / (window.sum() / 2)
    return 20 * np.log10(np.maximum(magnitudes, 10 ** (_DEEPEST_DB / 20))).T


def _pyplot():
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot
    return matplotlib.pyplot
