#!/usr/bin/env python3
"""Writes docs/map.md: a line for every header, taken from the first sentence of its file comment.

  make_map.py           writes the file
  make_map.py --check   only tells whether it is up to date (exit status 1 if not)
"""
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
TARGET = ROOT / "docs/map.md"

INTRO = """# Map of the sources

A line for every header; folders from the lowest to the highest. A file includes its own folder and
folders above it in this list only, as far as `src/CMakeLists.txt` allows. Sources stand beside their
headers; a class with several sources (`name_verb.cpp`) lists them in its header. This file is written by
`scripts/make_map.py` from the first sentence of each header.

To follow one formula through all of it, read [life_of_a_check.md](life_of_a_check.md).
"""

FOLDERS = [
    ("src/base", "Containers, logging, errors, options. Nothing that knows a term."),
    ("src/terms", "Numbers, types, symbols, terms, and the simplification of terms while they are built."),
    ("src/lang", "SMT-LIB text to terms."),
    ("src/encoding", "Terms to simpler terms and to clauses: preprocessing, and-inverter graphs, CNF, polarities."),
    ("src/dpll", "The SAT engine."),
    ("src/theory", "What all theory solvers share: their contract, and the manager that the SAT engine talks to."),
    ("src/theory/euf", "Equality with uninterpreted functions."),
    ("src/theory/la", "Linear arithmetic over reals and integers."),
    ("src/theory/bv", "Bit-vectors, by bit-blasting."),
    ("src/theory/arr", "Arrays, by lemmas over the classes of the congruence closure."),
    ("src/results", "Models."),
    ("src/env", "A solver context: assertion stack, checks, the whole pipeline."),
    ("src/api", "The exported functions."),
    ("include", "The exported interface."),
    ("tools", "The program `tarq`, a client of `src/env`."),
]

OTHERS = """## Elsewhere

- `tests/` mirrors `src/`: one program per folder. `tests/smt2/` holds scripts with their expected
  answers, `tests/tools/` tests of the program, `tests/install/` the test of the installed package.
- `bench/` compares and measures; nothing in it runs with the tests.
- `examples/` holds C programs and scripts; all of them run with the tests.
- `scripts/` holds what a person runs: `solve`, `test`, and the checks of text and layering.
"""


def first_sentence(path):
    """The first sentence of the comment at the top of a file."""
    words = []
    for line in path.read_text().splitlines():
        m = re.match(r"\s*(?://|/?\*)\s?(.*?)(?:\*/)?$", line)
        if not m or (not m.group(1).strip() and words):
            break
        words.append(m.group(1).strip())
    text = " ".join(words).strip()
    # A sentence ends at a full stop before a blank and a capital; names such as a.h hold stops too.
    m = re.match(r"(.*?[.])(?: [A-Z`(].*)?$", text)
    return (m.group(1) if m else text).strip()


def generate():
    parts = [INTRO]
    for folder, purpose in FOLDERS:
        headers = sorted((ROOT / folder).glob("*.h"))
        if not headers:
            continue
        parts.append(f"## {folder}\n\n{purpose}\n")
        rows = [f"- `{h.name}`: {first_sentence(h)}" for h in headers]
        parts.append("\n".join(rows) + "\n")
    parts.append(OTHERS)
    return "\n".join(parts)


def main():
    text = generate()
    if "--check" in sys.argv[1:]:
        if not TARGET.exists() or TARGET.read_text() != text:
            sys.exit("docs/map.md is not up to date: run scripts/make_map.py")
        return
    TARGET.write_text(text)


if __name__ == "__main__":
    main()
