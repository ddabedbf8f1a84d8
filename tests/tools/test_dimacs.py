#!/usr/bin/env python3
"""CNF files: answers, values that satisfy the clauses, exit status, broken files, options."""
import itertools
import random
import signal
import time
import unittest

from tool import PATIENCE, TestCase, dimacs, pigeons, start, tarq

VARIANTS = [[], ["--config", "dpll.restart_strategy=1"], ["--config", "dpll.restart_strategy=0"],
            ["--config", "dpll.branching_initial_phase=1", "--seed", "3"]]


def satisfiable(clauses, top):
    return any(all(any(bits[abs(l) - 1] == (l > 0) for l in c) for c in clauses)
               for bits in itertools.product((False, True), repeat=top))


class Answers(TestCase):
    def check(self, clauses, expected, *args):
        done = tarq(*args, self.file("p.cnf", dimacs(clauses)))
        self.assert_clean(done)
        answers = [line for line in done.lines if line.startswith("s ")]
        values = [int(w) for line in done.lines if line.startswith("v ") for w in line.split()[1:]]
        if not expected:
            self.assertEqual((answers, values, done.status), (["s UNSATISFIABLE"], [], 20), done.out)
            return
        self.assertEqual((answers, done.status), (["s SATISFIABLE"], 10), done.out)
        top = max((abs(l) for c in clauses for l in c), default=0)
        self.assertEqual(values[-1], 0)
        self.assertEqual([abs(l) for l in values[:-1]], list(range(1, top + 1)))
        for clause in clauses:
            self.assertTrue(set(clause) & set(values), clause)

    def test_random_clauses_against_all_assignments(self):
        rng = random.Random(5)
        for round in range(60):
            top = rng.randrange(1, 9)
            clauses = [[rng.choice((1, -1)) * rng.randrange(1, top + 1) for _ in range(rng.randrange(1, 4))]
                       for _ in range(rng.randrange(1, 5 * top))]
            top = max(abs(l) for c in clauses for l in c)
            self.check(clauses, satisfiable(clauses, top), *VARIANTS[round % len(VARIANTS)])

    def test_pigeons(self):
        for variant in VARIANTS:
            self.check(pigeons(7, 6), False, *variant)
            self.check(pigeons(6, 6), True, *variant)

    def test_small_cases(self):
        self.check([[1]], True)
        self.check([[1], [-1]], False)
        self.check([[1, -1]], True)
        self.check([[1, 1, 2], [-1, -1], [-2, 3]], True)
        self.check([[]], False)
        self.check([], True)

    def test_the_format_is_known_by_option_or_by_name(self):
        text = dimacs([[1, -2], [2]])
        self.assertEqual(tarq("--dimacs", self.file("plain", text)).status, 10)
        self.assertEqual(tarq("--dimacs", text=text).status, 10)
        self.assertEqual(tarq(self.file("plain", text)).status, 1)

    def test_layout_is_free(self):
        for text in ("c a\nc b\np cnf 2 2\n1 -2 0 2 0", "p cnf 2 2\n1\n-2\n0\n\n2\t0\n", "\n  p  cnf  2  2 \n1 -2 0\nc x\n2 0\n",
                     "p cnf 2 2\r\n1 -2 0\r\n2 0\r\n"):
            done = tarq("--dimacs", text=text)
            self.assertEqual(done.status, 10, (text, done.out, done.err))
            self.assertIn("v 1 2 0", done.lines, text)

    def test_a_header_may_be_missing_or_wrong(self):
        for text, values in (("1 -2 0\n2 0\n", "v 1 2 0"), ("p cnf 1 9\n1 0\n-1 3 0\n2 0\n", "v 1 2 3 0"),
                             ("p cnf 3 1\n1 0\n2 0\n-3 0\n", "v 1 2 -3 0")):
            done = tarq("--dimacs", text=text)
            self.assertEqual((done.status, done.lines), (10, ["s SATISFIABLE", values]), text)

    def test_statistics_are_comments(self):
        done = tarq("--dimacs", "--stats", text=dimacs(pigeons(5, 4)))
        self.assertEqual(done.status, 20)
        rows = [line for line in done.lines if not line.startswith("s ")]
        self.assertTrue(rows and all(line.startswith("c ") for line in rows), done.out)
        self.assertRegex(done.out, r"c :sat-conflicts [1-9]")


class BrokenFiles(TestCase):
    def test_each_gives_an_error_with_its_line(self):
        for text, line in (("x\n", 1), ("1 2\n", None), ("p cnf\n", None), ("p cnf x 1\n", 1), ("p sat 1 1\n", 1),
                           ("p cnf 2 1\n1 x 0\n", 2), ("p cnf 2 1\n1 2\n", None),
                           ("p cnf 2 1\n1 99999999999999999999 0\n", 2), ("p cnf -1 1\n", 1),
                           ("p cnf 2 1\n1 - 0\n", 2), ("p cnf 2 1\np cnf 2 1\n1 0\n", 2),
                           ("p cnf 2 1\n1 0 \x00\n", 2), ("p cnf 99999999999 1\n1 0\n", 1)):
            done = tarq("--dimacs", text=text)
            self.assert_clean(done)
            self.assertEqual((done.status, done.out), (1, ""), (text, done.out))
            self.assertRegex(done.err, r"error", text)
            if line:
                self.assertRegex(done.err, rf"\b{line}\b", text)


class Stopping(TestCase):
    HARD = dimacs(pigeons(30, 29))

    def test_the_time_limit(self):
        done = tarq("--timeout", "0.5", "--stats", self.file("hard.cnf", self.HARD))
        self.assertEqual(done.lines[0], "s UNKNOWN")
        self.assertEqual(done.status, 0)
        self.assertIn("c :sat-conflicts", done.out)

    def test_a_signal(self):
        process = start("--stats", self.file("hard.cnf", self.HARD))
        time.sleep(1)
        process.send_signal(signal.SIGTERM)
        out, _ = process.communicate(timeout=PATIENCE)
        self.assertTrue(out.startswith(b"s UNKNOWN\n"), out)
        self.assertEqual(process.returncode, 0)

    def test_a_limit_inside_a_long_file(self):
        path = self.file("long.cnf", "p cnf 3 2000000\n" + "1 -2 3 0\n" * 2_000_000)
        done = tarq("--timeout", "0.03", path)
        self.assertEqual((done.lines, done.status), (["s UNKNOWN"], 0), done.err)


if __name__ == "__main__":
    unittest.main()
