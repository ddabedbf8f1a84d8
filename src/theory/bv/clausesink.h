// ClauseSink: where bit-blasting sends its clauses.
#pragma once

#include "dpll/lit.h"
#include "theory/bv/bvlit.h"

#include <vector>

namespace tarq {
class Logger;
class TerminationTest;
class Term_;
} // namespace tarq

namespace tarq::bv {

/// Receives clauses literal by literal. Constants may be among the literals: add_clause takes care
/// of them.
class ClauseSink {
public:
    ClauseSink() = default;
    virtual ~ClauseSink() = default;
    ClauseSink(const ClauseSink&) = delete;
    ClauseSink& operator=(const ClauseSink&) = delete;

    virtual void set_logger(Logger*) {}
    virtual void set_termination_test(const TerminationTest*) {}

    /// A fresh bit.
    virtual BvLit new_atom() = 0;
    /// Gives the bit of a Boolean term that already has a literal in the engine behind the sink.
    virtual bool get_proxy(const Term_* t, BvLit* lit) = 0;
    /// The same for a Boolean constant, which gets a literal there if it has none and the sink
    /// gives any.
    virtual bool make_proxy(const Term_* t, BvLit* lit) { return get_proxy(t, lit); }
    /// Ends the clause that was pushed and hands it on, unless a literal is true. False literals
    /// are left out.
    virtual void add_clause() = 0;

    void push(BvLit a) { clause_.push_back(a); }
    void push(BvLit a, BvLit b) { clause_.insert(clause_.end(), {a, b}); }
    void push(BvLit a, BvLit b, BvLit c) { clause_.insert(clause_.end(), {a, b, c}); }
    void push(BvLit a, BvLit b, BvLit c, BvLit d) { clause_.insert(clause_.end(), {a, b, c, d}); }

    /// The whole clause at once.
    template <class... Lits>
    void clause(Lits... lits)
    {
        push(lits...);
        add_clause();
    }

protected:
    /// Moves the open clause to `out` as literals of a SAT engine, cleared first, without false
    /// literals. Returns false if the clause holds a true one.
    bool take_clause(std::vector<dpll::Lit>* out)
    {
        out->clear();
        bool satisfied = false;
        for (BvLit l : clause_) {
            if (l.is_true()) {
                satisfied = true;
            } else if (!l.is_false()) {
                out->push_back(l.to_sat());
            }
        }
        clause_.clear();
        return !satisfied;
    }

    std::vector<BvLit> clause_; // the open clause
};

} // namespace tarq::bv
