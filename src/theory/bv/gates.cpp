#include "theory/bv/gates.h"

#include <utility>

namespace tarq::bv {

void ClauseGates::full_adder(Bit a, Bit b, Bit c, Bit* sum, Bit* carry)
{
    // the constants move to the end
    if (a.is_constant()) {
        std::swap(a, b);
    }
    if (a.is_constant()) {
        std::swap(a, c);
    } else if (b.is_constant()) {
        std::swap(b, c);
    }
    if (b.is_constant()) { // and so is c
        *sum = b == c ? a : -a;
        *carry = b == c ? b : a;
        return;
    }
    if (c.is_constant()) {
        const Bit parity = bit_xor(a, b);
        *carry = c.is_true() ? bit_or(a, b) : bit_and(a, b);
        *sum = c.is_true() ? -parity : parity;
        return;
    }
    // an equal or opposite pair decides: of two equal bits the carry, of two opposite ones the sum
    if (a == c || a == -c) {
        std::swap(b, c);
    } else if (b == c || b == -c) {
        std::swap(a, c);
    }
    if (a == b || a == -b) {
        *sum = a == b ? c : -c;
        *carry = a == b ? a : c;
        return;
    }
    const Bit s = fresh();
    const Bit k = fresh();
    for (const bool na : {false, true}) {
        for (const bool nb : {false, true}) {
            for (const bool nc : {false, true}) {
                // the sum is the parity of the inputs
                const bool parity = na != (nb != nc);
                sink_->clause(na ? -a : a, nb ? -b : b, nc ? -c : c, parity ? s : -s);
            }
        }
    }
    sink_->clause(-a, -b, k);
    sink_->clause(-a, -c, k);
    sink_->clause(-b, -c, k);
    sink_->clause(a, b, -k);
    sink_->clause(a, c, -k);
    sink_->clause(b, c, -k);
    *sum = s;
    *carry = k;
}

BvLit ClauseGates::less_step(Bit a, Bit b, Bit acc, Proxy proxy)
{
    if (a == b) {
        return acc;
    }
    if (a == -b) {
        return b;
    }
    if (a.is_constant()) {
        return a.is_true() ? bit_and(b, acc) : bit_or(b, acc);
    }
    if (b.is_constant()) {
        return b.is_true() ? bit_or(-a, acc) : bit_and(-a, acc);
    }
    if (acc.is_constant()) {
        return acc.is_true() ? bit_or(-a, b) : bit_and(-a, b);
    }
    const Bit r = proxy.is_undef() ? fresh() : proxy;
    sink_->clause(-a, -b, -acc, r);
    sink_->clause(-a, -b, acc, -r);
    sink_->clause(-a, b, -r);
    sink_->clause(a, -b, r);
    sink_->clause(a, b, -acc, r);
    sink_->clause(a, b, acc, -r);
    return r;
}

BvLit ClauseGates::equal_step(Bit a, Bit b, Bit acc, Proxy proxy)
{
    if (a == b) {
        return acc;
    }
    if (a == -b || acc.is_false()) {
        return l_false;
    }
    if (a.is_constant() || b.is_constant()) {
        const Bit x = a.is_constant() ? (a.is_true() ? b : -b) : (b.is_true() ? a : -a);
        return bit_and(acc, x);
    }
    const Bit r = proxy.is_undef() ? fresh() : proxy;
    sink_->clause(-a, b, -r);
    sink_->clause(a, -b, -r);
    sink_->clause(-a, -b, -acc, r);
    sink_->clause(a, b, -acc, r);
    if (!acc.is_true()) {
        sink_->clause(acc, -r);
    }
    return r;
}

BvLit ClauseGates::word_equal(const Word& a, const Word& b, Proxy proxy)
{
    TARQ_ASSERT(a.size() == b.size());
    Bit acc = l_true;
    for (size_t i = 0; i < a.size(); ++i) {
        acc = equal_step(a[i], b[i], acc, i + 1 == a.size() ? proxy : l_undef);
    }
    return acc;
}

Aig AigGates::fresh()
{
    while (manager_.has_var(next_var_)) {
        ++next_var_;
    }
    return manager_.aig_var(next_var_++);
}

Aig AigGates::word_equal(const Word& a, const Word& b, Proxy)
{
    TARQ_ASSERT(a.size() == b.size());
    Bit acc = manager_.aig_true();
    for (size_t i = 0; i < a.size(); ++i) {
        const Bit same = manager_.aig_iff(a[i], b[i]);
        acc = bit_and(acc, same);
    }
    return acc;
}

} // namespace tarq::bv
