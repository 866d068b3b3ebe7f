"""Makes the clips that training mixes. What is there already is kept, so that it can be stopped
and started again."""

from __future__ import annotations

import argparse
import os
import sys
import time

from .corpus import NOISE, SPEECH, Clips, make_shards
from .recipe import FULL, TINY, made_shards, make, recorded_shards
from .voices import SPLITS, missing_programs


def main() -> int:
    options = _parse()
    missing = missing_programs()
    if missing and not options.without_made:
        print(f"vorun.data: not installed, and their voices left out: {', '.join(missing)}",
              file=sys.stderr)
    shards = [] if options.without_made else made_shards(TINY if options.tiny else FULL,
                                                         options.seed)
    try:
        shards += recorded_shards(SPEECH, options.speech) + recorded_shards(NOISE, options.noise)
    except ValueError as error:
        print(f"vorun.data: {error}", file=sys.stderr)
        return 1
    start = time.monotonic()
    count = make_shards(options.output, shards, make, options.jobs,
                        lambda line: print(line, flush=True))
    print(f"made {count} of {len(shards)} shards in {time.monotonic() - start:.0f} s")
    for split in SPLITS:
        for kind in (SPEECH, NOISE):
            try:
                clips = Clips(options.output, split, kind)
            except ValueError as error:
                print(f"vorun.data: {error}", file=sys.stderr)
                return 1
            print(f"{split} {kind}: {len(clips)} clips, {clips.seconds / 60:.0f} minutes, "
                  f"{len(set(clips.names))} kinds")
    return 0


def _parse() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="vorun.data", description=__doc__)
    parser.add_argument("--output", required=True, help="folder of the clips")
    parser.add_argument("--speech", action="append", default=[],
                        help="folder of recorded speech, a folder for each voice; repeatable")
    parser.add_argument("--noise", action="append", default=[],
                        help="folder of recorded noise, a folder for each kind; repeatable")
    parser.add_argument("--without-made", action="store_true", help="recordings alone")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1, help="processes")
    parser.add_argument("--tiny", action="store_true", help="a few seconds of each, for a try")
    return parser.parse_args()


if __name__ == "__main__":
    sys.exit(main())
