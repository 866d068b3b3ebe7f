"""python3 -m vorun.evaluation MODEL --out DIR [--readme FILE]"""

from __future__ import annotations

import argparse
import sys
from pathlib import Path
from typing import Optional, Sequence

from ..model_file import ModelFileError
from .evaluation import Options, evaluate
from .goals import verdicts
from .items import RATIOS
from .noises import FAMILIES
from .report import BEGIN, END, insert_into, write_report
from .voices import PROMPTS


def main(arguments: Optional[Sequence[str]] = None) -> int:
    asked = _parser().parse_args(arguments)
    options = Options(asked.voices, asked.families, asked.ratios, asked.seed, not asked.no_peers,
                      minutes=asked.minutes, library=asked.library)
    try:
        evaluation = evaluate(asked.model, options, lambda text: print(text, flush=True))
        written = write_report(evaluation, asked.out, asked.seed, asked.library)
        if asked.readme:
            insert_into(asked.readme, evaluation,
                        [file for file in written if file.suffix == ".png"])
    except (OSError, ValueError, RuntimeError, ModelFileError) as error:
        print(f"evaluation: {error}", file=sys.stderr)
        return 1
    for text in evaluation.missing:
        print(text)
    for one in verdicts(evaluation):
        print(f"{'reached' if one.reached else 'MISSED '}  {one.what}: {one.measured} "
              f"(goal: {one.goal})")
    for file in written:
        print(file)
    return 0


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="python3 -m vorun.evaluation",
        description="Measures a model on recorded voices in noise, beside other programs.")
    parser.add_argument("model", type=Path, help="a model file")
    parser.add_argument("--out", type=Path, required=True, metavar="DIR",
                        help="where tables, measurements and pictures go")
    parser.add_argument("--readme", type=Path, metavar="FILE",
                        help=f"a document whose part between '{BEGIN.format('MODEL')}' and "
                             f"'{END.format('MODEL')}' is replaced by the tables")
    parser.add_argument("--library", metavar="FILE", help="the engine's shared library")
    parser.add_argument("--seed", type=int, default=1, help="of the noises (default: 1)")
    parser.add_argument("--voices", nargs="+", choices=PROMPTS, metavar="VOICE",
                        help=f"of {', '.join(PROMPTS)} (default: all)")
    parser.add_argument("--families", nargs="+", choices=list(FAMILIES), metavar="FAMILY",
                        help=f"of {', '.join(FAMILIES)} (default: all)")
    parser.add_argument("--ratios", nargs="+", type=float, default=RATIOS, metavar="DB",
                        help="of voice to noise (default: -5 to 20)")
    parser.add_argument("--minutes", type=float, default=10,
                        help="of the long run (default: 10; 0 for none)")
    parser.add_argument("--no-peers", action="store_true", help="leave other programs out")
    return parser


if __name__ == "__main__":
    sys.exit(main())
