// What the tests of floats share: the operators with their values by IEEEFloat, and encoded terms as
// functions from words to words.
#pragma once

#include "base/configuration.h"
#include "terms/bvnumber.h"
#include "terms/ieeefloat.h"
#include "terms/stdtermsimplifier.h"
#include "theory/bv/aigwordclausifier.h"
#include "theory/fp/fpbvencoder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tarq::fp {

using Format = IEEEFloat::format;
using Mode = IEEEFloat::rounding_mode;

inline QNumber to_number(uint64_t word)
{
    return QNumber(static_cast<long>(word >> 32)) * BVNumber::pow2(32) +
           QNumber(static_cast<long>(word & 0xffffffff));
}

inline uint64_t to_word(const QNumber& number)
{
    uint64_t word = 0;
    for (unsigned long i = 0; i < 64; ++i) {
        word |= uint64_t{BVNumber::test_bit(number, i)} << i;
    }
    return word;
}

inline IEEEFloat to_float(Format f, uint64_t word, Mode mode = IEEEFloat::NEAREST_EVEN)
{
    return IEEEFloat::from_bits(to_number(word), f, mode);
}

inline uint64_t to_word(const IEEEFloat& x)
{
    return to_word(x.get_bits());
}

/// An operator on one or two floats of one format, with or without a rounding mode.
struct Operator {
    const char* name;
    unsigned arity;
    bool is_rounded;
    const Term_* (*make)(TermManager&, const Term_* rm, const Term_* a, const Term_* b);
    /// The result as a word; of an atom 0 or 1. `a` carries the mode.
    uint64_t (*value)(const IEEEFloat& a, const IEEEFloat& b);
};

#define TARQ_FP_ARITH(name, op)                                                                    \
    Operator                                                                                       \
    {                                                                                              \
#name, 2, true,                                                                            \
            [](TermManager & tm, const Term_* rm, const Term_* a,                                  \
               const Term_*                                                                        \
                   b) { return tm.make_##name(rm, a, b); }, [](const IEEEFloat& a,                 \
                                                               const IEEEFloat&                    \
                                                                   b) { return to_word(a op b); }  \
    }
#define TARQ_FP_OTHER(name, arity, result)                                                         \
    Operator                                                                                       \
    {                                                                                              \
#name, arity, false,                                                                       \
            [](TermManager& tm, const Term_*, const Term_* a, [[maybe_unused]] const Term_* b) {   \
                return tm.make_##name TARQ_FP_ARGS_##arity;                                        \
            },                                                                                     \
            []([[maybe_unused]] const IEEEFloat& a, [[maybe_unused]] const IEEEFloat& b) {         \
                return uint64_t{result};                                                           \
            }       \
    }
#define TARQ_FP_ARGS_1 (a)
#define TARQ_FP_ARGS_2 (a, b)

inline const std::vector<Operator>& all_operators()
{
    static const std::vector<Operator> operators = {
        TARQ_FP_ARITH(fp_add, +),
        TARQ_FP_ARITH(fp_sub, -),
        TARQ_FP_ARITH(fp_mul, *),
        TARQ_FP_ARITH(fp_div, /),
        {"fp_sqrt", 1, true,
         [](TermManager& tm, const Term_* rm, const Term_* a, const Term_*) {
             return tm.make_fp_sqrt(rm, a);
         },
         [](const IEEEFloat& a, const IEEEFloat&) {
             IEEEFloat x = a;
             x.sqrt();
             return to_word(x);
         }},
        {"fp_round_to_int", 1, true,
         [](TermManager& tm, const Term_* rm, const Term_* a, const Term_*) {
             return tm.make_fp_round_to_int(rm, a);
         },
         [](const IEEEFloat& a, const IEEEFloat&) { return to_word(IEEEFloat::round(a)); }},
        {"fp_neg", 1, false,
         [](TermManager& tm, const Term_*, const Term_* a, const Term_*) {
             return tm.make_fp_neg(a);
         },
         [](const IEEEFloat& a, const IEEEFloat&) {
             IEEEFloat x = a;
             x.self_neg();
             return to_word(x);
         }},
        {"fp_abs", 1, false,
         [](TermManager& tm, const Term_*, const Term_* a, const Term_*) {
             return tm.make_fp_abs(a);
         },
         [](const IEEEFloat& a, const IEEEFloat&) {
             IEEEFloat x = a;
             x.set_sign(false);
             return to_word(x);
         }},
        TARQ_FP_OTHER(equal, 2, IEEEFloat::same_bits(a, b)),
        TARQ_FP_OTHER(fp_equal, 2, a == b),
        TARQ_FP_OTHER(fp_lt, 2, a < b),
        TARQ_FP_OTHER(fp_le, 2, a <= b),
        TARQ_FP_OTHER(fp_isnan, 1, a.is_nan()),
        TARQ_FP_OTHER(fp_isinf, 1, a.is_inf()),
        TARQ_FP_OTHER(fp_iszero, 1, a.is_zero()),
        TARQ_FP_OTHER(fp_issubnormal, 1, a.is_subnormal()),
        TARQ_FP_OTHER(fp_isnormal, 1, a.is_normal()),
        TARQ_FP_OTHER(fp_isneg, 1, !a.is_nan() && a.get_sign()),
        TARQ_FP_OTHER(fp_ispos, 1, !a.is_nan() && !a.get_sign()),
    };
    return operators;
}

#undef TARQ_FP_ARITH
#undef TARQ_FP_OTHER
#undef TARQ_FP_ARGS_1
#undef TARQ_FP_ARGS_2

/// An encoded term as a function of words for its leaves.
class Circuit {
public:
    explicit Circuit(const Configuration::Theory::Fp* options = nullptr)
        : encoder_(&source, &target_, options),
          words_(&target_, nullptr, bv::WordClausifierInterface::Ites::CIRCUITS)
    {
        target_.set_simplifier(&folding_);
    }

    const Term_* input(const char* name, const DataType* type)
    {
        inputs_.push_back(source.make_constant(source.make_symbol(name, type)));
        return inputs_.back();
    }
    const Term_* input(const char* name, Format f)
    {
        return input(name, source.get_fp_type(f.exponent_width, f.significand_width));
    }
    const Term_* input_mode() { return input("rm", source.get_rounding_type()); }

    /// The term becomes the function; the inputs are its leaves.
    void set(const Term_* t)
    {
        root_ = encoder_.get_bv_encoding(t, constraints_);
        leaves_.clear();
        for (const Term_* leaf : inputs_) {
            TermVector more;
            leaves_.push_back(encoder_.get_bv_encoding(leaf, more));
            constraints_.insert(constraints_.end(), more.begin(), more.end());
            size_t w = 0;
            target_.is_bv_type(TermManager::get_type(leaves_.back()), &w);
            bv::BvLitList bits;
            for (size_t i = 0; i < w; ++i) {
                bits.push_back(sink_.new_atom());
            }
            first_.push_back(bits[0].value());
            words_.set_bits(leaves_.back(), &sink_, bits);
        }
        words_.bit_blast_aigs(root_);
        for (const Term_* c : constraints_) {
            words_.bit_blast_aigs(c);
        }
    }
    /// values  one for each input, in the order of their making
    uint64_t operator()(const std::vector<uint64_t>& values)
    {
        const uint64_t result = evaluate(root_, values, true);
        for (const Term_* c : constraints_) {
            EXPECT_EQ(evaluate(c, values, false), 1U) << "side constraint";
        }
        return result;
    }
    size_t num_gates() { return words_.manager().num_ids(); }

    TermManager source;

private:
    /// Counts variables; nobody asks for clauses.
    class Sink : public bv::ClauseSink {
    public:
        bv::BvLit new_atom() override { return bv::BvLit(next_++); }
        bool get_proxy(const Term_*, bv::BvLit*) override { return false; }
        void add_clause() override { clause_.clear(); }

    private:
        int next_ = 2;
    };

    uint64_t evaluate(const Term_* t, const std::vector<uint64_t>& values, bool fresh)
    {
        std::vector<bool> bits;
        const auto value = [&](bv::BvLit l) {
            size_t i = 0;
            const int var = std::abs(l.value());
            while (i + 1 < first_.size() && first_[i + 1] <= var) {
                ++i;
            }
            return (values[i] >> (var - first_[i]) & 1) != (l.value() < 0);
        };
        EXPECT_TRUE(words_.evaluate(t, value, fresh, &bits));
        uint64_t word = 0;
        for (size_t i = 0; i < bits.size(); ++i) {
            word |= uint64_t{bits[i]} << i;
        }
        return word;
    }

    TermManager target_;
    StdTermSimplifier folding_{&target_};
    FpBvEncoder encoder_;
    bv::AigWordClausifier words_;
    Sink sink_;
    TermVector inputs_, leaves_, constraints_;
    std::vector<int> first_; // by input: the variable of its first bit
    const Term_* root_ = nullptr;
};

/// All words of a format, of NaN only the one that is used.
inline std::vector<uint64_t> all_words(Format f)
{
    std::vector<uint64_t> words;
    for (uint64_t w = 0; w >> f.width() == 0; ++w) {
        if (to_word(to_float(f, w)) == w) {
            words.push_back(w);
        }
    }
    return words;
}

} // namespace tarq::fp
