#!/usr/bin/env python3
"""Differential test of the program with random incremental scripts over floating-point numbers.

  fuzz_fp.py --program PROGRAM [--count N] [--seed S] [--logic QF_FP|QF_BVFP|QF_ABVFP|QF_UFFP] [--models]

All operators over formats of 5 to 9 bits and variable rounding modes; with QF_BVFP conversions from and
to bit-vectors as well, with QF_ABVFP arrays of floats on top, with QF_UFFP functions of floats. Answers and
failed assumptions are compared with those of z3, with the lazy and the eager solver, and all ways to
bit-blast. Which zero the minimum of two different ones is depends on an option; where that fixes it, z3
gets minima and maxima that are defined accordingly. With --models the values of all constants after each
sat are handed to z3 as equations, which must then find the assertions satisfiable. What z3 does not decide
in time is passed over.

Conversions of negative numbers to unsigned integers are left out. Failures are shrunk, printed and saved
as by fuzz_uf.py. Python 3 standard library only.
"""
import re

import boolscript as bs
import fuzz_la
import fuzz_uf

OPTIONS = fuzz_uf.OPTIONS + [
    ('theory.fp.mode', (0, 0, 1)),
    ('theory.fp.mode', (0, 1)),
    ('theory.fp.bit_blast_mode', (0, 1, 2)),
    ('theory.fp.minmax_zero_mode', (0, 1, 2, 3, 4)),
    ('theory.fp.minmax_zero_mode', (0, 1, 2, 3, 4)),
    ('theory.bv.bit_blast_mode', (0, 1, 2)),
    ('theory.bv.delay_propagated_eqs', ('true', 'false')),
    ('theory.euf.enabled', ('true',)),
]

FORMATS = ((2, 3), (3, 3), (3, 4), (2, 5), (4, 3), (5, 4))
ROUNDINGS = ('RNE', 'RTZ', 'RTP', 'RTN')
RATIONALS = ('0.0', '1.0', '0.3', '1.7', '2.5', '0.0625', '3.0', '0.333333', '9.0', '1000.0')
ZERO = {  # by mode: minimum and maximum of two zeros a and b that may differ
    0: ('(ite (fp.isNegative a) a b)', '(ite (fp.isNegative a) b a)'),
    1: ('(ite (fp.isNegative a) b a)', '(ite (fp.isNegative a) b a)'),
    2: ('a', 'a'),
    3: ('b', 'b'),
}


def min_max_definition(is_max, mode):
    op = ('fp.min', 'fp.max')[is_max]
    body = '(%s a b)' % op
    if mode in ZERO:
        body = '(ite (and (fp.isZero a) (fp.isZero b)) %s %s)' % (ZERO[mode][is_max], body)
    return '(define-fun my.%s ((a F) (b F)) F %s)' % (op[3:], body)


class Generator(fuzz_uf.Generator):
    def __init__(self, rnd, logic):
        self.rnd = rnd
        self.logic = logic
        self.formats = dict(zip('FG', rnd.sample(FORMATS, 2)))
        self.bv = logic in ('QF_BVFP', 'QF_ABVFP')
        self.arrays = logic == 'QF_ABVFP'
        self.sorts = ['F', 'RoundingMode'] + ['G'] * (rnd.random() < 0.3) + ['B'] * self.bv
        self.width = sum(self.formats['F']) if rnd.random() < 0.5 else rnd.randint(1, 4)
        self.consts = {s: ['%s%d' % (s[0].lower(), i) for i in range(rnd.randint(1, 4))] for s in self.sorts}
        self.array_consts = ['m%d' % i for i in range(rnd.randint(1, 2))] if self.arrays else []
        self.functions = []
        if logic == 'QF_UFFP':
            for i in range(rnd.randint(1, 3)):
                args = tuple(rnd.choice(('F', 'F', 'RoundingMode')) for _ in range(rnd.choice((1, 1, 2))))
                self.functions.append(('h%d' % i, args, rnd.choice(('F', 'F', 'Bool'))))
        self.bools = ['q%d' % i for i in range(rnd.randint(2, 4))]
        self.ites = rnd.random() < 0.4
        self.variable_modes = rnd.random() < 0.5

    def declarations(self):
        out = ['(define-sort %s () (_ FloatingPoint %d %d))' % ((s,) + f) for s, f in self.formats.items()]
        out += ['(define-sort B () (_ BitVec %d))' % self.width] * self.bv
        out += ['(define-sort M () (Array B F))'] * self.arrays
        out += [min_max_definition(is_max, 4) for is_max in (False, True)]
        for s in self.sorts:
            out += ['(declare-fun %s () %s)' % (c, s) for c in self.consts[s]]
        out += ['(declare-const %s M)' % m for m in self.array_consts]
        out += ['(declare-fun %s (%s) %s)' % (n, ' '.join(a), r) for n, a, r in self.functions]
        return out + ['(declare-fun %s () Bool)' % b for b in self.bools]

    def mode(self):
        if self.variable_modes and self.rnd.random() < 0.4:
            return self.term('RoundingMode', 1)
        return self.rnd.choice(ROUNDINGS)

    def bits(self, n):
        kind = self.rnd.random()
        text = '0' * n if kind < 0.25 else '1' * n if kind < 0.4 else ''
        return '#b' + (text or ''.join(self.rnd.choice('01') for _ in range(n)))

    def value(self, sort):
        rnd = self.rnd
        if sort == 'B':
            return self.bits(self.width)
        if sort == 'RoundingMode':
            return rnd.choice(ROUNDINGS)
        e, s = self.formats[sort]
        kind = rnd.random()
        if kind < 0.3:
            return '(_ %s %d %d)' % (rnd.choice(('NaN', '+oo', '-oo', '+zero', '-zero')), e, s)
        if kind < 0.5:
            x = ('(_ to_fp %d %d)' % (e, s), self.mode(), rnd.choice(RATIONALS))
            return ('fp.neg', x) if rnd.random() < 0.3 else x
        return ('fp', self.bits(1), self.bits(e), self.bits(s - 1))

    def array(self, depth):
        if depth and self.rnd.random() < 0.4:
            return ('store', self.array(depth - 1), self.term('B', depth - 1), self.term('F', depth - 1))
        return self.rnd.choice(self.array_consts)

    def application(self, sort, depth):
        """An operator of the theory, or None."""
        rnd = self.rnd
        if sort == 'RoundingMode':
            return None
        if sort == 'B':
            kind = rnd.random()
            if kind < 0.5:
                return (rnd.choice(('bvadd', 'bvmul', 'bvand', 'bvsub')), self.term('B', depth), self.term('B', depth))
            f = self.term('F', depth)
            if kind < 0.8:
                return ('(_ fp.to_sbv %d)' % self.width, self.mode(), f)
            return ('(_ fp.to_ubv %d)' % self.width, self.mode(), ('fp.abs', f))
        e, s = self.formats[sort]
        kind = rnd.random()
        if kind < 0.45:
            return (rnd.choice(('fp.add', 'fp.sub', 'fp.mul', 'fp.div')), self.mode(), self.term(sort, depth),
                    self.term(sort, depth))
        if kind < 0.6:
            return (rnd.choice(('fp.sqrt', 'fp.roundToIntegral')), self.mode(), self.term(sort, depth))
        if kind < 0.7:
            return (rnd.choice(('fp.neg', 'fp.abs')), self.term(sort, depth))
        if kind < 0.8 and sort == 'F':
            return (rnd.choice(('my.min', 'my.max')), self.term(sort, depth), self.term(sort, depth))
        if self.bv and kind < 0.95:
            to_fp = rnd.choice(('to_fp', 'to_fp_unsigned'))
            if self.width == e + s and rnd.random() < 0.5:
                return ('(_ to_fp %d %d)' % (e, s), self.term('B', depth))
            return ('(_ %s %d %d)' % (to_fp, e, s), self.mode(), self.term('B', depth))
        other = rnd.choice(sorted(set(self.sorts) & {'F', 'G'}))
        return ('(_ to_fp %d %d)' % (e, s), self.mode(), self.term(other, depth))

    def term(self, sort, depth):
        rnd = self.rnd
        kind = rnd.random()
        if depth == 0 or kind < 0.2:
            return rnd.choice(self.consts[sort]) if rnd.random() < 0.7 else self.value(sort)
        if self.ites and kind < 0.3:
            condition = rnd.choice((self.atom, lambda: rnd.choice(self.bools)))()
            return ('ite', condition, self.term(sort, depth - 1), self.term(sort, depth - 1))
        fitting = [f for f in self.functions if f[2] == sort]
        if fitting and kind < 0.6:
            name, args, _ = rnd.choice(fitting)
            return (name,) + tuple(self.term(s, depth - 1) for s in args)
        if self.arrays and sort == 'F' and kind < 0.6:
            return ('select', self.array(depth), self.term('B', depth - 1))
        return self.application(sort, depth - 1) or rnd.choice(self.consts[sort])

    def atom(self):
        rnd = self.rnd
        kind = rnd.random()
        predicates = [f for f in self.functions if f[2] == 'Bool']
        if kind < 0.12:
            return rnd.choice(self.bools)
        if predicates and kind < 0.25:
            name, args, _ = rnd.choice(predicates)
            return (name,) + tuple(self.term(s, 1) for s in args)
        sort = rnd.choice(self.sorts + ['F', 'F'])
        depth = rnd.choice((0, 1, 1, 2, 2))
        if sort == 'RoundingMode' or rnd.random() < 0.25:
            return (rnd.choice(('=', 'distinct')), self.term(sort, depth), self.term(sort, rnd.choice((0, depth))))
        if sort == 'B':
            return (rnd.choice(('bvult', 'bvsle')), self.term(sort, depth), self.term(sort, rnd.choice((0, depth))))
        if kind < 0.5:
            test = rnd.choice(('NaN', 'Infinite', 'Zero', 'Subnormal', 'Normal', 'Negative', 'Positive'))
            return ('fp.is' + test, self.term(sort, depth))
        relation = rnd.choice(('fp.eq', 'fp.lt', 'fp.leq', 'fp.gt', 'fp.geq'))
        return (relation, self.term(sort, depth), self.term(sort, rnd.choice((0, depth))))


class Checker(fuzz_la.Checker):
    mode = 4

    def check(self, head, commands, options, count=False):
        if self.args.logic != 'QF_FP':
            options = [o for o in options if o != 'theory.fp.mode=0']
        modes = [o for o in options if 'minmax_zero_mode' in o]
        self.mode = int(modes[-1].partition('=')[2]) if modes else 4
        return super().check(head, commands, options, count)

    def oracle_head(self, head):
        plain = [min_max_definition(is_max, 4) for is_max in (False, True)]
        head = [min_max_definition(plain.index(h), self.mode) if h in plain else h for h in head]
        # z3 has a fifth rounding mode
        modes = [h.split()[1] for h in head if h.endswith(' () RoundingMode)')]
        return head + ['(assert (not (= %s RNA)))' % m for m in modes]

    def judge(self, head, problems):
        """The answers to conjunctions of formulas. Each is asked on its own: z3 is much stronger then than
        on incremental scripts."""
        lines = ['(set-option :timeout 2000)']  # milliseconds for each; then it says unknown
        for formulas in problems:
            lines += ['(reset)', '(set-logic %s)' % self.args.logic] + self.oracle_head(head)
            lines += ['(assert %s)' % f for f in formulas] + ['(check-sat)']
        code, out, err = fuzz_uf.run(self.oracle_command(), '\n'.join(lines) + '\n', self.args.timeout * 3)
        got = [x for x in out.split('\n') if x in ('sat', 'unsat', 'unknown', 'timeout')]
        if code is None or '(error' in out or len(got) != len(problems):
            return None, 'the oracle did not answer: ' + (out + err)[:1000]
        return got, None

    def ask_oracle(self, head, commands, answers, failed):
        problems, expect = [], []
        for k, (assertions, assumptions) in enumerate(queries(commands)):
            problems.append(assertions + assumptions)
            expect.append((k, answers[k]))
            if failed[k] is not None:
                problems.append(assertions + [bs.literal_text(*x) for x in failed[k]])
                expect.append((k, 'unsat'))
        got, error = self.judge(head, problems)
        if error:
            return 'oracle', error
        for (k, want), have in zip(expect, got):
            if have in ('sat', 'unsat') and have != want:
                return 'answer', 'query %d: expected by the program %s, the oracle says %s' % (k + 1, want, have)
        return None

    def confirm_models(self, head, commands, values):
        problems, expect = [], []
        for k, (assertions, assumptions) in enumerate(queries(commands)):
            if values[k] is None:
                continue
            if 'error' in values[k]:
                return 'model', 'query %d: %s' % (k + 1, values[k])
            pairs = re.sub(r'^\(|\)\s*$', '', values[k].strip())
            problems.append(['(= %s %s)' % p for p in fuzz_la.parse_pairs(pairs)] + assertions + assumptions)
            expect.append(k)
        got, error = self.judge(head, problems)
        if error:
            return 'oracle', error
        self.models = getattr(self, 'models', 0) + got.count('sat')
        for k, have in zip(expect, got):
            if have == 'unsat':
                return 'model', 'query %d: the values are no model: %s' % (k + 1, values[k])
        return None


def queries(commands):
    """The assertions that stand at each query, and its assumptions."""
    levels = [[]]
    for c in commands:
        if c[0] == 'assert':
            levels[-1].append(fuzz_uf.term_text(c[1]))
        elif c[0] == 'push':
            levels += [[] for _ in range(c[1])]
        elif c[0] == 'pop':
            del levels[len(levels) - c[1]:]
        elif c[0] in ('check', 'assume'):
            yield sum(levels, []), [bs.literal_text(*x) for x in c[1]] if c[0] == 'assume' else []


if __name__ == '__main__':
    fuzz_uf.main(__doc__, 'fp', ['QF_FP', 'QF_BVFP', 'QF_ABVFP', 'QF_UFFP'], Generator, lambda logic: OPTIONS,
                 Checker)
