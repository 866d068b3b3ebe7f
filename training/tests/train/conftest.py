"""Tests of training need PyTorch and SciPy."""

from corpus_fixture import corpus  # noqa: F401

try:
    import scipy  # noqa: F401
    import torch  # noqa: F401
except ImportError:
    collect_ignore_glob = ["*"]
