// Exact IEEE 754 floating-point values of any format: IEEEFloat. The integer arithmetic of the two
// hardware formats is in swflt.h.
#pragma once

#include "base/exception.h"
#include "terms/numbers.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <utility>

namespace tarq {

/// A floating-point value with its format and its rounding mode.
///
/// The packed word of format (e, m) has the fraction in bits 0 .. m-1, the biased exponent in bits
/// m .. m+e-1 and the sign in bit e+m. Operations are correctly rounded in the mode that the left
/// (or only) operand carries, and the result carries the same mode. No hardware floating point is
/// used.
///
/// Invariants:
/// 1. NaN is one value: sign 1, exponent all ones, fraction 1. Only `packed_next` can leave it,
///    when it steps beyond an end of the line; such a result must be tested with `is_nan` and not
///    kept.
/// 2. The word lies in `word_` for the representations FLOAT32 and FLOAT64, in `bits_` for PACKED;
///    the other field is 0.
///
/// Operations on PACKED values share static scratch numbers: they are not re-entrant.
class IEEEFloat {
public:
    /// Every failure of this class; the value concerned is unchanged.
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    /// Widths in bits of the exponent and of the significand without its hidden bit: single
    /// precision is (8, 23), double precision (11, 52).
    struct format {
        std::uint64_t exponent_width = 0;
        std::uint64_t significand_width = 0;

        bool operator==(const format&) const = default;
        /// Bits of the packed word.
        std::uint64_t width() const { return exponent_width + significand_width + 1; }
        /// 2^(e-1) - 1.
        QNumber bias() const;
        /// 2^e - 1, the exponent field of NaN and the infinities.
        QNumber max_exponent() const;
    };

    enum rounding_mode : std::uint32_t {
        NEAREST_EVEN = 0,
        TOWARD_ZERO = 1,
        TOWARD_PLUS_INF = 2,
        TOWARD_MINUS_INF = 3
    };

    /// How the packed word is stored.
    enum class Repr : std::uint32_t { FLOAT32 = 0, FLOAT64 = 1, PACKED = 2 };

    class Packed;

    static constexpr format FLOAT32_FORMAT{8, 23};
    static constexpr format FLOAT64_FORMAT{11, 52};
    /// Greatest width of exponent or significand, and greatest size in bits of an exact integer,
    /// that arithmetic takes.
    static constexpr std::uint64_t PRECISION_LIMIT = std::uint64_t(1) << 26;

    /// A place holder of format (0, 0): only copying, assigning and `to_str` are defined on it.
    IEEEFloat() = default;
    /// +0 in the best representation of the format.
    IEEEFloat(format f, rounding_mode rm);
    /// +0 in the given representation, which is PACKED or the best one of the format.
    IEEEFloat(format f, Repr repr, rounding_mode rm);

    /// The value of a packed word; every NaN pattern becomes the canonical one.
    /// bits  integer from 0 to 2^width - 1
    static IEEEFloat from_bits(const QNumber& bits, format f, rounding_mode rm = NEAREST_EVEN);
    /// The rational `q` rounded once into the format. The result carries `rm`; a zero `q` gives +0,
    /// and a negative one that rounds to zero gives -0.
    /// throws  error "reached limit on float precision", "bad rounding mode: " and the number
    static IEEEFloat from_number(const QNumber& q, format f, rounding_mode rm);

    format get_format() const { return format_; }
    rounding_mode get_rounding_mode() const { return rounding_mode(word32_ & MODE_MASK); }
    void set_rounding_mode(rounding_mode rm)
    {
        word32_ = (word32_ & ~MODE_MASK) | (rm & MODE_MASK);
    }
    Repr get_repr() const { return Repr(word32_ >> REPR_SHIFT); }
    static Repr get_best_repr(format f);
    /// Converts the storage; the value stays.
    /// repr  PACKED or the best representation of the format
    void self_specialize_repr(Repr repr);

    /// The exact value, 0 for both zeros.
    /// throws  error "can't convert NaN to a Number", "can't convert infinity to a Number",
    ///         "reached limit on float precision" for a value of more than PRECISION_LIMIT bits
    QNumber to_number() const;
    /// The value rounded to an integer in the float's mode.
    /// width   0 for the integer itself; else the result is reduced modulo 2^width
    /// throws  error as `to_number`; a finite value with a width never fails
    QNumber to_integer(std::uint64_t width) const;
    /// The packed word as a non-negative integer.
    QNumber get_bits() const;

    bool get_sign() const;
    /// Sets the sign bit; a NaN stays as it is.
    void set_sign(bool sign);
    void self_neg() { set_sign(!get_sign()); }
    bool is_nan() const;
    bool is_inf() const;
    bool is_zero() const;
    bool is_subnormal() const;
    /// Neither zero, subnormal, infinite nor NaN.
    bool is_normal() const;

    void self_nan();
    void self_zero(bool sign);
    void self_inf(bool sign);
    /// The greatest finite magnitude with the given sign.
    void self_max_finite(bool sign);

    /// Arithmetic with an operand of the same format (asserted).
    /// throws  error "bad rounding mode: " and the number, "reached limit on float precision"
    IEEEFloat& operator+=(const IEEEFloat& o);
    IEEEFloat& operator-=(const IEEEFloat& o);
    IEEEFloat& operator*=(const IEEEFloat& o);
    IEEEFloat& operator/=(const IEEEFloat& o);
    /// Replaces the value by its square root.
    void sqrt();
    /// Converts to another format, rounding once.
    void set_format(format f);
    /// The nearest integral value in the float's mode. A zero result keeps the sign of `x`; NaN,
    /// infinities and zeros come back unchanged.
    static IEEEFloat round(const IEEEFloat& x);

    friend IEEEFloat operator+(IEEEFloat a, const IEEEFloat& b) { return a += b; }
    friend IEEEFloat operator-(IEEEFloat a, const IEEEFloat& b) { return a -= b; }
    friend IEEEFloat operator*(IEEEFloat a, const IEEEFloat& b) { return a *= b; }
    friend IEEEFloat operator/(IEEEFloat a, const IEEEFloat& b) { return a /= b; }

    /// Steps to the IEEE neighbour: both zeros go to the least subnormal of the direction, NaN and
    /// an infinity that would go outward stay.
    void next_representable(bool up);
    /// `next_representable(true)`; with the flag, -0 goes to +0 instead.
    void increment(bool zeros_differ);
    /// `next_representable(false)`; with the flag, +0 goes to -0 instead.
    void decrement(bool zeros_differ);
    /// Steps on the line of `Packed`, on which -0 and +0 are neighbours. A step beyond an infinity
    /// gives a NaN pattern, and up from NaN gives minus infinity.
    void packed_next(bool up);
    static IEEEFloat packed_next(IEEEFloat x, bool up)
    {
        x.packed_next(up);
        return x;
    }

    // IEEE comparison of values of one format: false with a NaN, and the zeros are equal.

    friend bool operator==(const IEEEFloat& a, const IEEEFloat& b) { return ieee_cmp(a, b) == 0; }
    friend bool operator<(const IEEEFloat& a, const IEEEFloat& b) { return ieee_cmp(a, b) == -1; }
    friend bool operator<=(const IEEEFloat& a, const IEEEFloat& b)
    {
        const int c = ieee_cmp(a, b);
        return c == -1 || c == 0;
    }
    friend bool operator>(const IEEEFloat& a, const IEEEFloat& b) { return b < a; }
    friend bool operator>=(const IEEEFloat& a, const IEEEFloat& b) { return b <= a; }
    /// -1, 0 or 1 as a is below, equal to or above b; -2 if one of them is NaN.
    static int ieee_cmp(const IEEEFloat& a, const IEEEFloat& b);
    /// The order of `Packed`: negative, 0 or positive.
    static int packed_cmp(const IEEEFloat& a, const IEEEFloat& b);
    /// Same format and same packed word; rounding modes do not count.
    static bool same_bits(const IEEEFloat& a, const IEEEFloat& b);
    std::size_t hash() const;

    /// "[e:m]", the value as "NaN", "+Inf", "-Inf" or decimal text, and the bits in braces with "_"
    /// between the fields.
    std::string to_str() const;
    /// A decimal text with a point that reads back as the same value under nearest-even.
    /// throws  error "can't convert NaN to float str", "can't convert Infinity to float str",
    ///         "reached limit on float precision"
    std::string to_float_str() const;

private:
    struct TempNumProvider;

    static constexpr std::uint32_t REPR_SHIFT = 30;
    static constexpr std::uint32_t MODE_MASK = (std::uint32_t(1) << REPR_SHIFT) - 1;

    static TempNumProvider& temps();
    static int swflt_mode(std::uint32_t rm);
    static void check_mode(std::uint32_t rm);
    static void check_limits(format f);
    static bool unpack_components(format f, const QNumber& bits, QNumber& exp, QNumber& mant);
    static void get_flags(format f, const QNumber& bits, bool& is_zero, bool& is_nan, bool& is_inf);
    static bool get_unbiased(format f, const QNumber& bits, QNumber& exp, QNumber& mant);
    static bool get_normalized(format f, const QNumber& bits, QNumber& exp, QNumber& mant);
    static QNumber do_make_nan(format f);
    static QNumber do_make_inf(format f, bool sign);
    static QNumber do_make_zero(format f, bool sign);
    static QNumber do_make_max_finite(format f, bool sign);
    static QNumber round_and_pack_float(format f, std::uint32_t rm, bool sign);
    static bool shift_and_round(std::uint32_t rm, bool sign, const QNumber& count, QNumber& mant);
    static QNumber from_rational(const QNumber& q, format f, std::uint32_t rm);

    void add_sub(bool negate_second, const IEEEFloat& o);
    QNumber add_sub_float(bool negate_second, const QNumber& b) const;
    QNumber mul_float(const QNumber& b) const;
    QNumber div_float(const QNumber& b) const;
    QNumber sqrt_float() const;
    void round_to_integral();

    bool is_word() const { return get_repr() != Repr::PACKED; }
    /// Translated mode for a swflt call, whose flags are cleared.
    int hardware_mode() const;
    std::uint64_t sign_word() const
    {
        return std::uint64_t(1) << (format_.exponent_width + format_.significand_width);
    }
    std::uint64_t inf_word() const
    {
        return sign_word() - (std::uint64_t(1) << format_.significand_width);
    }
    std::uint64_t magnitude_word() const { return word_ & (sign_word() - 1); }
    /// The packed word of a format of at most 64 bits, from either storage.
    std::uint64_t get_word() const;
    /// Stores a packed word of the float's format as it is.
    void store_bits(QNumber bits);
    /// Moves the magnitude by one, whatever it encodes.
    void step_magnitude(bool grow);
    /// Order of the packed magnitudes of values of one format: negative, 0 or positive.
    static int compare_magnitude(const IEEEFloat& a, const IEEEFloat& b);

    format format_;
    std::uint32_t word32_ = 0; ///< rounding mode in the low 30 bits, representation in the top 2
    std::uint64_t word_ = 0;
    QNumber bits_;
};

/// A float under the total order of packed values: NaN first, then from minus infinity upward with
/// -0 below +0. Both sides of a comparison have one format.
class IEEEFloat::Packed {
public:
    explicit Packed(IEEEFloat value) : value_(std::move(value)) {}
    const IEEEFloat& get_value() const { return value_; }

    friend bool operator<(const Packed& a, const Packed& b)
    {
        return packed_cmp(a.value_, b.value_) < 0;
    }
    friend bool operator>(const Packed& a, const Packed& b) { return b < a; }
    friend bool operator<=(const Packed& a, const Packed& b) { return !(b < a); }
    friend bool operator>=(const Packed& a, const Packed& b) { return !(a < b); }
    friend bool operator==(const Packed& a, const Packed& b)
    {
        return packed_cmp(a.value_, b.value_) == 0;
    }

private:
    IEEEFloat value_;
};

/// Prints `x.to_str()`.
std::ostream& operator<<(std::ostream& out, const IEEEFloat& x);

} // namespace tarq
