// The encodings of all operators against IEEEFloat: every value of small formats in every rounding
// mode, and random values of large ones.
#include "circuit.h"

#include <cstdlib>
#include <random>

namespace tarq::fp {
namespace {

constexpr Format TINY[] = {{2, 3}, {3, 2}};

const Term_* mode_term(TermManager& tm, int mode)
{
    const Term_* terms[] = {tm.make_fprounding_even(), tm.make_fprounding_zero(),
                            tm.make_fprounding_plus_inf(), tm.make_fprounding_minus_inf()};
    return terms[mode];
}

/// Compares an operator on the given words: with a variable mode, and with each constant one.
void check_operator(const Operator& op, Format f, const std::vector<uint64_t>& a_words,
                    const std::vector<uint64_t>& b_words)
{
    for (int fixed = op.is_rounded ? -1 : 0; fixed < (op.is_rounded ? 4 : 1); ++fixed) {
        Circuit circuit;
        const Term_* a = circuit.input("a", f);
        const Term_* b = circuit.input("b", f);
        const Term_* rm = circuit.input_mode();
        circuit.set(
            op.make(circuit.source, fixed < 0 ? rm : mode_term(circuit.source, fixed), a, b));
        for (const uint64_t x : a_words) {
            for (const uint64_t y : op.arity == 2 ? b_words : std::vector<uint64_t>{0}) {
                for (int mode = fixed < 0 ? 0 : fixed; mode <= (fixed < 0 ? 3 : fixed); ++mode) {
                    const IEEEFloat xf = to_float(f, x, static_cast<Mode>(mode));
                    const uint64_t expected = op.value(xf, to_float(f, y));
                    ASSERT_EQ(circuit({x, y, static_cast<uint64_t>(mode)}), expected)
                        << op.name << " on (" << f.exponent_width << "," << f.significand_width
                        << ") of " << x << " and " << y << " mode " << mode << " of " << fixed;
                }
            }
        }
    }
}

TEST(FpBvEncoderTest, operators_agree_on_all_values_of_small_formats)
{
    for (const Format f : TINY) {
        for (const Operator& op : all_operators()) {
            check_operator(op, f, all_words(f), all_words(f));
        }
    }
}

TEST(FpBvEncoderTest, casts_agree_on_all_values)
{
    const Format formats[] = {{2, 3}, {3, 2}, {2, 2}, {3, 5}, {4, 3}, {5, 2}, {4, 10}};
    for (const Format from : formats) {
        for (const Format to : formats) {
            Circuit circuit;
            const Term_* a = circuit.input("a", from);
            const Term_* rm = circuit.input_mode();
            circuit.set(
                circuit.source.make_fp_cast(to.exponent_width, to.significand_width, rm, a));
            for (const uint64_t x : all_words(from)) {
                for (int mode = 0; mode < 4 && from.width() < 12; ++mode) {
                    IEEEFloat expected = to_float(from, x, static_cast<Mode>(mode));
                    expected.set_format(to);
                    ASSERT_EQ(circuit({x, static_cast<uint64_t>(mode)}), to_word(expected))
                        << x << " in mode " << mode;
                }
            }
        }
    }
}

TEST(FpBvEncoderTest, integers_and_patterns_become_floats)
{
    for (const Format f : {Format{2, 3}, Format{3, 2}, Format{2, 2}, Format{3, 9}, Format{5, 3}}) {
        for (size_t w = 1; w <= 9; ++w) {
            for (const bool is_signed : {false, true}) {
                Circuit circuit;
                TermManager& tm = circuit.source;
                const Term_* b = circuit.input("b", tm.get_bv_type(w));
                const Term_* rm = circuit.input_mode();
                const size_t e = f.exponent_width;
                const size_t m = f.significand_width;
                circuit.set(is_signed ? tm.make_fp_from_sbv(e, m, rm, b)
                                      : tm.make_fp_from_ubv(e, m, rm, b));
                for (uint64_t x = 0; x >> w == 0; ++x) {
                    const QNumber value =
                        is_signed ? BVNumber::to_signed(to_number(x), w) : to_number(x);
                    for (int mode = 0; mode < 4; ++mode) {
                        const auto expected =
                            IEEEFloat::from_number(value, f, static_cast<Mode>(mode));
                        ASSERT_EQ(circuit({x, static_cast<uint64_t>(mode)}), to_word(expected))
                            << value << " in mode " << mode;
                    }
                }
            }
        }
        Circuit circuit;
        const Term_* b = circuit.input("b", circuit.source.get_bv_type(f.width()));
        circuit.set(circuit.source.make_fp_from_ieeebv(f.exponent_width, f.significand_width, b));
        for (uint64_t x = 0; x >> f.width() == 0; ++x) {
            ASSERT_EQ(circuit({x}), to_word(to_float(f, x)));
        }
    }
}

/// What the minimum or maximum of two floats is, by the words of its zeros.
uint64_t min_max(bool is_min, Format f, uint64_t a, uint64_t b, uint64_t zero)
{
    const IEEEFloat x = to_float(f, a);
    const IEEEFloat y = to_float(f, b);
    if (x.is_nan() || y.is_nan()) {
        return x.is_nan() ? b : a;
    }
    if (x == y) {
        return a == b ? a : zero;
    }
    return (x < y) == is_min ? a : b;
}

TEST(FpBvEncoderTest, minima_of_zeros_follow_the_option)
{
    const Format f{2, 3};
    const uint64_t minus = uint64_t{1} << (f.width() - 1);
    for (int mode = 0; mode <= 3; ++mode) {
        for (const bool is_min : {false, true}) {
            Configuration config;
            config.theory.fp.minmax_zero_mode = mode;
            Circuit circuit(&config.theory.fp);
            const Term_* a = circuit.input("a", f);
            const Term_* b = circuit.input("b", f);
            circuit.set(is_min ? circuit.source.make_fp_min(a, b)
                               : circuit.source.make_fp_max(a, b));
            for (const uint64_t x : all_words(f)) {
                for (const uint64_t y : all_words(f)) {
                    const uint64_t zeros[] = {is_min ? minus : 0, 0, x, y};
                    ASSERT_EQ(circuit({x, y}), min_max(is_min, f, x, y, zeros[mode]))
                        << x << " and " << y << " in mode " << mode;
                }
            }
        }
    }
    Configuration config;
    config.theory.fp.minmax_zero_mode = 5;
    Circuit circuit(&config.theory.fp);
    const Term_* a = circuit.input("a", f);
    const Term_* b = circuit.input("b", f);
    EXPECT_THROW(circuit.set(circuit.source.make_fp_min(a, b)), FpBvEncoder::error);
}

/// Words that are special more often than evenly spread ones.
uint64_t random_word(Format f, std::mt19937_64& random)
{
    const uint64_t fraction = (uint64_t{1} << f.significand_width) - 1;
    const uint64_t all = f.width() == 64 ? ~uint64_t{0} : (uint64_t{1} << f.width()) - 1;
    uint64_t word = random() & all;
    switch (random() % (f.exponent_width > 3 ? 8 : 7)) {
    case 0:
        word &= fraction | (all ^ (all >> 1)); // subnormal
        break;
    case 1:
        word |= all >> 1 ^ fraction; // infinity or NaN
        break;
    case 2:
        word &= ~fraction;
        break;
    case 7: // of about the size of 1
        word = (word & (fraction | (all ^ (all >> 1)))) |
               (to_word(f.bias() + QNumber(static_cast<long>(random() % 9) - 4))
                << f.significand_width);
        break;
    case 4:
        word |= fraction & ~(random() % 8);
        break;
    default:
        break;
    }
    return to_word(to_float(f, word));
}

/// TARQ_FP_PAIRS sets the number of pairs of operands for each format.
size_t num_random_pairs()
{
    const char* text = std::getenv("TARQ_FP_PAIRS");
    return text ? std::strtoul(text, nullptr, 10) : 60;
}

TEST(FpBvEncoderTest, operators_agree_on_random_values_of_large_formats)
{
    std::mt19937_64 random(1);
    const size_t pairs = num_random_pairs();
    // the second row: exponents wider than significands, and the other way round
    for (const Format f : {Format{5, 10}, Format{8, 23}, Format{11, 52}, //
                           Format{9, 2}, Format{40, 3}, Format{2, 12}, Format{3, 40}}) {
        for (const Operator& op : all_operators()) {
            Circuit circuit;
            const Term_* a = circuit.input("a", f);
            const Term_* b = circuit.input("b", f);
            const Term_* rm = circuit.input_mode();
            circuit.set(op.make(circuit.source, rm, a, b));
            for (size_t i = 0; i < pairs / (op.arity == 2 ? 1 : 2); ++i) {
                const uint64_t x = random_word(f, random);
                const uint64_t y =
                    random() % 8 ? random_word(f, random) : x ^ (uint64_t{1} << (f.width() - 1));
                const uint64_t mode = random() % 4;
                if (to_word(to_float(f, y)) != y) {
                    continue;
                }
                const IEEEFloat xf = to_float(f, x, static_cast<Mode>(mode));
                ASSERT_EQ(circuit({x, y, mode}), op.value(xf, to_float(f, y)))
                    << op.name << " on (" << f.exponent_width << "," << f.significand_width
                    << ") of " << x << " and " << y << " mode " << mode;
            }
        }
    }
}

} // namespace
} // namespace tarq::fp
