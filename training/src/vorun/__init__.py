"""From a network in PyTorch to a model file, and the engine that runs it.

vorun.model_file  model files, written and read (NumPy)
vorun.engine      the engine through its shared library (NumPy)
vorun.layers      the engine's layers as PyTorch modules
vorun.export      a PyTorch module as a model file
vorun.streaming   a PyTorch module frame by frame, as the engine runs it
vorun.framing     the engine's windows and overlap-add in PyTorch
"""

__version__ = "0.1.0"
