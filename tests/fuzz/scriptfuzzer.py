"""What the fuzzers of scripts share: running the program, reading its answers, reporting failures."""
import argparse
import os
import re
import subprocess
import sys

# (name, values to draw from). Small restart units, or small scripts would never restart.
ENGINE_OPTIONS = [
    ('dpll.restart_initial', (1, 2, 3, 10, 200)),
    ('dpll.branching_random_frequency', (0, 0.001, 0.1, 0.9)),
    ('dpll.branching_initial_phase', (0, 1, 2)),
    ('dpll.branching_cache_phase', (0, 1, 2)),
    ('dpll.store_tlemmas', ('true', 'false')),
    ('dpll.pop_btpoint_reset_var_order', ('true', 'false')),
    ('dpll.glucose_var_activity', ('true', 'false')),
    ('dpll.glucose_learnt_minimization', ('true', 'false')),
    ('dpll.preprocessor.mode', (1, 2)),
    ('dpll.preprocessor.clause_size_limit', (0, 3, 20)),
    ('dpll.preprocessor.subsumption_size_limit', (0, 4, 1000)),
    ('dpll.preprocessor.elimination_grow_limit', (0, 3, 20)),
    ('dpll.preprocessor.elimination_phase', (1, 2)),
    ('dpll.preprocessor.elimination_recent_vars_only', ('true', 'false')),
    ('dpll.preprocessor.try_reelimination', ('true', 'false')),
    ('random_seed', (1, 7, 12345)),
    ('preprocessor.toplevel_propagation', ('true', 'false')),
    ('preprocessor.symmetry_breaking', ('true', 'false')),
]

LITERAL = re.compile(r'\(not\s+([^\s()]+)\)|([^\s()]+)')


def run(cmd, text, timeout):
    """Returns (exit status or None for a hang, standard output, standard error)."""
    try:
        p = subprocess.run(cmd, input=text.encode(), stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=timeout)
    except subprocess.TimeoutExpired:
        return None, '', ''
    return p.returncode, p.stdout.decode(errors='replace'), p.stderr.decode(errors='replace')


def parse_blocks(output):
    """Splits the output at the marker lines."""
    blocks, cur = [], []
    for line in output.splitlines():
        if line.strip().strip('"') == '--':
            blocks.append(cur)
            cur = []
        elif line.strip():
            cur.append(line.strip())
    return blocks, cur


def parse_failed(lines):
    """The literals of a printed list, as (name, positive)."""
    text = ' '.join(lines).strip()
    if not (text.startswith('(') and text.endswith(')')):
        return None
    return [(m.group(1), False) if m.group(1) else (m.group(2), True) for m in LITERAL.finditer(text[1:-1])]


def argument_parser(doc):
    """With the options that all fuzzers have."""
    ap = argparse.ArgumentParser(description=doc, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('--program', required=True)
    ap.add_argument('--count', type=int, default=200)
    ap.add_argument('--seed', type=int, default=1)
    ap.add_argument('--timeout', type=int, default=20, help='seconds for one script')
    ap.add_argument('--no-options', action='store_true', help='always the default options')
    ap.add_argument('--max-failures', type=int, default=5)
    ap.add_argument('--save', help='folder for shrunk failures')
    return ap


class Failures:
    """Counts failures, prints them and saves them as the command line says."""

    def __init__(self, args, tag):
        self.args, self.tag, self.count = args, tag, 0

    def report(self, number, found, options, script):
        """found is (kind, description). Returns whether that was the last one to look for."""
        self.count += 1
        flags = ' '.join(o for o in options if o[0] == '-')
        text = '; %s: %s\n; script %d of seed %d%s\n%s' % (
            found[0], found[1].replace('\n', '\n; '), number, self.args.seed,
            ', program called with ' + flags if flags else '', script)
        print('FAILURE\n' + text, flush=True)
        if self.args.save:
            os.makedirs(self.args.save, exist_ok=True)
            with open(os.path.join(self.args.save, '%s_%d_%d.smt2' % (self.tag, self.args.seed, number)), 'w') as f:
                f.write(text)
        return self.count >= self.args.max_failures

    def exit(self):
        sys.exit(1 if self.count else 0)
