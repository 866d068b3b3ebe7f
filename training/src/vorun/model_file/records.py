"""The layers of a model file, one class for each record.

Each has a `name`, the names of the layers that feed it in `inputs`, and its own values. Tensors may
be given as arrays, or None for one that is left out.
"""

from __future__ import annotations

from dataclasses import dataclass, field
from enum import IntEnum
from typing import ClassVar

from .fields import Field
from .tensors import TensorBlock, as_block, empty_block

FIRST_VERSION_WITH_ATTENTION_WINDOW = 4103
FIRST_VERSION_WITH_OUT_CHANNELS = 4104

_CONVOLUTION_FIELDS = tuple(
    Field(name, "int8")
    for name in ("time_stride", "height_stride", "time_dilation", "reserved_parameter",
                 "lookahead"))


class Operation(IntEnum):
    """What an arithmetic record does; any other number passes its first input on."""

    MULTIPLY = 0
    DIVIDE = 1
    ADD = 2
    SUBTRACT = 3


@dataclass
class LayerRecord:
    """Base of all records. `inputs` has one name, but for those of class JoinRecord."""

    name: str
    inputs: list[str]

    TYPE: ClassVar[int]
    FIELDS: ClassVar[tuple[Field, ...]] = ()

    def __post_init__(self) -> None:
        for item in self.FIELDS:
            if item.kind == "tensor":
                setattr(self, item.name, as_block(getattr(self, item.name)))


class JoinRecord(LayerRecord):
    """A record of several inputs, whose frames meet in the order in which they arrive."""


@dataclass
class ConvRecord(LayerRecord):
    """weights [kernel frames, kernel height, input channels, output channels]; bias [output].

    One input channel with several in the frames makes a depthwise convolution.
    """

    weights: TensorBlock
    bias: TensorBlock = field(default_factory=empty_block)
    time_stride: int = 1
    height_stride: int = 1
    time_dilation: int = 1
    reserved_parameter: int = 1
    lookahead: int = 0

    TYPE = 2
    FIELDS = (Field("weights", "tensor"), Field("bias", "tensor")) + _CONVOLUTION_FIELDS


@dataclass
class TransposedConvRecord(LayerRecord):
    """weights [kernel frames, kernel height, output channels, input channels]; bias [output].

    One output channel in the kernel with several in out_channels makes it depthwise.
    """

    weights: TensorBlock
    bias: TensorBlock
    out_channels: int
    time_stride: int = 1
    height_stride: int = 1
    time_dilation: int = 1
    reserved_parameter: int = 1
    lookahead: int = 0

    TYPE = 3
    FIELDS = (Field("weights", "tensor"), Field("bias", "tensor"),
              Field("out_channels", "int16", FIRST_VERSION_WITH_OUT_CHANNELS,
                    lambda values: values["weights"].dimension(2))) + _CONVOLUTION_FIELDS


@dataclass
class ReLURecord(LayerRecord):
    TYPE = 4


@dataclass
class ELURecord(LayerRecord):
    TYPE = 5


@dataclass
class SigmoidRecord(LayerRecord):
    TYPE = 6


@dataclass
class NormRecord(LayerRecord):
    """offset and scale [channels]: output = input * scale + offset."""

    offset: TensorBlock
    scale: TensorBlock

    TYPE = 7
    FIELDS = (Field("offset", "tensor"), Field("scale", "tensor"))


@dataclass
class ConcatRecord(JoinRecord):
    TYPE = 9


@dataclass
class LeakyReLURecord(LayerRecord):
    slope: float

    TYPE = 12
    FIELDS = (Field("slope", "single"),)


@dataclass
class DenseRecord(LayerRecord):
    """weights [output bins, input bins, channels]; bias [bins, channels]."""

    weights: TensorBlock
    bias: TensorBlock = field(default_factory=empty_block)

    TYPE = 14
    FIELDS = (Field("weights", "tensor"), Field("bias", "tensor"))


@dataclass
class SeparableChannelConvRecord(LayerRecord):
    """time_kernel: the last tap weighs the current frame, tap k before it the frame k + 1 back.

    height_kernel: centred on tap (taps - 1) // 2; tap j weighs the bin j - centre below.
    """

    time_kernel: TensorBlock
    height_kernel: TensorBlock

    TYPE = 15
    FIELDS = (Field("time_kernel", "tensor"), Field("height_kernel", "tensor"))


@dataclass
class PreNormRecord(LayerRecord):
    """weights [frames]: the first weighs the current level, the others oldest first."""

    weights: TensorBlock

    TYPE = 16
    FIELDS = (Field("weights", "tensor"),)


@dataclass
class SoftplusRecord(LayerRecord):
    TYPE = 17


@dataclass
class ArithmeticRecord(JoinRecord):
    operation: int

    TYPE = 18
    FIELDS = (Field("operation", "int8"),)


@dataclass
class SelfAttentionRecord(LayerRecord):
    """projection [input, output channels]; projection_bias [height, channels].

    attention_weights [frames, channels], oldest frame first, or left out for the current alone.
    """

    projection: TensorBlock
    projection_bias: TensorBlock
    lookahead: int = 0
    attention_weights: TensorBlock = field(default_factory=empty_block)

    TYPE = 19
    FIELDS = (Field("projection", "tensor"), Field("projection_bias", "tensor"),
              Field("lookahead", "int8", FIRST_VERSION_WITH_ATTENTION_WINDOW, lambda _: 0),
              Field("attention_weights", "tensor", FIRST_VERSION_WITH_ATTENTION_WINDOW,
                    lambda _: empty_block()))


@dataclass
class HardSigmoidRecord(LayerRecord):
    TYPE = 20


_CLASSES: list[type[LayerRecord]] = [
    ConvRecord, TransposedConvRecord, ReLURecord, ELURecord, SigmoidRecord, NormRecord,
    ConcatRecord, LeakyReLURecord, DenseRecord, SeparableChannelConvRecord, PreNormRecord,
    SoftplusRecord, ArithmeticRecord, SelfAttentionRecord, HardSigmoidRecord]
RECORD_CLASSES = {record.TYPE: record for record in _CLASSES}
