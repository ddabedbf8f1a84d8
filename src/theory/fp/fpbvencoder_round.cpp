// Words and their fields, and the rounding of exact results.
#include "terms/bvnumber.h"
#include "theory/fp/fpbvencoder.h"

#include <algorithm>

namespace tarq::fp {

namespace {

/// The bits of an unsigned number from 0 to n.
size_t bits_for(size_t n)
{
    size_t bits = 0;
    while (n >> bits != 0) {
        ++bits;
    }
    return bits;
}

/// The bits of a signed number that may be anything from low to high.
size_t signed_bits_for(const QNumber& low, const QNumber& high)
{
    size_t bits = 1;
    while (low < -BVNumber::pow2(bits - 1) || !(high < BVNumber::pow2(bits - 1))) {
        ++bits;
    }
    return bits;
}

} // namespace

// Words

size_t FpBvEncoder::width(const Term_* word) const
{
    size_t w = 0;
    target_->is_bv_type(TermManager::get_type(word), &w);
    return w;
}

/// value  negative numbers stand for their two's complement
const Term_* FpBvEncoder::number(const QNumber& value, size_t w)
{
    QNumber pattern = value;
    BVNumber::trim(pattern, w);
    return target_->make_bv_number(pattern, w);
}

const Term_* FpBvEncoder::bit(const Term_* word, size_t i)
{
    return apply(&TermManager::make_equal, {slice(word, i, i), number(1, 1)});
}

const Term_* FpBvEncoder::to_word(const Term_* boolean, size_t w)
{
    return ite({boolean, number(1, w), number(0, w)});
}

const Term_* FpBvEncoder::slice(const Term_* word, size_t high, size_t low)
{
    return low == 0 && high + 1 == width(word) ? word : target_->make_bv_extract(high, low, word);
}

const Term_* FpBvEncoder::top(const Term_* word, size_t count)
{
    return slice(word, width(word) - 1, width(word) - count);
}

const Term_* FpBvEncoder::zext(const Term_* word, size_t w)
{
    return w == width(word) ? word : target_->make_bv_zero_extend(w - width(word), word);
}

const Term_* FpBvEncoder::sext(const Term_* word, size_t w)
{
    return w == width(word) ? word : target_->make_bv_sign_extend(w - width(word), word);
}

/// A signed word in another width, where it is known to fit.
const Term_* FpBvEncoder::resize(const Term_* word, size_t w)
{
    return w < width(word) ? slice(word, w - 1, 0) : sext(word, w);
}

/// Zeros below, up to a width of at least w.
const Term_* FpBvEncoder::pad(const Term_* word, size_t w)
{
    return w <= width(word) ? word : target_->make_bv_concat(word, number(0, w - width(word)));
}

const Term_* FpBvEncoder::concat(const Term_* high, const Term_* low)
{
    return target_->make_bv_concat(high, low);
}

const Term_* FpBvEncoder::add_number(const Term_* word, const QNumber& value)
{
    const Term_* n = number(value, width(word));
    return value.is_zero() ? word : target_->make_bv_add(word, n);
}

const Term_* FpBvEncoder::is_zero(const Term_* word)
{
    return target_->make_equal(word, number(0, width(word)));
}

const Term_* FpBvEncoder::ite(const Term_* c, const Term_* a, const Term_* b)
{
    return target_->make_term_ite(c, a, b);
}

// Fields

const Term_* FpBvEncoder::magnitude(const Term_* word)
{
    return slice(word, width(word) - 2, 0);
}

const Term_* FpBvEncoder::with_sign(const Term_* sign, const Term_* magnitude)
{
    const Term_* s = to_word(sign, 1);
    return concat(s, magnitude);
}

const Term_* FpBvEncoder::exponent_field(const Term_* word, Format f)
{
    return slice(word, f.exponent_width + f.significand_width - 1, f.significand_width);
}

const Term_* FpBvEncoder::fraction_field(const Term_* word, Format f)
{
    return slice(word, f.significand_width - 1, 0);
}

const Term_* FpBvEncoder::inf_magnitude(Format f)
{
    const QNumber field = f.max_exponent() * BVNumber::pow2(f.significand_width);
    return number(field, f.width() - 1);
}

const Term_* FpBvEncoder::nan_word(Format f)
{
    IEEEFloat x(f, IEEEFloat::NEAREST_EVEN);
    x.self_nan();
    return number(x.get_bits(), f.width());
}

const Term_* FpBvEncoder::enc_is_nan(const Term_* word, Format f)
{
    const Term_* infinity = inf_magnitude(f);
    return target_->make_bv_ult(infinity, magnitude(word));
}

const Term_* FpBvEncoder::enc_is_inf(const Term_* word, Format f)
{
    const Term_* infinity = inf_magnitude(f);
    return target_->make_equal(magnitude(word), infinity);
}

const Term_* FpBvEncoder::enc_is_zero(const Term_* word)
{
    return is_zero(magnitude(word));
}

/// The exponent field, 1 for subnormals: these have the exponent of the least normal numbers.
const Term_* FpBvEncoder::enc_get_exponent(const Term_* word, Format f)
{
    const Term_* field = exponent_field(word, f);
    const Term_* one = to_word(is_zero(field), f.exponent_width);
    return target_->make_bv_or(field, one);
}

/// The fraction below its hidden bit.
const Term_* FpBvEncoder::enc_get_mantissa(const Term_* word, Format f)
{
    const Term_* hidden = to_word(negate(is_zero(exponent_field(word, f))), 1);
    return concat(hidden, fraction_field(word, f));
}

FpBvEncoder::Unpacked FpBvEncoder::unpack(const Term_* word, Format f)
{
    Unpacked u;
    u.nan = enc_is_nan(word, f);
    u.inf = enc_is_inf(word, f);
    u.zero = enc_is_zero(word);
    u.sign = enc_sign(word);
    u.exp = zext(enc_get_exponent(word, f), f.exponent_width + 1);
    u.mant = enc_get_mantissa(word, f);
    u.low = 1;
    u.high = f.max_exponent() - 1;
    return u;
}

/// The same with subnormals shifted up.
FpBvEncoder::Unpacked FpBvEncoder::unpack_normalized(const Term_* word, Format f)
{
    Unpacked u = unpack(word, f);
    const Term_* zeros = leading_zeros(u.mant);
    u.low = u.low - QNumber(f.significand_width);
    const size_t w = std::max(signed_bits_for(u.low, u.high), width(zeros));
    u.mant = target_->make_bv_lshl(u.mant, zext(zeros, width(u.mant)));
    u.exp = apply(&TermManager::make_bv_sub, {resize(u.exp, w), zext(zeros, w)});
    return u;
}

// Shifting

/// The number of zeros on top of a word that is not zero, in as many bits as that takes.
const Term_* FpBvEncoder::leading_zeros(const Term_* word)
{
    struct Part {
        const Term_* zero;
        const Term_* count; // null: no bits yet
    };
    // Parts of equal length, two of them made one until one is left; none stands for bits below
    // the word, which nothing not zero gets to.
    std::vector<Part> parts;
    for (size_t i = width(word); i-- > 0;) {
        parts.push_back({negate(bit(word, i)), nullptr});
    }
    while (parts.size() > 1) {
        std::vector<Part> next;
        for (size_t i = 0; i < parts.size(); i += 2) {
            const Part& a = parts[i];
            const Term_* lower = to_word(a.zero, 1);
            if (i + 1 == parts.size()) {
                const Term_* count = a.count ? concat(number(0, 1), a.count) : number(0, 1);
                next.push_back({a.zero, count});
            } else {
                const Part& b = parts[i + 1];
                const Term_* count = a.count ? concat(lower, ite(a.zero, b.count, a.count)) : lower;
                next.push_back({both(a.zero, b.zero), count});
            }
        }
        parts.swap(next);
    }
    return parts[0].count ? parts[0].count : number(0, 1);
}

/// amount  unsigned
/// Returns the least of `amount` and `max`, in the bits of `max`.
const Term_* FpBvEncoder::clamp(const Term_* amount, size_t max)
{
    const size_t w = std::max<size_t>(bits_for(max), 1);
    if (w >= width(amount)) {
        amount = zext(amount, w);
    }
    const Term_* limit = number(QNumber(max), width(amount));
    const Term_* above = target_->make_bv_ult(limit, amount);
    return slice(ite(above, limit, amount), w - 1, 0);
}

/// lost  receives whether a bit that is set was shifted out
const Term_* FpBvEncoder::shift_right_sticky(const Term_* word, const Term_* amount,
                                             const Term_** lost)
{
    const size_t w = width(word);
    *lost = target_->make_false();
    for (size_t i = 0; i < width(amount); ++i) {
        const Term_* on = bit(amount, i);
        const size_t step = i < 63 && size_t{1} << i < w ? size_t{1} << i : w;
        const Term_* gone = negate(is_zero(slice(word, step - 1, 0)));
        *lost = either(*lost, both(on, gone));
        const Term_* shifted = step == w ? number(0, w) : zext(slice(word, w - 1, step), w);
        word = ite(on, shifted, word);
    }
    return word;
}

// Rounding

/// Shifts zeros out at the top of the significand, but not so far that the exponent gets below 1.
/// may_be_subnormal  whether that limit can ever matter
void FpBvEncoder::enc_normalization_shift(Exact* x, bool may_be_subnormal)
{
    const size_t w = width(x->exp);
    const Term_* zeros = leading_zeros(top(x->mant, x->limit + 1));
    const size_t k = width(zeros);
    if (may_be_subnormal) {
        const Term_* room = add_number(x->exp, -1);
        const Term_* none = bit(room, w - 1);
        const Term_* short_of = target_->make_bv_ult(room, zext(zeros, w));
        zeros = ite({none, number(0, k), ite(short_of, slice(room, k - 1, 0), zeros)});
    }
    x->exp = target_->make_bv_sub(x->exp, zext(zeros, w));
    const size_t mant_width = std::max(width(x->mant), k);
    x->mant =
        apply(&TermManager::make_bv_lshl, {pad(x->mant, mant_width), zext(zeros, mant_width)});
}

/// Shifts the significand down where the exponent is below 1, to the precision of subnormals.
void FpBvEncoder::enc_denormalization_shift(Exact* x, Format f)
{
    const size_t kept = f.significand_width + 2; // one bit to be rounded, all else is sticky
    const size_t w = width(x->exp);
    x->mant = pad(x->mant, kept);
    if (!x->sticky) {
        x->sticky = target_->make_false();
    }
    if (width(x->mant) > kept) {
        const Term_* below = slice(x->mant, width(x->mant) - kept - 1, 0);
        x->sticky = either(x->sticky, negate(is_zero(below)));
        x->mant = top(x->mant, kept);
    }
    const Term_* distance = target_->make_bv_sub(number(1, w), x->exp);
    const Term_* above = bit(add_number(distance, -1), w - 1); // exponent is 1 or more
    distance = ite(above, number(0, w), distance);
    const Term_* lost = nullptr;
    x->mant = shift_right_sticky(x->mant, clamp(distance, kept), &lost);
    x->sticky = either(x->sticky, lost);
    x->exp = ite(above, x->exp, number(1, w));
}

/// Whether the magnitude grows by one unit.
/// odd, half, rest  the last bit that is kept, the one below it, and whether anything is below that
const Term_* FpBvEncoder::enc_round_up(const Term_* rm, const Term_* sign, const Term_* odd,
                                       const Term_* half, const Term_* rest)
{
    const Term_* nearest = both(half, either(odd, rest));
    const Term_* inexact = either(half, rest);
    const Term_* outward = target_->make_iff(sign, bit(rm, 0)); // of the modes 2 and 3
    const Term_* to_nearest = both(negate(bit(rm, 0)), nearest);
    const Term_* directed = both(outward, inexact);
    const Term_* is_directed = bit(rm, 1);
    const Term_* up = both(is_directed, directed);
    return either(up, both(negate(is_directed), to_nearest));
}

const Term_* FpBvEncoder::enc_pack(Format f, const Term_* nan, const Term_* inf, const Term_* sign,
                                   const Term_* magnitude)
{
    const Term_* word = with_sign(sign, ite(inf, inf_magnitude(f), magnitude));
    return ite(nan, nan_word(f), word);
}

/// The word of an exact result. Exponent and fraction are rounded as one number, where a carry out
/// of the fraction gives the right exponent, and out of the largest finite number infinity.
const Term_* FpBvEncoder::enc_do_rounding(const Term_* rm, Format f, Exact x)
{
    const size_t m = f.significand_width;
    const size_t e = f.exponent_width;
    const QNumber least = x.low - QNumber(x.limit);
    const bool may_be_subnormal = least < 1;
    const size_t w = std::max({signed_bits_for(least - 1, x.high + 1), e + 1, bits_for(x.limit) + 1,
                               bits_for(m + 2) + 1});
    x.exp = resize(x.exp, w);
    if (x.limit > 0) {
        enc_normalization_shift(&x, may_be_subnormal);
    }
    if (may_be_subnormal && !x.fits) {
        enc_denormalization_shift(&x, f);
    }
    x.mant = pad(x.mant, x.sticky ? m + 2 : m + 1);
    const Term_* kept = top(x.mant, m + 1);
    const Term_* half = target_->make_false();
    const Term_* rest = x.sticky ? x.sticky : target_->make_false();
    const size_t below = width(x.mant) - m - 1;
    if (below > 0) {
        half = bit(x.mant, below - 1);
    }
    if (below > 1) {
        rest = either(rest, negate(is_zero(slice(x.mant, below - 2, 0))));
    }
    // zeros and subnormals have the field 0
    const Term_* normal = bit(kept, m);
    const Term_* field = ite({normal, slice(x.exp, e - 1, 0), number(0, e)});
    const Term_* packed = concat(field, slice(kept, m - 1, 0));
    const Term_* up = enc_round_up(rm, x.sign, bit(kept, 0), half, rest);
    packed = target_->make_bv_add(packed, to_word(up, e + m));
    if (!(x.high < f.max_exponent())) {
        const Term_* beyond = negate(is_zero(slice(x.exp, w - 1, e)));
        const Term_* ones =
            apply(&TermManager::make_equal, {slice(x.exp, e - 1, 0), number(-1, e)});
        const Term_* overflow = both(normal, either(beyond, ones));
        // toward zero, up for negative and down for positive numbers it stays finite
        const Term_* inward =
            ite({bit(rm, 1), to_word(differ(x.sign, bit(rm, 0)), 1), slice(rm, 0, 0)});
        const Term_* infinity = inf_magnitude(f);
        const Term_* largest = add_number(infinity, -1);
        packed = ite(overflow, ite(bit(inward, 0), largest, infinity), packed);
    }
    return enc_pack(f, x.nan, x.inf, x.sign, packed);
}

} // namespace tarq::fp
