"""The training itself: steps, the running mean of the weights, checkpoints.

A step depends on the configuration and its number alone, so that a training that is interrupted and
goes on from its checkpoint ends with the weights of one that was not.
"""

from __future__ import annotations

import copy
import math
import os
import signal
import time
from dataclasses import asdict
from pathlib import Path
from typing import Any, Callable, Iterator, Optional, Union

import numpy as np
import torch
from torch import Tensor, nn
from torch.utils.data import DataLoader, Dataset

from ..data.mixing import Mixer
from ..data.voices import TRAINING
from .config import Config, TrainSettings
from .losses import total_loss
from .network import AUDIO, Denoiser
from .validation import Figures, Validation

CHECKPOINT = "checkpoint.pt"
Row = dict[str, float]


class Trainer:
    """A training whose state is in a folder.

    data    folder of a corpus
    output  folder of the checkpoint; one of the same configuration that lies there is gone on with
    report  takes a line for people
    """

    def __init__(self, config: Config, data: Union[str, os.PathLike],
                 output: Union[str, os.PathLike],
                 report: Callable[[str], None] = lambda line: None) -> None:
        settings = config.training
        torch.set_num_threads(settings.threads)
        torch.manual_seed(settings.seed)
        self.config, self._report = config, report
        self._device = device_of(settings.device)
        self._checkpoint = Path(output) / CHECKPOINT
        Path(output).mkdir(parents=True, exist_ok=True)
        self.network = self._placed(Denoiser(config.network))
        # What is validated and exported: weights that no longer jump from step to step.
        self.average = copy.deepcopy(self.network).eval()
        self.best = copy.deepcopy(self.average)
        self.best_figures: Optional[Figures] = None
        self._optimiser = torch.optim.AdamW(self.network.parameters(), settings.learning_rate,
                                            betas=(0.9, 0.98), weight_decay=settings.weight_decay)
        self.step, self._elapsed, self._stopping = 0, 0.0, False
        self.curves: list[Row] = []
        self.validations: list[Row] = []
        self._resume()
        self._mixer = Mixer(data, TRAINING, config.mix, settings.seed)
        self._validation = Validation(data, config.mix, config.validation)

    @property
    def done(self) -> bool:
        """Steps or minutes are used up."""
        return self.progress >= 1

    @property
    def progress(self) -> float:
        """0 to 1. By the clock where the steps would take longer than they may."""
        settings = self.config.training
        return max(self.step / settings.steps, self._elapsed / (60 * settings.minutes))

    @property
    def minutes(self) -> float:
        return self._elapsed / 60

    def stop(self) -> None:
        """Makes run() end after the step that is under way. For signal handlers."""
        self._stopping = True

    def run(self, steps: Optional[int] = None) -> bool:
        """Trains until done, or for so many steps, and saves a checkpoint. False if stop() ended it
        before.
        """
        last = self.config.training.steps if steps is None else self.step + steps
        last = min(last, self.config.training.steps)
        running: dict[str, float] = {}
        batches = self._batches(last)
        self._stopping = False
        while self.step < last and not self.done and not self._stopping:
            start = time.monotonic()
            self._take(*next(batches), running)
            self._elapsed += time.monotonic() - start
            if self.step % self.config.training.validate_every == 0 or self.done:
                start = time.monotonic()
                self._validate()
                self._elapsed += time.monotonic() - start
                self._save()
        self._save()
        return self.step >= last or self.done

    def _take(self, speech: Tensor, noise: Tensor, running: dict[str, float]) -> None:
        """One step."""
        settings = self.config.training
        rate = learning_rate(settings, self.step, self.progress)
        for group in self._optimiser.param_groups:
            group["lr"] = rate
        loss, terms = self._loss(speech, noise)
        self._optimiser.zero_grad(set_to_none=True)
        loss.backward()
        norm = nn.utils.clip_grad_norm_(self.network.parameters(), settings.gradient_norm)
        if torch.isfinite(norm):
            self._optimiser.step()
        self.step += 1
        self._follow()
        self._note({"loss": float(loss.detach()), **terms, "gradient": float(norm)}, rate, running)

    def _loss(self, speech: Tensor, noise: Tensor) -> tuple[Tensor, dict[str, float]]:
        with torch.no_grad():
            wanted = AUDIO.analyse(speech.to(self._device)[:, None])
            mixture = wanted + AUDIO.analyse(noise.to(self._device)[:, None])
            features = AUDIO.features(mixture).contiguous(memory_format=torch.channels_last)
        return total_loss(self.network(features), mixture, wanted, self.config.loss)

    def _follow(self) -> None:
        """The mean moves, at the start faster."""
        kept = min(self.config.training.average, (1 + self.step) / (10 + self.step))
        with torch.no_grad():
            for mean, value in zip(self.average.state_dict().values(),
                                   self.network.state_dict().values()):
                if mean.is_floating_point():
                    mean.lerp_(value, 1 - kept)
                else:
                    mean.copy_(value)

    def _note(self, values: dict[str, float], rate: float, running: dict[str, float]) -> None:
        every = self.config.training.report_every
        for name, value in values.items():
            running[name] = running.get(name, 0.0) + value / every
        if self.step % every:
            return
        row = {"step": self.step, "minutes": self._elapsed / 60, "rate": rate, **running}
        running.clear()
        self.curves.append(row)
        self._report(f"step {self.step}  {row['minutes']:.1f} min  " +
                     "  ".join(f"{name} {row[name]:.4f}" for name in values))

    def _validate(self) -> None:
        figures = self._validation.run(self.average)
        if self.best_figures is None or figures.score > self.best_figures.score:
            self.best_figures = figures
            self.best.load_state_dict(self.average.state_dict())
        self.validations.append({"step": self.step, **asdict(figures)})
        self._report(f"step {self.step}: SI-SDR {figures.si_sdr_gain:+.2f} dB, STOI "
                     f"{figures.stoi_gain:+.4f}, clean {figures.clean:.1f} dB, score "
                     f"{figures.score:.2f}, best {self.best_figures.score:.2f}")

    def _batches(self, last: int) -> Iterator[tuple[Tensor, Tensor]]:
        settings = self.config.training
        steps = _Steps(self._mixer, settings.batch)
        return iter(DataLoader(steps, batch_size=None, sampler=range(self.step, last),
                               num_workers=settings.workers, worker_init_fn=_prepare_worker,
                               **({"prefetch_factor": 6} if settings.workers else {})))

    def _placed(self, network: nn.Module) -> nn.Module:
        return network.to(self._device).to(memory_format=torch.channels_last)

    def _save(self) -> None:
        """Written beside and moved, so that there is always a whole one."""
        best = self.best_figures
        state = {"config": self.config.as_dict(), "step": self.step, "elapsed": self._elapsed,
                 "network": self.network.state_dict(), "average": self.average.state_dict(),
                 "best": self.best.state_dict(), "optimiser": self._optimiser.state_dict(),
                 "best_figures": asdict(best) if best else None, "curves": self.curves,
                 "validations": self.validations, "random": torch.get_rng_state()}
        part = self._checkpoint.with_suffix(".part")
        torch.save(state, part)
        os.replace(part, self._checkpoint)

    def _resume(self) -> None:
        if not self._checkpoint.exists():
            return
        state = torch.load(self._checkpoint, map_location=self._device)
        require_same(state["config"], self.config.as_dict(), self._checkpoint)
        self.network.load_state_dict(state["network"])
        self.average.load_state_dict(state["average"])
        self.best.load_state_dict(state["best"])
        self._optimiser.load_state_dict(state["optimiser"])
        self.step, self._elapsed = state["step"], state["elapsed"]
        if state["best_figures"]:
            self.best_figures = Figures(**state["best_figures"])
        self.curves, self.validations = state["curves"], state["validations"]
        torch.set_rng_state(state["random"].cpu())
        self._report(f"goes on at step {self.step}")


def _prepare_worker(_) -> None:
    """A terminal interrupts all processes; the one that trains tells the others when to end."""
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    signal.signal(signal.SIGTERM, signal.SIG_DFL)
    torch.set_num_threads(1)


class _Steps(Dataset):
    """The batch of each step."""

    def __init__(self, mixer: Mixer, size: int) -> None:
        self._mixer, self._size = mixer, size

    def __getitem__(self, step: int) -> tuple[np.ndarray, np.ndarray]:
        return tuple(torch.from_numpy(part) for part in self._mixer.batch(step, self._size))


def learning_rate(settings: TrainSettings, step: int, progress: float) -> float:
    """Rises over the first steps, then falls as a half cosine."""
    rise = min(1.0, (step + 1) / max(1, settings.warm_up))
    fall = 0.5 + 0.5 * math.cos(math.pi * min(1.0, progress))
    span = settings.learning_rate - settings.last_learning_rate
    return settings.last_learning_rate + span * rise * fall


def device_of(name: str) -> torch.device:
    if name != "auto":
        return torch.device(name)
    return torch.device("cuda" if torch.cuda.is_available() else "cpu")


# What may change between a checkpoint and its continuation: nothing that the weights depend on.
_FREE = ("minutes", "threads", "workers", "device", "report_every")


def require_same(saved: dict[str, Any], wanted: dict[str, Any], path: Path) -> None:
    """Raises ValueError where a checkpoint was made by another configuration."""
    def fixed(config: dict[str, Any]) -> dict[str, Any]:
        training = {key: value for key, value in config["training"].items() if key not in _FREE}
        return {**config, "training": training}

    if fixed(saved) != fixed(wanted):
        raise ValueError(f"'{path}' was made by another configuration: choose another folder or "
                         "remove it")
