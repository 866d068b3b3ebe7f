"""What stands before the layers of a model file: how audio is framed, and what the outputs are."""

from __future__ import annotations

from dataclasses import dataclass, field
from enum import IntEnum

from .bytestream import ByteReader, ByteWriter
from .errors import ModelFileError

FIRST_VERSION = 4100
FIRST_VERSION_WITH_WINDOW_SIZE = 4101
FIRST_VERSION_WITH_BUS_NAMES = 4102
NEWEST_VERSION = 4105
TAG = "VORUN.model"
OLDER_TAG = "ZUTo.model"
SPLIT_FORMAT = 2
DEFAULT_BUS_NAMES = ("Processed", "Residual")


class PipelineMode(IntEnum):
    """What the network's outputs are; every number but 0 means spectra."""

    MASK = 0
    SPECTRUM = 1


@dataclass
class ModelHeader:
    """Defaults make a mono mask model of 257 bins at 48 kHz.

    sample_rate           Hz, the rate that the network was trained for
    input_format          2: the lowest bins go in as complex values, four rows each
    complex_input_bins    0 unless input_format is 2
    magnitude_input_bins  bins that take one row each
    pipeline_mode         how the outputs are mixed with the input
    mask_count            outputs of the network, each of output_channels channels
    bus_names             mask_count + 1 names, the last for the residual
    skipped               what readers drop: two numbers if output_format is 2, otherwise one
    fft_size, window_size, hop_size   samples at sample_rate
    """

    tag: str = TAG
    version: int = NEWEST_VERSION
    model_id: int = 1
    sample_rate: float = 48000.0
    input_channels: int = 1
    input_format: int = 0
    complex_input_bins: int = 0
    magnitude_input_bins: int = 257
    pipeline_mode: int = PipelineMode.MASK
    output_channels: int = 1
    mask_count: int = 1
    bus_names: list[str] = field(default_factory=lambda: list(DEFAULT_BUS_NAMES))
    output_format: int = 0
    skipped: tuple[int, ...] = (257,)
    fft_size: int = 512
    window_size: int = 512
    hop_size: int = 256

    @property
    def input_bins(self) -> int:
        return self.complex_input_bins + self.magnitude_input_bins

    @property
    def rows(self) -> int:
        """Height of the tensors at the network's input and output."""
        return 4 * self.complex_input_bins + self.magnitude_input_bins


def write_header(writer: ByteWriter, header: ModelHeader) -> None:
    _require_storable(header)
    writer.string(header.tag, "tag")
    writer.integer(header.version, 32, "version")
    writer.integer(header.model_id, 16, "model_id")
    writer.double(header.sample_rate)
    writer.integer(header.input_channels, 8, "input_channels")
    writer.integer(header.input_format, 8, "input_format")
    if header.input_format == SPLIT_FORMAT:
        writer.integer(header.complex_input_bins, 16, "complex_input_bins")
    writer.integer(header.magnitude_input_bins, 16, "magnitude_input_bins")
    writer.integer(header.pipeline_mode, 8, "pipeline_mode")
    writer.integer(header.output_channels, 8, "output_channels")
    if header.version >= FIRST_VERSION_WITH_BUS_NAMES:
        writer.integer(header.mask_count, 8, "mask_count")
        for name in header.bus_names:
            writer.string(name, "bus name")
    writer.integer(header.output_format, 8, "output_format")
    for value in header.skipped:
        writer.integer(value, 16, "skipped")
    writer.integer(header.fft_size, 16, "fft_size")
    if header.version >= FIRST_VERSION_WITH_WINDOW_SIZE:
        writer.integer(header.window_size, 16, "window_size")
    writer.integer(header.hop_size, 16, "hop_size")


def read_header(reader: ByteReader) -> ModelHeader:
    """The opposite of write_header()."""
    header = ModelHeader(tag=reader.string("tag"))
    if header.tag not in (TAG, OLDER_TAG):
        raise ModelFileError(f"not a model file: the tag is {header.tag[:40]!r}", 0)
    header.version = reader.integer(32, "version")
    if header.version < FIRST_VERSION:
        raise ModelFileError(f"version {header.version} is below {FIRST_VERSION}",
                             reader.position - 4)
    header.model_id = reader.integer(16, "model_id")
    header.sample_rate = reader.double("sample_rate")
    header.input_channels = reader.integer(8, "input_channels")
    header.input_format = reader.integer(8, "input_format")
    if header.input_format == SPLIT_FORMAT:
        header.complex_input_bins = reader.integer(16, "complex_input_bins")
    header.magnitude_input_bins = reader.integer(16, "magnitude_input_bins")
    header.pipeline_mode = reader.integer(8, "pipeline_mode")
    header.output_channels = reader.integer(8, "output_channels")
    if header.version >= FIRST_VERSION_WITH_BUS_NAMES:
        header.mask_count = reader.integer(8, "mask_count")
        header.bus_names = [reader.string("bus name") for _ in range(header.mask_count + 1)]
    header.output_format = reader.integer(8, "output_format")
    skipped = 2 if header.output_format == SPLIT_FORMAT else 1
    header.skipped = tuple(reader.integer(16, "skipped") for _ in range(skipped))
    header.fft_size = reader.integer(16, "fft_size")
    header.window_size = header.fft_size
    if header.version >= FIRST_VERSION_WITH_WINDOW_SIZE:
        header.window_size = reader.integer(16, "window_size")
    header.hop_size = reader.integer(16, "hop_size")
    return header


def _require(condition: bool, text: str) -> None:
    if not condition:
        raise ModelFileError(text)


def _require_storable(header: ModelHeader) -> None:
    """What the fields before a version, or beside an unused one, cannot say."""
    version = header.version
    _require(header.tag in (TAG, OLDER_TAG), f"tag is {header.tag!r}, not {TAG!r}")
    _require(version >= FIRST_VERSION, f"version {version} is below {FIRST_VERSION}")
    _require(header.input_format == SPLIT_FORMAT or header.complex_input_bins == 0,
             f"complex_input_bins is {header.complex_input_bins}, which takes input_format 2")
    skipped = 2 if header.output_format == SPLIT_FORMAT else 1
    _require(len(header.skipped) == skipped,
             f"output_format {header.output_format} takes {skipped} skipped values, "
             f"not {len(header.skipped)}")
    if version < FIRST_VERSION_WITH_WINDOW_SIZE:
        _require(header.window_size == header.fft_size,
                 f"version {version} holds no window_size other than fft_size")
    if version < FIRST_VERSION_WITH_BUS_NAMES:
        _require(header.mask_count == 1 and tuple(header.bus_names) == DEFAULT_BUS_NAMES,
                 f"version {version} holds one mask with the buses Processed and Residual only")
    else:
        names = max(header.mask_count + 1, 0)
        _require(len(header.bus_names) == names,
                 f"mask_count {header.mask_count} takes {names} bus names, "
                 f"not {len(header.bus_names)}")
