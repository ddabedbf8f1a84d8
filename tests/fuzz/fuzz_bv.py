#!/usr/bin/env python3
"""Random bit-vector scripts against the program, with independent solvers and arithmetic as oracles.

    fuzz_bv.py --program BUILD/tools/tarq --count 1000 --seed 1

Each script mixes assertions over all operators and several widths with push, pop, checks and
assumptions, for part of them with uninterpreted functions, under random options (eager or lazy, the
bit-blasting modes, the search options). Every answer is compared with that of an independent solver;
after a satisfiable answer the values of all constants and applications are asked, and every assertion
is evaluated under them. For a tenth of the scripts division by zero is left open (mode 1): there the
oracle is z3 with the same reading, and a model with a zero divisor counts as not confirmed.

A failure is shrunk, printed and, with --save, written as a script whose head tells the options. The
exit status is 1 after a failure. Python 3 standard library only.
"""
import random
import re
import shutil
import sys

import bvscript as bs
from scriptfuzzer import Failures, argument_parser, parse_blocks, run

OPTIONS = [
    ('theory.bv.eager', ('true', 'false')),
    ('theory.bv.bit_blast_mode', (0, 1, 2)),
    ('theory.bv.delay_propagated_eqs', ('true', 'false')),
    ('theory.bv.lazydpll.restart_strategy', (0, 1, 2, 3)),
    ('theory.interface_eq_policy', (0, 1, 2)),
    ('theory.eq_propagation', ('true', 'false')),
    ('dpll.restart_strategy', (0, 1, 2, 3)),
    ('dpll.branching_initial_phase', (0, 1, 2)),
    ('dpll.preprocessor.mode', (1, 2)),
    ('dpll.preprocessor.elimination_grow_limit', (0, 20)),
    ('dpll.preprocessor.try_reelimination', ('true', 'false')),
    ('preprocessor.toplevel_propagation', ('true', 'false')),
    ('preprocessor.simplification', (0, 1, 3, 7)),
    ('random_seed', (1, 7)),
]


OPEN_DIVISION = 'theory.bv.div_by_zero_mode=1'


def random_options(rnd, functions, open_division):
    some = ['%s=%s' % (name, rnd.choice(values)) for name, values in OPTIONS if rnd.random() < 0.45]
    if open_division or rnd.random() < 0.1:
        some.append(OPEN_DIVISION)
    elif not functions and rnd.random() < 0.6:
        some.append('theory.euf.enabled=false')
    return some


def asked_terms(query):
    """What a model is asked for: the constants and the applications of functions."""
    seen = {}
    for t in bs.subterms(query[0]):
        if t[0] in ('var', 'call'):
            seen[bs.term_text(t)] = t
    return seen


def script_text(commands, options, models):
    lines = ['(set-option :config "%s")' % o for o in options]
    if models:
        lines.append('(set-option :produce-models true)')
    functions = any(c[0] == 'function' for c in commands)
    lines.append('(set-logic %s)' % ('QF_UFBV' if functions else 'QF_BV'))
    asked = iter(bs.queries(commands) or [])
    for c in commands:
        lines.append(bs.command_text(c))
        if c[0] in ('check', 'assume'):
            terms = asked_terms(next(asked))
            if models and terms:
                lines.append('(get-value (%s))' % ' '.join(terms))
            lines.append('(echo "--")')
    return '\n'.join(lines) + '\n'


TOKEN = re.compile(r'[()]|[^\s()]+')


def parse(text):
    stack = [[]]
    for tok in TOKEN.findall(text):
        if tok == '(':
            stack.append([])
        elif tok == ')':
            done = stack.pop()
            stack[-1].append(done)
        else:
            stack[-1].append(tok)
    return stack[0]


def unparse(x):
    return x if isinstance(x, str) else '(' + ' '.join(map(unparse, x)) + ')'


def value_of(x):
    if isinstance(x, list):
        return int(x[1][2:]) if len(x) == 3 and x[0] == '_' and x[1].startswith('bv') else None
    if x in ('true', 'false'):
        return int(x == 'true')
    return int(x[2:], 2 if x[1] == 'b' else 16) if x[:2] in ('#b', '#x') else None


class Checker:
    def __init__(self, args):
        self.args = args
        self.queries = self.unsat = self.models = self.open_models = self.by_solver = 0

    def check(self, commands, options, count=False):
        """Runs one script; returns None or (kind, description). Ill-formed scripts pass."""
        queries = bs.queries(commands)
        if not queries:
            return None
        models = not self.args.no_models
        code, out, err = run([self.args.program], script_text(commands, options, models), self.args.timeout)
        if code is None:
            return 'hang', 'no end within %d s' % self.args.timeout
        if code not in (0, 1) or 'Sanitizer' in err or 'runtime error' in err or 'assertion' in err:
            return 'crash', 'exit status %d: %s' % (code, err[-2000:])
        blocks, rest = parse_blocks(out)
        if len(blocks) != len(queries) or rest:
            return 'output', 'expected %d answers:\n%s' % (len(queries), out[-2000:])
        answers = []
        for k, (block, query) in enumerate(zip(blocks, queries)):
            if not block or block[0] not in ('sat', 'unsat'):
                return 'output', 'query %d: %s' % (k + 1, ' / '.join(block)[:1000])
            answers.append(block[0])
            if models and block[0] == 'sat' and asked_terms(query):
                try:
                    found = self.check_model(query, block[1:], OPEN_DIVISION in options)
                    self.models += count
                except bs.OpenDivision:
                    found = None
                    self.open_models += count
                if found:
                    return 'model', 'query %d: %s' % (k + 1, found)
            self.queries += count
            self.unsat += count and block[0] == 'unsat'
        if self.args.solver:
            return self.check_solver(commands, answers, count, OPEN_DIVISION in options)
        return None

    def check_model(self, query, lines, open_division):
        parsed = parse(' '.join(lines))
        if len(parsed) != 1:
            return 'no values: ' + ' '.join(lines)[:500]
        model = {}
        for pair in parsed[0]:
            if len(pair) != 2 or value_of(pair[1]) is None:
                return 'odd value: ' + unparse(pair)
            model[unparse(pair[0])] = value_of(pair[1])
        memo = {}
        try:
            for name, positive in query[1]:
                if name in model and model[name] != int(positive):
                    return 'assumption on %s is false' % name
            for a in query[0]:
                if bs.evaluate(a, model, memo, open_division) != 1:
                    return 'false: ' + bs.term_text(a)[:1000] + '\nunder ' + str(model)
        except bs.UnknownValue as e:
            return str(e)
        return None

    def check_solver(self, commands, answers, count, open_division):
        command = self.args.solver.split()
        if open_division:
            if 'z3' not in command[0]:
                return None
            command.append('rewriter.hi_div0=false')
        lines = ['(set-logic ALL)'] + [bs.command_text(c) for c in commands]
        code, out, _ = run(command, '\n'.join(lines) + '\n', self.args.timeout * 2)
        got = [x for x in out.split('\n') if x in ('sat', 'unsat', 'unknown')]
        if code is None or '(error' in out or len(got) != len(answers):
            return None if code is None else ('oracle', 'the solver did not answer: ' + out[:1000])
        for k, (mine, other) in enumerate(zip(answers, got)):
            if other != 'unknown' and mine != other:
                return 'answer', 'query %d: %s, the other solver says %s' % (k + 1, mine, other)
            self.by_solver += count and other != 'unknown'
        return None


def main():
    ap = argument_parser(__doc__)
    ap.add_argument('--start', type=int, default=0, help='number of the first script')
    ap.add_argument('--solver', default='z3 -smt2 -in', help='command of the oracle, which reads a script from its '
                    'input; "none" for models alone')
    ap.add_argument('--functions', type=float, default=0.4, help='share of scripts with functions')
    ap.add_argument('--max-width', type=int, default=8)
    ap.add_argument('--option', action='append', default=[], help='NAME=VALUE, for every script')
    ap.add_argument('--no-models', action='store_true')
    args = ap.parse_args()
    if args.solver == 'none' or not shutil.which(args.solver.split()[0]):
        args.solver = None
    sys.setrecursionlimit(10000)

    checker = Checker(args)
    failures = Failures(args, 'bv')
    for i in range(args.start, args.start + args.count):
        rnd = random.Random('%d %d' % (args.seed, i))
        width = rnd.choice((2, 3, 4, args.max_width))
        functions = rnd.random() < args.functions
        options = args.option + ([] if args.no_options else random_options(rnd, functions, OPEN_DIVISION in args.option))
        gen = bs.Generator(rnd, functions, width, rnd.choice((6, 10, 20, 40)), rnd.choice((1, 2, 3)),
                           OPEN_DIVISION not in options)
        commands = gen.run()
        found = checker.check(commands, options, count=True)
        if not found:
            continue
        kind = found[0]

        def fails(trial, opts=options):
            again = checker.check(trial, opts)
            return again is not None and again[0] == kind
        commands = bs.shrink(commands, fails)
        for o in list(options):
            if fails(commands, [x for x in options if x != o]):
                options.remove(o)
        found = checker.check(commands, options) or found
        if failures.report(i, found, options, script_text(commands, options, not args.no_models)):
            break
    print('%d scripts, %d queries (%d unsat), %d models confirmed (%d with open divisions), '
          '%d answers by the other solver; %d failures'
          % (i + 1 - args.start, checker.queries, checker.unsat, checker.models, checker.open_models,
             checker.by_solver, failures.count))
    failures.exit()


if __name__ == '__main__':
    main()
