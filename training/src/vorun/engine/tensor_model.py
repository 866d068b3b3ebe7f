"""A model file run directly on tensors."""

from __future__ import annotations

import os
from typing import Union

import numpy as np

from ..model_file import ModelFileError, read_model
from .errors import EngineError
from .library import Library, ModelInfo, default_library

_MOST_VALUES = 2**31 - 1


class TensorModel:
    """A network as the engine runs it. Successive tensors form one stream.

        with TensorModel("gate.vorun") as model:
            result = model.push(frames)        # [frames, height, channels]

    library  a Library, the path of one, or None for the default
    """

    def __init__(self, path: Union[str, os.PathLike],
                 library: Union[None, str, os.PathLike, Library] = None) -> None:
        self._model = None
        self._library = default_library(library)
        self._model = self._library.call("vorunCreateModel", os.fsencode(path))
        if not self._model:
            raise EngineError(refusal_text(path))

    def push(self, frames: np.ndarray) -> np.ndarray:
        """Runs the network on [frames, height, channels] and gives what came out of it: float32
        [frames, height, channels], shape (0, 0, 0) if nothing did.

        Raises EngineError for frames that a layer cannot take.
        """
        data = np.ascontiguousarray(frames, dtype=np.float32)
        if data.ndim != 3:
            raise ValueError(f"a tensor has 3 dimensions: frames, height, channels; "
                             f"not {data.ndim}")
        if data.size > _MOST_VALUES:
            raise ValueError(f"a tensor has at most {_MOST_VALUES} values, not {data.size}")
        shape = np.array(data.shape, dtype=np.int32)
        self._library.call("vorunAddTensor", self._handle(), data.ctypes.data, 3,
                           shape.ctypes.data)
        return self._result()

    def push_each(self, frames: np.ndarray) -> np.ndarray:
        """As push(), one frame at a time, which is how audio is processed."""
        results = [self.push(frame[None]) for frame in np.asarray(frames)]
        results = [result for result in results if result.size]
        return np.concatenate(results) if results else np.zeros((0, 0, 0), np.float32)

    def reset(self) -> None:
        """Starts a new stream."""
        self._library.call("vorunResetModelState", self._handle())

    @property
    def info(self) -> ModelInfo:
        return self._library.model_info(self._handle())

    def close(self) -> None:
        """Frees the model. It cannot be used any more; closing again does nothing."""
        if self._model:
            self._library.call("vorunDeleteModel", self._model)
        self._model = None

    def __enter__(self) -> TensorModel:
        return self

    def __exit__(self, *_) -> None:
        self.close()

    def __del__(self) -> None:
        self.close()

    def _handle(self) -> int:
        if not self._model:
            raise EngineError("the model is closed")
        return self._model

    def _result(self) -> np.ndarray:
        shape = np.zeros(3, dtype=np.int32)
        if not self._library.call("vorunGetResultTensorShape", self._handle(), 3,
                                  shape.ctypes.data):
            return np.zeros((0, 0, 0), np.float32)
        result = np.zeros(tuple(shape), dtype=np.float32)
        if result.size:
            self._library.call("vorunGetTensor", self._handle(), result.ctypes.data)
        return result


def refusal_text(path: Union[str, os.PathLike]) -> str:
    """Why the engine may have refused a file, of which it tells nothing itself."""
    name = os.fspath(path)
    try:
        read_model(path)
    except (OSError, ModelFileError) as error:
        return f"'{name}' is refused: {error}"
    return f"'{name}' is refused by the engine; vorun-inspect tells why"
