"""The code in the README runs as it stands."""

import re
from pathlib import Path

import numpy as np

README = Path(__file__).resolve().parents[2] / "README.md"


def test_the_network_of_the_readme_trains_exports_and_runs(library, tmp_path, monkeypatch, capsys):
    monkeypatch.chdir(tmp_path)
    monkeypatch.setenv("VORUN_LIBRARY", library.path)
    names: dict = {}
    for code in re.findall(r"```python\n(.*?)```", README.read_text(), re.DOTALL):
        exec(compile(code, str(README), "exec"), names)
    assert "ExportReport" in capsys.readouterr().out
    assert (tmp_path / "denoiser.vorun").stat().st_size < 25000
    assert names["samples"].shape == (2, 48000) and np.all(np.isfinite(names["samples"]))
