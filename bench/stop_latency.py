#!/usr/bin/env python3
"""How long after --timeout and after SIGINT or SIGTERM the program is gone.

  stop_latency.py --program build/tools/tarq [--work DIR] [--limit 0.2] [--repeat 3]
  stop_latency.py --program build/tools/tarq --scripts FOLDER... [--after 1] [--clock cpu]

Inputs that keep the program busy in different places: hard searches over small and over large clause
sets, the reading of a very large file, the translation of one huge formula into clauses, and a long
series of small queries. For --timeout T the delay is the process's wall-clock time minus T; for a
signal it runs from the kill to the end. A stopped search must have answered unknown ("s UNKNOWN" for
DIMACS) and, with --stats, print its counters; where the stop falls into reading, that is only noted. The
exit status is 1 when a delay is above --limit or an output of a search is missing. An input that ends
by itself before the stop is reported and does not count.

With --scripts the inputs are all *.smt2 files below some folders instead, stopped by --timeout only.
With --clock cpu, for a machine that is busy, a delay is what the process computes after the moment at
which it ought to have stopped. Python 3 standard library only.
"""
import argparse
import os
import signal
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), 'sat'))
import generate  # noqa: E402


def write(path, make):
    if not os.path.exists(path):
        with open(path + '.tmp', 'w') as f:
            make(f)
        os.replace(path + '.tmp', path)
    return path


def cnf(name, *words):
    """Writer of a generated instance as DIMACS."""
    def make(f):
        f.write(generate.instance(name, *generate.parse_params(name, list(words))))
    return make


def as_script(name, *words):
    """Writer of a generated instance as SMT-LIB: one assertion per clause."""
    def make(f):
        text = generate.instance(name, *generate.parse_params(name, list(words)))
        f.write('(set-logic QF_UF)\n')
        for line in text.splitlines():
            if line.startswith('p '):
                f.writelines('(declare-const v%d Bool)\n' % v for v in range(1, int(line.split()[2]) + 1))
            elif line[0] != 'c':
                lits = ['v' + w if w[0] != '-' else '(not v%s)' % w[1:] for w in line.split()[:-1]]
                f.write('(assert (or false %s))\n' % ' '.join(lits))
        f.write('(check-sat)\n')
    return make


def large_cnf(variables, clauses):
    """Writer of a large clause set (a planted assignment keeps it satisfiable)."""
    def make(f):
        f.write('p cnf %d %d\n' % (variables, clauses))
        state = 1
        for _ in range(clauses):
            lits = []
            for _ in range(3):
                state = (state * 6364136223846793005 + 1442695040888963407) % (1 << 64)
                v = state % variables + 1
                lits.append(v if state >> 40 & 1 else -v)
            lits[0] = abs(lits[0])
            f.write('%d %d %d 0\n' % tuple(lits))
    return make


def huge_formula(size):
    """Writer of one assertion with `size` gates, most of them over the gates before (by let)."""
    def make(f):
        f.write('(set-logic QF_UF)\n')
        f.writelines('(declare-const v%d Bool)\n' % i for i in range(1000))
        f.write('(assert\n')
        for i in range(size):
            a = 'g%d' % (i - 1 - i * 7919 % min(i, 50)) if i else 'v1'
            op = ('and', 'or', 'xor', '=')[i % 4]
            f.write('(let ((g%d (%s %s v%d)))\n' % (i, op, a, i * 104729 % 1000))
        f.write('(or g%d g%d)' % (size - 1, size // 2) + ')' * size + ')\n(check-sat)\n')
    return make


def many_queries(count):
    """Writer of a long series of small queries with push and pop."""
    def make(f):
        f.write('(set-logic QF_UF)\n')
        f.writelines('(declare-const v%d Bool)\n' % i for i in range(50))
        for i in range(count):
            f.write('(push 1)(assert (or v%d (not v%d)))(check-sat-assuming (v%d (not v%d)))(pop 1)\n' % (
                i % 50, i * 7 % 50, i * 3 % 50, i * 11 % 50))
    return make


def inputs(work):
    """(name, path, options, whether the stop is sure to fall into a search)."""
    os.makedirs(work, exist_ok=True)

    def at(name):
        return os.path.join(work, name)
    yield 'pigeonhole, DIMACS', write(at('php.cnf'), cnf('pigeonhole', 'holes=13', 'pigeons=14')), ['--dimacs'], True
    yield 'random 3-SAT, DIMACS', write(at('rnd.cnf'), cnf('random_ksat', 'n=500', 'seed=7')), ['--dimacs'], True
    yield 'multiplier, DIMACS', write(at('mul.cnf'), cnf('mult_miter', 'bits=14')), ['--dimacs'], True
    yield 'large random, DIMACS', write(at('large.cnf'), large_cnf(1000000, 4100000)), ['--dimacs'], False
    yield 'pigeonhole, script', write(at('php.smt2'), as_script('pigeonhole', 'holes=13', 'pigeons=14')), [], True
    yield 'multiplier, script', write(at('mul.smt2'), as_script('mult_miter', 'bits=14')), [], True
    yield 'one huge formula', write(at('huge.smt2'), huge_formula(1000000)), [], False
    yield 'many small queries', write(at('many.smt2'), many_queries(400000)), [], False


def run(cmd, stop_after, sig, give_up):
    """Runs, sends `sig` after stop_after seconds (None: never); returns (output, delay, ended early).
    The delay counts from stop_after."""
    start = time.monotonic()
    p = subprocess.Popen(cmd, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if sig is not None:
        try:
            out, _ = p.communicate(timeout=stop_after)
            return out.decode(errors='replace'), 0.0, True
        except subprocess.TimeoutExpired:
            start = time.monotonic()
            p.send_signal(sig)
            stop_after = 0.0
    try:
        out, _ = p.communicate(timeout=stop_after + give_up)
    except subprocess.TimeoutExpired:
        p.kill()
        p.communicate()
        return '', float('inf'), False
    delay = time.monotonic() - start - stop_after
    return out.decode(errors='replace'), delay, delay < 0


def cpu_seconds(pid):
    """What a running process has used so far, from /proc."""
    with open('/proc/%d/stat' % pid) as f:
        fields = f.read().rsplit(')', 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf('SC_CLK_TCK')


def run_script(cmd, after, give_up, clock):
    """Runs with a time-out of `after` seconds of its own; returns (output, delay, ended early)."""
    start = time.monotonic()
    with tempfile.TemporaryFile() as log:
        p = subprocess.Popen(cmd, stdin=subprocess.DEVNULL, stdout=log, stderr=subprocess.STDOUT)
        used = None
        while True:
            pid, _, usage = os.wait4(p.pid, os.WNOHANG)
            now = time.monotonic() - start
            if pid:
                break
            if used is None and now >= after:
                used = cpu_seconds(p.pid)
            if now > after + give_up:
                p.kill()
                p.wait()
                return '', float('inf'), False
            time.sleep(0.002)
        p.returncode = 0
        log.seek(0)
        out = log.read().decode(errors='replace')
    if used is None:
        return out, 0.0, True
    return out, now - after if clock == 'wall' else usage.ru_utime + usage.ru_stime - used, False


def test_scripts(args):
    """All scripts below the folders; returns the exit status."""
    after = float(args.after.split(',')[0])
    worst, bad, stopped, total = 0.0, 0, 0, 0
    paths = [os.path.join(top, name) for folder in args.scripts for top, _, names in os.walk(folder)
             for name in names if name.endswith('.smt2')]
    for path in sorted(paths):
        total += 1
        out, delay, early = run_script([args.program, '--timeout', '%g' % after, path], after, 30, args.clock)
        if early:
            continue
        stopped += 1
        worst = max(worst, delay)
        late = delay > args.limit
        bad += late
        print('%-60s %.3f%s' % (os.path.basename(path), delay, ' TOO LATE' if late else ''), flush=True)
    print('%d of %d scripts stopped at %g s, largest delay %.3f s (limit %.2f), %d complaints' % (
        stopped, total, after, worst, args.limit, bad))
    return 1 if bad else 0


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('--program', required=True)
    ap.add_argument('--work', default='out-stop')
    ap.add_argument('--limit', type=float, default=0.2, help='seconds')
    ap.add_argument('--after', default='0.5,2', help='when to stop, in seconds, separated by commas; --scripts takes the first')
    ap.add_argument('--repeat', type=int, default=3)
    ap.add_argument('--scripts', nargs='+', help='folders with scripts, instead of the inputs made here')
    ap.add_argument('--clock', choices=('wall', 'cpu'), default='wall', help='for --scripts')
    args = ap.parse_args()
    if args.scripts:
        sys.exit(test_scripts(args))
    worst, bad = 0.0, 0
    kinds = (('timeout', None), ('SIGINT', signal.SIGINT), ('SIGTERM', signal.SIGTERM))
    for name, path, options, in_search in inputs(args.work):
        for after in map(float, args.after.split(',')):
            for kind, sig in kinds:
                cmd = [args.program, '--stats'] + options
                cmd += ['--timeout', '%g' % after] if sig is None else []
                delays, note = [], ''
                for _ in range(args.repeat):
                    out, delay, early = run(cmd + [path], after, sig, 30)
                    if early:
                        note = ' (ended by itself)'
                        continue
                    delays.append(delay)
                    if in_search and not ('unknown' in out or 's UNKNOWN' in out):
                        note, bad = ' NO UNKNOWN', bad + 1
                    if delay < 30 and 'propagations' not in out:
                        note, bad = note + ' NO STATISTICS', bad + in_search
                top = max(delays, default=0.0)
                worst = max(worst, top)
                print('%-22s %-8s at %4.1f s: %s%s%s' % (
                    name, kind, after, ' '.join('%.3f' % d for d in delays), ' TOO LATE' if top > args.limit else '', note),
                    flush=True)
                bad += top > args.limit
    print('largest delay %.3f s (limit %.2f), %d complaints' % (worst, args.limit, bad))
    sys.exit(1 if bad else 0)


if __name__ == '__main__':
    main()
