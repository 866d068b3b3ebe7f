"""Without SciPy and soundfile the evaluation is left out."""

import importlib.util

if not all(map(importlib.util.find_spec, ("scipy", "soundfile"))):
    collect_ignore_glob = ["test_*"]
