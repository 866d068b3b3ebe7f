"""docs/making_models.md does what it says."""

import os
import re
import shlex
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest

from vorun.data.mixing import Mixer, MixSettings
from vorun.data.voices import VALIDATION
from vorun.engine import Processor
from vorun.evaluation.si_sdr import si_sdr

ROOT = Path(__file__).resolve().parents[3]
DOCUMENT = ROOT / "docs" / "making_models.md"
ENVIRONMENT = {**os.environ, "PYTHONPATH": str(ROOT / "training" / "src")}
PROGRAM = "tiny_denoiser.py"
SECONDS = "120"


def blocks(language):
    return re.findall(rf"```{language}\n(.*?)```", DOCUMENT.read_text(), re.DOTALL)


def commands():
    """Of the document's shell blocks, as lists of words."""
    lines = "".join(blocks("sh")).splitlines()
    return [shlex.split(line, comments=True) for line in lines]


def run(*words, folder):
    result = subprocess.run([sys.executable, *map(str, words)], cwd=folder, env=ENVIRONMENT,
                            text=True, capture_output=True)
    assert result.returncode == 0, result.stderr
    return result.stdout


@pytest.fixture(scope="module")
def trained(corpus, tmp_path_factory):
    """Folder of a model that was made as the document tells it."""
    folder = tmp_path_factory.mktemp("making_models")
    (program,) = blocks("python")
    (folder / PROGRAM).write_text(program)
    run(PROGRAM, corpus, "tiny.vorun", SECONDS, folder=folder)
    return folder


def test_the_model_lifts_voices_out_of_noise(trained, corpus, library):
    """Which a mask that knows nothing, the same for all bins, does not."""
    mixer = Mixer(corpus, VALIDATION, MixSettings(seconds=4.0))
    gains = []
    for number in range(4):
        voice, noise = mixer.item(number, 0.0)
        with Processor(trained / "tiny.vorun", library=library) as processor:
            processor.set_bus_gain(1, 0)
            restored = processor.restore(voice + noise)
        gains.append(si_sdr(voice, restored) - si_sdr(voice, voice + noise))
    assert np.mean(gains) > 1, gains


def test_the_network_has_about_ten_lines():
    (program,) = blocks("python")
    lines = re.search(r"nn\.Sequential\(\n(.*?)\n\)\n", program, re.DOTALL).group(1).splitlines()
    assert len(lines) <= 10


def test_scripts_that_the_commands_name_are_there():
    named = [words[0] for words in commands() if words[0].startswith("scripts/")]
    assert named
    assert [name for name in named if not os.access(ROOT / name, os.X_OK)] == []


def test_groups_of_packages_are_there():
    packages = (ROOT / "scripts" / "packages.txt").read_text()
    groups = [group for words in commands() if words[0] == "scripts/setup" for group in words[1:]]
    assert groups
    assert [group for group in groups if f"[{group}]" not in packages] == []


@pytest.mark.parametrize("module", ["vorun.data", "vorun.evaluation"])
def test_modules_know_the_options_of_the_commands(module):
    (words,) = [words for words in commands() if words[1:3] == ["-m", module]]
    options = {word for word in words if word.startswith("--")}
    known = run("-m", module, "--help", folder=ROOT)
    assert options
    assert options <= set(re.findall(r"--[a-z-]+", known))


def test_the_program_is_called_by_the_commands():
    assert ["/usr/bin/python3", PROGRAM, "build/tiny-data", "build/tiny.vorun"] in commands()
