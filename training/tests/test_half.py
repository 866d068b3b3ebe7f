"""The 16-bit floats of model files, against their formula and NumPy's half precision."""

import numpy as np
import pytest

from vorun.model_file import LARGEST_HALF, ModelFileError, decode_half, encode_half


def value_by_formula(word: int) -> float:
    sign = -1.0 if word & 0x8000 else 1.0
    exponent, mantissa = (word >> 10) & 31, word & 1023
    if exponent == 0:
        return sign * mantissa * 2.0**-24
    return sign * (1 + mantissa / 1024) * 2.0 ** (exponent - 15)


def test_every_word_has_the_value_of_the_formula():
    words = np.arange(65536, dtype=np.uint16)
    expected = np.array([value_by_formula(int(word)) for word in words])
    decoded = decode_half(words)
    assert decoded.dtype == np.float32
    assert np.array_equal(decoded, expected)
    assert np.array_equal(np.signbit(decoded), np.signbit(expected))


def test_every_word_comes_back():
    words = np.arange(65536, dtype=np.uint16)
    assert np.array_equal(encode_half(decode_half(words)), words)


def test_rounds_as_common_half_precision_where_both_hold_the_value():
    random = np.random.default_rng(1)
    values = np.ldexp(random.uniform(-1, 1, 20000), random.integers(-30, 16, 20000))
    values = values.astype(np.float32)
    assert np.array_equal(encode_half(values), values.astype(np.float16).view(np.uint16))


def test_ties_go_to_the_even_word():
    assert encode_half([1 + 1 / 2048]).item() == 0x3C00
    assert encode_half([1 + 3 / 2048]).item() == 0x3C02
    assert encode_half([2.0**-25]).item() == 0
    assert encode_half([3 * 2.0**-25]).item() == 2


def test_the_largest_exponent_is_an_ordinary_one():
    assert encode_half([65536.0]).item() == 0x7C00
    assert encode_half([65520.0]).item() == 0x7C00
    assert encode_half([-LARGEST_HALF]).item() == 0xFFFF
    assert encode_half([131039.0]).item() == 0x7FFF


@pytest.mark.parametrize("value", [131040.0, -1e6, np.inf, np.nan])
def test_what_does_not_fit_is_refused(value):
    with pytest.raises(ModelFileError):
        encode_half([0.0, value])


def test_the_error_tells_the_largest_value():
    with pytest.raises(ModelFileError, match="-2e\\+06 is beyond 131008"):
        encode_half([1.0, -2e6, 1e6])


def test_shape_and_signed_zero_stay():
    words = encode_half(np.array([[0.0, -0.0]]))
    assert words.shape == (1, 2)
    assert words.tolist() == [[0, 0x8000]]
