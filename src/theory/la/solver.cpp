#include "theory/la/solver.h"

#include "base/terminationtest.h"

#include <algorithm>

namespace tarq::la {

const DNumber& Solver::unit_delta()
{
    static const DNumber d(QNumber(0), QNumber(1));
    return d;
}

void Solver::make_room(int var)
{
    if (idx(var) >= vars_.size()) {
        const size_t n = std::max(idx(var) + 1, 2 * vars_.size());
        vars_.resize(n);
        bounded_.resize(n, 0);
        var_constraints_.resize(n);
    }
    vars_[idx(var)].known = true;
}

void Solver::tell_equation(const Equation& row)
{
    for (const VarCoeff& t : row.terms()) {
        make_room(t.var);
    }
#if TARQ_CHECKS >= 2
    definitions_[row.row_var()] = row;
#endif
    abstract_valid_ = false;
    returned_.clear();
    tableau_.add_equation(row, &returned_);
    fix_after_uneliminate();
    enter_row_value(row.row_var());
}

void Solver::tell(int c, int var, const DNumber& bound, BoundKind kind)
{
    TARQ_ASSERT(c > 0 && var > 0 && !is_told(c));
    make_room(var);
    if (idx(c) >= constraints_.size()) {
        const size_t n = std::max(idx(c) + 1, 2 * constraints_.size());
        constraints_.resize(n);
        reason_mark_.resize(n, 0);
    }
    RangeConstraint& r = constraints_[idx(c)];
    r = RangeConstraint();
    r.var = var;
    r.kind = kind;
    r.bound = bound;
    var_constraints_[idx(var)].push_back(c);
    ++vars_[idx(var)].num_open;
    bring_back(var);
}

/// Makes sure that the variable is not eliminated.
void Solver::bring_back(int var)
{
    if (tableau_.is_eliminated(var)) {
        abstract_valid_ = false;
        returned_.clear();
        tableau_.uneliminate(var, &returned_);
        fix_after_uneliminate();
    }
}

void Solver::fix_after_uneliminate()
{
    for (int v : returned_) {
        enter_row_value(v);
    }
}

/// Computes the value of a row that has just entered, and what it would be if the changes since the
/// last commit were undone.
void Solver::enter_row_value(int b)
{
    const Row& row = tableau_.row(b);
    VariableBounds& v = vars_[idx(b)];
    TARQ_ASSERT(!v.changed);
    note_move(b);
    v.value = eval(row);
    DNumber old = v.value;
    for (const auto& [var, old_value] : changed_) {
        const QNumber& a = row.get_coefficient(var);
        if (!a.is_zero()) {
            DNumber moved = old_value;
            moved -= vars_[idx(var)].value;
            old.add_mult(moved, a);
        }
    }
    if (!(old == v.value)) {
        v.changed = true;
        changed_.emplace_back(b, std::move(old));
    }
    recheck(b);
}

void Solver::retract_bound(int c)
{
    RangeConstraint& r = constraints_[idx(c)];
    TARQ_ASSERT(r.var != 0 && r.pushed == 0);
    if (is_open(c)) {
        --vars_[idx(r.var)].num_open;
    }
    if (r.record >= 0) {
        implications_[idx(r.record)].constraint = 0;
    }
    std::vector<int>& list = var_constraints_[idx(r.var)];
    list.erase(std::find(list.begin(), list.end(), c));
    r = RangeConstraint();
}

void Solver::retract_variable(int var)
{
    TARQ_ASSERT(var_constraints_[idx(var)].empty());
    abstract_valid_ = false;
    std::vector<int> users;
    tableau_.eliminated_users(var, &users);
    users.push_back(var);
    for (int v : users) {
        bring_back(v);
    }
    if (!tableau_.is_basic(var) && !tableau_.column(var).empty()) {
        // Some basic variable takes its place, and may be out of its bounds there.
        for (const Tableau::Entry& e : tableau_.column(var)) {
            to_restore_.push_back(tableau_.basic_of_row(e.row));
        }
    }
    tableau_.remove_variable(var);
    to_check_.erase(var);
    const auto is_var = [var](const auto& change) { return change.first == var; };
    changed_.erase(std::remove_if(changed_.begin(), changed_.end(), is_var), changed_.end());
    remove_interface_var(var);
    vars_[idx(var)] = VariableBounds();
#if TARQ_CHECKS >= 2
    definitions_.erase(var);
#endif
}

void Solver::add_interface_var(int var)
{
    make_room(var);
    if (!vars_[idx(var)].interface) {
        vars_[idx(var)].interface = true;
        interface_vars_.push_back(var);
        bring_back(var);
    }
}

void Solver::remove_interface_var(int var)
{
    if (idx(var) < vars_.size() && vars_[idx(var)].interface) {
        vars_[idx(var)].interface = false;
        interface_vars_.erase(std::find(interface_vars_.begin(), interface_vars_.end(), var));
    }
}

/// Once, before the first push or check.
void Solver::initialize()
{
    initialized_ = true;
    std::vector<int> unconstrained;
    int known = 0;
    for (size_t v = 1; v < vars_.size(); ++v) {
        known += vars_[v].known;
        if (eliminate_unconstrained_ && vars_[v].known && !vars_[v].interface &&
            var_constraints_[v].empty()) {
            unconstrained.push_back(static_cast<int>(v));
        }
    }
    default_threshold_ = std::max(20, known - static_cast<int>(unconstrained.size()));
    // A variable that an elimination made non-basic may be out of bounds there.
    for (size_t v = 1; v < vars_.size(); ++v) {
        if (vars_[v].known && !var_constraints_[v].empty()) {
            to_restore_.push_back(static_cast<int>(v));
        }
    }
    std::vector<int> one(1);
    for (int v : unconstrained) {
        try {
            if (termination_test_) {
                (*termination_test_)();
            }
        } catch (const TerminationTest::terminated&) {
            break; // in the middle of a push; the check to come stops
        }
        one[0] = v;
        tableau_.eliminate_variables(one);
        to_check_.erase(v);
    }
}

// -- The stack

void Solver::set_inconsistent()
{
    inconsistent_ = true;
    inconsistent_depth_ = stack_.size();
    ++stats_.conflicts;
    TARQ_HEAVY_ASSERT(is_refuted(conflict_));
}

/// Tightens one side of a variable, if the bound does.
/// stack  receives one entry in any case
/// Returns false, with `conflict_` set, when the bound is beyond the one of the other side.
bool Solver::push_bound(int c, bool is_upper, const DNumber& bound, std::vector<StackEntry>* stack)
{
    const int var = constraints_[idx(c)].var;
    VariableBounds& v = vars_[idx(var)];
    DNumber& mine = is_upper ? v.upper : v.lower;
    int& reason = is_upper ? v.upper_reason : v.lower_reason;
    const int sign = is_upper ? 1 : -1;
    if (sign * cmp(bound, mine) >= 0) {
        stack->push_back({c, 0, is_upper, 0, DNumber()});
        return true;
    }
    if (sign * cmp(bound, is_upper ? v.lower : v.upper) < 0) {
        stack->push_back({c, 0, is_upper, 0, DNumber()});
        conflict_ = {is_upper ? v.lower_reason : v.upper_reason, c};
        return false;
    }
    stack->push_back({c, var, is_upper, reason, std::move(mine)});
    mine = bound;
    reason = c;
    bounded_[idx(var)] |= is_upper ? HAS_UPPER : HAS_LOWER;
    if (sign * cmp(v.value, bound) > 0) {
        if (tableau_.is_basic(var)) {
            to_check_.insert(var);
        } else {
            update(var, bound);
        }
    }
    if (deducing_ && deduction_level_ > 0) {
        try_trivial_implications(c, is_upper);
        if (deduction_level_ > 1 && tableau_.is_basic(var)) {
            to_examine_.insert(tableau_.row_index(var));
        } else if (deduction_level_ > 1) {
            for (const Tableau::Entry& e : tableau_.column(var)) {
                if (!has_free_pair(e.row)) {
                    to_examine_.insert(e.row);
                }
            }
        }
    }
    return true;
}

bool Solver::push_constraint(int c)
{
    if (!initialized_) {
        initialize();
    }
    RangeConstraint& r = constraints_[idx(c)];
    TARQ_ASSERT(r.var != 0);
    if (is_open(c)) {
        --vars_[idx(r.var)].num_open;
    }
    ++r.pushed;
    ++num_pushed_;
    bool ok = !inconsistent_;
    if (!ok) {
        stack_.push_back({c, 0, false, 0, DNumber()});
        if (r.kind == BoundKind::EQUAL) {
            stack_.push_back({c, 0, true, 0, DNumber()});
        }
    }
    // A reference into constraints_ stays valid here: nothing is told during a push.
    if (r.kind == BoundKind::DISEQUAL) {
        disequalities_.push_back(c);
        ++vars_[idx(r.var)].num_diseqs;
        if (ok) {
            stack_.push_back({c, 0, false, 0, DNumber()});
        }
        return ok;
    }
    if (!ok) {
        return false;
    }
    switch (r.kind) {
    case BoundKind::LOWER:
        ok = push_bound(c, false, r.bound, &stack_);
        break;
    case BoundKind::UPPER:
        ok = push_bound(c, true, r.bound, &stack_);
        break;
    default:
        ok = push_bound(c, false, r.bound, &stack_);
        if (ok) {
            ok = push_bound(c, true, r.bound, &stack_);
        } else {
            stack_.push_back({c, 0, true, 0, DNumber()});
        }
    }
    if (!ok) {
        set_inconsistent();
    }
    return ok;
}

void Solver::undo(const StackEntry& e)
{
    if (e.var == 0) {
        return;
    }
    VariableBounds& v = vars_[idx(e.var)];
    (e.is_upper ? v.upper : v.lower) = e.old_bound;
    (e.is_upper ? v.upper_reason : v.lower_reason) = e.old_reason;
    if (e.old_reason == 0) {
        bounded_[idx(e.var)] ^= e.is_upper ? HAS_UPPER : HAS_LOWER;
    }
}

int Solver::pop_constraint()
{
    const int c = stack_.back().constraint;
    RangeConstraint& r = constraints_[idx(c)];
    undo(stack_.back());
    stack_.pop_back();
    if (r.kind == BoundKind::EQUAL) {
        TARQ_ASSERT(stack_.back().constraint == c);
        undo(stack_.back());
        stack_.pop_back();
    } else if (r.kind == BoundKind::DISEQUAL) {
        TARQ_ASSERT(disequalities_.back() == c);
        disequalities_.pop_back();
        --vars_[idx(r.var)].num_diseqs;
    }
    --r.pushed;
    if (is_open(c)) {
        ++vars_[idx(r.var)].num_open;
    }
    --num_pushed_;
    if (inconsistent_ && stack_.size() < inconsistent_depth_) {
        inconsistent_ = false;
    }
    drop_implications();
    return c;
}

/// Forgets the implications that rest on pushes that are gone.
void Solver::drop_implications()
{
    while (!implications_.empty() && implications_.back().depth > stack_.size()) {
        const int c = implications_.back().constraint;
        if (c != 0) {
            constraints_[idx(c)].record = -1;
            if (is_open(c)) {
                ++vars_[idx(constraints_[idx(c)].var)].num_open;
            }
        }
        reason_pool_.resize(implications_.back().reasons);
        implications_.pop_back();
    }
    implied_cursor_ = std::min(implied_cursor_, implications_.size());
}

std::vector<std::pair<std::string, std::string>> Solver::get_stats() const
{
    size_t entries = 0;
    size_t longest = 0;
    tableau_.for_each_row([&](const Row& e) {
        entries += e.size();
        longest = std::max(longest, e.size());
    });
    const size_t rows = static_cast<size_t>(tableau_.num_rows());
    const auto known =
        std::count_if(vars_.begin(), vars_.end(), [](const VariableBounds& v) { return v.known; });
    return {
        {"num tableau rows", std::to_string(rows)},
        {"num tableau variables", std::to_string(known)},
        {"avg tableau row length",
         std::to_string(rows == 0 ? 0.0
                                  : static_cast<double>(entries) / static_cast<double>(rows))},
        {"max tableau row length", std::to_string(longest)},
        {"num pivot operations", std::to_string(stats_.pivots)},
        {"num simplex checks", std::to_string(stats_.checks)},
        {"num bound implications", std::to_string(stats_.trivial_implications)},
        {"num row implications", std::to_string(stats_.range_implications)},
        {"num rows examined", std::to_string(stats_.rows_examined)},
        {"num disequality repairs", std::to_string(stats_.disequality_repairs)},
    };
}

} // namespace tarq::la
