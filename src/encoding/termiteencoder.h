// TermIteEncoder: term-ITEs, made fewer and then defined.
#pragma once

#include "base/hashmap.h"
#include "encoding/constraintencoder.h"
#include "terms/termcache.h"

#include <cstdint>

namespace tarq {

/// Simplifies the term-ITEs of formulas, and defines those that are left by two implications each.
/// Its memos live until `reset`. Borrows the term manager and the termination test.
class TermIteEncoder : public ConstraintEncoder::enc_fun {
public:
    /// ite_minimization  drop the branches that conditions further up decide
    /// call_limit        of that, in calls; 0 for none
    /// basic             apply the rules that look at a few nodes only
    TermIteEncoder(TermManager* tm, bool ite_minimization, int call_limit, bool basic)
        : tm_(tm), minimization_(ite_minimization), call_limit_(call_limit), basic_(basic)
    {
    }

    /// `not c or t = a`, `c or t = b` for t = ite(c, a, b).
    void operator()(TermManager* tm, const Term_* t, TermVector& axioms, TermSet& added) override;

    /// An equivalent formula. Terms below quantifiers are left alone.
    /// throws  ConstraintEncoder::error when the basic rules are on and the term manager does not
    ///         simplify
    const Term_* simplify(const Term_* f);

    void reset();
    void set_termination_test(const TerminationTest* test) { termination_test_ = test; }

private:
    const Term_* find_ite_below(const Term_* f);
    const Term_* rebuild(const Term_* t);
    const Term_* simplify_node(const Term_* t);
    const Term_* simplify_ite(const Term_* t);
    const Term_* assume(const Term_* t, const Term_* condition, bool value);
    bool can_use_simple_conversion(const Term_* t) const;
    bool is_value_tree(const Term_* t, size_t* leaves);
    const Term_* do_simple_conversion(const Term_* t);
    const Term_* make_bool_ite(const Term_* c, const Term_* p, const Term_* q);
    void poll() const
    {
        if (termination_test_) {
            (*termination_test_)();
        }
    }

    TermManager* tm_;
    bool minimization_;
    int call_limit_;
    bool basic_;
    const TerminationTest* termination_test_ = nullptr;
    int calls_ = 0;
    TermCache done_;   // a term to its simplified form
    BitVector no_ite_; // by term id: no term-ITE at or below
};

} // namespace tarq
