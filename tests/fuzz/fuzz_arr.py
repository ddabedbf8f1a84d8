#!/usr/bin/env python3
"""Differential test of the program with random incremental scripts over arrays.

  fuzz_arr.py --program PROGRAM [--count N] [--seed S] [--oracle z3|cvc5] [--models] [--save DIR]

As fuzz_uf.py, with one or two sorts of arrays on top: reads, nested writes, constant arrays, equalities,
if-then-elses of arrays, arrays as arguments of functions, and at times arrays of arrays. Indices and
elements are of uninterpreted sorts, integers, truth values, or bit-vectors so narrow that all indices get
written.
With --models the values of all constants after each sat answer, arrays among them, are confirmed, too.

Failures are shrunk, printed and saved as by fuzz_uf.py. Python 3 standard library only.
"""

import re

import fuzz_la
import fuzz_uf

OPTIONS = fuzz_uf.OPTIONS + [
    ('theory.arr.mode', (0, 1), 1.0),
    ('theory.arr.lazy_lemmas', ('true', 'false')),
    ('theory.arr.max_ext_lemmas', (0, 1, 3)),
    ('theory.arr.enable_ext_polarity', ('true', 'false')),
    ('theory.arr.enable_ext_arg', ('true', 'false')),
    ('theory.arr.enable_witness', ('true', 'false')),
    ('theory.pairwise_interface_eq', ('true', 'false')),
    ('theory.interface_eq_batch_size', (1, 100)),
    ('theory.bv.eager', ('true', 'false')),
    ('theory.bv.bit_blast_mode', (0, 1, 2)),
]
fuzz_uf.THEORIES['(_ BitVec 4)'] = (['#x0', '#x1', '#x8', '#xf'], [('bvadd', 2), ('bvneg', 1), ('bvlshr', 2)], ['bvult'])
fuzz_uf.THEORIES['(_ BitVec 1)'] = (['#b0', '#b1'], [('bvnot', 1), ('bvadd', 2)], ['bvult'])


class Generator(fuzz_uf.Generator):
    def __init__(self, rnd, logic):
        self.rnd = rnd
        self.logic = logic
        base = ['U', 'V', 'Int', '(_ BitVec 1)', '(_ BitVec 2)', 'Bool']
        base += ['Real', '(_ BitVec 4)'] * (rnd.random() < 0.2)
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
        if depth and sort in self.arrays and self.ites and rnd.random() < 0.15:
            return ('ite', self.formula(1), self.term(sort, depth - 1), self.term(sort, depth - 1))
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


ELEMENT = re.compile(r'\(as @(\d+) (\w+)\)')  # of an uninterpreted sort, in a value


def element_name(m):
    return 'element_%s_%s' % (m[2], m[1])


class Checker(fuzz_la.Checker):
    """As for numbers. Elements of uninterpreted sorts are constants; those of one model are different."""

    def ask_oracle(self, head, commands, answers, failed, count=False):
        elements = {(element_name(m), m[2]) for v in self.values if v for m in ELEMENT.finditer(v)}
        head = head + ['(declare-fun %s () %s)' % e for e in sorted(elements)]
        return super().ask_oracle(head, commands, answers, failed, count)

    def model_of(self, k):
        formulas = super().model_of(k)
        if formulas is None:
            return None
        by_sort = {}
        for m in sorted(set(m.groups() for f in formulas for m in ELEMENT.finditer(f))):
            by_sort.setdefault(m[1], []).append('element_%s_%s' % (m[1], m[0]))
        different = ['(distinct %s)' % ' '.join(names) for _, names in sorted(by_sort.items()) if len(names) > 1]
        return [ELEMENT.sub(element_name, f) for f in formulas] + different


# Under these a script of arrays of arrays may take minutes that ends at once with the defaults.
SLOW = {'theory.arr.enable_ext_arg=false', 'theory.pure_literal_filtering=true', 'theory.eq_propagation=false',
        'theory.interface_eq_policy=1', 'dpll.branching_random_frequency=0.1'}


def may_hang(gen, options):
    return fuzz_uf.is_random_walk(gen, options) or not SLOW.isdisjoint(options)


if __name__ == '__main__':
    fuzz_uf.main(__doc__, 'arr', ['ALL'], Generator, lambda logic: OPTIONS, Checker, may_hang)
