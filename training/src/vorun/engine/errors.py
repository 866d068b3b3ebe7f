"""What goes wrong between Python and the engine."""

from __future__ import annotations


class EngineError(RuntimeError):
    """The engine refused something, or raised while it ran."""


class LibraryNotFoundError(EngineError):
    """No shared library of the engine where it was looked for."""
