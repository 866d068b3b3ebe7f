"""Tables, pictures, and the command."""

import os
import subprocess
import sys
from dataclasses import replace
from pathlib import Path

import numpy as np
import pytest

from samples import constant_mask
from vorun.evaluation import __main__ as command
from vorun.evaluation.evaluation import Evaluation, Options, evaluate
from vorun.evaluation.goals import verdicts
from vorun.evaluation.measures import Measurement
from vorun.evaluation.performance import Cost
from vorun.evaluation.report import insert_into, write_report
from vorun.evaluation.results import Results
from vorun.evaluation.steadiness import HostRate, LongRun, Silence
from vorun.evaluation.tables import markdown, table
from vorun.evaluation.voices import RECORDINGS

_STOI = {"unprocessed": 0.70, "speexdsp -15 dB": 0.75, "model": 0.80}
_GAIN = {"unprocessed": 0, "speexdsp -15 dB": 6, "model": 8.2}


def rows(system: str) -> list[Measurement]:
    noisy = [Measurement(system, "v", family, ratio, ratio + _GAIN[system], _STOI[system],
                         -2.0 * _GAIN[system])
             for family in ("rain", "white") for ratio in (0, 5, 10)]
    return [*noisy, Measurement(system, "v", "clean", np.inf, 35.0, 0.999, np.nan)]


def good(tmp_path: Path) -> Evaluation:
    return Evaluation(
        "model", tmp_path / "model.vorun", 48000, Results(sum(map(rows, _STOI), [])),
        ["speexdsp -15 dB"], ["afftdn is left out: install Debian's ffmpeg"], 1, 600_000,
        {"model": 0, "speexdsp -15 dB": 960}, Silence(-np.inf, -130.0), LongRun(10, -70, 0),
        [HostRate(44100, 5, 8.0, 8.1, 0.8, 0.8), HostRate(16000, 5, 7.9, 8.2, 0.8, 0.8)],
        [Cost(48000, 1, 16.0, 0.02, 0.03, 0.4, 0.9)])


def test_a_good_model_reaches_every_goal(tmp_path):
    assert all(one.reached for one in verdicts(good(tmp_path)))


@pytest.mark.parametrize("change, missed", [
    (dict(silence=Silence(-90.0, -130.0)), ["Silence"]),
    (dict(long_run=LongRun(10, -20, 0.5)), ["The end of 10 minutes beside their beginning"]),
    (dict(hosts=[HostRate(16000, 5, 7.0, 8.2, 0.8, 0.8)]), ["SI-SDR gain on a host of 16000 Hz"]),
    (dict(costs=[Cost(48000, 1, 21.3, 0.031, 0.03, 1, 1)]),
     ["Latency at 48000 Hz", "Share of one core"]),
    (dict(file_bytes=2_000_001), ["File"]),
])
def test_each_cost_and_unsteadiness_misses_its_goal(change, missed, tmp_path):
    changed = replace(good(tmp_path), **change)
    assert [one.what for one in verdicts(changed) if not one.reached] == missed


@pytest.mark.parametrize("field, value, missed", [
    ("si_sdr_db", 7.9, ["SI-SDR gain at 0 dB"]),
    ("stoi", 0.74, ["STOI at 0 dB"]),
    ("stoi", 0.69, ["STOI at 0 dB", "STOI over the unprocessed"]),
])
def test_a_worse_restoration_at_one_ratio_misses_its_goal(field, value, missed, tmp_path):
    evaluation = good(tmp_path)
    changed = [replace(one, **{field: value}) if (one.system, one.ratio) == ("model", 0) else one
               for one in evaluation.results.measurements]
    evaluation.results = Results(changed)
    assert [one.what for one in verdicts(evaluation) if not one.reached] == missed


def test_damaged_clean_speech_and_left_noise_miss_their_goals(tmp_path):
    evaluation = good(tmp_path)
    changed = [one if one.system != "model" else
               replace(one, si_sdr_db=29.0, stoi=0.99) if one.family == "clean" else
               replace(one, noise_db=-11.0) for one in evaluation.results.measurements]
    evaluation.results = Results(changed)
    assert [one.what for one in verdicts(evaluation) if not one.reached] == [
        "Noise where nobody speaks", "Clean speech, SI-SDR", "Clean speech, STOI"]


def test_tables_tell_all_systems_families_and_what_is_missing(tmp_path):
    text = markdown(good(tmp_path), [("picture", "a/b.png")])
    assert text.startswith("![picture](a/b.png)\n\n")
    assert "| model | +8.2 | +8.2 | +8.2 |" in text
    assert "| unprocessed | 0.700 | 0.700 | 0.700 |" in text
    assert "| speexdsp -15 dB | -12.0 | 35.0 | 0.9990 |" in text
    assert "| rain | +8.2 / +0.100 | +8.2 / +0.100 | +8.2 / +0.100 |" in text
    assert "| 16000 Hz | 5 dB | +7.90 | +8.20 | 0.800 | 0.800 |" in text
    assert "- afftdn is left out" in text and "speexdsp -15 dB 960" in text
    assert "nan" not in text


def test_every_line_of_a_table_has_its_cells():
    assert table(["a", "b"], [["1", "2"]]) == "| a | b |\n| --- | --- |\n| 1 | 2 |"


def test_tables_go_between_the_markers_of_the_model(tmp_path):
    readme = tmp_path / "README.md"
    text = ("# Models\n\n<!-- evaluation of other -->\nkept\n<!-- end of evaluation of other -->\n"
            "<!-- evaluation of model -->\nold\n<!-- end of evaluation of model -->\nBehind.\n")
    readme.write_text(text)
    picture = tmp_path / "pictures" / "bars.png"
    insert_into(readme, good(tmp_path), [picture])
    once = readme.read_text()
    assert "old" not in once and "\nkept\n" in once and once.endswith("-->\nBehind.\n")
    assert "(pictures/bars.png)" in once and "| model | +8.2" in once
    insert_into(readme, good(tmp_path), [picture])
    assert readme.read_text() == once


@pytest.mark.parametrize("text", [
    "", "<!-- evaluation of model -->" * 2,
    "<!-- end of evaluation of model --><!-- evaluation of model -->"])
def test_a_document_without_its_markers_is_left_alone(text, tmp_path):
    readme = tmp_path / "README.md"
    readme.write_text(text)
    with pytest.raises(ValueError, match="once each"):
        insert_into(readme, good(tmp_path), [])
    assert readme.read_text() == text


def test_without_matplotlib_the_pictures_are_left_out(tmp_path, monkeypatch):
    monkeypatch.setitem(sys.modules, "matplotlib", None)
    written = write_report(good(tmp_path), tmp_path / "out")
    assert [file.name for file in written] == ["evaluation.md", "evaluation.csv"]
    assert "pictures are left out" in (tmp_path / "out" / "evaluation.md").read_text()


@pytest.mark.skipif(not (RECORDINGS / "Front_Center.wav").is_file(), reason="needs alsa-utils")
def test_one_command_writes_everything(library, save, tmp_path, capsys):
    pytest.importorskip("matplotlib")
    image = pytest.importorskip("PIL.Image")
    readme = tmp_path / "README.md"
    readme.write_text("<!-- evaluation of ones --><!-- end of evaluation of ones -->")
    model = save(constant_mask(1.0), "ones.vorun")
    status = command.main([model, "--out", str(tmp_path / "out"), "--voices", "Front_Center",
                           "--families", "white", "--ratios", "5", "--minutes", "0.5",
                           "--no-peers", "--library", library.path, "--readme", str(readme)])
    out = capsys.readouterr().out
    assert status == 0 and "MISSED   SI-SDR gain at 5 dB: 0.0 dB" in out.replace("-0.0", "0.0")
    for name, height in (("spectrograms-white.png", 900), ("bars.png", 800)):
        with image.open(tmp_path / "out" / name) as picture:
            assert picture.size == (1100, height) and len(picture.getcolors()) > 5
    assert len((tmp_path / "out" / "evaluation.csv").read_text().splitlines()) >= 5
    assert "(out/bars.png)" in readme.read_text()
    assert "| SI-SDR gain on a host of 16000 Hz | within 1 dB |" in readme.read_text()


@pytest.mark.skipif(not (RECORDINGS / "Front_Center.wav").is_file(), reason="needs alsa-utils")
def test_what_does_not_take_the_rate_of_a_model_is_left_out(library, save, monkeypatch):
    class Narrow:
        name = "narrow"

        def process(self, samples, sample_rate):
            raise ValueError(f"no {sample_rate} Hz")

    monkeypatch.setattr("vorun.evaluation.evaluation.available_peers", lambda: ([Narrow()], []))
    options = Options(["Front_Center"], ["white"], [5], hosts=(), minutes=0, library=library.path)
    evaluation = evaluate(save(constant_mask(1.0, sample_rate=44100.0)), options)
    assert evaluation.sample_rate == 44100 and not evaluation.peers
    assert "narrow is left out: no 44100 Hz" in evaluation.missing
    assert evaluation.results.si_sdr_gain("model") == pytest.approx(0, abs=1e-3)
    assert evaluation.long_run is None and not evaluation.hosts


def test_an_evaluation_needs_no_torch():
    code = ("import sys; sys.modules['torch'] = None\n"
            "import vorun.evaluation.__main__ as command\n"
            "import vorun.evaluation.pictures\nprint('fine')")
    source = Path(command.__file__).parents[2]
    result = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True,
                            env={**os.environ, "PYTHONPATH": str(source)})
    assert result.stdout.strip() == "fine", result.stderr


def test_what_is_no_model_is_told_in_a_line(tmp_path, capsys):
    (tmp_path / "text.vorun").write_text("no model")
    assert command.main([str(tmp_path / "text.vorun"), "--out", str(tmp_path / "out")]) == 1
    assert capsys.readouterr().err.startswith("evaluation: ")
