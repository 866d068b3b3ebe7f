"""The engine through its shared library. Needs NumPy, and a C++ compiler once (see guard.py).

    from vorun.engine import Processor, TensorModel
"""

from .errors import EngineError, LibraryNotFoundError
from .library import Library, ModelInfo, ProcessorInfo, default_library, find_library
from .processor import Processor
from .tensor_model import TensorModel

__all__ = ["EngineError", "Library", "LibraryNotFoundError", "ModelInfo", "Processor",
           "ProcessorInfo", "TensorModel", "default_library", "find_library"]
