"""Families from combinatorics: random formulas, graphs, squares, parity, scheduling.

Each function takes a Cnf, a random.Random and keyword parameters, all integers.
"""
from registry import family


@family(n=200, ratio=426, k=3)
def random_ksat(f, rnd, n, ratio, k):
    """Uniform random clauses of k distinct variables; ratio is clauses per hundred variables."""
    f.vars(n)
    for _ in range(n * ratio // 100):
        f.add(*[v if rnd.random() < 0.5 else -v for v in rnd.sample(range(1, n + 1), k)])


@family(holes=8, pigeons=9, functional=0)
def pigeonhole(f, rnd, holes, pigeons, functional):
    """Pigeons into fewer holes; functional adds that no pigeon sits in two holes."""
    x = [f.vars(holes) for _ in range(pigeons)]
    for row in x:
        f.add(*row)
        if functional:
            f.at_most_one(row)
    for h in range(holes):
        f.at_most_one([row[h] for row in x])


@family(n=8, k=4, c=3)
def clique_colouring(f, rnd, n, k, c):
    """A graph on n nodes that has a k-clique and a c-colouring; unsatisfiable when k > c."""
    edge = {}
    for i in range(n):
        for j in range(i + 1, n):
            edge[i, j] = edge[j, i] = f.var()
    member = [f.vars(n) for _ in range(k)]
    colour = [f.vars(c) for _ in range(n)]
    for row in member:
        f.add(*row)
    for a in range(k):
        for b in range(a + 1, k):
            for i in range(n):
                f.add(-member[a][i], -member[b][i])
                for j in range(n):
                    if i != j:
                        f.add(-member[a][i], -member[b][j], edge[i, j])
    for i in range(n):
        f.exactly_one(colour[i])
        for j in range(i + 1, n):
            for q in range(c):
                f.add(-edge[i, j], -colour[i][q], -colour[j][q])


@family(n=100, edges=230, k=3, flat=0)
def colouring(f, rnd, n, edges, k, flat):
    """k-colouring of a random graph; flat keeps only edges between classes of a hidden colouring."""
    hidden = [i % k for i in range(n)]
    rnd.shuffle(hidden)
    x = [f.vars(k) for _ in range(n)]
    for row in x:
        f.exactly_one(row)
    seen = set()
    while len(seen) < edges:
        i, j = sorted(rnd.sample(range(n), 2))
        if (i, j) not in seen and not (flat and hidden[i] == hidden[j]):
            seen.add((i, j))
            for q in range(k):
                f.add(-x[i][q], -x[j][q])


def hidden_square(rnd, n):
    """A random Latin square: the cyclic one with rows, columns and symbols shuffled."""
    rows, cols, syms = list(range(n)), list(range(n)), list(range(n))
    rnd.shuffle(rows)
    rnd.shuffle(cols)
    rnd.shuffle(syms)
    return [[syms[(rows[i] + cols[j]) % n] for j in range(n)] for i in range(n)]


def latin(f, n):
    x = [[f.vars(n) for _ in range(n)] for _ in range(n)]
    for i in range(n):
        for j in range(n):
            f.exactly_one(x[i][j])
            f.exactly_one([x[i][k][j] for k in range(n)])
            f.exactly_one([x[k][i][j] for k in range(n)])
    return x


@family(n=20, holes=42, spoil=0)
def latin_holes(f, rnd, n, holes, spoil):
    """Completing a Latin square with a percentage of holes. With spoil, so many of the given cells
    of the hidden square are changed to another symbol that fits their row and column."""
    square = hidden_square(rnd, n)
    cells = [(i, j) for i in range(n) for j in range(n)]
    rnd.shuffle(cells)
    given = {c: square[c[0]][c[1]] for c in cells[n * n * holes // 100:]}
    changed = 0
    for (i, j) in sorted(given):
        used = {v for (a, b), v in given.items() if a == i or b == j}
        free = [v for v in range(n) if v not in used]
        if changed < spoil and free:
            given[i, j] = rnd.choice(free)
            changed += 1
    x = latin(f, n)
    for (i, j), v in sorted(given.items()):
        f.add(x[i][j][v])


@family(n=9, kind=0)
def quasigroup(f, rnd, n, kind):
    """An idempotent Latin square with an identity: kind 0 (xy)(yx) = x, 1 (xy)(yx) = y,
    2 ((yx)y)y = x, 3 x(xy) = yx. Whether one exists depends on n."""
    x = latin(f, n)
    rng = range(n)
    for a in rng:
        f.add(x[a][a][a])
        for b in range(a - 1):
            f.add(-x[a][n - 1][b])  # renaming the elements allows this much
        for b in rng:
            for p in rng:
                for q in rng:
                    if kind == 0:
                        f.add(-x[a][b][p], -x[b][a][q], x[p][q][a])
                    elif kind == 1:
                        f.add(-x[a][b][p], -x[b][a][q], x[p][q][b])
                    elif kind == 2:
                        f.add(-x[b][a][p], -x[p][b][q], x[q][b][a])
                    else:
                        f.add(-x[a][b][p], -x[b][a][q], x[a][p][q])


@family(box=5, holes=50)
def sudoku(f, rnd, box, holes):
    """A sudoku of box*box rows cut out of a shuffled solution, with a percentage of holes."""
    n = box * box
    x = latin(f, n)
    for bi in range(box):
        for bj in range(box):
            for v in range(n):
                f.exactly_one([x[bi * box + i][bj * box + j][v] for i in range(box) for j in range(box)])

    def shuffled_bands():
        bands = list(range(box))
        rnd.shuffle(bands)
        out = []
        for b in bands:
            inner = list(range(box))
            rnd.shuffle(inner)
            out += [b * box + i for i in inner]
        return out

    rows, cols = shuffled_bands(), shuffled_bands()
    syms = list(range(n))
    rnd.shuffle(syms)
    cells = [(i, j) for i in range(n) for j in range(n)]
    rnd.shuffle(cells)
    for i, j in sorted(cells[n * n * holes // 100:]):
        r, c = rows[i], cols[j]
        f.add(x[i][j][syms[(box * (r % box) + r // box + c) % n]])


def regular_graph(rnd, n, degree):
    """Edges of a random simple regular graph, by pairing half-edges and repairing bad pairs."""
    while True:
        half = [v for v in range(n) for _ in range(degree)]
        rnd.shuffle(half)
        edges = set()
        ok = True
        for i in range(0, len(half), 2):
            a, b = sorted(half[i:i + 2])
            if a == b or (a, b) in edges:
                ok = False
                break
            edges.add((a, b))
        if ok:
            return sorted(edges)


@family(n=20, degree=4, odd=1)
def tseitin_graph(f, rnd, n, degree, odd):
    """Parities at the nodes of a random regular graph; unsatisfiable when their sum is odd."""
    at = [[] for _ in range(n)]
    for a, b in regular_graph(rnd, n, degree):
        v = f.var()
        at[a].append(v)
        at[b].append(v)
    charge = [rnd.randrange(2) for _ in range(n)]
    if sum(charge) % 2 != odd:
        charge[0] ^= 1
    for lits, c in zip(at, charge):
        f.parity(lits, c)


@family(rows=4, cols=10, odd=1)
def tseitin_grid(f, rnd, rows, cols, odd):
    """The same on a torus, which has narrow cuts."""
    at = {}
    for r in range(rows):
        for c in range(cols):
            for other in ((r, (c + 1) % cols), ((r + 1) % rows, c)):
                v = f.var()
                at.setdefault((r, c), []).append(v)
                at.setdefault(other, []).append(v)
    charge = {k: rnd.randrange(2) for k in sorted(at)}
    if sum(charge.values()) % 2 != odd:
        charge[0, 0] ^= 1
    for k in sorted(at):
        f.parity(at[k], charge[k])


@family(n=60, m=60, k=3, sat=0)
def xor_system(f, rnd, n, m, k, sat):
    """m random equations of k variables over GF(2), with a hidden solution or random right sides."""
    f.vars(n)
    hidden = [rnd.randrange(2) for _ in range(n + 1)]
    for _ in range(m):
        vs = rnd.sample(range(1, n + 1), k)
        odd = sum(hidden[v] for v in vs) % 2 if sat else rnd.randrange(2)
        f.parity(vs, odd)


@family(n=40, wrong=2, sat=1)
def noisy_parity(f, rnd, n, wrong, sat):
    """Learning a parity from 2n samples of which exactly `wrong` answers may be flipped."""
    secret = f.vars(n)
    hidden = [rnd.randrange(2) for _ in range(n)]
    m = 2 * n
    flips = set(rnd.sample(range(m), wrong if sat else wrong * 3))
    flip = f.vars(m)
    for j in range(m):
        sample = [i for i in range(n) if rnd.random() < 0.5]
        value = sum(hidden[i] for i in sample) % 2 ^ (j in flips)
        acc = flip[j]
        for i in sample:
            acc = f.xor(acc, secret[i])
        f.add(acc if value else -acc)
    # sequential counter: at most `wrong` flips
    prev = None
    for j in range(m):
        cur = f.vars(wrong + 1)
        f.add(-flip[j], cur[0])
        if prev:
            for k in range(wrong + 1):
                f.add(-prev[k], cur[k])
                if k:
                    f.add(-prev[k - 1], -flip[j], cur[k])
        f.add(-cur[wrong])
        prev = cur


@family(jobs=5, machines=5, bound=30, longest=9)
def job_shop(f, rnd, jobs, machines, bound, longest):
    """Is there a schedule of length `bound`? Start times in order encoding: s[t] says start >= t."""
    ops = []
    for _ in range(jobs):
        order = list(range(machines))
        rnd.shuffle(order)
        ops.append([(mc, rnd.randint(1, longest)) for mc in order])
    start = {}
    for j in range(jobs):
        for o in range(machines):
            head = sum(d for _, d in ops[j][:o])
            tail = sum(d for _, d in ops[j][o:])
            s = f.vars(bound + 2)
            start[j, o] = s
            f.add(s[0])
            for t in range(bound + 1):
                f.add(-s[t + 1], s[t])
            if head <= bound + 1:
                f.add(s[head])
            last = bound - tail + 1
            f.add(-s[last] if last >= 0 else -s[0])

    def after(first, dur, second, guard):
        """guard or: second starts at least dur after first."""
        a, b = start[first], start[second]
        for t in range(bound + 2):
            f.add(*guard, -a[t], *([b[t + dur]] if t + dur < bound + 2 else []))

    for j in range(jobs):
        for o in range(machines - 1):
            after((j, o), ops[j][o][1], (j, o + 1), [])
    for mc in range(machines):
        here = [(j, o) for j in range(jobs) for o in range(machines) if ops[j][o][0] == mc]
        for i, p in enumerate(here):
            for q in here[i + 1:]:
                before = f.var()
                after(p, ops[p[0]][p[1]][1], q, [-before])
                after(q, ops[q[0]][q[1]][1], p, [before])


@family(n=100, k=3, l=9)
def van_der_waerden(f, rnd, n, k, l):
    """Two classes of 1..n, the first without k, the second without l numbers in arithmetic progression."""
    f.vars(n)
    for size, sign in ((k, -1), (l, 1)):
        for d in range(1, n):
            for a in range(1, n - (size - 1) * d + 1):
                f.add(*[sign * (a + i * d) for i in range(size)])


@family(layers=8, width=6, fan=2, xors=2)
def pebbling(f, rnd, layers, width, fan, xors):
    """Pebbling of a random layered graph, each node replaced by a parity of `xors` variables."""
    node = [[f.vars(xors) for _ in range(width)] for _ in range(layers)]

    def clauses_of(lits):
        """All clauses whose conjunction says that the parity of the list is even."""
        sub = []
        for bits in range(1 << len(lits)):
            if bin(bits).count('1') % 2 == 1:
                sub.append([-x if bits >> i & 1 else x for i, x in enumerate(lits)])
        return sub

    def odd_clauses(lits):
        return [[-c[0]] + c[1:] for c in clauses_of(lits)] if len(lits) == 1 else \
            [[-x if i == 0 else x for i, x in enumerate(c)] for c in clauses_of(lits)]

    def product(parts):
        out = [[]]
        for p in parts:
            out = [a + b for a in out for b in p]
        return out

    for v in node[0]:
        for c in odd_clauses(v):
            f.add(*c)
    for layer in range(1, layers):
        for v in node[layer]:
            preds = [node[layer - 1][i] for i in rnd.sample(range(width), fan)]
            for c in product([clauses_of(p) for p in preds] + [odd_clauses(v)]):
                f.add(*c)
    for v in node[-1]:
        for c in clauses_of(v):
            f.add(*c)
