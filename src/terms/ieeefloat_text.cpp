// The text forms of IEEEFloat.
#include "terms/ieeefloat.h"

#include "terms/bvnumber.h"

#include <ostream>

namespace tarq {

namespace {

QNumber pow10(std::uint64_t n)
{
    mpz_class z;
    mpz_ui_pow_ui(z.get_mpz_t(), 10, n);
    return QNumber(z);
}

/// x * 10^n for an n of either sign.
QNumber scaled(const QNumber& x, long n)
{
    return n >= 0 ? x * pow10(static_cast<std::uint64_t>(n))
                  : x / pow10(static_cast<std::uint64_t>(-n));
}

/// x / 10^e >= 1, for a positive x.
bool reaches(const QNumber& x, long e)
{
    return scaled(x, -e) >= 1;
}

/// The e with 10^e <= x < 10^(e+1), for a positive x.
long decimal_exponent(const QNumber& x)
{
    // The difference of the lengths is log2 of x up to 1; log10(2) lies between the two fractions.
    const long bits = static_cast<long>(BVNumber::bit_length(x.get_num())) -
                      static_cast<long>(BVNumber::bit_length(x.get_den()));
    long e = bits / 100000 * 30103 + bits % 100000 * 30103 / 100000;
    while (reaches(x, e + 1))
        ++e;
    while (!reaches(x, e))
        --e;
    return e;
}

/// A positive decimal: its digits, the first not 0, the last one not 0 either unless it is the only
/// one, and the exponent of the first digit.
struct Decimal {
    std::string digits;
    long exponent;
};

/// x rounded to `precision` significant digits; `exponent` is its decimal exponent.
Decimal to_decimal(const QNumber& x, long exponent, long precision)
{
    const QNumber shifted = scaled(x, precision - 1 - exponent);
    Decimal d{(shifted + QNumber(1, 2)).floor().to_str(), exponent};
    if (static_cast<long>(d.digits.size()) > precision)
        ++d.exponent; // rounded up to the next power of ten
    d.digits.erase(d.digits.find_last_not_of('0') + 1);
    return d;
}

std::string layout(const Decimal& d)
{
    constexpr long MAX_ZEROS = 20; ///< longer runs of padding zeros become an exponent
    const long n = static_cast<long>(d.digits.size());
    if (d.exponent < -MAX_ZEROS || d.exponent > n + MAX_ZEROS) {
        return d.digits.substr(0, 1) + "." + (n > 1 ? d.digits.substr(1) : "0") + "e" +
               std::to_string(d.exponent);
    }
    if (d.exponent < 0)
        return "0." + std::string(static_cast<std::size_t>(-d.exponent - 1), '0') + d.digits;
    if (n <= d.exponent + 1)
        return d.digits + std::string(static_cast<std::size_t>(d.exponent + 1 - n), '0') + ".0";
    const std::size_t point = static_cast<std::size_t>(d.exponent + 1);
    return d.digits.substr(0, point) + "." + d.digits.substr(point);
}

} // namespace

std::string IEEEFloat::to_float_str() const
{
    if (is_nan())
        throw error("can't convert NaN to float str");
    if (is_inf())
        throw error("can't convert Infinity to float str");
    const std::string sign = get_sign() ? "-" : "";
    if (is_zero())
        return sign + "0";
    const QNumber value = abs(to_number());
    const long exponent = decimal_exponent(value);
    // Enough digits to tell any two neighbours of m + 1 significant bits apart are
    // 1 + ceil((m + 1) * log10(2)). A value that they write exactly is written so; otherwise fewer
    // digits often do, and look better: 0.1 instead of 0.100000001.
    const long enough = 3 + static_cast<long>((format_.significand_width + 1) * 30103 / 100000);
    if (scaled(value, enough - 1 - exponent).is_int())
        return sign + layout(to_decimal(value, exponent, enough));
    for (long precision = enough > 4 ? enough - 4 : 1; precision < enough; ++precision) {
        const Decimal d = to_decimal(value, exponent, precision);
        const QNumber read = scaled(QNumber::from_str(d.digits),
                                    d.exponent + 1 - static_cast<long>(d.digits.size()));
        IEEEFloat back = from_number(read, format_, NEAREST_EVEN);
        back.set_sign(get_sign());
        if (same_bits(back, *this))
            return sign + layout(d);
    }
    return sign + layout(to_decimal(value, exponent, enough));
}

std::string IEEEFloat::to_str() const
{
    const std::uint64_t e = format_.exponent_width;
    const std::uint64_t m = format_.significand_width;
    std::string text = "[" + std::to_string(e) + ":" + std::to_string(m) + "]";
    if (e == 0)
        return text + "+0{0}";
    if (is_nan()) {
        text += "NaN";
    } else if (is_inf()) {
        text += get_sign() ? "-Inf" : "+Inf";
    } else {
        try {
            text += to_float_str();
        } catch (const error&) {
            text += "?"; // beyond what can be computed; the bits below still tell the value
        }
    }
    text += '{';
    const QNumber bits = get_bits();
    for (std::uint64_t i = format_.width(); i-- > 0;) {
        text += BVNumber::test_bit(bits, i) ? '1' : '0';
        if (i == e + m || i == m)
            text += '_';
    }
    return text + '}';
}

std::ostream& operator<<(std::ostream& out, const IEEEFloat& x)
{
    return out << x.to_str();
}

} // namespace tarq
