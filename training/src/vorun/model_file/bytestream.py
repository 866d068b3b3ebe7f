"""Packed little-endian values, written and read back."""

from __future__ import annotations

import struct

from .errors import ModelFileError

_INTEGER_CODES = {8: "<b", 16: "<h", 32: "<i"}
LONGEST_STRING = 2**31 - 1


class ByteWriter:
    """Appends values. Each call names what it writes, for the text of an error."""

    def __init__(self) -> None:
        self._parts: list[bytes] = []

    def integer(self, value: int, bits: int, what: str) -> None:
        """A signed integer of 8, 16 or 32 bits."""
        low, high = -(1 << (bits - 1)), (1 << (bits - 1)) - 1
        if isinstance(value, bool) or int(value) != value:
            raise ModelFileError(f"{what} is {value!r}, which is no whole number")
        if not low <= value <= high:
            raise ModelFileError(f"{what} is {value}, but {bits} bits hold {low} to {high}")
        self._parts.append(struct.pack(_INTEGER_CODES[bits], int(value)))

    def unsigned_byte(self, value: int, what: str) -> None:
        if not 0 <= value <= 255:
            raise ModelFileError(f"{what} is {value}, but it goes from 0 to 255")
        self._parts.append(bytes([value]))

    def single(self, value: float, what: str) -> None:
        try:
            self._parts.append(struct.pack("<f", value))
        except OverflowError:
            raise ModelFileError(f"{what} is {value}, beyond a 32-bit float") from None

    def double(self, value: float) -> None:
        self._parts.append(struct.pack("<d", value))

    def string(self, text: str, what: str) -> None:
        data = text.encode("utf-8", "surrogateescape")
        if len(data) > LONGEST_STRING:
            raise ModelFileError(f"{what} has {len(data)} bytes, but at most {LONGEST_STRING} fit")
        self.integer(len(data), 32, what)
        self._parts.append(data)

    def raw(self, data: bytes) -> None:
        self._parts.append(data)

    def bytes(self) -> bytes:
        return b"".join(self._parts)


class ByteReader:
    """Reads what ByteWriter wrote. Raises ModelFileError where the bytes end too early."""

    def __init__(self, data: bytes) -> None:
        self._data = memoryview(data)
        self.position = 0

    @property
    def size(self) -> int:
        return len(self._data)

    def integer(self, bits: int, what: str) -> int:
        return struct.unpack(_INTEGER_CODES[bits], self.raw(bits // 8, what))[0]

    def unsigned_byte(self, what: str) -> int:
        return self.raw(1, what)[0]

    def single(self, what: str) -> float:
        return struct.unpack("<f", self.raw(4, what))[0]

    def double(self, what: str) -> float:
        return struct.unpack("<d", self.raw(8, what))[0]

    def string(self, what: str) -> str:
        """Bytes that are no UTF-8 come back from ByteWriter.string() as they were."""
        start = self.position
        length = self.integer(32, what)
        if length < 0:
            raise ModelFileError(f"{what} has a length of {length}", start)
        return bytes(self.raw(length, what)).decode("utf-8", "surrogateescape")

    def raw(self, count: int, what: str) -> memoryview:
        """The next `count` bytes. Compared with what is left before anything is taken."""
        left = self.size - self.position
        if count > left:
            raise ModelFileError(f"file ends inside {what}: {count} bytes wanted, {left} left",
                                 self.position)
        self.position += count
        return self._data[self.position - count:self.position]
