#!/usr/bin/env python3
"""Differential test of the program with random incremental scripts over floating-point numbers.

  fuzz_fp.py --program PROGRAM [--count N] [--seed S] [--logic QF_FP|QF_BVFP|...] [--models]

All operators over formats of 5 to 9 bits and variable rounding modes; with QF_BVFP conversions from and
to bit-vectors as well, with A also arrays of floats, with UF functions of floats. Answers and failed assumptions are compared with those of an oracle, with the lazy and the eager solver, and all ways to
bit-blast. Which zero the minimum of two different ones is depends on an option; where that fixes it, the
oracle gets minima and maxima that are defined accordingly. Conversions of rationals are worked out here.
With --models the values of all constants after each sat are handed to the oracle as equations, which must
then find the assertions satisfiable.

The oracle is cvc5 if there is one, as it is much the quicker one. It goes wrong on unusual formats, on
conversions between them and on square roots that are subnormal: scripts with these are for z3. z3 is also asked what cvc5 does not decide, and
before anything is called a failure; where it cannot tell, it is one. What neither decides in time is passed
over and counted.

Failures are shrunk, printed and saved
as by fuzz_uf.py. Python 3 standard library only.
"""
import re
import shutil
from fractions import Fraction

import boolscript as bs
import fuzz_arr
import fuzz_la
import fuzz_uf

OPTIONS = fuzz_arr.OPTIONS + [
    ('theory.fp.mode', (0, 0, 1)),
    ('theory.fp.mode', (0, 1)),
    ('theory.fp.bit_blast_mode', (0, 1, 2)),
    ('theory.fp.minmax_zero_mode', (0, 1, 2, 3, 4)),
    ('theory.fp.minmax_zero_mode', (0, 1, 2, 3, 4)),
    ('theory.bv.bit_blast_mode', (0, 1, 2)),
    ('theory.fp.dpll.restart_strategy', (0, 1, 2)),
    ('theory.fp.dpll.restart_initial', (1, 10)),
    ('theory.fp.dpll.ghost_filtering', ('true',)),
    ('theory.bv.delay_propagated_eqs', ('true', 'false')),
    ('theory.pairwise_interface_eq', ('true', 'false')),
    ('theory.interface_eq_batch_size', (1, 3)),
    ('preprocessor.ite_minimization', ('true',)),
    ('theory.euf.enabled', ('true',)),
]

USUAL = ((3, 3), (3, 3), (3, 4), (4, 3), (4, 4), (5, 4), (4, 5))
FORMATS = ((2, 3), (2, 3), (2, 4), (2, 5), (3, 3), (3, 3), (3, 4), (3, 5), (4, 3), (5, 4))
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


def rounded(value, fmt, mode):
    """The text of the float next to a rational."""
    e, s = fmt
    bias = 2 ** (e - 1) - 1
    sign, x = int(value < 0), abs(value)
    exponent = 1 - bias
    while x >= Fraction(2) ** (exponent + 1):
        exponent += 1
    units = x / Fraction(2) ** (exponent - s + 1)
    whole = units.numerator // units.denominator
    rest = units - whole
    away = {'RNE': rest > Fraction(1, 2) or rest == Fraction(1, 2) and whole % 2, 'RTZ': False,
            'RTP': rest and not sign, 'RTN': rest and sign}[mode]
    word = whole + bool(away) + ((exponent + bias - 1) << (s - 1))  # a carry moves on into the exponent
    infinite = (2 ** e - 1) << (s - 1)
    if word >= infinite:
        word = infinite - (mode == 'RTZ' or mode == 'RTP' and sign or mode == 'RTN' and not sign)
    bits = format(word, '0%db' % (e + s - 1))
    return '(fp #b%d #b%s #b%s)' % (sign, bits[:e], bits[e:])


def without_rationals(t):
    """The term with the floats in place of the rationals that are converted."""
    if isinstance(t, str):
        return t
    t = tuple(map(without_rationals, t))
    if len(t) != 3 or t[2] not in RATIONALS:
        return t
    fmt = tuple(map(int, t[0][:-1].split()[2:]))
    values = [rounded(Fraction(t[2]), fmt, m) for m in ROUNDINGS]
    if t[1] in ROUNDINGS:
        return values[ROUNDINGS.index(t[1])]
    for mode, value in zip(ROUNDINGS[1:], values[1:]):
        values[0] = ('ite', ('=', t[1], mode), value, values[0])
    return values[0]


class Generator(fuzz_uf.Generator):
    def __init__(self, rnd, logic):
        self.rnd = rnd
        self.logic = logic
        self.usual = rnd.random() < (0.9 if 'UF' in logic else 0.75)
        if self.usual:
            self.formats = {'F': rnd.choice(USUAL)}
        else:
            self.formats = dict(zip('FG', rnd.sample(sorted(set(FORMATS)), 2)), F=rnd.choice(FORMATS))
        self.bv = 'BV' in logic
        self.arrays = 'A' in logic
        self.index, self.element = rnd.choice((('B', 'F'), ('B', 'F'), ('F', 'B'), ('F', 'F'), ('B', 'B')))
        self.sorts = ['F', 'RoundingMode'] + ['G'] * (not self.usual and rnd.random() < 0.7) + ['B'] * self.bv
        self.width = sum(self.formats['F']) if self.usual or rnd.random() < 0.4 else rnd.randint(1, 4)
        self.consts = {s: ['%s%d' % (s[0].lower(), i) for i in range(rnd.randint(1, 4))] for s in self.sorts}
        self.array_consts = ['m%d' % i for i in range(rnd.randint(1, 2))] if self.arrays else []
        self.functions = []
        if 'UF' in logic:
            for i in range(rnd.randint(1, 3)):
                args = tuple(rnd.choice(('F', 'F', 'RoundingMode')) for _ in range(rnd.choice((1, 1, 2))))
                self.functions.append(('h%d' % i, args, rnd.choice(('F', 'F', 'Bool'))))
        self.bools = ['q%d' % i for i in range(rnd.randint(2, 4))]
        self.ites = rnd.random() < 0.4
        self.variable_modes = rnd.random() < 0.5

    def declarations(self):
        out = ['(define-sort %s () (_ FloatingPoint %d %d))' % ((s,) + f) for s, f in self.formats.items()]
        out += ['(define-sort B () (_ BitVec %d))' % self.width] * self.bv
        out += ['(define-sort M () (Array %s %s))' % (self.index, self.element)] * self.arrays
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
            return ('store', self.array(depth - 1), self.term(self.index, depth - 1),
                    self.term(self.element, depth - 1))
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
            return ('(_ fp.to_ubv %d)' % self.width, self.mode(), rnd.choice((f, ('fp.abs', f))))
        e, s = self.formats[sort]
        kind = rnd.random()
        if kind < 0.45:
            return (rnd.choice(('fp.add', 'fp.sub', 'fp.mul', 'fp.div')), self.mode(), self.term(sort, depth),
                    self.term(sort, depth))
        if kind < 0.6:
            whole = s - 1 < 2 ** (e - 1)  # else some integers next to floats are too large
            op = rnd.choice(('fp.sqrt', 'fp.roundToIntegral' if whole else 'fp.sqrt'))
            return (op, self.mode(), self.term(sort, depth))
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
        if self.arrays and sort == self.element and kind < 0.6:
            return ('select', self.array(depth), self.term(self.index, depth - 1))
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
        if self.arrays and kind < 0.3:
            return ('=', self.array(1), self.array(1))
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
    second = shutil.which('z3')

    def check(self, head, commands, options, count=False):
        if 'BV' in self.args.logic:  # needs the link between the two eager solvers
            options = [o for o in options if o not in ('theory.fp.mode=0', 'theory.bv.eager=false')]
        modes = [o for o in options if 'minmax_zero_mode' in o]
        self.mode = int(modes[-1].partition('=')[2]) if modes else 4
        return super().check(head, commands, options, count)

    def oracle_head(self, head):
        plain = [min_max_definition(is_max, 4) for is_max in (False, True)]
        head = [min_max_definition(plain.index(h), self.mode) if h in plain else h for h in head]
        # the oracles have a fifth rounding mode
        modes = [h.split()[1] for h in head if h.endswith(' () RoundingMode)')]
        return ['(set-logic %s)' % self.args.logic] + head + ['(assert (not (= %s RNA)))' % m for m in modes]

    def answers_of(self, command, lines, count):
        """What an oracle says to each query; it is followed by a marker line."""
        code, out, err = fuzz_uf.run(command, '\n'.join(lines) + '\n', self.args.timeout * 3)
        blocks = fuzz_uf.parse_blocks(out)[0]
        got = [b[-1] if b and b[-1] in ('sat', 'unsat') and '(error' not in ''.join(b) else 'unknown' for b in blocks]
        return got + ['unknown'] * (count - len(got))

    def judge(self, head, problems, expected):
        """The answers to conjunctions of formulas, where the program says what is expected. cvc5 does not get
        again what a formula has in common with the one before; z3 gets each by itself, as it is much stronger
        then."""
        got = ['unknown'] * len(problems)
        if 'z3' not in self.args.oracle and is_usual(head, problems):
            lines, groups = self.oracle_head(head), []
            for formulas in problems:
                while sum(groups, []) != formulas[:sum(map(len, groups))]:
                    groups.pop()
                    lines.append('(pop 1)')
                groups.append(formulas[sum(map(len, groups)):])
                lines += ['(push 1)'] + ['(assert %s)' % f for f in groups[-1]] + ['(check-sat)', '(echo "--")']
            command = [self.args.oracle, '-q', '--lang', 'smt2', '--fp-exp', '--incremental', '--tlimit-per=1000']
            got = self.answers_of(command, lines, len(problems))
        doubtful = [k for k, (have, want) in enumerate(zip(got, expected)) if have != want][:15]
        if doubtful and self.second:
            lines = ['(set-option :timeout 500)']  # milliseconds for each; then it says unknown
            for k in doubtful:
                lines += ['(reset)'] + self.oracle_head(head)
                lines += ['(assert %s)' % f for f in problems[k]] + ['(check-sat)', '(echo "--")']
            for k, have in zip(doubtful, self.answers_of([self.second, '-smt2', '-in'], lines, len(doubtful))):
                got[k] = have if have in ('sat', 'unsat') else got[k]
        return got

    def ask_oracle(self, head, commands, answers, failed, count=False):
        problems, expect = [], []
        for k, (assertions, assumptions) in enumerate(queries(commands)):
            problems.append(assertions + assumptions)
            expect.append((k, answers[k], 'answer'))
            model = self.model_of(k)
            if model:
                problems.append(assertions + assumptions + model)
                expect.append((k, 'sat', 'model'))
            if failed[k] is not None:
                problems.append(assertions + [bs.literal_text(*x) for x in failed[k]])
                expect.append((k, 'unsat', 'answer'))
        got = self.judge(head, problems, [want for _, want, _ in expect])
        return self.compare_answers(expect, got, count)


def is_usual(head, problems):
    """Whether cvc5 can deal with the formats, conversions and square roots of a script."""
    formats = [(int(e), int(s)) for e, s in re.findall(r'FloatingPoint (\d+) (\d+)', ' '.join(head))]
    widths = re.findall(r'BitVec (\d+)', ' '.join(head))
    if len(formats) != 1 or formats[0] not in USUAL or any(int(w) != sum(formats[0]) for w in widths):
        return False
    # the only one of these formats in which a square root can be subnormal
    return formats[0] != (3, 4) or not any('fp.sqrt' in f for p in problems for f in p)


def queries(commands):
    """The assertions that stand at each query, and its assumptions."""
    levels = [[]]
    for c in commands:
        if c[0] == 'assert':
            levels[-1].append(fuzz_uf.term_text(without_rationals(c[1])))
        elif c[0] == 'push':
            levels += [[] for _ in range(c[1])]
        elif c[0] == 'pop':
            del levels[len(levels) - c[1]:]
        elif c[0] in ('check', 'assume'):
            yield sum(levels, []), [bs.literal_text(*x) for x in c[1]] if c[0] == 'assume' else []


if __name__ == '__main__':
    fuzz_uf.main(__doc__, 'fp', ['QF_FP', 'QF_BVFP', 'QF_ABVFP', 'QF_UFFP', 'QF_AUFBVFP'], Generator, lambda logic: OPTIONS,
                 Checker, oracle='cvc5' if shutil.which('cvc5') else 'z3')
