"""The package as pip installs it."""

import importlib.util
import os
import subprocess
import sys
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[1]


def run(code: str, path: Path) -> str:
    environment = {**os.environ, "PYTHONPATH": str(path)}
    result = subprocess.run([sys.executable, "-c", code], env=environment, cwd=path,
                            capture_output=True, text=True)
    assert result.returncode == 0, result.stderr
    return result.stdout.strip()


def test_model_files_and_the_engine_need_no_torch():
    code = ("import sys; sys.modules['torch'] = None\n"
            "import vorun, vorun.model_file, vorun.engine; print('fine')")
    assert run(code, ROOT / "src") == "fine"


@pytest.mark.skipif(not all(map(importlib.util.find_spec, ("pip", "setuptools", "wheel"))),
                    reason="needs pip, setuptools and wheel")
def test_pip_installs_all_of_it_from_the_checkout(tmp_path):
    source = tmp_path / "source"
    source.mkdir()
    # A copy, because setuptools writes beside what it builds.
    subprocess.run(["cp", "-r", "pyproject.toml", "README.md", "src", str(source)], cwd=ROOT,
                   check=True)
    target = tmp_path / "installed"
    subprocess.run([sys.executable, "-m", "pip", "install", "-q", "--no-index", "--no-deps",
                    "--no-build-isolation", "--target", str(target), str(source)], check=True,
                   capture_output=True)
    wanted = {file.relative_to(ROOT / "src").as_posix()
              for file in (ROOT / "src" / "vorun").rglob("*") if file.suffix in (".py", ".cpp")}
    installed = {file.relative_to(target).as_posix() for file in (target / "vorun").rglob("*")}
    assert wanted <= installed
    assert run("import vorun.engine; print(vorun.engine.__file__)", target).startswith(str(target))
