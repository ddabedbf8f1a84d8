#!/usr/bin/env python3
"""Runs the scripts of one folder through the program and compares with what they say themselves.

  run.py --tarq PROGRAM FOLDER [--filter TEXT] [--jobs N]

Comments of a script hold what is expected:
  ; expect: LINE      the next line of standard output, all of them in order
  ; exit: N           the exit status, 0 when absent
  ; options: WORDS    command-line options of the plain run
  ; variants: no      runs the script plainly only (its answer depends on the configuration)
  ; stdin: yes        gives the script on standard input
An expected line "(error *)" accepts any error text that names the line of the script right above the
comment, where the broken command ends; "(error ? *)" accepts any line number. Anything else is compared
literally.

Each script also runs under the variants below, since neither the way backtrack points are realised
nor the search strategy may change an answer.
"""
import argparse
import concurrent.futures
import os
import re
import subprocess
import sys
from pathlib import Path

VARIANTS = {
    "shallow": ["--shallow"],
    "luby": ["--config", "dpll.restart_strategy=1", "--config", "dpll.restart_initial=2",
             "--config", "dpll.branching_initial_phase=1", "--config",
             "dpll.pop_btpoint_reset_var_order=false"],
    "glucose": ["--config", "dpll.restart_strategy=3", "--config", "dpll.glucose_var_activity=true",
                "--config", "dpll.glucose_learnt_minimization=true", "--seed", "7"],
    "nnf": ["--config", "preprocessor.partial_nnf_conversion=true", "--config",
            "preprocessor.full_cnf_conversion=true", "--config", "dpll.branching_initial_phase=2"],
    "collecting": ["--collect", "0"],
    "shallow agile": ["--shallow", "--config", "dpll.restart_strategy=2", "--config",
                      "dpll.branching_random_frequency=0.3", "--config",
                      "dpll.branching_cache_phase=0"],
}
ARRAY_VARIANTS = {  # of the folders whose logics have arrays
    "array classes": ["--config", "theory.arr.mode=0"],
    "array values": ["--config", "theory.arr.mode=1"],
}
DIRECTIVE = re.compile(r"^\s*;\s*(expect|exit|options|variants|stdin):(.*)$")


def directives(text):
    found = {"expect": [], "exit": 0, "options": [], "variants": True, "stdin": False}
    last = 0  # the number of the last line that holds a part of a command
    for number, line in enumerate(text.splitlines(), 1):
        m = DIRECTIVE.match(line)
        if not m:
            last = number if line.split(";")[0].strip() else last
            continue
        key, value = m.group(1), m.group(2).strip()
        if key == "expect":
            found["expect"].append(value.replace("(error *)", f"(error {last} *)"))
        elif key == "exit":
            found["exit"] = int(value)
        elif key == "options":
            found["options"] = value.split()
        elif key == "variants":
            found["variants"] = value != "no"
        else:
            found["stdin"] = value == "yes"
    return found


def line_matches(expected, got):
    m = re.fullmatch(r"\(error (\d+|\?) \*\)", expected)
    if not m:
        return expected == got.strip()  # comments lose the blanks around the line
    number = m.group(1).replace("?", r"\d+")
    return re.fullmatch(rf'\(error "line {number}: .+"\)', got) is not None


def run_one(program, path, name, options, wanted):
    """Returns a text that tells what went wrong, or None."""
    command = [program] + wanted["options"] + options + (["-"] if wanted["stdin"] else [str(path)])
    source = path.open("rb") if wanted["stdin"] else subprocess.DEVNULL
    try:
        done = subprocess.run(command, stdin=source, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              timeout=120, cwd=path.parent)
    except subprocess.TimeoutExpired:
        return f"{path.name} ({name}): no end after 120 s"
    got = done.stdout.decode("utf-8", "replace").splitlines()
    problems = []
    for i in range(max(len(got), len(wanted["expect"]))):
        g = got[i] if i < len(got) else "(nothing)"
        w = wanted["expect"][i] if i < len(wanted["expect"]) else "(nothing)"
        if not line_matches(w, g):
            problems.append(f"  output line {i + 1}: expected {w}\n  {'':16}got {g}")
            break
    if done.returncode != wanted["exit"]:
        problems.append(f"  exit status {done.returncode}, expected {wanted['exit']}")
    if problems:
        problems.append(f"  standard error: {done.stderr.decode('utf-8', 'replace')[-2000:]!r}")
        return f"{path.name} ({name}): {' '.join(command)}\n" + "\n".join(problems)
    return None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--tarq", required=True)
    parser.add_argument("--filter", default="")
    parser.add_argument("--jobs", type=int, default=min(2, os.cpu_count() or 1))
    parser.add_argument("folder", type=Path)
    args = parser.parse_args()
    files = [p for p in sorted(args.folder.glob("*.smt2")) if args.filter in p.name]
    if not files:
        sys.exit(f"no scripts in {args.folder}")
    program = str(Path(args.tarq).resolve())
    runs = []
    for path in files:
        wanted = directives(path.read_text(errors="replace"))
        if not wanted["expect"]:
            sys.exit(f"{path} expects nothing: a test that can't fail")
        runs.append((path.resolve(), "plain", [], wanted))
        if wanted["variants"]:
            more = ARRAY_VARIANTS if args.folder.resolve().name.startswith("QF_A") else {}
            runs += [(path.resolve(), n, o, wanted) for n, o in {**VARIANTS, **more}.items()]
    with concurrent.futures.ThreadPoolExecutor(args.jobs) as pool:
        failures = [f for f in pool.map(lambda r: run_one(program, *r), runs) if f]
    for failure in failures:
        print(failure)
    print(f"{len(runs) - len(failures)} of {len(runs)} runs of {len(files)} scripts passed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
