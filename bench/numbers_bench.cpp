// QNumber beside GMP's rational class on the same operands, in one run. Each iteration works
// through all pairs of neighbours of a fixed random sequence; the rate is operations per second.
#include "terms/numbers.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

using tarq::QNumber;

constexpr std::size_t SEQUENCE = 1024;

/// Kinds of operands: integers up to a million, fractions with denominators up to 60, and fractions
/// whose parts have about 20 bits.
enum Kind : long { INTEGERS = 0, SMALL_FRACTIONS = 1, WIDE_FRACTIONS = 2, BIG_INTEGERS = 3 };

std::vector<mpq_class> operands(long kind)
{
    std::mt19937_64 rng(static_cast<unsigned long>(kind) + 1);
    const auto between = [&](long lo, long hi) {
        return lo + static_cast<long>(rng() % static_cast<unsigned long>(hi - lo + 1));
    };
    std::vector<mpq_class> result;
    while (result.size() < SEQUENCE) {
        long num = 0;
        long den = 1;
        switch (kind) {
        case INTEGERS:
            num = between(-1000000, 1000000);
            break;
        case SMALL_FRACTIONS:
            num = between(-1000, 1000);
            den = between(2, 60);
            break;
        case WIDE_FRACTIONS:
            num = between(-1000000, 1000000);
            den = between(2, 1000000);
            break;
        default:
            num = between(1L << 61, 1L << 62);
        }
        mpq_class q(num, den);
        q.canonicalize();
        if (kind == BIG_INTEGERS)
            q *= q;
        if (q != 0)
            result.push_back(q);
    }
    return result;
}

template <class Number>
std::vector<Number> converted(long kind)
{
    std::vector<Number> result;
    for (const mpq_class& q : operands(kind))
        result.push_back(Number(q));
    return result;
}

template <class Number, class Op>
void run(benchmark::State& state, Op op)
{
    const std::vector<Number> x = converted<Number>(state.range(0));
    Number r;
    for (auto _ : state) {
        for (std::size_t i = 1; i < SEQUENCE; ++i) {
            op(r, x[i - 1], x[i]);
            benchmark::DoNotOptimize(r);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long>(SEQUENCE - 1));
}

template <class Number>
void add(benchmark::State& state)
{
    run<Number>(state, [](Number& r, const Number& a, const Number& b) { r = a + b; });
}

template <class Number>
void multiply(benchmark::State& state)
{
    run<Number>(state, [](Number& r, const Number& a, const Number& b) { r = a * b; });
}

template <class Number>
void divide(benchmark::State& state)
{
    run<Number>(state, [](Number& r, const Number& a, const Number& b) { r = a / b; });
}

/// The step of a row operation, r += a * b, restarted before the numbers grow.
template <class Number>
void multiply_add(benchmark::State& state)
{
    run<Number>(state, [n = 0](Number& r, const Number& a, const Number& b) mutable {
        if (++n % 4 == 0)
            r = a;
        r += a * b;
    });
}

template <class Number>
void compare(benchmark::State& state)
{
    const std::vector<Number> x = converted<Number>(state.range(0));
    for (auto _ : state) {
        long below = 0;
        for (std::size_t i = 1; i < SEQUENCE; ++i)
            below += x[i - 1] < x[i];
        benchmark::DoNotOptimize(below);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long>(SEQUENCE - 1));
}

void gcd_of_words(benchmark::State& state)
{
    std::mt19937_64 rng(7);
    std::vector<long> x(SEQUENCE);
    for (long& v : x)
        v = static_cast<long>(rng() >> (64 - state.range(0)));
    for (auto _ : state) {
        long sum = 0;
        for (std::size_t i = 1; i < SEQUENCE; ++i)
            sum += tarq::gcd(x[i - 1], x[i]);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long>(SEQUENCE - 1));
}

} // namespace

#define TARQ_NUMBER_BENCH(op)                                                                      \
    BENCHMARK_TEMPLATE(op, QNumber)->DenseRange(INTEGERS, BIG_INTEGERS);                           \
    BENCHMARK_TEMPLATE(op, mpq_class)->DenseRange(INTEGERS, BIG_INTEGERS)

TARQ_NUMBER_BENCH(add);
TARQ_NUMBER_BENCH(multiply);
TARQ_NUMBER_BENCH(divide);
TARQ_NUMBER_BENCH(multiply_add);
TARQ_NUMBER_BENCH(compare);
BENCHMARK(gcd_of_words)->Arg(6)->Arg(10)->Arg(20)->Arg(40)->Arg(63);

BENCHMARK_MAIN();
