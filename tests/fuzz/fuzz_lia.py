#!/usr/bin/env python3
"""Differential test of the program with random incremental scripts over linear integer arithmetic.

  fuzz_lia.py --program PROGRAM [--count N] [--seed S] [--logic QF_LIA|QF_UFLIA|QF_LIRA] [--models]

As fuzz_la.py, over integers, or with QF_LIRA over integers and reals: equations with large common
divisors, congruences through div and mod, floors, sums of mixed sort. Most scripts bound all integers;
in the others the coefficients are small, so that a search without end stays rare.

Failures are shrunk, printed and saved as by fuzz_uf.py. Python 3 standard library only.
"""
import argparse
import os
import random
import shutil
import sys

import boolscript as bs
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
        self.stock = [self.form() for _ in range(rnd.randint(1, 8))]

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
        return bounds + super().run()


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('--program', required=True)
    ap.add_argument('--count', type=int, default=200)
    ap.add_argument('--seed', type=int, default=1)
    ap.add_argument('--logic', default='QF_LIA', choices=('QF_LIA', 'QF_UFLIA', 'QF_LIRA'))
    ap.add_argument('--oracle', default='z3', help='z3 or cvc5')
    ap.add_argument('--timeout', type=int, default=20, help='seconds for one script')
    ap.add_argument('--models', action='store_true', help='check values of constants, too')
    ap.add_argument('--no-options', action='store_true', help='always the default options')
    ap.add_argument('--max-failures', type=int, default=5)
    ap.add_argument('--save', help='folder for shrunk failures')
    args = ap.parse_args()
    args.oracle = shutil.which(args.oracle)
    if not args.oracle:
        print('no oracle program, nothing tested')
        return
    sys.setrecursionlimit(10000)
    checker = fuzz_la.Checker(args)
    failures = hangs = 0
    for i in range(args.count):
        rnd = random.Random('%d %d' % (args.seed, i))
        gen = Generator(rnd, args.logic)
        head, commands = gen.declarations(), gen.run()
        options = [] if args.no_options else \
            ['%s=%s' % (name, rnd.choice(values)) for name, values in OPTIONS if rnd.random() < 0.2]
        if not args.no_options and rnd.random() < 0.15:
            options.append('--shallow')
        found = checker.check(head, commands, options, count=True)
        if not found:
            continue
        if not gen.bound and found[0] in ('hang', 'oracle'):
            hangs += 1  # a search over unbounded integers need not end
            continue
        failures += 1

        def fails(trial, opts=options, start=head):
            again = checker.check(start, trial, opts)
            return again is not None and again[0] == found[0]
        commands = fuzz_uf.shrink(commands, fails)
        options = bs.remove_chunks(options, lambda o: fails(commands, o))
        head = bs.remove_chunks(head, lambda h: fails(commands, options, h))
        found = checker.check(head, commands, options) or found
        flags = ' '.join(o for o in options if o[0] == '-')
        text = '; %s: %s\n; script %d of seed %d%s\n' % (
            found[0], found[1].replace('\n', '\n; '), i, args.seed, ', program called with ' + flags if flags else '')
        text += checker.script(args.logic, head, commands, options)
        print('FAILURE\n' + text, flush=True)
        if args.save:
            os.makedirs(args.save, exist_ok=True)
            with open(os.path.join(args.save, 'lia_%d_%d.smt2' % (args.seed, i)), 'w') as f:
                f.write(text)
        if failures >= args.max_failures:
            break
    print('%d scripts, %d queries (%d unsat), %d lists of failed assumptions, %d models, %d unbounded ones '
          'not decided in time; %d failures' % (i + 1, checker.queries, checker.unsat, checker.lists,
                                                getattr(checker, 'models', 0), hangs, failures))
    sys.exit(1 if failures else 0)


if __name__ == '__main__':
    main()
