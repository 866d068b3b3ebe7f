"""What the format cannot hold, and what is no model file, is told with a name and a place."""

import struct

import numpy as np
import pytest

from model_samples import place_of, sample_model
from vorun.model_file import (ArithmeticRecord, ConvRecord, ElementType, LeakyReLURecord,
                              ModelFile, ModelFileError, ModelHeader, NormRecord, PreNormRecord,
                              ReLURecord, SelfAttentionRecord, TensorBlock, TransposedConvRecord)
from vorun.model_file import bytestream

ONE = np.ones((1, 1, 1, 1))


def refused(match: str, *layers, output: str = "input", **header):
    with pytest.raises(ModelFileError, match=match) as failure:
        ModelFile(ModelHeader(**header), list(layers), output).to_bytes()
    return failure.value


@pytest.mark.parametrize("value", [-129, 128])
def test_an_integer_of_eight_bits_has_its_range(value):
    refused(f"lookahead of layer 'c' is {value}, but 8 bits hold -128 to 127",
            ConvRecord("c", ["input"], ONE, lookahead=value))


@pytest.mark.parametrize("value", [-128, 127])
def test_the_ends_of_eight_bits_fit(value):
    model = ModelFile(layers=[ConvRecord("c", ["input"], ONE, lookahead=value)])
    assert ModelFile.from_bytes(model.to_bytes()) == model


def test_header_numbers_have_their_ranges():
    refused("hop_size is 32768, but 16 bits hold -32768 to 32767", hop_size=32768)
    refused("mask_count is 128, but 8 bits", mask_count=128, bus_names=[""] * 129)
    refused("model_id is -32769", model_id=-32769)
    refused("fft_size is 1.5, which is no whole number", fft_size=1.5)


def test_out_channels_have_sixteen_bits():
    refused("out_channels of layer 't' is 40000",
            TransposedConvRecord("t", ["input"], ONE, None, 40000))


def test_dimensions_have_their_range():
    block = TensorBlock((2**31, 0), np.zeros(0, np.float32))
    refused("dimension of weights of layer 'p' is 2147483648", PreNormRecord("p", ["input"], block))
    block = TensorBlock((1,) * 128, np.zeros(1, np.float32))
    refused("weights of layer 'p' has 128 dimensions", PreNormRecord("p", ["input"], block))


def test_values_must_fill_the_shape():
    block = TensorBlock((2, 2), np.zeros(3, np.float32))
    refused("shape \\[2, 2\\] holds 4 values, not 3", PreNormRecord("p", ["input"], block))


def test_a_scalar_is_no_tensor():
    with pytest.raises(ModelFileError, match="no dimensions"):
        NormRecord("n", ["input"], 1.0, [1.0])


def test_strings_have_a_longest_length(monkeypatch):
    monkeypatch.setattr(bytestream, "LONGEST_STRING", 9)
    with pytest.raises(ModelFileError, match="layer name has 10 bytes, but at most 9 fit"):
        bytestream.ByteWriter().string("0123456789", "layer name")


def test_halves_beyond_their_range_are_told():
    block = TensorBlock.of(np.full((1,), 2e5), ElementType.HALF)
    refused("weights of layer 'p': 200000 is beyond 131008", PreNormRecord("p", ["input"], block))


def test_a_slope_beyond_a_single_is_told():
    refused("slope of layer 'l' is 1e\\+300", LeakyReLURecord("l", ["input"], 1e300))


def test_two_layers_of_one_name_are_refused():
    refused("two layers are named 'a'", ReLURecord("a", ["input"]), ReLURecord("a", ["a"]))
    refused("two layers are named 'input'", ReLURecord("input", ["input"]),
            ReLURecord("input", ["input"]))


def test_the_name_of_the_output_is_taken():
    refused("layer 'output' has the name", ReLURecord("output", ["input"]))


def test_feeders_must_stand_before():
    refused("input of layer 'a' is 'b', which no layer before it is named",
            ReLURecord("a", ["b"]), ReLURecord("b", ["input"]))
    refused("output_source is 'x'", output="x")


def test_the_number_of_inputs_is_that_of_the_class():
    refused("layer 'a' takes one input, not 2", ReLURecord("a", ["input", "input"]))
    many = ["input"] * 32768
    refused("number of inputs of layer 'm' is 32768", ArithmeticRecord("m", many, 2))


@pytest.mark.parametrize("version, match, record", [
    (4103, "out_channels of layer 't' needs version 4104, not 4103",
     TransposedConvRecord("t", ["input"], np.ones((1, 1, 1, 3)), None, 3)),
    (4102, "lookahead of layer 's' needs version 4103",
     SelfAttentionRecord("s", ["input"], [[1.0]], [1.0], 1)),
    (4102, "attention_weights of layer 's' needs version 4103",
     SelfAttentionRecord("s", ["input"], [[1.0]], [1.0], 0, [[1.0]])),
    (4104, "version 4104 holds 32-bit floats only",
     PreNormRecord("p", ["input"], TensorBlock.of([1.0], ElementType.HALF))),
])
def test_older_versions_do_not_hold_newer_fields(version, match, record):
    refused(match, record, version=version)


def test_older_headers_do_not_hold_newer_fields():
    refused("version 4099 is below 4100", version=4099)
    refused("no window_size other than fft_size", version=4100, window_size=384)
    refused("one mask", version=4101, mask_count=2, bus_names=list("abc"))


def test_header_fields_must_agree():
    refused("tag is 'x'", tag="x")
    refused("takes input_format 2", complex_input_bins=3)
    refused("takes 2 skipped values, not 1", output_format=2)
    refused("mask_count 2 takes 3 bus names, not 2", mask_count=2)


def test_every_cut_of_a_file_is_told_with_the_byte():
    data = sample_model(4105).to_bytes()
    for length in range(len(data)):
        with pytest.raises(ModelFileError) as failure:
            ModelFile.from_bytes(data[:length])
        assert 0 <= failure.value.byte <= length
        assert "file ends inside" in str(failure.value)


def test_a_cut_names_what_it_cut():
    data = sample_model(4105).to_bytes()
    place = place_of(data, b"softplus\x11\0") - 4
    with pytest.raises(ModelFileError, match=f"file ends inside layer name.* 3 left.*byte {place}"):
        ModelFile.from_bytes(data[:place + 3])


def test_no_byte_of_a_file_makes_reading_fail_otherwise():
    data = sample_model(4105).to_bytes()
    for place in range(len(data)):
        for value in (0x00, 0x7F, 0x80, 0xFF):
            damaged = data[:place] + bytes([value]) + data[place + 1:]
            try:
                ModelFile.from_bytes(damaged)
            except ModelFileError as error:
                assert error.byte is not None


def test_an_unknown_type_is_told_with_the_byte():
    for kind in (0, 1, 8, 10, 11, 13, 21, -1):
        data = ModelFile(layers=[ReLURecord("r", ["input"])], output_source="r").to_bytes()
        place = place_of(data, b"\1\0\0\0r\4\0") + 5
        data = data[:place] + struct.pack("<h", kind) + data[place + 2:]
        with pytest.raises(ModelFileError, match=f"type {kind} of layer 'r' is unknown") as failure:
            ModelFile.from_bytes(data)
        assert failure.value.byte == place


def test_what_is_no_model_file_is_told():
    with pytest.raises(ModelFileError, match="not a model file: the tag is 'RIFF'"):
        ModelFile.from_bytes(b"\4\0\0\0RIFF" + bytes(40))
    with pytest.raises(ModelFileError, match="tag has a length of -1"):
        ModelFile.from_bytes(b"\xff" * 40)
    data = bytearray(ModelFile().to_bytes())
    data[15:19] = struct.pack("<i", 4099)
    with pytest.raises(ModelFileError, match="version 4099 is below 4100 \\(at byte 15\\)"):
        ModelFile.from_bytes(bytes(data))


def test_a_block_that_asks_for_memory_without_values_is_refused():
    block = TensorBlock((20000,), np.zeros(20000, np.float32), 2)
    model = ModelFile(layers=[PreNormRecord("p", ["input"], block)])
    with pytest.raises(ModelFileError, match="asks for 20000 values without holding them"):
        ModelFile.from_bytes(model.to_bytes())


def test_a_number_of_layers_beyond_the_file_ends_at_its_end():
    data = ModelFile().to_bytes()
    data = data[:0x46] + struct.pack("<i", 2**31 - 1) + data[0x4A:]
    with pytest.raises(ModelFileError, match="file ends inside"):
        ModelFile.from_bytes(data)
