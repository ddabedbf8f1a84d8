#!/usr/bin/env python3
"""Measures the way from the text of a large script to the end of an almost empty search.

  big_script.py --tarq PROGRAM [--solver z3] [--megabytes 20] [--kinds bool,lra,bv,uf] [--runs N]

The scripts are made here, the same ones every time. Each is satisfied by the first assignment that a
search tries, so what a run takes is reading, preprocessing and encoding. Prints, per kind, the
processor time of both programs (the least of the runs) and their ratio.
"""
import argparse
import itertools
import random
import resource
import subprocess
import sys
import tempfile
from pathlib import Path


def declare(names, sort):
    return [f"(declare-fun {n} () {sort})" for n in names]


def make_bool(r, n):
    """Clauses that all-true and all-false satisfy, and a few deeper formulas."""
    names = [f"b{i}" for i in range(n)]
    yield from declare(names, "Bool")
    while True:
        a, b, c, d = r.sample(names, 4)
        if r.random() < 0.8:
            yield f"(assert (or (not {a}) {b} (not {c}) {d}))"
        else:
            yield f"(assert (or (not {a}) (and {b} {c}) (= {c} {d})))"


def guarded(r, guards, atom):
    return f"(assert (or (not {r.choice(guards)}) {atom}))"


def make_lra(r, n):
    """Linear constraints behind guards. Each has a variable of its own, so that no choice of their
    truth values is harder than another."""
    guards = [f"p{i}" for i in range(n)]
    names = [f"x{i}" for i in range(n)]
    yield from declare(guards, "Bool")
    yield from declare(names, "Real")
    for i in itertools.count():
        a, b = r.sample(names, 2)
        yield f"(declare-fun z{i} () Real)"
        yield guarded(r, guards, f"(<= (+ (* {r.randint(1, 9)}.0 {a}) (* (- {r.randint(1, 9)}.0) {b})"
                                 f" z{i}) {r.randint(0, 40)}.0)")


def make_bv(r, n):
    guards = [f"p{i}" for i in range(n)]
    names = [f"x{i}" for i in range(n)]
    yield from declare(guards, "Bool")
    yield from declare(names, "(_ BitVec 8)")
    while True:
        a, b, c = r.sample(names, 3)
        op = r.choice(["bvand", "bvor", "bvxor", "bvadd"])
        yield guarded(r, guards, f"(= ({op} {a} {b}) (bvand {c} #x{r.randint(0, 255):02x}))")


def make_uf(r, n):
    guards = [f"p{i}" for i in range(n)]
    names = [f"u{i}" for i in range(n)]
    yield "(declare-sort U 0)"
    yield "(declare-fun f (U U) U)"
    yield "(declare-fun g (U) U)"
    yield from declare(guards, "Bool")
    yield from declare(names, "U")
    while True:
        a, b, c = r.sample(names, 3)
        yield guarded(r, guards, f"(= (f {a} (g {b})) (g {c}))")


KINDS = {"bool": make_bool, "lra": make_lra, "bv": make_bv, "uf": make_uf}


def write_script(kind, size, path):
    written = 0
    with path.open("w") as out:
        for line in KINDS[kind](random.Random(kind), max(50, size // 1000)):
            out.write(line + "\n")
            written += len(line) + 1
            if written >= size:
                break
        out.write("(check-sat)\n")


def processor_time(command):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    out = subprocess.run(command, capture_output=True, text=True).stdout.strip()
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if out != "sat":
        sys.exit(f"{command}: {out[:200]}")
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--tarq", required=True)
    parser.add_argument("--options", default="", help="for the program")
    parser.add_argument("--solver", default="z3")
    parser.add_argument("--megabytes", type=float, default=20)
    parser.add_argument("--kinds", default=",".join(KINDS))
    parser.add_argument("--runs", type=int, default=1)
    parser.add_argument("--keep", type=Path, help="a folder for the scripts")
    args = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        for kind in args.kinds.split(","):
            path = (args.keep or Path(folder)) / f"big_{kind}.smt2"
            write_script(kind, int(args.megabytes * 1e6), path)
            own, other = (min(processor_time(c + [str(path)]) for _ in range(args.runs))
                          for c in ([args.tarq, *args.options.split()], args.solver.split()))
            print(f"{kind} tarq={own:.2f}s {args.solver.split()[0]}={other:.2f}s"
                  f" ratio={own / other:.2f}", flush=True)


if __name__ == "__main__":
    main()
