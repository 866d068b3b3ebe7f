"""The 16-bit floats of model files.

One sign bit, five exponent bits, ten mantissa bits. Unlike the common half precision, the largest
exponent is an ordinary one: there are no infinities and no NaNs, and values go up to 131008.
"""

from __future__ import annotations

import numpy as np

from .errors import ModelFileError

LARGEST_HALF = 131008.0
_MANTISSA_BITS = 10
_SMALLEST_EXPONENT = -14
_BIAS = 15


def encode_half(values: np.ndarray) -> np.ndarray:
    """The nearest words, uint16 in the shape of `values`; ties go to the even word.

    Raises ModelFileError for a value that rounds to more than 131008, and for NaN.
    """
    exact = np.asarray(values, dtype=np.float64)
    magnitude = np.abs(exact)
    # frexp gives mantissas from 0.5 to 1, so that its exponent is one above that of the word.
    exponent = np.maximum(np.frexp(magnitude)[1] - 1, _SMALLEST_EXPONENT)
    exponent = np.where(magnitude == 0.0, _SMALLEST_EXPONENT, exponent)
    if not np.all(np.isfinite(exact)):
        raise ModelFileError("16-bit floats hold no infinity and no NaN")
    steps = np.rint(np.ldexp(magnitude, _MANTISSA_BITS - exponent)).astype(np.int64)
    # A mantissa that rounds up to the next power of two carries into the exponent by itself, and
    # one without the leading bit is a subnormal, whose exponent field is 0.
    words = ((exponent + _BIAS - 1).astype(np.int64) << _MANTISSA_BITS) + steps
    if np.any(words > 0x7FFF):
        largest = exact.flat[int(np.argmax(magnitude))]
        raise ModelFileError(f"{largest:g} is beyond 131008, the largest 16-bit float")
    return (words | (np.signbit(exact).astype(np.int64) << 15)).astype(np.uint16)


def decode_half(words: np.ndarray) -> np.ndarray:
    """The float32 values of uint16 words; each is exact. The opposite of encode_half()."""
    word = np.asarray(words, dtype=np.uint16).astype(np.int32)
    mantissa = word & 0x3FF
    exponent = (word >> _MANTISSA_BITS) & 0x1F
    significand = np.where(exponent > 0, mantissa + 0x400, mantissa)
    shift = np.maximum(exponent, 1) - _BIAS - _MANTISSA_BITS
    magnitude = np.ldexp(significand.astype(np.float32), shift)
    return np.where(word & 0x8000, -magnitude, magnitude).astype(np.float32)
