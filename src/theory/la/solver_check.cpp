// The search for an assignment within all bounds, and the repair of disequalities.
#include "base/terminationtest.h"
#include "theory/la/solver.h"

#include <algorithm>
#include <limits>

namespace tarq::la {

namespace {

/// The termination test may read a clock, and a pivot is often shorter than that: it is asked again
/// after so many changed numbers. A pivot counts for PIVOT_WORK and the numbers that it changes.
constexpr uint64_t POLL_WORK = 1024;
constexpr uint64_t PIVOT_WORK = POLL_WORK / 16;

} // namespace

bool Solver::check(bool approx)
{
    ++stats_.checks;
    if (inconsistent_) {
        return false;
    }
    if (!initialized_) {
        initialize();
    }
    bool ok = do_check();
    if (ok && !approx && !disequalities_.empty()) {
        ok = do_check_disequalities();
    }
    if (!ok) {
        set_inconsistent();
        restore();
        return false;
    }
    if (deduction_level_ > 1) {
        for (int r : to_examine_) {
            try_range_implications(r);
        }
    }
    to_examine_.clear();
    commit();
    TARQ_HEAVY_ASSERT(tableau_.num_rows() > 60 || check_invariants());
    TARQ_HEAVY_ASSERT(values_satisfy_all(!approx));
    return true;
}

/// Pivots until all variables are within their bounds. Returns false, with `conflict_` set, when a
/// row shows that they can't be.
bool Solver::do_check()
{
    settle_restored();
    const int threshold = pivoting_threshold_ > 0 ? pivoting_threshold_ : default_threshold_;
    for (int iteration = 1;; ++iteration) {
        if (termination_test_ && unpolled_work_ >= POLL_WORK) {
            unpolled_work_ = 0;
            (*termination_test_)();
        }
        const bool greedy = iteration < threshold;
        const int x = choose_leaving(greedy);
        if (x == 0) {
            return true;
        }
        const VariableBounds& v = vars_[idx(x)];
        const bool raise = v.value < v.lower;
        const int y = choose_entering(x, raise, greedy);
        if (y == 0) {
            build_conflict_set(x);
            return false;
        }
        unpolled_work_ += PIVOT_WORK + tableau_.row(x).size() * tableau_.column(y).size();
        pivot_and_update(x, y, raise ? v.lower : v.upper);
    }
}

/// The basic variable to repair, or 0. Greedily: the one with the shortest row, then the one least
/// off; else the one with the least index, which can't go on for ever.
int Solver::choose_leaving(bool greedy)
{
    int best = 0;
    size_t best_size = 0;
    for (size_t i = to_check_.size(); i > 0; --i) {
        const int x = to_check_[i - 1];
        const VariableBounds& v = vars_[idx(x)];
        const bool low = v.value < v.lower;
        if (!low && v.value <= v.upper) {
            to_check_.erase(x); // the last element, seen already, takes its place
            continue;
        }
        if (!greedy) {
            best = best == 0 ? x : std::min(best, x);
            continue;
        }
        const size_t size = tableau_.row(x).size();
        if (best != 0 && size > best_size) {
            continue;
        }
        theta_ = low ? v.lower : v.value;
        theta_ -= low ? v.value : v.upper;
        if (best != 0 && size == best_size) {
            const int order = cmp(theta_, diff_);
            if (order > 0 || (order == 0 && x > best)) {
                continue;
            }
        }
        best = x;
        best_size = size;
        std::swap(diff_, theta_);
    }
    return best;
}

/// A non-basic variable whose move takes x towards its bound, or 0. Greedily the one that takes the
/// fewest basic variables beyond their bounds, counting those that stand at one now, since they have
/// to be repaired later; then the one with the shortest column, since each row of the column has to
/// be changed.
int Solver::choose_entering(int x, bool raise, bool greedy) const
{
    int best = 0;
    uint32_t best_stopped = 0;
    uint32_t best_length = 0;
    for (const Row::Term& t : tableau_.row(x).terms()) {
        if (t.var == x) {
            continue;
        }
        const VariableBounds& y = vars_[idx(t.var)];
        const bool up = raise == t.coeff.is_pos();
        if (up ? !(y.value < y.upper) : !(y.value > y.lower)) {
            continue;
        }
        if (!greedy) {
            best = best == 0 ? t.var : std::min(best, t.var);
            continue;
        }
        const uint32_t length = tableau_.column(t.var).size();
        uint32_t limit = std::numeric_limits<uint32_t>::max();
        if (best != 0) {
            const bool shorter = length < best_length || (length == best_length && t.var < best);
            if (!shorter && best_stopped == 0) {
                continue;
            }
            limit = shorter ? best_stopped : best_stopped - 1;
        }
        const uint32_t stopped = count_stopped(t.var, x, up, limit);
        if (stopped <= limit) {
            best = t.var;
            best_stopped = stopped;
            best_length = length;
        }
    }
    return best;
}

/// How many basic variables but x a move of y takes beyond a bound however short it is.
/// limit  above it the exact number does not matter
uint32_t Solver::count_stopped(int y, int x, bool up, uint32_t limit) const
{
    uint32_t count = 0;
    for (const Tableau::Entry& e : tableau_.column(y)) {
        const int b = tableau_.basic_of_row(e.row);
        const VariableBounds& v = vars_[idx(b)];
        const bool b_up = up == tableau_.coeff(e).is_pos();
        if ((b_up ? v.upper_reason : v.lower_reason) != 0 && b != x &&
            (b_up ? !(v.value < v.upper) : !(v.value > v.lower)) && ++count > limit) {
            break;
        }
    }
    return count;
}

void Solver::note_change(VariableBounds& v, int var)
{
    abstract_valid_ = false;
    note_move(var);
    if (!v.changed) {
        v.changed = true;
        changed_.emplace_back(var, v.value);
    }
}

/// Puts a basic variable on the list of those to repair if it is out of bounds. One that is not
/// stays on it: the next search for a variable finds that out.
void Solver::recheck(int b)
{
    const VariableBounds& v = vars_[idx(b)];
    if (v.value < v.lower || v.value > v.upper) {
        to_check_.insert(b);
    }
}

/// Moves a non-basic variable.
void Solver::update(int y, const DNumber& value)
{
    VariableBounds& v = vars_[idx(y)];
    theta_ = value;
    theta_ -= v.value;
    note_change(v, y);
    v.value = value;
    for (const Tableau::Entry& e : tableau_.column(y)) {
        const int b = tableau_.basic_of_row(e.row);
        VariableBounds& bv = vars_[idx(b)];
        note_change(bv, b);
        bv.value.add_mult(theta_, tableau_.coeff(e));
        recheck(b);
    }
}

/// Gives basic x the value `target` by moving y, and swaps the two.
void Solver::pivot_and_update(int x, int y, const DNumber& target)
{
    ++stats_.pivots;
    VariableBounds& vx = vars_[idx(x)];
    VariableBounds& vy = vars_[idx(y)];
    theta_ = target;
    theta_ -= vx.value;
    theta_ /= tableau_.row(x).get_coefficient(y);
    note_change(vx, x);
    note_change(vy, y);
    vx.value = target;
    vy.value += theta_;
    for (const Tableau::Entry& e : tableau_.column(y)) {
        const int b = tableau_.basic_of_row(e.row);
        if (b == x) {
            continue;
        }
        VariableBounds& bv = vars_[idx(b)];
        note_change(bv, b);
        bv.value.add_mult(theta_, tableau_.coeff(e));
        recheck(b);
    }
    to_check_.erase(x);
    tableau_.pivot(x, y);
    recheck(y);
}

void Solver::commit()
{
    for (const auto& change : changed_) {
        vars_[idx(change.first)].changed = false;
    }
    changed_.clear();
}

/// Back to the values of the last commit.
void Solver::restore()
{
    abstract_valid_ = false;
    for (auto& [var, value] : changed_) {
        VariableBounds& v = vars_[idx(var)];
        v.changed = false;
        v.value = std::move(value);
        note_move(var);
        to_restore_.push_back(var);
    }
    changed_.clear();
}

/// Brings restored values in line with the bounds that are in force now.
void Solver::settle_restored()
{
    for (int x : to_restore_) {
        const VariableBounds& v = vars_[idx(x)];
        if (tableau_.is_basic(x)) {
            recheck(x);
        } else if (tableau_.is_eliminated(x)) {
            continue;
        } else if (v.value < v.lower) {
            update(x, v.lower);
        } else if (v.value > v.upper) {
            update(x, v.upper);
        }
    }
    to_restore_.clear();
}

/// The row of x can't bring it within its bounds: every variable of it stands at the bound that
/// stops it.
void Solver::build_conflict_set(int x)
{
    const bool below = vars_[idx(x)].value < vars_[idx(x)].lower;
    conflict_.clear();
    conflict_.push_back(below ? vars_[idx(x)].lower_reason : vars_[idx(x)].upper_reason);
    for (const Row::Term& t : tableau_.row(x).terms()) {
        if (t.var != x) {
            const VariableBounds& y = vars_[idx(t.var)];
            conflict_.push_back(below == t.coeff.is_pos() ? y.upper_reason : y.lower_reason);
        }
    }
    TARQ_HEAVY_ASSERT(conflict_is_certified(x, below));
}

/// Over the reals a set of bounds meets all disequalities if it meets each of them alone. So for
/// one that does not hold, either side will do, and its strict bound stays in force while others
/// are repaired.
bool Solver::do_check_disequalities()
{
    TARQ_ASSERT(temporary_.empty());
    const auto silence = suspend_deduction();
    struct Guard { // also when the termination test throws
        Solver* s;
        ~Guard() { s->drop_temporary_bounds(); }
    } guard{this};
    bool ok = true;
    bool again = true;
    while (ok && again) {
        again = false;
        for (size_t i = disequalities_.size(); ok && i > 0; --i) {
            const RangeConstraint& r = constraints_[idx(disequalities_[i - 1])];
            if (vars_[idx(r.var)].value == r.bound) {
                ok = repair_disequality(disequalities_[i - 1], &temporary_);
                again = true; // this may have spoilt one that was met before
            }
        }
    }
    return ok;
}

void Solver::drop_temporary_bounds()
{
    for (; !temporary_.empty(); temporary_.pop_back()) {
        undo(temporary_.back());
    }
}

bool Solver::repair_disequality(int c, std::vector<StackEntry>* temporary)
{
    ++stats_.disequality_repairs;
    const RangeConstraint& r = constraints_[idx(c)];
    if (tableau_.is_eliminated(r.var)) {
        bring_back(r.var);
    }
    if (push_bound(c, true, r.bound - unit_delta(), temporary) && do_check()) {
        return true;
    }
    undo(temporary->back());
    temporary->pop_back();
    std::vector<int> first = conflict_;
    if (push_bound(c, false, r.bound + unit_delta(), temporary) && do_check()) {
        return true;
    }
    first.insert(first.end(), conflict_.begin(), conflict_.end());
    std::sort(first.begin(), first.end());
    first.erase(std::unique(first.begin(), first.end()), first.end());
    conflict_.swap(first);
    return false;
}

} // namespace tarq::la
