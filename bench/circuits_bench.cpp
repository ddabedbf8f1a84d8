// The size of the circuits of floating-point operations and of operations on words: and-gates,
// variables and clauses for each operator, and the time to make them.
//
// Usage: circuits_bench [EXPONENT_BITS FRACTION_BITS | WIDTH]
// The default is Float32, Float64 and words of 64 bits.
#include "terms/stdtermsimplifier.h"
#include "theory/bv/aigwordclausifier.h"
#include "theory/fp/fpbvencoder.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>

namespace {

using namespace tarq;

class CountingSink : public bv::ClauseSink {
public:
    bv::BvLit new_atom() override { return bv::BvLit(++num_variables + 1); }
    bool get_proxy(const Term_*, bv::BvLit*) override { return false; }
    void add_clause() override
    {
        ++num_clauses;
        clause_.clear();
    }

    int num_variables = 0;
    size_t num_clauses = 0;
};

/// Prints what the circuits of a word take.
/// words  used for nothing else
/// start  when the work on them began
void report(const char* name, const char* variant, bv::WordClausifierInterface& words,
            const Term_* word, std::clock_t start)
{
    CountingSink sink;
    bv::BvLitList bits;
    words.bit_blast_word(word, &sink, &bits);
    size_t gates = 0; // stays 0 without and-inverter graphs
    if (auto* aigs = dynamic_cast<bv::AigWordClausifier*>(&words)) {
        for (uint32_t id = 0; id < aigs->manager().num_ids(); ++id) {
            gates += aigs->manager().is_and(Aig(id, false)) ? 1 : 0;
        }
    }
    std::printf("%-16s %-8s %9zu %9d %9zu %8.1f\n", name, variant, gates, sink.num_variables,
                sink.num_clauses,
                1000.0 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
}

void print_header()
{
    std::printf("%-16s %-8s %9s %9s %9s %8s\n", "operator", "variant", "and-gates", "variables",
                "clauses", "ms");
}

using Maker =
    std::function<const Term_*(TermManager&, const Term_* rm, const Term_* a, const Term_* b)>;

void measure(const char* name, size_t exp, size_t mant, bool variable_mode, const Maker& make)
{
    const std::clock_t start = std::clock();
    TermManager source;
    TermManager target;
    StdTermSimplifier folding(&target);
    target.set_simplifier(&folding);
    fp::FpBvEncoder encoder(&source, &target, nullptr);
    Configuration config;
    config.theory.fp.bv.bit_blast_mode = config.theory.fp.bit_blast_mode;
    bv::AigWordClausifier words(&target, &config.theory.fp.bv,
                                bv::WordClausifierInterface::Ites::CIRCUITS);
    const auto constant = [&](const char* text, const DataType* type) {
        return source.make_constant(source.make_symbol(text, type));
    };
    const Term_* a = constant("a", source.get_fp_type(exp, mant));
    const Term_* b = constant("b", source.get_fp_type(exp, mant));
    const Term_* rm =
        variable_mode ? constant("rm", source.get_rounding_type()) : source.make_fprounding_even();
    TermVector constraints;
    const Term_* word = encoder.get_bv_encoding(make(source, rm, a, b), constraints);
    report(name, variable_mode ? "any mode" : "RNE", words, word, start);
}

void measure_format(size_t exp, size_t mant)
{
    struct Row {
        const char* name;
        Maker make;
    };
    using TM = TermManager;
    using T = const Term_*;
    const Row rows[] = {
        {"add", [](TM& tm, T rm, T a, T b) { return tm.make_fp_add(rm, a, b); }},
        {"mul", [](TM& tm, T rm, T a, T b) { return tm.make_fp_mul(rm, a, b); }},
        {"div", [](TM& tm, T rm, T a, T b) { return tm.make_fp_div(rm, a, b); }},
        {"sqrt", [](TM& tm, T rm, T a, T) { return tm.make_fp_sqrt(rm, a); }},
        {"roundToIntegral", [](TM& tm, T rm, T a, T) { return tm.make_fp_round_to_int(rm, a); }},
        {"to half", [](TM& tm, T rm, T a, T) { return tm.make_fp_cast(5, 10, rm, a); }},
        {"min", [](TM& tm, T, T a, T b) { return tm.make_fp_min(a, b); }},
    };
    std::printf("floats (%zu, %zu)\n", exp, mant);
    print_header();
    for (const Row& row : rows) {
        measure(row.name, exp, mant, false, row.make);
        measure(row.name, exp, mant, true, row.make);
    }
}

void measure_words(size_t width)
{
    using TM = TermManager;
    using T = const Term_*;
    const std::pair<const char*, const Term_* (*)(TM&, T, T)> rows[] = {
        {"bvadd", [](TM& tm, T a, T b) { return tm.make_bv_add(a, b); }},
        {"bvmul", [](TM& tm, T a, T b) { return tm.make_bv_mul(a, b); }},
        {"bvudiv", [](TM& tm, T a, T b) { return tm.make_bv_udiv(a, b); }},
        {"bvsrem", [](TM& tm, T a, T b) { return tm.make_bv_srem(a, b); }},
        {"bvshl", [](TM& tm, T a, T b) { return tm.make_bv_lshl(a, b); }},
    };
    std::printf("words of %zu bits\n", width);
    print_header();
    for (const auto& [name, make] : rows) {
        for (int mode = 0; mode <= 2; ++mode) {
            const std::clock_t start = std::clock();
            TermManager tm;
            Configuration config;
            config.theory.bv.bit_blast_mode = mode;
            const auto words = bv::WordClausifierInterface::make(
                &tm, config.theory.bv, bv::WordClausifierInterface::Ites::CIRCUITS);
            const Term_* a = tm.make_constant(tm.make_symbol("a", tm.get_bv_type(width)));
            const Term_* b = tm.make_constant(tm.make_symbol("b", tm.get_bv_type(width)));
            report(name, ("mode " + std::to_string(mode)).c_str(), *words, make(tm, a, b), start);
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 3) {
        measure_format(std::strtoul(argv[1], nullptr, 10), std::strtoul(argv[2], nullptr, 10));
    } else if (argc == 2) {
        measure_words(std::strtoul(argv[1], nullptr, 10));
    } else {
        measure_format(8, 23);
        measure_format(11, 52);
        measure_words(64);
    }
}
