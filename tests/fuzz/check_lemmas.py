#!/usr/bin/env python3
"""Has an independent solver confirm what the theory solvers say during random scripts.

  check_lemmas.py --program PROGRAM [--logic L] [--lemmas N] [--only PATTERN] [--seed S] [--oracle z3|cvc5]

Runs scripts of the fuzzers with debug.dump_theory_lemmas, which writes each conflict, explanation and
lemma as a formula that must be unsatisfiable, and asks the oracle about each different one until N are
confirmed. With --only those alone count that match the pattern, such as 'select|store|as const' for
arrays. What the oracle can't decide is counted apart. The exit status is 1 after a failure, and 0 with
a note when there is no oracle. Python 3 standard library only.
"""
import argparse
import os
import random
import re
import shutil
import subprocess
import sys
import tempfile

import fuzz_arr
import fuzz_la
import fuzz_lia
import fuzz_uf

FUZZERS = {'QF_UF': fuzz_uf, 'QF_UFBV': fuzz_uf, 'QF_LRA': fuzz_la, 'QF_UFLRA': fuzz_la, 'QF_RDL': fuzz_la,
           'QF_LIA': fuzz_lia, 'QF_UFLIA': fuzz_lia, 'QF_LIRA': fuzz_lia, 'ALL': fuzz_arr}
CHUNK = 400  # formulas for one run of the oracle


def formulas_of(args, number, folder):
    """The formulas that script `number` gives, and its text."""
    fuzzer = FUZZERS[args.logic]
    rnd = random.Random('%d %d' % (args.seed, number))
    gen = fuzzer.Generator(rnd, args.logic)
    head, commands = gen.declarations(), gen.run()
    options = [o for o in fuzz_uf.random_options(rnd, fuzzer.OPTIONS) if o[0] != '-'] + args.config
    lines = ['(set-option :config "%s")' % o for o in options + ['debug.dump_theory_lemmas=true']]
    lines += ['(set-logic %s)' % args.logic] + head + list(map(fuzz_uf.command_text, commands))
    text = '\n'.join(lines) + '\n'
    try:
        subprocess.run([args.program], input=text.encode(), stdout=subprocess.DEVNULL, cwd=folder,
                       timeout=args.timeout)
    except subprocess.TimeoutExpired:
        pass  # what it said up to there counts
    out = []
    names = sorted((n for n in os.listdir(folder) if n.startswith('tlemma_')), key=lambda n: int(n[7:-5]))
    for name in names:
        with open(os.path.join(folder, name)) as f:
            formula = f.read()
        os.remove(os.path.join(folder, name))
        if formula.rstrip().endswith('(check-sat)'):  # the last one may be cut off by a stop
            out.append(formula)
    return out, text


INDEX = re.compile(r'^\(declare-fun (\.idx(\d+)) \(\) (.*)\)$', re.M)


def for_all_indices(formula):
    """The formula with the index that tells two arrays apart, if there is one, quantified.

    That index is chosen so that the formula is false, so there need only be such an index. Older ones may
    stand in the arrays themselves.
    """
    newest = max(INDEX.finditer(formula), key=lambda m: int(m.group(2)))
    return formula.replace(newest.group(0), '').replace(
        '(assert ', '(assert (forall ((%s %s)) ' % (newest.group(1), newest.group(3))).replace(
        '\n(check-sat)', ')\n(check-sat)')


def judge(args, chunk):
    """The answers of the oracle to (formula, script) pairs."""
    oracle = [args.oracle] + (['-smt2', '-in', '-t:10000'] if 'z3' in args.oracle else
                              ['-q', '--lang', 'smt2', '--incremental'])
    answers = []
    text = '(reset)\n'.join(formula + '(echo "--")\n' for formula, _ in chunk)
    out = subprocess.run(oracle, input=text.encode(), stdout=subprocess.PIPE).stdout.decode()
    for block in re.split(r'^"?--"?$', out, flags=re.M)[:-1]:
        answers.append(block.strip())
    return answers


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('--program', required=True)
    ap.add_argument('--logic', default='QF_LIA', choices=sorted(FUZZERS))
    ap.add_argument('--lemmas', type=int, default=500)
    ap.add_argument('--only', type=re.compile, default='', metavar='PATTERN')
    ap.add_argument('--per-script', type=int, default=20, help='at most so many of one script')
    ap.add_argument('--seed', type=int, default=1)
    ap.add_argument('--config', action='append', default=[], metavar='NAME=VALUE', help='a fixed option')
    ap.add_argument('--oracle', default='z3', help='z3 or cvc5')
    ap.add_argument('--timeout', type=int, default=10, help='seconds for one script')
    args = ap.parse_args()
    args.oracle = shutil.which(args.oracle)
    args.program = os.path.abspath(args.program)
    if not args.oracle:
        print('no oracle program, nothing tested')
        return
    sys.setrecursionlimit(10000)
    seen, waiting = set(), []
    confirmed = open_ones = failures = number = 0
    with tempfile.TemporaryDirectory() as folder:
        while confirmed + open_ones < args.lemmas and failures < 5:
            formulas, script = formulas_of(args, number, folder)
            number += 1
            # equalities between the bits of words are literals that no printed text explains
            new = [f for f in formulas if f not in seen and 'bvteq.' not in f and args.only.search(f)]
            seen.update(new)
            random.Random(number).shuffle(new)
            waiting += [(f, script) for f in new[:args.per_script]]
            if len(waiting) < min(CHUNK, args.lemmas - confirmed - open_ones):
                continue
            answers = judge(args, waiting)
            again = [k for k, a in enumerate(answers) if a == 'sat' and INDEX.search(waiting[k][0])]
            for k, a in zip(again, judge(args, [(for_all_indices(waiting[k][0]), '') for k in again])):
                answers[k] = a
            for (formula, text), answer in zip(waiting, answers):
                confirmed += answer == 'unsat'
                open_ones += answer in ('unknown', 'timeout')
                if answer not in ('unsat', 'unknown', 'timeout'):
                    failures += 1
                    print('FAILURE: the oracle says %s\n%s\n; of the script\n%s' % (answer, formula, text))
            open_ones += len(waiting) - len(answers)
            waiting = []
    print('%d scripts, %d formulas confirmed, %d not decided by the oracle; %d failures'
          % (number, confirmed, open_ones, failures))
    sys.exit(1 if failures else 0)


if __name__ == '__main__':
    main()
