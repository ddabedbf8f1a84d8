#!/usr/bin/env python3
"""Differential test of the program with random incremental scripts over uninterpreted functions.

  fuzz_uf.py --program PROGRAM [--count N] [--seed S] [--oracle z3|cvc5] [--save DIR]

Each script declares sorts, constants, functions and predicates, asserts Boolean combinations of
equalities, predicates, distinct and nested term-ITEs, for a part with functions of formulas, with other
logics also arithmetic or bit-vectors, pushes, pops, and asks with and without assumptions, under random
options of the search and of the theories. The oracle answers every query, and confirms every list of failed assumptions. With a program built with both assertion tiers, every
conflict and explanation of the theory solver is checked by a second closure as well. With --cores every
assertion gets a name, and the oracle confirms that what each unsat core names is unsatisfiable by itself.

A failure is shrunk, printed and, with --save, written as a script whose head tells the options. The
exit status is 1 after a failure, and 0 with a note when there is no oracle. Python 3 standard library
only.
"""
import random
import shutil
import sys

import boolscript as bs
from scriptfuzzer import ENGINE_OPTIONS, Failures, argument_parser, parse_blocks, parse_failed, run

OPTIONS = ENGINE_OPTIONS + [
    ('dpll.restart_strategy', (0, 1, 2, 3)),
    ('dpll.ghost_filtering', ('true', 'false')),
    ('dpll.minimize_model', ('true', 'false')),
    ('theory.euf.dyn_ack', (0, 1, 2)),
    ('theory.euf.dyn_ack_threshold', (1, 2, 5)),
    ('theory.euf.dyn_ack_limit', (0, 1, 3, 1000)),
    ('theory.eq_propagation', ('true', 'false')),
    ('theory.pure_literal_filtering', ('true', 'false')),
    ('theory.interface_eq_policy', (0, 1, 2)),
    ('preprocessor.simplification', (0, 1, 7, 23, 31)),
    ('preprocessor.full_cnf_conversion', ('true', 'false')),
    ('preprocessor.partial_nnf_conversion', ('true', 'false')),
]


def random_options(rnd, rows):
    """Library options as NAME=VALUE, and flags of the program.

    A row of `rows` is a name, the values to draw from and, where it is not 0.2, the probability to draw.
    """
    out = ['%s=%s' % (name, rnd.choice(values)) for name, values, *odds in rows if rnd.random() < (odds or [0.2])[0]]
    if rnd.random() < 0.15:
        out.append('--shallow')
    if rnd.random() < 0.2:
        out.append('--collect=0')
    return out


# What a sort of another theory adds: values, functions of it and itself, relations.
THEORIES = {
    'Int': (['0', '1', '2', '5', '(- 1)'], [('+', 2), ('-', 2), ('-', 1), ('* 2', 1), ('* (- 3)', 1)], ['<=', '<', '>=']),
    'Real': (['0.0', '1.0', '2.5', '(- 1.0)'], [('+', 2), ('-', 2), ('-', 1), ('* 2.0', 1), ('* (- 0.5)', 1)],
             ['<=', '<', '>=']),
    '(_ BitVec 2)': (['#b00', '#b01', '#b10', '#b11'], [('bvadd', 2), ('bvmul', 2), ('bvnot', 1), ('bvand', 2)],
                     ['bvult', 'bvsle']),
}
LOGICS = {'QF_UF': [], 'QF_UFLIA': ['Int'], 'QF_UFLRA': ['Real'], 'QF_UFBV': ['(_ BitVec 2)'],
          'QF_UFLIRA': ['Int', 'Real']}


class Generator:
    """Terms are tuples of an operator and terms, or names."""

    def __init__(self, rnd, logic):
        self.rnd = rnd
        self.logic = logic
        self.sorts = ['U'] if rnd.random() < 0.5 else ['U', 'V']
        if LOGICS[logic]:
            self.sorts = LOGICS[logic] + (['U'] if rnd.random() < 0.4 else [])
        self.consts = {s: ['%s%d' % (s.strip('(_ ').lower()[0], i) for i in range(rnd.randint(2, 8))] for s in self.sorts}
        arg_sorts = self.sorts + ['Bool'] * (rnd.random() < 0.25)
        self.functions = []  # (name, argument sorts, result sort or Bool)
        for i in range(rnd.randint(1, 4)):
            args = tuple(rnd.choice(arg_sorts) for _ in range(rnd.choice((1, 1, 2, 2, 3))))
            self.functions.append(('f%d' % i, args, rnd.choice(self.sorts)))
        for i in range(rnd.randint(0, 2)):
            args = tuple(rnd.choice(arg_sorts) for _ in range(rnd.choice((1, 2))))
            self.functions.append(('p%d' % i, args, 'Bool'))
        self.bools = ['q%d' % i for i in range(rnd.randint(2, 5))]
        self.ites = rnd.random() < 0.5

    def formula_argument(self):
        rnd = self.rnd
        kind = rnd.random()
        if kind < 0.5:
            return rnd.choice(self.bools + ['true', 'false'])
        if kind < 0.7:
            sort = rnd.choice(self.sorts)
            return ('=', rnd.choice(self.consts[sort]), rnd.choice(self.consts[sort]))
        predicates = [f for f in self.functions if f[1] == ('Bool',) and f[2] == 'Bool']
        if kind < 0.8 and predicates:
            return (predicates[0][0], rnd.choice(self.bools))
        return (rnd.choice(('and', 'or', 'xor')), rnd.choice(self.bools), ('not', rnd.choice(self.bools)))

    def term(self, sort, depth):
        rnd = self.rnd
        if sort == 'Bool':
            return self.formula_argument()
        values, operations, _ = THEORIES.get(sort, ((), (), ()))
        if values and rnd.random() < 0.12:
            return rnd.choice(values)
        if operations and depth and rnd.random() < 0.35:
            op, arity = rnd.choice(operations)
            return (op,) + tuple(self.term(sort, depth - 1) for _ in range(arity))
        fitting = [f for f in self.functions if f[2] == sort]
        if depth == 0 or not fitting or rnd.random() < 0.3:
            return rnd.choice(self.consts[sort])
        if self.ites and rnd.random() < 0.15:
            return ('ite', self.formula(1), self.term(sort, depth - 1), self.term(sort, depth - 1))
        name, args, _ = rnd.choice(fitting)
        return (name,) + tuple(self.term(s, depth - 1) for s in args)

    def atom(self):
        rnd = self.rnd
        predicates = [f for f in self.functions if f[2] == 'Bool']
        kind = rnd.random()
        if kind < 0.15:
            return rnd.choice(self.bools)
        if kind < 0.3 and predicates:
            name, args, _ = rnd.choice(predicates)
            return (name,) + tuple(self.term(s, 2) for s in args)
        sort = rnd.choice(self.sorts)
        if kind < 0.35:
            return ('distinct',) + tuple(self.term(sort, 1) for _ in range(rnd.randint(2, 4)))
        depth = rnd.choice((0, 0, 1, 2, 3))
        if sort in THEORIES and rnd.random() < 0.5:
            return (rnd.choice(THEORIES[sort][2]), self.term(sort, depth), self.term(sort, rnd.choice((0, 1))))
        return ('=', self.term(sort, depth), self.term(sort, rnd.choice((0, 1, depth))))

    def formula(self, depth):
        rnd = self.rnd
        if depth == 0 or rnd.random() < 0.3:
            return ('not', self.atom()) if rnd.random() < 0.4 else self.atom()
        op = rnd.choice(('and', 'or', 'or', 'or', '=>', 'xor', '=', 'ite', 'not'))
        arity = {'=>': 2, 'xor': 2, '=': 2, 'ite': 3, 'not': 1}.get(op) or rnd.randint(2, 4)
        return (op,) + tuple(self.formula(depth - 1) for _ in range(arity))

    def declarations(self):
        out = ['(declare-sort %s 0)' % s for s in self.sorts if s in ('U', 'V')]
        for s in self.sorts:
            out += ['(declare-fun %s () %s)' % (c, s) for c in self.consts[s]]
        out += ['(declare-fun %s (%s) %s)' % (n, ' '.join(a), r) for n, a, r in self.functions]
        return out + ['(declare-fun %s () Bool)' % b for b in self.bools]

    def run(self):
        rnd = self.rnd
        out, depth = [], 0
        for _ in range(rnd.choice((6, 12, 25, 50, 80))):
            kind = rnd.random()
            if kind < 0.55:
                out.append(('assert', self.formula(rnd.choice((0, 1, 1, 2, 3)))))
            elif kind < 0.67:
                out.append(('push', 1))
                depth += 1
            elif kind < 0.77 and depth:
                n = rnd.randint(1, min(depth, 2))
                out.append(('pop', n))
                depth -= n
            elif kind < 0.9:
                out.append(('check',))
            else:
                out.append(('assume', tuple((b, rnd.random() < 0.5)
                                            for b in rnd.sample(self.bools, rnd.randint(1, len(self.bools))))))
        return out + [('check',)]


def term_text(t):
    return t if isinstance(t, str) else '(%s)' % ' '.join((t[0],) + tuple(map(term_text, t[1:])))


def command_text(c):
    return '(assert %s)' % term_text(c[1]) if c[0] == 'assert' else bs.command_text(c)


def smaller_formulas(t):
    """Formulas made of parts of a formula; atoms stay whole."""
    if isinstance(t, str) or t[0] not in ('not', 'and', 'or', '=>', 'xor', 'ite'):
        return
    yield from t[1:]
    for k in range(1, len(t)):
        if t[0] in ('and', 'or') and len(t) > 3:
            yield t[:k] + t[k + 1:]
        for y in smaller_formulas(t[k]):
            yield t[:k] + (y,) + t[k + 1:]


def shrink(commands, fails):
    while True:
        before = commands
        commands = bs.remove_pairs(bs.remove_chunks(commands, fails), fails)
        i = 0
        while i < len(commands):
            for f in smaller_formulas(commands[i][1]) if commands[i][0] == 'assert' else ():
                trial = commands[:i] + [('assert', f)] + commands[i + 1:]
                if fails(trial):
                    commands = trial
                    break
            else:
                i += 1
        if commands == before:
            return commands


class Checker:
    def __init__(self, args):
        self.args = args
        self.limit = args.timeout  # seconds for the program
        self.queries = self.unsat = self.lists = self.cores = self.unknown = 0

    def command_text(self, k, c):
        """Command number k of a script."""
        if self.args.cores and c[0] == 'assert':
            return '(assert (! %s :named n%d))' % (term_text(c[1]), k)
        return command_text(c)

    def script(self, logic, head, commands, options):
        lines = ['(set-option :config "%s")' % o for o in options if o[0] != '-']
        lines += ['(set-option :produce-models true)'] * ('model_generation=true' in options)
        lines += ['(set-option :produce-unsat-cores true)'] * self.args.cores
        lines += ['(set-option :produce-unsat-assumptions true)', '(set-logic %s)' % logic] + head
        for k, c in enumerate(commands):
            lines.append(self.command_text(k, c))
            if c[0] == 'assume':
                lines.append('(get-unsat-assumptions)')
            if c[0] in ('check', 'assume'):
                lines += ['(get-unsat-core)'] * self.args.cores
            if c[0] in ('check', 'assume'):
                # a value makes the program build its model and check it
                lines += ['(get-value (true))'] * ('model_generation=true' in options) + ['(echo "--")']
        return '\n'.join(lines) + '\n'

    def check(self, head, commands, options, count=False):
        """Runs one script; returns None or (kind, description). Ill-formed scripts pass."""
        depth = 0
        for c in commands:
            depth += {'push': 1, 'pop': -1}.get(c[0], 0) * (c[1] if c[0] in ('push', 'pop') else 0)
            if depth < 0:
                return None
        asked = [c for c in commands if c[0] in ('check', 'assume')]
        flags = [o for o in options if o[0] == '-']
        code, out, err = run([self.args.program] + flags, self.script(self.args.logic, head, commands, options), self.limit)
        if code is None:
            return 'hang', 'no end within %d s' % self.limit
        if code not in (0, 1) or 'Sanitizer' in err or 'runtime error' in err:
            return 'crash', 'exit status %d: %s' % (code, err[-2000:])
        if 'undeclared sort' in out or 'unknown symbol' in out:
            return None  # shrunk too far
        blocks, rest = parse_blocks(out)
        if len(blocks) != len(asked) or rest:
            return 'output', 'expected %d answers:\n%s' % (len(asked), out[-2000:])
        answers, failed, cores = [], [], []
        for k, (block, cmd) in enumerate(zip(blocks, asked)):
            if not block or block[0] not in ('sat', 'unsat'):
                return 'output', 'query %d: %s' % (k + 1, ' / '.join(block)[:1000])
            if self.args.cores:
                cores.append(block.pop(1 + (cmd[0] == 'assume')) if len(block) > 1 + (cmd[0] == 'assume') else '')
            if 'Invalid model' in ' '.join(block):
                return 'model', 'query %d: %s' % (k + 1, ' / '.join(block))
            lits = None
            if cmd[0] == 'assume' and block[0] == 'unsat':
                lits = parse_failed([x for x in block[1:] if not x.startswith('(error')])
                if lits is None or not set(lits) <= set(cmd[1]):
                    return 'failed-list', 'query %d: not a list of given assumptions: %s' % (k + 1, ' '.join(block[1:]))
            answers.append(block[0])
            failed.append(lits)
        if count:
            self.queries += len(answers)
            self.unsat += answers.count('unsat')
            self.lists += len([x for x in failed if x is not None])
        found = self.ask_oracle(head, commands, answers, failed, count)
        return found or (self.confirm_cores(head, commands, answers, failed, cores, count) if cores else None)

    def confirm_cores(self, head, commands, answers, failed, cores, count):
        """Every core: names of assertions that stand, unsatisfiable with the failed assumptions alone."""
        lines, asked, k = [], [], 0
        levels = [[]]  # the names on each level
        for number, c in enumerate(commands):
            if c[0] == 'assert':
                levels[-1].append('n%d' % number)
            elif c[0] == 'push':
                levels += [[] for _ in range(c[1])]
            elif c[0] == 'pop':
                del levels[len(levels) - c[1]:]
            elif c[0] in ('check', 'assume'):
                if answers[k] == 'unsat':
                    names = cores[k][1:-1].split()
                    if cores[k][:1] + cores[k][-1:] != '()' or not set(names) <= set(sum(levels, [])):
                        return 'core', 'query %d: not a list of names of assertions: %s' % (k + 1, cores[k])
                    asked.append(k)
                    lines += ['(reset)', '(set-logic %s)' % self.args.logic] + head
                    lines += ['(assert %s)' % term_text(commands[int(n[1:])][1]) for n in names]
                    lines += ['(assert %s)' % bs.literal_text(*x) for x in failed[k] or ()] + ['(check-sat)']
                k += 1
        code, out, err = run(self.oracle_command(), '\n'.join(lines) + '\n', self.args.timeout * 3)
        got = [x for x in out.split('\n') if x in ('sat', 'unsat', 'unknown')]
        if code is None or '(error' in out or len(got) != len(asked):
            return 'oracle', 'the oracle did not judge the cores: ' + (out + err)[:1000]
        if count:
            self.cores += len(asked)
        for k, have in zip(asked, got):
            self.unknown += count and have == 'unknown'
            if have == 'sat':
                return 'core', 'query %d: %s is %s' % (k + 1, cores[k], have)
        return None

    def oracle_command(self):
        limit = '%d' % (1000 * self.args.oracle_timeout)  # for one query
        return [self.args.oracle] + (['-smt2', '-in', '-t:' + limit] if 'z3' in self.args.oracle else
                                     ['-q', '--lang', 'smt2', '--incremental', '--tlimit-per=' + limit])

    def model_of(self, k):
        """Formulas that the model of query k satisfies, or None for no model; those who ask for models say."""
        return None

    def ask_oracle(self, head, commands, answers, failed, count=False):
        lines, expect, k = ['(set-logic %s)' % self.args.logic] + head, [], 0
        for c in commands:
            lines.append(command_text(c))
            if c[0] in ('check', 'assume'):
                assumptions = c[1] if c[0] == 'assume' else ()
                expect.append((k, answers[k], 'answer'))
                model = self.model_of(k)
                if model:  # the oracle may give up on the query itself
                    lines += ['(push 1)'] + ['(assert %s)' % f for f in model] + \
                        ['(assert %s)' % bs.literal_text(*x) for x in assumptions] + ['(check-sat)', '(pop 1)']
                    expect.append((k, 'sat', 'model'))
                if failed[k] is not None:
                    lines += ['(push 1)'] + ['(assert %s)' % bs.literal_text(*x) for x in failed[k]] + \
                        ['(check-sat)', '(pop 1)']
                    expect.append((k, 'unsat', 'answer'))
                k += 1
        code, out, err = run(self.oracle_command(), '\n'.join(lines) + '\n', self.args.timeout * 3)
        got = [x for x in out.split('\n') if x in ('sat', 'unsat', 'unknown')]
        if code is None or '(error' in out or len(got) != len(expect):
            return 'oracle', 'the oracle did not answer: ' + (out + err)[:1000]
        return self.compare_answers(expect, got, count)

    def compare_answers(self, expect, got, count):
        """The first answer of the oracle that differs from what is expected, (number of query, answer, kind)."""
        for (k, want, kind), have in zip(expect, got):
            self.unknown += count and have not in ('sat', 'unsat')
            if have in ('sat', 'unsat') and have != want:
                return kind, 'query %d: expected by the program %s, the oracle says %s%s' % (
                    k + 1, want, have, ' with the values of the model' * (kind == 'model'))
        return None


def is_random_walk(gen, options):
    """Whether the search nearly always decides at random: it ends, but who knows when."""
    return 'dpll.branching_random_frequency=0.9' in options


def main(doc, tag, logics, make_generator, options=lambda logic: OPTIONS, make_checker=Checker,
         may_hang=is_random_walk, oracle='z3'):
    """The command line of a fuzzer.

    doc             its help
    tag             begins the names of saved files
    logics          the first is the default
    make_generator  of (random source, logic): declarations() and run() give a script
    options         of a logic: rows to draw library options from
    make_checker    of the parsed arguments
    may_hang        whether a script of that generator, under those options, need not end in time
    oracle          the solver to compare with, if the command line names none
    """
    ap = argument_parser(doc)
    ap.add_argument('--logic', default=logics[0], choices=logics)
    ap.add_argument('--oracle', default=oracle, help='z3 or cvc5 (default: %(default)s)')
    ap.add_argument('--oracle-timeout', type=float, default=10, help='seconds of the oracle for one query')
    ap.add_argument('--may-hang-timeout', type=int, default=20,
                    help='seconds for a script that need not end at all, where that is less')
    ap.add_argument('--models', action='store_true', help='check values of constants, too, where the fuzzer can')
    ap.add_argument('--cores', action='store_true', help='check unsat cores, too')
    ap.add_argument('--config', action='append', default=[], metavar='NAME=VALUE', help='a fixed option')
    args = ap.parse_args()
    args.oracle = shutil.which(args.oracle)
    if not args.oracle:
        print('no oracle program, nothing tested')
        return
    sys.setrecursionlimit(10000)
    checker = make_checker(args)
    failures = Failures(args, tag)
    hangs = 0
    for i in range(args.count):
        rnd = random.Random('%d %d' % (args.seed, i))
        gen = make_generator(rnd, args.logic)
        head, commands = gen.declarations(), gen.run()
        chosen = [] if args.no_options else random_options(rnd, options(args.logic))
        chosen += args.config
        open_ended = may_hang(gen, chosen)
        checker.limit = min(args.timeout, args.may_hang_timeout) if open_ended else args.timeout
        found = checker.check(head, commands, chosen, count=True)
        if not found:
            continue
        if found[0] == 'oracle' and '(error' not in found[1] or found[0] == 'hang' and open_ended:
            hangs += 1  # the oracle may give up as it likes
            continue
        kind = found[0]

        def fails(trial, opts=chosen, start=head):
            again = checker.check(start, trial, opts)
            return again is not None and again[0] == kind
        if kind != 'hang':  # one of each trial would take the whole time again
            commands = shrink(commands, fails)
            chosen = bs.remove_chunks(chosen, lambda o: fails(commands, o))
            head = bs.remove_chunks(head, lambda h: fails(commands, chosen, h))
            found = checker.check(head, commands, chosen) or found
        if failures.report(i, found, chosen, checker.script(args.logic, head, commands, chosen)):
            break
    print('%d scripts, %d queries (%d unsat), %d lists of failed assumptions, %d models, %d cores, %d scripts and '
          '%d questions to the oracle not decided in time; %d failures' % (
              i + 1, checker.queries, checker.unsat, checker.lists, getattr(checker, 'models', 0), checker.cores,
              hangs, checker.unknown, failures.count))
    failures.exit()


if __name__ == '__main__':
    main(__doc__, 'uf', ['QF_UF'] + sorted(LOGICS.keys() - {'QF_UF'}), Generator)
