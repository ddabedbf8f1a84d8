#!/usr/bin/env python3
"""Has every model of a set of scripts checked, twice.

  check_models.py --tarq PROGRAM [--solver COMMAND]... [--timeout S] [--jobs N] FILE-OR-FOLDER...

After each satisfiable query of a script, incremental ones included, the model is asked for, and the
value of every formula in force. (1) All of these values have to be true. (2) The declarations of the
script are replaced by the definitions of the model, uninterpreted sorts by the integers and their
elements by different ones, and the solver has to find the formulas in force satisfiable. Prints one line per query
that fails, then the counts:

  confirmed  both
  unchecked  the values are true, the solver gave no answer within three times the limit
  FAILED     either is wrong
  unsat, unknown, timeout, refused   answers without a model; refused are errors of the program
"""
import argparse
import collections
import concurrent.futures
import re
import subprocess
import sys
from pathlib import Path

MARK = "@query"
ABSTRACT = re.compile(r"\(as (@\d+) ((?:\|[^|]*\||[^\s()|])+)\)")


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


def tokens(text):
    return re.findall(r';[^\n]*|"(?:[^"]|"")*"|\|[^|]*\||[()]|[^\s()"|;]+', text)


def head(command):
    return re.match(r"\(\s*([^\s()]+)", command).group(1)


def name_of(command):
    return re.match(r"\(\s*\S+\s+(\|[^|]*\||[^\s()]+)", command).group(1).strip("|")


def body(command):
    return re.match(r"\(\s*\S+\s(.*)\)$", command, re.S).group(1)


def without_names(formula):
    """The formula without its attributes: what is read again must not define names again."""
    if ":named" not in formula:
        return formula
    out, annotated, depth, skipping = [], [], 0, None
    words = [w for w in tokens(formula) if not w.startswith(";")]
    i = 0
    while i < len(words):
        w = words[i]
        if w == "(":
            depth += 1
            if i + 1 < len(words) and words[i + 1] == "!":
                annotated.append(depth)
                i += 2
                continue
        elif w == ")":
            depth -= 1
            if annotated and annotated[-1] == depth + 1:
                annotated.pop()
                skipping = None
                i += 1
                continue
        elif annotated and annotated[-1] == depth and w.startswith(":"):
            skipping = depth
        if skipping is None:
            out.append(w)
        i += 1
    return " ".join(out)


class Query:
    """What is in force at a check: sorts, other declarations, definitions and formulas."""

    def __init__(self, scopes, assumptions):
        flat = [c for scope in scopes for c in scope]
        self.sorts = [c for c in flat if head(c) in ("declare-sort", "define-sort")]
        self.declared = [c for c in flat if head(c) in ("declare-fun", "declare-const")]
        self.rest = [c for c in flat if head(c).startswith("define-") and head(c) != "define-sort"
                     or head(c) == "assert"]
        self.formulas = [without_names(body(c)) for c in flat if head(c) == "assert"] + assumptions
        self.rest += [f"(assert {a})" for a in assumptions]


def ask(text):
    """The script with questions, and its queries."""
    out = ["(set-option :produce-models true)"]
    scopes, queries = [[]], []
    for c in commands(text):
        word = head(c)
        if word == "exit":
            break
        if word == "push" or word == "pop":
            count = int((tokens(body(c)) or ["1"])[0]) if len(c.split()) > 1 else 1
            for _ in range(count):
                scopes = scopes + [[]] if word == "push" else scopes[:-1]
        elif word == "reset-assertions":
            scopes = [[c for c in scope if head(c) != "assert"] for scope in scopes[:1]]
        elif word.startswith(("declare-", "define-", "assert")):
            scopes = scopes[:-1] + [scopes[-1] + [c]]
        elif not word.startswith(("check-sat", "set-")):
            continue
        if word == "set-option" and re.search(r":(produce-|print-success|diagnostic|regular)", c):
            continue
        out.append(c)
        if word.startswith("check-sat"):
            inner = body(c).strip()[1:-1] if word == "check-sat-assuming" else ""
            assumptions = list(literals(inner))
            query = Query(scopes, assumptions)
            queries.append(query)
            out.append(f'(echo "{MARK}")\n(get-model)\n(echo "{MARK}")')
            if query.formulas:
                out.append("(get-value (" + "\n".join(query.formulas) + "))")
            out.append(f'(echo "{MARK}")')
    return "\n".join(out) + "\n", queries


def literals(text):
    """The elements of a list of literals, as texts."""
    depth, words = 0, []
    for word in tokens(text):
        if word.startswith(";"):
            continue
        depth += (word == "(") - (word == ")")
        words.append(word)
        if depth == 0:
            yield " ".join(words)
            words = []


def last_values(text, count):
    """The values at the ends of the pairs of a get-value response."""
    pairs = list(commands(text.strip()[1:-1]))
    return [re.search(r"(\S+?)\)$", p).group(1) for p in pairs] if len(pairs) == count else []


def confirm(query, model, args):
    """Whether the solver agrees with a model: one of the words that are counted, and a text."""
    model = ABSTRACT.sub(lambda m: m.group(1)[1:], model)
    definitions = list(commands(model.strip()[1:-1]))
    lines = ["(set-logic ALL)"]
    lines += [re.sub(r"declare-sort (.*\S)\s+0\s*\)$", r"define-sort \1 () Int)", s) for s in query.sorts]
    defined = {name_of(c) for c in definitions}
    missing = [c for c in query.declared if name_of(c) not in defined]
    if missing:
        return "FAILED", "not in the model: " + missing[0]
    wanted = {name_of(c) for c in query.declared}
    lines += [d for d in definitions if name_of(d) in wanted]
    lines += query.rest
    lines.append("(check-sat)")
    verdict = ""
    for solver in args.solver or ["z3 -in", "cvc5 -q --lang smt2"]:
        try:
            verdict = subprocess.run(
                solver.split(), input="\n".join(lines), capture_output=True, text=True,
                timeout=args.timeout * 3
            ).stdout.strip()
        except (subprocess.TimeoutExpired, FileNotFoundError):
            continue
        if verdict == "sat":
            return "confirmed", ""
        if verdict == "unsat" or "error" in verdict:
            return "FAILED", verdict[:300]
    return "unchecked", verdict[:300]


def judge(query, answer, model, values, args):
    if answer != "sat":
        return answer.split(" ")[0] if not answer.startswith("(error") else "refused", answer
    if not model.startswith("(") or model.startswith("(error"):
        return "FAILED", "no model: " + model[:200]
    if query.formulas:
        wrong = [v for v in last_values(values, len(query.formulas)) or [values[:200]] if v != "true"]
        if wrong:
            return "FAILED", "value of a formula: " + wrong[0]
    return confirm(query, model, args)


def check(text, args):
    """The verdicts on the queries of one script, each with a text."""
    script, queries = ask(text)
    command = [args.tarq, "-", *args.options.split()]
    late = False
    try:
        run = subprocess.run(command, input=script, capture_output=True, text=True,
                             timeout=args.timeout)
        out, err = run.stdout, run.stderr
    except subprocess.TimeoutExpired as e:
        out, err, late = (e.stdout or b"").decode(), "", True
    parts = out.split(MARK)
    verdicts = []
    for i, query in enumerate(queries):
        if 3 * i + 3 >= len(parts):
            rest = "timeout" if late else "refused"
            verdicts.append((rest, (parts[-1] + err).strip()[:200]))
            break
        words = [w for w in parts[3 * i].split("\n") if w not in ("unsupported", "success", '"', "")]
        answer = words[-1].strip() if words else ""
        texts = [p.strip('" \n') for p in parts[3 * i + 1 : 3 * i + 3]]
        verdicts.append(judge(query, answer, *texts, args))
    return verdicts


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--tarq", required=True)
    parser.add_argument("--solver", action="append", help="command that reads a script; several are asked "
                        "in turn until one answers")
    parser.add_argument("--options", default="", help="for the program")
    parser.add_argument("--timeout", type=float, default=10)
    parser.add_argument("--jobs", type=int, default=1)
    parser.add_argument("--verbose", action="store_true", help="show what was refused or unchecked")
    parser.add_argument("paths", nargs="+", type=Path)
    args = parser.parse_args()
    files = []
    for p in args.paths:
        files += sorted(p.rglob("*.smt2")) if p.is_dir() else [p]
    counts = collections.Counter()
    with concurrent.futures.ThreadPoolExecutor(args.jobs) as pool:
        for path, verdicts in zip(files, pool.map(lambda p: check(p.read_text(), args), files)):
            for i, (word, text) in enumerate(verdicts):
                counts[word] += 1
                if word == "FAILED" or args.verbose and word in ("refused", "unchecked"):
                    print(f"{path} query {i + 1}: {word}: {text}", flush=True)
    print(" ".join(f"{k}={v}" for k, v in sorted(counts.items())))
    return 1 if counts["FAILED"] else 0


if __name__ == "__main__":
    sys.exit(main())
