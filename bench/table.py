#!/usr/bin/python3
"""Prints, as README has it, the table of what fourtap_bench wrote with --csv: ns per output pixel, minima."""

import sys

from plot import read_frames

SETS = {"fourtap-sse2": "SSE2", "fourtap-avx2": "AVX2", "fourtap-avx512": "AVX-512", "fourtap-neon": "NEON"}


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: table.py RESULTS.csv")
    cases = {}
    for row in read_frames(sys.argv[1]):
        cases.setdefault((row["layout"], row["case"]), []).append(row)
    sets = [name for name in SETS if any(row["scaler"] == name for rows in cases.values() for row in rows)]
    print("| ns per output pixel | copy |", " | ".join(SETS[name] for name in sets), "| fastest cubic peer |")
    print("|---|---|" + "---|" * (len(sets) + 1))
    for (layout, case), rows in cases.items():
        time = {row["scaler"]: float(row["ns_min"]) for row in rows}
        peers = [row for row in rows if row["taps"] in ("4", "wider") and not row["scaler"].startswith("fourtap-")]
        if not peers:
            continue
        fastest = min(peers, key=lambda row: float(row["ns_min"]))
        wider = " (wider)" if fastest["taps"] == "wider" else ""
        figures = [f"{time[name]:.3f}" for name in ("copy", *sets)]
        print(f"| {layout} {case.replace('-', ' to ')} |", " | ".join(figures),
              f"| {float(fastest['ns_min']):.3f} {fastest['scaler']}{wider} |")


if __name__ == "__main__":
    main()
