#include "theory/la/dnumber.h"

#include <utility>

namespace tarq::la {

constinit const DNumber DNumber::zero;
constinit const DNumber DNumber::minus_inf(-1);
constinit const DNumber DNumber::plus_inf(1);

void DNumber::add_infinity(const DNumber& o)
{
    if (inf_ == 0) {
        *this = o;
    }
}

void DNumber::add_mult(const DNumber& o, const QNumber& factor)
{
    TARQ_ASSERT((inf_ | o.inf_) == 0);
    if (factor.is_small() && factor.small_den() == 1) {
        const long f = factor.small_num();
        if (f == 1) {
            real_ += o.real_;
            if (!o.delta_.is_zero()) {
                delta_ += o.delta_;
            }
            return;
        }
        if (f == -1) {
            real_ -= o.real_;
            if (!o.delta_.is_zero()) {
                delta_ -= o.delta_;
            }
            return;
        }
    }
    if (!o.real_.is_zero()) {
        real_ += o.real_ * factor;
        shrink(real_);
    }
    if (!o.delta_.is_zero()) {
        delta_ += o.delta_ * factor;
        shrink(delta_);
    }
}

DNumber& DNumber::operator*=(const QNumber& factor)
{
    if (inf_ == 0) {
        real_ *= factor;
        shrink(real_);
        if (!delta_.is_zero()) {
            delta_ *= factor;
            shrink(delta_);
        }
    }
    return *this;
}

DNumber& DNumber::operator/=(const QNumber& divisor)
{
    if (inf_ == 0) {
        real_ /= divisor;
        shrink(real_);
        if (!delta_.is_zero()) {
            delta_ /= divisor;
            shrink(delta_);
        }
    }
    return *this;
}

QNumber DNumber::floor() const
{
    TARQ_ASSERT(inf_ == 0);
    if (real_.is_int()) {
        return delta_.is_neg() ? real_ - QNumber(1) : real_;
    }
    return real_.floor();
}

QNumber DNumber::ceil() const
{
    TARQ_ASSERT(inf_ == 0);
    if (real_.is_int()) {
        return delta_.is_pos() ? real_ + QNumber(1) : real_;
    }
    return real_.ceil();
}

std::string DNumber::to_str() const
{
    if (inf_ != 0) {
        return inf_ > 0 ? "+inf" : "-inf";
    }
    return delta_.is_zero() ? real_.to_str() : "(" + real_.to_str() + "," + delta_.to_str() + ")";
}

} // namespace tarq::la
