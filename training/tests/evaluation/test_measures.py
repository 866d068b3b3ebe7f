"""What is taken from a file, and means of it."""

import csv
import dataclasses

import numpy as np
import pytest

from samples import clean_item, noisy_item
from vorun.evaluation.measures import Measurement, level_db, measure, measure_all, peak_db
from vorun.evaluation.results import Results
from vorun.evaluation.si_sdr import si_sdr


def test_only_the_speech_counts_for_speech_and_only_the_pause_for_noise():
    item = noisy_item(5)
    restored = item.mixture.copy()
    restored[item.pause] *= 0.1
    restored[:item.pause.start] = 3
    restored[item.speech.stop:] = 3
    before, after = measure("a", item, item.mixture), measure("a", item, restored)
    assert (after.si_sdr_db, after.stoi) == (before.si_sdr_db, before.stoi)
    assert before.noise_db == 0 and after.noise_db == pytest.approx(-20, abs=1e-4)
    part = item.speech
    assert after.si_sdr_db == si_sdr(item.clean[part], item.mixture[part])


def test_clean_speech_has_no_noise_to_change_and_a_copy_is_finite():
    item = clean_item()
    result = measure("a", item, item.mixture)
    assert np.isnan(result.noise_db) and result.si_sdr_db == 100
    assert result.stoi == pytest.approx(1)


def test_silence_where_nobody_speaks_is_finite():
    item = noisy_item(5)
    assert measure("a", item, item.clean).noise_db == pytest.approx(
        -120 - level_db(item.mixture[item.pause]))


def test_a_result_of_another_length_is_refused():
    item = noisy_item()
    with pytest.raises(ValueError, match="shift gives"):
        measure("shift", item, item.mixture[1:])


def test_levels_are_those_of_full_scale():
    sine = np.sin(np.arange(48000) * 0.1)
    assert level_db(sine) == pytest.approx(-3.01, abs=0.01)
    assert level_db(np.zeros(10)) == -120
    assert peak_db(np.array([0.1, -0.5])) == pytest.approx(-6.02, abs=0.01)
    assert peak_db(np.zeros(10)) == -np.inf and peak_db(np.zeros(0)) == -np.inf


def made() -> Results:
    """Two files of two families at two ratios; the model gains 5, 7 at 0 dB and 1, 3 at 10 dB."""
    rows = []
    for family, gain, stoi, noise in (("rain", 5, 0.1, -10.0), ("white", 7, 0.2, -20.0)):
        for ratio, less in ((0, 0), (10, 4)):
            rows.append(Measurement("unprocessed", "v", family, ratio, ratio - 2.0, 0.5, 0.0))
            rows.append(Measurement("model", "v", family, ratio, ratio - 2.0 + gain - less,
                                    0.5 + stoi, noise))
    rows.append(Measurement("unprocessed", "v", "clean", np.inf, 100.0, 1.0, np.nan))
    rows.append(Measurement("model", "v", "clean", np.inf, 40.0, 0.99, np.nan))
    return Results(rows)


def test_means_are_over_what_is_asked_for():
    results = made()
    assert results.systems == ["unprocessed", "model"]
    assert results.families == ["rain", "white"] and results.ratios == [0, 10]
    assert results.si_sdr_gain("model") == pytest.approx(4)
    assert results.si_sdr_gain("model", 0) == pytest.approx(6)
    assert results.si_sdr_gain("model", 10, "white") == pytest.approx(3)
    assert results.si_sdr_gain("unprocessed") == 0
    assert results.stoi("model", 0) == pytest.approx(0.65)
    assert results.stoi_gain("model", family="rain") == pytest.approx(0.1)
    assert results.noise_change("model") == pytest.approx(-15)
    assert results.clean("model") == (40, 0.99)
    assert np.isnan(results.stoi("nobody"))


def test_every_file_is_a_line_of_the_csv(tmp_path):
    results = made()
    results.write_csv(tmp_path / "all.csv")
    with open(tmp_path / "all.csv", newline="") as file:
        rows = list(csv.DictReader(file))
    assert len(rows) == len(results.measurements)
    assert list(rows[0]) == [field.name for field in dataclasses.fields(Measurement)]
    assert rows[1] == {"system": "model", "voice": "v", "family": "rain", "ratio": "0",
                       "si_sdr_db": "3.0000", "stoi": "0.6000", "noise_db": "-10.0000"}
    assert rows[-1]["ratio"] == "inf" and rows[-1]["noise_db"] == "nan"


def test_all_files_go_through_the_system():
    items = [noisy_item(0), noisy_item(10)]
    results = measure_all("quiet", lambda item: 0.5 * item.mixture, items)
    assert [(one.system, one.ratio) for one in results] == [("quiet", 0), ("quiet", 10)]
    assert results[0].noise_db == pytest.approx(-6.02, abs=0.01)
