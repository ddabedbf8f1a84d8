#!/usr/bin/env python3
"""Differential test of the program with random incremental Boolean scripts.

  fuzz_scripts.py --program PROGRAM [--count N] [--seed S] [--z3 z3] [--save DIR]

Each script declares symbols in scopes, asserts clauses and nested terms with lets, names and
definitions, pushes, pops, resets, and asks with and without assumptions, under a random restart
strategy and random values of the other search options. Oracles: truth tables for queries with few
symbols, and z3 (when the program is there; one process per script) for every query. After an unsat
answer to a query with assumptions the list of failed assumptions must be among those given and be
unsatisfiable together with the assertions, by the same oracles.

A failure is shrunk, printed and, with --save, written as a script whose head tells the options. The
exit status is 1 after a failure. Python 3 standard library only.
"""
import random
import shutil
import sys

import boolscript as bs
from scriptfuzzer import ENGINE_OPTIONS, Failures, argument_parser, parse_blocks, parse_failed, run

TRUTH_TABLE_LIMIT = 12

OPTIONS = ENGINE_OPTIONS + [
    ('dpll.restart_geometric_factor', (1.0, 1.1, 1.5, 3.0)),
    ('dpll.branching_random_invalidate_phase_cache', ('true', 'false')),
    ('dpll.branching_random_ignore_polarity', ('true', 'false')),
]


def random_options(rnd, index):
    """Library options as NAME=VALUE, and flags of the program."""
    out = ['dpll.restart_strategy=%d' % (index % 4)]
    for name, values in OPTIONS:
        if rnd.random() < 0.35:
            out.append('%s=%s' % (name, rnd.choice(values)))
    if rnd.random() < 0.3:
        out.append('--shallow')
    if rnd.random() < 0.2:
        out.append('--collect=0')
    return out


def script_text(commands, is_global, options):
    """The text for the program under test; each query is followed by a marker line."""
    lines = ['(set-option :config "%s")' % o for o in options if o[0] != '-']
    lines += ['(set-option :produce-unsat-assumptions true)', '(set-option :global-declarations %s)' %
              ('true' if is_global else 'false'), '(set-logic QF_UF)']
    for c in commands:
        lines.append(bs.command_text(c))
        if c[0] == 'assume':
            lines.append('(get-unsat-assumptions)')
        if c[0] in ('check', 'assume'):
            lines.append('(echo "--")')
    return '\n'.join(lines) + '\n'


class Checker:
    def __init__(self, args):
        self.args = args
        self.queries = self.unsat = self.lists = self.by_table = self.by_z3 = 0

    def check(self, commands, is_global, options, count=False):
        """Runs one script; returns None or (kind, description). Invalid scripts pass."""
        try:
            queries = bs.queries(commands, is_global)
        except (bs.Invalid, RecursionError):
            return None
        asked = [c for c in commands if c[0] in ('check', 'assume')]
        flags = [o for o in options if o[0] == '-']
        code, out, err = run([self.args.program] + flags, script_text(commands, is_global, options), self.args.timeout)
        if code is None:
            return 'hang', 'no end within %d s' % self.args.timeout
        if code not in (0, 1) or 'Sanitizer' in err or 'runtime error' in err:
            return 'crash', 'exit status %d: %s' % (code, err[-2000:])
        blocks, rest = parse_blocks(out)
        if len(blocks) != len(queries) or rest:
            return 'output', 'expected %d answers:\n%s' % (len(queries), out[-2000:])
        answers, failed = [], []
        for k, (block, cmd) in enumerate(zip(blocks, asked)):
            want = 2 if cmd[0] == 'assume' else 1
            if not block or block[0] not in ('sat', 'unsat') or (want == 1 and len(block) > 1):
                return 'output', 'query %d: %s' % (k + 1, ' / '.join(block)[:1000])
            answers.append(block[0])
            lits = None
            if want == 2 and block[0] == 'unsat':
                lits = parse_failed(block[1:])
                if lits is None or not set(lits) <= set(cmd[1]):
                    return 'failed-list', 'query %d: not a list of given assumptions: %s' % (k + 1, ' '.join(block[1:]))
            elif want == 2 and not ' '.join(block[1:]).startswith('(error'):
                return 'output', 'query %d: a list after sat: %s' % (k + 1, ' '.join(block[1:]))
            failed.append(lits)
        for k, (assertions, given) in enumerate(queries):
            truth = bs.satisfiable(assertions, given, TRUTH_TABLE_LIMIT)
            if truth is not None and truth != (answers[k] == 'sat'):
                return 'answer', 'query %d: %s, by truth table %s' % (k + 1, answers[k], 'sat' if truth else 'unsat')
            if failed[k] is not None:
                some = [g for g in given if (g[0], g[1]) in failed[k]]
                if bs.satisfiable(assertions, some, TRUTH_TABLE_LIMIT):
                    return 'failed-list', 'query %d: satisfiable with %s' % (k + 1, failed[k])
            if count:
                self.queries += 1
                self.unsat += answers[k] == 'unsat'
                self.lists += failed[k] is not None
                self.by_table += truth is not None
        if self.args.z3:
            return self.check_z3(commands, asked, is_global, answers, failed, count)
        return None

    def check_z3(self, commands, asked, is_global, answers, failed, count):
        head = '(set-option :global-declarations %s)' % ('true' if is_global else 'false')
        lines, expect = [head], []
        k = 0
        for i, c in enumerate(commands):
            if c[0] == 'reset-assertions':
                # z3 keeps local and drops global declarations here, the opposite of the standard
                lines += ['(reset)', head]
                if is_global:
                    lines += [bs.command_text(d) for d in commands[:i] if d[0] in ('declare', 'define')]
                continue
            lines.append(bs.command_text(c))
            if c[0] in ('check', 'assume'):
                expect.append((k, answers[k]))
                if failed[k] is not None:
                    lines += ['(push 1)'] + ['(assert %s)' % bs.literal_text(*x) for x in failed[k]] + \
                        ['(check-sat)', '(pop 1)']
                    expect.append((k, 'unsat'))
                k += 1
        code, out, err = run([self.args.z3, '-smt2', '-in'], '\n'.join(lines) + '\n', self.args.timeout * 3)
        got = [x for x in out.split('\n') if x in ('sat', 'unsat', 'unknown')]
        if code is None or '(error' in out or len(got) != len(expect):
            return 'oracle', 'z3 did not answer: ' + out[:1000]
        for (k, want), have in zip(expect, got):
            if have != want:
                return 'answer', 'query %d: expected by the program %s, z3 says %s' % (k + 1, want, have)
        if count:
            self.by_z3 += len(expect)
        return None


def main():
    ap = argument_parser(__doc__)
    ap.add_argument('--z3', default='z3', help='oracle program, "none" for truth tables alone')
    args = ap.parse_args()
    args.z3 = shutil.which(args.z3) if args.z3 != 'none' else None
    sys.setrecursionlimit(10000)

    checker = Checker(args)
    failures = Failures(args, 'script')
    for i in range(args.count):
        rnd = random.Random('%d %d' % (args.seed, i))
        max_vars = rnd.choice((3, 5, 8, 10)) if not args.z3 else rnd.choice((3, 5, 8, 10, 12, 25, 50))
        gen = bs.Generator(rnd, max_vars, rnd.choice((8, 15, 30, 60, 120)), rnd.choice((2, 3, 4)))
        commands = gen.run()
        options = [] if args.no_options else random_options(rnd, i)
        found = checker.check(commands, gen.is_global, options, count=True)
        if not found:
            continue
        kind = found[0]

        def fails(trial, opts=options):
            again = checker.check(trial, gen.is_global, opts)
            return again is not None and again[0] == kind
        commands = bs.shrink(commands, fails)
        options = bs.remove_chunks(options, lambda o: fails(commands, o))
        found = checker.check(commands, gen.is_global, options) or found
        if failures.report(i, found, options, script_text(commands, gen.is_global, options)):
            break
    print('%d scripts, %d queries (%d unsat), %d lists of failed assumptions; %d by truth table, %d by z3; %d failures'
          % (i + 1, checker.queries, checker.unsat, checker.lists, checker.by_table, checker.by_z3, failures.count))
    failures.exit()


if __name__ == '__main__':
    main()
