"""python3 -m fourtapscale --selftest: proves the library on this machine."""

from __future__ import annotations

import argparse
import sys

from . import __version__, _core


def main() -> int:
    parser = argparse.ArgumentParser(prog="python3 -m fourtapscale", description="Resizes 8-bit pictures.")
    parser.add_argument("--version", action="version", version=f"fourtapscale {__version__}")
    parser.add_argument("--selftest", action="store_true", required=True,
                        help="run every scaler of the library in this package against its model, print digests that "
                             "are the same on every machine, and end with status 1 where something disagrees")
    parser.parse_args()
    return 0 if _core.selftest(lambda line: print(line, flush=True)) else 1


if __name__ == "__main__":
    sys.exit(main())
