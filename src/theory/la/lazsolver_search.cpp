// The search for whole values: the cube around the rational solution, and branch and bound.
#include "theory/la/lazsolver.h"

#include <algorithm>

namespace tarq::laz {

using la::DNumber;
using la::VarCoeff;

// Numbers from the generator of POSIX's drand48, but for one bit of the state.

bool Solver::coin()
{
    const uint64_t product = rng_state_ * 0x5DEECE66DU + 0xB;
    rng_state_ = product & 0xFFFDFFFFFFFFFFFFU;
    return (product >> 16 & 1) != 0;
}

/// Below n, which is not 0.
uint64_t Solver::draw(size_t n)
{
    coin();
    return (rng_state_ >> 16 & 0xFFFFFFFFU) % n;
}

double Solver::Score::value() const
{
    if (count[0] == 0 && count[1] == 0) {
        return 0;
    }
    if (count[0] == 0 || count[1] == 0) {
        const int side = count[0] == 0 ? 1 : 0;
        return -sum[side] / count[side];
    }
    return std::max(-sum[0] / count[0], -sum[1] / count[1]);
}

/// If every bound holds with the room that rounding takes, the rounded solution satisfies them all
/// (Bromberger and Weidenbach, "Fast Cube Tests for LIA Constraint Solving", IJCAR 2016). Returns
/// whether that is so; the values are those then.
bool Solver::unit_cube_test()
{
    const size_t base = own_bounds_.size();
    std::vector<int> vars;
    bounded_vars(vars);
    bool ok = true;
    for (size_t i = 0; ok && i < vars.size(); ++i) {
        const int v = vars[i];
        QNumber room;
        for (const VarCoeff& t : form_of(v).terms()) {
            if (is_int_var(t.var)) {
                room += abs(t.coeff);
            }
        }
        if (room.is_zero()) {
            continue;
        }
        room *= QNumber(1, 2);
        const DNumber lower = simplex_->lower_bound(v);
        const DNumber upper = simplex_->upper_bound(v);
        ok = (lower.is_inf() || push_bound(v, false, lower + DNumber(room), {})) &&
             (upper.is_inf() || push_bound(v, true, upper - DNumber(room), {}));
    }
    ok = ok && simplex_->check(false);
    hsh::HashMap<int, DNumber> rounded;
    if (ok) {
        DNumber value;
        for (int v = 1; v < mapper_->end_of_variables(); ++v) {
            if (mapper_->term(v) && simplex_->get_abstract_value(v, &value)) {
                if (is_int_var(v)) {
                    value += DNumber(QNumber(1, 2));
                    value = DNumber(value.floor());
                }
                rounded[v] = value;
            }
        }
    }
    drop_bounds(base);
    if (!ok) {
        return false;
    }
    simplex_->set_values([&](int var) {
        DNumber sum;
        for (const VarCoeff& t : form_of(var).terms()) {
            sum.add_mult(rounded[t.var], t.coeff);
        }
        return sum;
    });
    return simplex_->values_satisfy_all(true);
}

Solver::Search Solver::internal_bb()
{
    ++stats_.bb_calls;
    if (config_.laz_unit_cube_test && cube_countdown_-- == 0) {
        // The test costs a push for each bound, so it pauses for longer after each failure.
        constexpr uint64_t MAX_PERIOD = 64;
        const bool found = unit_cube_test();
        cube_period_ = found ? 1 : std::min(2 * cube_period_, MAX_PERIOD);
        cube_countdown_ = cube_period_ - 1;
        if (found) {
            ++stats_.cubes;
            TARQ_ASSERT(!collect_fractional());
            return Search::FOUND;
        }
        if (!simplex_->check(false)) { // its values changed
            set_conflict(simplex_->conflict());
            return Search::REFUTED;
        }
        if (!collect_fractional()) {
            return Search::FOUND;
        }
    }
    size_t limit = static_cast<size_t>(config_.laz_internal_branch_and_bound_limit);
    if (limit == 1) {
        limit = std::clamp<size_t>(int_vars_.size(), 100, 1000);
    }
    frames_.clear();
    scores_.clear();
    for (size_t branches = 0;; ++branches) {
        poll();
        if (limit != 0 && branches >= limit) {
            ++stats_.bb_timeouts;
            return Search::STOPPED;
        }
        ++stats_.bb_branches;
        push_frame();
        bool ok = enter_side();
        while (!ok) {
            poll();
            if (!go_back(simplex_->conflict())) {
                return Search::REFUTED;
            }
            ok = enter_side();
        }
        if (!collect_fractional()) {
            return Search::FOUND;
        }
        const Frame& f = frames_.back();
        Score& s = scores_[f.var];
        s.sum[f.side] += static_cast<double>(fractional_.size());
        s.count[f.side] += 1;
    }
}

void Solver::push_frame()
{
    const auto& [var, floor] = fractional_[pick_variable()];
    frames_.push_back({var, floor, coin() ? 1 : 0, false, 0, {}});
}

/// Branches on the side of the top frame. The bound is moved to a value that the equations allow.
/// Returns false for a conflict.
bool Solver::enter_side()
{
    Frame& f = frames_.back();
    const bool is_upper = f.side == 0;
    QNumber bound = is_upper ? f.floor : f.floor + QNumber(1);
    static const std::vector<int> none;
    const std::vector<int>* sources = &none;
    const bool has_equations = equalities_.size() > 0;
    if (has_equations) {
        const Lattice& l = lattice(f.var);
        if (!l.trivial && !l.step.is_zero()) {
            const QNumber steps = (bound - l.offset) / l.step;
            const QNumber moved = l.offset + l.step * (is_upper ? steps.floor() : steps.ceil());
            if (moved != bound) {
                bound = moved;
                sources = &l.sources;
            }
        }
    }
    f.place = own_bounds_.size();
    return push_bound(f.var, is_upper, DNumber(bound), *sources) && simplex_->check(false);
}

/// Leaves the side of the top frame, which has a conflict, and every frame that this refutes.
/// Returns false, with the conflict set, when no frame is left; else the top one has its other side
/// to be entered.
bool Solver::go_back(std::vector<int> conflict)
{
    while (!frames_.empty()) {
        Frame& f = frames_.back();
        const auto own =
            std::find(conflict.begin(), conflict.end(), own_bounds_[f.place].constraint);
        const bool involved = own != conflict.end();
        if (involved) {
            conflict.erase(own);
            append_sources(f.place, conflict);
        }
        drop_bounds(f.place);
        if (involved) {
            conflict.insert(conflict.end(), f.conflict.begin(), f.conflict.end());
            std::sort(conflict.begin(), conflict.end());
            conflict.erase(std::unique(conflict.begin(), conflict.end()), conflict.end());
            if (!f.both) {
                f.both = true;
                f.side = 1 - f.side;
                f.conflict = std::move(conflict);
                return true;
            }
        }
        frames_.pop_back();
    }
    set_conflict(std::move(conflict));
    return false;
}

/// A place in `fractional_`: of the variable whose branches left the fewest fractional ones so far,
/// or any.
size_t Solver::pick_variable()
{
    size_t best = fractional_.size();
    double best_score = 0;
    for (size_t i = 0; i < fractional_.size(); ++i) {
        const auto it = scores_.find(fractional_[i].first);
        if (it != scores_.end() &&
            (best == fractional_.size() || it->second.value() > best_score)) {
            best = i;
            best_score = it->second.value();
        }
    }
    return best < fractional_.size() ? best : draw(fractional_.size());
}

} // namespace tarq::laz
