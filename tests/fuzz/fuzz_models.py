#!/usr/bin/env python3
"""Random scripts whose models are checked, under random options of the preprocessing and the search.

  fuzz_models.py --program PROGRAM [--kind uf|la|lia|arr|fp] [--logic L] [--count N] [--seed S]

The scripts are those of fuzz_uf.py and its relatives. After every satisfiable query the value of each
formula in force has to be true, and another solver has to confirm the whole model, as
bench/check_models.py does it. Prints the scripts that fail, then the counts.
"""
import argparse
import collections
import importlib
import os
import random
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, '..', '..', 'bench'))
import check_models
import fuzz_uf

PREPROCESSING = [
    ('preprocessor.toplevel_propagation', ('true', 'false')),
    ('preprocessor.toplevel_propagation_limit', (0, 1, 2)),
    ('preprocessor.simplification', (0, 1, 2, 4, 7, 8, 16, 23, 31)),
    ('preprocessor.ite_minimization', ('true', 'false')),
    ('preprocessor.ite_minimization_call_limit', (0, 1, 5, 150000)),
    ('preprocessor.partial_nnf_conversion', ('true', 'false')),
    ('preprocessor.full_cnf_conversion', ('true', 'false')),
]
LOGICS = {'uf': 'QF_UF', 'la': 'QF_UFLRA', 'lia': 'QF_LIA', 'arr': 'ALL', 'fp': 'QF_FP'}


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('--program', required=True)
    ap.add_argument('--kind', default='uf', choices=sorted(LOGICS))
    ap.add_argument('--logic')
    ap.add_argument('--count', type=int, default=200)
    ap.add_argument('--seed', type=int, default=1)
    ap.add_argument('--solver', action='append')
    ap.add_argument('--timeout', type=float, default=10, help='seconds for one script')
    args = ap.parse_args()
    sys.setrecursionlimit(10000)
    args.tarq, args.options = args.program, ''
    source = importlib.import_module('fuzz_' + args.kind)
    logic = args.logic or LOGICS[args.kind]
    options = [o for o in getattr(source, 'OPTIONS', fuzz_uf.OPTIONS) if not o[0].startswith('preprocessor.')]
    args.models, args.cores, args.oracle = False, False, None
    text_of = fuzz_uf.Checker(args).script
    counts = collections.Counter()
    for i in range(args.count):
        rnd = random.Random('%d %d' % (args.seed, i))
        gen = source.Generator(rnd, logic)
        head, commands = gen.declarations(), gen.run()
        chosen = [o for o in fuzz_uf.random_options(rnd, options + PREPROCESSING) if o[0] != '-']
        text = text_of(logic, head, commands, chosen)
        for k, (word, what) in enumerate(check_models.check(text, args)):
            counts[word] += 1
            if word in ('FAILED', 'refused'):
                print('; script %d of seed %d, query %d: %s: %s\n%s' % (i, args.seed, k + 1, word, what, text),
                      flush=True)
    print(' '.join('%s=%d' % item for item in sorted(counts.items())))
    sys.exit(1 if counts['FAILED'] else 0)


if __name__ == '__main__':
    main()
