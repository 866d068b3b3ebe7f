"""Model files written and read back, against the bytes of the documented format."""

import struct

import numpy as np
import pytest

from model_samples import every_record, sample_model
from vorun.model_file import (RECORD_CLASSES, ArithmeticRecord, ConvRecord, ElementType,
                              ModelFile, ModelHeader, PreNormRecord, ReLURecord, TensorBlock,
                              read_model, write_model)

VERSIONS = range(4100, 4106)

SMALLEST = bytes.fromhex(
    "0b00000056 4f52554e2e6d6f64656c 09100000 0100 000000000070e740 01 00 0101 00 01 01"
    "09000000 50726f636573736564 08000000 526573696475616c 00 0101 0002 0002 0001"
    "00000000 05000000 696e707574")


def string(text: bytes) -> bytes:
    return struct.pack("<i", len(text)) + text


def test_the_smallest_model_has_the_documented_bytes():
    assert ModelFile().to_bytes() == SMALLEST
    assert ModelFile.from_bytes(SMALLEST) == ModelFile()


def test_a_convolution_of_halves_has_the_documented_bytes():
    weights = TensorBlock.of(np.full((1, 1, 1, 1), 2.0), ElementType.HALF)
    convolution = ConvRecord("d", ["input"], weights, reserved_parameter=0)
    model = ModelFile(layers=[convolution], output_source="d")
    record = bytes.fromhex("01000000640200" "05000000696e707574"
                           "00040100000001000000" "01000000010000000040" "0100" "0101010000")
    assert model.to_bytes() == SMALLEST[:0x46] + b"\1\0\0\0" + record + string(b"d")


def test_the_samples_hold_every_class_of_record():
    assert {type(record) for record in every_record(4105)} == set(RECORD_CLASSES.values())


@pytest.mark.parametrize("version", VERSIONS)
def test_every_record_comes_back_in_every_version(version):
    model = sample_model(version)
    data = model.to_bytes()
    again = ModelFile.from_bytes(data)
    assert again == model
    assert again.to_bytes() == data


def test_versions_leave_out_what_they_do_not_know():
    lengths = [len(ModelFile(ModelHeader(version=version)).to_bytes()) for version in VERSIONS]
    names = len(string(b"Processed") + string(b"Residual"))
    assert np.diff(lengths).tolist() == [2, 1 + names, 0, 0, 0]


def test_older_versions_get_the_documented_defaults():
    again = ModelFile.from_bytes(sample_model(4100).to_bytes())
    assert again.header.window_size == again.header.fft_size
    assert again.header.mask_count == 1
    assert again.header.bus_names == ["Processed", "Residual"]
    attention = next(record for record in again.layers if record.name == "attention")
    assert attention.lookahead == 0 and attention.attention_weights.shape == ()
    transposed = next(record for record in again.layers if record.name == "transposed")
    assert transposed.out_channels == transposed.weights.shape[2]


def test_a_version_above_the_newest_reads_as_the_newest():
    model = sample_model(4105)
    model.header.version = 9999
    assert ModelFile.from_bytes(model.to_bytes()).layers == model.layers


def test_the_older_tag_is_read_and_written():
    model = ModelFile(ModelHeader(tag="ZUTo.model"))
    data = model.to_bytes()
    assert data[:14] == string(b"ZUTo.model")
    assert ModelFile.from_bytes(data) == model


def test_split_formats_hold_two_numbers():
    header = ModelHeader(input_format=2, complex_input_bins=3, magnitude_input_bins=5,
                         output_format=2, skipped=(3, 5))
    data = ModelFile(header).to_bytes()
    assert len(data) == len(SMALLEST) + 4
    again = ModelFile.from_bytes(data).header
    assert again == header
    assert (again.input_bins, again.rows) == (8, 17)


@pytest.mark.parametrize("count, names", [(0, ["rest"]), (-1, []), (-3, []), (3, list("abcd"))])
def test_bus_names_follow_the_mask_count(count, names):
    header = ModelHeader(mask_count=count, bus_names=names)
    assert ModelFile.from_bytes(ModelFile(header).to_bytes()).header == header


def test_bytes_behind_the_end_are_not_looked_at():
    assert ModelFile.from_bytes(SMALLEST + b"\xff" * 9) == ModelFile()


def test_names_that_are_no_text_come_back():
    data = SMALLEST.replace(b"Residual", b"Resi\xff\xfeal")
    assert ModelFile.from_bytes(data).to_bytes() == data


def test_halves_come_back_bit_for_bit():
    words = np.arange(65536, dtype="<u2")
    block = TensorBlock.of(np.zeros(65536), ElementType.HALF)
    model = ModelFile(layers=[PreNormRecord("p", ["input"], block)], output_source="p")
    data = bytearray(model.to_bytes())
    start = len(data) - len(string(b"p")) - 2 * 65536
    data[start:start + 2 * 65536] = words.tobytes()
    assert ModelFile.from_bytes(bytes(data)).to_bytes() == bytes(data)


def test_a_block_of_another_element_type_has_no_values():
    block = TensorBlock((2, 3), np.zeros(6, np.float32), 7)
    model = ModelFile(layers=[PreNormRecord("p", ["input"], block)], output_source="p")
    data = model.to_bytes()
    name, kind, feeder, block_bytes = 4 + 1, 2, 4 + 5, 1 + 1 + 8
    assert len(data) == len(SMALLEST) - len("input") + 1 + name + kind + feeder + block_bytes
    again = ModelFile.from_bytes(data)
    assert again == model and again.layers[0].weights.array.tolist() == [[0] * 3] * 2


@pytest.mark.parametrize("shape", [(), (0,), (3, 0, 2), (-2,), (65536, 65536)])
def test_shapes_without_values_come_back(shape):
    block = TensorBlock(shape, np.zeros(0, np.float32))
    model = ModelFile(layers=[PreNormRecord("p", ["input"], block)], output_source="p")
    assert ModelFile.from_bytes(model.to_bytes()) == model


def test_values_are_row_major_with_the_last_dimension_fastest():
    record = ConvRecord("c", ["input"], np.arange(24).reshape(1, 2, 3, 4))
    data = ModelFile(layers=[record], output_source="c").to_bytes()
    assert np.arange(24, dtype="<f4").tobytes() in data
    again = ModelFile.from_bytes(data).layers[0].weights.array
    assert again.shape == (1, 2, 3, 4) and again[0, 1, 2, 3] == 23


def test_a_join_may_have_no_inputs_and_a_record_may_be_called_input():
    model = ModelFile(layers=[ArithmeticRecord("none", [], 2), ReLURecord("input", ["input"])])
    assert ModelFile.from_bytes(model.to_bytes()) == model


def test_a_file_is_written_whole_and_leaves_nothing_else(tmp_path):
    path = tmp_path / "a.vorun"
    assert write_model(path, sample_model(4105)) == path.stat().st_size
    assert read_model(path) == sample_model(4105)
    assert [file.name for file in tmp_path.iterdir()] == ["a.vorun"]
