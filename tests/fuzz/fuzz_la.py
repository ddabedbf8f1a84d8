#!/usr/bin/env python3
"""Differential test of the program with random incremental scripts over linear real arithmetic.

  fuzz_la.py --program PROGRAM [--count N] [--seed S] [--logic QF_LRA] [--oracle z3|cvc5] [--save DIR]

Each script declares constants (with QF_UFLRA also functions and predicates), asserts Boolean
combinations of strict and non-strict bounds, equalities, disequalities and term-ITEs over them, with
small, fractional, tiny or huge coefficients, pushes, pops, and asks with and without assumptions, under
random options of the search and of the theories. The oracle answers every query and confirms every list
of failed assumptions; the values of all constants after a sat answer must satisfy the assertions, by
the oracle again. With a program built with both assertion tiers every conflict and implication of the
simplex is checked by an exact certificate as well.

Failures are shrunk, printed and saved as by fuzz_uf.py. Python 3 standard library only.
"""
import re

import boolscript as bs
import fuzz_uf

OPTIONS = fuzz_uf.OPTIONS + [
    ('theory.la.split_rat_eq', ('true', 'false')),
    ('theory.la.delay_alien', ('true', 'false')),
    ('theory.la.pivoting_greedy_threshold', (0, 1, 2, 1000)),
    ('theory.la.lazy_expl_threshold', (0, 1, 3, 1000)),
    ('theory.la.pure_equality_filtering', ('true', 'false')),
    ('theory.la.detect_euf_fragment', ('true', 'false')),
    ('theory.la.deduction_enabled', ('true', 'false')),
    ('theory.interface_eq_batch_size', (0, 1, 3, 100)),
    ('theory.pairwise_interface_eq', ('true', 'false')),
]

SMALL = ('1', '1', '1', '(- 1)', '2', '(- 2)', '3', '(- 3)')
FRACTIONS = SMALL + ('(/ 1 2)', '(/ (- 2) 3)', '(/ 7 5)', '0.25')
BIG = FRACTIONS + ('100000000000000000000', '(- 987654321987654321987654321)', '(/ 1 123456789012345678901)',
                   '4611686018427387904', '(- 9223372036854775807)')


class Generator(fuzz_uf.Generator):
    """One Real sort; what fuzz_uf makes of Boolean structure and commands, over other atoms."""

    def __init__(self, rnd, logic):
        self.rnd = rnd
        self.logic = logic
        self.sorts = ['Real']
        self.consts = {'Real': ['x%d' % i for i in range(rnd.randint(2, 7))]}
        self.functions = []
        if logic == 'QF_UFLRA':
            for i in range(rnd.randint(1, 3)):
                self.functions.append(('f%d' % i, ('Real',) * rnd.choice((1, 1, 2)), 'Real'))
            if rnd.random() < 0.4:
                self.functions.append(('p0', ('Real',), 'Bool'))
        self.bools = ['q%d' % i for i in range(rnd.randint(2, 4))]
        self.ites = logic != 'QF_RDL' and rnd.random() < 0.3
        self.coeffs = rnd.choice((SMALL, SMALL, FRACTIONS, BIG))
        self.width = rnd.choice((1, 2, 2, 3, 4))
        self.range = rnd.choice((2, 4, 10))
        # the forms come from a small stock, so that several bounds meet on one
        self.stock = [self.form() for _ in range(rnd.randint(1, 8))]

    def number(self):
        n = self.rnd.randint(-self.range, self.range)
        if self.coeffs is not SMALL and self.rnd.random() < 0.3:
            return self.rnd.choice(self.coeffs)
        return str(n) if n >= 0 else '(- %d)' % -n

    def leaf(self, depth=1):
        rnd = self.rnd
        fitting = [f for f in self.functions if f[2] == 'Real']
        if fitting and depth and rnd.random() < 0.4:
            name, args, _ = rnd.choice(fitting)
            return (name,) + tuple(self.leaf(depth - 1) if rnd.random() < 0.7 else self.form(depth - 1) for _ in args)
        if self.ites and depth and rnd.random() < 0.15:
            return ('ite', self.atom(0), self.leaf(0), self.leaf(0) if rnd.random() < 0.6 else self.number())
        return rnd.choice(self.consts['Real'])

    def form(self, depth=2):
        rnd = self.rnd
        if self.logic == 'QF_RDL':
            a, b = rnd.sample(self.consts['Real'], 2)
            return ('-', a, b)
        parts = []
        for _ in range(rnd.randint(1, self.width)):
            c = rnd.choice(self.coeffs)
            leaf = self.leaf(depth - 1 if depth else 0)
            parts.append(leaf if c == '1' else ('*', c, leaf))
        return parts[0] if len(parts) == 1 else ('+',) + tuple(parts)

    def atom(self, depth=2):
        rnd = self.rnd
        kind = rnd.random()
        if kind < 0.12:
            return rnd.choice(self.bools)
        predicates = [f for f in self.functions if f[2] == 'Bool']
        if predicates and depth and kind < 0.2:
            return ('p0', self.leaf(depth - 1))
        left = rnd.choice(self.stock) if depth and rnd.random() < 0.6 else self.form(depth)
        right = self.number()
        if self.logic == 'QF_RDL':
            if rnd.random() < 0.2:
                left, right = rnd.sample(self.consts['Real'], 2)
        elif rnd.random() < 0.25:
            right = self.form(min(depth, 1))
        op = rnd.choice(('<=', '<', '>=', '>', '=', '=', 'distinct'))
        return (op, left, right)

    def term(self, sort, depth):
        return self.form(min(depth, 2))


class Checker(fuzz_uf.Checker):
    """Also asks for the values of all constants after each sat answer, and has them confirmed."""

    def script(self, logic, head, commands, options):
        text = super().script(logic, head, commands, options)
        self.names = re.findall(r'\(declare-fun (\w+) \(\) ', ' '.join(head))
        if not self.args.models or not self.names:
            return text
        asking = '(echo "values")\n(get-value (%s))\n(echo "--")' % ' '.join(self.names)
        return '(set-option :produce-models true)\n' + text.replace('(echo "--")', asking)

    def check(self, head, commands, options, count=False):
        self.values = []  # by query: what the program says of them, None after unsat
        if not self.args.models:
            return super().check(head, commands, options, count)
        real_run = fuzz_uf.run

        def run_and_take_values(cmd, text, timeout):
            code, out, err = real_run(cmd, text, timeout)
            if cmd[0] == self.args.program:
                out = out.replace('"--"\n', '--\n').replace('"values"\n', 'values\n')
                blocks = out.split('--\n')
                for block in blocks[:-1]:
                    answer, _, rest = block.partition('values\n')
                    self.values.append(rest if answer.startswith('sat') else None)
                out = '"--"\n'.join([b.partition('values\n')[0] for b in blocks[:-1]] + blocks[-1:])
            return code, out, err
        fuzz_uf.run = run_and_take_values
        try:
            found = super().check(head, commands, options, count)
        finally:
            fuzz_uf.run = real_run
        wrong = [v for v in self.values if v and 'error' in v]
        return found or (('model', wrong[0]) if wrong else None)

    def model_of(self, k):
        if not self.values or self.values[k] is None or 'error' in self.values[k]:
            return None
        self.models = getattr(self, 'models', 0) + 1
        return ['(= %s %s)' % p for p in parse_pairs(re.sub(r'^\(|\)\s*$', '', self.values[k].strip()))]


def parse_pairs(text):
    """(name, value) of "(name value) (name value) ..."."""
    depth, start = 0, 0
    for i, ch in enumerate(text):
        if ch == '(':
            if depth == 0:
                start = i
            depth += 1
        elif ch == ')':
            depth -= 1
            if depth == 0:
                name, _, value = text[start + 1:i].partition(' ')
                yield name, value


def options_of(logic, rows):
    """Without functions, equality reasoning may be switched off."""
    return rows if 'UF' in logic else rows + [('theory.euf.enabled', ('true', 'false'))]


if __name__ == '__main__':
    fuzz_uf.main(__doc__, 'la', ['QF_LRA', 'QF_RDL', 'QF_UFLRA'], Generator,
                 lambda logic: options_of(logic, OPTIONS), Checker)
