"""The speech denoiser that ships does to recorded voices what its figures say."""

from pathlib import Path

import pytest

from vorun.evaluation.evaluation import Options, evaluate
from vorun.evaluation.goals import JUDGED_RATIOS, LEAST_GAIN_DB
from vorun.evaluation.voices import RECORDINGS

MODEL = Path(__file__).resolve().parents[3] / "models" / "speech" / "speech.vorun"
# Of eight: two, so that it is quick.
VOICES = ["Front_Center", "Side_Left"]

pytestmark = pytest.mark.skipif(not (RECORDINGS / "Front_Center.wav").is_file(),
                                reason="needs alsa-utils")


@pytest.fixture(scope="module")
def evaluation(library):
    return evaluate(MODEL, Options(VOICES, None, JUDGED_RATIOS, peers=False, minutes=1,
                                   library=library.path))


@pytest.mark.parametrize("ratio", JUDGED_RATIOS)
def test_voices_gain_over_noise(evaluation, ratio):
    assert evaluation.results.si_sdr_gain("speech", ratio) >= LEAST_GAIN_DB[ratio]


@pytest.mark.parametrize("ratio", JUDGED_RATIOS)
def test_voices_become_more_intelligible(evaluation, ratio):
    assert evaluation.results.stoi_gain("speech", ratio) > 0


def test_noise_falls_where_nobody_speaks(evaluation):
    assert evaluation.results.noise_change("speech") <= -12


def test_clean_voices_stay_as_they_are(evaluation):
    ratio, intelligibility = evaluation.results.clean("speech")
    assert ratio >= 30
    assert intelligibility >= 0.995


def test_silence_and_long_runs_are_steady(evaluation):
    assert evaluation.silence.after_speech_db < -100
    assert evaluation.long_run.difference_db < -40


def test_other_hosts_gain_within_a_decibel(evaluation):
    assert {row.sample_rate for row in evaluation.hosts} == {44100, 16000}
    for row in evaluation.hosts:
        assert row.gain_db >= row.gain_at_own_rate_db - 1
