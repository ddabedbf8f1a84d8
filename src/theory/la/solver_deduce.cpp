// Implications between told constraints: by another bound of the same variable, or by the bounds of
// the other variables of a row.
#include "theory/la/solver.h"

#include <algorithm>

namespace tarq::la {

/// The bound of c has just tightened one side of its variable.
void Solver::try_trivial_implications(int c, bool is_upper)
{
    const int var = constraints_[idx(c)].var;
    const VariableBounds& v = vars_[idx(var)];
    if (v.num_open == 0) {
        return;
    }
    const DNumber& bound = is_upper ? v.upper : v.lower;
    const int sign = is_upper ? 1 : -1;
    const BoundKind same_side = is_upper ? BoundKind::UPPER : BoundKind::LOWER;
    for (int c2 : var_constraints_[idx(var)]) {
        const RangeConstraint& r = constraints_[idx(c2)];
        if (!is_open(c2)) {
            continue;
        }
        bool implied = false;
        bool both = false; // whether it takes the other side's bound, too
        if (r.kind == same_side) {
            implied = sign * cmp(r.bound, bound) >= 0;
        } else if (r.kind == BoundKind::DISEQUAL) {
            implied = sign * cmp(r.bound, bound) > 0;
        } else if (r.kind == BoundKind::EQUAL) {
            implied = both = r.bound == v.lower && r.bound == v.upper;
        }
        if (!implied) {
            continue;
        }
        const size_t first = reason_pool_.size();
        add_reason(is_upper ? v.upper_reason : v.lower_reason);
        if (both) {
            add_reason(is_upper ? v.lower_reason : v.upper_reason);
        }
        ++stats_.trivial_implications;
        finish_implication(c2, first);
    }
}

/// Looks for a pair that keeps row r from implying anything.
bool Solver::find_free_pair(int r)
{
    int first = 0;
    for (const Row::Term& t : tableau_.row_at(r).terms()) {
        if (!is_free(t.var)) {
            continue;
        }
        if (first != 0) {
            if (idx(r) >= free_pairs_.size()) {
                free_pairs_.resize(2 * idx(r) + 1);
            }
            free_pairs_[idx(r)] = {tableau_.row_version(r), first, t.var};
            return true;
        }
        first = t.var;
    }
    return false;
}

/// Looks for constraints on the variables of a row that follow from the bounds of the others: the
/// terms add up to 0, so one of them is at most minus the least the others add up to. No conflict
/// can show here: the values satisfy the row and are within all bounds.
/// r  index of a row
void Solver::try_range_implications(int r)
{
    if (has_free_pair(r) || find_free_pair(r)) {
        return;
    }
    const Row& row = tableau_.row_at(r);
    for (const bool of_min : {true, false}) {
        const Row::Term* unbounded = nullptr;
        bool any_open = false;
        int num_unbounded = 0;
        for (const Row::Term& t : row.terms()) {
            const uint8_t side = t.coeff.is_pos() == of_min ? HAS_LOWER : HAS_UPPER;
            if ((bounded_[idx(t.var)] & side) == 0) {
                unbounded = &t;
                if (++num_unbounded > 1) {
                    break;
                }
            }
        }
        if (num_unbounded > 1) {
            continue;
        }
        if (unbounded) {
            any_open = has_open_constraint(unbounded->var);
        } else {
            any_open = std::any_of(row.terms().begin(), row.terms().end(),
                                   [&](const Row::Term& t) { return has_open_constraint(t.var); });
        }
        if (!any_open) {
            continue;
        }
        ++stats_.rows_examined;
        sum_ = DNumber::zero;
        for (const Row::Term& t : row.terms()) {
            if (&t != unbounded) {
                const VariableBounds& v = vars_[idx(t.var)];
                sum_.add_mult(t.coeff.is_pos() == of_min ? v.lower : v.upper, t.coeff);
            }
        }
        if (unbounded) {
            limit_ = sum_;
            imply_beyond_limit(row, *unbounded, of_min);
            continue;
        }
        for (const Row::Term& t : row.terms()) {
            if (has_open_constraint(t.var)) {
                const VariableBounds& v = vars_[idx(t.var)];
                limit_ = t.coeff.is_pos() == of_min ? v.lower : v.upper;
                limit_ *= t.coeff;
                limit_ -= sum_;
                limit_ *= minus_one_;
                imply_beyond_limit(row, t, of_min);
            }
        }
    }
}

/// Implies the constraints on the variable of term t that follow from the others of its row.
/// of_min  limit_ holds the least that the others add up to; else the greatest
void Solver::imply_beyond_limit(const Row& row, const Row::Term& t, bool of_min)
{
    limit_ /= t.coeff;
    limit_ *= minus_one_;
    const bool is_upper = t.coeff.is_pos() == of_min;
    const VariableBounds& v = vars_[idx(t.var)];
    if (is_upper ? limit_ >= v.upper : limit_ <= v.lower) {
        return; // what follows from that bound is implied already
    }
    TARQ_HEAVY_ASSERT(implication_is_certified(row, t, of_min, limit_));
    const int sign = is_upper ? 1 : -1;
    for (int c : var_constraints_[idx(t.var)]) {
        if (!is_open(c)) {
            continue;
        }
        const RangeConstraint& r = constraints_[idx(c)];
        const int order = sign * cmp(r.bound, limit_);
        bool both = false;
        if (r.kind == (is_upper ? BoundKind::UPPER : BoundKind::LOWER)) {
            if (order < 0) {
                continue;
            }
        } else if (r.kind == BoundKind::DISEQUAL) {
            if (order <= 0) {
                continue;
            }
        } else if (r.kind == BoundKind::EQUAL) {
            both = order == 0 && r.bound == (is_upper ? v.lower : v.upper);
            if (!both) {
                continue;
            }
        } else {
            continue;
        }
        const size_t first = reason_pool_.size();
        for (const Row::Term& u : row.terms()) {
            if (u.var != t.var) {
                const VariableBounds& w = vars_[idx(u.var)];
                add_reason(u.coeff.is_pos() == of_min ? w.lower_reason : w.upper_reason);
            }
        }
        if (both) {
            add_reason(is_upper ? v.lower_reason : v.upper_reason);
        }
        ++stats_.range_implications;
        finish_implication(c, first);
    }
}

void Solver::add_reason(int c)
{
    TARQ_ASSERT(c > 0 && constraints_[idx(c)].pushed > 0);
    if (!reason_mark_[idx(c)]) {
        reason_mark_[idx(c)] = 1;
        reason_pool_.push_back(c);
    }
}

/// The reasons from `first_reason` on imply c.
void Solver::finish_implication(int c, size_t first_reason)
{
    for (size_t i = first_reason; i < reason_pool_.size(); ++i) {
        reason_mark_[idx(reason_pool_[i])] = 0;
    }
    TARQ_ASSERT(is_open(c));
    --vars_[idx(constraints_[idx(c)].var)].num_open;
    constraints_[idx(c)].record = static_cast<int>(implications_.size());
    implications_.push_back({c, static_cast<uint32_t>(first_reason), stack_.size()});
}

int Solver::get_next_implied()
{
    while (implied_cursor_ < implications_.size()) {
        const int c = implications_[implied_cursor_++].constraint;
        if (c != 0) { // not retracted
            return c;
        }
    }
    return 0;
}

size_t Solver::explanation_size(int c) const
{
    const size_t record = idx(constraints_[idx(c)].record);
    const size_t end =
        record + 1 < implications_.size() ? implications_[record + 1].reasons : reason_pool_.size();
    return end - implications_[record].reasons;
}

void Solver::get_explanation(int c, std::vector<int>& out) const
{
    TARQ_ASSERT(is_implied(c));
    const size_t first = implications_[idx(constraints_[idx(c)].record)].reasons;
    const auto begin = reason_pool_.begin() + static_cast<ptrdiff_t>(first);
    out.insert(out.end(), begin, begin + static_cast<ptrdiff_t>(explanation_size(c)));
    TARQ_HEAVY_ASSERT(is_consequence(c, out));
}

} // namespace tarq::la
