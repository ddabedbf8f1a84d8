"""Random bit-vector SMT-LIB 2 scripts as data, their text, and their meaning by integer arithmetic.

A term is a tuple (op, sort, args...) whose sort is a width, or 0 for Bool. Leaves are ('var', sort,
name), ('num', width, value), ('true', 0), ('false', 0); indexed operators hold their indices in the
name, as in ('(_ extract 3 0)', 4, t). Uninterpreted functions are ('call', sort, name, args...).

A command is a tuple: ('declare', name, sort), ('function', name, argument widths, sort), ('assert', t),
('push',), ('pop',), ('check',), ('assume', ((name, positive), ...)).
"""

ARITH = ('bvadd', 'bvsub', 'bvmul', 'bvudiv', 'bvurem', 'bvsdiv', 'bvsrem', 'bvsmod')
BITWISE = ('bvand', 'bvor', 'bvxor', 'bvnand', 'bvnor', 'bvxnor')
SHIFTS = ('bvshl', 'bvlshr', 'bvashr')
COMPARE = ('bvult', 'bvule', 'bvugt', 'bvuge', 'bvslt', 'bvsle', 'bvsgt', 'bvsge')


def sort_text(s):
    return '(_ BitVec %d)' % s if s else 'Bool'


def term_text(t):
    op = t[0]
    if op == 'num':
        return '(_ bv%d %d)' % (t[2], t[1])
    if op in ('true', 'false'):
        return op
    if op == 'var':
        return t[2]
    if op == 'call':
        return '(%s %s)' % (t[2], ' '.join(map(term_text, t[3:])))
    return '(%s %s)' % (op, ' '.join(map(term_text, t[2:])))


def command_text(c):
    op = c[0]
    if op == 'declare':
        return '(declare-const %s %s)' % (c[1], sort_text(c[2]))
    if op == 'function':
        return '(declare-fun %s (%s) %s)' % (c[1], ' '.join(map(sort_text, c[2])), sort_text(c[3]))
    if op == 'assert':
        return '(assert %s)' % term_text(c[1])
    if op == 'check':
        return '(check-sat)'
    if op == 'assume':
        return '(check-sat-assuming (%s))' % ' '.join(n if p else '(not %s)' % n for n, p in c[1])
    return '(%s 1)' % op


# ---- meaning

def signed(v, w):
    return v - (1 << w) if v >> (w - 1) & 1 else v


def divide(op, a, b, w):
    """Division as the standard fixes it, also by zero."""
    ones = (1 << w) - 1
    if op == 'bvudiv':
        return a // b if b else ones
    if op == 'bvurem':
        return a % b if b else a
    x, y = signed(a, w), signed(b, w)
    if b == 0:
        return a if op != 'bvsdiv' else (1 if x < 0 else ones)
    q = abs(x) // abs(y)
    q = -q if (x < 0) != (y < 0) else q
    r = x - q * y
    if op == 'bvsmod' and r and (r < 0) != (y < 0):
        r += y
    return q if op == 'bvsdiv' else r


def apply_op(op, sort, v, widths):
    """The value of an operator on values; widths are those of the arguments."""
    w = widths[0] if widths else 0
    mask = (1 << max(sort, w)) - 1
    if op == 'not':
        return 1 - v[0]
    if op == 'and':
        return int(all(v))
    if op == 'or':
        return int(any(v))
    if op == 'xor':
        return v[0] ^ v[1]
    if op == '=>':
        return int(not v[0] or v[1])
    if op == '=':
        return int(v[0] == v[1])
    if op == 'distinct':
        return int(len(set(v)) == len(v))
    if op == 'ite':
        return v[1] if v[0] else v[2]
    if op in COMPARE:
        a, b = (v[0], v[1]) if op[2] == 'u' else (signed(v[0], w), signed(v[1], w))
        return int({'lt': a < b, 'le': a <= b, 'gt': a > b, 'ge': a >= b}[op[3:]])
    if op in ('bvudiv', 'bvurem', 'bvsdiv', 'bvsrem', 'bvsmod'):
        return divide(op, v[0], v[1], w) & mask
    if op == 'concat':
        return v[0] << widths[1] | v[1]
    if op == 'bvcomp':
        return int(v[0] == v[1])
    if op == 'bvashr':
        return signed(v[0], w) >> min(v[1], w) & mask
    if op[0] == '(':
        parts = op.strip('()').split()
        n = [int(x) for x in parts[2:]]
        if parts[1] == 'extract':
            return v[0] >> n[1] & (1 << (n[0] - n[1] + 1)) - 1
        if parts[1] == 'zero_extend':
            return v[0]
        if parts[1] == 'sign_extend':
            return signed(v[0], w) & (1 << sort) - 1
        if parts[1] == 'repeat':
            return sum(v[0] << (w * i) for i in range(n[0]))
        k = n[0] % w if parts[1] == 'rotate_left' else -n[0] % w
        return (v[0] << k | v[0] >> (w - k)) & (1 << w) - 1
    return {
        'bvnot': lambda: ~v[0], 'bvneg': lambda: -v[0],
        'bvadd': lambda: v[0] + v[1], 'bvsub': lambda: v[0] - v[1], 'bvmul': lambda: v[0] * v[1],
        'bvand': lambda: v[0] & v[1], 'bvor': lambda: v[0] | v[1], 'bvxor': lambda: v[0] ^ v[1],
        'bvnand': lambda: ~(v[0] & v[1]), 'bvnor': lambda: ~(v[0] | v[1]), 'bvxnor': lambda: ~(v[0] ^ v[1]),
        'bvshl': lambda: v[0] << v[1] if v[1] < w else 0, 'bvlshr': lambda: v[0] >> v[1] if v[1] < w else 0,
    }[op]() & mask


class UnknownValue(Exception):
    pass


class OpenDivision(Exception):
    """A division by zero whose result the script leaves open."""


DIVISIONS = ('bvudiv', 'bvurem', 'bvsdiv', 'bvsrem', 'bvsmod')


def evaluate(t, model, memo, open_division=False):
    """The value of a term; model maps the text of variables and calls to integers."""
    if id(t) in memo:
        return memo[id(t)][1]
    op = t[0]
    if op == 'num':
        r = t[2]
    elif op in ('true', 'false'):
        r = int(op == 'true')
    elif op in ('var', 'call'):
        if term_text(t) not in model:
            raise UnknownValue(term_text(t))
        r = model[term_text(t)]
        if op == 'call':  # equal arguments, equal results
            key = (t[2],) + tuple(evaluate(x, model, memo, open_division) for x in t[3:])
            if model.setdefault(key, r) != r:
                raise UnknownValue('two values of ' + str(key))
    else:
        v = [evaluate(x, model, memo, open_division) for x in t[2:]]
        if open_division and op in DIVISIONS and v[1] == 0:
            raise OpenDivision
        r = apply_op(op, t[1], v, [x[1] for x in t[2:]])
    memo[id(t)] = (t, r)
    return r


def queries(commands):
    """Per query (assertions, assumptions, declarations in scope); None for an ill-formed script."""
    out, assertions, scope = [], [[]], [[]]
    for c in commands:
        if c[0] in ('declare', 'function'):
            scope[-1].append(c)
        elif c[0] == 'assert':
            assertions[-1].append(c[1])
        elif c[0] == 'push':
            assertions.append([])
            scope.append([])
        elif c[0] == 'pop':
            if len(scope) == 1:
                return None
            assertions.pop()
            scope.pop()
        else:
            names = {d[1] for level in scope for d in level}
            flat = [a for level in assertions for a in level]
            lits = c[1] if c[0] == 'assume' else ()
            if not all(n in names for n, _ in lits) or not all(used_names(a) <= names for a in flat):
                return None
            out.append((flat, lits, [d for level in scope for d in level]))
    return out


def subterms(roots):
    seen, stack = {}, list(roots)
    while stack:
        t = stack.pop()
        if id(t) not in seen:
            seen[id(t)] = t
            stack.extend(x for x in t[2:] if isinstance(x, tuple))
    return list(seen.values())


def used_names(t):
    return {x[2] for x in subterms([t]) if x[0] in ('var', 'call')}


# ---- random scripts

class Generator:
    """One random script.

    functions  also uninterpreted functions over words
    smod       also bvsmod, which solvers read differently where division by zero is open
    """

    def __init__(self, rnd, functions, max_width, length, depth, smod=True):
        self.rnd, self.length, self.depth = rnd, length, depth
        self.widths = sorted(rnd.sample(range(1, max_width + 1), min(3, max_width)))
        self.functions = functions
        self.arith = ARITH if smod else ARITH[:-1]
        self.scopes = [[]]
        self.commands = []
        self.pool = {}  # shared terms by sort
        self.count = 0

    def names(self, kind):
        return [c for s in self.scopes for c in s if c[0] == kind]

    def declare(self):
        self.count += 1
        if self.functions and self.rnd.random() < 0.3:
            args = tuple(self.rnd.choice(self.widths) for _ in range(self.rnd.choice((1, 1, 2))))
            c = ('function', 'f%d' % self.count, args, self.rnd.choice(self.widths))
        else:
            c = ('declare', 'x%d' % self.count, self.rnd.choice(self.widths + self.widths + [0]))
        self.commands.append(c)
        self.scopes[-1].append(c)

    def number(self, w):
        rnd = self.rnd
        some = rnd.choice((0, 1, (1 << w) - 1, 1 << (w - 1), rnd.getrandbits(w), rnd.randrange(0, w + 2)))
        return ('num', w, some & (1 << w) - 1)

    def leaf(self, w):
        some = [c for c in self.names('declare') if c[2] == w]
        if some and self.rnd.random() < 0.8:
            return ('var', w, self.rnd.choice(some)[1])
        return self.number(w) if w else (self.rnd.choice(('true', 'false')), 0)

    def word(self, w, depth):
        rnd = self.rnd
        if depth <= 0 or rnd.random() < 0.1:
            return self.leaf(w)
        shared = self.pool.get(w)
        if shared and rnd.random() < 0.15:
            return rnd.choice(shared)
        t = self.new_word(w, depth - 1)
        self.pool.setdefault(w, []).append(t)
        return t

    def new_word(self, w, depth):
        rnd = self.rnd
        kind = rnd.choices(('arith', 'bits', 'shift', 'unary', 'ite', 'extract', 'concat', 'extend', 'rotate',
                            'comp', 'call'), (6, 4, 4, 2, 2, 2, 1, 2, 2, 1, 4))[0]
        if kind == 'call':
            some = [c for c in self.names('function') if c[3] == w]
            if some:
                f = rnd.choice(some)
                return ('call', w, f[1]) + tuple(self.word(a, depth) for a in f[2])
            kind = 'arith'
        if kind == 'concat' and w > 1:
            k = rnd.randint(1, w - 1)
            return ('concat', w, self.word(w - k, depth), self.word(k, depth))
        if kind == 'extend' and w > 1:
            k = rnd.randint(1, w)
            return ('(_ %s_extend %d)' % (rnd.choice(('zero', 'sign')), w - k), w, self.word(k, depth))
        if kind == 'extract':
            wide = w + rnd.randint(0, 4)
            lsb = rnd.randint(0, wide - w)
            return ('(_ extract %d %d)' % (lsb + w - 1, lsb), w, self.word(wide, depth))
        if kind == 'rotate':
            if rnd.random() < 0.2 and w % 2 == 0:
                return ('(_ repeat 2)', w, self.word(w // 2, depth))
            return ('(_ rotate_%s %d)' % (rnd.choice(('left', 'right')), rnd.randint(0, 2 * w)), w,
                    self.word(w, depth))
        if kind == 'comp' and w == 1:
            k = rnd.choice(self.widths)
            return ('bvcomp', 1, self.word(k, depth), self.word(k, depth))
        if kind == 'ite':
            return ('ite', w, self.formula(depth - 1), self.word(w, depth), self.word(w, depth))
        if kind == 'unary':
            return (rnd.choice(('bvnot', 'bvneg')), w, self.word(w, depth))
        ops = {'bits': BITWISE, 'shift': SHIFTS}.get(kind, self.arith)
        return (rnd.choice(ops), w, self.word(w, depth), self.word(w, depth))

    def formula(self, depth):
        rnd = self.rnd
        if depth <= 0:
            return self.atom(1)
        op = rnd.choices(('atom', 'leaf', 'not', 'and', 'or', 'xor', '=>', '=', 'ite'), (12, 1, 2, 3, 3, 1, 1, 1, 1))[0]
        if op == 'atom':
            return self.atom(depth)
        if op == 'leaf':
            return self.leaf(0)
        count = {'not': 1, 'ite': 3}.get(op, 2)
        return (op, 0) + tuple(self.formula(depth - 1) for _ in range(count))

    def atom(self, depth):
        w = self.rnd.choice(self.widths)
        op = self.rnd.choice(COMPARE + ('=',) * 6 + ('distinct',) * 2)
        return (op, 0, self.word(w, depth), self.word(w, depth))

    def run(self):
        rnd = self.rnd
        for _ in range(rnd.randint(3, 7)):
            self.declare()
        while len(self.commands) < self.length:
            op = rnd.choices(('assert', 'declare', 'push', 'pop', 'check', 'assume'), (30, 4, 7, 6, 8, 6))[0]
            if op == 'assert':
                self.commands.append(('assert', self.formula(rnd.randint(1, self.depth))))
            elif op == 'declare':
                self.declare()
            elif op == 'push':
                self.commands.append(('push',))
                self.scopes.append([])
            elif op == 'pop' and len(self.scopes) > 1:
                self.commands.append(('pop',))
                self.scopes.pop()
                self.pool = {}
            elif op == 'check':
                self.commands.append(('check',))
            elif op == 'assume':
                some = [c[1] for c in self.names('declare') if c[2] == 0]
                lits = {n: rnd.random() < 0.5 for n in some if rnd.random() < 0.7}
                self.commands.append(('assume', tuple(sorted(lits.items()))))
        self.commands.append(('check',))
        return self.commands


# ---- shrinking

def smaller_terms(t):
    """Terms of the same sort to try in place of t, simplest first."""
    if t[0] in ('var', 'true', 'false'):
        return
    if t[0] == 'num':
        if t[2]:
            yield ('num', t[1], 0)
        return
    yield ('num', t[1], 0) if t[1] else ('true', 0)
    if not t[1]:
        yield ('false', 0)
    first = 3 if t[0] == 'call' else 2
    for x in t[first:]:
        if x[1] == t[1]:
            yield x
    for k in range(first, len(t)):
        for y in smaller_terms(t[k]):
            yield t[:k] + (y,) + t[k + 1:]


def shrink(commands, fails, budget=1500):
    """A smaller list of commands for which fails(commands) still holds."""
    spent = 0
    progress = True
    while progress and spent < budget:
        progress = False
        size = max(1, len(commands) // 2)
        while size and spent < budget:
            i = 0
            while i < len(commands) and spent < budget:
                trial = commands[:i] + commands[i + size:]
                spent += 1
                if fails(trial):
                    commands, progress = trial, True
                else:
                    i += size
            size //= 2
        for i, c in enumerate(commands):
            if c[0] != 'assert':
                continue
            again = True
            while again and spent < budget:
                again = False
                for y in smaller_terms(commands[i][1]):
                    trial = commands[:i] + [('assert', y)] + commands[i + 1:]
                    spent += 1
                    if fails(trial):
                        commands, progress, again = trial, True, True
                        break
                    if spent >= budget:
                        break
    return commands
