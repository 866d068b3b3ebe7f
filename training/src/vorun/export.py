"""A PyTorch network as a model file."""

from __future__ import annotations

import os
import warnings
from dataclasses import dataclass
from typing import Optional, Union

import numpy as np
from torch import nn

from .audio import AudioFormat
from .graph import Graph, fold_norms, trace
from .model_file import (ElementType, LayerRecord, ModelFile, ModelHeader, TensorBlock, write_model)
from .streaming import measure_lag


@dataclass(frozen=True)
class ExportReport:
    """What an export has written.

    values          weights of all layers
    latency_frames  look-ahead as the engine reports it
    lag_frames      frames by which the output does trail the input
    """

    path: str
    layers: int
    values: int
    file_bytes: int
    latency_frames: int
    lag_frames: int


def export_model(network: nn.Module, path: Union[str, os.PathLike], audio: AudioFormat, *,
                 half: bool = False, fold: bool = True) -> ExportReport:
    """Writes a network that takes and gives the frames of `audio`.

    half  weights of convolutions, dense layers and projections as 16-bit floats
    fold  norms go into the convolutions that feed them

    Raises ValueError for a network whose frames do not fit, whose rate differs at input and output,
    or whose weights are not finite; ModelFileError for numbers that the format cannot hold.
    """
    graph = trace(network, audio.rows, audio.channels).on_processor()
    _require_output(graph, audio)
    lag = measure_lag(graph)
    latency = graph.latency()
    if lag > latency:
        warnings.warn(f"the output trails the input by {lag} frames, but the engine reports "
                      f"{latency}: it does not count the frames that smoothing drops, nor scale "
                      "the look-ahead of an attention behind a stride", stacklevel=2)
    model = build_model(fold_norms(graph) if fold else graph, audio.header(), half=half)
    file_bytes = write_model(path, model)
    return ExportReport(os.fspath(path), len(model.layers), _count_values(model), file_bytes,
                        latency, lag)


def build_model(graph: Graph, header: Optional[ModelHeader] = None, *,
                half: bool = False) -> ModelFile:
    """The model file of any graph; the header is not compared with it."""
    element_type = ElementType.HALF if half else ElementType.SINGLE
    layers = [node.layer.record(node.name, [feeder.name for feeder in node.inputs], element_type)
              for node in graph.nodes]
    for record in layers:
        for name, values in _blocks(record):
            if not np.all(np.isfinite(values.values)):
                raise ValueError(f"{name} of layer '{record.name}' holds values that are not "
                                 "finite")
    return ModelFile(header or ModelHeader(), layers, graph.output.name)


def _require_output(graph: Graph, audio: AudioFormat) -> None:
    height, channels = graph.output.shape
    wanted = audio.masks * audio.channels
    if height != audio.rows or channels != wanted:
        raise ValueError(f"the network gives frames of {height} rows and {channels} channels, but "
                         f"{audio.rows} rows and {wanted} channels ({audio.masks} masks for each "
                         f"of {audio.channels} audio channels) are wanted")
    rate = graph.rate()
    if rate != 1:
        raise ValueError(f"the network gives {rate} frames for each that it takes")


def _blocks(record: LayerRecord) -> list[tuple[str, TensorBlock]]:
    return [(name, value) for name, value in vars(record).items() if isinstance(value, TensorBlock)]


def _count_values(model: ModelFile) -> int:
    return sum(len(values.values) for record in model.layers for _, values in _blocks(record))
