"""What is written beside a model: how it was made, and how good it is on validation."""

from __future__ import annotations

import json
import platform
from pathlib import Path
from typing import Sequence, Union

import numpy
import torch

from ..data.corpus import NOISE, SPEECH, Clips
from ..data.voices import TRAINING, VALIDATION
from ..export import ExportReport, export_model
from .network import AUDIO, count_operations
from .trainer import Trainer

MODEL, CARD, CONFIG = "model.vorun", "card.md", "config.json"


def export_best(trainer: Trainer, folder: Path) -> ExportReport:
    """The best on validation so far, as a model file with 16-bit weights."""
    network = trainer.best.to("cpu", memory_format=torch.contiguous_format).eval()
    report = export_model(network, folder / MODEL, AUDIO, half=True)
    trainer.best.to(next(trainer.network.parameters()).device)
    return report


def write_card(trainer: Trainer, report: ExportReport, folder: Path, command: Sequence[str],
               data: Union[str, Path]) -> None:
    """card.md for people, config.json for the next training."""
    (folder / CONFIG).write_text(json.dumps(trainer.config.as_dict(), indent=4) + "\n")
    figures = trainer.best_figures
    parameters, operations = count_operations(trainer.network)
    best_step = max(trainer.validations, key=lambda row: row["score"])["step"]
    lines = [
        "# Model card", "",
        f"A speech denoiser for {AUDIO.sample_rate / 1000:g} kHz, one channel at a time.", "",
        "| | |", "|---|---|",
        f"| latency | {1000 * AUDIO.latency_samples / AUDIO.sample_rate:g} ms |",
        f"| parameters | {parameters} |",
        f"| operations | {operations / 1e6:.2f} million a frame of {AUDIO.hop_size} samples |",
        f"| file | {report.file_bytes} bytes |",
        f"| trained | {trainer.step} steps, {trainer.minutes:.0f} minutes |",
        f"| taken from | step {best_step:.0f} |", "",
        "On the validation's voices and noises, none of which it was trained on:", "",
        "| SI-SDR gained | STOI gained | SI-SDR of clean speech |", "|---|---|---|",
        f"| {figures.si_sdr_gain:+.2f} dB | {figures.stoi_gain:+.4f} | {figures.clean:.1f} dB |",
        "", "![curves](curves.png)", "", "## Made by", "", "```sh", " ".join(command), "```", "",
        f"with `{CONFIG}`, of these clips:", "", *_material(data), "",
        f"Python {platform.python_version()}, PyTorch {torch.__version__}, "
        f"NumPy {numpy.__version__}."]
    (folder / CARD).write_text("\n".join(lines) + "\n")


def _material(data: Union[str, Path]) -> list[str]:
    lines = ["| split | kind | clips | minutes | of |", "|---|---|---|---|---|"]
    for split in (TRAINING, VALIDATION):
        for kind in (SPEECH, NOISE):
            clips = Clips(data, split, kind)
            lines.append(f"| {split} | {kind} | {len(clips)} | {clips.seconds / 60:.0f} | "
                         f"{len(set(clips.names))} {'voices' if kind == SPEECH else 'families'} |")
    return lines
