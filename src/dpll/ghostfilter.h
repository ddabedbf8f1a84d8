// GhostFilter: which clauses hold a literal, and so which variables do not matter any more.
#pragma once

#include "dpll/clause.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarq {
class DpllSolver;
}

namespace tarq::dpll {

class TheoryHook;

/// The lists of clauses by literal behind three services of the engine: a variable all of whose
/// clauses hold a true literal is a ghost and needs no decision, a literal that the theories got
/// through a lemma and that no clause needs can be kept from them, and a model can be cut down to
/// what satisfies the clauses.
///
/// A clause is told once, when it joins the problem; what the engine learns follows from those and
/// is not told. Clauses that the engine drops since they are satisfied for good stay here.
///
/// Borrows the engine, whose clauses it keeps alive: each list that holds a clause, and the undo
/// trail, have one reference on it.
///
/// Invariants: (1) trail_ holds what was told since the first open point, ascending by clause id.
/// (2) A clause is in the lists of its tracked literals exactly while it is told and not retracted.
class GhostFilter {
public:
    /// all_vars  every variable is tracked, else only those that a theory looks at
    GhostFilter(DpllSolver* solver, bool all_vars);
    GhostFilter(const GhostFilter&) = delete;
    GhostFilter& operator=(const GhostFilter&) = delete;

    /// t  asked which variables the theories look at; borrowed, null when there are none
    void set_theory_manager(const TheoryHook* t) { theory_manager_ = t; }

    /// Enters a clause that joins the problem until the newest open point is closed. A clause
    /// without literals is ignored.
    void tell_clause(Clause* c);
    /// Takes a clause out, a theory lemma that the engine drops. No effect if it was not told.
    void retract_lemma(Clause* c);

    /// The clauses that hold the literal; null when there never was one. Borrowed until the next
    /// clause is told or retracted.
    const std::vector<Clause*>* get_clauses_of(Lit l) const;

    /// Whether the value of `var` makes no difference: it is tracked, was not excluded by
    /// set_never_ghost, and every clause that it occurs in holds a true literal over another
    /// variable. Linear in the literals of these clauses.
    bool is_ghost(int var) const;
    /// The same for the clauses of one literal. If that is true, the other true literals must have
    /// become so before it: the answer holds as long as it does, whatever ghosts are left out.
    /// check_never  whether variables excluded by set_never_ghost are no ghosts
    bool is_ghost(Lit l, bool check_never) const;
    /// The variable is no ghost for as long as it exists.
    void set_never_ghost(int var);

    void push_backtrack_point();
    /// Takes out what was told since the newest point, whose variables are gone already.
    void pop_backtrack_point();

private:
    /// A clause that was told; null once it was retracted.
    struct UndoInfo {
        Clause* clause;
        uint32_t id;
    };

    static size_t index(Lit l) { return static_cast<size_t>(l.index()); }
    bool is_tracked(int var) const;
    bool is_never_ghost(int var) const;
    bool all_satisfied(Lit l) const;
    void take_out(Clause* c);

    DpllSolver* solver_;
    const TheoryHook* theory_manager_ = nullptr;
    bool all_vars_;
    std::vector<std::vector<Clause*>> occurrences_; // by literal
    std::vector<uint8_t> never_ghost_;              // by variable
    std::vector<UndoInfo> trail_;
    std::vector<size_t> marks_; // length of trail_ at each point
};

} // namespace tarq::dpll
