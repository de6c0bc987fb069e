"""Makes the benchmark bunch, sends it through the chicane and shows what came out.

    run.py [--particles N] [--quick] [--program PATH] [--workdir DIR] [--type none|projected|...]

Every force type runs in a folder of its own below the work folder; `none` always runs too, for comparison.
"""
from __future__ import annotations

import re
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent))
import common  # noqa: E402

from make_bunch import benchmark_bunch  # noqa: E402
from show import show  # noqa: E402

FORCE_TYPE = re.compile(r"^(\s*type\s*=\s*)(none|projected)\b", re.MULTILINE)


def deck_for(kind: str) -> str:
    """The example's deck with another force type."""
    return FORCE_TYPE.sub(lambda found: found[1] + kind, (HERE / "tessar.in").read_text(), count=1)


def main() -> None:
    parser = common.parser(__file__, __doc__, 20000, 2000)
    deck_type = FORCE_TYPE.search((HERE / "tessar.in").read_text())[2]
    parser.add_argument("--type", default=deck_type, choices=["none", "projected"], help="self force")
    options = common.parse(parser)

    bunch = options.workdir / "bunch.dat"
    benchmark_bunch(bunch, options.particles)
    folders = {}
    for kind in dict.fromkeys(["none", options.type]):
        print(f"tracking {options.particles} particles, self force: {kind}", flush=True)
        folders[kind] = options.workdir / kind
        common.run(options.program, folders[kind], deck_for(kind), {"bunch.dat": bunch}, "end.dat")
    show(folders, options.workdir)


if __name__ == "__main__":
    main()
