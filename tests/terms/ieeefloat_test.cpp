// IEEEFloat against three oracles: the processor's float and double under every rounding mode,
// exact rational arithmetic over the listed values of small formats, and neighbours of exact
// results.
#include "terms/ieeefloat.h"

#include "terms/bvnumber.h"
#include "terms/swflt.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cfenv>
#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

namespace tarq {
namespace {

using Mode = IEEEFloat::rounding_mode;
using Format = IEEEFloat::format;
using Repr = IEEEFloat::Repr;

constexpr Mode MODES[] = {IEEEFloat::NEAREST_EVEN, IEEEFloat::TOWARD_ZERO,
                          IEEEFloat::TOWARD_PLUS_INF, IEEEFloat::TOWARD_MINUS_INF};

IEEEFloat bits(const QNumber& b, Format f, Mode rm = IEEEFloat::NEAREST_EVEN)
{
    return IEEEFloat::from_bits(b, f, rm);
}

// ---- The processor as the oracle.

/// One of the two hardware types with its format and its swflt functions.
template <class T>
struct Hardware;

template <>
struct Hardware<float> {
    using Word = std::uint32_t;
    static constexpr Format FORMAT = IEEEFloat::FLOAT32_FORMAT;
    // By pointer: the compiler may expand a call in a way that is right for one mode only.
    static inline float (*const volatile rint)(float) = ::rintf;
    static constexpr auto rem = swflt::float32_rem;
    static constexpr auto add = swflt::float32_add;
    static constexpr auto sub = swflt::float32_sub;
    static constexpr auto mul = swflt::float32_mul;
    static constexpr auto div = swflt::float32_div;
    static constexpr auto sqrt = swflt::float32_sqrt;
    static constexpr auto round_to_int = swflt::float32_round_to_int;
    static constexpr auto lt = swflt::float32_lt;
    static constexpr auto le_quiet = swflt::float32_le_quiet;
};

template <>
struct Hardware<double> {
    using Word = std::uint64_t;
    static constexpr Format FORMAT = IEEEFloat::FLOAT64_FORMAT;
    static inline double (*const volatile rint)(double) = ::rint;
    static constexpr auto rem = swflt::float64_rem;
    static constexpr auto add = swflt::float64_add;
    static constexpr auto sub = swflt::float64_sub;
    static constexpr auto mul = swflt::float64_mul;
    static constexpr auto div = swflt::float64_div;
    static constexpr auto sqrt = swflt::float64_sqrt;
    static constexpr auto round_to_int = swflt::float64_round_to_int;
    static constexpr auto lt = swflt::float64_lt;
    static constexpr auto le_quiet = swflt::float64_le_quiet;
};

/// Random words with the fields near their ends in most cases.
template <class T>
typename Hardware<T>::Word random_word(std::mt19937_64& rng)
{
    using Word = typename Hardware<T>::Word;
    const unsigned e = static_cast<unsigned>(Hardware<T>::FORMAT.exponent_width);
    const unsigned m = static_cast<unsigned>(Hardware<T>::FORMAT.significand_width);
    const Word max = (Word(1) << e) - 1;
    const Word exponents[] = {0,
                              0,
                              1,
                              2,
                              max,
                              max - 1,
                              max / 2,
                              max / 2 + 1,
                              max / 2 - 1,
                              max / 2 + m,
                              max / 2 + m / 2,
                              static_cast<Word>(max / 2 + rng() % 5),
                              static_cast<Word>(rng()) & max,
                              static_cast<Word>(rng()) & max};
    const Word ones = (Word(1) << m) - 1;
    const Word random = static_cast<Word>(rng()) & ones;
    const Word fractions[] = {0,
                              1,
                              ones,
                              ones - 1,
                              Word(1) << (m - 1),
                              random,
                              random,
                              random,
                              random & (ones << (rng() % m)) & ones,
                              random >> (rng() % m)};
    return (static_cast<Word>(rng() % 2) << (e + m)) |
           (exponents[rng() % std::size(exponents)] << m) | fractions[rng() % std::size(fractions)];
}

/// Runs `op` on the processor in the mode; the result as a word, NaN in its one pattern, and the
/// exceptions other than underflow as swflt flags.
template <class R, class Op>
typename Hardware<R>::Word on_processor(Mode rm, int* flags, Op op)
{
    static constexpr int FE_MODES[] = {FE_TONEAREST, FE_TOWARDZERO, FE_UPWARD, FE_DOWNWARD};
    std::fesetround(FE_MODES[rm]);
    std::feclearexcept(FE_ALL_EXCEPT);
    const volatile R r = op();
    const int raised = std::fetestexcept(FE_ALL_EXCEPT);
    std::fesetround(FE_TONEAREST);
    *flags = ((raised & FE_INVALID) ? swflt::FLAG_INVALID : 0) |
             ((raised & FE_DIVBYZERO) ? swflt::FLAG_DIVBYZERO : 0) |
             ((raised & FE_OVERFLOW) ? swflt::FLAG_OVERFLOW : 0) |
             ((raised & FE_INEXACT) ? swflt::FLAG_INEXACT : 0);
    const R copy = r;
    if (std::isnan(copy))
        return bits(BVNumber::pow2(Hardware<R>::FORMAT.width()) - 1, Hardware<R>::FORMAT)
            .get_bits()
            .num_to_mpz()
            .get_ui();
    return std::bit_cast<typename Hardware<R>::Word>(copy);
}

int raised_flags()
{
    const int flags = swflt::float_exception_flags & ~swflt::FLAG_UNDERFLOW;
    swflt::float_exception_flags = 0;
    return flags;
}

template <class T>
void agree_with_processor(unsigned seed)
{
    using H = Hardware<T>;
    using Word = typename H::Word;
    using Other = std::conditional_t<std::is_same_v<T, float>, double, float>;
    static constexpr int SWFLT_MODES[] = {swflt::ROUND_NEAREST_EVEN, swflt::ROUND_TO_ZERO,
                                          swflt::ROUND_UP, swflt::ROUND_DOWN};
    // The number of operand pairs may be raised for a long run.
    const char* env = std::getenv("TARQ_FLOAT_PAIRS");
    const long pairs = env ? std::atol(env) : 15000;
    std::mt19937_64 rng(seed);
    for (long k = 0; k < pairs; ++k) {
        const Word wa = random_word<T>(rng);
        const Word wb = random_word<T>(rng);
        const volatile T a = std::bit_cast<T>(wa);
        const volatile T b = std::bit_cast<T>(wb);
        const Mode rm = MODES[k % 4];
        const int mode = SWFLT_MODES[rm];
        const IEEEFloat fa = bits(QNumber(wa), H::FORMAT, rm);
        const IEEEFloat fb = bits(QNumber(wb), H::FORMAT, rm);
        IEEEFloat ga = fa;
        IEEEFloat gb = fb;
        ga.self_specialize_repr(Repr::PACKED);
        gb.self_specialize_repr(Repr::PACKED);
        int flags;
        const auto check = [&](const char* name, Word expected, auto plain, const IEEEFloat& x,
                               const IEEEFloat& y) {
            swflt::float_exception_flags = 0;
            ASSERT_EQ(plain(), expected) << name << " " << fa << " " << fb << " mode " << rm;
            ASSERT_EQ(raised_flags(), flags) << name << " " << fa << " " << fb << " mode " << rm;
            ASSERT_EQ(x.get_bits(), expected) << name << " " << fa << " " << fb << " mode " << rm;
            ASSERT_EQ(y.get_bits(), expected) << name << " " << fa << " " << fb << " mode " << rm;
            ASSERT_TRUE(x.get_repr() == fa.get_repr() && y.get_repr() == Repr::PACKED);
        };
        Word e = on_processor<T>(rm, &flags, [&] { return a + b; });
        check(
            "+", e, [&] { return H::add(wa, wb, mode); }, fa + fb, ga + gb);
        e = on_processor<T>(rm, &flags, [&] { return a - b; });
        check(
            "-", e, [&] { return H::sub(wa, wb, mode); }, fa - fb, ga - gb);
        e = on_processor<T>(rm, &flags, [&] { return a * b; });
        check(
            "*", e, [&] { return H::mul(wa, wb, mode); }, fa * fb, ga * gb);
        e = on_processor<T>(rm, &flags, [&] { return a / b; });
        check(
            "/", e, [&] { return H::div(wa, wb, mode); }, fa / fb, ga / gb);
        IEEEFloat x = fa;
        IEEEFloat y = ga;
        x.sqrt();
        y.sqrt();
        e = on_processor<T>(rm, &flags, [&] { return std::sqrt(a); });
        check(
            "sqrt", e, [&] { return H::sqrt(wa, mode); }, x, y);
        e = on_processor<T>(rm, &flags, [&] { return H::rint(a); });
        check(
            "round", e, [&] { return H::round_to_int(wa, mode); }, IEEEFloat::round(fa),
            IEEEFloat::round(ga));
        // The remainder is exact. The wider type has an instruction for it; the library routine of
        // the narrower ones may give a zero the wrong sign.
        e = on_processor<T>(IEEEFloat::NEAREST_EVEN, &flags, [&] {
            return static_cast<T>(
                std::remainder(static_cast<long double>(a), static_cast<long double>(b)));
        });
        ASSERT_EQ(H::rem(wa, wb), e) << "rem " << fa << " " << fb;

        x = fa;
        x.set_format(Hardware<Other>::FORMAT);
        ASSERT_EQ(x.get_bits(),
                  on_processor<Other>(rm, &flags, [&] { return static_cast<Other>(a); }))
            << "to the other format " << fa << " mode " << rm;
        y = ga;
        y.set_format(Hardware<Other>::FORMAT);
        ASSERT_TRUE(IEEEFloat::same_bits(x, y)) << "to the other format " << ga << " mode " << rm;

        const int order = std::isunordered(a, b) ? -2 : a < b ? -1 : a > b ? 1 : 0;
        ASSERT_EQ(IEEEFloat::ieee_cmp(fa, fb), order) << fa << " " << fb;
        ASSERT_EQ(IEEEFloat::ieee_cmp(ga, gb), order) << ga << " " << gb;
        ASSERT_EQ(H::lt(wa, wb), order == -1) << fa << " " << fb;
        ASSERT_EQ(H::le_quiet(wa, wb), order == -1 || order == 0) << fa << " " << fb;
        for (const IEEEFloat& v : {fa, ga}) {
            const T t = a;
            ASSERT_EQ(v.is_nan(), std::isnan(t)) << v;
            ASSERT_EQ(v.is_inf(), std::isinf(t)) << v;
            ASSERT_EQ(v.is_normal(), std::isnormal(t)) << v;
            ASSERT_EQ(v.is_subnormal(), std::fpclassify(t) == FP_SUBNORMAL) << v;
            ASSERT_EQ(v.is_zero(), t == 0) << v;
        }
        if (!fa.is_nan() && !fa.is_inf()) {
            const T t = a;
            ASSERT_EQ(fa.to_number(), QNumber(mpq_class(t))) << fa;
            const std::string text = fa.to_float_str();
            ASSERT_EQ(std::bit_cast<Word>(static_cast<T>(std::is_same_v<T, float>
                                                             ? std::strtof(text.c_str(), nullptr)
                                                             : std::strtod(text.c_str(), nullptr))),
                      wa)
                << text;
        }
        ASSERT_FALSE(testing::Test::HasFatalFailure());
    }
}

TEST(IEEEFloat, single_precision_agrees_with_the_processor)
{
    agree_with_processor<float>(11);
}

TEST(IEEEFloat, double_precision_agrees_with_the_processor)
{
    agree_with_processor<double>(12);
}

// ---- Small formats, by listing their values.

/// The values of a format by packed magnitude, from the definition of the encoding; the last entry
/// is the number that the infinity's place would hold.
class ValueList {
public:
    explicit ValueList(Format f) : format_(f)
    {
        const long m = static_cast<long>(f.significand_width);
        const long bias = (1L << (f.exponent_width - 1)) - 1;
        const long inf = ((1L << f.exponent_width) - 1) << m;
        for (long mag = 0; mag <= inf; ++mag) {
            const long field = mag >> m;
            const QNumber sig = (mag & ((1L << m) - 1)) + (field ? 1L << m : 0);
            const long exp = (field ? field : 1) - bias - m;
            values_.push_back(exp >= 0 ? sig * BVNumber::pow2(static_cast<unsigned long>(exp))
                                       : sig / BVNumber::pow2(static_cast<unsigned long>(-exp)));
        }
    }
    long inf() const { return static_cast<long>(values_.size()) - 1; }
    long words() const { return 1L << format_.width(); }
    long sign_bit() const { return words() / 2; }
    bool is_nan(long w) const { return w % sign_bit() > inf(); }
    bool is_inf(long w) const { return w % sign_bit() == inf(); }
    bool is_neg(long w) const { return w >= sign_bit(); }
    long nan() const { return sign_bit() + inf() + 1; }
    /// The value of a finite word; a number outside the format's range for other words.
    QNumber value(long w) const
    {
        const QNumber& v = values_[static_cast<std::size_t>(std::min(w % sign_bit(), inf()))];
        return is_neg(w) ? -v : v;
    }

    /// The word for an exact result. `below(v)` tells on which side of v its magnitude lies:
    /// negative, 0 or positive; `zero` is the sign of an exact zero.
    template <class Compare>
    long rounded(bool sign, Mode rm, Compare compare) const
    {
        long lo = 0;
        while (lo < inf() && compare(values_[static_cast<std::size_t>(lo + 1)]) >= 0)
            ++lo;
        long result = lo;
        const bool exact = compare(values_[static_cast<std::size_t>(lo)]) == 0;
        const bool away = rm == (sign ? IEEEFloat::TOWARD_MINUS_INF : IEEEFloat::TOWARD_PLUS_INF);
        if (lo == inf()) {
            result = away || rm == IEEEFloat::NEAREST_EVEN ? inf() : inf() - 1;
        } else if (!exact) {
            const QNumber middle = (values_[static_cast<std::size_t>(lo)] +
                                    values_[static_cast<std::size_t>(lo + 1)]) /
                                   2;
            const int side = compare(middle);
            if (away || (rm == IEEEFloat::NEAREST_EVEN && (side > 0 || (side == 0 && lo % 2 != 0))))
                ++result;
        }
        return result + (sign ? sign_bit() : 0);
    }
    long rounded(const QNumber& v, bool zero_sign, Mode rm) const
    {
        const QNumber magnitude = abs(v);
        return rounded(v.is_zero() ? zero_sign : v.is_neg(), rm,
                       [&](const QNumber& x) { return magnitude.compare(x); });
    }

private:
    Format format_;
    std::vector<QNumber> values_;
};

constexpr Format SMALL[] = {{2, 1}, {3, 1}, {2, 2}, {3, 2}, {4, 2}, {2, 3}, {3, 3}};

long word(const IEEEFloat& x)
{
    long w = -1;
    EXPECT_TRUE(x.get_bits().to_int(&w));
    return w;
}

TEST(IEEEFloat, small_formats_agree_with_exact_arithmetic_on_all_operands)
{
    for (const Format f : SMALL) {
        const ValueList list(f);
        const long sign_bit = list.sign_bit();
        for (long k = 0; k < 4 * list.words() * list.words(); ++k) {
            const Mode rm = MODES[k % 4];
            const long a = k / 4 / list.words();
            const long b = k / 4 % list.words();
            const IEEEFloat x = bits(a, f, rm);
            const IEEEFloat y = bits(b, f, rm);
            const bool nan = list.is_nan(a) || list.is_nan(b);
            const bool inf_a = list.is_inf(a);
            const bool inf_b = list.is_inf(b);
            const bool zero_a = a % sign_bit == 0;
            const bool zero_b = b % sign_bit == 0;
            const bool sign = list.is_neg(a) != list.is_neg(b);
            const long sign_word = sign ? sign_bit : 0;
            const auto sum = [&](long c, const QNumber& v) {
                // c is the second operand with the sign that it has in the sum
                if (nan || (inf_a && inf_b && list.is_neg(a) != list.is_neg(c)))
                    return list.nan();
                if (inf_a || inf_b)
                    return inf_a ? a : c;
                const bool zero_sign = zero_a && zero_b && list.is_neg(a) == list.is_neg(c)
                                           ? list.is_neg(a)
                                           : rm == IEEEFloat::TOWARD_MINUS_INF;
                return list.rounded(list.value(a) + v, zero_sign, rm);
            };
            const auto shown = [&] {
                return testing::Message() << x << " " << y << " mode " << rm;
            };
            ASSERT_EQ(word(x + y), sum(b, list.value(b))) << shown();
            ASSERT_EQ(word(x - y), sum((b + sign_bit) % list.words(), -list.value(b))) << shown();
            ASSERT_EQ(word(x * y), nan || (inf_a && zero_b) || (zero_a && inf_b) ? list.nan()
                                   : inf_a || inf_b
                                       ? list.inf() + sign_word
                                       : list.rounded(list.value(a) * list.value(b), sign, rm))
                << shown();
            ASSERT_EQ(word(x / y), nan || (inf_a && inf_b) || (zero_a && zero_b) ? list.nan()
                                   : inf_a || zero_b ? list.inf() + sign_word
                                   : zero_a || inf_b
                                       ? sign_word
                                       : list.rounded(list.value(a) / list.value(b), sign, rm))
                << shown();
            const int order = nan ? -2 : list.value(a).compare(list.value(b));
            ASSERT_EQ(IEEEFloat::ieee_cmp(x, y), nan ? -2 : (order > 0) - (order < 0)) << shown();
            ASSERT_TRUE((x < y) == (!nan && order < 0) && (x <= y) == (!nan && order <= 0) &&
                        (x == y) == (!nan && order == 0))
                << shown();
        }
    }
}

TEST(IEEEFloat, small_formats_agree_on_unary_operations_and_conversions)
{
    for (const Format f : SMALL) {
        const ValueList list(f);
        for (long k = 0; k < 4 * list.words(); ++k) {
            const Mode rm = MODES[k % 4];
            const long a = k / 4;
            const IEEEFloat x = bits(a, f, rm);
            const bool neg = list.is_neg(a);
            const auto shown = [&] { return testing::Message() << x << " mode " << rm; };
            IEEEFloat root = x;
            root.sqrt();
            if (list.is_nan(a)) {
                ASSERT_TRUE(word(x) == list.nan() && root.is_nan() && IEEEFloat::round(x).is_nan());
                ASSERT_THROW(x.to_number(), IEEEFloat::error);
                ASSERT_THROW(x.to_integer(8), IEEEFloat::error);
                continue;
            }
            const QNumber v = list.value(a);
            if (neg && !v.is_zero()) {
                ASSERT_TRUE(root.is_nan()) << shown();
            } else if (list.is_inf(a)) {
                ASSERT_TRUE(root.is_inf()) << shown();
            } else {
                ASSERT_EQ(word(root), list.rounded(neg, rm, [&](const QNumber& y) {
                    return v.compare(y * y);
                })) << shown();
            }
            if (list.is_inf(a)) {
                ASSERT_EQ(word(IEEEFloat::round(x)), a);
                ASSERT_THROW(x.to_number(), IEEEFloat::error);
                continue;
            }
            ASSERT_EQ(x.to_number(), v);
            const QNumber low = v.floor();
            const QNumber up = v.ceil();
            QNumber half = low / 2;
            const bool nearest_low = v - low < up - v || (v - low == up - v && half.is_int());
            const QNumber integer = rm == IEEEFloat::TOWARD_PLUS_INF    ? up
                                    : rm == IEEEFloat::TOWARD_MINUS_INF ? low
                                    : rm == IEEEFloat::TOWARD_ZERO      ? (neg ? up : low)
                                    : nearest_low                       ? low
                                                                        : up;
            ASSERT_EQ(word(IEEEFloat::round(x)), list.rounded(integer, neg, rm)) << shown();
            ASSERT_EQ(x.to_integer(0), integer) << shown();
            for (unsigned long width : {1ul, 3ul, 70ul}) {
                QNumber trimmed;
                integer.divmod(BVNumber::pow2(width), nullptr, &trimmed);
                ASSERT_EQ(x.to_integer(width), trimmed) << shown() << " width " << width;
            }
            for (const Format g : SMALL) {
                IEEEFloat y = x;
                y.set_format(g);
                ASSERT_EQ(word(y), ValueList(g).rounded(v, neg, rm)) << shown();
                ASSERT_EQ(y.get_rounding_mode(), rm);
            }
            IEEEFloat back =
                IEEEFloat::from_number(QNumber::from_str(x.to_float_str()), f, MODES[0]);
            if (neg)
                back.set_sign(true);
            ASSERT_TRUE(IEEEFloat::same_bits(back, x)) << x;
        }
        for (long n = -70; n <= 70; ++n) {
            for (long d = 1; d <= 40; ++d) {
                for (const Mode rm : MODES)
                    ASSERT_EQ(word(IEEEFloat::from_number(QNumber(n, d), f, rm)),
                              list.rounded(QNumber(n, d), false, rm))
                        << n << "/" << d << " mode " << rm;
            }
        }
    }
}

TEST(IEEEFloat, stepping_follows_the_two_lines)
{
    const auto check = [](Format f, bool packed) {
        const ValueList list(f);
        const auto make = [&](long w) {
            IEEEFloat x = bits(w, f);
            if (packed)
                x.self_specialize_repr(Repr::PACKED);
            return x;
        };
        // The line of packed values: NaN, then upward from minus infinity.
        std::vector<long> line{list.nan()};
        for (long w = list.sign_bit() + list.inf(); w >= list.sign_bit(); --w)
            line.push_back(w);
        for (long w = 0; w <= list.inf(); ++w)
            line.push_back(w);
        for (std::size_t i = 0; i < line.size(); ++i) {
            const IEEEFloat x = make(line[i]);
            for (std::size_t j = 0; j < line.size(); j += 3) {
                const IEEEFloat::Packed p(x);
                const IEEEFloat::Packed q(make(line[j]));
                ASSERT_TRUE((p < q) == (i < j) && (p <= q) == (i <= j) && (p == q) == (i == j));
            }
            if (i > 0) {
                ASSERT_EQ(word(IEEEFloat::packed_next(x, false)), line[i - 1]) << x;
            }
            const IEEEFloat above = IEEEFloat::packed_next(x, true);
            ASSERT_TRUE(i + 1 < line.size() ? word(above) == line[i + 1] : above.is_nan()) << x;
            if (i == 0)
                continue;
            // Among IEEE neighbours the two zeros are one point.
            for (const bool up : {false, true}) {
                const std::size_t end = up ? line.size() - 1 : 1;
                std::size_t next = i == end ? i : up ? i + 1 : i - 1;
                const bool from_zero = line[i] % list.sign_bit() == 0;
                const bool to_zero = line[next] % list.sign_bit() == 0;
                IEEEFloat y = x;
                up ? y.increment(true) : y.decrement(true);
                ASSERT_EQ(word(y), line[next]) << x;
                if (from_zero && to_zero)
                    next = up ? next + 1 : next - 1;
                y = x;
                up ? y.increment(false) : y.decrement(false);
                ASSERT_EQ(word(y), line[next]) << x;
                y = x;
                y.next_representable(up);
                ASSERT_EQ(word(y), line[next]) << x;
            }
        }
    };
    check({3, 3}, true);
    check({4, 2}, true);
    for (const bool packed : {false, true}) {
        IEEEFloat x(IEEEFloat::FLOAT64_FORMAT, MODES[0]);
        if (packed)
            x.self_specialize_repr(Repr::PACKED);
        x.self_inf(true);
        x.packed_next(false);
        EXPECT_EQ(x.get_bits(), swflt::float64_make_nan());
        x.packed_next(true);
        EXPECT_TRUE(x.is_inf() && x.get_sign());
        x.next_representable(true);
        IEEEFloat y = x;
        y.self_max_finite(true);
        EXPECT_TRUE(IEEEFloat::same_bits(x, y));
        y.self_zero(true);
        y.packed_next(true);
        EXPECT_TRUE(y.is_zero() && !y.get_sign());
        y.packed_next(true);
        EXPECT_EQ(y.get_bits(), 1);
    }
}

// ---- Wide formats, by the neighbours of an exact result.

/// x is q correctly rounded, given that stepping and `to_number` are right.
void expect_rounded(const IEEEFloat& x, const QNumber& q)
{
    ASSERT_FALSE(x.is_nan() || x.is_inf()) << x;
    const QNumber v = x.to_number();
    const Mode rm = x.get_rounding_mode();
    if (v == q)
        return;
    IEEEFloat other = x;
    other.next_representable(v < q);
    ASSERT_FALSE(other.is_inf());
    const QNumber w = other.to_number();
    ASSERT_TRUE(v < q ? q < w : w < q) << x << " for " << q;
    const QNumber away = abs(w - q) - abs(v - q);
    switch (rm) {
    case IEEEFloat::NEAREST_EVEN:
        ASSERT_TRUE(away.is_pos() || (away.is_zero() && !BVNumber::test_bit(x.get_bits(), 0)))
            << x << " for " << q;
        break;
    case IEEEFloat::TOWARD_ZERO:
        ASSERT_LT(abs(v), abs(q));
        break;
    default:
        ASSERT_EQ(rm == IEEEFloat::TOWARD_PLUS_INF, q < v) << x << " for " << q;
    }
}

QNumber random_integer(std::mt19937_64& rng, unsigned long length)
{
    QNumber x;
    for (unsigned long n = 0; n < length; n += 32)
        x = x * QNumber(1L << 32) + static_cast<long>(rng() >> 32);
    return BVNumber::bit_right_shift(x, rng() % 32);
}

TEST(IEEEFloat, wide_formats_round_exact_results_once)
{
    std::mt19937_64 rng(13);
    for (const Format f :
         {Format{5, 10}, Format{8, 23}, Format{11, 52}, Format{15, 112}, Format{9, 30}}) {
        for (int k = 0; k < 2000; ++k) {
            const Mode rm = MODES[k % 4];
            QNumber q = random_integer(rng, rng() % 15) / (random_integer(rng, rng() % 15) + 1);
            if (k % 3 == 0)
                q = (random_integer(rng, 400) + 1) / (random_integer(rng, 400) + 1);
            if (k % 2)
                q = -q;
            const IEEEFloat bound = [&] {
                IEEEFloat x(f, rm);
                x.self_max_finite(false);
                return x;
            }();
            if (abs(q) > bound.to_number())
                continue;
            const IEEEFloat x = IEEEFloat::from_number(q, f, rm);
            expect_rounded(x, q);
            ASSERT_EQ(x.get_rounding_mode(), rm);
            const IEEEFloat y =
                IEEEFloat::from_number(QNumber(static_cast<long>(rng() % 2000) + 1, 7), f, rm);
            if (abs(q) < 30) {
                expect_rounded(x + y, x.to_number() + y.to_number());
                expect_rounded(x - y, x.to_number() - y.to_number());
                expect_rounded(x * y, x.to_number() * y.to_number());
                expect_rounded(x / y, x.to_number() / y.to_number());
            }
            ASSERT_FALSE(testing::Test::HasFatalFailure()) << q;
            if (k % 20 == 0) {
                const IEEEFloat back =
                    IEEEFloat::from_number(QNumber::from_str(x.to_float_str()), f, MODES[0]);
                ASSERT_TRUE(x.is_zero() ? back.is_zero() : IEEEFloat::same_bits(back, x)) << x;
            }
        }
    }
}

TEST(IEEEFloat, decimals_are_rounded_once)
{
    const auto value = [](const char* q, Format f) {
        return IEEEFloat::from_number(QNumber::from_str(q), f, MODES[0]).to_number().to_str();
    };
    EXPECT_EQ(value("8/3", {4, 3}), "11/4");
    EXPECT_EQ(value("3.259", {5, 10}), "1669/512");
    EXPECT_EQ(value("1055/39", {5, 10}), "1731/64");
    EXPECT_EQ(value("0.04651588", {8, 23}), "12486511/268435456");
    EXPECT_EQ(value("1.5958649790166407", {11, 52}), "7187136924832967/4503599627370496");
    EXPECT_EQ(value("100001/2", {8, 23}), "100001/2");
    EXPECT_TRUE(IEEEFloat::from_number(QNumber::from_str("1e-1000"), {11, 52}, MODES[3]).is_zero());
    EXPECT_EQ(IEEEFloat::from_number(QNumber::from_str("1e-1000"), {11, 52}, MODES[2]).get_bits(),
              1);
    EXPECT_TRUE(
        IEEEFloat::from_number(QNumber::from_str("-1e-1000"), {11, 52}, MODES[2]).get_sign());
    EXPECT_TRUE(IEEEFloat::from_number(QNumber::from_str("1e1000"), {11, 52}, MODES[0]).is_inf());
}

TEST(IEEEFloat, nan_is_one_value)
{
    for (const Format f : {Format{8, 23}, Format{11, 52}, Format{5, 10}}) {
        const QNumber canonical =
            BVNumber::pow2(f.width()) - BVNumber::pow2(f.significand_width) + 1;
        const QNumber inf = BVNumber::pow2(f.width() - 1) - BVNumber::pow2(f.significand_width);
        for (const QNumber& payload :
             {inf + 1, inf + 2, BVNumber::pow2(f.width()) - 1, canonical}) {
            IEEEFloat x = bits(payload, f);
            EXPECT_EQ(x.get_bits(), canonical);
            x.self_neg();
            EXPECT_EQ(x.get_bits(), canonical);
            x.set_sign(false);
            EXPECT_EQ(x.get_bits(), canonical);
            const IEEEFloat one = IEEEFloat::from_number(1, f, MODES[0]);
            EXPECT_EQ((one - x).get_bits(), canonical);
            EXPECT_EQ((one + x).get_bits(), canonical);
            x -= one;
            EXPECT_EQ(x.get_bits(), canonical);
            x.next_representable(true);
            EXPECT_EQ(x.get_bits(), canonical);
            x.set_format({4, 9});
            EXPECT_TRUE(x.is_nan() && x.get_sign());
        }
    }
}

TEST(IEEEFloat, wide_exponents_cost_no_memory)
{
    const Format f{70, 5};
    IEEEFloat x = IEEEFloat::from_number(QNumber(3, 2), f, MODES[2]);
    const IEEEFloat tiny = bits(1, f, MODES[2]);
    IEEEFloat next = x;
    next.next_representable(true);
    EXPECT_TRUE(IEEEFloat::same_bits(x + tiny, next));
    EXPECT_TRUE(IEEEFloat::same_bits(x - tiny, x));
    EXPECT_TRUE(IEEEFloat::same_bits(tiny * tiny, tiny));
    IEEEFloat huge = x;
    huge.self_max_finite(false);
    EXPECT_TRUE((huge * huge).is_inf() && (huge / tiny).is_inf() && (huge + tiny).is_inf());
    EXPECT_THROW(huge.to_number(), IEEEFloat::error);
    EXPECT_THROW(huge.to_integer(0), IEEEFloat::error);
    EXPECT_EQ(huge.to_integer(64), 0);
    EXPECT_EQ(tiny.to_integer(64), 1);
    EXPECT_TRUE(IEEEFloat::same_bits(IEEEFloat::round(huge), huge));
    EXPECT_EQ(huge.to_str().substr(0, 10), "[70:5]?{0_");
    huge.set_format({8, 23});
    EXPECT_TRUE(huge.is_inf());
    EXPECT_THROW(bits(1, {1ul << 40, 3}) += bits(1, {1ul << 40, 3}), IEEEFloat::error);
}

TEST(IEEEFloat, texts_and_errors)
{
    EXPECT_EQ(IEEEFloat().to_str(), "[0:0]+0{0}");
    EXPECT_EQ(IEEEFloat({3, 2}, MODES[0]).to_str(), "[3:2]0{0_000_00}");
    IEEEFloat x = IEEEFloat::from_number(QNumber(-5, 4), {3, 2}, MODES[0]);
    EXPECT_EQ(x.to_str(), "[3:2]-1.25{1_011_01}");
    x.self_zero(true);
    EXPECT_EQ(x.to_float_str(), "-0");
    x.self_inf(true);
    EXPECT_EQ(x.to_str(), "[3:2]-Inf{1_111_00}");
    x.self_neg();
    EXPECT_EQ(x.to_str(), "[3:2]+Inf{0_111_00}");
    const auto text = [](const char* q) {
        return IEEEFloat::from_number(QNumber::from_str(q), {11, 52}, MODES[0]).to_float_str();
    };
    EXPECT_EQ(text("0.1"), "0.1");
    EXPECT_EQ(text("-100"), "-100.0");
    EXPECT_EQ(text("12.5"), "12.5");
    EXPECT_EQ(text("1e300"), "1.0e300");
    EXPECT_EQ(text("-1.25e-100"), "-1.25e-100");
    const auto message = [](auto op) -> std::string {
        try {
            op();
        } catch (const IEEEFloat::error& e) {
            return e.get_msg();
        }
        return "nothing thrown";
    };
    EXPECT_EQ(message([&] { x.to_number(); }), "can't convert infinity to a Number");
    EXPECT_EQ(message([&] { x.to_float_str(); }), "can't convert Infinity to float str");
    x.self_nan();
    EXPECT_EQ(message([&] { x.to_number(); }), "can't convert NaN to a Number");
    EXPECT_EQ(message([&] { x.to_float_str(); }), "can't convert NaN to float str");
    for (const Format f : {Format{5, 10}, Format{8, 23}, Format{11, 52}}) {
        IEEEFloat y = IEEEFloat::from_number(3, f, MODES[0]);
        const IEEEFloat before = y;
        y.set_rounding_mode(Mode(7));
        EXPECT_EQ(message([&] { y /= before; }), "bad rounding mode: 7");
        EXPECT_EQ(message([&] { y += before; }), "bad rounding mode: 7");
        EXPECT_EQ(message([&] { y.sqrt(); }), "bad rounding mode: 7");
        EXPECT_TRUE(IEEEFloat::same_bits(y, before));
    }
}

} // namespace
} // namespace tarq
