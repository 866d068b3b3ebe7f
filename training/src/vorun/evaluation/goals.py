"""What a speech denoiser has to reach to be good, and the least that may ship."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Callable, Iterator, Optional, Sequence

from .evaluation import Evaluation
from .results import UNPROCESSED

JUDGED_RATIOS = (0, 5, 10)
_GAIN_DB = {0: 8.0, 5: 7.5, 10: 6.5}
LEAST_GAIN_DB = {0: 6.5, 5: 6.0, 10: 5.5}
_LESS_NOISE_DB = 12.0
_CLEAN_DB = 30.0
_CLEAN_STOI = 0.995
_LATENCY_MS = 20.0
_MEGABYTES = 2.0
_CORE_SHARE = 0.03
_HOST_DB = 1.0
_SILENCE_DB = -100.0
_DRIFT_DB = -40.0


@dataclass(frozen=True)
class Verdict:
    """reached is None where the evaluation was not asked to measure it."""

    what: str
    goal: str
    measured: str
    reached: Optional[bool]


def verdicts(evaluation: Evaluation) -> list[Verdict]:
    parts: Sequence[Callable[[Evaluation], Iterator[Verdict]]] = (
        _gains, _intelligibility, _quiet_and_clean, _steady, _hosts, _cost)
    return [verdict for part in parts for verdict in part(evaluation)]


def _gains(evaluation: Evaluation) -> Iterator[Verdict]:
    for ratio in _present_ratios(evaluation):
        gain = evaluation.results.si_sdr_gain(evaluation.model, ratio)
        goal, least = _GAIN_DB[ratio], LEAST_GAIN_DB[ratio]
        told = f"{gain:.1f} dB" + (", less than may ship" if gain < least else "")
        yield Verdict(f"SI-SDR gain at {ratio} dB", f"{goal:g} dB, at least {least:g}", told,
                      gain >= goal)


def _intelligibility(evaluation: Evaluation) -> Iterator[Verdict]:
    results, model = evaluation.results, evaluation.model
    rivals = [UNPROCESSED, *evaluation.peers]
    for ratio in _present_ratios(evaluation):
        ours = results.stoi(model, ratio)
        best = max(rivals, key=lambda system: results.stoi(system, ratio))
        theirs = results.stoi(best, ratio)
        yield Verdict(f"STOI at {ratio} dB", f"{theirs:.3f}, the best of the others ({best})",
                      f"{ours:.3f}", ours >= theirs)
    gains = {ratio: results.stoi_gain(model, ratio) for ratio in results.ratios}
    worst = min(gains, key=lambda ratio: gains[ratio])
    yield Verdict("STOI over the unprocessed", "above at every ratio",
                  f"{gains[worst]:+.3f} at {worst:g} dB, the least", gains[worst] > 0)


def _quiet_and_clean(evaluation: Evaluation) -> Iterator[Verdict]:
    change = evaluation.results.noise_change(evaluation.model)
    yield Verdict("Noise where nobody speaks", f"{_LESS_NOISE_DB:g} dB less", f"{change:.1f} dB",
                  change <= -_LESS_NOISE_DB)
    ratio, intelligibility = evaluation.results.clean(evaluation.model)
    yield Verdict("Clean speech, SI-SDR", f"{_CLEAN_DB:g} dB", f"{ratio:.1f} dB",
                  ratio >= _CLEAN_DB)
    yield Verdict("Clean speech, STOI", f"{_CLEAN_STOI}", f"{intelligibility:.4f}",
                  intelligibility >= _CLEAN_STOI)


def _steady(evaluation: Evaluation) -> Iterator[Verdict]:
    silence, run = evaluation.silence, evaluation.long_run
    if silence:
        peak = max(silence.alone_db, silence.after_speech_db)
        yield Verdict("Silence", f"below {_SILENCE_DB:g} dB of full scale",
                      f"{peak:.0f} dB" if peak > -1000 else "zeros", peak < _SILENCE_DB)
    if run:
        yield Verdict(f"The end of {run.minutes:.0f} minutes beside their beginning",
                      f"a difference below {_DRIFT_DB:g} dB",
                      f"{run.difference_db:.0f} dB" if run.difference_db > -1000 else "none",
                      run.difference_db < _DRIFT_DB)


def _hosts(evaluation: Evaluation) -> Iterator[Verdict]:
    for rate in sorted({row.sample_rate for row in evaluation.hosts}, reverse=True):
        changes = [row.gain_db - row.gain_at_own_rate_db for row in evaluation.hosts
                   if row.sample_rate == rate]
        worst = min(changes)
        yield Verdict(f"SI-SDR gain on a host of {rate} Hz", f"within {_HOST_DB:g} dB",
                      f"{worst:+.2f} dB", worst >= -_HOST_DB)


def _cost(evaluation: Evaluation) -> Iterator[Verdict]:
    size = evaluation.file_bytes / 1e6
    yield Verdict("File", f"{_MEGABYTES:g} MB", f"{size:.2f} MB", size <= _MEGABYTES)
    mono = [cost for cost in evaluation.costs if cost.channels == 1]
    for cost in mono[:1]:
        yield Verdict(f"Latency at {cost.sample_rate} Hz", f"{_LATENCY_MS:g} ms",
                      f"{cost.latency_ms:.1f} ms", cost.latency_ms <= _LATENCY_MS)
    if mono:
        share = max(cost.core_share for cost in mono)
        yield Verdict("Share of one core", f"{_CORE_SHARE:.0%}", f"{share:.1%}",
                      share <= _CORE_SHARE)


def _present_ratios(evaluation: Evaluation) -> list[int]:
    return [ratio for ratio in JUDGED_RATIOS if ratio in evaluation.results.ratios]
