#!/usr/bin/env python3
"""Writes scripts that are systems of integer equations only, with long coefficients.

  equations.py FOLDER [--sizes 10,40,70,100,150,200] [--seed 1]

For each number of equations: square systems with random constants; planted solutions with one and with
many free unknowns, dense and sparse; and systems without solution, where the last equation is a sum of
multiples of the others but for its constant, or that but for multiples of a number (2, 3 or a prime), so
that they have rational solutions only. Dense coefficients of one digit, too. Where the answer is known
from how the system was made, the script states it. Python 3 standard library only.
"""
import argparse
import os
import random

LARGE = 10 ** 9


def number(n):
    return str(n) if n >= 0 else '(- %d)' % -n


def script(rnd, kind, unknowns, count, limit, width, modulus):
    """width  unknowns in an equation, None for all"""
    hidden = [rnd.randint(-1000, 1000) for _ in range(unknowns)]
    rows = []
    for i in range(count):
        row = [0] * unknowns
        if kind in ('modulus', 'dependent') and i == count - 1:
            value = 1
            for other, other_value in rows:
                factor = rnd.randint(-3, 3)
                row = [a + factor * b for a, b in zip(row, other)]
                value += factor * other_value
            for j in range(unknowns if kind == 'modulus' else 0):
                c = modulus * rnd.randint(-1000, 1000)
                row[j] += c
                value += c * hidden[j]
        else:
            for j in range(unknowns) if width is None else rnd.sample(range(unknowns), width):
                row[j] = rnd.randint(-limit, limit)
            value = rnd.randint(-limit, limit) if kind == 'random' else sum(a * b for a, b in zip(row, hidden))
        rows.append((row, value))
    status = {'planted': 'sat', 'modulus': 'unsat', 'dependent': 'unsat', 'random': 'unknown'}[kind]
    lines = ['(set-logic QF_LIA)', '(set-info :status %s)' % status]
    lines += ['(declare-const x%d Int)' % j for j in range(unknowns)]
    for row, value in rows:
        terms = ' '.join('(* %s x%d)' % (number(c), j) for j, c in enumerate(row) if c)
        lines.append('(assert (= (+ 0 %s) %s))' % (terms, number(value)))
    return '\n'.join(lines) + '\n(check-sat)\n'


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('folder')
    ap.add_argument('--sizes', default='10,40,70,100,150,200', help='numbers of equations')
    ap.add_argument('--seed', type=int, default=1)
    args = ap.parse_args()
    os.makedirs(args.folder, exist_ok=True)
    for n in map(int, args.sizes.split(',')):
        more, fewer = n + n // 4, n - n // 5
        for kind, unknowns, limit, width, modulus in (
                ('random', n, LARGE, None, 0), ('planted', n + 1, LARGE, None, 0), ('planted', n + n // 2, LARGE, None, 0),
                ('planted', n, LARGE, 3, 0), ('planted', n + n // 2, LARGE, 4, 0), ('planted', more, 10, None, 0),
                ('modulus', more, LARGE, None, 2), ('modulus', more, LARGE, None, 1000003), ('modulus', more, LARGE, 4, 3),
                ('dependent', fewer, LARGE, None, 0)):
            words = [kind, n, unknowns, limit, 'dense' if width is None else 'sparse%d' % width]
            name = '_'.join(map(str, words + ([modulus] if modulus else [])))
            rnd = random.Random('%s %d' % (name, args.seed))
            with open(os.path.join(args.folder, name + '.smt2'), 'w') as f:
                f.write(script(rnd, kind, unknowns, n, limit, width, modulus))


if __name__ == '__main__':
    main()
