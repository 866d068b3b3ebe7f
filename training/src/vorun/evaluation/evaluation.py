"""One model measured whole."""

from __future__ import annotations

import os
from dataclasses import dataclass, field
from typing import Callable, Optional, Sequence, Union

import numpy as np

from ..model_file import read_model
from .items import CLEAN, RATIOS, Item, available_families, make_items
from .measures import Measurement, measure_all
from .noises import FAMILIES, why_missing
from .peers import available_peers
from .performance import Cost, measure_cost
from .results import Results
from .steadiness import (HOST_RATES, HostRate, LongRun, Silence, check_host_rate, check_long_run,
                         check_silence)
from .systems import Aligned, EngineSystem, IdealMask, System, Unprocessed, open_restoring

_JUDGED_AT_HOSTS = (0, 5, 10)


@dataclass(frozen=True)
class Options:
    """voices and families are all if None; `minutes` of the long run, 0 for none."""

    voices: Optional[Sequence[str]] = None
    families: Optional[Sequence[str]] = None
    ratios: Sequence[float] = RATIOS
    seed: int = 1
    peers: bool = True
    hosts: Sequence[int] = HOST_RATES
    minutes: float = 10.0
    library: Optional[str] = None


@dataclass
class Evaluation:
    """model    its name among the systems of the results
    peers    names of the other programs among them
    missing  what this machine could not measure, and why
    """

    model: str
    path: Union[str, os.PathLike]
    sample_rate: int
    results: Results
    peers: list[str]
    missing: list[str]
    voices: int = 0
    file_bytes: int = 0
    delays: dict[str, int] = field(default_factory=dict)
    silence: Optional[Silence] = None
    long_run: Optional[LongRun] = None
    hosts: list[HostRate] = field(default_factory=list)
    costs: list[Cost] = field(default_factory=list)


def evaluate(path: Union[str, os.PathLike], options: Options = Options(),
             tell: Callable[[str], None] = lambda text: None) -> Evaluation:
    """Measures a model file at its own rate, beside what else there is. `tell` hears of progress.

    Raises OSError if the recorded voices are not installed, EngineError if the engine refuses the
    model.
    """
    rate = round(read_model(path).header.sample_rate)
    model = EngineSystem(path, library=options.library)
    items = make_items(rate, options.voices, options.families, options.ratios, options.seed)
    peers, missing = _others(options)
    aligned = _aligned([Unprocessed(), model, *peers], items[0].clean, rate, missing)
    measurements: list[Measurement] = []
    for system in aligned:
        tell(f"{system.name}: {len(items)} files")
        measurements += measure_all(system.name, system.restore, items)
    measurements += _bound(path, items, missing)
    evaluation = Evaluation(model.name, path, rate, Results(measurements),
                            [system.name for system in aligned[2:]], missing,
                            len({item.voice for item in items}), os.path.getsize(path),
                            {system.name: system.delay for system in aligned})
    _add_steadiness(evaluation, model, items, options, tell)
    _add_costs(evaluation, options, tell)
    return evaluation


def _others(options: Options) -> tuple[list[System], list[str]]:
    missing = [] if options.families else [f"{family} is left out: {why_missing(family)}"
                                           for family in FAMILIES
                                           if family not in available_families()]
    if not options.peers:
        return [], missing
    peers, absent = available_peers()
    return peers, missing + absent


def _aligned(systems: Sequence[System], voice: np.ndarray, sample_rate: int,
             missing: list[str]) -> list[Aligned]:
    aligned = []
    for system in systems:
        try:
            aligned.append(Aligned(system, voice, sample_rate))
        except ValueError as error:
            missing.append(f"{system.name} is left out: {error}")
    return aligned


def _bound(path: Union[str, os.PathLike], items: Sequence[Item],
           missing: list[str]) -> list[Measurement]:
    try:
        ideal = IdealMask(path)
    except OSError as error:
        missing.append(str(error))
        return []
    except ValueError as error:
        missing.append(f"{IdealMask.name} is left out: {error}")
        return []
    return measure_all(ideal.name, ideal.restore, items)


def _add_steadiness(evaluation: Evaluation, model: EngineSystem, items: Sequence[Item],
                    options: Options, tell: Callable[[str], None]) -> None:
    noisy = [item for item in items if item.family != CLEAN]
    judged = [item for item in noisy if item.ratio in _JUDGED_AT_HOSTS] or noisy
    evaluation.silence = check_silence(model, judged[0])
    for rate in options.hosts:
        tell(f"a host of {rate} Hz: {len(judged)} files")
        evaluation.hosts += check_host_rate(model, judged, rate)
    if options.minutes > 0:
        tell(f"{options.minutes:g} minutes of audio")
        with open_restoring(model.path, 1, evaluation.sample_rate, options.library) as processor:
            evaluation.long_run = check_long_run(processor, judged[::len(judged) // 3 or 1],
                                                 options.minutes)


def _add_costs(evaluation: Evaluation, options: Options, tell: Callable[[str], None]) -> None:
    tell("time, latency and size")
    for rate, channels in ((evaluation.sample_rate, 1), (evaluation.sample_rate, 2),
                           *((rate, 1) for rate in options.hosts)):
        evaluation.costs.append(measure_cost(evaluation.path, rate, channels,
                                             library=options.library))
