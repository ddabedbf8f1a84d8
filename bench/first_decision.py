#!/usr/bin/env python3
"""Compares the processor time from a script to the first decision of the search.

  first_decision.py --tarq PROGRAM [--solver "z3 sat.max_conflicts=0 smt.max_conflicts=0"] [--largest N]
                    [--runs R] FILE-OR-FOLDER...

The program tells that time itself. For the other solver the whole run is taken; with the default command it
ends at the first conflict, which is soon enough after. With --largest only the largest N files count.
Prints both times of each file, the least of R runs, and their ratio; times below 10 ms count as 10 ms. A
file without any decision is taken by its whole run. Python 3 standard library only.
"""
import argparse
import re
import resource
import shlex
import subprocess
from pathlib import Path

FLOOR = 0.01  # seconds


def run(command, path, seconds=100):
    """The output of a run and its processor time; no output after the time limit."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    try:
        out = subprocess.run(command + [str(path)], capture_output=True, text=True, timeout=seconds).stdout
    except subprocess.TimeoutExpired:
        out = ""
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return out, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--tarq", required=True)
    ap.add_argument("--solver", default="z3 sat.max_conflicts=0 smt.max_conflicts=0")
    ap.add_argument("--largest", type=int)
    ap.add_argument("--runs", type=int, default=3)
    ap.add_argument("paths", nargs="+")
    args = ap.parse_args()
    files = [f for p in map(Path, args.paths) for f in (sorted(p.rglob("*.smt2")) if p.is_dir() else [p])]
    if args.largest:
        files = sorted(files, key=lambda f: -f.stat().st_size)[: args.largest]
    for f in files:
        mine, other = [], []
        for _ in range(args.runs):
            out, seconds = run(shlex.split(args.tarq) + ["--stats"], f)
            told = re.search(r":time-to-first-decision (\S+)", out)
            mine.append(float(told[1]) if told else seconds)
            other.append(run(shlex.split(args.solver), f)[1])
        a, b = max(min(mine), FLOOR), max(min(other), FLOOR)
        print(f"{f.name} tarq={a:.3f}s other={b:.3f}s ratio={a / b:.2f}", flush=True)


if __name__ == "__main__":
    main()
