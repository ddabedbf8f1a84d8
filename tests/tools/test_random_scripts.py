#!/usr/bin/env python3
"""Random incremental scripts against the truth table.

A script works on a few Boolean constants and uses what scripts can do: levels, scoped declarations
that are made again after a pop, definitions, named terms, let, assumptions, resets. The oracle keeps,
for each assertion in force, the set of assignments that satisfy it. Failed assumptions are checked to
be contradictory with the assertions in force, and to be among those given.
"""
import itertools
import random
import unittest

from tool import TestCase, tarq

MAX_CONSTANTS = 6
MODES = [[], ["--shallow"], ["--config", "dpll.restart_strategy=1", "--config", "dpll.restart_initial=1"],
         ["--config", "preprocessor.partial_nnf_conversion=true", "--config", "dpll.restart_strategy=3"],
         ["--config", "preprocessor.full_cnf_conversion=true", "--config", "dpll.branching_random_frequency=0.5"],
         ["--shallow", "--config", "dpll.restart_strategy=2", "--config", "dpll.pop_btpoint_reset_var_order=false"]]


class Formula:
    """Source text, and the function from an assignment (of slots) to a truth value."""

    def __init__(self, text, value):
        self.text, self.value = text, value


class Generator:
    def __init__(self, rng):
        self.rng = rng
        self.lines = ["(set-option :produce-unsat-assumptions true)"]
        self.expected = []  # per answer: a text, or a function that judges the line
        # Per level: names declared there (name -> Formula), and formulas asserted there.
        self.levels = [({}, [])]
        self.free_slots = list(range(MAX_CONSTANTS))
        self.slots = [[]]  # per level: the slots taken there
        self.count = 0

    def names(self):
        return {name: f for level in self.levels for name, f in level[0].items()}

    def formula(self, depth, local=None):
        rng = self.rng
        atoms = list(self.names().values()) + (local or [])
        if depth == 0 or not atoms or rng.random() < 0.1:
            return rng.choice(atoms) if atoms else Formula("true", lambda s: True)
        kind = rng.randrange(8)
        a, b = self.formula(depth - 1, local), self.formula(depth - 1, local)
        av, bv = a.value, b.value
        if kind == 0:
            return Formula(f"(not {a.text})", lambda s: not av(s))
        if kind == 1:
            return Formula(f"(and {a.text} {b.text})", lambda s: av(s) and bv(s))
        if kind == 2:
            return Formula(f"(or {a.text} {b.text})", lambda s: av(s) or bv(s))
        if kind == 3:
            return Formula(f"(xor {a.text} {b.text})", lambda s: av(s) != bv(s))
        if kind == 4:
            return Formula(f"(= {a.text} {b.text})", lambda s: av(s) == bv(s))
        if kind == 5:
            return Formula(f"(=> {a.text} {b.text})", lambda s: not av(s) or bv(s))
        if kind == 6:
            c = self.formula(depth - 1, local)
            cv = c.value
            return Formula(f"(ite {a.text} {b.text} {c.text})", lambda s: bv(s) if av(s) else cv(s))
        self.count += 1
        name = f"l{self.count}"
        body = self.formula(depth - 1, (local or []) + [Formula(name, av)])
        return Formula(f"(let (({name} {a.text})) {body.text})", body.value)

    def models(self, extra=()):
        asserted = [f for level in self.levels for f in level[1]] + list(extra)
        return any(all(f.value(s) for f in asserted)
                   for s in itertools.product((False, True), repeat=MAX_CONSTANTS))

    def step(self):
        rng = self.rng
        kind = rng.choice(("declare", "declare", "define", "assert", "assert", "assert", "name", "push", "push",
                           "pop", "check", "check", "assume", "assume", "reset"))
        names = self.names()
        if kind == "declare" and self.free_slots:
            free = [n for n in (f"c{i}" for i in range(8)) if n not in names]
            name, slot = rng.choice(free), self.free_slots.pop(rng.randrange(len(self.free_slots)))
            self.slots[-1].append(slot)
            self.levels[-1][0][name] = Formula(name, lambda s, slot=slot: s[slot])
            self.lines.append(f"(declare-const {name} Bool)")
        elif kind == "define":
            self.count += 1
            body = self.formula(2, [Formula("x", lambda s: False), Formula("y", lambda s: True)])
            name = f"d{self.count}"
            self.lines.append(f"(define-fun {name} ((x Bool) (y Bool)) Bool {body.text})")
            self.levels[-1][0][name] = Formula(f"({name} false true)", body.value)
        elif kind == "assert":
            f = self.formula(rng.randrange(1, 5))
            self.lines.append(f"(assert {f.text})")
            self.levels[-1][1].append(f)
        elif kind == "name":
            self.count += 1
            f = self.formula(2)
            name = f"n{self.count}"
            self.lines.append(f"(assert (or true (! {f.text} :named {name})))")
            self.levels[-1][0][name] = Formula(name, f.value)
        elif kind == "push" and len(self.levels) < 6:
            self.lines.append("(push)")
            self.levels.append(({}, []))
            self.slots.append([])
        elif kind == "pop" and len(self.levels) > 1:
            n = rng.randrange(1, len(self.levels))
            self.lines.append(f"(pop {n})")
            for _ in range(n):
                self.levels.pop()
                self.free_slots += self.slots.pop()
        elif kind == "check":
            self.lines.append("(check-sat)")
            self.expected.append("sat" if self.models() else "unsat")
        elif kind == "assume":
            self.assume()
        elif kind == "reset" and rng.random() < 0.2:
            self.lines.append("(reset-assertions)")
            self.levels, self.slots = [({}, [])], [[]]
            self.free_slots = list(range(MAX_CONSTANTS))

    def assume(self):
        rng = self.rng
        formulas = []
        for _ in range(rng.randrange(0, 5)):
            f = self.formula(rng.choice((0, 0, 0, 2)))
            if rng.random() < 0.5:
                f = Formula(f"(not {f.text})", lambda s, v=f.value: not v(s))
            formulas.append(f)
        self.lines.append("(check-sat-assuming (" + " ".join(f.text for f in formulas) + "))")
        if self.models(formulas):
            self.expected.append("sat")
            return
        self.expected.append("unsat")
        self.lines.append("(get-unsat-assumptions)")
        by_text = {f.text: f for f in formulas}
        context = [list(level[1]) for level in self.levels]

        def judge(line):
            chosen, rest = [], line[1:-1].strip()
            while rest:
                text = next((t for t in sorted(by_text, key=len, reverse=True)
                             if rest == t or rest.startswith(t + " ")), None)
                if text is None:
                    return f"not among the assumptions: {rest}"
                chosen.append(by_text[text])
                rest = rest[len(text):].strip()
            asserted = [f for level in context for f in level] + chosen
            if any(all(f.value(s) for f in asserted)
                   for s in itertools.product((False, True), repeat=MAX_CONSTANTS)):
                return "the failed assumptions are satisfiable"
            return None

        self.expected.append(judge)


class RandomScripts(TestCase):
    def test_against_the_truth_table(self):
        answers = 0
        for seed in range(120):
            generator = Generator(random.Random(seed))
            for _ in range(60):
                generator.step()
            text = "\n".join(generator.lines)
            mode = MODES[seed % len(MODES)]
            done = tarq(*mode, text=text)
            where = f"seed {seed}, {mode}\n{text}\n{done.out}"
            self.assert_clean(done)
            self.assertEqual(len(done.lines), len(generator.expected), where)
            for line, expected in zip(done.lines, generator.expected):
                answers += 1
                if callable(expected):
                    self.assertIsNone(expected(line), where)
                else:
                    self.assertEqual(line, expected, where)
            self.assertEqual(done.status, 0, where)
        self.assertGreater(answers, 1000)


if __name__ == "__main__":
    unittest.main()
