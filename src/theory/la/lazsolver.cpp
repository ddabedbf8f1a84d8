#include "theory/la/lazsolver.h"

#include "base/terminationtest.h"
#include "terms/termmanager.h"

#include <algorithm>

namespace tarq::laz {

using la::DNumber;
using la::VarCoeff;

namespace {

/// With more variables than this, work on the equations costs more than it brings.
constexpr int MAX_VARS_FOR_EQUATIONS = 40000;

size_t idx(int v)
{
    return static_cast<size_t>(v);
}

} // namespace

Solver::Solver(const Configuration::Theory::La& config, TermManager* tm, la::Solver* simplex,
               la::LinearTermMapper* mapper, const la::ConstraintMapper* constraints)
    : config_(config), tm_(tm), simplex_(simplex), mapper_(mapper), constraints_(constraints),
      rng_state_(static_cast<uint64_t>(config.parent->parent->random_seed))
{
    equalities_.set_is_real([this](int var) { return !is_int_var(var); });
}

void Solver::set_termination_test(const TerminationTest* test)
{
    termination_test_ = test;
    equalities_.set_termination_test(test);
}

void Solver::poll() const
{
    if (termination_test_) {
        (*termination_test_)();
    }
}

bool Solver::is_int_var(int var) const
{
    const Term_* t = mapper_->term(var);
    return t && TermManager::get_type(t) == tm_->get_int_type();
}

/// The sum over variables of terms that a variable stands for. Valid until the next call.
const la::Equation& Solver::form_of(int var) const
{
    if (const la::Equation* form = constraints_->form(var)) {
        return *form;
    }
    unit_.clear();
    unit_.add_var(var, QNumber(1));
    return unit_;
}

/// Whether whole values of the integer variables give the variable a whole value.
bool Solver::is_int_sum(int var) const
{
    const la::Equation& form = form_of(var);
    return std::all_of(form.terms().begin(), form.terms().end(),
                       [this](const VarCoeff& t) { return t.coeff.is_int() && is_int_var(t.var); });
}

/// Brings the list of integer variables up to date.
void Solver::collect_int_vars()
{
    if (int_vars_version_ == mapper_->version() + 1) {
        return;
    }
    int_vars_version_ = mapper_->version() + 1;
    int_vars_.clear();
    for (int v = 1; v < mapper_->end_of_variables(); ++v) {
        if (is_int_var(v)) {
            int_vars_.push_back(v);
            simplex_->note_move(v);
        }
    }
}

/// Lists the integer variables without a whole value. Returns whether there are any.
bool Solver::collect_fractional()
{
    collect_int_vars();
    fractional_.clear();
    DNumber value;
    for (int v : int_vars_) {
        if (simplex_->is_fractional(v)) {
            simplex_->get_abstract_value(v, &value);
            fractional_.emplace_back(v, value.floor());
        }
    }
    return !fractional_.empty();
}

/// Whether a variable of the tableau is fractional, for checks that need not know more.
bool Solver::has_fractional()
{
    collect_int_vars();
    return simplex_->any_moved_fractional([this](int v) { return is_int_var(v); });
}

/// The variables with a pushed constraint, each once, in the order of their first one.
void Solver::bounded_vars(std::vector<int>& out) const
{
    seen_.assign(idx(mapper_->end_of_variables()), 0);
    simplex_->for_each_pushed([&](int c) {
        const int v = simplex_->get_constraint(c).var;
        if (!seen_[idx(v)]) {
            seen_[idx(v)] = 1;
            out.push_back(v);
        }
    });
}

Solver::Result Solver::check(bool approx)
{
    TARQ_ASSERT(own_bounds_.empty());
    conflict_.clear();
    split_.clear();
    // Before a complete check the pause grows with each try that brought nothing.
    if (approx && approx_countdown_ > 0) {
        --approx_countdown_;
        return Result::UNDECIDED;
    }
    if (!(approx ? has_fractional() : collect_fractional())) {
        return Result::INTEGRAL;
    }
    ++stats_.calls;
    const auto silence = simplex_->suspend_deduction();
    OwnBoundsGuard guard{this};
    if (config_.laz_equality_elimination && mapper_->end_of_variables() < MAX_VARS_FOR_EQUATIONS) {
        if (!update_equalities()) {
            ++stats_.equational_conflicts;
            note_success();
            return Result::CONFLICT;
        }
        if (!tighten(approx)) {
            ++stats_.tightening_conflicts;
            note_success();
            return Result::CONFLICT;
        }
        if (!approx && !own_bounds_.empty() && !collect_fractional()) {
            return Result::INTEGRAL;
        }
    }
    if (approx) {
        pause();
        return Result::UNDECIDED;
    }
    if (equalities_.size() > 0 && point_countdown_-- == 0) {
        constexpr uint64_t MAX_PERIOD = 64;
        const bool found = find_point();
        point_period_ = found ? 1 : std::min(2 * point_period_, MAX_PERIOD);
        point_countdown_ = point_period_ - 1;
        if (found) {
            ++stats_.points;
            TARQ_ASSERT(!collect_fractional());
            return Result::INTEGRAL;
        }
    }
    const size_t tightened = own_bounds_.size();
    if (config_.laz_internal_branch_and_bound) {
        switch (internal_bb()) {
        case Search::FOUND:
            return Result::INTEGRAL;
        case Search::REFUTED:
            ++stats_.bb_conflicts;
            return Result::CONFLICT;
        case Search::STOPPED:
            break;
        }
    }
    drop_bounds(tightened);
    make_split();
    return Result::SPLIT;
}

bool Solver::check_equations()
{
    if (!config_.laz_equality_elimination || simplex_->is_inconsistent() ||
        mapper_->end_of_variables() >= MAX_VARS_FOR_EQUATIONS) {
        return true;
    }
    conflict_.clear();
    split_.clear();
    const auto silence = simplex_->suspend_deduction();
    if (!update_equalities()) {
        ++stats_.equational_conflicts;
        return false;
    }
    if (equalities_.size() > 0 && !simplex_->values_satisfy_all(false) && find_point()) {
        ++stats_.points;
    }
    return true;
}

void Solver::pause()
{
    constexpr int MAX_PERIOD = 256;
    approx_period_ = std::min(2 * approx_period_, MAX_PERIOD);
    approx_countdown_ = approx_period_ - 1;
}

/// Work on the equations brought a conflict: it is tried again at once.
void Solver::note_success()
{
    approx_period_ = 1;
    approx_countdown_ = 0;
}

// -- Own bounds

/// Returns false when the simplex finds a conflict at once. The bound is on the stack in any case.
/// sources  constraints that it follows from; none for an assumption
bool Solver::push_bound(int var, bool is_upper, const DNumber& bound,
                        const std::vector<int>& sources)
{
    const int c = mapper_->new_constraint(tlit_Undef);
    if (is_upper) {
        simplex_->tell_upper_bound(c, var, bound);
    } else {
        simplex_->tell_lower_bound(c, var, bound);
    }
    simplex_->set_never_implied(c);
    own_index_[c] = own_bounds_.size();
    own_bounds_.push_back({c, source_pool_.size()});
    source_pool_.insert(source_pool_.end(), sources.begin(), sources.end());
    return simplex_->push_constraint(c);
}

void Solver::drop_bounds(size_t n)
{
    while (own_bounds_.size() > n) {
        const OwnBound b = own_bounds_.back();
        [[maybe_unused]] const int popped = simplex_->pop_constraint();
        TARQ_ASSERT(popped == b.constraint);
        simplex_->retract_bound(b.constraint);
        mapper_->free_constraint(b.constraint);
        own_index_.erase(b.constraint);
        source_pool_.resize(b.first_source);
        own_bounds_.pop_back();
    }
}

void Solver::append_sources(size_t place, std::vector<int>& out) const
{
    const size_t end =
        place + 1 < own_bounds_.size() ? own_bounds_[place + 1].first_source : source_pool_.size();
    for (size_t i = own_bounds_[place].first_source; i < end; ++i) {
        out.push_back(source_pool_[i]);
    }
}

/// Takes over a conflict, own bounds replaced by what they follow from.
void Solver::set_conflict(std::vector<int> constraints)
{
    conflict_.clear();
    std::vector<int> sources;
    while (!constraints.empty()) {
        const int c = constraints.back();
        constraints.pop_back();
        const auto own = own_index_.find(c);
        if (own == own_index_.end()) {
            conflict_.push_back(c);
        } else {
            append_sources(own->second, constraints); // all older, so this ends
        }
    }
    std::sort(conflict_.begin(), conflict_.end());
    conflict_.erase(std::unique(conflict_.begin(), conflict_.end()), conflict_.end());
}

void Solver::forget_variables()
{
    equalities_.reset();
    in_system_.clear();
    lattices_.clear();
    scores_.clear();
}

std::vector<std::pair<std::string, std::string>> Solver::get_stats() const
{
    const std::pair<const char*, uint64_t> rows[] = {
        {"num integer checks", stats_.calls},
        {"num equational conflicts", stats_.equational_conflicts},
        {"num equality elimination + tightening conflicts", stats_.tightening_conflicts},
        {"num internal branch and bound calls", stats_.bb_calls},
        {"num internal branch and bound branches", stats_.bb_branches},
        {"num internal branch and bound conflicts", stats_.bb_conflicts},
        {"num internal branch and bound timeouts", stats_.bb_timeouts},
        {"num unit cubes", stats_.cubes},
        {"num solutions of the equations that satisfied all", stats_.points},
        {"num normal branch and bound lemmas", stats_.split_lemmas},
        {"num extended branch and bound lemmas", stats_.cut_lemmas},
    };
    std::vector<std::pair<std::string, std::string>> out;
    for (const auto& [name, value] : rows) {
        out.emplace_back(name, std::to_string(value));
    }
    return out;
}

} // namespace tarq::laz
