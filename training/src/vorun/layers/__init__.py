"""The engine's layers as PyTorch modules. base.py tells how they compute.

Networks are ordinary modules that call these layers and the functions below, or the operators
+, -, * and / on what they give. Tensors are [batch, channels, frames, height].
"""

from .activations import ELU, HardSigmoid, LeakyReLU, ReLU, Sigmoid, Softplus
from .attention import SelfAttention
from .base import Layer, LayerStream, Shape
from .convolution import Conv, DepthwiseConv
from .dense import Dense
from .joins import Arithmetic, Concat, PassOn, add, concat, divide, multiply, subtract
from .norms import BatchNorm, Norm, PreNorm
from .smoothing import SeparableChannelConv
from .transposed import TransposedConv

__all__ = [
    "Arithmetic", "BatchNorm", "Concat", "Conv", "Dense", "DepthwiseConv", "ELU", "HardSigmoid",
    "Layer", "LayerStream", "LeakyReLU", "Norm", "PassOn", "PreNorm", "ReLU", "SelfAttention",
    "SeparableChannelConv", "Shape", "Sigmoid", "Softplus", "TransposedConv", "add", "concat",
    "divide", "multiply", "subtract",
]
