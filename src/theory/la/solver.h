// la::Solver: a general simplex over delta-rationals that decides bounds on the variables of a
// Tableau. It knows nothing of terms. One class in several sources: solver.cpp (telling, pushing,
// popping), _check (the search for a feasible assignment), _deduce (implications), _model (values
// and models), _verify (invariants and exact certificates).
#pragma once

#include "base/assertion.h"
#include "base/hashmap.h"
#include "base/scopedvalue.h"
#include "theory/la/dnumber.h"
#include "theory/la/equation.h"
#include "theory/la/tableau.h"
#include "theory/la/varsets.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace tarq {
class TerminationTest;
}

namespace tarq::la {

struct ReferenceRange;

enum class BoundKind : uint8_t { LOWER = 1, EQUAL = 2, UPPER = 3, DISEQUAL = 4 };

/// A told bound on one variable.
struct RangeConstraint {
    int var = 0; // 0 for an id that nobody told
    BoundKind kind = BoundKind::LOWER;
    bool never_implied = false; // no candidate for implication
    int pushed = 0;             // how often it is on the stack
    int record = -1;            // its place among the implications, or -1
    DNumber bound;
};

/// What is known of one variable.
struct VariableBounds {
    DNumber value;
    DNumber lower = DNumber::minus_inf;
    DNumber upper = DNumber::plus_inf;
    int lower_reason = 0; // the constraint that set it, 0 for none
    int upper_reason = 0;
    int num_diseqs = 0; // pushed disequalities on it
    int num_open = 0;   // constraints on it that may yet be implied
    bool known = false; // mentioned by a row or a constraint
    bool interface = false;
    bool changed = false; // has an entry in the log of changed values
    bool moved = false;   // is on the list of variables that moved
};

/// Decides conjunctions of bounds.
///
/// Life cycle: tell rows and constraints at any time; push constraints, check, read conflict,
/// implications or values; pop in reverse order. A constraint is named by an id of the caller's,
/// from 1 upward and dense. A variable is a positive index, dense as well.
///
/// Invariants
///   1. Values satisfy all rows.
///   2. Outside of check, every non-basic variable is within its bounds, or listed in
///      `to_restore_`; every basic one is, or is listed in `to_check_` or `to_restore_`.
///   3. The stack has one entry for each push, two for one of an equality, whatever it did.
///
/// A failed check takes the values back to those of the last check that succeeded: after the pops
/// that follow, those are nearly always right.
class Solver {
public:
    struct Stats {
        uint64_t pivots = 0;
        uint64_t checks = 0;
        uint64_t conflicts = 0;
        uint64_t trivial_implications = 0;
        uint64_t range_implications = 0;
        uint64_t rows_examined = 0;
        uint64_t disequality_repairs = 0;
    };

    Solver() = default;
    Solver(const Solver&) = delete;
    Solver& operator=(const Solver&) = delete;

    // Settings, before the first push.

    /// Polled in the search; may be null.
    void set_termination_test(const TerminationTest* test) { termination_test_ = test; }
    /// 0 none, 1 from bounds on the same variable, 2 also through rows.
    void set_deduction_level(int level) { deduction_level_ = level; }
    /// Pivots of one check after which the least-index rule takes over; 0 for a number
    /// proportional to the problem.
    void set_pivoting_threshold(int pivots) { pivoting_threshold_ = pivots; }
    /// Whether variables without constraint leave the tableau at the first push or check.
    void set_eliminate_unconstrained(bool on) { eliminate_unconstrained_ = on; }

    // Telling. No effect on the stack.

    /// The row of a new variable.
    void tell_equation(const Equation& row);
    void tell_upper_bound(int c, int var, const DNumber& b) { tell(c, var, b, BoundKind::UPPER); }
    void tell_lower_bound(int c, int var, const DNumber& b) { tell(c, var, b, BoundKind::LOWER); }
    void tell_equal_bound(int c, int var, const DNumber& b) { tell(c, var, b, BoundKind::EQUAL); }
    void tell_diseq_bound(int c, int var, const DNumber& b)
    {
        tell(c, var, b, BoundKind::DISEQUAL);
    }
    void set_never_implied(int c)
    {
        if (is_open(c)) {
            --vars_[idx(constraints_[idx(c)].var)].num_open;
        }
        constraints_[idx(c)].never_implied = true;
    }
    bool is_told(int c) const { return idx(c) < constraints_.size() && constraints_[idx(c)].var; }
    const RangeConstraint& get_constraint(int c) const { return constraints_[idx(c)]; }
    /// Undoes the telling of a constraint that is not on the stack.
    void retract_bound(int c);
    /// Removes a variable that has no constraint and is in no row that is still wanted: the row of
    /// a slack, or a variable of no row any more. Its index may be used anew.
    void retract_variable(int var);
    /// Keeps the variable in the tableau, so that its value can be moved.
    void add_interface_var(int var);
    void remove_interface_var(int var);

    // The stack. Each returns false when the state has become, or was, inconsistent.

    bool push_constraint(int c);
    /// Undoes the last push and returns its constraint.
    int pop_constraint();
    /// How many pushes there are to pop.
    size_t num_pushed() const { return num_pushed_; }

    // Checking.

    /// approx  disequalities may be left out
    bool check(bool approx);
    bool is_inconsistent() const { return inconsistent_; }
    /// After false: the constraints that are inconsistent together, without repeats.
    const std::vector<int>& conflict() const { return conflict_; }

    /// The next constraint that follows from what is pushed, or 0.
    int get_next_implied();
    /// How many have been handed out; and going back to an earlier such number, to have those that
    /// came later, and still hold, once more.
    size_t num_announced() const { return implied_cursor_; }
    void announce_again_from(size_t n) { implied_cursor_ = std::min(implied_cursor_, n); }
    /// Whether the constraint has been implied, by pushes that are still there.
    bool is_implied(int c) const { return constraints_[idx(c)].record >= 0; }
    size_t explanation_size(int c) const;
    /// Appends the constraints that imply `c`, for which is_implied holds.
    void get_explanation(int c, std::vector<int>& out) const;

    // Values.

    /// The value of the last successful check; false for a variable that is not known.
    bool get_abstract_value(int var, DNumber* out);
    /// Whether the variable has a value that is no whole number.
    bool is_fractional(int var)
    {
        if (idx(var) < vars_.size() && vars_[idx(var)].known && tableau_.is_eliminated(var)) {
            DNumber value;
            return get_abstract_value(var, &value) && !value.is_int();
        }
        return is_fractional_in_tableau(var);
    }
    /// The same, but false for an eliminated variable, whose value would have to be computed.
    bool is_fractional_in_tableau(int var) const
    {
        return idx(var) < vars_.size() && vars_[idx(var)].known && !tableau_.is_eliminated(var) &&
               !vars_[idx(var)].value.is_int();
    }
    /// Whether a variable of the tableau that `is_int` accepts is fractional. Looks only at those that
    /// got another value since they were last seen to be whole, the latest first.
    template <typename Predicate>
    bool any_moved_fractional(Predicate is_int)
    {
        while (!moved_.empty()) {
            const int v = moved_.back();
            if (is_fractional_in_tableau(v) && is_int(v)) {
                return true;
            }
            vars_[idx(v)].moved = false;
            moved_.pop_back();
        }
        return false;
    }
    /// Has any_moved_fractional() look at the variable again; nothing for one that is not known.
    void note_move(int var)
    {
        if (idx(var) < vars_.size() && !vars_[idx(var)].moved) {
            vars_[idx(var)].moved = true;
            moved_.push_back(var);
        }
    }
    const DNumber& lower_bound(int var) const { return vars_[idx(var)].lower; }
    const DNumber& upper_bound(int var) const { return vars_[idx(var)].upper; }
    /// Fixes rational values, after a complete check that succeeded. All pushed constraints hold
    /// for them, and variables with different abstract values get different ones.
    /// nonzero  forms whose values, constants included, must stay off 0 if they are
    void build_model(const std::vector<Equation>& nonzero);
    /// From the last build_model; false for a variable that was unknown then.
    bool get_value(int var, QNumber* out) const;
    /// Spreads the values of interface variables, so that fewer are equal by accident.
    void do_model_mutation(const std::function<bool(int)>& is_int);

    // For those that search on top of this solver.

    /// Calls f(c) for each push, oldest first; twice for an equality.
    template <class F>
    void for_each_pushed(F&& f) const
    {
        for (const StackEntry& e : stack_) {
            f(e.constraint);
        }
    }
    /// The pushed constraint behind a bound, 0 for none.
    int lower_reason(int var) const { return vars_[idx(var)].lower_reason; }
    int upper_reason(int var) const { return vars_[idx(var)].upper_reason; }
    /// Until the end of the block that holds the result, pushes and checks look for no implications:
    /// for pushes that are popped before anyone asks for them.
    [[nodiscard]] ScopedValue<bool> suspend_deduction() { return {&deducing_, false}; }
    /// Gives the non-basic variables new values, and with them all others; what results satisfies
    /// the pushed bounds.
    /// value  of a variable; the values of all together satisfy the rows
    void set_values(const std::function<DNumber(int)>& value);

    const Stats& stats() const { return stats_; }
    std::vector<std::pair<std::string, std::string>> get_stats() const;
    const Tableau& tableau() const { return tableau_; }

    /// Whether the invariants hold; linear in the tableau. For assertions and tests.
    bool check_invariants() const;
    /// Whether the values satisfy every pushed constraint and every row; for assertions and tests.
    bool values_satisfy_all(bool with_disequalities) const;
    bool model_satisfies_all() const;

private:
    struct StackEntry {
        int constraint;
        int var; // 0 when the push changed nothing
        bool is_upper;
        int old_reason;
        DNumber old_bound;
    };
    struct Implication {
        int constraint;
        uint32_t reasons; // start in reason_pool_; they end where the next record's start
        size_t depth;     // of the stack when it was found
    };
    /// Two variables of a row that had no bound when it was examined last. While they have none, the
    /// row implies nothing. Most rows have such a pair, and this saves going to their terms.
    struct FreePair {
        uint32_t version = 0; // of the row
        int first = 0;
        int second = 0;
    };

    static constexpr uint8_t HAS_LOWER = 1;
    static constexpr uint8_t HAS_UPPER = 2;

    static size_t idx(int v) { return static_cast<size_t>(v); }
    static const DNumber& unit_delta();

    // solver.cpp
    void tell(int c, int var, const DNumber& bound, BoundKind kind);
    void make_room(int var);
    void initialize();
    void bring_back(int var);
    void fix_after_uneliminate();
    void enter_row_value(int b);
    bool push_bound(int c, bool is_upper, const DNumber& bound, std::vector<StackEntry>* stack);
    void undo(const StackEntry& e);
    void set_inconsistent();
    void drop_implications();

    // solver_check.cpp
    bool do_check();
    int choose_leaving(bool greedy);
    int choose_entering(int x, bool raise, bool greedy) const;
    uint32_t count_stopped(int y, int x, bool up, uint32_t limit) const;
    void pivot_and_update(int x, int y, const DNumber& target);
    void update(int y, const DNumber& value);
    void note_change(VariableBounds& v, int var);
    void recheck(int b);
    void commit();
    void restore();
    void settle_restored();
    void build_conflict_set(int x);
    bool do_check_disequalities();
    void drop_temporary_bounds();
    bool repair_disequality(int c, std::vector<StackEntry>* temporary);

    // solver_deduce.cpp
    void try_trivial_implications(int c, bool is_upper);
    /// Whether a constraint may yet be implied; num_open counts them for each variable.
    bool is_open(int c) const
    {
        const RangeConstraint& r = constraints_[idx(c)];
        return r.pushed == 0 && r.record < 0 && !r.never_implied;
    }
    bool has_open_constraint(int var) const { return vars_[idx(var)].num_open != 0; }
    void try_range_implications(int r);
    bool is_free(int var) const { return bounded_[idx(var)] == 0; }
    bool has_free_pair(int r) const
    {
        if (idx(r) >= free_pairs_.size()) {
            return false;
        }
        const FreePair& p = free_pairs_[idx(r)];
        return p.version == tableau_.row_version(r) && is_free(p.first) && is_free(p.second);
    }
    bool find_free_pair(int r);
    void imply_beyond_limit(const Row& row, const Row::Term& t, bool of_min);
    void add_reason(int c);
    void finish_implication(int c, size_t first_reason);

    // solver_model.cpp
    void fill_abstract_cache();
    DNumber eval(const Row& row) const;
    DNumber eval(const Equation& row) const;
    bool mutation_range(int x, const std::function<bool(int)>& is_int, DNumber* lo, DNumber* hi);
    bool violates_disequality(int var) const;
    bool try_mutation(int x, const DNumber& value, const std::function<bool(int)>& is_int);

    // solver_verify.cpp
    struct Summand {
        int var;
        bool is_upper;
        DNumber bound;
        QNumber coeff; // not negative
    };
    bool is_refutation(const std::vector<Summand>& sum) const;
    bool conflict_is_certified(int x, bool below) const;
    bool implication_is_certified(const Row& row, const Row::Term& t, bool of_min,
                                  const DNumber& limit) const;
    std::vector<ReferenceRange> ranges_of(const std::vector<int>& constraints) const;
    bool is_refuted(const std::vector<int>& constraints) const;
    bool is_consequence(int c, const std::vector<int>& reasons) const;

    Tableau tableau_;
    std::vector<VariableBounds> vars_;
    std::vector<uint8_t> bounded_; // by variable: which sides have a reason, as HAS_ bits
    std::vector<RangeConstraint> constraints_;
    std::vector<std::vector<int>> var_constraints_; // by variable
    std::vector<StackEntry> stack_;
    std::vector<StackEntry> temporary_; // bounds in force while disequalities are repaired
    size_t num_pushed_ = 0;
    std::vector<int> disequalities_; // pushed ones, in order
    std::vector<int> conflict_;
    bool initialized_ = false;
    bool inconsistent_ = false;
    size_t inconsistent_depth_ = 0; // size of the stack when that was found

    VarSparseSet to_check_;                        // basic variables that may be out of bounds
    VarSparseSet to_examine_;                      // variables whose rows may imply something
    std::vector<std::pair<int, DNumber>> changed_; // old values, since the last commit
    std::vector<int> to_restore_;                  // restored, to be compared with their bounds
    std::vector<int> returned_;                    // of the tableau: variables that came back

    std::vector<Implication> implications_;
    std::vector<int> reason_pool_;
    std::vector<FreePair> free_pairs_; // by row
    size_t implied_cursor_ = 0;
    std::vector<char> reason_mark_; // by constraint, while a list of reasons is made

    std::vector<DNumber> abstract_; // of eliminated variables
    bool abstract_valid_ = false;
    std::vector<int> moved_;     // see any_moved_fractional()
    std::vector<QNumber> model_; // by variable
    std::vector<char> has_model_;
    std::vector<int> interface_vars_;

    int deduction_level_ = 2;
    int pivoting_threshold_ = 0;
    int default_threshold_ = 20;
    bool eliminate_unconstrained_ = true;
    bool deducing_ = true; // off during temporary pushes
    const TerminationTest* termination_test_ = nullptr;
    uint64_t unpolled_work_ = 0;         // since the termination test was asked last
    DNumber theta_, diff_, sum_, limit_; // scratch of the loops
    const QNumber minus_one_{-1};
    Stats stats_;
#if TARQ_CHECKS >= 2
    hsh::HashMap<int, Equation> definitions_; // rows as told, by row variable
#endif
};

} // namespace tarq::la
