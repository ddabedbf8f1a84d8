#!/usr/bin/env python3
"""The time to encode Float64 operations, up to the search: CPU seconds of solvers on one sum, product,
quotient, and dot product of four pairs.

  float_circuits.py [--runs N] NAME=COMMAND [NAME=COMMAND ...]

COMMAND is split like a shell line; "{}" stands for the file. Each script asks for operands whose result is
NaN: every gate has to be made, and then hardly anything needs to be searched. The time is that of the whole
run, an upper bound for that of the first decision; the smallest of N runs counts. Python 3 standard library
only.
"""
import argparse
import os
import shlex
import subprocess
import tempfile

PRODUCTS = ['(fp.mul RNE x%d y%d)' % (i, i) for i in range(4)]
RESULTS = {
    'add': '(fp.add RNE x0 y0)',
    'mul': PRODUCTS[0],
    'div': '(fp.div RNE x0 y0)',
    'dot4': '(fp.add RNE (fp.add RNE (fp.add RNE %s %s) %s) %s)' % tuple(PRODUCTS),
}


def cpu_seconds(command):
    p = subprocess.Popen(command, stdout=subprocess.PIPE)
    answer = p.stdout.read().decode().strip()
    usage = os.wait4(p.pid, 0)[2]
    p.stdout.close()
    return usage.ru_utime + usage.ru_stime, answer


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('--runs', type=int, default=5)
    ap.add_argument('solver', nargs='+')
    args = ap.parse_args()
    solvers = [s.partition('=')[::2] for s in args.solver]
    print('%-6s' % '' + ''.join('%10s' % name for name, _ in solvers))
    with tempfile.TemporaryDirectory() as folder:
        for name, result in RESULTS.items():
            path = os.path.join(folder, name + '.smt2')
            with open(path, 'w') as f:
                f.write('(set-logic QF_FP)\n')
                f.writelines('(declare-const %s%d (_ FloatingPoint 11 53))\n' % (v, i) for v in 'xy' for i in range(4))
                f.write('(assert (fp.isNaN %s))\n(check-sat)\n' % result)
            row = '%-6s' % name
            for _, command in solvers:
                runs = [cpu_seconds([w.replace('{}', path) for w in shlex.split(command)]) for _ in range(args.runs)]
                answers = sorted({a for _, a in runs})
                row += '%10s' % ('%.2f' % min(t for t, _ in runs) if answers == ['sat'] else answers[0][:9])
            print(row, flush=True)


if __name__ == '__main__':
    main()
