"""What goes wrong with a model file."""

from __future__ import annotations

from typing import Optional


class ModelFileError(ValueError):
    """A model that the file format cannot hold, or bytes that are no model file.

    `byte` is where reading ended, for errors that were found while reading.
    """

    def __init__(self, text: str, byte: Optional[int] = None) -> None:
        super().__init__(text if byte is None else f"{text} (at byte {byte})")
        self.byte = byte
