// The rounded operations.
#include "terms/bvnumber.h"
#include "theory/fp/fpbvencoder.h"

#include <algorithm>
#include <utility>

namespace tarq::fp {

/// Below the significand of the smaller operand only three bits matter: two that are exact and one
/// for all that was shifted out. With the greater magnitude first the difference is never negative.
const Term_* FpBvEncoder::enc_add_sub(const Term_* t, bool subtract)
{
    const Format f = format_of(t);
    const size_t e = f.exponent_width;
    const size_t m = f.significand_width;
    const Term_* rm = arg(t, 0);
    const Term_* a = arg(t, 1);
    const Term_* b = arg(t, 2);
    const Term_* nan = either({enc_is_nan(a, f), enc_is_nan(b, f)});
    const Term_* inf_a = enc_is_inf(a, f);
    const Term_* inf_b = enc_is_inf(b, f);
    const Term_* sign_a = enc_sign(a);
    const Term_* sign_b = subtract ? negate(enc_sign(b)) : enc_sign(b);
    const Term_* same = target_->make_iff(sign_a, sign_b);
    const Term_* swap = apply(&TermManager::make_bv_ult, {magnitude(a), magnitude(b)});
    const Term_* big = ite({swap, magnitude(b), magnitude(a)});
    const Term_* small = ite({swap, magnitude(a), magnitude(b)});
    const Term_* sign_big = ite({swap, to_word(sign_b, 1), to_word(sign_a, 1)});

    // the fields do not reach to the sign, which is missing here
    const Term_* exp = enc_get_exponent(big, f);
    const Term_* distance = target_->make_bv_sub(exp, enc_get_exponent(small, f));
    const Term_* lost = nullptr;
    const Term_* far = clamp(distance, m + 3);
    const Term_* shifted = shift_right_sticky(pad(enc_get_mantissa(small, f), m + 3), far, &lost);
    shifted = zext(concat(shifted, to_word(lost, 1)), m + 5);
    const Term_* wide = zext(pad(enc_get_mantissa(big, f), m + 4), m + 5);
    // a - b as a + ~b + 1, the one being the carry out of a bit below
    const Term_* inverted = ite(same, shifted, target_->make_bv_not(shifted));
    const Term_* one = to_word(negate(same), 1);
    const Term_* sum = apply(&TermManager::make_bv_add, {concat(wide, one), concat(inverted, one)});
    sum = slice(sum, m + 5, 1);

    // an exact zero of operands with different signs is positive but for one mode
    const Term_* downward = both({bit(rm, 0), bit(rm, 1)});
    const Term_* zero_sign = ite({same, to_word(sign_a, 1), to_word(downward, 1)});
    Exact x;
    x.nan = either(nan, both({both(inf_a, inf_b), negate(same)}));
    x.inf = either(inf_a, inf_b);
    x.sign = bit(ite(is_zero(sum), zero_sign, sign_big), 0);
    x.exp = add_number(zext(exp, e + 1), 1);
    x.mant = sum;
    x.sticky = nullptr;
    x.low = 2;
    x.high = f.max_exponent();
    x.limit = m + 4;
    x.fits = true;
    return enc_do_rounding(rm, f, std::move(x));
}

const Term_* FpBvEncoder::encode_mul(const Term_* t)
{
    const Format f = format_of(t);
    const Unpacked a = unpack_normalized(arg(t, 1), f);
    const Unpacked b = unpack_normalized(arg(t, 2), f);
    const size_t w = std::max(width(a.exp), f.exponent_width) + 2;
    const size_t n = 2 * f.significand_width + 2;
    Exact x;
    x.nan = either({either(a.nan, b.nan), either({both(a.inf, b.zero), both(a.zero, b.inf)})});
    x.inf = either(a.inf, b.inf);
    x.sign = differ(a.sign, b.sign);
    const Term_* sum = apply(&TermManager::make_bv_add, {sext(a.exp, w), sext(b.exp, w)});
    const QNumber shift = QNumber(1) - f.bias();
    x.exp = add_number(sum, shift);
    const Term_* wide = zext(a.mant, n);
    x.mant = target_->make_bv_mul(wide, zext(b.mant, n));
    x.sticky = nullptr;
    x.low = a.low + b.low + shift;
    x.high = a.high + b.high + shift;
    x.limit = 1;
    x.fits = false;
    return enc_do_rounding(arg(t, 0), f, std::move(x));
}

/// Restoring division, a quotient bit at a time: the remainder stays below the divisor, and two
/// significands differ by less than a factor of 2.
const Term_* FpBvEncoder::encode_div(const Term_* t)
{
    const Format f = format_of(t);
    const size_t m = f.significand_width;
    const Unpacked a = unpack_normalized(arg(t, 1), f);
    const Unpacked b = unpack_normalized(arg(t, 2), f);
    const Term_* rest = zext(a.mant, m + 2);
    const Term_* divisor = zext(b.mant, m + 2);
    const Term_* quotient = nullptr;
    for (size_t i = 0; i < m + 3; ++i) {
        if (i > 0) {
            rest = concat({slice(rest, m, 0), number(0, 1)});
        }
        const Term_* less = target_->make_bv_sub(rest, divisor);
        const Term_* fits = negate(bit(less, m + 1));
        rest = ite(fits, less, rest);
        const Term_* digit = to_word(fits, 1);
        quotient = quotient ? concat(quotient, digit) : digit;
    }
    // a finite number over infinity is a zero
    const Term_* vanishes = b.inf;
    const size_t w = std::max(width(a.exp), f.exponent_width) + 2;
    Exact x;
    x.nan = either({either(a.nan, b.nan), either({both(a.inf, b.inf), both(a.zero, b.zero)})});
    x.inf = either(a.inf, b.zero);
    x.sign = differ(a.sign, b.sign);
    const Term_* difference = apply(&TermManager::make_bv_sub, {sext(a.exp, w), sext(b.exp, w)});
    x.exp = add_number(difference, f.bias());
    x.mant = ite(vanishes, number(0, m + 3), quotient);
    x.sticky = both({negate(vanishes), negate(is_zero(rest))});
    x.low = a.low - b.high + f.bias();
    x.high = a.high - b.low + f.bias();
    x.limit = 1;
    x.fits = false;
    return enc_do_rounding(arg(t, 0), f, std::move(x));
}

/// Restoring digit recurrence: with the root so far q, r is what is missing to the operand, scaled
/// by 2 at each digit; a digit s fits if 2r - (2q + s) is not negative.
const Term_* FpBvEncoder::encode_sqrt(const Term_* t)
{
    const Format f = format_of(t);
    const size_t m = f.significand_width;
    const Term_* word = arg(t, 1);
    const Unpacked a = unpack_normalized(word, f);
    // the bias is odd
    const Term_* odd = negate(bit(a.exp, 0));
    const size_t w = m + 5; // r is below 4, in units of 2^-(m + 1)
    const Term_* operand = zext(pad(a.mant, m + 2), w);
    operand = ite(odd, target_->make_bv_lshl(operand, number(1, w)), operand);
    const Term_* rest = add_number(operand, -BVNumber::pow2(m + 1));
    const Term_* root = number(1, 1);
    for (size_t i = m + 1; i-- > 0;) {
        const Term_* twice = concat({slice(rest, w - 2, 0), number(0, 1)});
        const Term_* trial = concat(root, number(1, 2)); // 2q + s
        trial = zext(i > 0 ? concat(trial, number(0, i)) : trial, w);
        const Term_* less = target_->make_bv_sub(twice, trial);
        const Term_* fits = negate(bit(less, w - 1));
        rest = ite(fits, less, twice);
        root = concat(root, to_word(fits, 1));
    }
    const Term_* even = apply(&TermManager::make_bv_sub,
                              {sext(a.exp, width(a.exp) + 1), to_word(odd, width(a.exp) + 1)});
    const size_t exp_width = std::max(width(even), f.exponent_width + 1) + 1;
    const Term_* unbiased = add_number(sext(even, exp_width), -f.bias());
    Exact x;
    x.nan = either(a.nan, both(a.sign, negate(a.zero)));
    x.inf = a.inf;
    x.sign = target_->make_false();
    x.exp = add_number(sext(slice(unbiased, exp_width - 1, 1), exp_width), f.bias());
    x.mant = root;
    x.sticky = negate(is_zero(rest));
    x.low = ((a.low - f.bias()) / 2).floor() + f.bias();
    x.high = ((a.high - f.bias()) / 2).floor() + f.bias();
    x.limit = 0;
    x.fits = false;
    const Term_* result = enc_do_rounding(arg(t, 0), f, std::move(x));
    return ite(a.zero, word, result);
}

const Term_* FpBvEncoder::encode_cast(const Term_* t)
{
    const Format from = format_of(t->child(1));
    const Format to = format_of(t);
    const Term_* word = arg(t, 1);
    if (from == to) {
        return word;
    }
    const Unpacked a = unpack_normalized(word, from);
    const QNumber shift = to.bias() - from.bias();
    Exact x;
    x.nan = a.nan;
    x.inf = a.inf;
    x.sign = a.sign;
    const size_t w = std::max(width(a.exp), to.exponent_width) + 2;
    x.exp = add_number(sext(a.exp, w), shift);
    x.mant = a.mant;
    x.sticky = nullptr;
    x.low = a.low + shift;
    x.high = a.high + shift;
    x.limit = 0;
    x.fits = false;
    return enc_do_rounding(arg(t, 0), to, std::move(x));
}

const Term_* FpBvEncoder::encode_from_bv(const Term_* t, bool is_signed)
{
    const Format f = format_of(t);
    const Term_* value = arg(t, 1);
    const size_t w = width(value);
    Exact x;
    x.nan = x.inf = target_->make_false();
    x.sign = is_signed ? enc_sign(value) : target_->make_false();
    x.mant = is_signed ? ite(x.sign, target_->make_bv_neg(value), value) : value;
    x.sticky = nullptr;
    x.low = x.high = f.bias() + QNumber(w - 1);
    x.exp = number(x.low, BVNumber::bit_length(x.low) + 1);
    x.limit = w - 1;
    x.fits = false;
    return enc_do_rounding(arg(t, 0), f, std::move(x));
}

/// On the packed magnitude: bits of less weight than 1 are cleared, and one more unit is added where
/// the mode says so, with the carry going into the exponent. Below 1 there are two results only.
const Term_* FpBvEncoder::encode_round_to_int(const Term_* t)
{
    const Format f = format_of(t);
    const size_t m = f.significand_width;
    const size_t n = f.width() - 1;
    const Term_* rm = arg(t, 0);
    const Term_* word = arg(t, 1);
    const Term_* size = magnitude(word);
    const Term_* sign = enc_sign(word);
    const Term_* one = number(f.bias() * BVNumber::pow2(m), n);
    // Below 1. With the exponent width 2 the half is a subnormal, as the field 1 is that of the number 1.
    const QNumber half_bits =
        f.exponent_width == 2 ? BVNumber::pow2(m - 1) : (f.bias() - 1) * BVNumber::pow2(m);
    const Term_* half = number(half_bits, n);
    const Term_* at_least_half = target_->make_bv_ule(half, size);
    const Term_* between = both({negate(is_zero(size)), negate(target_->make_equal(size, half))});
    const Term_* small_up = enc_round_up(rm, sign, target_->make_false(), at_least_half, between);
    const Term_* small_result = ite(small_up, one, number(0, n));

    // From 1 on: `count` bits at the end have less weight than 1, at most m.
    const QNumber integral = f.bias() + QNumber(m); // the least field without any
    const size_t w = std::max<size_t>(f.exponent_width, BVNumber::bit_length(integral)) + 1;
    const Term_* field = zext(exponent_field(size, f), w);
    const Term_* count = target_->make_bv_sub(number(integral, w), field);
    count = ite({bit(count, w - 1), number(0, w), count});
    const Term_* keep =
        apply(&TermManager::make_bv_lshl, {number(-1, m + 1), zext(clamp(count, m), m + 1)});
    const Term_* lost = target_->make_bv_not(keep);
    const Term_* below_half = zext(slice(lost, m, 1), m + 1);
    const Term_* half_bit = target_->make_bv_and(lost, target_->make_bv_not(below_half));
    const Term_* unit = target_->make_bv_and(keep, concat({slice(lost, m - 1, 0), number(1, 1)}));
    const Term_* mant = concat({number(1, 1), fraction_field(size, f)});
    const auto any = [&](const Term_* mask) {
        const Term_* bits = target_->make_bv_and(mant, mask);
        return negate(is_zero(bits));
    };
    const Term_* odd = any(unit);
    const Term_* half_set = any(half_bit);
    const Term_* up = enc_round_up(rm, sign, odd, half_set, any(below_half));
    const Term_* cut = target_->make_bv_and(size, target_->make_bv_not(zext(lost, n)));
    const Term_* large = target_->make_bv_add(cut, ite({up, zext(unit, n), number(0, n)}));

    const Term_* result = ite(target_->make_bv_ult(size, one), small_result, large);
    return ite({enc_is_nan(word, f), word, with_sign(sign, result)});
}

} // namespace tarq::fp
