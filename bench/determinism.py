#!/usr/bin/env python3
"""Whether runs of the program on the same script print the same, statistics included.

  determinism.py --program build/tools/tarq [--runs 10] [--files 200] [--seconds 2] FOLDER...

Takes scripts evenly from the folders, --files of them that end within --seconds of CPU time. Each runs
--runs times with --stats and --model, with the randomisation of addresses that the system has on; a run
may differ from the first in :time, :time-to-first-decision and :memory alone. Prints one line per script
that differs, and the counts. The exit status is 1 if one did. Python 3 standard library only.
"""
import argparse
import os
import re
import resource
import subprocess
import sys

MEASURED = re.compile(r'^; :(time|time-to-first-decision|memory) .*$', re.M)


def run(program, path, seconds):
    """The output without what is measured, or None for a run that did not end in time."""
    def limit():
        resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds + 1))
    p = subprocess.run([program, '--stats', '--model', path], capture_output=True, text=True, preexec_fn=limit)
    return MEASURED.sub('', p.stdout) + p.stderr if p.returncode in (0, 1) else None


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('--program', required=True)
    ap.add_argument('--runs', type=int, default=10)
    ap.add_argument('--files', type=int, default=200)
    ap.add_argument('--seconds', type=int, default=2)
    ap.add_argument('folders', nargs='+')
    args = ap.parse_args()
    with open('/proc/sys/kernel/randomize_va_space') as f:
        if f.read().strip() == '0':
            sys.exit('determinism.py: the randomisation of addresses is off')
    paths = sorted(os.path.join(d, n) for folder in args.folders for d, _, names in os.walk(folder)
                   for n in names if n.endswith('.smt2'))
    # A third too many, since some do not end in time.
    step = max(1, 3 * len(paths) // (4 * args.files))
    taken = differing = 0
    for path in paths[::step]:
        if taken == args.files:
            break
        first = run(args.program, path, args.seconds)
        if first is None or 'sat' not in first:
            continue
        taken += 1
        # The later runs get more time, or the limit would decide.
        others = [run(args.program, path, 10 * args.seconds) for _ in range(args.runs - 1)]
        if any(o != first for o in others):
            differing += 1
            print('differs: %s' % path, flush=True)
    print('%d scripts, %d runs each, %d scripts differ' % (taken, args.runs, differing))
    sys.exit(differing > 0)


if __name__ == '__main__':
    main()
