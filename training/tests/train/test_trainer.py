"""Training: it learns, it goes on where it was stopped, and it writes what it should."""

import json
import subprocess
import sys
from dataclasses import replace

import numpy as np
import pytest
import torch

from vorun.data.mixing import MixSettings
from vorun.train.config import Config, TrainSettings, ValidationSettings, config_of, read_config
from vorun.train.network import NetworkSettings
from vorun.train.trainer import Trainer, learning_rate

SIZES = NetworkSettings(stairs=4, head=2, fine=4, middle=4, coarse=8, coarse_dilations=(1, 2),
                        middle_dilations=(1,), dense_after=(0,), level_frames=16)
QUICK = TrainSettings(steps=8, batch=2, warm_up=2, validate_every=4, report_every=2, workers=0,
                      device="cpu")
CONFIG = Config(network=SIZES, mix=MixSettings(seconds=0.7), training=QUICK,
                validation=ValidationSettings(items=1, seconds=1.5, ratios=(5.0,), clean_items=1))


def weights(network):
    return torch.cat([value.flatten().double() for value in network.state_dict().values()])


def trained(corpus, folder, *runs, config=CONFIG):
    """After so many steps in each of several sessions."""
    for steps in runs:
        trainer = Trainer(config, corpus, folder)
        trainer.run(steps)
    return trainer


@pytest.fixture(scope="module")
def whole(corpus, tmp_path_factory):
    return trained(corpus, tmp_path_factory.mktemp("whole"), None)


@pytest.mark.parametrize("runs", [(4, None), (3, 2, None)])
def test_an_interrupted_training_ends_as_one_that_was_not(corpus, tmp_path, whole, runs):
    again = trained(corpus, tmp_path, *runs)
    assert again.step == whole.step == 8 and again.done
    for name in ("network", "average", "best"):
        assert torch.equal(weights(getattr(again, name)), weights(getattr(whole, name))), name
    assert again.validations == whole.validations


def test_a_process_that_mixes_changes_nothing(corpus, tmp_path, whole):
    config = replace(CONFIG, training=replace(QUICK, workers=1))
    again = trained(corpus, tmp_path, None, config=config)
    assert torch.equal(weights(again.network), weights(whole.network))


def test_another_seed_is_another_training(corpus, tmp_path, whole):
    config = replace(CONFIG, training=replace(QUICK, seed=2))
    other = trained(corpus, tmp_path, None, config=config)
    assert not torch.equal(weights(other.network), weights(whole.network))


def test_a_checkpoint_of_another_configuration_is_refused(corpus, tmp_path):
    trained(corpus, tmp_path, 1)
    with pytest.raises(ValueError, match="another configuration"):
        Trainer(replace(CONFIG, mix=MixSettings(seconds=0.8)), corpus, tmp_path)
    longer = replace(CONFIG, training=replace(QUICK, minutes=1.0))
    assert Trainer(longer, corpus, tmp_path).step == 1


def test_the_clock_ends_it(corpus, tmp_path):
    config = replace(CONFIG, training=replace(QUICK, steps=10 ** 6, minutes=1e-4))
    trainer = trained(corpus, tmp_path, None, config=config)
    assert trainer.step < 10 and trainer.done and trainer.best_figures is not None


def test_the_loss_falls(corpus, tmp_path):
    """On one mixture again and again: those of a few steps differ more than the steps gain."""
    settings = replace(QUICK, steps=40, learning_rate=1e-2, report_every=1)
    trainer = Trainer(replace(CONFIG, training=settings), corpus, tmp_path)
    mixture = next(trainer._batches(1))
    for _ in range(settings.steps):
        trainer._take(*mixture, {})
    losses = [row["loss"] for row in trainer.curves]
    assert len(losses) == settings.steps and losses[-1] < 0.8 * losses[0]


def test_the_best_is_kept_not_the_last(corpus, tmp_path):
    trainer = Trainer(CONFIG, corpus, tmp_path)
    trainer.run(4)
    best = weights(trainer.best)
    trainer.best_figures = replace(trainer.best_figures, score=1e9)
    trainer.run()
    assert torch.equal(weights(trainer.best), best)
    assert not torch.equal(weights(trainer.average), best)


def test_a_signal_ends_it_after_a_whole_step(corpus, tmp_path, whole):
    trainer = Trainer(CONFIG, corpus, tmp_path, lambda line: trainer.stop())
    assert not trainer.run() and trainer.step == QUICK.report_every
    again = Trainer(CONFIG, corpus, tmp_path)
    assert again.step == trainer.step and again.run()
    assert torch.equal(weights(again.network), weights(whole.network))


def test_the_learning_rate_rises_and_falls_to_its_last():
    settings = TrainSettings(steps=100, warm_up=10, learning_rate=1.0, last_learning_rate=0.1)
    rates = [learning_rate(settings, step, step / 100) for step in range(101)]
    assert rates[0] == pytest.approx(0.19) and max(rates) == rates[9] > 0.97
    assert np.all(np.diff(rates[9:]) < 0) and rates[100] == pytest.approx(0.1)


def test_a_configuration_comes_back_from_its_file(tmp_path):
    file = tmp_path / "config.json"
    file.write_text(json.dumps(CONFIG.as_dict()))
    assert read_config(file) == CONFIG
    file.write_text('{"loss": {"lost": 3.0}}')
    assert read_config(file).loss.lost == 3.0 and read_config(file).network == NetworkSettings()


@pytest.mark.parametrize("sections, match", [({"los": {}}, "no section los"),
                                             ({"loss": {"lots": 1}}, "loss has no lots")])
def test_misspelt_settings_are_refused(sections, match):
    with pytest.raises(ValueError, match=match):
        config_of(sections)


def test_the_command_writes_model_card_curves_and_configuration(corpus, tmp_path):
    config = tmp_path / "config.json"
    config.write_text(json.dumps(CONFIG.as_dict()))
    command = [sys.executable, "-m", "vorun.train", "--data", str(corpus), "--output",
               str(tmp_path / "out"), "--config", str(config)]
    for steps in ("4", "4"):
        result = subprocess.run([*command, "--steps", steps], capture_output=True, text=True,
                                env=_environment())
        assert result.returncode == 0, result.stderr
    out = tmp_path / "out"
    assert (out / "model.vorun").stat().st_size > 1000
    card = (out / "card.md").read_text()
    assert "16 ms" in card and f"--output {out}" in card and "3 voices" in card
    assert json.loads((out / "config.json").read_text())["training"]["steps"] == 4
    assert len((out / "curves.csv").read_text().splitlines()) == 3
    assert len((out / "validation.csv").read_text().splitlines()) == 2


def test_the_command_tells_what_is_missing(tmp_path):
    command = [sys.executable, "-m", "vorun.train", "--data", str(tmp_path / "none"), "--output",
               str(tmp_path / "out")]
    result = subprocess.run(command, capture_output=True, text=True, env=_environment())
    assert result.returncode == 1 and "holds no clips" in result.stderr


def _environment():
    import os
    from pathlib import Path

    import vorun
    return {**os.environ, "PYTHONPATH": str(Path(vorun.__file__).parents[1])}
