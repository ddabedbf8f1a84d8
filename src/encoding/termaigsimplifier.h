// TermAigSimplifier: simplifies Boolean structure by way of an and-inverter graph.
#pragma once

#include "base/hashmap.h"
#include "encoding/aigmanager.h"
#include "terms/termmanager.h"

#include <memory>

namespace tarq {

/// Turns a Boolean term into a circuit and back; what the circuit shares and folds is shared and
/// folded in the result. Everything but and, or, not, iff and the truth constants is an input.
/// Borrows the term manager and, if one is given, the circuit manager.
class TermAigSimplifier {
public:
    /// aigs  null for one of its own
    explicit TermAigSimplifier(TermManager* tm, AigManager* aigs = nullptr);
    virtual ~TermAigSimplifier() = default;
    TermAigSimplifier(const TermAigSimplifier&) = delete;
    TermAigSimplifier& operator=(const TermAigSimplifier&) = delete;

    /// A Boolean term equivalent to `t`. Linear in the distinct nodes.
    const Term_* operator()(const Term_* t) { return aig2term(term2aig(t)); }
    Aig term2aig(const Term_* t);
    const Term_* aig2term(Aig a);

protected:
    /// The input that stands for `t`.
    Aig aig_var(const Term_* t);
    /// The term of an input.
    const Term_* aig_term(Aig a) const { return term_of_var_[static_cast<size_t>(aigs_->var(a))]; }

    TermManager* tm_;
    AigManager* aigs_;

private:
    bool push_arguments(const Term_* t);
    Aig translate(const Term_* t);
    const Term_* translate(Aig a);
    Aig get(const Term_* t) const { return aig_of_term_.find(t)->second; }

    std::unique_ptr<AigManager> own_aigs_;
    hsh::HashMap<const Term_*, int> var_of_term_;
    TermVector term_of_var_; // by the number of the variable, from 1
    hsh::HashMap<const Term_*, Aig> aig_of_term_;
    TermVector term_of_aig_; // by handle, of positive and negative ones; null: not made yet
    TermVector term_stack_;
    std::vector<Aig> aig_stack_;
};

} // namespace tarq
