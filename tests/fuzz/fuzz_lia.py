#!/usr/bin/env python3
"""Differential test of the program with random incremental scripts over linear integer arithmetic.

  fuzz_lia.py --program PROGRAM [--count N] [--seed S] [--logic QF_LIA|QF_UFLIA|QF_LIRA] [--models]

As fuzz_la.py, over integers, or with QF_LIRA over integers and reals: equations with large common
divisors, congruences through div and mod, floors, sums of mixed sort, systems with coefficients of
thirty bits. Most scripts bound all integers; in the others the coefficients are small, so that a search
without end stays rare.

For long runs, --oracle-timeout 0.5 --may-hang-timeout 2 leaves out little and gives some twenty scripts a
second.

Failures are shrunk, printed and saved as by fuzz_uf.py. Python 3 standard library only.
"""

import fuzz_la
import fuzz_uf

OPTIONS = fuzz_la.OPTIONS + [
    ('theory.la.laz_equality_elimination', ('true', 'false')),
    ('theory.la.laz_internal_branch_and_bound', ('true', 'false')),
    ('theory.la.laz_internal_branch_and_bound_limit', (0, 1, 2, 10)),
    ('theory.la.laz_cuts_from_proofs_mode', (0, 1, 2, 3)),
    ('theory.la.laz_unit_cube_test', ('true', 'false')),
    ('random_seed', (1, 2, 3, 99)),
]

TINY = (1, 1, 1, -1, 2, -2, 3)
COMMON = (6, -6, 12, 4, -4, 9, 15, 10)
LARGE = (1, -1, 17, -23, 101, 1009, -4096, 65536)
HUGE = (999999937, -536870912, 123456789, 600851475, -87178291, 30, -42)


def number(n, real=False):
    text = '%d.0' % abs(n) if real else str(abs(n))
    return text if n >= 0 else '(- %s)' % text


class Generator(fuzz_uf.Generator):
    def __init__(self, rnd, logic):
        self.rnd = rnd
        self.logic = logic
        self.mixed = logic == 'QF_LIRA'
        self.sorts = ['Int', 'Real'] if self.mixed else ['Int']
        self.consts = {'Int': ['i%d' % k for k in range(rnd.randint(2, 6))]}
        if self.mixed:
            self.consts['Real'] = ['r%d' % k for k in range(rnd.randint(1, 4))]
        self.functions = []
        if logic == 'QF_UFLIA':
            for k in range(rnd.randint(1, 3)):
                self.functions.append(('f%d' % k, ('Int',) * rnd.choice((1, 1, 2)), 'Int'))
            if rnd.random() < 0.4:
                self.functions.append(('p0', ('Int',), 'Bool'))
        self.bools = ['q%d' % k for k in range(rnd.randint(2, 4))]
        self.bound = rnd.choice((0, 3, 8, 8, 30, 30))
        self.coeffs = TINY if self.bound == 0 else rnd.choice((TINY, TINY, COMMON, LARGE))
        self.width = rnd.choice((1, 2, 2, 3, 4)) if self.bound else 2
        self.range = rnd.choice((2, 6, 20))
        self.partial = rnd.random() < 0.3  # div, mod and to_int
        self.ites = rnd.random() < 0.2
        self.systems = self.bound and rnd.random() < 0.12  # of equations with long numbers
        if self.systems:  # where few equations are in force, only the search over all values decides
            self.bound = 3
            self.consts['Int'] = ['i%d' % k for k in range(rnd.randint(4, 5))]
            self.values = {i: rnd.randint(-self.bound, self.bound) for i in self.consts['Int']}
        self.stock = [self.form() for _ in range(rnd.randint(1, 8))]

    def equation(self):
        """A sum of several constants with long coefficients, mostly equal to what it is for hidden values."""
        rnd = self.rnd
        names = rnd.sample(self.consts['Int'], rnd.randint(3, len(self.consts['Int'])))
        terms = [(rnd.choice(HUGE) + rnd.randint(-3, 3), i) for i in names]
        value = sum(c * self.values[i] for c, i in terms)
        value += 0 if rnd.random() < 0.7 else rnd.choice((1, 6, -30, 10 ** 9))
        return (rnd.choice(('=', '=', '=', '=', '<=')), ('+',) + tuple(('*', number(c), i) for c, i in terms),
                number(value))

    def leaf(self, depth=1):
        rnd = self.rnd
        fitting = [f for f in self.functions if f[2] == 'Int']
        if fitting and depth and rnd.random() < 0.4:
            name, args, _ = rnd.choice(fitting)
            return (name,) + tuple(self.leaf(depth - 1) if rnd.random() < 0.7 else self.form(depth - 1) for _ in args)
        if depth and self.partial and rnd.random() < 0.2:
            if self.mixed and rnd.random() < 0.5:
                return ('to_int', self.real_form(depth - 1))
            return (rnd.choice(('div', 'mod')), self.form(depth - 1), number(rnd.choice((2, 3, 4, 7, -2, -3))))
        if self.ites and depth and rnd.random() < 0.15:
            return ('ite', self.atom(0), self.leaf(0), self.leaf(0) if rnd.random() < 0.6 else self.constant())
        return rnd.choice(self.consts['Int'])

    def constant(self):
        return number(self.rnd.randint(-self.range, self.range))

    def form(self, depth=2):
        parts = []
        for _ in range(self.rnd.randint(1, self.width)):
            c, leaf = self.rnd.choice(self.coeffs), self.leaf(max(depth - 1, 0))
            parts.append(leaf if c == 1 else ('*', number(c), leaf))
        return parts[0] if len(parts) == 1 else ('+',) + tuple(parts)

    def real_form(self, depth=1):
        rnd, parts = self.rnd, []
        for _ in range(rnd.randint(1, self.width)):
            if rnd.random() < 0.5:
                part = ('to_real', self.leaf(max(depth - 1, 0)))
            else:
                part = rnd.choice(self.consts['Real'])
            c = rnd.choice(TINY)
            part = part if c == 1 else ('*', number(c, True), part)
            parts.append(('/', part, number(rnd.choice((2, 3)), True)) if rnd.random() < 0.15 else part)
        return parts[0] if len(parts) == 1 else ('+',) + tuple(parts)

    def atom(self, depth=2):
        rnd = self.rnd
        kind = rnd.random()
        if kind < 0.12:
            return rnd.choice(self.bools)
        if [f for f in self.functions if f[2] == 'Bool'] and depth and kind < 0.2:
            return ('p0', self.leaf(depth - 1))
        if self.systems and rnd.random() < 0.6:
            return self.equation()
        op = rnd.choice(('<=', '<', '>=', '>', '=', '=', '=', 'distinct'))
        if self.mixed and depth and rnd.random() < 0.5:
            right = self.real_form() if rnd.random() < 0.3 else number(rnd.randint(-self.range, self.range), True)
            return (op, self.real_form(), right)
        left = rnd.choice(self.stock) if depth and rnd.random() < 0.6 else self.form(depth)
        return (op, left, self.form(min(depth, 1)) if rnd.random() < 0.25 else self.constant())

    def term(self, sort, depth):
        return self.form(min(depth, 2))

    def run(self):
        bounds = []
        if self.bound:
            bounds = [('assert', ('and', ('<=', number(-self.bound), i), ('<=', i, number(self.bound))))
                      for i in self.consts['Int']]
        if self.systems:
            bounds += [('assert', ('or', self.equation(), q)) for q in self.bools * 3]
        return bounds + super().run()


def may_hang(gen, options):
    """A search over unbounded integers, values of functions among them, need not end, nor in time one whose
    branches nobody limits, or over the solutions of equations that nobody eliminates."""
    return (not gen.bound or gen.functions or 'theory.la.laz_internal_branch_and_bound_limit=0' in options or
            'theory.la.laz_equality_elimination=false' in options or
            fuzz_uf.is_random_walk(gen, options))


if __name__ == '__main__':
    fuzz_uf.main(__doc__, 'lia', ['QF_LIA', 'QF_UFLIA', 'QF_LIRA'], Generator,
                 lambda logic: fuzz_la.options_of(logic, OPTIONS), fuzz_la.Checker,
                 may_hang)
