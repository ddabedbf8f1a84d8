// IEEEFloat: storage, classes, stepping, comparison, and the choice between swflt and the generic
// arithmetic of ieeefloat_generic.cpp.
#include "terms/ieeefloat.h"

#include "terms/bvnumber.h"
#include "terms/swflt.h"

#include <limits>

namespace tarq {

namespace {

QNumber from_word(std::uint64_t w)
{
    return QNumber(w);
}

/// The low 64 bits of a non-negative integer below 2^64.
std::uint64_t to_word(const QNumber& x)
{
    return x.is_small() ? static_cast<std::uint64_t>(x.small_num())
                        : mpz_get_ui(x.num_to_mpz().get_mpz_t());
}

swflt::float32 low32(std::uint64_t w)
{
    return static_cast<swflt::float32>(w);
}

} // namespace

QNumber IEEEFloat::format::bias() const
{
    return BVNumber::pow2(exponent_width - 1) - 1;
}

QNumber IEEEFloat::format::max_exponent() const
{
    return BVNumber::pow2(exponent_width) - 1;
}

IEEEFloat::Repr IEEEFloat::get_best_repr(format f)
{
    if (f == FLOAT32_FORMAT)
        return Repr::FLOAT32;
    return f == FLOAT64_FORMAT ? Repr::FLOAT64 : Repr::PACKED;
}

IEEEFloat::IEEEFloat(format f, rounding_mode rm) : IEEEFloat(f, get_best_repr(f), rm) {}

IEEEFloat::IEEEFloat(format f, Repr repr, rounding_mode rm)
    : format_(f), word32_((static_cast<std::uint32_t>(repr) << REPR_SHIFT) | (rm & MODE_MASK))
{
    TARQ_ASSERT(f.exponent_width >= 1 && f.significand_width >= 1);
    TARQ_ASSERT(repr == Repr::PACKED || repr == get_best_repr(f));
}

void IEEEFloat::self_specialize_repr(Repr repr)
{
    TARQ_ASSERT(repr == Repr::PACKED || repr == get_best_repr(format_));
    const QNumber bits = get_bits();
    word32_ = (word32_ & MODE_MASK) | (static_cast<std::uint32_t>(repr) << REPR_SHIFT);
    word_ = 0;
    bits_ = 0;
    store_bits(bits);
}

IEEEFloat IEEEFloat::from_bits(const QNumber& bits, format f, rounding_mode rm)
{
    TARQ_ASSERT(bits.is_int() && BVNumber::fits(bits, f.width()));
    IEEEFloat x(f, rm);
    x.store_bits(bits);
    if (x.is_nan())
        x.self_nan();
    return x;
}

IEEEFloat IEEEFloat::from_number(const QNumber& q, format f, rounding_mode rm)
{
    IEEEFloat x(f, rm);
    x.store_bits(from_rational(q, f, rm));
    return x;
}

void IEEEFloat::store_bits(QNumber bits)
{
    if (is_word())
        word_ = to_word(bits);
    else
        bits_ = std::move(bits);
}

std::uint64_t IEEEFloat::get_word() const
{
    return is_word() ? word_ : to_word(bits_);
}

QNumber IEEEFloat::get_bits() const
{
    return is_word() ? from_word(word_) : bits_;
}

bool IEEEFloat::get_sign() const
{
    if (is_word())
        return (word_ & sign_word()) != 0;
    return BVNumber::test_bit(bits_, format_.width() - 1);
}

void IEEEFloat::set_sign(bool sign)
{
    if (is_nan())
        return;
    if (is_word())
        word_ = sign ? word_ | sign_word() : magnitude_word();
    else
        BVNumber::set_bit(bits_, format_.width() - 1, sign);
}

bool IEEEFloat::is_nan() const
{
    if (is_word())
        return magnitude_word() > inf_word();
    bool zero, nan, inf;
    get_flags(format_, bits_, zero, nan, inf);
    return nan;
}

bool IEEEFloat::is_inf() const
{
    if (is_word())
        return magnitude_word() == inf_word();
    bool zero, nan, inf;
    get_flags(format_, bits_, zero, nan, inf);
    return inf;
}

bool IEEEFloat::is_zero() const
{
    if (is_word())
        return magnitude_word() == 0;
    bool zero, nan, inf;
    get_flags(format_, bits_, zero, nan, inf);
    return zero;
}

bool IEEEFloat::is_subnormal() const
{
    if (is_word())
        return magnitude_word() != 0 && magnitude_word() >> format_.significand_width == 0;
    const std::uint64_t m = format_.significand_width;
    return !is_zero() && BVNumber::next_one(bits_, m) >= m + format_.exponent_width;
}

bool IEEEFloat::is_normal() const
{
    return !is_zero() && !is_subnormal() && !is_inf() && !is_nan();
}

void IEEEFloat::self_nan()
{
    if (is_word())
        word_ = sign_word() | inf_word() | 1;
    else
        bits_ = do_make_nan(format_);
}

void IEEEFloat::self_zero(bool sign)
{
    if (is_word())
        word_ = sign ? sign_word() : 0;
    else
        bits_ = do_make_zero(format_, sign);
}

void IEEEFloat::self_inf(bool sign)
{
    if (is_word())
        word_ = inf_word() | (sign ? sign_word() : 0);
    else
        bits_ = do_make_inf(format_, sign);
}

void IEEEFloat::self_max_finite(bool sign)
{
    if (is_word())
        word_ = (inf_word() - 1) | (sign ? sign_word() : 0);
    else
        bits_ = do_make_max_finite(format_, sign);
}

int IEEEFloat::swflt_mode(std::uint32_t rm)
{
    static constexpr int MODES[] = {swflt::ROUND_NEAREST_EVEN, swflt::ROUND_TO_ZERO,
                                    swflt::ROUND_UP, swflt::ROUND_DOWN};
    return rm < std::size(MODES) ? MODES[rm] : -1;
}

void IEEEFloat::check_mode(std::uint32_t rm)
{
    if (swflt_mode(rm) < 0)
        throw make_error<error>("bad rounding mode: ", rm);
}

int IEEEFloat::hardware_mode() const
{
    check_mode(get_rounding_mode());
    swflt::float_exception_flags = 0;
    return swflt_mode(get_rounding_mode());
}

void IEEEFloat::add_sub(bool negate_second, const IEEEFloat& o)
{
    TARQ_ASSERT(format_ == o.format_);
    switch (get_repr()) {
    case Repr::FLOAT32:
        word_ = (negate_second ? swflt::float32_sub : swflt::float32_add)(
            low32(word_), low32(o.get_word()), hardware_mode());
        break;
    case Repr::FLOAT64:
        word_ = (negate_second ? swflt::float64_sub : swflt::float64_add)(word_, o.get_word(),
                                                                          hardware_mode());
        break;
    case Repr::PACKED:
        bits_ = add_sub_float(negate_second, o.get_bits());
    }
}

IEEEFloat& IEEEFloat::operator+=(const IEEEFloat& o)
{
    add_sub(false, o);
    return *this;
}

IEEEFloat& IEEEFloat::operator-=(const IEEEFloat& o)
{
    add_sub(true, o);
    return *this;
}

IEEEFloat& IEEEFloat::operator*=(const IEEEFloat& o)
{
    TARQ_ASSERT(format_ == o.format_);
    switch (get_repr()) {
    case Repr::FLOAT32:
        word_ = swflt::float32_mul(low32(word_), low32(o.get_word()), hardware_mode());
        break;
    case Repr::FLOAT64:
        word_ = swflt::float64_mul(word_, o.get_word(), hardware_mode());
        break;
    case Repr::PACKED:
        bits_ = mul_float(o.get_bits());
    }
    return *this;
}

IEEEFloat& IEEEFloat::operator/=(const IEEEFloat& o)
{
    TARQ_ASSERT(format_ == o.format_);
    switch (get_repr()) {
    case Repr::FLOAT32:
        word_ = swflt::float32_div(low32(word_), low32(o.get_word()), hardware_mode());
        break;
    case Repr::FLOAT64:
        word_ = swflt::float64_div(word_, o.get_word(), hardware_mode());
        break;
    case Repr::PACKED:
        bits_ = div_float(o.get_bits());
    }
    return *this;
}

void IEEEFloat::sqrt()
{
    switch (get_repr()) {
    case Repr::FLOAT32:
        word_ = swflt::float32_sqrt(low32(word_), hardware_mode());
        break;
    case Repr::FLOAT64:
        word_ = swflt::float64_sqrt(word_, hardware_mode());
        break;
    case Repr::PACKED:
        bits_ = sqrt_float();
    }
}

IEEEFloat IEEEFloat::round(const IEEEFloat& x)
{
    IEEEFloat r = x;
    switch (r.get_repr()) {
    case Repr::FLOAT32:
        r.word_ = swflt::float32_round_to_int(low32(r.word_), r.hardware_mode());
        break;
    case Repr::FLOAT64:
        r.word_ = swflt::float64_round_to_int(r.word_, r.hardware_mode());
        break;
    case Repr::PACKED:
        r.round_to_integral();
    }
    return r;
}

void IEEEFloat::step_magnitude(bool grow)
{
    if (is_word())
        word_ += grow ? std::uint64_t(1) : ~std::uint64_t(0);
    else if (grow)
        bits_ += 1;
    else
        bits_ -= 1;
}

void IEEEFloat::next_representable(bool up)
{
    if (is_nan())
        return;
    if (is_zero()) {
        self_zero(!up);
        step_magnitude(true);
        return;
    }
    const bool outward = up != get_sign();
    if (!(outward && is_inf()))
        step_magnitude(outward);
}

void IEEEFloat::increment(bool zeros_differ)
{
    if (zeros_differ && is_zero() && get_sign())
        self_zero(false);
    else
        next_representable(true);
}

void IEEEFloat::decrement(bool zeros_differ)
{
    if (zeros_differ && is_zero() && !get_sign())
        self_zero(true);
    else
        next_representable(false);
}

void IEEEFloat::packed_next(bool up)
{
    const bool outward = up != get_sign();
    if (!outward && is_zero())
        self_zero(!up);
    else
        step_magnitude(outward);
}

int IEEEFloat::compare_magnitude(const IEEEFloat& a, const IEEEFloat& b)
{
    TARQ_ASSERT(a.format_ == b.format_);
    if (a.is_word() && b.is_word()) {
        const std::uint64_t x = a.magnitude_word();
        const std::uint64_t y = b.magnitude_word();
        return (x > y) - (x < y);
    }
    QNumber x = a.get_bits();
    QNumber y = b.get_bits();
    BVNumber::set_bit(x, a.format_.width() - 1, false);
    BVNumber::set_bit(y, b.format_.width() - 1, false);
    return x.compare(y);
}

int IEEEFloat::packed_cmp(const IEEEFloat& a, const IEEEFloat& b)
{
    const bool a_nan = a.is_nan();
    const bool b_nan = b.is_nan();
    if (a_nan || b_nan)
        return int(b_nan) - int(a_nan);
    const bool negative = a.get_sign();
    if (negative != b.get_sign())
        return negative ? -1 : 1;
    const int c = compare_magnitude(a, b);
    return negative ? -c : c;
}

int IEEEFloat::ieee_cmp(const IEEEFloat& a, const IEEEFloat& b)
{
    if (a.is_nan() || b.is_nan())
        return -2;
    if (a.is_zero() && b.is_zero())
        return 0;
    const int c = packed_cmp(a, b);
    return (c > 0) - (c < 0);
}

bool IEEEFloat::same_bits(const IEEEFloat& a, const IEEEFloat& b)
{
    if (a.is_word() && b.is_word())
        return a.format_ == b.format_ && a.word_ == b.word_;
    return a.format_ == b.format_ && a.get_bits() == b.get_bits();
}

std::size_t IEEEFloat::hash() const
{
    return get_bits().hash() + 31 * (format_.exponent_width + 31 * format_.significand_width);
}

} // namespace tarq
