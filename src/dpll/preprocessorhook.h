// What the SAT engine asks of a clause preprocessor. The engine works without one.
#pragma once

#include "base/lbool.h"
#include "dpll/clause.h"

#include <vector>

namespace tarq::dpll {

/// Subsumption and variable elimination seen from the engine. Clauses of an engine with a
/// preprocessor carry the extension words.
class PreprocessorHook {
public:
    virtual ~PreprocessorHook() = default;

    virtual void new_var() = 0;
    virtual void pop_var() = 0;
    /// A frozen variable is never eliminated.
    virtual void set_frozen(int var, bool frozen) = 0;
    virtual bool has_been_eliminated(int var) const = 0;
    /// True while saved clauses are put back; then eliminated variables may be assigned.
    virtual bool is_reconstructing() const = 0;

    /// A permanent clause joined or left the engine.
    virtual void tell_clause(Clause* c) = 0;
    virtual void retract_clause(Clause* c) = 0;

    virtual void push_backtrack_point() = 0;
    virtual void pop_backtrack_point() = 0;
    virtual void flush_model_reconstruction_stack() = 0;

    /// Simplifies at the base levels; false when the clauses are unsatisfiable.
    virtual bool boolean_preprocessing() = 0;
    /// Whether a clause brought an eliminated variable back since the last re-elimination.
    virtual bool needs_reelimination() const = 0;
    /// False when the clauses are unsatisfiable.
    virtual bool perform_reelimination() = 0;
    virtual void mark_satisfied_clauses_as_dropped() = 0;
    virtual void clean_solver_database() = 0;

    /// Gives eliminated variables values in `model`, indexed by variable.
    virtual void extend_model(std::vector<lbool>& model) = 0;
};

} // namespace tarq::dpll
