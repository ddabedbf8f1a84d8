#!/usr/bin/env python3
"""Writes the CNF files of the SAT comparison; the same call gives the same bytes.

  generate.py list                          families, parameters and defaults
  generate.py one FAMILY [k=v ...] [seed=N] one instance to standard output
  generate.py table OUTDIR [TABLE]          every row of TABLE (default: instances.csv here)

Existing files are kept by `table`, so a second call is cheap. Python 3 standard library only.
"""
import csv
import os
import random
import sys

import families_circuit  # noqa: F401  (the imports fill the registry)
import families_combinatorial  # noqa: F401
from cnf import Cnf
from registry import FAMILIES

HERE = os.path.dirname(os.path.abspath(__file__))
TABLE = os.path.join(HERE, 'instances.csv')


def parse_params(name, words):
    """Returns (parameters with defaults filled in, seed); exits with a message on a bad word."""
    if name not in FAMILIES:
        sys.exit('generate.py: no family "%s"' % name)
    params, seed = dict(FAMILIES[name][1]), 0
    for w in words:
        key, eq, value = w.partition('=')
        if not eq or (key != 'seed' and key not in params):
            sys.exit('generate.py: family %s has no parameter "%s"' % (name, w))
        try:
            number = int(value)
        except ValueError:
            sys.exit('generate.py: "%s" needs a whole number' % w)
        if key == 'seed':
            seed = number
        else:
            params[key] = number
    return params, seed


def instance(name, params, seed):
    """The DIMACS text of one instance."""
    f = Cnf()
    FAMILIES[name][0](f, random.Random('%s %d' % (name, seed)), **params)
    words = ' '.join('%s=%d' % kv for kv in params.items())
    return f.text('%s %s seed=%d' % (name, words, seed))


def file_name(name, params, seed):
    return name + ''.join('_%s%d' % kv for kv in params.items()) + '_s%d.cnf' % seed


def read_table(path=TABLE):
    """Rows of the instance table as dictionaries, with the file name added. Columns: group (a name for
    reports), family, parameters, seed, expected, minisat_s and cadical_s (CPU seconds when chosen)."""
    with open(path, newline='') as f:
        rows = list(csv.DictReader(f))
    for row in rows:
        params, seed = parse_params(row['family'], row['parameters'].split() + ['seed=' + row['seed']])
        row.setdefault('group', row['family'])
        row['file'] = file_name(row['family'], params, seed)
    return rows


def write_row(row, outdir):
    """Writes the file of one row unless it is there; returns its path."""
    path = os.path.join(outdir, row['file'])
    if not os.path.exists(path):
        os.makedirs(outdir, exist_ok=True)
        params, seed = parse_params(row['family'], row['parameters'].split() + ['seed=' + row['seed']])
        with open(path + '.tmp', 'w') as f:
            f.write(instance(row['family'], params, seed))
        os.replace(path + '.tmp', path)
    return path


def main(argv):
    if len(argv) == 1 and argv[0] == 'list':
        for name, (fn, defaults) in FAMILIES.items():
            print('%-18s %s' % (name, ' '.join('%s=%d' % kv for kv in defaults.items())))
    elif len(argv) >= 2 and argv[0] == 'one':
        sys.stdout.write(instance(argv[1], *parse_params(argv[1], argv[2:])))
    elif len(argv) in (2, 3) and argv[0] == 'table':
        for row in read_table(argv[2] if len(argv) == 3 else TABLE):
            print(write_row(row, argv[1]))
    else:
        sys.exit(__doc__.strip())


if __name__ == '__main__':
    main(sys.argv[1:])
