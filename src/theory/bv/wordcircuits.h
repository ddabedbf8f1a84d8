// WordCircuits: the operations on words as circuits, over any kind of gates.
#pragma once

#include "base/assertion.h"
#include "terms/bvnumber.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace tarq::bv {

/// Builds words from words. A word is a vector of bits, the least significant first. Results may be
/// written over operands unless a function says otherwise.
///
/// Gates offers poll(), the type Bit, bit_constant(bool), is_constant(Bit), is_true(Bit), bit_not,
/// bit_and, bit_or, bit_xor, bit_ite(c, t, e), full_adder(a, b, c, &sum, &carry), less_step(a, b,
/// acc, proxy) (the value of b above where a and b differ, else of acc), word_equal(a, b, proxy),
/// and have_proxy(Proxy). A proxy is a wish for the literal of an output; gates that fold, or that
/// have no use for it, ignore it.
template <class Gates>
class WordCircuits {
public:
    using Bit = typename Gates::Bit;
    using Proxy = typename Gates::Proxy;
    using Word = std::vector<Bit>;

    explicit WordCircuits(Gates& gates) : g_(gates) {}

    Bit constant(bool b) { return g_.bit_constant(b); }

    /// The low `width` bits of the non-negative integer `value`.
    void word_constant(const QNumber& value, size_t width, Word* out)
    {
        out->assign(width, constant(false));
        for (unsigned long i = BVNumber::next_one(value, 0); i < width;
             i = BVNumber::next_one(value, i + 1)) {
            (*out)[i] = constant(true);
        }
    }

    void word_not(Word* w)
    {
        for (Bit& b : *w) {
            b = g_.bit_not(b);
        }
    }

    /// a + b + carry, within the width.
    void word_add(const Word& a, const Word& b, Bit carry, Word* out)
    {
        TARQ_ASSERT(a.size() == b.size());
        out->resize(a.size());
        for (size_t i = 0; i < a.size(); ++i) {
            Bit sum, next;
            if (i + 1 == a.size()) {
                sum = g_.bit_xor(g_.bit_xor(a[i], b[i]), carry); // nobody reads the last carry
                next = carry;
            } else {
                g_.full_adder(a[i], b[i], carry, &sum, &next);
            }
            (*out)[i] = sum;
            carry = next;
        }
    }
    void word_add(const Word& a, const Word& b, Word* out) { word_add(a, b, constant(false), out); }

    /// The two's complement of a subtrahend is its complement plus one, which goes in as the carry.
    void word_sub(const Word& a, const Word& b, Word* out)
    {
        Word not_b = b;
        word_not(&not_b);
        word_add(a, not_b, constant(true), out);
    }

    void word_neg(const Word& a, Word* out)
    {
        const Word zero(a.size(), constant(false));
        word_sub(zero, a, out);
    }

    /// c ? t : e.
    void word_ite(Bit c, const Word& t, const Word& e, Word* out)
    {
        TARQ_ASSERT(t.size() == e.size());
        out->resize(t.size());
        for (size_t i = 0; i < t.size(); ++i) {
            (*out)[i] = g_.bit_ite(c, t[i], e[i]);
        }
    }

    /// Shift-and-add, a row for each bit of `b` that is not false; nothing above the width is
    /// built. out must be neither operand.
    void word_mul(const Word& a, const Word& b, Word* out)
    {
        const size_t n = a.size();
        if (is_number(a)) {
            word_mul_by_constant(a, b, out);
            return;
        }
        if (is_number(b)) {
            word_mul_by_constant(b, a, out);
            return;
        }
        out->assign(n, constant(false));
        Word row;
        for (size_t j = 0; j < n; ++j) {
            g_.poll();
            row.assign(n, constant(false));
            for (size_t i = j; i < n; ++i) {
                row[i] = g_.bit_and(a[i - j], b[j]);
            }
            word_add(*out, row, out);
        }
    }

    /// The multiple of `y` by the constant word `c`, with an addition or subtraction for each
    /// nonzero digit of the constant, written with the digits 1, 0 and -1 such that no two
    /// neighbours are nonzero.
    void word_mul_by_constant(const Word& c, const Word& y, Word* out)
    {
        const size_t n = c.size();
        Word acc(n, constant(false));
        Word shifted;
        bool carry = false; // of the recoding: the digits so far stand for 2^i too little
        for (size_t i = 0; i < n; ++i) {
            const bool bit = g_.is_true(c[i]);
            const bool next = i + 1 < n && g_.is_true(c[i + 1]);
            const bool digit = bit != carry;
            if (digit) {
                shifted.assign(n, constant(false));
                std::copy(y.begin(), y.end() - static_cast<std::ptrdiff_t>(i),
                          shifted.begin() + static_cast<std::ptrdiff_t>(i));
                // in the highest place the sign does not matter
                if (next) {
                    word_sub(acc, shifted, &acc);
                } else {
                    word_add(acc, shifted, &acc);
                }
                carry = next;
            }
        }
        out->swap(acc);
    }

    /// Whether a < b, or a <= b with `or_equal`, as unsigned numbers.
    Bit word_ult(const Word& a, const Word& b, bool or_equal, Proxy proxy)
    {
        TARQ_ASSERT(a.size() == b.size());
        Bit acc = constant(or_equal);
        for (size_t i = 0; i < a.size(); ++i) {
            acc = g_.less_step(a[i], b[i], acc, i + 1 == a.size() ? proxy : Proxy());
        }
        return acc;
    }

    /// The same as signed numbers: in the top bits a one is the smaller.
    Bit word_slt(const Word& a, const Word& b, bool or_equal, Proxy proxy)
    {
        TARQ_ASSERT(a.size() == b.size());
        Bit acc = constant(or_equal);
        for (size_t i = 0; i < a.size(); ++i) {
            const bool top = i + 1 == a.size();
            acc =
                top ? g_.less_step(b[i], a[i], acc, proxy) : g_.less_step(a[i], b[i], acc, Proxy());
        }
        return acc;
    }

    Bit word_equal(const Word& a, const Word& b, Proxy proxy) { return g_.word_equal(a, b, proxy); }

    enum class Shift { LEFT, LOGICAL_RIGHT, ARITHMETIC_RIGHT };

    /// A stage for each bit of the amount. The stages of bits that stand for the width or more all
    /// bring in nothing but the fill, so they are one.
    void word_shift(Shift kind, const Word& a, const Word& amount, Word* out)
    {
        const size_t n = a.size();
        const Bit fill = kind == Shift::ARITHMETIC_RIGHT && n > 0 ? a.back() : constant(false);
        Word w = a;
        Word moved;
        Bit overflow = constant(false);
        for (size_t i = 0; i < amount.size(); ++i) {
            if (i >= sizeof(size_t) * 8 - 1 || (size_t{1} << i) >= n) {
                overflow = g_.bit_or(overflow, amount[i]);
                continue;
            }
            const size_t s = size_t{1} << i;
            moved.assign(n, fill);
            if (kind == Shift::LEFT) {
                std::copy(w.begin(), w.end() - static_cast<std::ptrdiff_t>(s),
                          moved.begin() + static_cast<std::ptrdiff_t>(s));
            } else {
                std::copy(w.begin() + static_cast<std::ptrdiff_t>(s), w.end(), moved.begin());
            }
            word_ite(amount[i], moved, w, &w);
        }
        moved.assign(n, fill);
        word_ite(overflow, moved, w, out);
    }

    /// Restoring division, as schoolbooks do it: from the top, the next bit of x comes into the
    /// remainder, and y is taken off if it fits. With y = 0 the quotient is all ones and the
    /// remainder is x. The outputs must not be operands.
    void word_udiv(const Word& x, const Word& y, Word* quotient, Word* remainder)
    {
        const size_t n = x.size();
        quotient->assign(n, constant(false));
        Word rest(n, constant(false));
        Word not_y = y;
        word_not(&not_y);
        Word difference(n, constant(false));
        for (size_t i = n; i-- > 0;) {
            g_.poll();
            std::rotate(rest.begin(), rest.end() - 1, rest.end());
            rest[0] = x[i];
            // The remainder is at most x / 2^i, so it has n - i bits and a set bit of y above these
            // tells that y does not fit; without one the carry out of rest - y tells that it does.
            const size_t m = n - i;
            Bit carry = constant(true);
            for (size_t k = 0; k < m; ++k) {
                Bit next;
                g_.full_adder(rest[k], not_y[k], carry, &difference[k], &next);
                carry = next;
            }
            for (size_t k = m; k < n; ++k) {
                carry = g_.bit_and(carry, not_y[k]);
            }
            (*quotient)[i] = carry;
            for (size_t k = 0; k < m; ++k) {
                rest[k] = g_.bit_ite(carry, difference[k], rest[k]);
            }
        }
        remainder->swap(rest);
    }

    /// Division rounding to zero; the remainder has the sign of x.
    void word_sdiv(const Word& x, const Word& y, Word* quotient, Word* remainder)
    {
        if (x.empty()) {
            quotient->clear();
            remainder->clear();
            return;
        }
        const Bit sx = x.back();
        const Bit sy = y.back();
        Word ax, ay, q, r;
        word_neg_if(sx, x, &ax);
        word_neg_if(sy, y, &ay);
        word_udiv(ax, ay, &q, &r);
        word_neg_if(g_.bit_xor(sx, sy), q, quotient);
        word_neg_if(sx, r, remainder);
    }

    /// c ? -a : a, as the terms of signed division write it: so their gates are shared.
    void word_neg_if(Bit c, const Word& a, Word* out)
    {
        if (g_.is_constant(c)) {
            if (g_.is_true(c)) {
                word_neg(a, out);
            } else {
                *out = a;
            }
            return;
        }
        Word negated;
        word_neg(a, &negated);
        word_ite(c, negated, a, out);
    }

    /// The integer nearest to a float, in two's complement. Returns whether there is none that fits:
    /// then `out` means nothing, as for NaN and the infinities.
    /// mode0, mode1  the rounding mode: 00 to even, 10 to zero, 01 up, 11 down
    /// f             sign, exponent and fraction, from the top
    /// mant          number of bits of the fraction
    Bit word_fp_to_int(Bit mode0, Bit mode1, const Word& f, size_t mant, size_t width, Word* out)
    {
        const size_t exp = f.size() - mant - 1;
        size_t mant_bits = 0;
        while (mant >> mant_bits != 0) {
            ++mant_bits;
        }
        const size_t n = std::max({mant + 1, width, std::max(exp, mant_bits) + 2});
        const Bit sign = f.back();
        const auto field = [&f](size_t from, size_t length) {
            const auto first = f.begin() + static_cast<std::ptrdiff_t>(from);
            return Word(first, first + static_cast<std::ptrdiff_t>(length));
        };
        Word exponent = field(mant, exp);
        const Bit special = word_equal(exponent, Word(exp, constant(true)), Proxy());
        const Bit subnormal = word_equal(exponent, Word(exp, constant(false)), Proxy());
        exponent.resize(n, constant(false));
        Word significand = field(0, mant);
        significand.push_back(g_.bit_not(subnormal));
        significand.resize(n, constant(false));
        // the value is significand / 2^shift: shift = mant + bias - exponent, one less if subnormal
        Word shift, negated, quotient, kept, wide, rest;
        word_constant(BVNumber::pow2(exp - 1) - QNumber(1) + QNumber(static_cast<long>(mant)), n,
                      &wide);
        word_sub(wide, exponent, &shift);
        word_constant(QNumber(), n, &wide);
        wide[0] = subnormal;
        word_sub(shift, wide, &shift);
        const Bit is_left = shift.back();
        word_neg(shift, &negated);
        word_shift(Shift::LOGICAL_RIGHT, significand, shift, &quotient);
        word_shift(Shift::LEFT, quotient, shift, &kept);
        for (size_t i = 0; i < n; ++i) {
            rest.push_back(g_.bit_xor(significand[i], kept[i]));
        }
        const Bit exact = g_.bit_or(is_left, word_equal(rest, Word(n, constant(false)), Proxy()));
        // rest against half of 2^shift, as 2^shift - rest against rest
        Word unit(n + 1, constant(false));
        unit[0] = constant(true);
        shift.push_back(constant(false));
        rest.push_back(constant(false));
        word_shift(Shift::LEFT, unit, shift, &wide);
        word_sub(wide, rest, &wide);
        const Bit tie = word_equal(wide, rest, Proxy());
        const Bit above = word_ult(wide, rest, false, Proxy());
        const Bit to_even = g_.bit_ite(tie, quotient[0], above);
        const Bit directed = g_.bit_ite(mode0, sign, g_.bit_not(sign));
        const Bit nearest = g_.bit_and(to_even, g_.bit_not(mode0));
        const Bit wanted = g_.bit_ite(mode1, directed, nearest);
        const Bit up = g_.bit_and(g_.bit_not(exact), wanted);
        word_shift(Shift::LEFT, significand, negated, &wide);
        word_ite(is_left, wide, quotient, out);
        word_add(*out, Word(n, constant(false)), up, out);
        // Below 2^width nothing has been shifted out at the top. What is negative reaches further.
        word_constant(BVNumber::pow2(exp - 1) - QNumber(1) + QNumber(static_cast<long>(width)), n,
                      &wide);
        const Bit large = word_ult(wide, exponent, true, Proxy());
        word_constant(BVNumber::pow2(width - 1) - QNumber(1), n, &wide);
        wide.push_back(constant(false));
        word_add(wide, Word(n + 1, constant(false)), sign, &wide);
        Word size = *out;
        size.push_back(constant(false));
        const Bit beyond = word_ult(wide, size, false, Proxy());
        out->resize(width);
        word_neg_if(sign, *out, out);
        return g_.bit_or(special, g_.bit_or(large, beyond));
    }

    bool is_number(const Word& w) const
    {
        return std::all_of(w.begin(), w.end(), [this](Bit b) { return g_.is_constant(b); });
    }

private:
    Gates& g_;
};

} // namespace tarq::bv
