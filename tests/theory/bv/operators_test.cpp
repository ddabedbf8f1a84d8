// Every operator against machine arithmetic: through the clauses of all conversions, and by the
// evaluation of circuits.
#include "bvtestsupport.h"

#include "terms/bvnumber.h"
#include "terms/stdtermsimplifier.h"
#include "theory/bv/aigwordclausifier.h"
#include "theory/bv/wordclausifier.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>

namespace tarq::bv {
namespace {

/// One operator application over two constants, in an engine.
class Blasted {
public:
    /// proxied  the term, if it is an atom, gets its variable first
    Blasted(int mode, const Term_* x, const Term_* y, const Term_* t, TermManager* tm, bool proxied,
            int div_by_zero_mode = 0)
        : engine_(config_.dpll, nullptr), sink_(&engine_)
    {
        config_.theory.bv.bit_blast_mode = mode;
        config_.theory.bv.div_by_zero_mode = div_by_zero_mode;
        words_ = WordClausifierInterface::make(tm, config_.theory.bv);
        is_atom_ = TermManager::get_type(t) == tm->get_bool_type();
        int var = -1;
        if (is_atom_ && proxied) {
            engine_.make_proxy(t, &var);
        }
        words_->bit_blast_word(x, &sink_, &x_);
        words_->bit_blast_word(y, &sink_, &y_);
        if (is_atom_) {
            r_ = {words_->bit_blast(t, &sink_)};
        } else {
            words_->bit_blast_word(t, &sink_, &r_);
        }
        proxy_var_ = var;
    }

    /// The value of the term for these operands, which must be determined. Failures are reported.
    uint64_t value(uint64_t a, uint64_t b)
    {
        std::vector<dpll::Lit> assumptions;
        assume(x_, a, &assumptions);
        assume(y_, b, &assumptions);
        EXPECT_TRUE(engine_.solve(assumptions)) << "no value";
        const uint64_t result = read();
        if (proxy_var_ >= 0) {
            EXPECT_EQ(engine_.get_model_value(proxy_var_), result != 0 ? l_True : l_False);
        }
        return result;
    }

    /// The same, tested for being the only one.
    uint64_t only_value(uint64_t a, uint64_t b)
    {
        const uint64_t result = value(a, b);
        std::vector<dpll::Lit> assumptions;
        assume(x_, a, &assumptions);
        assume(y_, b, &assumptions);
        const size_t before = assumptions.size();
        for (size_t i = 0; i < r_.size(); ++i) {
            if (!r_[i].is_constant()) {
                assumptions.push_back(r_[i].to_sat() ^ static_cast<int>(result >> i & 1));
                EXPECT_FALSE(engine_.solve(assumptions)) << "bit " << i << " is open";
                assumptions.resize(before);
            }
        }
        return result;
    }

    /// Whether the term has that value for these operands; for words of any width.
    bool gives(const QNumber& a, const QNumber& b, const QNumber& result)
    {
        std::vector<dpll::Lit> assumptions;
        const auto assume_bits = [&](const BvLitList& word, const QNumber& value) {
            for (size_t i = 0; i < word.size(); ++i) {
                assumptions.push_back(word[i].to_sat() ^
                                      static_cast<int>(!BVNumber::test_bit(value, i)));
            }
        };
        assume_bits(x_, a);
        assume_bits(y_, b);
        if (!engine_.solve(assumptions)) {
            return false;
        }
        for (size_t i = 0; i < r_.size(); ++i) {
            if (bit(i) != BVNumber::test_bit(result, i)) {
                return false;
            }
        }
        return true;
    }

    DpllSolver& engine() { return engine_; }

private:
    bool bit(size_t i) const
    {
        if (r_[i].is_constant()) {
            return r_[i].is_true();
        }
        return (engine_.get_model_value(r_[i].to_sat().var()) == l_True) !=
               (r_[i].to_sat().sign() != 0);
    }
    static void assume(const BvLitList& word, uint64_t value, std::vector<dpll::Lit>* out)
    {
        for (size_t i = 0; i < word.size(); ++i) {
            out->push_back(word[i].to_sat() ^ static_cast<int>(~value >> i & 1));
        }
    }
    uint64_t read() const
    {
        uint64_t result = 0;
        for (size_t i = 0; i < r_.size(); ++i) {
            result |= uint64_t{bit(i)} << i;
        }
        return result;
    }

    Configuration config_;
    DpllSolver engine_;
    EngineSink sink_;
    std::unique_ptr<WordClausifierInterface> words_;
    BvLitList x_, y_, r_;
    bool is_atom_ = false;
    int proxy_var_ = -1;
};

class OperatorsTest : public testing::Test {
protected:
    const Term_* constant(const char* name, unsigned width)
    {
        return tm_.make_constant(
            tm_.make_symbol(name + std::to_string(width), tm_.get_bv_type(width)));
    }
    const Term_* number(uint64_t value, unsigned width)
    {
        return tm_.make_bv_number(QNumber(static_cast<unsigned long>(value)), width);
    }
    unsigned result_width(const Term_* t)
    {
        size_t width = 1;
        tm_.is_bv_type(TermManager::get_type(t), &width);
        return static_cast<unsigned>(width);
    }

    TermManager tm_;
};

/// Operands of all values up to this width; the checks of the engine make it slow.
constexpr unsigned EXHAUSTIVE_WIDTH = TARQ_CHECKS >= 2 ? 4 : 6;

TEST_F(OperatorsTest, clauses_give_the_value_for_all_operands)
{
    for (const Operator& op : all_operators()) {
        for (unsigned w = 1; w <= EXHAUSTIVE_WIDTH; ++w) {
            const Term_* x = constant("x", w);
            const Term_* y = constant("y", w);
            const Term_* t = op.make(tm_, x, y);
            for (int mode = 0; mode <= 2; ++mode) {
                SCOPED_TRACE(op.name + " mode " + std::to_string(mode) + " width " +
                             std::to_string(w));
                Blasted blasted(mode, x, y, t, &tm_, w % 2 == 0);
                for (uint64_t a = 0; a <= mask(w); ++a) {
                    for (uint64_t b = 0; b <= mask(w); ++b) {
                        const uint64_t expected = op.value(w, a, b) & mask(result_width(t));
                        const uint64_t found =
                            w <= 2 ? blasted.only_value(a, b) : blasted.value(a, b);
                        ASSERT_EQ(found, expected) << a << " " << b;
                    }
                }
            }
        }
    }
}

TEST_F(OperatorsTest, circuits_evaluate_to_the_value_for_all_operands)
{
    for (const Operator& op : all_operators()) {
        for (unsigned w = 1; w <= 6; ++w) {
            const Term_* x = constant("x", w);
            const Term_* y = constant("y", w);
            const Term_* t = op.make(tm_, x, y);
            AigWordClausifier words(&tm_, nullptr);
            const auto to_vector = [](std::span<const Aig> s) {
                return std::vector<Aig>(s.begin(), s.end());
            };
            const std::vector<Aig> xs = to_vector(words.bit_blast_aigs(x));
            const std::vector<Aig> ys = to_vector(words.bit_blast_aigs(y));
            const std::vector<Aig> rs = to_vector(words.bit_blast_aigs(t));
            AigEvaluator evaluator(&words.manager());
            for (uint64_t a = 0; a <= mask(w); ++a) {
                for (uint64_t b = 0; b <= mask(w); ++b) {
                    evaluator.reset();
                    uint64_t found = 0;
                    for (size_t i = 0; i < rs.size(); ++i) {
                        const bool bit = evaluator(rs[i], [&](uint32_t id, bool* v) {
                            for (size_t k = 0; k < w; ++k) {
                                if (xs[k].id() == id || ys[k].id() == id) {
                                    *v = ((xs[k].id() == id ? a : b) >> k & 1) != 0;
                                    return true;
                                }
                            }
                            return false;
                        });
                        found |= uint64_t{bit} << i;
                    }
                    ASSERT_EQ(found, op.value(w, a, b) & mask(result_width(t)))
                        << op.name << " " << w << " " << a << " " << b;
                }
            }
        }
    }
}

/// Constant, equal and opposite operands take the folding paths.
TEST_F(OperatorsTest, related_operands_give_the_value)
{
    for (const Operator& op : all_operators()) {
        const unsigned w = 3;
        const Term_* x = constant("x", w);
        for (int mode = 0; mode <= 2; ++mode) {
            for (uint64_t c = 0; c <= mask(w); ++c) {
                Blasted left(mode, x, x, op.make(tm_, number(c, w), x), &tm_, true);
                Blasted right(mode, x, x, op.make(tm_, x, number(c, w)), &tm_, true);
                for (uint64_t a = 0; a <= mask(w); ++a) {
                    ASSERT_EQ(left.value(a, a),
                              op.value(w, c, a) & mask(result_width(op.make(tm_, x, x))))
                        << op.name << " const " << c << " with " << a << " mode " << mode;
                    ASSERT_EQ(right.value(a, a),
                              op.value(w, a, c) & mask(result_width(op.make(tm_, x, x))))
                        << op.name << " of " << a << " const " << c << " mode " << mode;
                }
            }
            const Term_* not_x = tm_.make_bv_not(x);
            Blasted same(mode, x, x, op.make(tm_, x, x), &tm_, true);
            Blasted opposite(mode, x, x, op.make(tm_, x, not_x), &tm_, true);
            for (uint64_t a = 0; a <= mask(w); ++a) {
                ASSERT_EQ(same.value(a, a),
                          op.value(w, a, a) & mask(result_width(op.make(tm_, x, x))))
                    << op.name << " mode " << mode;
                ASSERT_EQ(opposite.value(a, a),
                          op.value(w, a, ~a & mask(w)) & mask(result_width(op.make(tm_, x, x))))
                    << op.name << " mode " << mode;
            }
        }
    }
}

TEST_F(OperatorsTest, wide_words_give_the_value)
{
    std::mt19937_64 random(7);
    for (const Operator& op : all_operators()) {
        const bool quadratic = op.name.find("div") != std::string::npos ||
                               op.name.find("rem") != std::string::npos || op.name == "bvmul";
        for (const unsigned w : {7u, 8u, 13u, 32u, 33u, 63u, 64u}) {
            if (quadratic && w > 33 && TARQ_CHECKS >= 2) {
                continue;
            }
            const Term_* x = constant("x", w);
            const Term_* y = constant("y", w);
            const Term_* t = op.make(tm_, x, y);
            for (int mode = 0; mode <= 2; ++mode) {
                Blasted blasted(mode, x, y, t, &tm_, true);
                for (int i = 0; i < 8; ++i) {
                    const uint64_t a = random() & mask(w);
                    // small amounts for shifts, and the edges
                    const uint64_t bs[] = {random() & mask(w), random() % (w + 2), 0, w};
                    const uint64_t b = bs[i % 4] & mask(w);
                    ASSERT_EQ(blasted.value(a, b), op.value(w, a, b) & mask(result_width(t)))
                        << op.name << " mode " << mode << " width " << w << ": " << a << " " << b;
                }
            }
        }
    }
}

/// Operators that only move bits, and shifts by constants, beyond the machine word.
// Beyond machine words the folding of numbers stands in for the machine.
TEST_F(OperatorsTest, words_beyond_64_bits_give_the_value)
{
    std::mt19937_64 random(9);
    StdTermSimplifier simplifier(&tm_);
    const auto fold = [&](const Operator& op, const Term_* a, const Term_* b) {
        tm_.set_simplifier(&simplifier);
        const auto folding = tm_.simplify_in_scope(true);
        return op.make(tm_, a, b);
    };
    for (const Operator& op : all_operators()) {
        const bool quadratic = op.name.find("div") != std::string::npos ||
                               op.name.find("rem") != std::string::npos || op.name == "bvmul";
        for (const unsigned w : {65u, 100u, 130u}) {
            if (quadratic && TARQ_CHECKS >= 2) {
                continue;
            }
            const Term_* x = constant("x", w);
            const Term_* y = constant("y", w);
            Blasted blasted(static_cast<int>(w % 3), x, y, op.make(tm_, x, y), &tm_, true);
            for (int i = 0; i < 6; ++i) {
                QNumber a;
                QNumber b;
                for (unsigned k = 0; k < w; ++k) {
                    BVNumber::set_bit(a, k, random() % 2 != 0);
                    // now and then a small one, for shifts and quotients
                    BVNumber::set_bit(b, k, random() % 2 != 0 && (k < 7 || i % 2 == 0));
                }
                const Term_* value = fold(op, tm_.make_bv_number(a, w), tm_.make_bv_number(b, w));
                QNumber expected = tm_.is_true(value) ? 1 : 0;
                ASSERT_TRUE(tm_.is_number(value, &expected) || tm_.is_true(value) ||
                            tm_.is_false(value));
                EXPECT_TRUE(blasted.gives(a, b, expected)) << op.name << " width " << w;
            }
        }
    }
}

TEST_F(OperatorsTest, moved_bits_land_where_they_belong)
{
    const Term_* x = constant("x", 5);
    const Term_* y = constant("y", 5);
    const auto rotl = [](uint64_t a, unsigned k) { return (a << k | a >> (5 - k)) & 31; };
    for (int mode = 0; mode <= 2; ++mode) {
        for (unsigned k = 0; k <= 11; ++k) {
            Blasted left(mode, x, y, tm_.make_bv_rotate_left(k, x), &tm_, false);
            Blasted right(mode, x, y, tm_.make_bv_rotate_right(k, x), &tm_, false);
            Blasted zero(mode, x, y, tm_.make_bv_zero_extend(k, x), &tm_, false);
            Blasted sign(mode, x, y, tm_.make_bv_sign_extend(k, x), &tm_, false);
            for (uint64_t a = 0; a < 32; ++a) {
                ASSERT_EQ(left.value(a, 0), rotl(a, k % 5)) << k;
                ASSERT_EQ(right.value(a, 0), rotl(a, (5 - k % 5) % 5)) << k;
                ASSERT_EQ(zero.value(a, 0), a) << k;
                ASSERT_EQ(sign.value(a, 0), static_cast<uint64_t>(to_signed(5, a)) & mask(5 + k))
                    << k;
            }
        }
        Blasted concat(mode, x, y, tm_.make_bv_concat(x, y), &tm_, false);
        for (uint64_t a = 0; a < 32; ++a) {
            ASSERT_EQ(concat.value(a, 31 - a), a << 5 | (31 - a));
        }
        for (unsigned lsb = 0; lsb < 5; ++lsb) {
            for (unsigned msb = lsb; msb < 5; ++msb) {
                Blasted extract(mode, x, y, tm_.make_bv_extract(msb, lsb, x), &tm_, false);
                ASSERT_EQ(extract.value(0x15, 0), 0x15u >> lsb & mask(msb - lsb + 1));
                ASSERT_EQ(extract.value(0x0a, 0), 0x0au >> lsb & mask(msb - lsb + 1));
            }
        }
    }
}

TEST_F(OperatorsTest, very_wide_shift_amounts_select_the_fill)
{
    const unsigned w = 130;
    const Term_* x = constant("x", w);
    const Term_* all_ones = tm_.make_bv_not(number(0, w));
    const Term_* amount = tm_.make_bv_number(BVNumber::pow2(100), w);
    const Term_* by_variable = tm_.make_bv_ashr(all_ones, x);
    for (int mode = 0; mode <= 2; ++mode) {
        Configuration config;
        config.theory.bv.bit_blast_mode = mode;
        DpllSolver engine(config.dpll, nullptr);
        EngineSink sink(&engine);
        const auto words = WordClausifierInterface::make(&tm_, config.theory.bv);
        BvLitList bits;
        words->bit_blast_word(tm_.make_bv_ashr(x, amount), &sink, &bits);
        BvLitList xs;
        words->get_bits(x, &xs);
        EXPECT_EQ(bits, BvLitList(w, bits[0]));
        words->bit_blast_word(tm_.make_bv_lshl(x, amount), &sink, &bits);
        EXPECT_EQ(bits, BvLitList(w, l_false));
        words->bit_blast_word(by_variable, &sink, &bits);
        EXPECT_EQ(bits, BvLitList(w, l_true));
    }
}

TEST_F(OperatorsTest, division_by_zero_is_free_but_stable_in_mode_1)
{
    const Term_* x = constant("x", 2);
    const Term_* y = constant("y", 2);
    for (int mode = 0; mode <= 2; ++mode) {
        for (const Operator& op : all_operators()) {
            if (op.name != "bvudiv" && op.name != "bvsdiv" && op.name != "bvurem" &&
                op.name != "bvsrem") {
                continue;
            }
            const Term_* t = op.make(tm_, x, y);
            // every value of 3 / 0 is possible, one at a time; 3 / 1 is fixed
            for (uint64_t wish = 0; wish < 4; ++wish) {
                const Term_* wished = tm_.make_equal(t, number(wish, 2));
                Blasted blasted(mode, x, y, wished, &tm_, false, 1);
                blasted.engine().set_polarity(0, l_True);
                const Term_* other = tm_.make_equal(t, number(wish ^ 1, 2));
                Blasted both(mode, x, y, tm_.make_and(wished, other), &tm_, false, 1);
                EXPECT_EQ(both.only_value(3, 0), 0u) << op.name;
                EXPECT_EQ(blasted.only_value(3, 1), op.value(2, 3, 1) % 4 == wish) << op.name;
            }
        }
    }
}

} // namespace
} // namespace tarq::bv
