"""Tests of data need what reads, filters and resamples."""

from corpus_fixture import corpus  # noqa: F401

try:
    import scipy  # noqa: F401
    import soundfile  # noqa: F401
except ImportError:
    collect_ignore_glob = ["*"]
