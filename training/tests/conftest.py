"""What tests share: the engine's library, and files of models."""

from __future__ import annotations

import os

import pytest

from vorun.engine import Library, LibraryNotFoundError, default_library
from vorun.engine.library import ENVIRONMENT_VARIABLE
from vorun.model_file import ModelFile, write_model

try:
    import torch

    torch.set_num_threads(1)
except ImportError:
    # Whatever needs PyTorch is left out; scripts/test says so.
    collect_ignore_glob = ["networks/*", "train/*"]


@pytest.fixture(scope="session")
def library() -> Library:
    """Tests that need the engine are skipped where it is not built, but not where it is named."""
    try:
        return default_library()
    except LibraryNotFoundError as error:
        if ENVIRONMENT_VARIABLE in os.environ:
            raise
        pytest.skip(str(error))


@pytest.fixture
def save(tmp_path):
    """Writes a model into a folder of its own and gives the path."""
    def write(model: ModelFile, name: str = "model.vorun") -> str:
        write_model(tmp_path / name, model)
        return str(tmp_path / name)
    return write
