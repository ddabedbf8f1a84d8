// What the SAT engine asks of the theory side. The engine works without one.
#pragma once

#include "base/bitvector.h"
#include "dpll/lit.h"

#include <vector>

namespace tarq {
class Term_;
}

namespace tarq::dpll {

/// The theories as one partner of the engine.
///
/// Life cycle, as the engine drives it:
///   1. `tell_atom` once for every variable at its creation, at any level; `retract_atom` for every
///      variable that a pop of a backtrack point removes, newest first.
///   2. `new_decision_level` at each new level and `cancel_until` before each undo, also with a
///      level at or above the current one, which only clears a pending conflict. Push and pop of
///      backtrack points may come at any level without a search decision.
///   3. After Boolean propagation without conflict, with all backtrack points open: `do_assume` for
///      the new trail literals that a theory wants, then `check_approx`, or `check_complete` when
///      all variables are assigned. Then, in this order: `get_conflict` if `conflict` says so;
///      else lemmas while `has_lemmas`, then `get_next_implied` up to lit_Undef.
///   4. `boolean_model_found` when a complete check brought nothing new; `build_model` when the
///      search ends with sat.
/// Operations may throw; the engine then goes back to the level of its backtrack points, calling
/// `cancel_until`, and passes the exception on.
class TheoryHook {
public:
    virtual ~TheoryHook() = default;

    /// A new variable.
    /// t    the term it stands for; null for a variable of the engine's own
    virtual void tell_atom(const Term_* t, int var) = 0;
    /// A variable that was told gets into the problem, for the first time or after it was made for
    /// a lemma.
    virtual void tell_problem_atom(const Term_*, int) {}
    /// The variable, the highest that exists, goes away. t as in tell_atom.
    virtual void retract_atom(const Term_* t, int var) = 0;
    /// Bit per variable: set when no theory looks at it, so the engine does not pass its literals.
    /// Covers at least the variables told. Stays valid, with changing contents, while the hook
    /// lives.
    virtual const BitVector& boolean_vars() const = 0;

    virtual void new_decision_level() = 0;
    /// Undoes what was assumed above `level`, pending implications and the pending conflict.
    virtual void cancel_until(int level) = 0;
    virtual void push_backtrack_point() = 0;
    virtual void pop_backtrack_point() = 0;

    /// The literal is true. filter: whether irrelevant literals may be dropped.
    virtual void do_assume(Lit lit, bool filter) = 0;
    virtual void check_approx() = 0;
    virtual void check_complete() = 0;

    /// True when what was assumed is inconsistent.
    virtual bool conflict() const = 0;
    /// Appends true literals whose conjunction is inconsistent; may repeat literals.
    virtual void get_conflict(std::vector<Lit>& out) = 0;

    /// The next unassigned literal that follows from what was assumed, or lit_Undef.
    virtual Lit get_next_implied() = 0;
    /// Appends literals, all true before `lit` was implied, that imply it.
    /// required  false: may decline by returning false; true: must answer and return true
    virtual bool get_explanation(Lit lit, bool required, std::vector<Lit>& out) = 0;

    virtual bool has_lemmas() = 0;
    /// Appends the literals of a valid clause, whose new atoms got variables through make_proxy.
    /// keep       set to whether the clause is tracked by the ghost filter
    /// permanent  set to whether it joins the permanent clauses
    /// returns    the id for retract_lemma, 0 for none
    virtual unsigned get_lemma(std::vector<Lit>& out, bool* keep, bool* permanent) = 0;
    /// The engine dropped the clause of that lemma.
    virtual void retract_lemma(unsigned id) = 0;

    /// All variables are assigned and the complete check passed. Returns the level to go back to
    /// when there is new work, or a negative value.
    virtual int boolean_model_found() = 0;
    /// Takes a snapshot of the values of all terms; called while the assignment is in place.
    virtual void build_model() = 0;
};

} // namespace tarq::dpll
