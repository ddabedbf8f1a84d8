#!/usr/bin/env python3
"""Differential test of the program with random incremental scripts over arrays.

  fuzz_arr.py --program PROGRAM [--count N] [--seed S] [--oracle z3|cvc5] [--save DIR]

As fuzz_uf.py, with one or two sorts of arrays on top: reads, nested writes, constant arrays, equalities,
if-then-elses of arrays, arrays as arguments of functions, and at times arrays of arrays. Indices and
elements are of uninterpreted sorts, integers, or bit-vectors so narrow that all indices get written.

Failures are shrunk, printed and saved as by fuzz_uf.py. Python 3 standard library only.
"""
import argparse
import os
import random
import shutil
import sys

import boolscript as bs
import fuzz_uf

OPTIONS = fuzz_uf.OPTIONS + [
    ('theory.arr.lazy_lemmas', ('true', 'false')),
    ('theory.arr.max_ext_lemmas', (0, 1, 3)),
    ('theory.arr.enable_ext_polarity', ('true', 'false')),
    ('theory.arr.enable_witness', ('true', 'false')),
]
fuzz_uf.THEORIES['(_ BitVec 1)'] = (['#b0', '#b1'], [('bvnot', 1), ('bvadd', 2)], ['bvult'])


class Generator(fuzz_uf.Generator):
    def __init__(self, rnd, logic):
        self.rnd = rnd
        self.logic = logic
        base = ['U', 'V', 'Int', '(_ BitVec 1)', '(_ BitVec 2)']
        index, element = rnd.choice(base), rnd.choice(base)
        self.arrays = {'(Array %s %s)' % (index, element): (index, element)}
        if rnd.random() < 0.3:
            first = next(iter(self.arrays))
            index2, element2 = (index, first) if rnd.random() < 0.7 else (first, element)
            self.arrays['(Array %s %s)' % (index2, element2)] = (index2, element2)
        self.sorts = sorted({index, element}) + list(self.arrays)
        self.consts = {}
        for k, s in enumerate(self.sorts):
            self.consts[s] = ['%s%d' % ('cdeghk'[k], n) for n in range(rnd.randint(2, 4))]
        self.functions = []
        for n in range(rnd.randint(0, 2)):
            args = tuple(rnd.choice(self.sorts) for _ in range(rnd.choice((1, 1, 2))))
            self.functions.append(('f%d' % n, args, rnd.choice(self.sorts + ['Bool'])))
        self.bools = ['q%d' % n for n in range(rnd.randint(2, 4))]
        self.ites = rnd.random() < 0.4
        self.constant_arrays = rnd.random() < 0.4

    def term(self, sort, depth):
        rnd = self.rnd
        if depth and sort in self.arrays and rnd.random() < 0.5:
            index, element = self.arrays[sort]
            if self.constant_arrays and rnd.random() < 0.2:
                return ('(as const %s)' % sort, self.term(element, depth - 1))
            return ('store', self.term(sort, depth - 1), self.term(index, depth - 1), self.term(element, depth - 1))
        readable = [a for a, (_, element) in self.arrays.items() if element == sort]
        if depth and readable and rnd.random() < 0.5:
            a = rnd.choice(readable)
            return ('select', self.term(a, depth - 1), self.term(self.arrays[a][0], depth - 1))
        return super().term(sort, depth)


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('--program', required=True)
    ap.add_argument('--count', type=int, default=200)
    ap.add_argument('--seed', type=int, default=1)
    ap.add_argument('--oracle', default='z3', help='z3 or cvc5')
    ap.add_argument('--timeout', type=int, default=20, help='seconds for one script')
    ap.add_argument('--no-options', action='store_true', help='always the default options')
    ap.add_argument('--max-failures', type=int, default=5)
    ap.add_argument('--save', help='folder for shrunk failures')
    args = ap.parse_args()
    args.logic = 'ALL'
    args.oracle = shutil.which(args.oracle)
    if not args.oracle:
        print('no oracle program, nothing tested')
        return
    sys.setrecursionlimit(10000)
    checker = fuzz_uf.Checker(args)
    failures = 0
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
            with open(os.path.join(args.save, 'arr_%d_%d.smt2' % (args.seed, i)), 'w') as f:
                f.write(text)
        if failures >= args.max_failures:
            break
    print('%d scripts, %d queries (%d unsat), %d lists of failed assumptions; %d failures'
          % (i + 1, checker.queries, checker.unsat, checker.lists, failures))
    sys.exit(1 if failures else 0)


if __name__ == '__main__':
    main()
