"""Writes what was measured as tables in Markdown."""

import re
from collections import Counter

import stages

# Names of the benchmarks' instruction sets, the index of the engine's variant, and ours.
SETS = [("sse2", 0, "SSE2"), ("avx", 3, "AVX"), ("avx2", 4, "AVX2 and FMA"),
        ("avx512", 5, "AVX-512")]
HOP_SAMPLES = 256
HOP_US = HOP_SAMPLES / 48000 * 1e6
PART_HEADS = ["Products", "Activations", "Rows", "Bias", "Rest"]


def table(head, rows):
    first, *others = ["| " + " | ".join(cells) + " |" for cells in [head, *rows]]
    return "\n".join([first, "|" + "---|" * len(head), *others])


def percent(share):
    return f"{100 * share:.1f} %" if share >= 0.0005 else "–"


def parts_of(shares, name):
    return [percent(shares[name, part]) for part in stages.PARTS]


def summed(shares, place):
    """The shares of {(layer, part): share} by layer (place 0) or by part (place 1)."""
    sums = Counter()
    for key, share in shares.items():
        sums[key[place]] += share
    return sums


def layer_title(name, layers):
    """'conv 4' of a reference network with its channels."""
    match = re.fullmatch(r"conv (\d+)", name)
    if not match:
        return name
    layer = layers[int(match[1])]
    kind = "transposed " if layer["transposed"] else ""
    return f"{name}, {kind}{layer['in']}→{layer['out']}"


def flops_of(layers):
    return {layer_title(f"conv {index}", layers): layer["flops"]
            for index, layer in enumerate(layers)}


def layers_table(shares, times, peak):
    """The layers of a reference network, the slowest first."""
    median, flops = times["median_us"], flops_of(times["layers"])

    def row(name, share, operations, parts):
        least = operations / peak * 1e6
        of_peak = f"{least / (share * median):.2f}" if operations else ""
        return [name, percent(share), f"{share * median:.1f}", *parts, of_peak,
                f"{share * median - least:.1f}"]

    rows = [row(name, share, flops.get(name, 0.0), parts_of(shares, name))
            for name, share in summed(shares, 0).most_common()]
    parts = summed(shares, 1)
    rows.append(row("**all**", 1.0, sum(flops.values()),
                    [percent(parts[part]) for part in stages.PARTS]))
    return table(["Layer", "Time", "µs", *PART_HEADS, "`of_peak`", "Above peak, µs"], rows)


def losses_table(networks, peak):
    """Where the time above the peak goes, the dearest first. `networks`: {name: (shares, times)}"""
    rows = []
    for network, (shares, times) in networks.items():
        median, flops = times["median_us"], flops_of(times["layers"])
        losses = Counter()
        for (name, part), share in shares.items():
            if part == stages.PRODUCTS:
                losses[f"products of {name}"] = share * median - flops[name] / peak * 1e6
            else:
                losses["calls and addresses" if part == stages.REST else part] += share * median
        above = median - sum(flops.values()) / peak * 1e6
        told = ", ".join(f"{name} {loss:.1f}" for name, loss in losses.most_common(6) if loss > 0.5)
        rows.append([network, f"{median:.1f}", f"{median - above:.1f}", f"{above:.1f}", told])
    return table(["", "A frame, µs", "At the peak, µs", "Between, µs", "Of which, µs"], rows)


def audio_table(shares, hop_us):
    families = Counter()
    for stage, family, _ in stages.AUDIO_STAGES:
        families[family] += shares[stage]
    rows = []
    for family, share in families.most_common():
        inside = [f"{stage} {percent(shares[stage])}" for stage, its, _ in stages.AUDIO_STAGES
                  if its == family and stage != family]
        rows.append([family, percent(share), f"{share * hop_us:.1f}", ", ".join(inside)])
    rows.append(["**all**", "100.0 %", f"{hop_us:.1f}", ""])
    return table(["Stage", "Time", "µs a hop", "Of which"], rows)


def model_table(shares, hop_us):
    rows = [[name, percent(share), f"{share * hop_us:.2f}", *parts_of(shares, name)]
            for name, share in summed(shares, 0).most_common()]
    return table(["Block", "Time", "µs a hop", *PART_HEADS], rows)


def measured_sets(limits):
    return [entry for entry in SETS if f"limits/multiplyAdds/{entry[0]}" in limits]


def peak_flops(limits, name):
    return limits[f"limits/multiplyAdds/{name}"]["peak_FLOPS"]


def multiply_adds_table(limits, chain):
    rows = []
    for name, index, title in measured_sets(limits):
        row = [title, f"{peak_flops(limits, name) / 1e9:.0f}"]
        for network in "AB":
            reached = next((found for key, found in chain.items()
                            if key.startswith(f"chain/{network}/index:{index}")), None)
            row += [f"{reached['GFLOP/s']:.0f}", f"{reached['of_peak']:.2f}"] if reached else \
                ["", ""]
        rows.append(row)
    return table(["Set", "Peak, GFLOP/s", "A, GFLOP/s", "of peak", "B, GFLOP/s", "of peak"], rows)


def bandwidths_table(limits):
    sizes = sorted({int(key.rsplit(":", 1)[1]) for key in limits if "/KiB:" in key})
    rows = [[title, *(f"{limits[f'limits/read/{name}/KiB:{size}']['bytes_per_second'] / 1e9:.0f}"
                      for size in sizes)]
            for name, _, title in measured_sets(limits)]
    return table(["Set", *(f"{size} KiB" for size in sizes)], rows)


def calls_table(calls):
    """`calls`: {title: times}"""
    rows = [[title, f"{times['median_us']:.1f}", f"{times['p999_us']:.1f}",
             f"{times['worst_us']:.0f}", str(times["calls"]),
             f"{100 * times['median_us'] / HOP_US:.2f} %",
             f"{100 * times['worst_us'] / HOP_US:.1f} %"]
            for title, times in calls.items()]
    return table(["Call", "Median, µs", "99.9 %, µs", "Worst, µs", "Calls", "Median of a hop",
                  "Worst of a hop"], rows)
