#!/usr/bin/env python3
"""Rounds of push, assertions, check and pop through a pipe: time and memory per round, for several solvers.

  incremental.py [--rounds 100000] [--theories bool,lra,lia,uf,bv] [--seed 1] NAME=COMMAND...

Each theory has a problem that stays, and rounds that add a few random formulas over its constants and
over two constants of the round's own. All solvers get the same text, in pieces; CPU time and resident
memory are read between the pieces, when all answers of a piece have come. Answers must be the same.

Prints for each theory and solver the microseconds of CPU time per round, the ratio to the first solver,
the cost of the last tenth of the rounds over that of the first, and the growth of memory in bytes per
round after the first 1,000 rounds. The exit status is 1 when answers differ. Python 3 standard library
only.
"""
import argparse
import os
import random
import shlex
import subprocess
import sys
import threading


class Theory:
    """Texts over a fixed list of constants. A round may use two more, which it declares."""

    def __init__(self, rnd):
        self.rnd = rnd
        self.names = ['x%d' % i for i in range(self.SIZE)]
        self.fresh = 0

    def head(self):
        return ['(set-logic %s)' % self.LOGIC] + ['(declare-const %s %s)' % (n, self.SORT) for n in self.names]

    def round(self):
        old = self.names
        own = ['t%d' % ((self.fresh + k) % 40) for k in range(2)]
        self.fresh += 2
        self.names = old + own * 2
        lines = ['(push 1)'] + ['(declare-const %s %s)' % (n, self.SORT) for n in own]
        lines += ['(assert %s)' % self.formula() for _ in range(self.PER_ROUND)]
        self.names = old
        return lines + ['(check-sat)', '(pop 1)']

    def clause(self, size):
        lits = [self.atom() for _ in range(size)]
        return '(or %s)' % ' '.join(a if self.rnd.random() < 0.5 else '(not %s)' % a for a in lits)

    def formula(self):
        return self.clause(self.rnd.choice((1, 2, 2, 3)))


class Bool(Theory):
    LOGIC, SORT, SIZE, PER_ROUND = 'QF_UF', 'Bool', 60, 14

    def base(self):
        return [self.clause(3) for _ in range(170)]

    def atom(self):
        return self.rnd.choice(self.names)


class Linear(Theory):
    SIZE, PER_ROUND = 15, 6

    def number(self, lowest, highest):
        n = self.rnd.randint(lowest, highest)
        text = '%d%s' % (abs(n), '.0' * (self.SORT == 'Real'))
        return text if n >= 0 else '(- %s)' % text

    def base(self):
        bounds = ['(and (<= %s %s) (<= %s %s))' % (self.number(0, 0), n, n, self.number(40, 60)) for n in self.names]
        return bounds + [self.clause(3) for _ in range(15)]

    def atom(self):
        some = self.rnd.sample(self.names, self.rnd.randint(1, 3))
        terms = ['(* %s %s)' % (self.number(-3, 3), n) for n in dict.fromkeys(some)]
        left = '(+ %s)' % ' '.join(terms) if len(terms) > 1 else terms[0]
        return '(%s %s %s)' % (self.rnd.choice(('<=', '<=', '>=', '=')), left, self.number(-20, 60))


class Reals(Linear):
    LOGIC, SORT = 'QF_LRA', 'Real'


class Integers(Linear):
    LOGIC, SORT = 'QF_LIA', 'Int'


class Functions(Theory):
    LOGIC, SORT, SIZE, PER_ROUND = 'QF_UF', 'U', 12, 8

    def head(self):
        return ['(set-logic QF_UF)', '(declare-sort U 0)', '(declare-fun f (U) U)', '(declare-fun g (U U) U)'] + \
            super().head()[1:]

    def base(self):
        return [self.clause(2) for _ in range(20)]

    def term(self):
        kind = self.rnd.random()
        a, b = self.rnd.choice(self.names), self.rnd.choice(self.names)
        return a if kind < 0.4 else '(f %s)' % a if kind < 0.75 else '(g %s %s)' % (a, b)

    def atom(self):
        return '(= %s %s)' % (self.term(), self.term())


class Words(Theory):
    LOGIC, SORT, SIZE, PER_ROUND = 'QF_BV', '(_ BitVec 12)', 8, 4

    def base(self):
        return [self.clause(2) for _ in range(10)]

    def term(self):
        a, b = self.rnd.choice(self.names), self.rnd.choice(self.names)
        op = self.rnd.choice(('bvadd', 'bvand', 'bvxor', 'bvsub', 'bvor'))
        return self.rnd.choice((a, '(%s %s %s)' % (op, a, b), '#x%03x' % self.rnd.randrange(4096)))

    def atom(self):
        return '(%s %s %s)' % (self.rnd.choice(('=', 'bvult', 'bvsle')), self.term(), self.term())


THEORIES = {'bool': Bool, 'lra': Reals, 'lia': Integers, 'uf': Functions, 'bv': Words}


class Solver:
    """A process that answers commands, its answers, and what it has used."""

    def __init__(self, command):
        self.p = subprocess.Popen(shlex.split(command), stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.answers = []
        self.cpu = []   # seconds, after each piece
        self.memory = []  # bytes, the same

    def run(self, text):
        """Sends a piece, and takes its answers up to the mark that ends it."""
        def write():
            self.p.stdin.write(text + '(echo "mark")\n')
            self.p.stdin.flush()
        writer = threading.Thread(target=write)
        writer.start()
        for line in self.p.stdout:
            if line.strip().strip('"') == 'mark':
                break
            self.answers.append(line.strip())
        writer.join()
        with open('/proc/%d/stat' % self.p.pid) as f:
            fields = f.read().rsplit(')', 1)[1].split()
        self.cpu.append((int(fields[11]) + int(fields[12])) / os.sysconf('SC_CLK_TCK'))
        self.memory.append(int(fields[21]) * os.sysconf('SC_PAGE_SIZE'))


def measure(name, args):
    """Runs one theory. Returns whether all answers agree."""
    theory = THEORIES[name](random.Random('%s %d' % (name, args.seed)))
    solvers = {n: Solver(c) for n, c in args.solvers}
    start = '\n'.join(theory.head() + ['(assert %s)' % f for f in theory.base()]) + '\n(check-sat)\n'
    for s in solvers.values():
        s.run(start)
    # The memory counts from 1,000 rounds on, so that is the end of a piece; else tenths.
    tenth = args.rounds // 10
    pieces = [min(1000, tenth // 2)]
    pieces += [tenth - pieces[0]] + [tenth] * 9
    for size in pieces:
        text = '\n'.join('\n'.join(theory.round()) for _ in range(size)) + '\n'
        for s in solvers.values():
            s.run(text)
    first = None
    rounds = sum(pieces)
    for n, s in solvers.items():
        s.p.stdin.close()
        s.p.wait()
        cost = (s.cpu[-1] - s.cpu[0]) / rounds * 1e6
        first = first or (cost, s.answers)
        begin, end = s.cpu[2] - s.cpu[0], s.cpu[-1] - s.cpu[-2]
        print('%-5s %-10s %8.1f us/round  ratio %5.2f  last/first tenth %5.2f  memory %9.1f bytes/round  %d sat, %d unsat%s' % (
            name, n, cost, cost / first[0], end / begin if begin else 0, (s.memory[-1] - s.memory[1]) / (rounds - pieces[0]),
            s.answers.count('sat'), s.answers.count('unsat'), '' if s.answers == first[1] else '  ANSWERS DIFFER'), flush=True)
    return all(s.answers == first[1] for s in solvers.values())


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('--rounds', type=int, default=100000)
    ap.add_argument('--theories', default=','.join(THEORIES))
    ap.add_argument('--seed', type=int, default=1)
    ap.add_argument('solvers', nargs='+', metavar='NAME=COMMAND', type=lambda a: tuple(a.split('=', 1)))
    args = ap.parse_args()
    agree = [measure(name, args) for name in args.theories.split(',')]
    sys.exit(0 if all(agree) else 1)


if __name__ == '__main__':
    main()
