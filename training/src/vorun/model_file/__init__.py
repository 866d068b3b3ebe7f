"""Model files, written and read. Needs NumPy alone.

    model = read_model("gate.vorun")
    model.layers[0].weights.array          # float32, in the shape of the file
    write_model("copy.vorun", model)
"""

from .errors import ModelFileError
from .half import LARGEST_HALF, decode_half, encode_half
from .header import (DEFAULT_BUS_NAMES, FIRST_VERSION, NEWEST_VERSION, OLDER_TAG, TAG, ModelHeader,
                     PipelineMode)
from .model import INPUT_NAME, OUTPUT_NAME, ModelFile, read_model, write_model
from .records import (RECORD_CLASSES, ArithmeticRecord, ConcatRecord, ConvRecord, DenseRecord,
                      ELURecord, HardSigmoidRecord, JoinRecord, LayerRecord, LeakyReLURecord,
                      NormRecord, Operation, PreNormRecord, ReLURecord, SelfAttentionRecord,
                      SeparableChannelConvRecord, SigmoidRecord, SoftplusRecord,
                      TransposedConvRecord)
from .tensors import ElementType, TensorBlock

__all__ = [
    "ArithmeticRecord", "ConcatRecord", "ConvRecord", "DEFAULT_BUS_NAMES", "DenseRecord",
    "ELURecord", "ElementType", "FIRST_VERSION", "HardSigmoidRecord", "INPUT_NAME", "JoinRecord",
    "LARGEST_HALF", "LayerRecord", "LeakyReLURecord", "ModelFile", "ModelFileError", "ModelHeader",
    "NEWEST_VERSION", "NormRecord", "OLDER_TAG", "OUTPUT_NAME", "Operation", "PipelineMode",
    "PreNormRecord", "RECORD_CLASSES", "ReLURecord", "SelfAttentionRecord",
    "SeparableChannelConvRecord", "SigmoidRecord", "SoftplusRecord", "TAG", "TensorBlock",
    "TransposedConvRecord", "decode_half", "encode_half", "read_model", "write_model",
]
