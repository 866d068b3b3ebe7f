"""The curves of a training, as tables and as a picture."""

from __future__ import annotations

import csv
from pathlib import Path
from typing import Sequence

from .trainer import Row, Trainer


def write_curves(trainer: Trainer, folder: Path) -> list[Path]:
    """Gives the files that were written; without matplotlib there is no picture."""
    files = []
    for name, rows in (("curves.csv", trainer.curves), ("validation.csv", trainer.validations)):
        if rows:
            _write_table(folder / name, rows)
            files.append(folder / name)
    picture = folder / "curves.png"
    if trainer.validations and _draw(trainer, picture):
        files.append(picture)
    return files


def _write_table(path: Path, rows: Sequence[Row]) -> None:
    with open(path, "w", newline="", encoding="utf-8") as file:
        table = csv.DictWriter(file, fieldnames=list(rows[0]))
        table.writeheader()
        for row in rows:
            table.writerow({name: f"{value:.6g}" for name, value in row.items()})


def _draw(trainer: Trainer, path: Path) -> bool:
    try:
        import matplotlib
    except ImportError:
        return False
    matplotlib.use("Agg")
    from matplotlib import pyplot
    figure, axes = pyplot.subplots(2, 2, figsize=(10, 6), sharex=True)
    panels = ((axes[0][0], trainer.curves, "loss", "training loss"),
              (axes[0][1], trainer.validations, "si_sdr_gain", "SI-SDR gained (dB)"),
              (axes[1][0], trainer.validations, "stoi_gain", "STOI gained"),
              (axes[1][1], trainer.validations, "clean", "SI-SDR of clean speech (dB)"))
    for panel, rows, name, title in panels:
        panel.plot([row["step"] for row in rows], [row[name] for row in rows])
        panel.set_title(title)
        panel.grid(alpha=0.3)
    for panel in axes[1]:
        panel.set_xlabel("step")
    figure.tight_layout()
    figure.savefig(path, dpi=100)
    pyplot.close(figure)
    return True
