#!/usr/bin/env python3
"""Has models checked by an independent solver.

  check_models.py --tarq PROGRAM [--solver z3] [--timeout S] [--jobs N] FILE-OR-FOLDER...

Each script is cut at its first check-sat. Where the program answers sat, the declarations of the script
are replaced by the definitions of the model, elements of uninterpreted sorts by different constants, and
the solver has to find the result satisfiable. Prints one line per script that fails, then the counts.
"""
import argparse
import concurrent.futures
import re
import subprocess
import sys
from pathlib import Path


def commands(text):
    """The commands of a script or of a model, one text each."""
    depth, start, i = 0, 0, 0
    while i < len(text):
        c = text[i]
        if c == ";":
            i = text.find("\n", i)
            i = len(text) if i < 0 else i
            continue
        if c == '"' or c == "|":
            i = text.find(c, i + 1)
            if i < 0:
                return
        elif c == "(":
            if depth == 0:
                start = i
            depth += 1
        elif c == ")":
            depth -= 1
            if depth == 0:
                yield text[start : i + 1]
        i += 1


def head(command):
    return re.match(r"\(\s*([^\s()]+)", command).group(1)


def name_of(command):
    return re.match(r"\(\s*\S+\s+(\|[^|]*\||[^\s()]+)", command).group(1)


def check(path, args):
    """The verdict on one script: one of the words that are counted, and a text for a failure."""
    script = []
    for command in commands(path.read_text()):
        if head(command).startswith("check-sat"):
            break
        script.append(command)
    declared = [c for c in script if head(c) in ("declare-fun", "declare-const")]
    rest = [c for c in script if c not in set(declared) and head(c) not in ("push", "pop", "exit")]
    text = "(set-option :produce-models true)\n" + "\n".join(script) + "\n(check-sat)\n(get-model)\n"
    try:
        out = subprocess.run(
            [args.tarq, "-", *args.options.split()], input=text, capture_output=True, text=True,
            timeout=args.timeout
        ).stdout
    except subprocess.TimeoutExpired:
        return "timeout", ""
    while re.match(r"(unsupported|success)\n", out):
        out = out.partition("\n")[2]
    answer, _, model = out.partition("\n")
    if answer != "sat":
        return answer.split(" ")[0] if not answer.startswith("(error") else "refused", answer
    if not model.startswith("("):
        return "FAILED", "no model: " + model[:200]
    if model.startswith("(error"):
        return "FAILED", model[:200]
    values = sorted(set(re.findall(r"\(as (@\d+) (\|[^|]*\||[^\s()]+)\)", model)))
    model = re.sub(r"\(as (@\d+) (\|[^|]*\||[^\s()]+)\)", r"\1", model)
    definitions = list(commands(model.strip()[1:-1]))
    sorts = [c for c in rest if head(c) in ("declare-sort", "define-sort")]
    lines = ["(set-logic ALL)"] + sorts
    by_sort = {}
    for value, sort in values:
        lines.append(f"(declare-fun {value} () {sort})")
        by_sort.setdefault(sort, []).append(value)
    for group in by_sort.values():
        if len(group) > 1:
            lines.append("(assert (distinct " + " ".join(group) + "))")
    names = {name_of(c).strip("|") for c in definitions}
    missing = [c for c in declared if name_of(c).strip("|") not in names]
    if missing:
        return "FAILED", "not in the model: " + missing[0]
    lines += definitions
    lines += [c for c in rest if head(c) not in ("set-logic", "set-option", "set-info",
                                                 "declare-sort", "define-sort")]
    lines.append("(check-sat)")
    try:
        verdict = subprocess.run(
            args.solver.split() + ["-in"], input="\n".join(lines), capture_output=True, text=True,
            timeout=args.timeout * 3
        ).stdout.strip()
    except subprocess.TimeoutExpired:
        return "unchecked", ""
    if verdict == "sat":
        return "confirmed", ""
    if "error" not in verdict and "unsat" not in verdict:
        return "unchecked", verdict
    return "FAILED", verdict[:300]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--tarq", required=True)
    parser.add_argument("--solver", default="z3")
    parser.add_argument("--options", default="", help="for the program")
    parser.add_argument("--timeout", type=float, default=10)
    parser.add_argument("--jobs", type=int, default=1)
    parser.add_argument("paths", nargs="+", type=Path)
    args = parser.parse_args()
    files = []
    for p in args.paths:
        files += sorted(p.rglob("*.smt2")) if p.is_dir() else [p]
    counts = {}
    with concurrent.futures.ThreadPoolExecutor(args.jobs) as pool:
        for path, (word, text) in zip(files, pool.map(lambda p: check(p, args), files)):
            counts[word] = counts.get(word, 0) + 1
            if word == "FAILED":
                print(path, text)
    print(" ".join(f"{k}={v}" for k, v in sorted(counts.items())))
    return 1 if counts.get("FAILED") else 0


if __name__ == "__main__":
    sys.exit(main())
