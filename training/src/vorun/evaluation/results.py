"""All measurements of an evaluation, and means of them."""

from __future__ import annotations

import csv
import os
from dataclasses import asdict, fields
from typing import Iterable, Optional, Union

import numpy as np

from .items import CLEAN
from .measures import Measurement

UNPROCESSED = "unprocessed"


class Results:
    """Measurements of several systems on the same files, UNPROCESSED among them."""

    def __init__(self, measurements: Iterable[Measurement]) -> None:
        self.measurements = list(measurements)
        self._unprocessed = {_file(one): one for one in self.measurements
                             if one.system == UNPROCESSED}

    @property
    def systems(self) -> list[str]:
        return _unique(one.system for one in self.measurements)

    @property
    def families(self) -> list[str]:
        return _unique(one.family for one in self.measurements if one.family != CLEAN)

    @property
    def ratios(self) -> list[float]:
        return sorted(set(one.ratio for one in self.measurements if one.family != CLEAN))

    def si_sdr_gain(self, system: str, ratio: Optional[float] = None,
                    family: Optional[str] = None) -> float:
        """dB above the unprocessed files; the mean over all noisy files unless told which."""
        return _mean(one.si_sdr_db - self._before(one).si_sdr_db
                     for one in self._noisy(system, ratio, family))

    def stoi(self, system: str, ratio: Optional[float] = None,
             family: Optional[str] = None) -> float:
        return _mean(one.stoi for one in self._noisy(system, ratio, family))

    def stoi_gain(self, system: str, ratio: Optional[float] = None,
                  family: Optional[str] = None) -> float:
        return _mean(one.stoi - self._before(one).stoi
                     for one in self._noisy(system, ratio, family))

    def noise_change(self, system: str, ratio: Optional[float] = None,
                     family: Optional[str] = None) -> float:
        return _mean(one.noise_db for one in self._noisy(system, ratio, family))

    def clean(self, system: str) -> tuple[float, float]:
        """SI-SDR in dB and STOI of clean speech."""
        files = [one for one in self.measurements
                 if one.system == system and one.family == CLEAN]
        return _mean(one.si_sdr_db for one in files), _mean(one.stoi for one in files)

    def write_csv(self, path: Union[str, os.PathLike]) -> None:
        with open(path, "w", newline="") as file:
            writer = csv.DictWriter(file, [field.name for field in fields(Measurement)],
                                    lineterminator="\n")
            writer.writeheader()
            for one in self.measurements:
                writer.writerow({name: f"{value:.4f}" if isinstance(value, float) else value
                                 for name, value in asdict(one).items()})

    def _noisy(self, system: str, ratio: Optional[float],
               family: Optional[str]) -> list[Measurement]:
        return [one for one in self.measurements
                if one.system == system and one.family != CLEAN
                and ratio in (None, one.ratio) and family in (None, one.family)]

    def _before(self, one: Measurement) -> Measurement:
        return self._unprocessed[_file(one)]


def _file(one: Measurement) -> tuple[str, str, float]:
    return one.voice, one.family, one.ratio


def _unique(values: Iterable[str]) -> list[str]:
    return list(dict.fromkeys(values))


def _mean(values: Iterable[float]) -> float:
    values = list(values)
    return float(np.mean(values)) if values else float("nan")
