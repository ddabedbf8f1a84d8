#!/usr/bin/env python3
"""Compares the unsat cores of the program with those of an independent solver, which also confirms them.

  cores.py --tarq PROGRAM [--solver z3] [--timeout S] [--check-timeout S] [--jobs N] [--sample N]
           [--seconds S] [--out FILE.csv] FILE-OR-FOLDER...

Takes the scripts with a single check-sat and without push and pop. Every assertion gets a name, and both
solvers are asked for a core. What the program names has to be unsatisfiable by itself for the solver.

Prints one line per script whose core is refused, then the counts and the geometric mean of the program's
core sizes over the solver's, over the scripts where both gave one. --sample draws scripts evenly from the
sorted list, --seconds ends the run early, between two scripts. The exit status is 1 if a core was refused.
Python 3 standard library only; the folder of this file has the rest.
"""
import argparse
import concurrent.futures
import csv
import math
import subprocess
import sys
import time
from pathlib import Path

from check_models import commands, head

KEPT = ("set-logic", "declare-sort", "define-sort", "declare-fun", "declare-const", "define-fun", "define-const")


def read(path):
    """The declarations and the assertions of a script, in order; None if it asks more than one question."""
    script, asked = [], 0
    for c in commands(path.read_text(errors="replace")):
        word = head(c)
        if word in ("push", "pop", "check-sat-assuming", "reset", "reset-assertions"):
            return None
        asked += word == "check-sat"
        if word in KEPT or word == "assert":
            script.append(c)
    return script if asked == 1 else None


def named(command, number):
    """An assertion with a name around what it asserts."""
    body = command[command.index("assert") + len("assert") :].rstrip()[:-1].strip()
    return f"(assert (! {body} :named core.{number}))"


def ask(solver, text, seconds):
    """The lines of the answer; none after the time limit."""
    try:
        p = subprocess.run(solver, input=text, capture_output=True, text=True, timeout=seconds)
    except subprocess.TimeoutExpired:
        return []
    return [line for line in p.stdout.splitlines() if line.strip()]


def core_of(lines):
    """The numbers of the named assertions, or None without an unsat answer."""
    if not lines or lines[0].strip() != "unsat":
        return None
    text = " ".join(lines[1:]).strip()
    if not (text.startswith("(") and text.endswith(")")) or text.startswith("(error"):
        return None
    return [int(word[len("core.") :]) for word in text[1:-1].split()]


def check(path, args):
    """(verdict, number of assertions, own size, size of the other core, seconds)"""
    script = read(path)
    if script is None:
        return "not one query", 0, 0, 0, 0.0
    number, lines = 0, ["(set-option :produce-unsat-cores true)"]
    for c in script:
        if head(c) == "assert":
            lines.append(named(c, number))
            number += 1
        else:
            lines.append(c)
    text = "\n".join(lines) + "\n(check-sat)\n(get-unsat-core)\n"
    start = time.monotonic()
    answer = ask([args.tarq], text, args.timeout)
    seconds = time.monotonic() - start
    own = core_of(answer)
    if own is None:
        word = answer[0].strip() if answer else "no answer in time"
        return (word if word in ("sat", "unknown", "no answer in time") else "error"), number, 0, 0, seconds
    own = set(own)
    left, number = [], 0
    for c in script:
        if head(c) != "assert":
            left.append(c)
        else:
            if number in own:
                left.append(c)
            number += 1
    verdict = ask(args.solver, "\n".join(left) + "\n(check-sat)\n", args.check_timeout)
    verdict = verdict[0].strip() if verdict else "no answer in time"
    if verdict != "unsat":
        return ("REFUSED" if verdict == "sat" else "not judged"), number, len(own), 0, seconds
    other = core_of(ask(args.solver, text, args.timeout))
    return "confirmed", number, len(own), len(other) if other is not None else -1, seconds


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--tarq", required=True)
    ap.add_argument("--solver", default="z3 -in", help="its command, which reads a script from standard input")
    ap.add_argument("--timeout", type=float, default=10, help="seconds for a core")
    ap.add_argument("--check-timeout", type=float, default=30, help="seconds to confirm one")
    ap.add_argument("--jobs", type=int, default=1)
    ap.add_argument("--sample", type=int, help="how many scripts to take; all if absent")
    ap.add_argument("--seconds", type=float, default=float("inf"), help="for the whole run")
    ap.add_argument("--out", help="a table with a line per script")
    ap.add_argument("paths", nargs="+", type=Path)
    args = ap.parse_args()
    args.solver = args.solver.split()
    files = []
    for p in args.paths:
        files += sorted(p.rglob("*.smt2")) if p.is_dir() else [p]
    if args.sample and args.sample < len(files):
        files = [files[i * len(files) // args.sample] for i in range(args.sample)]
    end = time.monotonic() + args.seconds
    counts, ratios, rows, smaller, equal = {}, [], [], 0, 0

    def run(path):
        return check(path, args) if time.monotonic() < end else ("not run", 0, 0, 0, 0.0)

    with concurrent.futures.ThreadPoolExecutor(args.jobs) as pool:
        for path, (verdict, size, own, other, seconds) in zip(files, pool.map(run, files)):
            counts[verdict] = counts.get(verdict, 0) + 1
            rows.append((path.name, path.parent.name, verdict, size, own, other, f"{seconds:.3f}"))
            if verdict == "REFUSED":
                print("REFUSED", path, flush=True)
            if verdict == "confirmed" and own > 0 and other > 0:
                ratios.append(math.log(own / other))
                smaller += own < other
                equal += own == other
    if args.out:
        with open(args.out, "w", newline="") as f:
            writer = csv.writer(f)
            writer.writerow(("file", "folder", "verdict", "assertions", "core", "other_core", "seconds"))
            writer.writerows(rows)
    print(", ".join(f"{n} {v}" for v, n in sorted(counts.items())))
    if ratios:
        print(f"core sizes over the other's, geometric mean of {len(ratios)}: "
              f"{math.exp(sum(ratios) / len(ratios)):.3f} ({smaller} smaller, {equal} equal)")
    sys.exit(1 if counts.get("REFUSED") else 0)


if __name__ == "__main__":
    main()
