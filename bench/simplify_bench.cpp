// What simplification costs: building arithmetic and bit-vector terms with and without it, and the
// preprocessing normalizer on deep and on wide terms of growing size.
//
// Usage: simplify_bench [NUM_TERMS]   (default 2000000)
#include "base/configuration.h"
#include "encoding/normrules.h"
#include "random.h"
#include "terms/stdtermsimplifier.h"
#include "terms/termmanager.h"
#include "terms/termnormalizer.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

namespace {

using namespace tarq;

constexpr size_t NUM_CONSTANTS = 1000;

double now() // processor time in seconds
{
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

struct Measurement {
    double seconds = 0;
    size_t terms = 0;
};

/// The fastest of several runs, each in a process of its own: memory comes fresh from the system at
/// every size, as it does in a program that builds its terms once.
template <class F>
Measurement best_of(int runs, F measure)
{
    Measurement best{1e9, 0};
    for (int i = 0; i < runs; ++i) {
        int ends[2];
        if (pipe(ends) != 0) {
            std::perror("pipe");
            std::exit(1);
        }
        std::fflush(stdout);
        const pid_t child = fork();
        if (child == 0) {
            const Measurement m = measure();
            _exit(write(ends[1], &m, sizeof m) == static_cast<ssize_t>(sizeof m) ? 0 : 1);
        }
        Measurement m;
        const bool received =
            child > 0 && read(ends[0], &m, sizeof m) == static_cast<ssize_t>(sizeof m);
        close(ends[0]);
        close(ends[1]);
        waitpid(child, nullptr, 0);
        if (!received) {
            std::fputs("a measurement failed\n", stderr);
            std::exit(1);
        }
        best = m.seconds < best.seconds ? m : best;
    }
    return best;
}

/// Builds formulas of a usual kind: linear atoms of three variables, comparisons and equalities of
/// small bit-vector expressions, and random graphs of bit-vector operators.
class Builder {
public:
    explicit Builder(bool simplify) : simplifier_(&tm_)
    {
        tm_.set_typecheck(false);
        tm_.set_simplifier(&simplifier_);
        tm_.set_simplify(simplify);
        for (size_t i = 0; i < NUM_CONSTANTS; ++i) {
            const std::string n = std::to_string(i);
            ints_.push_back(tm_.make_constant(tm_.make_symbol("i" + n, tm_.get_int_type())));
            words_.push_back(tm_.make_constant(tm_.make_symbol("w" + n, tm_.get_bv_type(32))));
        }
        for (long i = 0; i < 200; ++i) {
            numbers_.push_back(tm_.make_number(QNumber(i - 100)));
            numerals_.push_back(tm_.make_bv_number(QNumber(i * i), 32));
        }
        nodes_ = words_;
    }

    /// Each makes at least `num_terms` calls of constructors; the seconds that they took.
    double arithmetic(size_t num_terms)
    {
        const double start = now();
        for (size_t done = 0; done < num_terms; done += 7) {
            const Term_* x = tm_.make_times(pick(numbers_), pick(ints_));
            const Term_* y = tm_.make_times(pick(numbers_), pick(ints_));
            const Term_* z = tm_.make_times(pick(ints_), pick(numbers_));
            const Term_* sum = tm_.make_plus(tm_.make_plus(x, y), z);
            keep(tm_.make_leq(sum, pick(numbers_)));
            keep(random_.below(2) ? tm_.make_equal(sum, pick(ints_))
                                  : tm_.make_leq(pick(ints_), sum));
        }
        return now() - start;
    }

    double bit_vectors(size_t num_terms)
    {
        const double start = now();
        for (size_t done = 0; done < num_terms; done += 10) {
            const Term_* x = pick(words_);
            const Term_* product = tm_.make_bv_mul(x, pick(words_));
            const Term_* sum = tm_.make_bv_add(product, pick(numerals_));
            const Term_* masked = tm_.make_bv_and(sum, tm_.make_bv_not(pick(words_)));
            const Term_* shifted = tm_.make_bv_lshl(pick(words_), pick(numerals_));
            const Term_* low = tm_.make_bv_extract(15, 0, tm_.make_bv_xor(shifted, pick(words_)));
            const Term_* extended = tm_.make_bv_zero_extend(16, low);
            keep(tm_.make_bv_ult(masked, extended));
            keep(tm_.make_equal(masked, pick(words_)));
        }
        return now() - start;
    }

    double bit_vector_graph(size_t num_terms)
    {
        nodes_.reserve(nodes_.size() + num_terms);
        const double start = now();
        for (size_t done = 0; done < num_terms; ++done) {
            nodes_.push_back(operation(pick(nodes_), pick(nodes_)));
        }
        return now() - start;
    }

    size_t size() const { return tm_.get_bank().size(); }

private:
    const Term_* pick(const std::vector<const Term_*>& v) { return v[random_.below(v.size())]; }
    void keep(const Term_* t) { last_ = t; }

    const Term_* operation(const Term_* a, const Term_* b)
    {
        switch (random_.below(6)) {
        case 0:
            return tm_.make_bv_add(a, b);
        case 1:
            return tm_.make_bv_mul(a, b);
        case 2:
            return tm_.make_bv_and(a, b);
        case 3:
            return tm_.make_bv_or(a, b);
        case 4:
            return tm_.make_bv_xor(a, b);
        default:
            return tm_.make_bv_lshr(a, b);
        }
    }

    TermManager tm_;
    StdTermSimplifier simplifier_;
    Random random_{12345};
    std::vector<const Term_*> ints_, words_, numbers_, numerals_, nodes_;
    const Term_* last_ = nullptr;
};

void compare_building(size_t num_terms)
{
    struct Row {
        const char* name;
        double (Builder::*build)(size_t);
    };
    const Row rows[] = {{"linear atoms", &Builder::arithmetic},
                        {"bit-vector expressions", &Builder::bit_vectors},
                        {"bit-vector graph", &Builder::bit_vector_graph}};
    std::printf("%zu terms of each kind          off ns   on ns   ratio   terms off / on\n",
                num_terms);
    double sum[2] = {0, 0};
    for (const Row& row : rows) {
        Measurement best[2];
        for (const bool on : {false, true}) {
            best[on] = best_of(5, [&] {
                Builder b(on);
                const double seconds = (b.*row.build)(num_terms);
                return Measurement{seconds, b.size()};
            });
            sum[on] += best[on].seconds;
        }
        const double scale = 1e9 / static_cast<double>(num_terms);
        std::printf("%-34s %8.0f %7.0f %7.2f   %zu / %zu\n", row.name, best[0].seconds * scale,
                    best[1].seconds * scale, best[1].seconds / best[0].seconds, best[0].terms,
                    best[1].terms);
    }
    std::printf("%-34s %8s %7s %7.2f\n", "together", "", "", sum[1] / sum[0]);
}

/// The seconds that the preprocessing normalizer takes on a term of `size` operators, which was
/// built without simplification.
double normalize(size_t size, bool is_chain, bool arithmetic)
{
    TermManager tm;
    StdTermSimplifier simplifier(&tm);
    tm.set_typecheck(false);
    tm.set_simplifier(&simplifier);
    Random random(7);
    std::vector<const Term_*> leaves;
    for (size_t i = 0; i < NUM_CONSTANTS; ++i) {
        const DataType* type = arithmetic ? tm.get_int_type() : tm.get_bv_type(32);
        leaves.push_back(tm.make_constant(tm.make_symbol("x" + std::to_string(i), type)));
    }
    const Term_* two = arithmetic ? tm.make_number(QNumber(2)) : tm.make_bv_number(QNumber(2), 32);
    const auto combine = [&](const Term_* a, const Term_* b) {
        switch (random.below(4)) {
        case 0:
            return arithmetic ? tm.make_plus(tm.make_times(two, a), b) : tm.make_bv_add(a, b);
        case 1:
            return arithmetic ? tm.make_plus(b, a) : tm.make_bv_xor(b, a);
        case 2:
            return arithmetic
                       ? tm.make_plus(tm.make_plus(a, b), tm.make_times(leaves[1], leaves[0]))
                       : tm.make_bv_and(a, tm.make_bv_or(b, two));
        default:
            return arithmetic ? tm.make_plus(a, b) : tm.make_bv_sub(a, b);
        }
    };
    const Term_* t = leaves[0];
    if (is_chain) {
        for (size_t i = 0; i < size; ++i) {
            t = combine(t, leaves[random.below(leaves.size())]);
        }
    } else {
        std::vector<const Term_*> level;
        for (size_t i = 0; i <= size; ++i) {
            level.push_back(leaves[random.below(leaves.size())]);
        }
        while (level.size() > 1) {
            size_t kept = 0;
            for (size_t i = 0; i + 1 < level.size(); i += 2) {
                level[kept++] = combine(level[i], level[i + 1]);
            }
            if (level.size() % 2) {
                level[kept++] = level.back();
            }
            level.resize(kept);
        }
        t = level[0];
    }
    tm.set_simplify(true);
    TermNormalizer n(&tm);
    Configuration config;
    config.preprocessor.simplification = 31;
    register_preprocessing_normalizations(config, &n);
    const Term_* atom =
        arithmetic ? tm.make_leq(tm.make_floor(tm.make_exp(t)), two)
                   : tm.make_equal(tm.make_bv_extract(7, 3, t), tm.make_bv_number(QNumber(3), 5));
    const double start = now();
    n(atom);
    return now() - start;
}

void compare_normalizing()
{
    std::printf("\nnormalizer, seconds               20000   200000   ratio\n");
    for (const bool arithmetic : {false, true}) {
        for (const bool is_chain : {true, false}) {
            double best[2];
            for (const size_t k : {0, 1}) {
                best[k] = best_of(k == 0 ? 41 : 15, [&] {
                              const size_t size = k == 0 ? 20000 : 200000;
                              return Measurement{normalize(size, is_chain, arithmetic), 0};
                          }).seconds;
            }
            std::printf("%-12s %-16s %9.4f %8.4f %7.2f\n",
                        arithmetic ? "arithmetic" : "bit-vectors",
                        is_chain ? "chain" : "balanced tree", best[0], best[1], best[1] / best[0]);
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    const size_t num_terms = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 2000000;
    compare_building(num_terms);
    compare_normalizing();
    return 0;
}
