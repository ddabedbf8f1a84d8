// What the SAT engine asks of the ghost filter. The engine works without one.
#pragma once

#include "dpll/clause.h"

namespace tarq::dpll {

/// Knows which literals still matter: a variable is a ghost when every clause it occurs in is
/// satisfied already, so that it needs no decision.
class GhostFilterHook {
public:
    virtual ~GhostFilterHook() = default;

    /// Tracks the clause; adds a reference for each place that keeps it.
    virtual void tell_clause(Clause* c) = 0;
    /// The clause, a theory lemma, is about to be removed from the engine.
    virtual void retract_lemma(Clause* c) = 0;

    virtual bool is_ghost(int var) = 0;
    /// The same for the clauses of one literal; check_never: honour variables that never are
    /// ghosts.
    virtual bool is_ghost(Lit lit, bool check_never) = 0;

    virtual void push_backtrack_point() = 0;
    virtual void pop_backtrack_point() = 0;
};

} // namespace tarq::dpll
