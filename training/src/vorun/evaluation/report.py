"""What an evaluation leaves behind: tables, measurements, pictures."""

from __future__ import annotations

import os
from pathlib import Path
from typing import Optional

from .evaluation import Evaluation
from .tables import markdown

REPORT, MEASUREMENTS = "evaluation.md", "evaluation.csv"
SPECTROGRAMS, BARS = "spectrograms-{}.png", "bars.png"
BEGIN, END = "<!-- evaluation of {} -->", "<!-- end of evaluation of {} -->"


def write_report(evaluation: Evaluation, folder: Path, seed: int = 1,
                 library: Optional[str] = None) -> list[Path]:
    """Files in `folder`, which is made if need be: tables, measurements, and pictures where
    Matplotlib is."""
    folder.mkdir(parents=True, exist_ok=True)
    pictures = _write_pictures(evaluation, folder, seed, library)
    evaluation.results.write_csv(folder / MEASUREMENTS)
    (folder / REPORT).write_text(f"# {evaluation.model}\n\n"
                                 + markdown(evaluation, _links(evaluation, pictures, folder)))
    return [folder / REPORT, folder / MEASUREMENTS, *pictures]


def insert_into(readme: Path, evaluation: Evaluation, pictures: list[Path]) -> None:
    """Replaces what stands between the markers of this model in a document.

    Raises ValueError if the document has not each of them once, in order.
    """
    text = readme.read_text()
    begin, end = BEGIN.format(evaluation.model), END.format(evaluation.model)
    if text.count(begin) != 1 or text.count(end) != 1 or text.index(begin) > text.index(end):
        raise ValueError(f"{readme} does not have '{begin}' and '{end}' once each, in this order")
    before, after = text.split(begin)[0], text.split(end)[1]
    tables = markdown(evaluation, _links(evaluation, pictures, readme.parent))
    readme.write_text(f"{before}{begin}\n\n{tables}\n{end}{after}")


def _write_pictures(evaluation: Evaluation, folder: Path, seed: int,
                    library: Optional[str]) -> list[Path]:
    try:
        from .pictures import write_bars, write_spectrograms
        from .systems import EngineSystem
        write_bars(folder / BARS, evaluation)
    except ImportError:
        evaluation.missing.append("pictures are left out: install Debian's python3-matplotlib")
        return []
    system = EngineSystem(evaluation.path, library=library)
    written = []
    for family in evaluation.results.families:
        written.append(folder / SPECTROGRAMS.format(family))
        write_spectrograms(written[-1], system, evaluation.sample_rate, family, seed=seed)
    return [*written, folder / BARS]


def _links(evaluation: Evaluation, pictures: list[Path], start: Path) -> list[tuple[str, str]]:
    """Of the bars and of the spectrograms of the first family; the others are for a closer look."""
    texts = {SPECTROGRAMS.format(evaluation.results.families[0]):
             f"A recorded voice: noisy, restored by {evaluation.model}, and what was removed",
             BARS: f"Gains of {evaluation.model} and others in SI-SDR and STOI"}
    return [(texts[picture.name], Path(os.path.relpath(picture, start)).as_posix())
            for picture in pictures if picture.name in texts]
