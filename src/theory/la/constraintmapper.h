// ConstraintMapper: linear atoms as bounds on variables, with a row for each form of several terms.
#pragma once

#include "base/hashmap.h"
#include "theory/la/equation.h"
#include "theory/la/lineartermmapper.h"

#include <memory>
#include <vector>

namespace tarq::la {

class Solver;

/// Tells constraints to a la::Solver. A form and its negation share one row, whose variable (the
/// slack) carries the bounds; a form of one variable needs none. Counts what uses rows and
/// variables, and frees them with the last use.
class ConstraintMapper {
public:
    /// Both are borrowed.
    ConstraintMapper(LinearTermMapper* mapper, Solver* solver) : mapper_(mapper), solver_(solver) {}
    ConstraintMapper(const ConstraintMapper&) = delete;
    ConstraintMapper& operator=(const ConstraintMapper&) = delete;

    /// Tells `lt`, which has a relation and a sum that is not empty, as constraint c.
    void tell_constraint(int c, const LinearTerm& lt);
    /// Undoes it; c is not on the stack. Its id stays taken.
    void retract_constraint(int c);

    /// Keeps variables of terms alive, and ends that.
    void use_variables(const Equation& form);
    void release_variables(const Equation& form);
    void release_variable(int var);
    /// The sum that the variable of a row stands for, null for other variables.
    const Equation* form(int var) const
    {
        return static_cast<size_t>(var) < forms_.size() ? forms_[static_cast<size_t>(var)].get()
                                                        : nullptr;
    }
    int num_rows() const { return static_cast<int>(slacks_.size()); }
    /// Whether there are, or have been, several rows with large numbers or with many numbers other
    /// than 1. Each pivot on such rows makes the numbers of all longer, so whatever can be found out
    /// without pivots comes first.
    bool has_heavy_rows() const { return num_heavy_rows_ >= MIN_HEAVY_ROWS; }

private:
    static constexpr int MIN_HEAVY_ROWS = 10;

    void count_heavy(const Equation& form);
    int map_constraint(const Equation& sum, bool* negated);

    LinearTermMapper* mapper_;
    Solver* solver_;
    int num_heavy_rows_ = 0;
    hsh::HashMap<const Equation*, int, Equation_hash_eq, Equation_hash_eq> slacks_;
    std::vector<std::unique_ptr<Equation>> forms_; // by slack: positive first coefficient
};

} // namespace tarq::la
