"""Random Boolean SMT-LIB 2 scripts as data, their text, and their meaning by truth tables.

A term is a tuple: ('var', name), ('true',), ('false',), (op, child...) for not and or xor => = ite
distinct, ('let', ((name, term), ...), body), ('named', label, term), ('call', name, args).

A command is a tuple: ('declare', name, keyword), ('define', name, params, body), ('assert', term),
('push', n), ('pop', n), ('check',), ('assume', ((name, positive), ...)), ('reset-assertions',).
"""


class Invalid(Exception):
    """A script that is not well formed, which shrinking produces all the time."""


def term_text(t):
    op = t[0]
    if op in ('true', 'false'):
        return op
    if op == 'var':
        return t[1]
    if op == 'let':
        return '(let (%s) %s)' % (' '.join('(%s %s)' % (n, term_text(x)) for n, x in t[1]), term_text(t[2]))
    if op == 'named':
        return '(! %s :named %s)' % (term_text(t[2]), t[1])
    if op == 'call':
        return '(%s %s)' % (t[1], ' '.join(map(term_text, t[2]))) if t[2] else t[1]
    return '(%s %s)' % (op, ' '.join(map(term_text, t[1:])))


def literal_text(name, positive):
    return name if positive else '(not %s)' % name


def command_text(c):
    op = c[0]
    if op == 'declare':
        return '(declare-const %s Bool)' % c[1] if c[2] == 'const' else '(declare-fun %s () Bool)' % c[1]
    if op == 'define':
        return '(define-fun %s (%s) Bool %s)' % (c[1], ' '.join('(%s Bool)' % p for p in c[2]), term_text(c[3]))
    if op == 'assert':
        return '(assert %s)' % term_text(c[1])
    if op in ('push', 'pop'):
        return '(%s %d)' % (op, c[1])
    if op == 'check':
        return '(check-sat)'
    if op == 'assume':
        return '(check-sat-assuming (%s))' % ' '.join(literal_text(*x) for x in c[1])
    return '(reset-assertions)'


# ---- meaning

class Scopes:
    """Names in scope: each level maps a name to a symbol (int), or to a definition."""

    def __init__(self, global_declarations):
        self.levels = [{}]
        self.assertions = [[]]
        self.is_global = global_declarations
        self.count = 0

    def find(self, name):
        for level in reversed(self.levels):
            if name in level:
                return level[name]
        raise Invalid(name)

    def add(self, name, value):
        if any(name in level for level in self.levels):
            raise Invalid('again ' + name)
        self.levels[0 if self.is_global else -1][name] = value

    def fresh(self):
        self.count += 1
        return self.count


def resolve(t, scopes, local):
    """The term over symbol numbers, ('sym', k), with lets, names and definitions expanded. Nodes are
    shared where the text shares them through a let."""
    op = t[0]
    if op in ('true', 'false'):
        return t
    if op == 'var':
        v = local[t[1]] if t[1] in local else scopes.find(t[1])
        if isinstance(v, int):
            return ('sym', v)
        if v[0] == 'define':
            if v[1]:
                raise Invalid('arguments missing')
            return v[2]
        return v
    if op == 'let':
        if len({n for n, _ in t[1]}) != len(t[1]):
            raise Invalid('let names')
        inner = dict(local)
        inner.update([(n, resolve(x, scopes, local)) for n, x in t[1]])
        return resolve(t[2], scopes, inner)
    if op == 'named':
        r = resolve(t[2], scopes, local)
        scopes.add(t[1], ('define', (), r))
        return r
    if op == 'call':
        v = scopes.find(t[1])
        if isinstance(v, int) or v[0] != 'define' or len(v[1]) != len(t[2]):
            raise Invalid('call')
        args = [resolve(a, scopes, local) for a in t[2]]
        return resolve(v[3], v[4], dict(zip(v[1], args))) if v[1] else v[2]
    return (op,) + tuple(resolve(x, scopes, local) for x in t[1:])


def queries(commands, global_declarations):
    """Runs the commands; returns per query (assertions, assumptions): resolved terms and a list of
    (name, positive, symbol). Raises Invalid for a script that is not well formed."""
    s = Scopes(global_declarations)
    out = []
    for c in commands:
        op = c[0]
        if op == 'declare':
            s.add(c[1], s.fresh())
        elif op == 'define':
            if len(set(c[2])) != len(c[2]):
                raise Invalid('parameters')
            frozen = Scopes(False)
            frozen.levels = [dict(level) for level in s.levels]
            # a body without parameters is resolved now, one with parameters at each call
            body = resolve(c[3], s, {}) if not c[2] else None
            if c[2]:
                resolve(c[3], frozen, {p: ('true',) for p in c[2]})
            s.add(c[1], ('define', c[2], body, c[3], frozen))
        elif op == 'assert':
            s.assertions[-1].append(resolve(c[1], s, {}))
        elif op == 'push':
            for _ in range(c[1]):
                s.levels.append({})
                s.assertions.append([])
        elif op == 'pop':
            if c[1] >= len(s.levels):
                raise Invalid('pop')
            del s.levels[len(s.levels) - c[1]:]
            del s.assertions[len(s.assertions) - c[1]:]
        elif op == 'reset-assertions':
            s.levels = [s.levels[0] if global_declarations else {}]
            s.assertions = [[]]
        else:
            lits = []
            for name, positive in (c[1] if op == 'assume' else ()):
                sym = s.find(name)
                if not isinstance(sym, int):
                    raise Invalid('assumption')
                lits.append((name, positive, sym))
            out.append(([a for level in s.assertions for a in level], lits))
    return out


def symbols(terms):
    seen, found, stack = set(), [], list(terms)
    while stack:
        t = stack.pop()
        if id(t) in seen:
            continue
        seen.add(id(t))
        if t[0] == 'sym':
            if t[1] not in found:
                found.append(t[1])
        else:
            stack.extend(t[1:])
    return found


class Table:
    """Truth tables of all symbols of a query as big integers: bit i is the value in row i."""

    def __init__(self, syms):
        rows = 1 << len(syms)
        self.all = (1 << rows) - 1
        self.value = {}
        for k, s in enumerate(syms):
            block = ((1 << (1 << k)) - 1) << (1 << k)
            width = 2 << k
            while width < rows:
                block |= block << width
                width *= 2
            self.value[s] = block
        self.memo = {}
        self.keep = []  # the memo goes by identity, so the terms must live as long

    def eval(self, t):
        op = t[0]
        if op == 'sym':
            return self.value[t[1]]
        if op in ('true', 'false'):
            return self.all if op == 'true' else 0
        if id(t) in self.memo:
            return self.memo[id(t)]
        v = [self.eval(x) for x in t[1:]]
        if op == 'not':
            r = self.all ^ v[0]
        elif op == 'and':
            r = self.all
            for x in v:
                r &= x
        elif op == 'or':
            r = 0
            for x in v:
                r |= x
        elif op == 'xor':
            r = 0
            for x in v:
                r ^= x
        elif op == '=>':
            r = v[-1]
            for x in reversed(v[:-1]):
                r = (self.all ^ x) | r
        elif op == '=':
            r = self.all
            for x, y in zip(v, v[1:]):
                r &= self.all ^ x ^ y
        elif op == 'distinct':
            r = self.all
            for i, x in enumerate(v):
                for y in v[i + 1:]:
                    r &= x ^ y
        elif op == 'ite':
            r = (v[0] & v[1]) | ((self.all ^ v[0]) & v[2])
        else:
            raise Invalid(op)
        self.memo[id(t)] = r
        self.keep.append(t)
        return r


def satisfiable(assertions, lits, limit):
    """True or False by truth table, None with more than `limit` symbols. lits: (.., positive, symbol)."""
    syms = symbols(assertions)
    syms += sorted({k for _, _, k in lits} - set(syms))
    if len(syms) > limit:
        return None
    tab = Table(syms)
    rows = tab.all
    for a in assertions:
        rows &= tab.eval(a)
    for _, positive, k in lits:
        rows &= tab.value[k] if positive else tab.all ^ tab.value[k]
    return rows != 0


# ---- random scripts

class Generator:
    """One random script; `shape` says how large it is."""

    def __init__(self, rnd, max_vars, length, depth):
        self.rnd, self.max_vars, self.length, self.depth = rnd, max_vars, length, depth
        self.is_global = rnd.random() < 0.25
        self.levels = [[]]       # names of plain symbols per level
        self.defs = [[]]         # (name, arity) per level
        self.labels = 0
        self.commands = []

    def names(self):
        return [n for level in self.levels for n in level]

    def definitions(self):
        return [d for level in self.defs for d in level]

    def leaf(self, local):
        pool = self.names()
        if local and self.rnd.random() < 0.4:
            return ('var', self.rnd.choice(local))
        nullary = [n for n, arity in self.definitions() if arity == 0]
        if nullary and self.rnd.random() < 0.15:
            return ('var', self.rnd.choice(nullary))
        if not pool or self.rnd.random() < 0.03:
            return (self.rnd.choice(('true', 'false')),)
        t = ('var', self.rnd.choice(pool))
        return ('not', t) if self.rnd.random() < 0.4 else t

    def term(self, depth, local=(), may_name=False):
        rnd = self.rnd
        if depth <= 0 or rnd.random() < 0.12:
            return self.leaf(local)
        op = rnd.choices(('and', 'or', 'not', 'xor', '=>', '=', 'ite', 'distinct', 'let', 'call', 'named'),
                         (5, 7, 2, 2, 3, 3, 2, 1, 2, 2, 1))[0]
        if op == 'let':
            count = rnd.randint(1, 3)
            names = rnd.sample(('l0', 'l1', 'l2', 'l3'), count)
            binds = tuple((n, self.term(depth - 1, local)) for n in names)
            return ('let', binds, self.term(depth - 1, tuple(sorted(set(local) | set(names)))))
        if op == 'call':
            some = [d for d in self.definitions() if d[1]]
            if not some:
                return self.leaf(local)
            name, arity = rnd.choice(some)
            return ('call', name, tuple(self.term(depth - 2, local) for _ in range(arity)))
        if op == 'named':
            if not may_name or local:
                return self.leaf(local)
            self.labels += 1
            return ('named', 'n%d' % self.labels, self.term(depth - 1))
        count = {'not': 1, 'ite': 3}.get(op) or rnd.choice((2, 2, 2, 3, 4) if op != 'distinct' else (2, 2, 3))
        return (op,) + tuple(self.term(depth - 1, local, may_name) for _ in range(count))

    def clause(self):
        pool = self.names()
        lits = [self.rnd.choice(pool) for _ in range(self.rnd.choice((1, 2, 2, 3, 3, 3)))]
        lits = [('not', ('var', n)) if self.rnd.random() < 0.5 else ('var', n) for n in lits]
        return lits[0] if len(lits) == 1 else ('or',) + tuple(lits)

    def declare(self):
        used = set(self.names())
        free = ['p%d' % i for i in range(self.max_vars) if 'p%d' % i not in used]
        if not free:
            return
        name = self.rnd.choice(free)
        self.commands.append(('declare', name, self.rnd.choice(('fun', 'const'))))
        self.levels[0 if self.is_global else -1].append(name)

    def define(self):
        used = {n for n, _ in self.definitions()}
        free = ['d%d' % i for i in range(4) if 'd%d' % i not in used]
        if not free:
            return
        name = self.rnd.choice(free)
        params = tuple(self.rnd.sample(('x', 'y', 'z'), self.rnd.choice((0, 0, 1, 2, 3))))
        self.commands.append(('define', name, params, self.term(2, params)))
        self.defs[0 if self.is_global else -1].append((name, len(params)))

    def assertion(self):
        before = self.labels
        t = self.clause() if self.rnd.random() < 0.55 else self.term(self.rnd.randint(1, self.depth), may_name=True)
        self.commands.append(('assert', t))
        if not self.is_global:
            self.defs[-1] += [('n%d' % k, 0) for k in range(before + 1, self.labels + 1)]

    def run(self):
        rnd = self.rnd
        for _ in range(rnd.randint(2, max(2, self.max_vars // 2))):
            self.declare()
        while len(self.commands) < self.length:
            op = rnd.choices(('assert', 'declare', 'define', 'push', 'pop', 'check', 'assume', 'reset'),
                             (44, 8, 3, 9, 8, 10, 14, 0.5))[0]
            if not self.names():
                op = 'declare'
            if op == 'assert':
                for _ in range(rnd.choice((1, 1, 2, 6))):
                    self.assertion()
            elif op == 'declare':
                self.declare()
            elif op == 'define':
                self.define()
            elif op == 'push':
                n = rnd.choice((1, 1, 1, 2, 0))
                self.commands.append(('push', n))
                for _ in range(n):
                    self.levels.append([])
                    self.defs.append([])
            elif op == 'pop':
                n = min(rnd.choice((1, 1, 1, 2, 3)), len(self.levels) - 1)
                if n:
                    self.commands.append(('pop', n))
                    del self.levels[len(self.levels) - n:]
                    del self.defs[len(self.defs) - n:]
            elif op == 'check':
                self.commands.append(('check',))
            elif op == 'assume':
                pool = self.names()
                lits = [(rnd.choice(pool), rnd.random() < 0.5) for _ in range(rnd.randint(0, 6))]
                if rnd.random() < 0.8:
                    lits = sorted(dict(lits).items())
                self.commands.append(('assume', tuple(lits)))
            else:
                self.commands.append(('reset-assertions',))
                self.levels = [self.levels[0] if self.is_global else []]
                self.defs = [self.defs[0] if self.is_global else []]
        self.commands.append(('check',))
        return self.commands


# ---- shrinking

def smaller_terms(t):
    """Terms to try in place of t, simplest first."""
    op = t[0]
    if op in ('true', 'false'):
        return
    yield ('true',)
    yield ('false',)
    if op == 'var':
        return
    if op == 'let':
        yield t[2]
        for k, (n, x) in enumerate(t[1]):
            yield x
            if len(t[1]) > 1:
                yield ('let', t[1][:k] + t[1][k + 1:], t[2])
            for y in smaller_terms(x):
                yield ('let', t[1][:k] + ((n, y),) + t[1][k + 1:], t[2])
        for y in smaller_terms(t[2]):
            yield ('let', t[1], y)
        return
    if op in ('named', 'call'):
        parts = (t[2],) if op == 'named' else t[2]
        yield from parts
        for k, x in enumerate(parts):
            for y in smaller_terms(x):
                yield ('named', t[1], y) if op == 'named' else ('call', t[1], parts[:k] + (y,) + parts[k + 1:])
        return
    yield from t[1:]
    for k in range(1, len(t)):
        if op not in ('not', 'ite') and len(t) > 3:
            yield t[:k] + t[k + 1:]
        for y in smaller_terms(t[k]):
            yield t[:k] + (y,) + t[k + 1:]


def smaller_commands(c):
    if c[0] == 'assert':
        for t in smaller_terms(c[1]):
            yield ('assert', t)
    elif c[0] == 'define':
        for t in smaller_terms(c[3]):
            yield ('define', c[1], c[2], t)
    elif c[0] == 'assume':
        for k in range(len(c[1])):
            yield ('assume', c[1][:k] + c[1][k + 1:])
    elif c[0] in ('push', 'pop') and c[1] > 1:
        yield (c[0], c[1] - 1)


def remove_chunks(items, fails):
    """Delta debugging: drops ever smaller runs of items while the failure stays."""
    size = max(1, len(items) // 2)
    while True:
        i, changed = 0, False
        while i < len(items):
            trial = items[:i] + items[i + size:]
            if fails(trial):
                items, changed = trial, True
            else:
                i += size
        if size > 1:
            size = max(1, size // 2)
        elif not changed:
            return items


def remove_pairs(items, fails):
    """Drops a push together with a later pop, which removing runs can't do."""
    i = 0
    while i < len(items):
        dropped = False
        if items[i][0] == 'push':
            for j in range(i + 1, len(items)):
                if items[j][0] == 'pop':
                    trial = items[:i] + items[i + 1:j] + items[j + 1:]
                    if fails(trial):
                        items, dropped = trial, True
                        break
        if not dropped:
            i += 1
    return items


def shrink(commands, fails):
    """The smallest script found for which `fails` still holds."""
    while True:
        before = commands
        commands = remove_pairs(remove_chunks(commands, fails), fails)
        i = 0
        while i < len(commands):
            for c in smaller_commands(commands[i]):
                trial = commands[:i] + [c] + commands[i + 1:]
                if fails(trial):
                    commands = trial
                    break
            else:
                i += 1
        if commands == before:
            return commands
