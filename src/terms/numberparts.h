// The representation of QNumber as its sources see it: scratch integers and read-only views.
// Included by the sources of the number classes only.
#pragma once

#include "terms/numbers.h"

namespace tarq {

/// The absolute value; defined for the least `long`, too.
inline unsigned long magnitude(long v)
{
    return v < 0 ? -static_cast<unsigned long>(v) : static_cast<unsigned long>(v);
}

/// Four integers initialised once and cleared at exit. A function that uses one of them must not
/// call another that does, unless it is done with its value.
struct QNumber::GmpTemporaries {
    mpz_t t[4];

    GmpTemporaries()
    {
        for (auto& z : t)
            mpz_init(z);
    }
    ~GmpTemporaries()
    {
        for (auto& z : t)
            mpz_clear(z);
    }
    GmpTemporaries(const GmpTemporaries&) = delete;
    GmpTemporaries& operator=(const GmpTemporaries&) = delete;
};

/// Numerator and denominator of a number of either form as GMP integers, without a copy. Valid
/// while the number lives and is not changed: a result written to a number must not read it through
/// a view, since GMP may move the limbs first.
class QNumber::Parts {
public:
    explicit Parts(const QNumber& x, bool inverted = false)
    {
        if (x.den_ != 0) {
            small_view(num_, limbs_[0], x.num_);
            small_view(den_, limbs_[1], x.den_);
        } else {
            mpz_roinit_n(num_, mpz_limbs_read(x.big_->num), signed_size(x.big_->num));
            mpz_roinit_n(den_, mpz_limbs_read(x.big_->den), signed_size(x.big_->den));
        }
        if (inverted) {
            const mp_size_t sign = mpz_sgn(num_);
            const mp_limb_t* n = mpz_limbs_read(num_);
            const mp_size_t n_size = sign * signed_size(num_);
            mpz_roinit_n(num_, mpz_limbs_read(den_), sign * signed_size(den_));
            mpz_roinit_n(den_, n, n_size);
        }
    }
    Parts(const Parts&) = delete;
    Parts& operator=(const Parts&) = delete;

    mpz_srcptr num() const { return num_; }
    mpz_srcptr den() const { return den_; }
    bool is_int() const { return mpz_cmp_ui(den_, 1) == 0; }

private:
    static mp_size_t signed_size(mpz_srcptr z)
    {
        const mp_size_t n = static_cast<mp_size_t>(mpz_size(z));
        return mpz_sgn(z) < 0 ? -n : n;
    }
    static void small_view(mpz_ptr view, mp_limb_t& limb, long v)
    {
        limb = magnitude(v);
        mpz_roinit_n(view, &limb, (v > 0) - (v < 0));
    }

    mp_limb_t limbs_[2];
    mpz_t num_;
    mpz_t den_;
};

} // namespace tarq
