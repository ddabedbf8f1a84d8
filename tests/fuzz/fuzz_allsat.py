#!/usr/bin/env python3
"""Differential test of the enumeration of models with random scripts over functions, arithmetic and words.

  fuzz_allsat.py --program PROGRAM [--count N] [--seed S] [--logic QF_UF|QF_UFLRA|QF_UFBV|QF_UFLIA|QF_LRA]

Each script asserts, pushes, pops and checks as those of fuzz_uf.py do, and enumerates the models as to 1
to 10 Boolean constants or other atoms, with or without cubes, ghost filtering, duplicates, labels of unsat
cores and preprocessing of clauses. The oracle finds the same models by excluding one after the other: the
expanded cubes must be these, disjoint, and as many as the program counted; answers after an enumeration
must be those before it.

Failures are shrunk, printed and saved as by fuzz_uf.py. Python 3 standard library only.
"""
import itertools
import subprocess

import boolscript as bs
import fuzz_la
import fuzz_uf

OPTIONS = fuzz_la.OPTIONS + [
    ('dpll.allsat_minimize_model', ('true', 'true', 'false')),
    ('dpll.allsat_minimize_model', ('true', 'true', 'false')),
    ('dpll.allsat_minimize_model', ('true', 'true', 'false')),
    ('dpll.ghost_filtering', ('true', 'false')),
    ('dpll.ghost_filtering', ('true', 'false')),
    ('dpll.allsat_allow_duplicates', ('true', 'false')),
    ('dpll.preprocessor.mode', (1, 2)),
    ('unsat_core_generation', (2, 3)),
]
MAX_MODELS = 1100


def enumerating(base):
    class Generator(base):
        """The script of another generator; some of its questions become enumerations."""

        def important(self):
            rnd, out = self.rnd, []
            for _ in range(rnd.choice((1, 1, 2, 3, 4, 6, 10))):
                t = rnd.choice(self.bools) if rnd.random() < 0.6 else self.atom()
                if t not in out:
                    out.append(t)
            return tuple(out)

        def run(self):
            commands = []
            for c in super().run():
                if c[0] in ('check', 'assume') and self.rnd.random() < 0.6:
                    commands.append(('allsat', self.important()))
                commands.append(c)
            return commands
    return Generator


def make_generator(rnd, logic):
    base = fuzz_la.Generator if logic == 'QF_LRA' else fuzz_uf.Generator
    return enumerating(base)(rnd, logic)


class Oracle:
    """The other solver, asked line by line."""

    def __init__(self, command):
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def tell(self, lines):
        self.process.stdin.write('\n'.join(lines) + '\n')

    def ask(self, line):
        self.tell([line])
        self.process.stdin.flush()
        return self.process.stdout.readline().strip()

    def models(self, terms):
        """The truth values of the terms in all models of what stands, as a set of tuples."""
        names = ['important%d' % i for i in range(len(terms))]
        self.tell(['(push 1)'] + ['(declare-const %s Bool)\n(assert (= %s %s))' % (n, n, t) for n, t in zip(names, terms)])
        found = set()
        while (answer := self.ask('(check-sat)')) == 'sat':
            model = tuple(self.ask('(eval %s :completion true)' % n) == 'true' for n in names)
            if model in found or len(found) > MAX_MODELS:
                raise ValueError('the oracle repeats itself')
            found.add(model)
            self.tell(['(assert (or false %s))' % ' '.join('(not %s)' % n if v else n for n, v in zip(names, model))])
        if answer != 'unsat':
            raise ValueError('the oracle gives up')
        self.tell(['(pop 1)'])
        return found

    def close(self):
        self.process.kill()
        self.process.communicate()


def parse_model(line, texts):
    """A printed cube as {position: value}; None for a malformed one."""
    if not (line.startswith('(') and line.endswith(')')):
        return None
    rest, cube = line[1:-1], {}
    while rest:
        for i, t in sorted(enumerate(texts), key=lambda p: -len(p[1])):
            for text, value in ((t, True), ('(not %s)' % t, False)):
                if (rest + ' ').startswith(text + ' '):
                    cube[i] = value
                    rest = rest[len(text) + 1:]
                    break
            else:
                continue
            break
        else:
            return None
    return cube


def expand(cube, n):
    free = [i for i in range(n) if i not in cube]
    for values in itertools.product((True, False), repeat=len(free)):
        full = {**cube, **dict(zip(free, values))}
        yield tuple(full[i] for i in range(n))


class Checker(fuzz_uf.Checker):
    """fuzz_uf's for the questions; the blocks of the enumerations are taken out before."""

    def __init__(self, args):
        super().__init__(args)
        self.enumerations = 0

    def command_text(self, k, c):
        if c[0] == 'allsat':
            return '(check-allsat (%s))\n(echo "++")' % ' '.join(map(fuzz_uf.term_text, c[1]))
        return super().command_text(k, c)

    def check(self, head, commands, options, count=False):
        printed = []
        real_run = fuzz_uf.run

        def run_and_take_models(cmd, text, timeout):
            code, out, err = real_run(cmd, text, timeout)
            if cmd[0] == self.args.program and out:
                rest, block = [], []
                for line in out.split('\n'):
                    if line.strip('"') == '++':
                        printed.append(block)
                        block = []
                    elif line.strip('"') == '--':
                        rest += block + [line]
                        block = []
                    else:
                        block.append(line)
                out = '\n'.join(rest + block)
            return code, out, err
        fuzz_uf.run = run_and_take_models
        try:
            questions = [c for c in commands if c[0] != 'allsat']
            script = self.script
            self.script = lambda logic, start, _, opts: script(logic, start, commands, opts)
            found = super().check(head, questions, options, count)
        finally:
            fuzz_uf.run = real_run
            del self.script
        if found or 'unknown symbol' in str(printed) or 'undeclared sort' in str(printed):
            return found  # shrunk too far
        return self.confirm_models(head, commands, options, printed, count)

    def confirm_models(self, head, commands, options, printed, count):
        oracle = Oracle(self.oracle_command())
        try:
            oracle.tell(['(set-logic %s)' % self.args.logic] + head)
            k = 0
            for c in commands:
                if c[0] == 'allsat':
                    if k >= len(printed):
                        return 'output', 'an enumeration without an answer'
                    texts = [fuzz_uf.term_text(t) for t in c[1]]
                    wrong = self.compare(printed[k], texts, oracle.models(texts), options)
                    if wrong:
                        return 'models', 'enumeration %d: %s' % (k + 1, wrong)
                    k += 1
                elif c[0] not in ('check', 'assume'):
                    oracle.tell([bs.command_text(c) if c[0] != 'assert' else fuzz_uf.command_text(c)])
            if count:
                self.enumerations += k
                self.models = getattr(self, 'models', 0) + sum(len(p) - 1 for p in printed)
        except (ValueError, BrokenPipeError) as e:
            return 'oracle', str(e)
        finally:
            oracle.close()
        return None

    def compare(self, lines, texts, expected, options):
        if not lines or lines[-1] != '(:models %d)' % (len(lines) - 1):
            return 'the count is wrong: ' + ' / '.join(lines)[-500:]
        found, total = set(), 0
        for line in lines[:-1]:
            cube = parse_model(line, texts)
            if cube is None:
                return 'no list of the literals: ' + line
            if len(cube) < len(texts) and 'dpll.allsat_minimize_model=true' not in options:
                return 'a literal is missing: ' + line
            total += 2 ** (len(texts) - len(cube))
            found |= set(expand(cube, len(texts)))
        if found != expected:
            return '%d models instead of %d; missing %s, too many %s' % (
                len(found), len(expected), sorted(expected - found)[:3], sorted(found - expected)[:3])
        if total != len(found) and 'dpll.allsat_allow_duplicates=true' not in options:
            return 'models come more than once'
        return None


if __name__ == '__main__':
    fuzz_uf.main(__doc__, 'allsat', ['QF_UF', 'QF_UFLRA', 'QF_UFBV', 'QF_UFLIA', 'QF_LRA'], make_generator,
                 lambda logic: fuzz_la.options_of(logic, OPTIONS), Checker)
