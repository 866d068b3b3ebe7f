"""Noise suppressors from Debian's packages, to set beside a model on the same files."""

from __future__ import annotations

from typing import Callable, Sequence

from ..systems import System
from .afftdn import Afftdn
from .speexdsp import Speexdsp
from .webrtc import Webrtc

# In the order of the tables.
PEERS: Sequence[Callable[[], System]] = (lambda: Speexdsp(-15), lambda: Speexdsp(-30), Webrtc,
                                         Afftdn)


def available_peers() -> tuple[list[System], list[str]]:
    """Those that this machine has, and for each of the others why it is left out."""
    found, missing = [], []
    for make in PEERS:
        try:
            found.append(make())
        except OSError as error:
            missing.append(str(error))
    return found, missing


__all__ = ["Afftdn", "PEERS", "Speexdsp", "Webrtc", "available_peers"]
