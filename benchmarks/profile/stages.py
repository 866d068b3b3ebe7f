"""Tells for each sample of a profile in which stage of the engine it fell.

A sample is the list of functions that were being called, the innermost first. It belongs to the
innermost one that has a stage here; helpers and vector operations, which many stages share, have
none of their own.
"""

import re
from collections import Counter

# What a frame of a network is spent on inside its layers.
PRODUCTS = "products"
ACTIVATIONS = "activations"
ROWS = "rows"
BIAS = "bias"
REST = "rest"
PARTS = [PRODUCTS, ACTIVATIONS, ROWS, BIAS, REST]

HOST = "host interface"
NETWORK = "network"

PART_PATTERNS = [
    (PRODUCTS, r"::[a-z]\w*(?:Products|Tile)\w*\b|::ippsDotProd|::ippsAddProduct"),
    (ACTIVATIONS, r"::activate[A-Z]|::ippsThreshold"),
    (BIAS, r"::repeatRow|::addRowToBins|::SeedRows|::AddBias"),
    (ROWS, r"::ippsCopy|::ippsMove|::ippsZero|::ippsSet|::StoreFrame|::EmptyReleasedRows"
           r"|::CopyChannels|::repeatValues|::spreadRows|::transpose|::copyEvery"),
]

# The stages of the audio path, each with the family that gives it its colour.
AUDIO_STAGES = [
    ("coding to a tensor", "coding", r"::spectrumToTensor|::codeChannel"),
    ("decoding to a mask", "coding", r"::tensorToSpectra|::decodeChannel|::fillTail"),
    ("mask shaping", "mask shaping", r"::reshape(?:Mask|Row|Block)|::(?:raise|lower)SmallValues"
                                     r"|::bend|::areTheirMagnitudes"),
    ("mixing", "mixing", r"::mix(?:Frame|Masks|Spectra)|::BlockSums|::masked\b|::channelGroup"
                         r"|::enqueueOutputs|::(?:match|distinct|average)Channels|::takeBuses"
                         r"|::readLevels|::rowsOf"),
    ("transform forward", "framing", r"::RealFft::forward"),
    ("transform back", "framing", r"::RealFft::inverse"),
    ("windows", "framing", r"::analyseNextFrame|::synthesise|::shapeFrame|::peekWindowed"),
    ("overlap-add", "framing", r"::sumOverlap|::overlapPart|::takeFinishedHops"),
    ("sample queues", "framing", r"::SampleQueue::|::takeFrame"),
    (NETWORK, NETWORK, r"Layer<float>::"),
    (REST, REST, r"::processSpectrum|::evaluate|::BaseSpectralProcessor::process"),
    (HOST, HOST, r"::fromInterleaved|::toInterleaved|\bvorun(?:Add|Get)"),
]

ENTRY = re.compile(r"^vorun(?:Add|Get)[A-Z]")
LAYER_CALL = re.compile(r"^vorun::(\w*Layer)<float>::AddTensor")
QUEUED = "BaseQueuedLayer"
ACTIVATION_LAYERS = {"ReLULayer", "LeakyReLULayer", "ELULayer", "SigmoidLayer",
                     "HardSigmoidLayer", "SoftplusLayer"}

_PARTS = [(part, re.compile(pattern)) for part, pattern in PART_PATTERNS]
_STAGES = [(stage, re.compile(pattern)) for stage, _, pattern in AUDIO_STAGES]


def read_samples(path):
    """The samples inside the engine, each as often as it was met, and how many lay outside."""
    samples = Counter()
    outside = 0
    stack = []
    with open(path, encoding="utf-8", errors="replace") as lines:
        for line in [*lines, "\n"]:
            if line.strip():
                stack.append(line.strip().partition(" ")[2])
            elif stack:
                entry = next((i for i, name in enumerate(stack) if ENTRY.match(name)), None)
                if entry is None:
                    outside += 1
                else:
                    samples[tuple(stack[:entry + 1])] += 1
                stack = []
    return samples, outside


class Graph:
    """The layers of a model, as `vorun-inspect --dot` prints them."""

    NODE = re.compile(r'^\s*(\w+) \[label="([^"]*)"')
    EDGE = re.compile(r"^\s*(\w+) -> (\w+)\b")

    def __init__(self, text):
        self.names, self.kinds, self.consumers = {}, {}, {}
        for line in text.splitlines():
            node, edge = self.NODE.match(line), self.EDGE.match(line)
            if node:
                words = node[2].split("\\n")
                self.names[node[1]] = words[0]
                self.kinds[node[1]] = words[1] if len(words) > 1 else words[0]
                self.consumers.setdefault(node[1], [])
            elif edge:
                self.consumers[edge[1]].append(edge[2])
        self.kinds["input"], self.kinds["output"] = "InputLayer", "OutputLayer"
        self.feeders = {to: layer for layer, many in self.consumers.items() for to in many}

    def layer_of(self, calls):
        """The layer that the last of these calls of AddTensor() is in, by the path to it."""
        layer = "input"
        for kind in calls[1:]:
            layer = self._nearest(layer, kind)
            if layer is None:
                return None
        return layer

    def _nearest(self, layer, kind):
        """The next layer of that class; one between may have left no call of its own."""
        front, seen = list(self.consumers[layer]), set()
        while front:
            candidate = front.pop(0)
            queued = kind == QUEUED and self.kinds[candidate] in ("ConcatLayer", "ArithmeticLayer")
            if queued or self.kinds[candidate] == kind:
                return candidate
            if candidate not in seen:
                seen.add(candidate)
                front += self.consumers[candidate]
        return None

    def row_of(self, layer):
        """The name under which a layer is told: an activation goes with the layer that feeds it."""
        if self.kinds[layer] in ACTIVATION_LAYERS and layer in self.feeders:
            return self.names[self.feeders[layer]]
        return HOST if layer in ("input", "output") else self.names[layer]


def block_of(layer):
    """Of a model from PyTorch, whose layers are named by their place in a tree of modules:
    'past.0.mix.0' belongs to 'past.0', 'down1.0' to 'down1', and 'arithmetic#3' to all of its kind.
    """
    modules = layer.partition("#")[0].split(".")
    return ".".join(modules[:2] if len(modules) > 2 else modules[:1])


def network_stage(sample, graph):
    """The row and the part of it to which a sample inside a network belongs."""
    calls, inner = [], None
    for index, name in enumerate(sample):
        match = LAYER_CALL.match(name)
        if match:
            inner = index if inner is None else inner
            calls.insert(0, match[1])
    layer = graph.layer_of(calls) if calls else None
    if layer is None:
        return HOST, REST
    if graph.kinds[layer] in ACTIVATION_LAYERS:
        return graph.row_of(layer), ACTIVATIONS
    for name in sample[:inner]:
        for part, pattern in _PARTS:
            if pattern.search(name):
                return graph.row_of(layer), part
    return graph.row_of(layer), REST


def audio_stage(sample):
    for name in sample:
        for stage, pattern in _STAGES:
            if pattern.search(name):
                return stage
    return REST


def shares_of(samples, stage):
    """The share of each stage among all samples; `stage` tells the stage of one."""
    total = sum(samples.values())
    shares = Counter()
    for sample, count in samples.items():
        shares[stage(sample)] += count / total
    return shares
