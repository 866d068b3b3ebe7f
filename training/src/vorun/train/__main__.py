"""Trains a speech denoiser, and writes its model file, card, curves and configuration. Started
again with the same folder it goes on where it was stopped."""

from __future__ import annotations

import argparse
import ctypes
import signal
import sys
from dataclasses import replace
from pathlib import Path

from .card import export_best, write_card
from .config import Config, read_config
from .curves import write_curves
from .trainer import Trainer


def main() -> int:
    options = _parse()
    keep_freed_memory()
    output = Path(options.output)
    try:
        config = _config(options)
        trainer = Trainer(config, options.data, output, lambda line: print(line, flush=True))
    except (OSError, ValueError) as error:
        print(f"vorun.train: {error}", file=sys.stderr)
        return 1
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, lambda *_: trainer.stop())
    finished = trainer.run()
    if not finished:
        print(f"stopped at step {trainer.step}; the same command goes on")
    files = write_curves(trainer, output)
    if trainer.best_figures:
        command = ["python3", "-m", "vorun.train", *sys.argv[1:]]
        report = export_best(trainer, output)
        write_card(trainer, report, output, command, options.data)
        files.append(Path(report.path))
    print("wrote " + ", ".join(str(file) for file in files))
    return 0 if finished else 130


def keep_freed_memory() -> None:
    """Steps allocate the same large blocks again and again. To give them back to the system in
    between costs a fifth of the time, in page faults.
    """
    trim_threshold, top_pad, mmap_max = -1, -2, -4
    try:
        mallopt = ctypes.CDLL(None).mallopt
    except (AttributeError, OSError):
        return
    mallopt(mmap_max, 0)
    mallopt(trim_threshold, 2 ** 31 - 1)
    mallopt(top_pad, 256 * 2 ** 20)


def _config(options: argparse.Namespace) -> Config:
    config = read_config(options.config) if options.config else Config()
    changes = {name: value for name in ("steps", "minutes", "threads", "workers", "seed", "device")
               if (value := getattr(options, name)) is not None}
    return replace(config, training=replace(config.training, **changes))


def _parse() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="vorun.train", description=__doc__)
    parser.add_argument("--data", required=True, help="folder that vorun.data has filled")
    parser.add_argument("--output", required=True, help="folder of checkpoint, model and card")
    parser.add_argument("--config", help="JSON file; see config.py")
    for name, kind, text in (("steps", int, "at which it ends"),
                             ("minutes", float, "after which it ends anyhow"),
                             ("threads", int, "of PyTorch"),
                             ("workers", int, "processes that mix"),
                             ("seed", int, "of weights and mixtures"),
                             ("device", str, "cpu or cuda; auto takes a GPU if there is one")):
        parser.add_argument(f"--{name}", type=kind, help=text)
    return parser.parse_args()


if __name__ == "__main__":
    sys.exit(main())
