"""Files and models that the tests of the evaluation share."""

import numpy as np

from vorun.evaluation.items import Item
from vorun.model_file import ConvRecord, ModelFile, ModelHeader, NormRecord


def constant_mask(value: float, **header_fields) -> ModelFile:
    """One mask that is the same in every bin of every frame, with a window of two hops."""
    header = ModelHeader(mask_count=1, bus_names=["Processed", "Residual"], **header_fields)
    layers = [ConvRecord("zero", ["input"], np.zeros((1, 1, 1, 1))),
              NormRecord("mask", ["zero"], [value], np.ones(1))]
    return ModelFile(header, layers, "mask")


def speech_like(rate: int, seconds: float, seed: int = 1) -> np.ndarray:
    """Bursts of a buzz that never has one pitch for long."""
    time = np.arange(round(seconds * rate)) / rate
    turns = 140 * time + 12 * np.sin(2 * np.pi * 0.8 * time)
    buzz = sum(np.sin(2 * np.pi * k * turns + k * k) / k for k in range(1, 25))
    slow = np.random.default_rng(seed).uniform(1, 2)
    return buzz * np.clip(np.sin(2 * np.pi * slow * time), 0, 1) * 0.05


def noisy_item(ratio: float = 5.0, rate: int = 48000, family: str = "white",
               voice: str = "buzz", seed: int = 2) -> Item:
    """As the items of the evaluation, of no recording."""
    speech = speech_like(rate, 1.2)
    clean = np.pad(speech, (3 * rate, round(0.4 * rate))).astype(np.float32)
    noise = np.random.default_rng(seed).normal(0, 0.03, len(clean)).astype(np.float32)
    return Item(voice, family, ratio, rate, clean, noise * np.float32(10 ** (-ratio / 20)))


def clean_item(rate: int = 48000) -> Item:
    noisy = noisy_item(0, rate)
    return Item("buzz", "clean", np.inf, rate, noisy.clean, np.zeros_like(noisy.clean))
