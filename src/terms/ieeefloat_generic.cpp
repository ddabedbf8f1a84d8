// The arithmetic of IEEEFloat for any format, on integers of any size, and the conversions between
// floats, rationals and formats.
//
// An unpacked finite number is a non-negative significand `mant` and an exponent `exp` with the
// value mant * 2^(exp - m), m being the significand width of its format. Exponents are QNumbers,
// since a format may be wider than a word; they are small in every practical case.
#include "terms/ieeefloat.h"

#include "terms/bvnumber.h"
#include "terms/swflt.h"

#include <algorithm>

namespace tarq {

/// The shared scratch numbers. `mant1` and `exp1` hold the operand of `round_and_pack_float`.
struct IEEEFloat::TempNumProvider {
    QNumber exp1, exp2, mant1, mant2, tmp1, tmp2, tmp3;
};

IEEEFloat::TempNumProvider& IEEEFloat::temps()
{
    static TempNumProvider provider;
    return provider;
}

namespace {

constexpr const char* LIMIT_TEXT = "reached limit on float precision";

/// The value as a shift count or number of bits.
std::uint64_t bounded_count(const QNumber& n)
{
    long v;
    if (!n.to_int(&v) || v < 0 || static_cast<std::uint64_t>(v) > IEEEFloat::PRECISION_LIMIT)
        throw IEEEFloat::error(LIMIT_TEXT);
    return static_cast<std::uint64_t>(v);
}

} // namespace

// A format wider than this could not be computed with in any memory; without the test a script
// could ask for it.
void IEEEFloat::check_limits(format f)
{
    if (f.exponent_width > PRECISION_LIMIT || f.significand_width > PRECISION_LIMIT)
        throw error(LIMIT_TEXT);
}

/// Splits a packed word into fraction and exponent field; gives the sign.
bool IEEEFloat::unpack_components(format f, const QNumber& bits, QNumber& exp, QNumber& mant)
{
    mant = bits;
    BVNumber::trim(mant, f.significand_width);
    BVNumber::bit_right_shift(bits, f.significand_width, &exp);
    const bool sign = BVNumber::test_bit(exp, f.exponent_width);
    BVNumber::set_bit(exp, f.exponent_width, false);
    return sign;
}

void IEEEFloat::get_flags(format f, const QNumber& bits, bool& is_zero, bool& is_nan, bool& is_inf)
{
    const std::uint64_t m = f.significand_width;
    const std::uint64_t top = m + f.exponent_width;
    const std::uint64_t first = BVNumber::next_one(bits, 0);
    const bool special = BVNumber::next_zero(bits, m) >= top;
    is_zero = first >= top;
    is_nan = special && first < m;
    is_inf = special && first >= m;
}

/// Unpacks a finite number, with its hidden bit; gives the sign.
bool IEEEFloat::get_unbiased(format f, const QNumber& bits, QNumber& exp, QNumber& mant)
{
    const bool sign = unpack_components(f, bits, exp, mant);
    if (exp.is_zero())
        exp += 1;
    else
        BVNumber::set_bit(mant, f.significand_width, true);
    exp -= f.bias();
    return sign;
}

/// As `get_unbiased` for a number other than zero, with the top bit of the significand at bit m.
bool IEEEFloat::get_normalized(format f, const QNumber& bits, QNumber& exp, QNumber& mant)
{
    const bool sign = get_unbiased(f, bits, exp, mant);
    const std::uint64_t shift = f.significand_width + 1 - BVNumber::bit_length(mant);
    if (shift != 0) {
        BVNumber::bit_left_shift(mant, shift, &mant);
        exp -= shift;
    }
    return sign;
}

QNumber IEEEFloat::do_make_zero(format f, bool sign)
{
    return sign ? BVNumber::pow2(f.width() - 1) : QNumber();
}

QNumber IEEEFloat::do_make_inf(format f, bool sign)
{
    return BVNumber::pow2(f.width() - (sign ? 0 : 1)) - BVNumber::pow2(f.significand_width);
}

QNumber IEEEFloat::do_make_nan(format f)
{
    return do_make_inf(f, true) + 1;
}

QNumber IEEEFloat::do_make_max_finite(format f, bool sign)
{
    return do_make_inf(f, sign) - 1;
}

/// mant := mant / 2^count, rounded to an integer as the magnitude of a number of the given sign.
/// Gives whether the result is inexact.
/// count  any integer; a negative one shifts left, exactly
bool IEEEFloat::shift_and_round(std::uint32_t rm, bool sign, const QNumber& count, QNumber& mant)
{
    if (mant.is_zero())
        return false;
    if (count.is_neg()) {
        BVNumber::bit_left_shift(mant, bounded_count(count.neg()), &mant);
        return false;
    }
    // From one bit more than the length on all is below the guard bit, however far.
    const std::uint64_t beyond = BVNumber::bit_length(mant) + 1;
    const std::uint64_t n = count < beyond ? bounded_count(count) : beyond;
    if (n == 0)
        return false;
    const bool guard = BVNumber::test_bit(mant, n - 1);
    const bool sticky = BVNumber::next_one(mant, 0) < n - 1;
    BVNumber::bit_right_shift(mant, n, &mant);
    bool up = false;
    switch (rm) {
    case NEAREST_EVEN:
        up = guard && (sticky || BVNumber::test_bit(mant, 0));
        break;
    case TOWARD_ZERO:
        break;
    case TOWARD_PLUS_INF:
        up = (guard || sticky) && !sign;
        break;
    case TOWARD_MINUS_INF:
        up = (guard || sticky) && sign;
        break;
    default:
        check_mode(rm);
    }
    if (up)
        mant += 1;
    return guard || sticky;
}

/// The packed word nearest to mant1 * 2^(exp1 - m) in the mode. A negative significand flips the
/// sign.
/// throws  error "bad rounding mode: " and the number
QNumber IEEEFloat::round_and_pack_float(format f, std::uint32_t rm, bool sign)
{
    check_mode(rm);
    QNumber& mant = temps().mant1;
    if (mant.is_neg()) {
        sign = !sign;
        mant.self_neg();
    }
    if (mant.is_zero())
        return do_make_zero(f, sign);

    // Below, `field` is the exponent field that a normal number would have, and `drop` counts the
    // bits that lie below the last place of the result.
    const std::uint64_t m = f.significand_width;
    QNumber& drop = temps().tmp1;
    QNumber& field = temps().tmp2;
    drop = BVNumber::bit_length(mant);
    drop -= m + 1;
    field = temps().exp1;
    field += f.bias();
    field += drop;
    if (field >= f.max_exponent()) {
        const bool away = rm == NEAREST_EVEN || (rm == TOWARD_PLUS_INF && !sign) ||
                          (rm == TOWARD_MINUS_INF && sign);
        return away ? do_make_inf(f, sign) : do_make_max_finite(f, sign);
    }
    if (field < 1) {
        drop += 1;
        drop -= field;
        field = 1;
    }
    shift_and_round(rm, sign, drop, mant);

    // Adding the significand with its hidden bit to the field below its own makes every case come
    // out: a subnormal has no hidden bit and gets field 0, a carry goes into the field, and a carry
    // into the last field gives infinity, which is where the value was rounded to.
    QNumber& word = temps().tmp3;
    field -= 1;
    BVNumber::bit_left_shift(field, m, &word);
    word += mant;
    if (sign)
        BVNumber::set_bit(word, f.width() - 1, true);
    return word;
}

QNumber IEEEFloat::add_sub_float(bool negate_second, const QNumber& b) const
{
    check_limits(format_);
    const std::uint32_t rm = get_rounding_mode();
    check_mode(rm);
    bool zero1, nan1, inf1, zero2, nan2, inf2;
    get_flags(format_, bits_, zero1, nan1, inf1);
    get_flags(format_, b, zero2, nan2, inf2);
    if (nan1 || nan2)
        return do_make_nan(format_);
    TempNumProvider& t = temps();
    bool sign1 = get_unbiased(format_, bits_, t.exp1, t.mant1);
    bool sign2 = get_unbiased(format_, b, t.exp2, t.mant2) != negate_second;
    if (inf1)
        return inf2 && sign1 != sign2 ? do_make_nan(format_) : bits_;
    if (inf2)
        return do_make_inf(format_, sign2);
    if (zero1 && zero2)
        return do_make_zero(format_, sign1 == sign2 ? sign1 : rm == TOWARD_MINUS_INF);

    if (t.exp1 < t.exp2) {
        t.exp1.swap(t.exp2);
        t.mant1.swap(t.mant2);
        std::swap(sign1, sign2);
        zero2 = zero1;
    }
    QNumber& distance = t.tmp1;
    distance = t.exp1;
    distance -= t.exp2;
    // Both significands have at most m + 1 bits, and that of the greater exponent has all of
    // them unless the exponents are equal. From this distance on the other operand is below a
    // quarter of the guard bit, so that any non-zero value there rounds alike, and the shift stays
    // short.
    const std::uint64_t far = format_.significand_width + 4;
    std::uint64_t shift = far;
    if (distance < far) {
        shift = bounded_count(distance);
    } else if (!zero2) {
        t.mant2 = 1;
    }
    BVNumber::bit_left_shift(t.mant1, shift, &t.mant1);
    t.exp1 -= shift;
    if (sign1 == sign2)
        t.mant1 += t.mant2;
    else
        t.mant1 -= t.mant2;
    if (t.mant1.is_zero())
        return do_make_zero(format_, rm == TOWARD_MINUS_INF);
    return round_and_pack_float(format_, rm, sign1);
}

QNumber IEEEFloat::mul_float(const QNumber& b) const
{
    check_limits(format_);
    bool zero1, nan1, inf1, zero2, nan2, inf2;
    get_flags(format_, bits_, zero1, nan1, inf1);
    get_flags(format_, b, zero2, nan2, inf2);
    if (nan1 || nan2 || (inf1 && zero2) || (zero1 && inf2))
        return do_make_nan(format_);
    TempNumProvider& t = temps();
    const bool sign1 = get_unbiased(format_, bits_, t.exp1, t.mant1);
    const bool sign = get_unbiased(format_, b, t.exp2, t.mant2) != sign1;
    if (inf1 || inf2)
        return do_make_inf(format_, sign);
    if (zero1 || zero2)
        return do_make_zero(format_, sign);
    t.exp1 += t.exp2;
    t.exp1 -= format_.significand_width;
    t.mant1 *= t.mant2;
    return round_and_pack_float(format_, get_rounding_mode(), sign);
}

QNumber IEEEFloat::div_float(const QNumber& b) const
{
    check_limits(format_);
    bool zero1, nan1, inf1, zero2, nan2, inf2;
    get_flags(format_, bits_, zero1, nan1, inf1);
    get_flags(format_, b, zero2, nan2, inf2);
    if (nan1 || nan2 || (inf1 && inf2) || (zero1 && zero2))
        return do_make_nan(format_);
    const bool sign = BVNumber::test_bit(bits_, format_.width() - 1) !=
                      BVNumber::test_bit(b, format_.width() - 1);
    if (inf1 || zero2)
        return do_make_inf(format_, sign);
    if (zero1 || inf2)
        return do_make_zero(format_, sign);
    TempNumProvider& t = temps();
    get_normalized(format_, bits_, t.exp1, t.mant1);
    get_normalized(format_, b, t.exp2, t.mant2);
    // Significands of equal length: the quotient has at least m + 3 bits, so the sticky bit that
    // stands for the remainder lies below the guard bit.
    BVNumber::bit_left_shift(t.mant1, format_.significand_width + 3, &t.mant1);
    t.mant1.divmod(t.mant2, &t.mant1, &t.tmp1);
    t.exp1 -= t.exp2;
    t.exp1 -= 3;
    if (!t.tmp1.is_zero()) {
        BVNumber::bit_left_shift(t.mant1, 1, &t.mant1);
        t.mant1 += 1;
        t.exp1 -= 1;
    }
    return round_and_pack_float(format_, get_rounding_mode(), sign);
}

QNumber IEEEFloat::sqrt_float() const
{
    check_limits(format_);
    bool zero, nan, inf;
    get_flags(format_, bits_, zero, nan, inf);
    const bool sign = BVNumber::test_bit(bits_, format_.width() - 1);
    if (nan || (sign && !zero))
        return do_make_nan(format_);
    if (zero || inf)
        return bits_;
    TempNumProvider& t = temps();
    get_normalized(format_, bits_, t.exp1, t.mant1);
    // exp = 2*half + odd with odd 0 or 1. The radicand mant * 2^(m + 4 + odd) has 2m + 5 bits or
    // one more, so its root has m + 3, and value = root * 2^(half - 2 - m).
    t.exp1.divmod(2, &t.exp1, &t.tmp1);
    const std::uint64_t odd = t.tmp1.is_zero() ? 0 : 1;
    BVNumber::bit_left_shift(t.mant1, format_.significand_width + 4 + odd, &t.mant1);
    mpz_class root;
    mpz_class rest;
    const mpz_class radicand = t.mant1.num_to_mpz();
    mpz_sqrtrem(root.get_mpz_t(), rest.get_mpz_t(), radicand.get_mpz_t());
    t.mant1 = QNumber(root);
    t.exp1 -= 2;
    if (rest != 0) {
        BVNumber::bit_left_shift(t.mant1, 1, &t.mant1);
        t.mant1 += 1;
        t.exp1 -= 1;
    }
    return round_and_pack_float(format_, get_rounding_mode(), false);
}

void IEEEFloat::round_to_integral()
{
    check_limits(format_);
    check_mode(get_rounding_mode());
    bool zero, nan, inf;
    get_flags(format_, bits_, zero, nan, inf);
    if (zero || nan || inf)
        return;
    TempNumProvider& t = temps();
    const bool sign = get_unbiased(format_, bits_, t.exp1, t.mant1);
    QNumber drop(format_.significand_width);
    drop -= t.exp1;
    if (drop <= 0)
        return;
    shift_and_round(get_rounding_mode(), sign, drop, t.mant1);
    t.exp1 = format_.significand_width;
    bits_ = round_and_pack_float(format_, get_rounding_mode(), sign);
}

void IEEEFloat::set_format(format f)
{
    if (f == format_)
        return;
    const Repr best = get_best_repr(f);
    IEEEFloat r(f, best, get_rounding_mode());
    if (get_repr() == Repr::FLOAT32 && best == Repr::FLOAT64) {
        r.word_ = swflt::float32_to_float64(static_cast<swflt::float32>(word_));
    } else if (get_repr() == Repr::FLOAT64 && best == Repr::FLOAT32) {
        r.word_ = swflt::float64_to_float32(word_, hardware_mode());
    } else if (is_nan()) {
        r.self_nan();
    } else if (is_inf()) {
        r.self_inf(get_sign());
    } else if (is_zero()) {
        r.self_zero(get_sign());
    } else {
        check_limits(format_);
        check_limits(f);
        TempNumProvider& t = temps();
        const bool sign = get_unbiased(format_, get_bits(), t.exp1, t.mant1);
        t.exp1 += f.significand_width;
        t.exp1 -= format_.significand_width;
        r.store_bits(round_and_pack_float(f, get_rounding_mode(), sign));
    }
    *this = std::move(r);
}

// Rounds once: a quotient long enough for the target, with one sticky bit for its remainder.
QNumber IEEEFloat::from_rational(const QNumber& q, format f, std::uint32_t rm)
{
    check_limits(f);
    TempNumProvider& t = temps();
    const QNumber num = abs(q).get_num();
    const QNumber den = q.get_den();
    const std::uint64_t m = f.significand_width;
    t.mant1 = num;
    t.exp1 = m;
    if (den != 1) {
        const std::uint64_t wanted = m + 3 + BVNumber::bit_length(den);
        const std::uint64_t length = BVNumber::bit_length(num);
        const std::uint64_t shift = wanted > length ? wanted - length : 0;
        BVNumber::bit_left_shift(num, shift, &t.mant1);
        t.mant1.divmod(den, &t.mant1, &t.tmp1);
        BVNumber::bit_left_shift(t.mant1, 1, &t.mant1);
        if (!t.tmp1.is_zero())
            t.mant1 += 1;
        t.exp1 -= shift + 1;
    }
    return round_and_pack_float(f, rm, q.is_neg());
}

QNumber IEEEFloat::to_number() const
{
    if (is_nan())
        throw error("can't convert NaN to a Number");
    if (is_inf())
        throw error("can't convert infinity to a Number");
    if (is_zero())
        return QNumber();
    check_limits(format_);
    TempNumProvider& t = temps();
    const bool sign = get_unbiased(format_, get_bits(), t.exp1, t.mant1);
    t.exp1 -= format_.significand_width;
    QNumber result = t.mant1;
    if (t.exp1.is_neg())
        result /= BVNumber::pow2(bounded_count(t.exp1.neg()));
    else
        BVNumber::bit_left_shift(result, bounded_count(t.exp1), &result);
    if (sign)
        result.self_neg();
    return result;
}

QNumber IEEEFloat::to_integer(std::uint64_t width) const
{
    if (is_nan())
        throw error("can't convert NaN to a Number");
    if (is_inf())
        throw error("can't convert infinity to a Number");
    check_limits(format_);
    check_mode(get_rounding_mode());
    TempNumProvider& t = temps();
    const bool sign = get_unbiased(format_, get_bits(), t.exp1, t.mant1);
    QNumber drop(format_.significand_width);
    drop -= t.exp1;
    // A multiple of 2^width is 0 in that many bits, however large it is.
    if (width != 0 && drop <= -QNumber(width))
        return QNumber();
    QNumber result = t.mant1;
    shift_and_round(get_rounding_mode(), sign, drop, result);
    if (sign)
        result.self_neg();
    if (width != 0)
        BVNumber::trim(result, width);
    return result;
}

} // namespace tarq
