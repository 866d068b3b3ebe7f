"""C++ beside a module, compiled at its first use and kept in the user's cache folder."""

from __future__ import annotations

import hashlib
import os
import shutil
import subprocess
import tempfile
from pathlib import Path
from typing import Sequence

_FLAGS = ["-std=c++17", "-O1", "-shared", "-fPIC"]


def compiled_library(source: Path, flags: Sequence[str] = ()) -> Path:
    """The shared library of a source file. `flags` stand behind the source, as libraries do.

    Raises OSError without a compiler, subprocess.CalledProcessError if it refuses the source.
    """
    command = [*_FLAGS, *flags]
    # Named by its source, so that another version of this package has another.
    key = hashlib.sha256(source.read_bytes() + " ".join(command).encode()).hexdigest()[:16]
    target = _cache_folder() / f"{source.stem}-{key}.so"
    if not target.exists():
        _compile(source, flags, target)
    return target


def _cache_folder() -> Path:
    root = os.environ.get("XDG_CACHE_HOME") or Path.home() / ".cache"
    folder = Path(root) / "vorun"
    folder.mkdir(parents=True, exist_ok=True)
    return folder


def _compile(source: Path, flags: Sequence[str], target: Path) -> None:
    compiler = os.environ.get("CXX") or shutil.which("c++") or shutil.which("g++")
    if not compiler:
        raise OSError("there is no C++ compiler")
    # Two processes may compile at once: each moves a whole file into place.
    with tempfile.TemporaryDirectory(dir=target.parent) as folder:
        built = Path(folder) / target.name
        subprocess.run([compiler, *_FLAGS, str(source), "-o", str(built), *flags], check=True,
                       capture_output=True)
        os.replace(built, target)
