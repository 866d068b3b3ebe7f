"""Model files with a record of every class, for tests."""

from __future__ import annotations

import numpy as np

from vorun.model_file import (ArithmeticRecord, ConcatRecord, ConvRecord, DenseRecord, ELURecord,
                              ElementType, HardSigmoidRecord, LayerRecord, LeakyReLURecord,
                              ModelFile, ModelHeader, NormRecord, PreNormRecord, ReLURecord,
                              SelfAttentionRecord, SeparableChannelConvRecord, SigmoidRecord,
                              SoftplusRecord, TensorBlock, TransposedConvRecord)


def every_record(version: int) -> list[LayerRecord]:
    """One record of each class, as far as `version` holds it; frames are [4, 1] throughout."""
    random = np.random.default_rng(version)

    def block(*shape: int) -> TensorBlock:
        half = version >= 4105 and random.random() < 0.5
        values = random.integers(-64, 64, shape) / 32
        return TensorBlock.of(values, ElementType.HALF if half else ElementType.SINGLE)

    windowed = version >= 4103
    return [
        ConvRecord("conv", ["input"], block(3, 3, 1, 1), block(1), 1, 1, 2, 1, 0),
        TransposedConvRecord("transposed", ["conv"], block(2, 1, 1, 1), block(1), 1),
        ReLURecord("relu", ["transposed"]),
        ELURecord("elu", ["relu"]),
        SigmoidRecord("sigmoid", ["elu"]),
        NormRecord("norm", ["sigmoid"], block(1), block(1)),
        LeakyReLURecord("leaky", ["norm"], 0.25),
        DenseRecord("dense", ["leaky"], block(4, 4, 1), block(4, 1)),
        SeparableChannelConvRecord("smooth", ["dense"], block(1), block(3)),
        PreNormRecord("level", ["smooth"], block(5)),
        SoftplusRecord("softplus", ["level"]),
        ArithmeticRecord("sum", ["softplus", "level"], 2),
        SelfAttentionRecord("attention", ["sum"], block(1, 1), block(4, 1), 0,
                            block(3, 1) if windowed else None),
        HardSigmoidRecord("hard", ["attention"]),
        ConcatRecord("join", ["hard", "conv"]),
    ]


def sample_model(version: int) -> ModelFile:
    header = ModelHeader(version=version, model_id=-7, sample_rate=44100.5,
                         magnitude_input_bins=4, fft_size=6, window_size=6, hop_size=3)
    if version >= 4101:
        header.window_size = 5
    if version >= 4102:
        header.mask_count = 2
        header.bus_names = ["voice", "", "r\u00e9sidu"]
    return ModelFile(header, every_record(version), "join")


def place_of(data: bytes, text: bytes) -> int:
    """Where `text` begins, which must be once."""
    assert data.count(text) == 1
    return data.index(text)
