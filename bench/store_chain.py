#!/usr/bin/env python3
"""Chains of stores with many reads: writes the scripts, or measures a program on them.

  store_chain.py --depth N [--reads R] [--kind KIND] [--unsat] [--seed S]
  store_chain.py --measure PROGRAM [--depths 250,500,1000,2000] [--config NAME=VALUE]... [--limit SECONDS]

The first form prints one script. Each script has one chain of N stores over an array `a` and R reads of an
array `b`, which is its top; but that is said in a way which only a search finds out. The kinds:

  offset   indices are x + 2k, so arithmetic tells them apart when they are compared. A read hits a store,
           then its value is the stored one, or falls between two and sees `a`. Unsat: some read differs.
  open     indices are constants of an uninterpreted sort of which nothing is known. Half of the reads must
           differ from what `a` holds, so they have to hit stores. Unsat: the first one is told not to.

The second form prints CPU seconds of the program for each depth, kind and answer, and next to each time
the exponent of growth since the depth before: 1 is linear, 2 quadratic. A wrong answer makes the exit
status 1. Python 3 standard library only.
"""
import argparse
import os
import random
import resource
import subprocess
import sys
import tempfile
import math

KINDS = ('offset', 'open')


def chain(depth, sort):
    """The chain, one store in each definition: no term of the text gets deep."""
    yield '(declare-const b (Array %s E))' % sort
    yield '(declare-const p Bool)'
    yield '(declare-const q Bool)'
    yield '(define-fun a0 () (Array %s E) a)' % sort
    for k in range(depth):
        yield '(define-fun a%d () (Array %s E) (store a%d %s v%d))' % (k + 1, sort, k, index(k, sort), k)
    yield '(assert (or p q))'
    for name in 'pq':
        yield '(assert (=> %s (= b a%d)))' % (name, depth)


def index(k, sort):
    return 'i%d' % k if sort == 'I' else '(+ x %d)' % (2 * k)


def script(depth, reads, kind, unsat, seed):
    rnd = random.Random('%d %d %d' % (depth, reads, seed))
    sort = 'Int' if kind == 'offset' else 'I'
    out = ['(set-logic QF_AUFLIA)', '(declare-sort E 0)', '(declare-sort I 0)', '(declare-const x Int)',
           '(declare-const a (Array %s E))' % sort]
    out += ['(declare-const v%d E)' % k for k in range(depth)]
    if kind == 'offset':
        out += chain(depth, sort)
        wrong = []
        for j in range(reads):
            at = rnd.randrange(depth)
            if rnd.random() < 0.5:
                equation = '(= (select b (+ x %d)) v%d)' % (2 * at, at)
            else:
                equation = '(= (select b (+ x %d)) (select a (+ x %d)))' % (2 * at + 1, 2 * at + 1)
            wrong.append('(not %s)' % equation) if unsat else out.append('(assert %s)' % equation)
        if unsat:
            out.append('(assert (or %s))' % ' '.join(wrong))
    else:
        out += ['(declare-const i%d I)' % k for k in range(depth)]
        out += ['(declare-const r%d I)' % j for j in range(reads)]
        out += chain(depth, sort)
        if unsat:
            out += ['(assert (not (= r0 i%d)))' % k for k in range(depth)]
        for j in range(reads):
            differs = j % 2 == 0
            equation = '(= (select b r%d) (select a r%d))' % (j, j)
            out.append('(assert (not %s))' % equation if differs else '(assert %s)' % equation)
    return '\n'.join(out + ['(check-sat)']) + '\n'


def measure(args):
    failed = False
    for kind in KINDS:
        for unsat in (False, True):
            row, before = [], None
            for depth in args.depths:
                with tempfile.NamedTemporaryFile('w', suffix='.smt2') as f:
                    f.write(script(depth, args.reads, kind, unsat, args.seed))
                    f.flush()
                    command = [args.measure] + [w for c in args.config for w in ('--config', c)] + [f.name]
                    start = resource.getrusage(resource.RUSAGE_CHILDREN)
                    done = subprocess.run(command, stdout=subprocess.PIPE, preexec_fn=lambda: resource.setrlimit(
                        resource.RLIMIT_CPU, (args.limit, args.limit)))
                    end = resource.getrusage(resource.RUSAGE_CHILDREN)
                seconds = end.ru_utime + end.ru_stime - start.ru_utime - start.ru_stime
                answer = done.stdout.decode().strip()
                if answer != ('unsat' if unsat else 'sat'):
                    failed = failed or answer in ('sat', 'unsat')
                    row.append('%d: %s' % (depth, answer or 'none within %d s' % args.limit))
                    break
                growth = '' if not before else ' (%.1f)' % (
                    math.log(seconds / before[1]) / math.log(depth / before[0]))
                before = (depth, seconds)
                row.append('%d: %.2f s%s' % (depth, seconds, growth))
            print('%-6s %-5s  %s' % (kind, 'unsat' if unsat else 'sat', '  '.join(row)), flush=True)
    sys.exit(1 if failed else 0)


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('--depth', type=int, default=250)
    ap.add_argument('--reads', type=int, default=200)
    ap.add_argument('--kind', choices=KINDS, default='offset')
    ap.add_argument('--unsat', action='store_true')
    ap.add_argument('--seed', type=int, default=1)
    ap.add_argument('--measure', metavar='PROGRAM')
    ap.add_argument('--depths', default='250,500,1000,2000', type=lambda s: [int(n) for n in s.split(',')])
    ap.add_argument('--config', action='append', default=[], help='an option of the library')
    ap.add_argument('--limit', type=int, default=60, help='CPU seconds for one script')
    args = ap.parse_args()
    if args.measure:
        args.measure = os.path.abspath(args.measure)
        measure(args)
    print(script(args.depth, args.reads, args.kind, args.unsat, args.seed), end='')


if __name__ == '__main__':
    main()
