#!/usr/bin/env python3
"""Start-up time: an empty script, the program against z3, interleaved, median of wall-clock times.

  startup.py --program build/tools/tarq [--other "z3 -smt2"] [--runs 50]

The exit status is 1 when the ratio of the medians is above --limit (default 1.0).
Python 3 standard library only.
"""
import argparse
import os
import shlex
import statistics
import sys
import tempfile
import time


def once(cmd, null):
    """Seconds from before the process is made to after it is gone."""
    start = time.perf_counter()
    pid = os.posix_spawnp(cmd[0], cmd, os.environ, file_actions=[
        (os.POSIX_SPAWN_DUP2, null, 0), (os.POSIX_SPAWN_DUP2, null, 1), (os.POSIX_SPAWN_DUP2, null, 2)])
    _, status = os.waitpid(pid, 0)
    seconds = time.perf_counter() - start
    if status != 0:
        sys.exit('startup.py: status %d from %s' % (status, ' '.join(cmd)))
    return seconds


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('--program', required=True)
    ap.add_argument('--other', default='z3 -smt2')
    ap.add_argument('--runs', type=int, default=50)
    ap.add_argument('--limit', type=float, default=1.0)
    args = ap.parse_args()
    null = os.open(os.devnull, os.O_RDWR)
    with tempfile.NamedTemporaryFile(suffix='.smt2') as empty:
        cmds = [shlex.split(args.program) + [empty.name], shlex.split(args.other) + [empty.name]]
        for c in cmds:
            once(c, null)  # both in the page cache
        times = ([], [])
        for i in range(args.runs):
            for k in ((0, 1), (1, 0))[i % 2]:
                times[k].append(once(cmds[k], null))
    for c, t in zip(cmds, times):
        print('%-30s median %.2f ms, fastest %.2f ms, slowest %.2f ms' % (
            ' '.join(c[:-1]), 1e3 * statistics.median(t), 1e3 * min(t), 1e3 * max(t)))
    ratio = statistics.median(times[0]) / statistics.median(times[1])
    print('ratio of medians %.3f (limit %.2f)' % (ratio, args.limit))
    sys.exit(0 if ratio <= args.limit else 1)


if __name__ == '__main__':
    main()
