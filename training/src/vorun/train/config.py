"""The configuration of a training: a JSON file with a section for each dataclass below. What a
file leaves out has the default.
"""

from __future__ import annotations

import json
import os
from dataclasses import asdict, dataclass, field, fields
from typing import Any, Union

from ..data.mixing import MixSettings
from .losses import LossSettings
from .network import NetworkSettings


@dataclass(frozen=True)
class TrainSettings:
    """How long and how fast.

    steps           at which the training ends
    minutes         after which it ends anyhow; the learning rate then falls by the clock
    batch           items of a step
    learning_rate   at its highest, after `warm_up` steps; from there it falls as a cosine
    average         share of the running mean of the weights that is kept in a step; that mean is
                    what is validated and exported
    validate_every  steps
    threads         of PyTorch on a processor
    workers         processes that mix; 0 mixes between the steps
    """

    steps: int = 10000
    minutes: float = 180.0
    batch: int = 4
    learning_rate: float = 2e-3
    last_learning_rate: float = 2e-5
    warm_up: int = 200
    weight_decay: float = 1e-3
    gradient_norm: float = 0.5
    average: float = 0.999
    validate_every: int = 500
    report_every: int = 25
    threads: int = 2
    workers: int = 1
    seed: int = 1
    device: str = "auto"


@dataclass(frozen=True)
class ValidationSettings:
    """Items on which checkpoints are chosen, and how.

    items         at each ratio
    ratios        dB
    stoi_weight   dB of SI-SDR for which 1 of STOI counts: what guards against lost speech
    clean_wanted  dB of SI-SDR that clean speech keeps at least; what is missing counts in full
    """

    items: int = 12
    seconds: float = 4.0
    ratios: tuple[float, ...] = (0.0, 5.0, 10.0)
    clean_items: int = 8
    stoi_weight: float = 60.0
    clean_wanted: float = 30.0


@dataclass(frozen=True)
class Config:
    network: NetworkSettings = field(default_factory=NetworkSettings)
    mix: MixSettings = field(default_factory=MixSettings)
    loss: LossSettings = field(default_factory=LossSettings)
    training: TrainSettings = field(default_factory=TrainSettings)
    validation: ValidationSettings = field(default_factory=ValidationSettings)

    def as_dict(self) -> dict[str, Any]:
        """Of what JSON holds: reading it back gives an equal configuration."""
        return json.loads(json.dumps(asdict(self)))


def read_config(path: Union[str, os.PathLike]) -> Config:
    """Raises ValueError for what is no configuration."""
    with open(path, encoding="utf-8") as file:
        return config_of(json.load(file))


def config_of(sections: dict[str, Any]) -> Config:
    known = {section.name: section.default_factory for section in fields(Config)}
    unknown = set(sections) - set(known)
    if unknown:
        raise ValueError(f"a configuration has no section {', '.join(sorted(unknown))}")
    return Config(**{name: _section(kind, name, sections.get(name, {}))
                     for name, kind in known.items()})


def _section(kind: type, name: str, values: dict[str, Any]) -> Any:
    unknown = set(values) - {entry.name for entry in fields(kind)}
    if unknown:
        raise ValueError(f"section {name} has no {', '.join(sorted(unknown))}")
    return kind(**{key: tuple(value) if isinstance(value, list) else value
                   for key, value in values.items()})
