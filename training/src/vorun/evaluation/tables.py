"""An evaluation as Markdown."""

from __future__ import annotations

from typing import Iterable, Sequence

from .evaluation import Evaluation
from .goals import JUDGED_RATIOS, verdicts
from .measures import COPY_DB
from .results import UNPROCESSED
from .systems import IdealMask

_DASH = "–"


def markdown(evaluation: Evaluation, pictures: Sequence[tuple[str, str]] = ()) -> str:
    """All tables. `pictures` are (text, link) that stand first."""
    shown = [f"![{text}]({link})" for text, link in pictures]
    blocks = [*shown, _preface(evaluation), *_goals(evaluation), *_by_ratio(evaluation),
              *_by_family(evaluation), *_hosts(evaluation), *_costs(evaluation),
              *_notes(evaluation)]
    return "\n\n".join(blocks) + "\n"


def table(head: Sequence[str], rows: Iterable[Sequence[str]]) -> str:
    lines = [head, ["---"] * len(head), *rows]
    return "\n".join("| " + " | ".join(line) + " |" for line in lines)


def _preface(evaluation: Evaluation) -> str:
    families = evaluation.results.families
    return (f"Means over {evaluation.voices} recordings of a voice in {len(families)} families of "
            f"noise ({', '.join(families)}), at the ratios of voice to noise that the columns "
            "name. The voice, and rain, machine and crowd, are for this test alone. SI-SDR and "
            "STOI are taken while the voice speaks, the level of noise in the second before it.")


def _goals(evaluation: Evaluation) -> list[str]:
    words = {True: "yes", False: "**no**", None: _DASH}
    rows = [[one.what, one.goal, one.measured, words[one.reached]] for one in verdicts(evaluation)]
    return [table(["", "Goal", "Measured", "Reached"], rows)]


def _by_ratio(evaluation: Evaluation) -> list[str]:
    results = evaluation.results
    head = [""] + [f"{ratio:g} dB" for ratio in results.ratios]
    order = _order(evaluation)
    gains = [[name] + [f"{results.si_sdr_gain(name, ratio):+.1f}" for ratio in results.ratios]
             for name in order if name != UNPROCESSED]
    intelligible = [[name] + [f"{results.stoi(name, ratio):.3f}" for ratio in results.ratios]
                    for name in order]
    others = [[name, f"{results.noise_change(name):.1f}", _ratio(results.clean(name)[0]),
               f"{results.clean(name)[1]:.4f}"] for name in order if name != UNPROCESSED]
    return ["SI-SDR over that of the noisy file, dB:", table(head, gains), "STOI:",
            table(head, intelligible),
            "Level of noise where nobody speaks, dB, and what is left of clean speech:",
            table(["", "Noise", "Clean speech, SI-SDR dB", "Clean speech, STOI"], others)]


def _by_family(evaluation: Evaluation) -> list[str]:
    results, model = evaluation.results, evaluation.model
    head = [model] + [f"{ratio:g} dB" for ratio in results.ratios]
    own = [[family] + [f"{results.si_sdr_gain(model, ratio, family):+.1f} / "
                       f"{results.stoi_gain(model, ratio, family):+.3f}"
                       for ratio in results.ratios] for family in results.families]
    ratios = [ratio for ratio in JUDGED_RATIOS if ratio in results.ratios] or results.ratios
    beside = [[name] + [_family_cell(evaluation, name, family, ratios)
                        for family in results.families]
              for name in _order(evaluation) if name != UNPROCESSED]
    at = ", ".join(f"{ratio:g}" for ratio in ratios)
    return ["By family and ratio: gain in SI-SDR, dB / gain in STOI:", table(head, own),
            f"By family, means over {at} dB: gain in SI-SDR, dB / gain in STOI / noise where "
            "nobody speaks, dB:", table(["", *results.families], beside)]


def _family_cell(evaluation: Evaluation, name: str, family: str, ratios: Sequence[float]) -> str:
    results = evaluation.results
    gain, intelligible, noise = (sum(take(name, ratio, family) for ratio in ratios) / len(ratios)
                                 for take in (results.si_sdr_gain, results.stoi_gain,
                                              results.noise_change))
    return f"{gain:+.1f} / {intelligible:+.3f} / {noise:.1f}"


def _hosts(evaluation: Evaluation) -> list[str]:
    if not evaluation.hosts:
        return []
    rows = [[f"{row.sample_rate} Hz", f"{row.ratio:g} dB", f"{row.gain_db:+.2f}",
             f"{row.gain_at_own_rate_db:+.2f}", f"{row.stoi:.3f}", f"{row.stoi_at_own_rate:.3f}"]
            for row in evaluation.hosts]
    own = f"at {evaluation.sample_rate} Hz"
    return ["The same files on hosts of other rates, and what the model's own rate gives in the "
            "same band:", table(["Host", "Ratio", "SI-SDR gain, dB", own, "STOI", own], rows)]


def _costs(evaluation: Evaluation) -> list[str]:
    rows = [[f"{cost.sample_rate} Hz", str(cost.channels), f"{cost.latency_ms:.1f}",
             f"{cost.core_share:.2%}", f"{cost.real_time_factor:.4f}", f"{cost.block_ms:.2f}",
             f"{cost.worst_block_ms:.2f}"] for cost in evaluation.costs]
    return ["Cost in blocks of 10 ms, through Python, on the machine that made these tables:",
            table(["Host", "Channels", "Latency, ms", "Share of one core", "Real-time factor",
                   "99.9 % of blocks, ms", "Longest block, ms"], rows)]


def _notes(evaluation: Evaluation) -> list[str]:
    lines = []
    if IdealMask.name in evaluation.results.systems:
        lines.append(f"- *{IdealMask.name}*: the best mask from 0 to 1 in this model's framing, "
                     "made by who knows the voice: a bound for any model.")
    delays = ", ".join(f"{name} {delay}" for name, delay in evaluation.delays.items() if delay)
    if delays:
        lines.append(f"- Delays in samples, found on a voice and taken out: {delays}.")
    lines += _NOTES_OF_PEERS if evaluation.peers else []
    lines += [f"- {text}" for text in evaluation.missing]
    return ["\n".join(lines)] if lines else []


_NOTES_OF_PEERS = [
    "- *speexdsp*: 16-bit frames of 20 ms at the files' own rate.",
    "- *webrtc*: splits 48 kHz into three bands, whose filters turn phases and so cost SI-SDR; "
    "clean speech keeps 17 dB at 16 kHz, which is not split.",
    "- *afftdn*: nr=12, and the floor 6 dB above the noise of the first half second.",
]


def _order(evaluation: Evaluation) -> list[str]:
    """The model, its peers, the bound."""
    rest = [name for name in evaluation.results.systems if name not in (UNPROCESSED,
                                                                        evaluation.model)]
    return [UNPROCESSED, evaluation.model, *rest]


def _ratio(decibels: float) -> str:
    return f"over {COPY_DB:g}" if decibels >= COPY_DB else f"{decibels:.1f}"
