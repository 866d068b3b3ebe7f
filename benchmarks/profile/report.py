#!/usr/bin/env python3
"""Turns what scripts/profile measured into the picture and the tables of docs/performance.md.

Usage: report.py DATA DOCUMENT PICTURE

DATA is the folder with the measurements. Each table of DOCUMENT stands between the lines
`<!-- NAME: ... -->` and `<!-- end of NAME -->` and is replaced.
"""

import json
import re
import sys
from collections import Counter
from pathlib import Path

import picture
import stages
import tables

FEWEST_SAMPLES = 2000
# More than that without a stage, and the functions have other names than stages.py knows.
MOST_REST = 0.05
# Of samples without a call of the engine, over those with one: what the driver does by itself.
MOST_OUTSIDE = 0.1


class Run:
    """One profiled thing: what the driver printed, and where its samples fell."""

    def __init__(self, data, name):
        self.times = json.loads((data / f"{name}.shipped.json").read_text())
        self.graph = stages.Graph((data / f"{name}.dot").read_text())
        self.samples, outside = stages.read_samples(data / f"{name}.stacks")
        count = sum(self.samples.values())
        if count < FEWEST_SAMPLES:
            sys.exit(f"report: only {count} samples of {name}, too few to tell shares")
        if outside > MOST_OUTSIDE * count:
            sys.exit(f"report: {outside} samples of {name} show no call of the engine beside "
                     f"{count} that do: are their stacks cut short?")
        framed = json.loads((data / f"{name}.framed.json").read_text())
        cost = framed["median_us"] / self.times["median_us"] - 1
        print(f"{name}: {count} samples and {outside} outside the engine; "
              f"frame pointers cost {100 * cost:+.1f} %")

    def layer_shares(self):
        """{(layer, part): share} of a network driven by itself."""
        layers = self.times["layers"]
        shares = stages.shares_of(self.samples,
                                  lambda sample: stages.network_stage(sample, self.graph))
        return Counter({(tables.layer_title(name, layers), part): share
                        for (name, part), share in shares.items()})

    def stage_shares(self):
        """{stage: share} of the audio path."""
        return stages.shares_of(self.samples, stages.audio_stage)

    def inner_shares(self):
        """{(block, part): share} of the audio path's network, as shares of the whole path."""
        whole = sum(self.samples.values())
        shares = Counter()
        for sample, count in self.samples.items():
            if stages.audio_stage(sample) == stages.NETWORK:
                name, part = stages.network_stage(sample, self.graph)
                block = "input and output" if name == stages.HOST else stages.block_of(name)
                shares[block, part] += count / whole
        return shares

    def hop_us(self):
        return self.times["median_us"] * tables.HOP_US / self.times["played_us"]


def warn_of_rest(name, share):
    if share > MOST_REST:
        print(f"{name}: {100 * share:.0f} % of the time has no stage; does "
              "benchmarks/profile/stages.py know the functions?", file=sys.stderr)


def benchmarks_of(path):
    rows = json.loads(path.read_text())["benchmarks"]
    return {row["name"]: row for row in rows if not row.get("error_occurred")}


def machine_line():
    found = re.search(r"^model name\s*:\s*(.*)$", Path("/proc/cpuinfo").read_text(), re.MULTILINE)
    return f"Measured on one core, pinned: {found[1] if found else 'an unnamed processor'}."


def draw(runs, image):
    columns = [[(f"Network {name}: {runs[name].times['median_us']:.0f} µs a frame",
                 picture.network_rows(runs[name].layer_shares())) for name in "AB"]]
    speech = runs["speech"]
    inner = speech.inner_shares()
    columns.append([(f"The audio path at 48 kHz: {speech.hop_us():.1f} µs a hop",
                     picture.audio_rows(speech.stage_shares(), inner)),
                    ("The network in it, by block", picture.network_rows(inner))])
    picture.draw(image, columns)


def replace_tables(document, contents):
    text = document.read_text(encoding="utf-8")
    for name, content in contents.items():
        place = re.compile(rf"(<!-- {name}: [^\n]*-->\n).*?(<!-- end of {name} -->)", re.DOTALL)
        text, count = place.subn(lambda match: f"{match[1]}\n{content}\n\n{match[2]}", text)
        if count != 1:
            sys.exit(f"report: {document} has {count} places for '{name}'")
    document.write_text(text, encoding="utf-8")


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    data, document, image = (Path(argument) for argument in sys.argv[1:])
    runs = {name: Run(data, name) for name in ("A", "B", "speech")}
    speech = runs["speech"]
    limits, chain = benchmarks_of(data / "limits.json"), benchmarks_of(data / "chain.json")
    peak = tables.peak_flops(limits, tables.measured_sets(limits)[-1][0])
    networks = {name: (runs[name].layer_shares(), runs[name].times) for name in "AB"}

    for name, (shares, _) in networks.items():
        warn_of_rest(f"network {name}", tables.summed(shares, 1)[stages.REST])
    warn_of_rest("audio path", speech.stage_shares()[stages.REST])
    draw(runs, image)
    replace_tables(document, {
        "machine": machine_line(),
        "network A": tables.layers_table(*networks["A"], peak),
        "network B": tables.layers_table(*networks["B"], peak),
        "losses": tables.losses_table(networks, peak),
        "audio path": tables.audio_table(speech.stage_shares(), speech.hop_us()),
        "blocks of the model": tables.model_table(speech.inner_shares(), speech.hop_us()),
        "multiply-adds": tables.multiply_adds_table(limits, chain),
        "bandwidths": tables.bandwidths_table(limits),
        "calls": tables.calls_table({
            "A, a frame": runs["A"].times,
            "B, a frame": runs["B"].times,
            "audio path, a hop": json.loads((data / "hop.shipped.json").read_text()),
        }),
    })
    print(f"Wrote {document} and {image}")


if __name__ == "__main__":
    main()
