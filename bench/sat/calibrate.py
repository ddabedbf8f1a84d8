#!/usr/bin/env python3
"""Measures candidates for instances.csv: one line per candidate as it is done.

  calibrate.py [--limit SECONDS] [--work DIR] < CANDIDATES

A candidate line is "FAMILY k=v ... seed=N"; a range "k=a..b" stands for several lines. Both oracles
run one after the other at the given CPU limit: minisat without preprocessing, then, if that took
between half a second and the limit, cadical. Output is CSV: family, parameters, seed, expected,
minisat's and cadical's CPU seconds; "to" marks a limit reached and "-" a run not made. A
contradiction between the two ends the run with an error.
"""
import argparse
import csv
import itertools
import os
import resource
import subprocess
import sys

import generate

ANSWER = {10: 'sat', 20: 'unsat'}


def run(cmd, limit):
    """Returns (answer or None, CPU seconds)."""
    def cap():
        resource.setrlimit(resource.RLIMIT_CPU, (limit, limit + 1))
    p = subprocess.Popen(cmd, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, preexec_fn=cap)
    _, status, ru = os.wait4(p.pid, 0)
    p.returncode = status
    code = os.WEXITSTATUS(status) if os.WIFEXITED(status) else None
    return ANSWER.get(code), ru.ru_utime + ru.ru_stime


def expand(line):
    """All candidate lines that a line with ranges stands for."""
    parts = []
    for w in line.split():
        key, eq, value = w.partition('=')
        if eq and '..' in value:
            lo, hi = value.split('..')
            parts.append(['%s=%d' % (key, v) for v in range(int(lo), int(hi) + 1)])
        else:
            parts.append([w])
    return [list(words) for words in itertools.product(*parts)]


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('--limit', type=int, default=30)
    ap.add_argument('--work', default='out-sat')
    args = ap.parse_args()
    out = csv.writer(sys.stdout, lineterminator='\n')
    for line in sys.stdin:
        if not line.strip() or line.startswith('#'):
            continue
        for words in expand(line):
            params, seed = generate.parse_params(words[0], words[1:])
            row = {'family': words[0], 'seed': str(seed),
                   'parameters': ' '.join('%s=%d' % kv for kv in params.items()),
                   'file': generate.file_name(words[0], params, seed)}
            path = generate.write_row(row, args.work)
            mini, mini_s = run(['minisat', '-no-pre', '-verb=0', path], args.limit)
            useful = mini and mini_s >= 0.5  # cadical's verdict on others is of no interest
            cad, cad_s = run(['cadical', '-q', '-n', path], args.limit) if useful else (None, 0)
            if mini and cad and mini != cad:
                sys.exit('calibrate.py: minisat says %s and cadical %s on %s' % (mini, cad, path))
            out.writerow([row['family'], row['parameters'], seed, mini or cad or '?',
                          '%.2f' % mini_s if mini else 'to', '%.2f' % cad_s if cad else '-' if not cad_s else 'to'])
            sys.stdout.flush()
            os.remove(path)


if __name__ == '__main__':
    main()
