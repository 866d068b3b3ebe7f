"""Draws the shares of time as bars."""

import matplotlib

matplotlib.use("Agg")

from matplotlib import pyplot  # noqa: E402  (the backend comes first)
from matplotlib.patches import Patch  # noqa: E402

import stages  # noqa: E402

# The same numbers give the same file.
matplotlib.rcParams["svg.hashsalt"] = "vorun"
matplotlib.rcParams["font.family"] = "DejaVu Sans"
matplotlib.rcParams["font.size"] = 8.5

# Colours that all kinds of colour vision tell apart, on a ground that is white on dark pages too.
PART_LOOKS = {
    stages.PRODUCTS: ("products", "#0072B2"),
    stages.ACTIVATIONS: ("activations", "#E69F00"),
    stages.ROWS: ("rows copied or cleared", "#56B4E9"),
    stages.BIAS: ("bias", "#D55E00"),
    stages.REST: ("rest", "#BBBBBB"),
}
FAMILY_COLOURS = {
    "framing": "#009E73",
    "coding": "#F0E442",
    "mask shaping": "#CC79A7",
    "mixing": "#661144",
    stages.HOST: "#555555",
}
EDGE = {"edgecolor": "#303030", "linewidth": 0.4}

WIDTH_INCHES = 10.5
ROW_INCHES = 0.235
TITLE_INCHES = 0.35
GAP_INCHES = 0.2
# Of the width: where the bars of each column begin, and how far they go.
BARS_FROM = (0.185, 0.665)
BARS_WIDTH = 0.315


def network_rows(shares):
    """Rows of the parts of each layer, from {(layer, part): share}, the largest first."""
    names = sorted({name for name, _ in shares},
                   key=lambda name: -sum(shares[name, part] for part in stages.PARTS))
    return [(name, [(shares[name, part], PART_LOOKS[part][1]) for part in stages.PARTS])
            for name in names]


def audio_rows(shares, layer_shares):
    """Rows of the stages of the audio path; that of the network by its parts."""
    families = {stage: family for stage, family, _ in stages.AUDIO_STAGES}
    rows = []
    for stage, share in sorted(shares.items(), key=lambda entry: -entry[1]):
        if stage == stages.NETWORK:
            parts = [(sum(value for (_, its), value in layer_shares.items() if its == part), colour)
                     for part, (_, colour) in PART_LOOKS.items()]
        elif stage == stages.REST:
            parts = [(share, PART_LOOKS[stages.REST][1])]
        else:
            parts = [(share, FAMILY_COLOURS[families[stage]])]
        rows.append((stage, parts))
    return rows


def _bars(axes, title, rows):
    widest = max(sum(share for share, _ in parts) for _, parts in rows)
    for place, (_, parts) in enumerate(rows):
        left = 0.0
        for share, colour in parts:
            if share > 0.0:
                axes.barh(place, share, left=left, height=0.74, color=colour, **EDGE)
            left += share
        axes.text(left + 0.012 * widest, place, f"{100 * left:.1f} %", va="center")
    axes.set_title(title, loc="left", fontsize=9.5, fontweight="bold")
    axes.set_yticks(range(len(rows)), [name for name, _ in rows])
    axes.set_ylim(len(rows) - 0.4, -0.6)
    axes.set_xlim(0.0, 1.14 * widest)
    axes.tick_params(axis="y", length=0)
    axes.xaxis.set_visible(False)
    for side in ("top", "right", "bottom"):
        axes.spines[side].set_visible(False)


def _legend(figure, left, top, title, looks):
    handles = [Patch(facecolor=colour, label=name, **EDGE) for name, colour in looks]
    legend = figure.legend(handles=handles, title=title, loc="upper left", frameon=False,
                           bbox_to_anchor=(left, top), handlelength=1.2, handleheight=0.9,
                           alignment="left")
    legend.get_title().set_fontweight("bold")


def draw(path, columns):
    """Two columns of (title, rows), drawn below each other with bars of one height."""
    panel = TITLE_INCHES + GAP_INCHES
    height = max(sum(panel + ROW_INCHES * len(rows) for _, rows in column) for column in columns)
    figure = pyplot.figure(figsize=(WIDTH_INCHES, height), facecolor="white")
    bottoms = []
    for column, left in zip(columns, BARS_FROM):
        top = height
        for title, rows in column:
            inches = ROW_INCHES * len(rows)
            top -= TITLE_INCHES + inches
            axes = figure.add_axes([left, top / height, BARS_WIDTH, inches / height])
            _bars(axes, title, rows)
            top -= GAP_INCHES
        bottoms.append(top / height)
    # The first column is the shorter one.
    _legend(figure, 0.04, bottoms[0], "Inside a network", PART_LOOKS.values())
    _legend(figure, 0.24, bottoms[0], "Around it", FAMILY_COLOURS.items())
    figure.text(0.055, bottoms[0] - 1.5 / height, "Shares of the time on one core; each panel has "
                "a scale of its own.", va="top", style="italic")
    kept = {"Date": None} if str(path).endswith(".svg") else None
    figure.savefig(path, facecolor="white", metadata=kept, dpi=110)
    pyplot.close(figure)
