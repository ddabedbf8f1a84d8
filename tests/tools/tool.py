"""Helpers of the program's tests: run it, look at what it says. The program is named by $TARQ."""
import os
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
TARQ = os.environ.get("TARQ", str(ROOT / "build/release/tools/tarq"))
# A sanitized program is many times slower; limits of patience, not of behaviour.
PATIENCE = 120


class Outcome:
    def __init__(self, done):
        self.out = done.stdout.decode("utf-8", "replace")
        self.err = done.stderr.decode("utf-8", "replace")
        self.status = done.returncode
        self.lines = self.out.splitlines()


def tarq(*args, text=None, data=None):
    """Runs the program; `text` or `data` goes to its standard input."""
    if text is not None:
        data = text.encode()
    stdin = {"input": data} if data is not None else {"stdin": subprocess.DEVNULL}
    return Outcome(subprocess.run([TARQ, *map(str, args)], stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, timeout=PATIENCE, **stdin))


def start(*args, **kwargs):
    return subprocess.Popen([TARQ, *map(str, args)], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, **kwargs)


def pigeons(count, holes):
    """Clauses (lists of non-zero ints) that put `count` pigeons into `holes` holes."""
    var = lambda p, h: p * holes + h + 1
    clauses = [[var(p, h) for h in range(holes)] for p in range(count)]
    clauses += [[-var(p, h), -var(q, h)] for h in range(holes) for p in range(count) for q in range(p)]
    return clauses


def script(clauses, query="(check-sat)\n"):
    """The clauses as a script over constants v1, v2, ..., and a query."""
    top = max(abs(l) for c in clauses for l in c)
    lit = lambda l: f"v{l}" if l > 0 else f"(not v{-l})"
    lines = [f"(declare-const v{i} Bool)" for i in range(1, top + 1)]
    lines += ["(assert (or " + " ".join(map(lit, c)) + "))" for c in clauses]
    return "\n".join(lines) + "\n" + query


def dimacs(clauses):
    top = max((abs(l) for c in clauses for l in c), default=0)
    return f"p cnf {top} {len(clauses)}\n" + "".join(" ".join(map(str, c)) + " 0\n" for c in clauses)


class TestCase(unittest.TestCase):
    def setUp(self):
        self._tmp = tempfile.TemporaryDirectory()
        self.tmp = Path(self._tmp.name)

    def tearDown(self):
        self._tmp.cleanup()

    def file(self, name, text):
        path = self.tmp / name
        path.write_bytes(text if isinstance(text, bytes) else text.encode())
        return path

    def assert_clean(self, outcome):
        """No crash and no sanitizer report."""
        self.assertGreaterEqual(outcome.status, 0, outcome.err)
        self.assertNotRegex(outcome.err, "Sanitizer|runtime error", outcome.err)

    def assert_error(self, line, number):
        self.assertTrue(re.fullmatch(rf'\(error "line {number}: .+"\)', line), line)
