// The two kinds of gates that circuits are built of: clauses, and nodes of an and-inverter graph.
#pragma once

#include "base/assertion.h"
#include "base/terminationtest.h"
#include "encoding/aigmanager.h"
#include "theory/bv/bvlit.h"
#include "theory/bv/clausesink.h"

#include <cstddef>
#include <vector>

namespace tarq::bv {

/// What both kinds have in common: where clauses go, and the test that stops long circuits.
class GatesBase {
public:
    void set_sink(ClauseSink* sink) { sink_ = sink; }
    ClauseSink* sink() const { return sink_; }
    void set_termination_test(const TerminationTest* test) { termination_test_ = test; }
    /// Called once per row of a quadratic circuit.
    void poll() const
    {
        if (termination_test_) {
            (*termination_test_)();
        }
    }

protected:
    ClauseSink* sink_ = nullptr;

private:
    const TerminationTest* termination_test_ = nullptr;
};

/// Gates that write their clauses into a sink at once. Constants and equal or opposite inputs fold
/// before a variable is spent. The sink is set by whoever starts a conversion.
class ClauseGates : public GatesBase {
public:
    using Bit = BvLit;
    using Proxy = BvLit; // l_undef: none
    using Word = std::vector<BvLit>;

    static Bit bit_constant(bool b) { return b ? l_true : l_false; }
    static bool is_constant(Bit a) { return a.is_constant(); }
    static bool is_true(Bit a) { return a.is_true(); }
    Bit fresh() { return sink_->new_atom(); }

    static Bit bit_not(Bit a) { return -a; }
    Bit bit_and(Bit a, Bit b)
    {
        if (a == b || b.is_true()) {
            return a;
        }
        if (a.is_true()) {
            return b;
        }
        if (a == -b || a.is_false() || b.is_false()) {
            return l_false;
        }
        const Bit o = fresh();
        sink_->clause(-a, -b, o);
        sink_->clause(a, -o);
        sink_->clause(b, -o);
        return o;
    }
    Bit bit_or(Bit a, Bit b) { return -bit_and(-a, -b); }
    Bit bit_xor(Bit a, Bit b)
    {
        if (a.is_constant()) {
            return a.is_true() ? -b : b;
        }
        if (b.is_constant()) {
            return b.is_true() ? -a : a;
        }
        if (a == b || a == -b) {
            return bit_constant(a != b);
        }
        const Bit o = fresh();
        sink_->clause(-a, -b, -o);
        sink_->clause(-a, b, o);
        sink_->clause(a, -b, o);
        sink_->clause(a, b, -o);
        return o;
    }
    Bit bit_ite(Bit c, Bit t, Bit e)
    {
        if (c.is_constant()) {
            return c.is_true() ? t : e;
        }
        if (t == e) {
            return t;
        }
        if (t.is_constant() || t == c || t == -c) {
            return t.is_true() || t == c ? bit_or(c, e) : bit_and(-c, e);
        }
        if (e.is_constant() || e == c || e == -c) {
            return e.is_true() || e == -c ? bit_or(-c, t) : bit_and(c, t);
        }
        if (t == -e) {
            return bit_xor(c, e);
        }
        const Bit o = fresh();
        sink_->clause(-c, -t, o);
        sink_->clause(-c, t, -o);
        sink_->clause(c, -e, o);
        sink_->clause(c, e, -o);
        return o;
    }

    void full_adder(Bit a, Bit b, Bit c, Bit* sum, Bit* carry);
    Bit less_step(Bit a, Bit b, Bit acc, Proxy proxy);
    /// A chain from bit 0 upward; the last link becomes the proxy if there is one.
    Bit word_equal(const Word& a, const Word& b, Proxy proxy);

private:
    Bit equal_step(Bit a, Bit b, Bit acc, Proxy proxy);
};

/// Gates as nodes of a graph, which does all the folding. They know no proxies: clauses come later.
class AigGates : public GatesBase {
public:
    using Bit = Aig;
    using Proxy = BvLit;
    using Word = std::vector<Aig>;

    AigManager& manager() { return manager_; }
    const AigManager& manager() const { return manager_; }
    Bit bit_constant(bool b) const { return manager_.aig_true() ^ !b; }
    bool is_constant(Bit a) const { return manager_.is_constant(a); }
    bool is_true(Bit a) const { return a == manager_.aig_true(); }
    /// A variable of a number that nobody uses yet.
    Bit fresh();

    static Bit bit_not(Bit a) { return ~a; }
    Bit bit_and(Bit a, Bit b) { return manager_.aig_and(a, b); }
    Bit bit_or(Bit a, Bit b) { return manager_.aig_or(a, b); }
    Bit bit_xor(Bit a, Bit b) { return manager_.aig_xor(a, b); }
    Bit bit_ite(Bit c, Bit t, Bit e) { return manager_.aig_ite(c, t, e); }
    void full_adder(Bit a, Bit b, Bit c, Bit* sum, Bit* carry)
    {
        const Bit p = bit_xor(a, b);
        const Bit both = bit_and(a, b);
        const Bit passed = bit_and(p, c);
        *carry = bit_or(both, passed);
        *sum = bit_xor(p, c);
    }
    Bit less_step(Bit a, Bit b, Bit acc, Proxy)
    {
        const Bit same = manager_.aig_iff(a, b);
        return bit_ite(same, acc, b);
    }
    Bit word_equal(const Word& a, const Word& b, Proxy);

private:
    AigManager manager_;
    int next_var_ = 2; // as the first bit literal that is no constant
};

} // namespace tarq::bv
