"""A CNF under construction, with the gates and the arithmetic that circuit families share.

Literals are DIMACS integers. The constants TRUE and FALSE are folded away by the gates and never
reach a clause, so a family may mix them with variables freely. Structurally equal gates are not
shared: a miter of two equal circuits would otherwise collapse while it is written down.
"""
TRUE = 'T'
FALSE = 'F'


def neg(a):
    if a is TRUE:
        return FALSE
    if a is FALSE:
        return TRUE
    return -a


class Cnf:
    def __init__(self):
        self.num_vars = 0
        self.clauses = []

    def var(self):
        self.num_vars += 1
        return self.num_vars

    def vars(self, n):
        return [self.var() for _ in range(n)]

    def add(self, *lits):
        """Adds a clause; true clauses are dropped and false literals left out."""
        if TRUE in lits:
            return
        self.clauses.append([x for x in lits if x is not FALSE])

    def text(self, comment):
        out = ['c ' + comment, 'p cnf %d %d' % (self.num_vars, len(self.clauses))]
        out += [' '.join(map(str, c)) + ' 0' for c in self.clauses]
        return '\n'.join(out) + '\n'

    # ---- gates

    def and_(self, a, b):
        if a is FALSE or b is FALSE:
            return FALSE
        if a is TRUE:
            return b
        if b is TRUE:
            return a
        x = self.var()
        self.add(-x, a)
        self.add(-x, b)
        self.add(x, -a, -b)
        return x

    def or_(self, a, b):
        return neg(self.and_(neg(a), neg(b)))

    def and_list(self, lits):
        out = TRUE
        for x in lits:
            out = self.and_(out, x)
        return out

    def or_list(self, lits):
        return neg(self.and_list([neg(x) for x in lits]))

    def xor(self, a, b):
        if a is FALSE or b is FALSE:
            return b if a is FALSE else a
        if a is TRUE or b is TRUE:
            return neg(b) if a is TRUE else neg(a)
        x = self.var()
        self.add(-x, a, b)
        self.add(-x, -a, -b)
        self.add(x, -a, b)
        self.add(x, a, -b)
        return x

    def mux(self, c, a, b):
        """a where c is true, else b."""
        if c is TRUE or c is FALSE:
            return a if c is TRUE else b
        if a is TRUE or a is FALSE or b is TRUE or b is FALSE:
            return self.or_(self.and_(c, a), self.and_(neg(c), b))
        x = self.var()
        self.add(-c, -a, x)
        self.add(-c, a, -x)
        self.add(c, -b, x)
        self.add(c, b, -x)
        return x

    def maj(self, a, b, c):
        if TRUE in (a, b, c) or FALSE in (a, b, c):
            return self.or_(self.and_(a, b), self.and_(c, self.or_(a, b)))
        x = self.var()
        for p, q in ((a, b), (a, c), (b, c)):
            self.add(-x, p, q)
            self.add(x, -p, -q)
        return x

    # ---- words, least significant bit first

    def const(self, value, width):
        return [TRUE if value >> i & 1 else FALSE for i in range(width)]

    def full_add(self, a, b, c):
        """Returns (sum, carry)."""
        return self.xor(self.xor(a, b), c), self.maj(a, b, c)

    def add_words(self, a, b, carry=FALSE):
        """Ripple-carry sum of two words of one width; returns the sum with the carry as top bit."""
        out = []
        for x, y in zip(a, b):
            s, carry = self.full_add(x, y, carry)
            out.append(s)
        return out + [carry]

    def add_lookahead(self, a, b, carry=FALSE):
        """Parallel-prefix sum: generate and propagate pairs combined at doubling distances."""
        p = [self.xor(x, y) for x, y in zip(a, b)]
        g = [self.and_(x, y) for x, y in zip(a, b)]
        g[0] = self.or_(g[0], self.and_(p[0], carry))
        gg, pp = list(g), list(p)
        dist = 1
        while dist < len(a):
            ng, np = list(gg), list(pp)
            for i in range(dist, len(a)):
                ng[i] = self.or_(gg[i], self.and_(pp[i], gg[i - dist]))
                np[i] = self.and_(pp[i], pp[i - dist])
            gg, pp, dist = ng, np, dist * 2
        carries = [carry] + gg
        return [self.xor(x, c) for x, c in zip(p, carries)] + [carries[-1]]

    def add_select(self, a, b, block=3):
        """Carry-select sum: each block for both carries, then chosen."""
        out, carry = [], FALSE
        for lo in range(0, len(a), block):
            s0 = self.add_words(a[lo:lo + block], b[lo:lo + block], FALSE)
            s1 = self.add_words(a[lo:lo + block], b[lo:lo + block], TRUE)
            both = [self.mux(carry, x, y) for x, y in zip(s1, s0)]
            out += both[:-1]
            carry = both[-1]
        return out + [carry]

    def mul_array(self, a, b):
        """Shift-and-add product of full width, rows in the order of b's bits."""
        width = len(a) + len(b)
        acc = [FALSE] * width
        for i, y in enumerate(b):
            row = [self.and_(x, y) for x in a]
            s = self.add_words(acc[i:i + len(a)], row)
            acc[i:i + len(a) + 1] = s
        return acc

    def mul_tree(self, a, b):
        """Column compression (3 to 2) of all partial products, then one ripple-carry addition."""
        width = len(a) + len(b)
        cols = [[] for _ in range(width + 1)]
        for i, x in enumerate(a):
            for j, y in enumerate(b):
                cols[i + j].append(self.and_(x, y))
        while max(map(len, cols)) > 2:
            nxt = [[] for _ in range(width + 1)]
            for i, col in enumerate(cols):
                while len(col) >= 3:
                    s, c = self.full_add(*col[:3])
                    col = col[3:]
                    nxt[i].append(s)
                    if i + 1 <= width:
                        nxt[i + 1].append(c)
                nxt[i] += col
            cols = nxt
        rows = [[col[k] if k < len(col) else FALSE for col in cols[:width]] for k in range(2)]
        return self.add_words(*rows)[:width]

    def differ(self, a, b):
        """A literal that is true when two words differ."""
        return self.or_list([self.xor(x, y) for x, y in zip(a, b)])

    def fix(self, word, value):
        """Demands that a word has a value."""
        for i, x in enumerate(word):
            self.add(x if value >> i & 1 else neg(x))

    def rotl(self, word, k):
        k %= len(word)
        return word[-k:] + word[:-k] if k else list(word)

    # ---- constraints over literals

    def exactly_one(self, lits):
        self.add(*lits)
        self.at_most_one(lits)

    def at_most_one(self, lits):
        for i, x in enumerate(lits):
            for y in lits[i + 1:]:
                self.add(neg(x), neg(y))

    def parity(self, lits, odd):
        """The direct clauses of an exclusive or: 2^(n-1) of them, so for short lists only."""
        n = len(lits)
        for bits in range(1 << n):
            if bin(bits).count('1') % 2 != (1 if odd else 0):
                self.add(*[-x if bits >> i & 1 else x for i, x in enumerate(lits)])
