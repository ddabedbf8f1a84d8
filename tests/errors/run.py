#!/usr/bin/env python3
"""Runs malformed and misused scripts: each must give its errors and leave the program usable.

  run.py --program PROGRAM [--only NAME] [--skip-large] [--show]
  run.py --program PROGRAM --mutate 1000 FOLDER...

The *.cases files here hold hand-written scripts. A case is

  === name
  script text, in which \\xHH stands for a byte
  ---
  error LINE FRAGMENT   the next output is an error with that line number and text
  answer sat            the next output is this answer
  any                   whatever comes is allowed from here on
  no-follow             no further query can be added (the text is not closed, or unsatisfiable)

Behind each script, unless it says no-follow, stand declarations and two queries with known answers;
"usable" means that they come out right. On top of these the runner makes inputs that are too large or
too random for a file: long tokens, deep nesting, random bytes, a script cut at every place, a script
with bytes changed. Those need some error or answer, no crash, no hang, no leak. Under a program built
with sanitizers a report counts as a crash; its exit status is set to 99 by the runner.

With --mutate only scripts from the folders are run, small ones in which a word or a parenthesis is
dropped, doubled, exchanged or replaced, a byte changed, or the end cut off. Every error must name a
line, the first one no line before the change. Those that come out valid don't count.

The exit status is 1 if any case fails. Python 3 standard library only.
"""
import argparse
import os
import random
import re
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
FOLLOW = b"""
(declare-const follow-p Bool)
(declare-const follow-q Bool)
(assert (or follow-p follow-q))
(check-sat-assuming ((not follow-p)))
(check-sat-assuming ((not follow-p) (not follow-q)))
"""
FOLLOW_ANSWERS = ['sat', 'unsat']
LINE = re.compile(r'\(line: (\d+)\)|line (\d+)')


class Case:
    """expect: lines as in the files, or None when every output is right."""

    def __init__(self, name, script, expect, follow=True, changed_line=0):
        self.name, self.script, self.expect, self.follow = name, script, expect, follow
        self.changed_line = changed_line  # of a mutated script, where it may be malformed


def unescape(text):
    out = re.sub(rb'\\x([0-9a-f]{2})', lambda m: bytes([int(m.group(1), 16)]), text)
    return out


def read_cases(path):
    with open(path, 'rb') as f:
        parts = re.split(rb'^=== (\S+)\n', f.read(), flags=re.M)
    for name, body in zip(parts[1::2], parts[2::2]):
        script, _, tail = body.partition(b'\n---\n')
        lines = [x.strip() for x in tail.decode().splitlines() if x.strip()]
        yield Case(name.decode(), unescape(script) + b'\n', [x for x in lines if x != 'no-follow'],
                   follow='no-follow' not in lines)


def split_outputs(text):
    """The s-expressions and words of the output, one string each."""
    out, depth, cur, in_string = [], 0, '', False
    for ch in text:
        if in_string:
            cur += ch
            in_string = ch != '"'
            continue
        if ch == '"':
            in_string = True
        depth += (ch == '(') - (ch == ')')
        if depth == 0 and ch.isspace() and cur:
            out.append(cur)
            cur = ''
        elif depth > 0 or not ch.isspace():
            cur += ch
    return out + [cur] if cur.strip() else out


def matches(want, got):
    """None if the output is what the expectation says, else a reason."""
    kind, _, rest = want.partition(' ')
    if kind == 'answer':
        return None if got == rest else 'expected %s, got %s' % (rest, got[:300])
    line, _, fragment = rest.partition(' ')
    if not got.startswith('(error'):
        return 'expected an error on line %s, got %s' % (line, got[:300])
    found = LINE.findall(got)
    if not found or line not in found[-1]:
        return 'expected an error on line %s, got %s' % (line, got[:300])
    if fragment and fragment not in got:
        return 'expected "%s" in %s' % (fragment, got[:300])
    return None


class Runner:
    def __init__(self, args):
        self.args, self.failures, self.count, self.slowest = args, 0, 0, (0.0, '')
        self.malformed = self.single = 0  # mutated scripts with errors, with one
        self.env = dict(os.environ)
        self.env['ASAN_OPTIONS'] = 'detect_leaks=1:exitcode=99:allocator_may_return_null=1'
        self.env['UBSAN_OPTIONS'] = 'halt_on_error=1:exitcode=99:print_stacktrace=1'

    def execute(self, text):
        """Returns (reason for failure or None, list of outputs, exit status)."""
        start = time.monotonic()
        try:
            p = subprocess.run([self.args.program], input=text, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                               timeout=self.args.timeout, env=self.env)
        except subprocess.TimeoutExpired:
            return 'no end within %d s' % self.args.timeout, [], None
        self.seconds = time.monotonic() - start
        err = p.stderr.decode(errors='replace')
        if p.returncode not in (0, 1):
            return 'exit status %d\n%s' % (p.returncode, err[-3000:]), [], p.returncode
        if 'Sanitizer' in err or 'runtime error:' in err:
            return err[-3000:], [], p.returncode
        return None, split_outputs(p.stdout.decode(errors='replace')), p.returncode

    def judge(self, case):
        reason, outputs, status = self.execute(case.script + (FOLLOW if case.follow else b''))
        if reason:
            return reason
        if self.args.show:
            print('%s\n  %s' % (case.name, '\n  '.join(x[:200] for x in outputs)))
        had_error = any(x.startswith('(error') for x in outputs)
        if status != (1 if had_error else 0):
            return 'exit status %d with%s errors' % (status, '' if had_error else 'out')
        if case.follow:
            if outputs[-2:] != FOLLOW_ANSWERS:
                return 'the further queries gave %s' % ' '.join(x[:200] for x in outputs[-3:])
            outputs = outputs[:-2]
        if case.expect is None and not case.changed_line:
            return None
        if case.changed_line:
            return self.judge_lines([x for x in outputs if x.startswith('(error')], case.changed_line)
        for k, want in enumerate(case.expect):
            if want == 'any':
                return None
            if k >= len(outputs):
                return 'nothing where "%s" was expected' % want
            reason = matches(want, outputs[k])
            if reason:
                return reason
        if len(outputs) > len(case.expect):
            return 'unexpected: ' + outputs[len(case.expect)][:300]
        return None

    def judge_lines(self, errors, changed_line):
        """Whether the errors of a mutated script say where it is malformed."""
        lines = [LINE.findall(e) for e in errors]
        if not all(lines):
            return 'no line: ' + errors[lines.index([])][:300]
        if lines and max(int(x or 0) for x in lines[0][-1]) < changed_line:
            return 'changed on line %d: %s' % (changed_line, errors[0][:300])
        self.malformed += len(errors) > 0
        self.single += len(errors) == 1
        return None

    def run(self, case):
        if self.args.only and self.args.only not in case.name:
            return
        self.count += 1
        self.seconds = 0.0
        reason = self.judge(case)
        self.slowest = max(self.slowest, (self.seconds, case.name))
        if reason:
            self.failures += 1
            print('FAIL %s: %s' % (case.name, reason))
            if len(case.script) < 2000:
                print('     ' + case.script.decode(errors='backslashreplace').replace('\n', '\n     '))
            sys.stdout.flush()


def nested(depth, head, core, tail):
    return b'(declare-const p Bool)\n(assert ' + head * depth + core + tail * depth + b')\n(check-sat)\n'


def large_cases(depth, size):
    """Inputs too large for a file. depth: nesting; size: bytes of a token."""
    big = b'a' * size

    def answers(*words):
        return ['answer ' + w for w in words]
    yield Case('long_symbol', b'(declare-const ' + big + b' Bool)\n(assert ' + big + b')\n(check-sat)\n', answers('sat'))
    yield Case('long_quoted_symbol', b'(declare-const |' + big + b' x| Bool)\n(check-sat)\n', answers('sat'))
    yield Case('long_unknown_symbol', b'(assert ' + big + b')\n', ['error 1'])
    yield Case('long_keyword', b'(set-info :' + big + b' 1)\n', ['any'])
    yield Case('long_string', b'(set-info :source "' + big + b'")\n', ['any'])
    yield Case('long_comment', b'; ' + big + b'\n(check-sat)\n', answers('sat'))
    yield Case('long_numeral', b'(push ' + b'9' * size + b')\n', ['error 1'])
    yield Case('long_binary_constant', b'(assert (= #b' + b'01' * (size // 20) + b' #b1))\n', ['error 1'])
    yield Case('long_unterminated_string', b'(check-sat)\n(echo "' + big, answers('sat') + ['error 2'], follow=False)
    yield Case('deep_not', nested(depth, b'(not ', b'p', b')'), answers('sat'))
    yield Case('deep_and', nested(depth, b'(and p ', b'p', b')'), answers('sat'))
    yield Case('deep_or_of_not', nested(depth, b'(or p (not ', b'p', b'))'), answers('sat'))
    yield Case('deep_ite', nested(depth // 10, b'(ite p p ', b'(not p)', b')'), answers('sat'))
    yield Case('deep_let', nested(depth, b'(let ((x (not p))) ', b'p', b')'), answers('sat'))
    yield Case('deep_annotation', nested(depth, b'(! ', b'p', b' :a b)'), answers('sat'))
    yield Case('deep_unclosed', b'(check-sat)\n(assert ' + b'(not ' * depth, answers('sat') + ['error 2'], follow=False)
    yield Case('deep_parentheses', b'(' * depth + b')' * depth + b'\n', ['any'])
    yield Case('deep_sort', b'(declare-const x ' + b'(Array Int ' * depth + b'Int' + b')' * depth + b')\n', ['any'])
    yield Case('deep_attribute', b'(assert (! true :pattern ' + b'(' * depth + b'a' + b')' * depth + b'))\n', ['any'])
    yield Case('deep_push', b'(push %d)\n(assert false)\n(check-sat)\n(pop %d)\n(check-sat)\n' % (depth // 100, depth // 100),
               answers('unsat', 'sat'))
    names = b' '.join(b'v%d' % i for i in range(depth // 10))
    wide = b'\n'.join(b'(declare-const v%d Bool)' % i for i in range(depth // 10))
    yield Case('wide_or', wide + b'\n(assert (or ' + names + b'))\n(check-sat)\n', answers('sat'))
    yield Case('wide_assumptions', wide + b'\n(check-sat-assuming (' + names + b'))\n', answers('sat'))
    yield Case('wide_command', b'(assert ' + b'p ' * depth + b')\n', ['error 1'])


VALID = b'''(set-logic QF_UF)
(set-option :produce-unsat-assumptions true)
(declare-fun p () Bool)
(declare-const |q r| Bool)
(define-fun f ((x Bool)) Bool (ite x |q r| (not x)))
(push 1)
(assert (! (let ((y (and p (f |q r|)))) (xor y p)) :named n))
(check-sat-assuming ((not p)))
(get-unsat-assumptions)
(pop 1)
(echo "done ""so far""") ; comment
(check-sat)
'''


def random_cases(rnd):
    """Bytes that are no script; there is no saying where a following command would stand in them."""
    for cut in range(1, len(VALID), 3):
        yield Case('cut_at_%d' % cut, VALID[:cut], None, follow=False)
    for i in range(60):
        text = bytearray(VALID)
        for _ in range(rnd.choice((1, 1, 2, 5))):
            at = rnd.randrange(len(text))
            if rnd.random() < 0.5:
                text[at] = rnd.randrange(256)
            elif rnd.random() < 0.5:
                del text[at]
            else:
                text.insert(at, rnd.choice(b'()|";:#_!\\ \n0'))
        yield Case('changed_%d' % i, bytes(text), None, follow=False)
    for i in range(20):
        size = rnd.choice((10, 100, 10000))
        yield Case('random_bytes_%d' % i, bytes(rnd.randrange(256) for _ in range(size)), None, follow=False)
    words = [b'(', b'(', b')', b')', b'assert', b'and', b'p', b'let', b'((x p))', b'_', b'bv3', b'8', b'push', b'check-sat',
             b'declare-const', b'Bool', b'!', b':named', b'as', b'"s"', b'|q|', b'1.5', b'#b01', b'forall', b'define-fun', b'\n']
    for i in range(60):
        yield Case('random_words_%d' % i, b' '.join(rnd.choice(words) for _ in range(rnd.choice((5, 40, 400)))), None,
                   follow=False)


def mutated(text, rnd):
    """(text, first changed line) of a script with one change."""
    words = list(re.finditer(rb'[()]|[^\s()]+', text))
    a, b = rnd.choice(words), rnd.choice(words)
    kind = rnd.randrange(7)
    at = a.start()
    if kind == 0:
        new = text[:a.start()] + text[a.end():]
    elif kind == 1:
        new = text[:a.end()] + b' ' + a.group() + text[a.end():]
    elif kind == 2:
        new = text[:a.start()] + b.group() + text[a.end():]
    elif kind == 3:
        a, b = sorted((a, b), key=lambda m: m.start())
        at = a.start()
        new = text[:a.start()] + b.group() + text[a.end():b.start()] + a.group() + text[b.end():]
        new = text if a == b else new
    elif kind == 4:
        new = text[:at] + rnd.choice((b'(', b')', b'|', b'"', b'#', b'_ ', b'99', b'x!', b'-1', b'1.2.3', b'#b2')) + text[at:]
    elif kind == 5:
        at = rnd.randrange(len(text))
        new = text[:at] + bytes([rnd.randrange(256)]) + text[at + 1:]
    else:
        new = text[:at]
    return new, text.count(b'\n', 0, at) + 1


def mutated_cases(folders, rnd, runner):
    paths = sorted(os.path.join(d, n) for folder in folders for d, _, names in os.walk(folder) for n in names
                   if n.endswith('.smt2') and os.path.getsize(os.path.join(d, n)) < 20000)
    while True:
        path = rnd.choice(paths)
        with open(path, 'rb') as f:
            text = f.read()
        reason, outputs, status = runner.execute(text)
        if reason or status or runner.seconds > 0.2:
            paths.remove(path)  # takes its time, or has errors of its own
            continue
        new, line = mutated(text, rnd)
        yield Case('mutated ' + path, new, None, follow=False, changed_line=line)


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('--program', required=True)
    ap.add_argument('--only', help='only cases whose name holds this text')
    ap.add_argument('--show', action='store_true', help='print all outputs')
    ap.add_argument('--skip-large', action='store_true', help='leave out long tokens and deep nesting')
    ap.add_argument('--depth', type=int, default=1000000)
    ap.add_argument('--size', type=int, default=10 << 20, help='bytes of a long token')
    ap.add_argument('--timeout', type=int, default=120, help='seconds for one script')
    ap.add_argument('--seed', type=int, default=1)
    ap.add_argument('--mutate', type=int, help='run so many malformed scripts made from those of the folders')
    ap.add_argument('folders', nargs='*')
    args = ap.parse_args()
    args.program = os.path.abspath(args.program)
    runner = Runner(args)
    if args.mutate:
        for case in mutated_cases(args.folders, random.Random(args.seed), runner):
            if runner.malformed + runner.failures >= args.mutate:
                break
            runner.run(case)
        print('%d scripts, %d of them malformed, %d with one error, %d failures; slowest %.2f s' % (
            runner.count, runner.malformed, runner.single, runner.failures, runner.slowest[0]))
        sys.exit(1 if runner.failures else 0)
    for name in sorted(os.listdir(HERE)):
        if name.endswith('.cases'):
            for case in read_cases(os.path.join(HERE, name)):
                runner.run(case)
    for case in random_cases(random.Random(args.seed)):
        runner.run(case)
    if not args.skip_large:
        for case in large_cases(args.depth, args.size):
            runner.run(case)
    print('%d scripts, %d failures; slowest %s with %.1f s' % (runner.count, runner.failures, runner.slowest[1],
                                                               runner.slowest[0]))
    sys.exit(1 if runner.failures else 0)


if __name__ == '__main__':
    main()
