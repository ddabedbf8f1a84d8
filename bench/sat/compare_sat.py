#!/usr/bin/env python3
"""Compares SAT solvers over the instance table in one interleaved run.

  compare_sat.py [options] [NAME=COMMAND ...]

COMMAND is split like a shell line; "{}" stands for the CNF file (appended when absent). Columns of
minisat (without preprocessing, the base of all ratios) and cadical are there without being named;
--tarq PROGRAM adds "tarq" (the options below, meant for DIMACS input) and "defaults" (the library's
own defaults). Further columns of any number may follow, for instance other option sets:

  compare_sat.py --tarq build/tools/tarq --measure build/bench/measure --out r.csv \\
    "luby=build/tools/tarq --dimacs --stats --config dpll.restart_strategy=1 {}"

The solvers run one after the other on each file and the order rotates from file to file. Times are
CPU seconds of the process (user and system), memory is its peak resident set, propagations are the
solver's own count divided by that CPU time. A run that reaches the limit counts with the limit in
the ratios and is listed as unsolved. Answers are checked against the table, and every printed
assignment against the clauses. --measure names the launcher built from measure.cpp; without it the
peak memory of small runs includes about 11 MB of this script.

The exit status is 1 if any answer or assignment was wrong. Python 3 standard library only.
"""
import argparse
import csv
import math
import os
import re
import resource
import shlex
import statistics
import subprocess
import sys
import tempfile

import generate

BASE = 'minisat'
# What the library offers that suits plain CNF input best.
DIMACS_OPTIONS = ''
ANSWERS = {10: 'sat', 20: 'unsat'}
PROPAGATIONS = re.compile(r'propagations\s*[:\s]\s*(\d+)', re.I)


class Result:
    def __init__(self, answer, cpu, rss, props, wrong):
        self.answer, self.cpu, self.rss, self.props, self.wrong = answer, cpu, rss, props, wrong


def read_clauses(path):
    clauses, cur = [], []
    with open(path) as f:
        for line in f:
            if line[0] in 'cp':
                continue
            for w in line.split():
                if w == '0':
                    clauses.append(cur)
                    cur = []
                else:
                    cur.append(int(w))
    return clauses


def unsatisfied(path, lits):
    """The first clause that an assignment leaves without a true literal, or None."""
    true = set(lits)
    if any(-x in true for x in true):
        return 'both signs of a variable'
    for c in read_clauses(path):
        if not any(x in true for x in c):
            return c
    return None


def launch(cmd, args, out_path):
    """Returns (status, cpu, rss in KiB)."""
    wall = args.timeout * 20 + 60  # a safeguard only: a loaded machine must not end a run
    if args.measure:
        text = subprocess.run([args.measure, str(args.timeout), str(wall), str(args.memory), out_path] + cmd,
                              stdout=subprocess.PIPE, check=True, text=True).stdout.split()
        return int(text[0]), float(text[1]) + float(text[2]), int(text[3])

    def cap():
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        resource.setrlimit(resource.RLIMIT_CPU, (args.timeout, args.timeout + 1))
        resource.setrlimit(resource.RLIMIT_AS, (args.memory << 20, args.memory << 20))
    with open(out_path, 'wb') as out:
        p = subprocess.Popen(cmd, stdin=subprocess.DEVNULL, stdout=out, stderr=subprocess.STDOUT, preexec_fn=cap)
        _, status, ru = os.wait4(p.pid, 0)
        p.returncode = status
    code = os.WEXITSTATUS(status) if os.WIFEXITED(status) else -os.WTERMSIG(status)
    return code, ru.ru_utime + ru.ru_stime, ru.ru_maxrss


def run(template, path, expected, args, scratch):
    words = shlex.split(template)
    cmd = [path if w == '{}' else w for w in words]
    if '{}' not in words:
        cmd.append(path)
    out_path = os.path.join(scratch, 'out')
    code, cpu, rss = launch(cmd, args, out_path)
    if code in (126, 127):
        sys.exit('compare_sat.py: cannot run: %s' % ' '.join(cmd))
    with open(out_path, errors='replace') as f:
        lines = f.read().splitlines()
    answer, lits, props = ANSWERS.get(code), [], None
    for line in lines:
        if line.startswith('v '):
            lits += [int(w) for w in line[2:].split() if w != '0']
        elif line.startswith('s ') or line in ('SATISFIABLE', 'UNSATISFIABLE'):
            answer = 'unsat' if 'UNSAT' in line else 'sat' if 'SATISF' in line else None
        else:
            m = PROPAGATIONS.search(line)
            if m and props is None:
                props = int(m.group(1))
    wrong = ''
    if answer and expected in ('sat', 'unsat') and answer != expected:
        wrong = 'answer %s, expected %s' % (answer, expected)
    elif answer == 'sat' and lits:
        bad = unsatisfied(path, lits)
        if bad is not None:
            wrong = 'assignment fails on %s' % bad
    if answer is None and cpu < args.timeout * 0.98 and not wrong:
        tail = lines[-1] if lines else ''
        print('! %s: no answer after %.1f s, status %d, %s' % (' '.join(cmd), cpu, code, tail), file=sys.stderr)
    return Result(answer, cpu, rss, props, wrong)


def geo(values):
    return math.exp(sum(map(math.log, values)) / len(values)) if values else float('nan')


def fmt(x, digits=2):
    return '-' if x != x else '%.*f' % (digits, x)


def report(rows, names, args):
    """rows: (group, file, {name: Result})."""
    groups = sorted({r[0] for r in rows})

    def ratios(part, name, get):
        out = []
        for _, _, res in part:
            a, b = res[name], res[BASE]
            if (a.answer or b.answer) and get(a) and get(b):
                out.append(get(a) / get(b))
        return out

    def time_of(r):
        return max(r.cpu if r.answer else args.timeout, args.floor)

    def rate(r):
        return r.props / max(r.cpu, args.floor) if r.props else None

    def mem(r):
        return r.rss

    others = [n for n in names if n != BASE]
    for title, get in (('time', time_of), ('peak memory', mem), ('propagations per second', rate)):
        print('\n%s relative to %s, geometric mean' % (title, BASE))
        print('%-20s %5s %s' % ('group', 'files', ' '.join('%10s' % n for n in others)))
        for group in groups + ['all']:
            part = [r for r in rows if group in (r[0], 'all')]
            print('%-20s %5d %s' % (group, len(part), ' '.join('%10s' % fmt(geo(ratios(part, n, get))) for n in others)))
    print('\n%-20s %s' % ('', ' '.join('%10s' % n for n in names)))
    solved = {n: [r[2][n] for r in rows if r[2][n].answer] for n in names}
    print('%-20s %s' % ('solved', ' '.join('%10d' % len(solved[n]) for n in names)))
    print('%-20s %s' % ('wrong', ' '.join('%10d' % sum(bool(r[2][n].wrong) for r in rows) for n in names)))
    print('%-20s %s' % ('seconds in all', ' '.join('%10.1f' % sum(time_of(r[2][n]) for r in rows) for n in names)))
    print('%-20s %s' % ('peak MB, median', ' '.join(
        '%10.1f' % statistics.median(r[2][n].rss / 1024 for r in rows) for n in names)))
    rates = {n: [rate(r[2][n]) for r in rows if rate(r[2][n])] for n in names}
    print('%-20s %s' % ('Mprops/s, geo mean', ' '.join('%10s' % fmt(geo(rates[n]) / 1e6) for n in names)))


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('columns', nargs='*', metavar='NAME=COMMAND')
    ap.add_argument('--tarq', help='program for the columns "tarq" and "defaults"')
    ap.add_argument('--dimacs-options', default=DIMACS_OPTIONS, help='options of the column "tarq" (default: %(default)s)')
    ap.add_argument('--measure', help='launcher built from measure.cpp')
    ap.add_argument('--table', default=generate.TABLE)
    ap.add_argument('--work', default='out-sat', help='folder for the generated files')
    ap.add_argument('--timeout', type=int, default=60, help='CPU seconds (default 60)')
    ap.add_argument('--memory', type=int, default=4096, help='address space in MiB (default 4096)')
    ap.add_argument('--floor', type=float, default=0.01, help='shorter times count as this (default 0.01)')
    ap.add_argument('--family', help='only these groups, separated by commas')
    ap.add_argument('--every', type=int, default=1, help='only every Nth file of the table')
    ap.add_argument('--max-base', type=float, help='only files with a minisat time in the table up to this')
    ap.add_argument('--no-cadical', action='store_true')
    ap.add_argument('--out', help='CSV with one row per file and solver')
    args = ap.parse_args()

    columns = {BASE: 'minisat -no-pre -verb=1 {}'}
    if not args.no_cadical:
        columns['cadical'] = 'cadical {}'
    if args.tarq:
        columns['tarq'] = '%s --dimacs --stats %s {}' % (shlex.quote(args.tarq), args.dimacs_options)
        columns['defaults'] = '%s --dimacs --stats {}' % shlex.quote(args.tarq)
    for c in args.columns:
        name, eq, cmd = c.partition('=')
        if not eq:
            ap.error('a column is NAME=COMMAND, not "%s"' % c)
        columns[name] = cmd
    names = list(columns)

    table = generate.read_table(args.table)
    if args.family:
        table = [r for r in table if r['family'] in args.family.split(',')]
    if args.max_base:
        table = [r for r in table if float(r['minisat_s']) <= args.max_base]
    table = table[::args.every]
    rows = []
    out = csv.writer(open(args.out, 'w', newline=''), lineterminator='\n') if args.out else None
    if out:
        out.writerow(['group', 'file', 'expected', 'solver', 'answer', 'cpu_s', 'peak_kib', 'propagations', 'wrong'])
    with tempfile.TemporaryDirectory() as scratch:
        for i, row in enumerate(table):
            path = generate.write_row(row, args.work)
            res = {}
            for name in names[i % len(names):] + names[:i % len(names)]:
                r = res[name] = run(columns[name], path, row['expected'], args, scratch)
                if r.wrong:
                    print('! %s WRONG on %s: %s' % (name, row['file'], r.wrong), file=sys.stderr)
                if out:
                    out.writerow([row['group'], row['file'], row['expected'], name, r.answer or 'none',
                                  '%.3f' % r.cpu, r.rss, r.props or '', r.wrong])
            rows.append((row['group'], row['file'], res))
            print('%3d/%d %-60s %s' % (i + 1, len(table), row['file'][:60], ' '.join(
                '%s %.2f%s' % (n, res[n].cpu, '' if res[n].answer else '!') for n in names)), file=sys.stderr, flush=True)
    if rows:
        report(rows, names, args)
    sys.exit(1 if any(r.wrong for _, _, res in rows for r in res.values()) else 0)


if __name__ == '__main__':
    main()
