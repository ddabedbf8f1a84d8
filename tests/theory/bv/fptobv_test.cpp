// Floats to integers and to bit patterns: all values and rounding modes of small formats against
// exact arithmetic.
#include "bvtestsupport.h"
#include "theory/bv/wordclausifierinterface.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

namespace tarq::bv {
namespace {

/// Fresh bits for each term.
class Link : public FpBvCombination {
public:
    Link(TermManager* tm, ClauseSink* sink) : tm_(tm), sink_(sink) {}

    void tell_term(const Term_* t) override
    {
        size_t exp = 0, mant = 0;
        const bool is_float = tm_->is_fp_type(TermManager::get_type(t), &exp, &mant);
        for (size_t i = is_float ? exp + mant + 1 : 2; i-- > 0;) {
            bits[t].push_back(sink_->new_atom());
        }
    }
    bool get_bits(const Term_* t, std::vector<BvLit>* out) override
    {
        *out = bits[t];
        return true;
    }

    std::map<const Term_*, std::vector<BvLit>> bits;

private:
    TermManager* tm_;
    ClauseSink* sink_;
};

struct Float {
    unsigned exp, mant;
    /// The value of a pattern; NaN and infinities give NaN.
    double value(unsigned bits) const
    {
        const unsigned e = bits >> mant & static_cast<unsigned>(mask(exp));
        const unsigned f = bits & static_cast<unsigned>(mask(mant));
        if (e == mask(exp)) {
            return std::nan("");
        }
        const int bias = (1 << (exp - 1)) - 1;
        const double magnitude =
            std::ldexp((e != 0 ? 1u << mant : 0u) + f,
                       static_cast<int>(e != 0 ? e : 1) - bias - static_cast<int>(mant));
        return bits >> (exp + mant) & 1 ? -magnitude : magnitude;
    }
};

double round_by(int mode, double x)
{
    switch (mode) {
    case 0:
        return std::nearbyint(x); // the default mode of the machine is to nearest even
    case 1:
        return std::trunc(x);
    case 2:
        return std::ceil(x);
    default:
        return std::floor(x);
    }
}

TEST(FpToBvTest, values_in_range_are_rounded_exactly)
{
    for (const Float& format : {Float{3, 2}, Float{2, 3}, Float{4, 2}, Float{2, 2}, Float{3, 4}}) {
        TermManager tm;
        const Term_* x =
            tm.make_constant(tm.make_symbol("x", tm.get_fp_type(format.exp, format.mant)));
        const Term_* rm = tm.make_constant(tm.make_symbol("rm", tm.get_rounding_type()));
        for (const unsigned w : {1u, 2u, 3u, 5u, 9u}) {
            for (int blast = 0; blast <= 2; ++blast) {
                Configuration config;
                config.theory.bv.bit_blast_mode = blast;
                DpllSolver engine(config.dpll, nullptr);
                EngineSink sink(&engine);
                Link link(&tm, &sink);
                const auto words = WordClausifierInterface::make(&tm, config.theory.bv);
                words->set_fp_combination(&link);
                BvLitList result;
                words->bit_blast_word(tm.make_fp_to_bv(w, rm, x), &sink, &result);
                const auto assume = [](const BvLitList& word, unsigned value, auto* out) {
                    for (size_t i = 0; i < word.size(); ++i) {
                        out->push_back(word[i].to_sat() ^ static_cast<int>(~value >> i & 1));
                    }
                };
                for (int mode = 0; mode < 4; ++mode) {
                    for (unsigned bits = 0; bits >> (format.exp + format.mant + 1) == 0; ++bits) {
                        const double expected = round_by(mode, format.value(bits));
                        const double limit = std::ldexp(1.0, static_cast<int>(w) - 1);
                        if (!(expected >= -limit && expected < limit)) {
                            continue;
                        }
                        std::vector<dpll::Lit> assumptions;
                        assume(link.bits[x], bits, &assumptions);
                        assume(link.bits[rm], static_cast<unsigned>(mode), &assumptions);
                        ASSERT_TRUE(engine.solve(assumptions));
                        uint64_t found = 0;
                        for (size_t i = 0; i < w; ++i) {
                            const dpll::Lit l = result[i].to_sat();
                            const bool bit = engine.get_model_value(l.var()) == l_True;
                            found |= uint64_t{bit != (l.sign() != 0)} << i;
                        }
                        ASSERT_EQ(to_signed(w, found), static_cast<int64_t>(expected))
                            << "format " << format.exp << "," << format.mant << " width " << w
                            << " mode " << mode << " pattern " << bits;
                    }
                }
            }
        }
    }
}

TEST(FpToBvTest, constants_fold_and_patterns_are_kept)
{
    TermManager tm;
    for (int blast = 0; blast <= 2; ++blast) {
        Configuration config;
        config.theory.bv.bit_blast_mode = blast;
        DpllSolver engine(config.dpll, nullptr);
        EngineSink sink(&engine);
        const auto words = WordClausifierInterface::make(&tm, config.theory.bv);
        BvLitList bits;
        // -2.5, downward
        const Term_* f =
            tm.make_fp_rat_number(QNumber::from_str("-5/2"), 4, 5, tm.make_fprounding_even());
        words->bit_blast_word(tm.make_fp_to_bv(4, tm.make_fprounding_minus_inf(), f), &sink, &bits);
        EXPECT_EQ(bits, (BvLitList{l_true, l_false, l_true, l_true}));
        words->bit_blast_word(tm.make_fp_to_bv(4, tm.make_fprounding_zero(), f), &sink, &bits);
        EXPECT_EQ(bits, (BvLitList{l_false, l_true, l_true, l_true}));
        words->bit_blast_word(tm.make_fp_as_ieeebv(f), &sink, &bits);
        // sign 1, exponent 8, fraction 01000
        EXPECT_EQ(bits, (BvLitList{l_false, l_false, l_false, l_true, l_false, l_false, l_false,
                                   l_false, l_true, l_true}));
        EXPECT_EQ(sink.num_clauses, 0u);
    }
}

} // namespace
} // namespace tarq::bv
