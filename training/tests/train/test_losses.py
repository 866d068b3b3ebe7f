"""The loss: nothing for a perfect mask, and more for lost speech than for noise that is left."""

from dataclasses import replace

import pytest
import torch

from vorun.train.losses import LossSettings, total_loss

NOTHING = LossSettings(magnitude=0, complex=0, ratio=0, correlation=0)


def spectra(seed, frames=100):
    generator = torch.Generator().manual_seed(seed)
    parts = torch.randn(2, 2, 1, frames, 513, generator=generator)
    return torch.complex(parts[0], parts[1])


def value(mask, mixture, speech, **weights):
    return float(total_loss(mask, mixture, speech, replace(NOTHING, **weights))[0])


def test_a_perfect_mask_costs_nothing():
    speech = spectra(1)
    mask = torch.ones(speech.shape)
    for term in ("magnitude", "complex", "correlation"):
        assert value(mask, speech, speech, **{term: 1.0}) == pytest.approx(0, abs=1e-3)
    assert value(mask, speech, speech, ratio=1.0) == pytest.approx(-30, abs=0.1)


@pytest.mark.parametrize("lost, share", [(0.0, 1.0), (1.0, 2.0), (3.0, 4.0)])
def test_speech_that_is_lost_costs_more_by_its_factor(lost, share):
    # Exactly as far below the speech as above it, where errors are compared.
    speech = torch.full((1, 1, 10, 513), 1 + 0j)
    low, high = ((1 + sign * 0.2) ** (1 / 0.3) for sign in (-1, 1))
    costs = [value(torch.full(speech.shape, gain), speech, speech, magnitude=1.0, lost=lost)
             for gain in (low, high)]
    assert costs[0] / costs[1] == pytest.approx(share, rel=2e-3)
    assert costs[1] == pytest.approx(0.04, rel=2e-3)


def test_a_mask_closer_to_the_ideal_costs_less_in_every_term():
    speech, noise = spectra(1), spectra(2)
    # Syllables, so that envelopes have something to follow.
    speech = speech * (1 + torch.sin(torch.arange(100) * 0.3)).view(1, 1, -1, 1)
    ideal = speech.abs() / (speech.abs() + noise.abs())
    for term in ("magnitude", "complex", "ratio", "correlation"):
        costs = [value(share * ideal + (1 - share), speech + noise, speech, **{term: 1.0})
                 for share in (0.0, 0.5, 1.0)]
        assert costs[0] > costs[1] > costs[2], term


def test_the_level_does_not_matter():
    speech, noise = spectra(1), spectra(2)
    mask = torch.full(speech.shape, 0.7)
    costs = [float(total_loss(mask, gain * (speech + noise), gain * speech, LossSettings())[0])
             for gain in (1e-3, 1.0)]
    assert costs[0] == pytest.approx(costs[1], rel=1e-3)


def test_silence_has_finite_gradients_and_wants_a_shut_mask():
    noise, silence = spectra(1), torch.zeros(2, 1, 100, 513, dtype=torch.complex64)
    mask = torch.full(noise.shape, 0.5, requires_grad=True)
    for mixture in (noise, silence):
        mask.grad = None
        total_loss(mask, mixture, silence, LossSettings())[0].backward()
        assert torch.isfinite(mask.grad).all()
    total_loss(mask, noise, silence, LossSettings())[0].backward()
    assert (mask.grad > 0).all()


def test_short_items_have_no_correlation():
    speech = spectra(1, frames=20)
    assert value(torch.zeros(speech.shape), speech, speech, correlation=1.0) == 0


def test_the_terms_are_given_without_their_weights():
    speech, noise = spectra(1), spectra(2)
    mask = torch.full(speech.shape, 0.5)
    settings = LossSettings()
    total, terms = total_loss(mask, speech + noise, speech, settings)
    weighted = sum(getattr(settings, name) * term for name, term in terms.items())
    assert float(total) == pytest.approx(weighted, rel=1e-5)
