"""What files are run through, and the delays that are taken out."""

import numpy as np
import pytest

from samples import clean_item, constant_mask, noisy_item
from vorun.evaluation.measures import measure
from vorun.evaluation.peers import PEERS, available_peers
from vorun.evaluation.systems import (Aligned, EngineSystem, IdealMask, Unprocessed, delay_of)

RATE = 48000


class Late:
    name = "late"

    def __init__(self, delay: int, gain: float = 0.7) -> None:
        self.delay, self.gain = delay, gain

    def process(self, samples, sample_rate):
        moved = np.pad(samples, (max(0, self.delay), max(0, -self.delay)))
        return self.gain * moved[max(0, -self.delay):][:len(samples)]


@pytest.mark.parametrize("delay", [0, 1, 480, 5999, -37])
def test_a_constant_delay_is_found_and_taken_out(delay):
    aligned = Aligned(Late(delay), clean_item().clean, RATE)
    assert aligned.delay == delay
    item = noisy_item()
    restored = aligned.restore(item)
    assert restored.shape == item.mixture.shape
    kept = slice(max(0, -delay), len(restored) - max(0, -delay))
    assert np.allclose(restored[kept], 0.7 * item.mixture[kept])


def test_delays_of_both_signs():
    pulse = np.zeros(500)
    pulse[200] = 1
    assert delay_of(pulse, np.roll(pulse, 30), 100) == 30
    assert delay_of(pulse, np.roll(pulse, -30), 100) == -30


def test_a_mask_of_ones_changes_nothing(library, save):
    """The engine's output is aligned, and every measure stays that of the noisy file."""
    system = EngineSystem(save(constant_mask(1.0)), library=library)
    aligned = Aligned(system, clean_item().clean, RATE)
    assert aligned.delay == 0
    for item in (noisy_item(-5), noisy_item(10)):
        before = measure("before", item, item.mixture)
        after = measure("after", item, aligned.restore(item))
        assert after.si_sdr_db == pytest.approx(before.si_sdr_db, abs=1e-3)
        assert after.stoi == pytest.approx(before.stoi, abs=1e-5)
        assert after.noise_db == pytest.approx(0, abs=1e-3)
    clean = measure("after", clean_item(), aligned.restore(clean_item()))
    assert clean.si_sdr_db >= 100 and clean.stoi == pytest.approx(1)


def test_the_residual_is_muted(library, save):
    """Half a mask halves the level of everything, which neither measure of speech may see."""
    system = EngineSystem(save(constant_mask(0.5)), library=library)
    item = noisy_item(5)
    before, after = (measure("", item, samples) for samples in
                     (item.mixture, system.process(item.mixture, RATE)))
    assert after.noise_db == pytest.approx(20 * np.log10(0.5), abs=1e-3)
    assert after.si_sdr_db == pytest.approx(before.si_sdr_db, abs=1e-3)


def test_a_system_is_named_after_its_file(library, save):
    assert EngineSystem(save(constant_mask(1.0), "quiet.vorun")).name == "quiet"


def test_the_ideal_mask_is_far_above_the_noise(save):
    pytest.importorskip("torch")
    ideal = IdealMask(save(constant_mask(1.0)))
    item = noisy_item(0)
    before = measure("", item, item.mixture)
    after = measure("", item, ideal.restore(item))
    assert after.si_sdr_db > before.si_sdr_db + 8 and after.noise_db < -60
    voice = clean_item()
    assert np.abs(ideal.restore(voice) - voice.clean).max() < 1e-5


def test_peers_keep_the_voice_and_lower_the_noise():
    found, missing = available_peers()
    assert len(found) + len(missing) == len(PEERS)
    item = noisy_item(10)
    for system in found:
        aligned = Aligned(system, clean_item().clean, RATE)
        restored = aligned.restore(item)
        assert restored.shape == item.mixture.shape and restored.dtype == np.float32
        result = measure(system.name, item, restored)
        assert result.noise_db < -4, system.name
        assert result.stoi > 0.8, system.name
        assert 0 <= aligned.delay <= 1440, system.name


def test_a_missing_peer_is_left_out_and_named(monkeypatch):
    monkeypatch.setenv("PATH", "/nonexistent")
    monkeypatch.setattr("ctypes.util.find_library", lambda name: None)
    found, missing = available_peers()
    assert not found
    assert [text.split(" is left out")[0] for text in missing] == [
        "speexdsp", "speexdsp", "webrtc-audio-processing", "afftdn"]


def test_unprocessed_is_the_file_itself():
    item = noisy_item()
    assert Unprocessed().process(item.mixture, RATE) is not None
    assert np.array_equal(Unprocessed().process(item.mixture, RATE), item.mixture)
