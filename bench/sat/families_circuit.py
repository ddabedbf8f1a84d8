"""Families from circuits: miters, factoring, bounded model checking, toy ciphers, planning.

Each function takes a Cnf, a random.Random and keyword parameters, all integers.
"""
from cnf import FALSE, TRUE, neg
from registry import family


def is_prime(n):
    if n < 2:
        return False
    d = 2
    while d * d <= n:
        if n % d == 0:
            return False
        d += 1
    return True


def random_prime(rnd, bits):
    while True:
        p = rnd.getrandbits(bits) | 1 | 1 << (bits - 1)
        if is_prime(p):
            return p


@family(bits=14, prime=0, tree=0)
def factoring(f, rnd, bits, prime, tree):
    """Two factors of `bits` bits, the first at most the second, of a semiprime; with prime, of a
    prime of twice that width (unsatisfiable, as 1 is excluded)."""
    n = random_prime(rnd, 2 * bits - 1) if prime else random_prime(rnd, bits) * random_prime(rnd, bits)
    a, b = f.vars(bits), f.vars(bits)
    f.fix((f.mul_tree if tree else f.mul_array)(a, b), n)
    f.add(*a[1:])
    f.add(*b[1:])
    above = FALSE
    for x, y in zip(a, b):
        above = f.or_(f.and_(x, neg(y)), f.and_(f.or_(x, neg(y)), above))
    f.add(neg(above))


@family(bits=6, kind=0)
def mult_miter(f, rnd, bits, kind):
    """Products that must agree: kind 0 a*b by rows against b*a by rows, 1 rows against tree,
    2 a*(b+c) against a*b + a*c, all unsatisfiable."""
    a, b = f.vars(bits), f.vars(bits)
    if kind == 0:
        p, q = f.mul_array(a, b), f.mul_array(b, a)
    elif kind == 1:
        p, q = f.mul_array(a, b), f.mul_tree(a, b)
    else:
        c = f.vars(bits)
        p = f.mul_array(a, f.add_words(b, c))
        q = f.add_words(f.mul_array(a, b), f.mul_array(a, c))
    f.add(f.differ(p, q))


@family(bits=32, terms=3, kind=0)
def adder_miter(f, rnd, bits, terms, kind):
    """Sums of several words in two orders with two adders: kind 0 ripple against look-ahead,
    1 ripple against carry-select, 2 look-ahead against carry-select."""
    adders = {0: (f.add_words, f.add_lookahead), 1: (f.add_words, f.add_select),
              2: (f.add_lookahead, f.add_select)}[kind]
    words = [f.vars(bits) for _ in range(terms)]
    sums = []
    for add, order in zip(adders, (words, words[::-1])):
        acc = order[0]
        for w in order[1:]:
            acc = add(acc, w)[:bits]
        sums.append(acc)
    f.add(f.differ(*sums))


@family(bits=16, rounds=2)
def shift_miter(f, rnd, bits, rounds):
    """A barrel rotator applied to a word again and again against one rotation by the sum of the
    amounts; the width is a power of two."""
    stages = bits.bit_length() - 1

    def rotate(word, amount):
        for s, bit in enumerate(amount):
            turned = f.rotl(word, 1 << s)
            word = [f.mux(bit, x, y) for x, y in zip(turned, word)]
        return word

    x = f.vars(bits)
    left, total = x, f.const(0, stages)
    for _ in range(rounds):
        amount = f.vars(stages)
        left = rotate(left, amount)
        total = f.add_words(total, amount)[:stages]
    f.add(f.differ(left, rotate(x, total)))


def batcher(n):
    """Comparators of odd-even merge sort for any n."""
    out = []
    p = 1
    while p < n:
        k = p
        while k >= 1:
            for j in range(k % p, n - k, 2 * k):
                for i in range(min(k, n - j - k)):
                    if (i + j) // (2 * p) == (i + j + k) // (2 * p):
                        out.append((i + j, i + j + k))
            k //= 2
        p *= 2
    return out


def bubble(n):
    return [(i, i + 1) for end in range(n - 1, 0, -1) for i in range(end)]


def transposition(n):
    return [(i, i + 1) for r in range(n) for i in range(r % 2, n - 1, 2)]


@family(n=12, net=0, drop=0)
def sorting_network(f, rnd, n, net, drop):
    """Does a network sort every 0-1 input? net 0 odd-even merge, 1 bubble, 2 odd-even transposition;
    drop leaves out so many comparators at random places (then mostly satisfiable)."""
    comps = (batcher, bubble, transposition)[net](n)
    for _ in range(drop):
        comps.pop(rnd.randrange(len(comps)))
    w = f.vars(n)
    for i, j in comps:
        w[i], w[j] = f.and_(w[i], w[j]), f.or_(w[i], w[j])
    f.add(f.or_list([f.and_(w[i], neg(w[i + 1])) for i in range(n - 1)]))


@family(n=10, a=0, b=1)
def sorting_miter(f, rnd, n, a, b):
    """Two sorting networks that must give equal outputs."""
    nets = (batcher, bubble, transposition)
    x = f.vars(n)
    outs = []
    for net in (a, b):
        w = list(x)
        for i, j in nets[net](n):
            w[i], w[j] = f.and_(w[i], w[j]), f.or_(w[i], w[j])
        outs.append(w)
    f.add(f.differ(*outs))


@family(width=8, rounds=4, unknown=32, digest=32, sat=1)
def toy_hash(f, rnd, width, rounds, unknown, digest, sat):
    """Preimage of an add-rotate-xor mix of four words, added to its input at the end so that it can't
    be run backwards: `unknown` bits of the input are open and `digest` bits of the output given.
    Without sat the digest is random, which is unsatisfiable with high probability when digest is well
    above unknown."""
    mask = (1 << width) - 1
    secret = [rnd.getrandbits(width) for _ in range(4)]
    keys = [rnd.getrandbits(width) for _ in range(rounds)]
    rot = [(1 + 2 * r) % width or 1 for r in range(4)]

    def turn(v, k):
        k %= width
        return (v << k | v >> (width - k)) & mask

    a, b, c, d = secret
    for k in keys:
        a = (a + b + k) & mask
        d = turn(d ^ a, rot[0])
        c = (c + d) & mask
        b = turn(b ^ c, rot[1])
        a, b, c, d = b, c, d, a
    value = [(v + s) & mask for v, s in zip((a, b, c, d), secret)]

    word = [f.vars(width) for _ in range(4)]
    flat = [(i, j) for i in range(4) for j in range(width)]
    for i, j in flat[unknown:]:
        f.add(word[i][j] if secret[i] >> j & 1 else -word[i][j])
    a, b, c, d = word
    for k in keys:
        a = f.add_words(f.add_words(a, b)[:width], f.const(k, width))[:width]
        d = f.rotl([f.xor(x, y) for x, y in zip(d, a)], rot[0])
        c = f.add_words(c, d)[:width]
        b = f.rotl([f.xor(x, y) for x, y in zip(b, c)], rot[1])
        a, b, c, d = b, c, d, a
    out = [f.add_words(v, w)[:width] for v, w in zip((a, b, c, d), word)]
    for i, j in flat[:digest]:
        bit = value[i] >> j & 1 if sat else rnd.randrange(2)
        f.add(out[i][j] if bit else neg(out[i][j]))


@family(n=20, steps=40, sat=1)
def filtered_lfsr(f, rnd, n, steps, sat):
    """The start state of a shift register of n bits from `steps` bits of a nonlinear filter."""
    taps = [0] + sorted(rnd.sample(range(1, n), 3))
    at = rnd.sample(range(n), 5)
    state = [rnd.randrange(2) for _ in range(n)]
    word = f.vars(n)
    for _ in range(steps):
        v = [state[i] for i in at]
        bit = v[0] ^ v[1] & v[2] ^ v[3] & (v[4] ^ 1) ^ v[1] & v[4]
        w = [word[i] for i in at]
        out = f.xor(f.xor(w[0], f.and_(w[1], w[2])),
                    f.xor(f.and_(w[3], neg(w[4])), f.and_(w[1], w[4])))
        if not sat:
            bit = rnd.randrange(2)
        f.add(out if bit else neg(out))
        state = state[1:] + [state[taps[0]] ^ state[taps[1]] ^ state[taps[2]] ^ state[taps[3]]]
        back = f.xor(f.xor(word[taps[0]], word[taps[1]]), f.xor(word[taps[2]], word[taps[3]]))
        word = word[1:] + [back]


@family(width=8, steps=8, sat=0)
def register_bmc(f, rnd, width, steps, sat):
    """Can a machine of two registers reach a state in exactly `steps` steps? Each step adds, xors,
    rotates, increments or swaps as two free inputs say. With sat the target comes from a random run."""
    mask = (1 << width) - 1
    x, y = 1, 0
    for _ in range(steps):
        op = rnd.randrange(4)
        x, y = [((x + y) & mask, x), ((x ^ (x << 3 & mask)), y), ((x + 1) & mask, y),
                (y, (x << 1 | x >> (width - 1)) & mask)][op]
    if not sat:
        x, y = rnd.getrandbits(width), rnd.getrandbits(width)
    p, q = f.const(1, width), f.const(0, width)
    for _ in range(steps):
        s, t = f.vars(2)
        cand = [(f.add_words(p, q)[:width], p),
                ([f.xor(a, b) for a, b in zip(p, [FALSE] * 3 + p[:-3])], q),
                (f.add_words(p, f.const(1, width))[:width], q),
                (q, f.rotl(p, 1))]
        p, q = ([f.mux(s, f.mux(t, cand[0][k][i], cand[1][k][i]), f.mux(t, cand[2][k][i], cand[3][k][i]))
                 for i in range(width)] for k in range(2))
    f.fix(p, x)
    f.fix(q, y)


@family(width=6, steps=12)
def counter_bmc(f, rnd, width, steps):
    """A binary counter with enable input against a Gray-code counter through a decoder: no
    difference within `steps` steps (unsatisfiable)."""
    binary, gray = f.const(0, width), f.const(0, width)
    bad = []
    for _ in range(steps):
        en = f.var()
        up = f.add_words(binary, f.const(1, width))[:width]
        binary = [f.mux(en, a, b) for a, b in zip(up, binary)]
        # Gray step: flip bit 0 on even parity, else the bit left of the lowest one
        parity = FALSE
        for g in gray:
            parity = f.xor(parity, g)
        nxt, seen = [f.xor(gray[0], neg(parity))], FALSE
        for i in range(1, width):
            low = f.and_(gray[i - 1], neg(seen)) if i < width - 1 else neg(seen)
            nxt.append(f.xor(gray[i], f.and_(parity, low)))
            seen = f.or_(seen, gray[i - 1])
        gray = [f.mux(en, a, b) for a, b in zip(nxt, gray)]
        acc, decoded = FALSE, []
        for g in reversed(gray):
            acc = f.xor(acc, g)
            decoded.append(acc)
        bad.append(f.differ(binary, decoded[::-1]))
    f.add(f.or_list(bad))


@family(side=3, steps=18, walk=20)
def sliding_tiles(f, rnd, side, steps, walk):
    """Sliding-tile planning: reach the goal in at most `steps` moves from a random walk of `walk`
    moves away from it (never straight back)."""
    cells = side * side
    near = {c: [d for d in range(cells) if abs(c // side - d // side) + abs(c % side - d % side) == 1]
            for c in range(cells)}
    board, blank, last = list(range(cells)), 0, -1
    for _ in range(walk):
        nxt = rnd.choice([d for d in near[blank] if d != last])
        board[blank], board[nxt] = board[nxt], board[blank]
        last, blank = blank, nxt
    at = [[f.vars(cells) for _ in range(cells)] for _ in range(steps + 1)]
    for t in range(steps + 1):
        for c in range(cells):
            f.exactly_one(at[t][c])
            f.exactly_one([at[t][d][c] for d in range(cells)])
    for c in range(cells):
        f.add(at[0][c][board[c]])
        f.add(at[steps][c][c])
    for t in range(steps):
        now, nxt = at[t], at[t + 1]
        for c in range(cells):
            # the blank stays (only once solved is that of use) or moves to a neighbour
            f.add(-now[c][0], nxt[c][0], *[nxt[d][0] for d in near[c]])
            for v in range(1, cells):
                f.add(-now[c][v], nxt[c][v], nxt[c][0])
                for d in near[c]:
                    f.add(-now[c][v], -nxt[c][0], -now[d][0], nxt[d][v])


@family(gates=400, inputs=24, outputs=8)
def rewired_miter(f, rnd, gates, inputs, outputs):
    """A random circuit against a copy whose gates are rebuilt from other gate types."""
    x = f.vars(inputs)
    left, right = list(x), list(x)
    for g in range(gates):
        near = max(0, len(left) - 3 * inputs)
        i, j = rnd.sample(range(near, len(left)), 2)
        kind, si, sj = rnd.randrange(3), rnd.random() < 0.5, rnd.random() < 0.5
        k = rnd.randrange(near, len(left))

        def pick(side, m, s):
            return neg(side[m]) if s else side[m]
        a, b, c = pick(left, i, si), pick(left, j, sj), left[k]
        p, q, r = pick(right, i, si), pick(right, j, sj), right[k]
        if kind == 0:
            left.append(f.and_(f.and_(a, b), c))
            right.append(f.and_(p, f.and_(r, q)))
        elif kind == 1:
            left.append(f.xor(f.xor(a, b), c))
            right.append(f.xor(p, f.or_(f.and_(q, neg(r)), f.and_(neg(q), r))))
        else:
            left.append(f.maj(a, b, c))
            right.append(f.mux(f.xor(p, q), r, p))
    f.add(f.differ(left[-outputs:], right[-outputs:]))
