#!/usr/bin/env python3
"""Checks that printed problems are the problems that were read.

  check_printing.py --roundtrip PROGRAM [--solver COMMAND] [--timeout S] FILE-OR-FOLDER...

Scripts of one query are read, printed and read again by `roundtrip`, which has to find the same terms.
With --solver, what was printed with bindings and with definitions is given to another solver, whose
answers have to be that on the script itself. Prints what fails, then the counts.
"""
import argparse
import collections
import re
import subprocess
import sys
import tempfile
from pathlib import Path


def is_single(path):
    text = path.read_text()
    return text.count("(check-sat") == 1 and not re.search(r"\((push|pop|check-sat-assuming)\b", text)


def answer(solver, path, timeout):
    try:
        out = subprocess.run(solver.split() + [str(path)], capture_output=True, text=True,
                             timeout=timeout).stdout
    except subprocess.TimeoutExpired:
        return "timeout"
    if "(error" in out:
        return out[out.index("(error"):][:200]
    found = re.findall(r"^(sat|unsat|unknown)$", out, re.M)
    return found[0] if found else "none"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--roundtrip", required=True)
    parser.add_argument("--solver", help="for instance z3")
    parser.add_argument("--timeout", type=float, default=5)
    parser.add_argument("paths", nargs="+", type=Path)
    args = parser.parse_args()
    files = []
    for p in args.paths:
        files += sorted(p.rglob("*.smt2")) if p.is_dir() else [p]
    counts = collections.Counter()
    with tempfile.TemporaryDirectory() as folder:
        for path in filter(is_single, files):
            out = subprocess.run([args.roundtrip, "--out", folder, str(path)], capture_output=True,
                                 text=True).stdout.strip()
            if not out.startswith("ok "):
                counts["FAILED"] += 1
                print(out or f"no output {path}", flush=True)
                continue
            counts["same"] += 1
            if not args.solver:
                continue
            expected = answer(args.solver, path, args.timeout)
            if expected not in ("sat", "unsat"):
                counts["undecided"] += 1
                continue
            for kind in ("let", "define"):
                got = answer(args.solver, Path(folder) / f"{kind}_{path.name}", 3 * args.timeout)
                if got == expected:
                    counts[f"agreed-{kind}"] += 1
                elif got in ("timeout", "unknown"):
                    counts[f"late-{kind}"] += 1
                else:
                    counts["FAILED"] += 1
                    print(f"{path} {kind}: {got} instead of {expected}", flush=True)
    print(" ".join(f"{k}={v}" for k, v in sorted(counts.items())))
    return 1 if counts["FAILED"] else 0


if __name__ == "__main__":
    sys.exit(main())
