// Restarts, and upkeep of the clause database and the variable order.
#include "base/logger.h"
#include "dpll/dpllpreprocessor.h"
#include "dpll/dpllsolver.h"

#include <algorithm>
#include <limits>

namespace tarq {

using dpll::Clause;
using dpll::Lit;

namespace {

constexpr size_t lbd_queue_capacity = 100;
constexpr double glucose_restart_factor = 0.7;
constexpr uint32_t kept_lbd = 2; // learnt clauses up to this LBD are never dropped

} // namespace

// -- Restarts

/// The i-th element, from 1, of the sequence 1, 1, 2, 1, 1, 2, 4, ... (Luby, Sinclair, Zuckerman:
/// Optimal speedup of Las Vegas algorithms, 1993).
int64_t DpllSolver::luby(int64_t i)
{
    TARQ_ASSERT(i >= 1);
    for (;;) {
        int64_t power = 2; // the smallest with i < power
        while (power <= i) {
            power *= 2;
        }
        if (i == power - 1) {
            return power / 2;
        }
        i -= power / 2 - 1;
    }
}

/// Sets what each solve starts with.
void DpllSolver::init_search_parameters()
{
    const auto n = static_cast<int64_t>(clauses_.size());
    reduce_base_ = std::max<int64_t>({n, config_.reduce_base_min, 1});
    learnt_limit_ = base_learnt_limit();
    reduce_step_ = std::max<int64_t>(n / 10, config_.reduce_step_min);
    // A limit of 0 would restart before the first conflict for ever.
    const int initial = std::max(config_.restart_initial, 1);
    luby_index_ = 1;
    luby_unit_ = initial;
    restart_limit_ = initial;
    if (config_.restart_strategy == 3) {
        restart_limit_ = 0;
        lbd_queue_.resize(lbd_queue_capacity);
        clear_lbd_queue();
    }
}

int64_t DpllSolver::base_learnt_limit() const
{
    const auto third = static_cast<int64_t>(clauses_.size() / 3);
    return std::max<int64_t>(third, config_.learnt_limit_min) * config_.learnt_limit_scale;
}

bool DpllSolver::restart_due() const
{
    if (config_.restart_strategy != 3) {
        return static_cast<double>(search_conflicts_) >= restart_limit_;
    }
    if (lbd_queue_count_ < lbd_queue_capacity || solve_conflicts_ == 0) {
        return false;
    }
    const auto recent =
        static_cast<double>(lbd_queue_sum_ / static_cast<int64_t>(lbd_queue_capacity));
    return recent * glucose_restart_factor > restart_limit_ / static_cast<double>(solve_conflicts_);
}

void DpllSolver::update_restart_limit()
{
    constexpr int64_t max_unit = std::numeric_limits<int>::max();
    switch (config_.restart_strategy) {
    case 0:
        restart_limit_ = std::max(restart_limit_ * config_.restart_geometric_factor, 1.0);
        return;
    case 2:
        if (agility_ >= config_.agility_high) {
            luby_unit_ = std::min(luby_unit_ * 2, max_unit);
        } else if (agility_ <= config_.agility_low) {
            luby_unit_ = std::max<int64_t>({luby_unit_ / 2, config_.restart_initial, 1});
        }
        [[fallthrough]];
    case 1:
        ++luby_index_;
        restart_limit_ = static_cast<double>(luby_unit_) * static_cast<double>(luby(luby_index_));
        return;
    default:
        clear_lbd_queue(); // restart_limit_, the sum of all LBDs, stays
    }
}

/// How often assignments differ from the last ones, as a decaying average (Biere: Adaptive restart
/// strategies for conflict driven SAT solvers, SAT 2008). Called when var has just been assigned.
void DpllSolver::update_agility(int var)
{
    const uint8_t polarity = polarity_[index(var)];
    if (polarity == phase_invalidated) {
        return;
    }
    agility_ *= config_.agility_decay;
    if (values_[index(var) * 2].raw() != polarity) {
        agility_ += 1 - config_.agility_decay;
    }
}

void DpllSolver::clear_lbd_queue()
{
    lbd_queue_count_ = lbd_queue_head_ = lbd_queue_tail_ = 0;
    lbd_queue_sum_ = 0;
}

void DpllSolver::feed_lbd_queue(uint32_t lbd)
{
    if (lbd_queue_count_ == lbd_queue_capacity) {
        lbd_queue_sum_ -= lbd_queue_[lbd_queue_head_];
        lbd_queue_head_ = (lbd_queue_head_ + 1) % lbd_queue_capacity;
    } else {
        ++lbd_queue_count_;
    }
    lbd_queue_[lbd_queue_tail_] = lbd;
    lbd_queue_tail_ = (lbd_queue_tail_ + 1) % lbd_queue_capacity;
    lbd_queue_sum_ += lbd;
    restart_limit_ += lbd;
}

// -- Learnt clauses

void DpllSolver::reduce_db_if_due()
{
    const auto conflicts = static_cast<int64_t>(solve_conflicts_);
    const auto learnt = static_cast<int64_t>(learnts_.size());
    const bool within_limit = learnt_limit_ == 0 || learnt <= learnt_limit_;
    if (conflicts >= reduce_count_ * reduce_base_ && within_limit) {
        reduce_count_ = conflicts / reduce_base_ + 1; // with the base as it was
        reduce_base_ += reduce_step_;
        reduce_db();
    } else if (!within_limit) {
        learnt_limit_ =
            static_cast<int64_t>(static_cast<double>(learnt_limit_) * config_.learnt_limit_factor);
        reduce_db();
        // Where most clauses are of those that always stay, reductions would follow each other.
        const auto kept = static_cast<int64_t>(learnts_.size());
        learnt_limit_ = std::max(learnt_limit_, kept + kept / 2 + 1);
    }
}

/// Drops the weakest learnt clauses: of the first part of the order all that may go, of the rest
/// those with next to no activity. Clauses of at most two literals come last in the order.
void DpllSolver::reduce_db()
{
    struct Entry {
        float value;
        bool is_short;
        uint32_t id;
        Clause* c;
    };
    const size_t n = learnts_.size();
    if (n == 0) {
        return;
    }
    const double extra_limit = cla_inc_ / static_cast<double>(n);
    std::vector<Entry> order;
    order.reserve(n);
    for (Clause* c : learnts_) {
        const float weight =
            c->is_theory() ? static_cast<float>(config_.theory_clause_weight) : 1.0F;
        order.push_back({c->activity() * weight, c->size() <= 2, c->id(), c});
    }
    const auto first_part = static_cast<size_t>(static_cast<double>(n) * config_.reduce_fraction);
    if (first_part < n) {
        // Only which clauses are in the first part matters, not their order.
        std::nth_element(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(first_part),
                         order.end(), [](const Entry& a, const Entry& b) {
                             if (a.is_short != b.is_short) {
                                 return b.is_short;
                             }
                             return a.value != b.value ? a.value < b.value : a.id < b.id;
                         });
    }
    learnts_.clear();
    for (size_t i = 0; i < n; ++i) {
        Clause* c = order[i].c;
        const bool keep = c->lbd() == 1 || c->lbd() == kept_lbd || locked(c) ||
                          (i >= first_part && static_cast<double>(c->activity()) >= extra_limit);
        if (keep || !leave_problem(c, true)) {
            learnts_.push_back(c);
        } else {
            removed_.push_back(c);
        }
    }
    drop_learnt_marks();
    ++stats_.reductions;
    stats_.learnt_removed += n - learnts_.size();
    sweep_removed(true);
    collect_learnt_memory();
    shrink_watches();
    if (log_on(2)) {
        (*logger_)(log_section_) << loglevel(2) << log_prefix_ << "reduced clause db (removed "
                                 << n - learnts_.size() << " / " << n << " learnt clauses)"
                                 << EndLog;
    }
}

/// Moves the learnt clauses to fresh memory in the order of the watch lists, so that propagation
/// walks memory forward, and gives back what reductions left unused. A clause that someone else
/// refers to can't be moved; such are rare, and then all stay. The store of theory lemmas and
/// the ghost filter may be the last holders of a clause in that memory.
void DpllSolver::collect_learnt_memory()
{
    if (!pending_units_.empty() || !stored_tlemmas_.empty() || ghost_filter_ ||
        std::any_of(learnts_.begin(), learnts_.end(),
                    [](const Clause* c) { return c->num_references() > 1; })) {
        return;
    }
    dpll::ClausePool fresh;
    const auto moved = [&fresh](Clause* c) {
        if (c->is_garbage()) {
            return c->moved_to();
        }
        Clause* to = Clause_copy(fresh, c);
        c->set_moved(to);
        return to;
    };
    for (WatchList& list : watches_) {
        for (dpll::Watch& w : list) {
            if (w.is_learnt()) {
                w.set_clause(moved(w.clause()));
            }
        }
    }
    for (Clause*& c : learnts_) {
        c = moved(c);
    }
    for (size_t i = 0; i < trail_size_; ++i) {
        Clause*& r = vardata_[index(trail_[i].var())].reason;
        if (r && r->is_learnt()) {
            r = moved(r);
        }
    }
    learnt_pool_.swap(fresh);
}

// -- Top-level simplification

bool DpllSolver::simplify()
{
    if (unsat_level_ >= 0) {
        return false;
    }
    if (decision_level() == 0 && !propagate_at_base()) {
        return false;
    }
    if (preprocessor_ && !preprocessed_ && !preprocess()) {
        return false;
    }
    const size_t num_clauses = clauses_.size() + learnts_.size();
    if (static_cast<int64_t>(trail_size_) == simp_assigns_ || simp_props_ > 0 ||
        index(order_heap_.size()) > num_clauses) {
        return true;
    }
    const size_t clauses_before = clauses_.size();
    const size_t learnts_before = learnts_.size();
    const int vars_before = order_heap_.size();
    const int b = btpoints_.empty() ? -1 : btpoints_.back().var();
    remove_satisfied(learnts_, b);
    if (learnts_.size() < learnts_before) {
        drop_learnt_marks();
    }
    if (!preprocessor_) {
        remove_satisfied(clauses_, b);
    }
    sweep_removed(preprocessor_ != nullptr);
    if (preprocessor_ && config_.preprocessor.mode == 2 && !preprocess()) {
        return false;
    }
    if (decision_level() == 0) {
        rebuild_var_order();
    }
    simp_assigns_ = static_cast<int64_t>(trail_size_);
    simp_props_ = static_cast<int64_t>(stats_.clause_literals + stats_.learnt_literals);
    if (log_on(2)) {
        (*logger_)(log_section_) << loglevel(2) << log_prefix_ << "simplified clause db (removed "
                                 << clauses_before - clauses_.size() << " / " << clauses_before
                                 << " orig clauses, " << learnts_before - learnts_.size() << " / "
                                 << learnts_before << " learnt, "
                                 << vars_before - order_heap_.size() << " / " << vars_before
                                 << " vars)" << EndLog;
    }
    return true;
}

/// False when the preprocessor finds the clauses unsatisfiable.
bool DpllSolver::preprocess()
{
    const bool first = !preprocessed_;
    preprocessed_ = true;
    return preprocessor_->boolean_preprocessing(first);
}

/// Moves the clauses that are satisfied for good, or for as long as they live, to removed_.
/// b  variable of the newest point, -1 with none
void DpllSolver::remove_satisfied(std::vector<Clause*>& list, int b)
{
    const int last_pos = b == -1 ? static_cast<int>(trail_size_) : trail_pos(b);
    size_t j = 0;
    for (Clause* c : list) {
        bool satisfied = false;
        bool all_older = b != -1;
        for (Lit l : *c) {
            satisfied = satisfied || (value(l).is_true() && trail_pos(l.var()) <= last_pos);
            all_older = all_older && l.var() < b;
        }
        // An older clause may be satisfied by what a pop takes back.
        if (!satisfied || all_older || locked(c) || !leave_problem(c, false)) {
            list[j++] = c;
        } else {
            removed_.push_back(c);
        }
    }
    list.resize(j);
}

// -- Variable order

void DpllSolver::rebuild_var_order()
{
    std::vector<int> vars;
    for (int var = 0; var < num_vars(); ++var) {
        if (!is_assigned(var) && decision_[index(var)] != 0 && !is_eliminated(var)) {
            vars.push_back(var);
        }
    }
    order_heap_.build(vars.begin(), vars.end());
    ghost_vars_.clear(); // they are in the heap again
}

void DpllSolver::reset_var_order()
{
    std::fill(activity_.begin(), activity_.end(), 0.0);
    var_inc_ = 1;
    std::vector<int> vars;
    for (int var = 0; var < num_vars(); ++var) {
        if (decision_[index(var)] != 0 && !is_eliminated(var)) {
            vars.push_back(var);
        }
    }
    order_heap_.build(vars.begin(), vars.end());
    ghost_vars_.clear();
}

} // namespace tarq
