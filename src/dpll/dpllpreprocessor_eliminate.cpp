// Elimination of variables by resolution, and the way back.
#include "base/logger.h"
#include "dpll/dpllpreprocessor.h"
#include "dpll/dpllsolver.h"

#include <algorithm>

namespace tarq {

using dpll::Clause;
using dpll::Lit;

namespace {

constexpr uint32_t max_occurrences = 20; // on both sides: more are never tried

} // namespace

bool DpllPreprocessor::may_be_eliminated(int var) const
{
    return !is_frozen(var) && !has_been_eliminated(var) && engine_->value(var).is_undef() &&
           !(stays_.get(index(var))) && n_occ_[index(var) * 2] + n_occ_[index(var) * 2 + 1] > 0;
}

/// Tries the candidates, cheapest first. False when the clauses are unsatisfiable.
bool DpllPreprocessor::eliminate_from_heap()
{
    while (!elim_heap_.empty()) {
        if (!backward_subsumption_check()) {
            return false;
        }
        if (elim_heap_.empty()) {
            break; // the last candidate got a value
        }
        const int var = elim_heap_.pop();
        if (!may_be_eliminated(var) || elimination_budget_ <= 0 ||
            (config_.elimination_recent_vars_only && var < last_var_count_)) {
            continue;
        }
        if (!eliminate(var)) {
            return false;
        }
    }
    return true;
}

/// Replaces the clauses of a variable by their resolvents if these are not too many or too long.
/// False when the clauses are unsatisfiable.
bool DpllPreprocessor::eliminate(int var)
{
    ++stats_.elimination_attempts;
    const Lit v(var);
    const uint32_t n_pos = n_occ_[index(v.index())];
    const uint32_t n_neg = n_occ_[index((~v).index())];
    too_dense_.set(index(var), n_pos > max_occurrences && n_neg > max_occurrences);
    if (too_dense_.get(index(var))) {
        return true;
    }
    const auto& pos = occurrences_.lookup(v.index());
    const auto& neg = occurrences_.lookup((~v).index());
    const int64_t occurrences = int64_t{n_pos} + n_neg;
    const int64_t most = occurrences + config_.elimination_grow_limit;
    int64_t literals = 0;
    for (const auto* side : {&pos, &neg}) {
        for (const Clause* c : *side) {
            literals += c->size();
        }
    }
    // Few long clauses for many short ones are a bad exchange, so literals may grow by no more than
    // clauses.
    const int64_t most_literals = literals * most / occurrences;
    resolvents_.clear();
    resolvent_ends_.clear();
    for (const Clause* p : pos) {
        for (const Clause* n : neg) {
            elimination_budget_ -= p->size() + n->size();
            if (!merge(p, n, var)) {
                continue;
            }
            if (static_cast<int64_t>(resolvent_ends_.size()) >= most ||
                static_cast<int64_t>(resolvents_.size() + resolvent_.size()) > most_literals ||
                (config_.clause_size_limit > 0 &&
                 resolvent_.size() > static_cast<size_t>(config_.clause_size_limit))) {
                return true;
            }
            resolvents_.insert(resolvents_.end(), resolvent_.begin(), resolvent_.end());
            resolvent_ends_.push_back(resolvents_.size());
        }
    }

    ++stats_.eliminated;
    eliminated_any_ = true;
    ++num_eliminated_;
    eliminated_at_[index(var)] = static_cast<int>(rewrite_trail_.size());
    rewrite_trail_.push_back(std::make_unique<VariableEliminationStep>(var));
    VariableEliminationStep& step = *rewrite_trail_.back();
    for (int sign = 0; sign < 2; ++sign) {
        for (Clause* c : occurrences_.lookup((v ^ sign).index())) {
            step.saved(sign).push_back(c);
            make_active_clause_inactive(c);
            if (c->guard_var() >= 0) {
                const auto point = std::lower_bound(points_.begin(), points_.end(), c->guard_var());
                std::vector<int>& under =
                    saved_under_[index(static_cast<int>(point - points_.begin()))];
                if (under.empty() || under.back() != var) {
                    under.push_back(var);
                }
            }
        }
        occurrences_.clean((v ^ sign).index());
    }
    elim_heap_.remove(var);
    engine_->order_heap_.remove(var);
    size_t begin = 0;
    for (const size_t end : resolvent_ends_) {
        resolvent_.assign(resolvents_.begin() + static_cast<std::ptrdiff_t>(begin),
                          resolvents_.begin() + static_cast<std::ptrdiff_t>(end));
        begin = end;
        if (!add_derived_clause(resolvent_)) {
            return false;
        }
    }
    return true;
}

/// Sets resolvent_ to the resolvent over the variable, with the newest guard only. False for a
/// tautology.
bool DpllPreprocessor::merge(const Clause* p, const Clause* n, int var)
{
    const int guard = std::max(p->guard_var(), n->guard_var());
    resolvent_.clear();
    for (Lit l : *p) {
        if (l.var() != var && (!is_guard(l) || l.var() == guard)) {
            resolvent_.push_back(l);
            mark_[index(l.index())] = 1;
        }
    }
    const size_t of_p = resolvent_.size();
    bool tautology = false;
    for (Lit l : *n) {
        if (l.var() == var || mark_[index(l.index())] || (is_guard(l) && l.var() != guard)) {
            continue;
        }
        if (mark_[index((~l).index())]) {
            tautology = true;
            break;
        }
        resolvent_.push_back(l);
    }
    for (size_t i = 0; i < of_p; ++i) {
        mark_[index(resolvent_[i].index())] = 0;
    }
    return !tautology;
}

// -- The way back

/// Brings an eliminated variable back, and all those that its clauses need.
void DpllPreprocessor::return_saved_clauses(int var)
{
    if (!has_been_eliminated(var)) {
        return;
    }
    TARQ_ASSERT(!running_);
    std::vector<int> todo(1, var);
    std::vector<std::unique_ptr<VariableEliminationStep>> steps;
    for (size_t i = 0; i < todo.size(); ++i) {
        const int v = todo[i];
        if (!has_been_eliminated(v)) {
            continue;
        }
        steps.push_back(std::move(rewrite_trail_[index(eliminated_at_[index(v)])]));
        eliminated_at_[index(v)] = -1;
        --num_eliminated_;
        ++stats_.brought_back;
        engine_->insert_var_order(v);
        if (config_.try_reelimination) {
            brought_back_.push_back(v);
        } else {
            stays_.set(index(v));
        }
        for (int sign = 0; sign < 2; ++sign) {
            for (const Clause* c : steps.back()->saved(sign)) {
                for (Lit l : *c) {
                    if (has_been_eliminated(l.var())) {
                        todo.push_back(l.var());
                    }
                }
            }
        }
    }
    for (const std::unique_ptr<VariableEliminationStep>& step : steps) {
        for (int sign = 0; sign < 2; ++sign) {
            for (Clause* c : step->saved(sign)) {
                make_inactive_clause_active(c);
            }
        }
    }
    while (!rewrite_trail_.empty() && !rewrite_trail_.back()) {
        rewrite_trail_.pop_back();
    }
}

/// Tries to eliminate again what was brought back since the last run. False when the clauses are
/// unsatisfiable.
bool DpllPreprocessor::perform_reelimination()
{
    if (brought_back_.empty()) {
        return true;
    }
    const DpllSolver& e = *engine_;
    const bool logs = e.log_on(3);
    const auto line = [&e](const char* text, size_t n) {
        (*e.logger_)(e.log_section_) << loglevel(3) << e.log_prefix_ << text << n << EndLog;
    };
    if (logs) {
        line("starting an elimination at step ", rewrite_trail_.size());
    }
    size_t calls = 0;
    size_t gone = 0;
    const std::vector<int> vars = std::move(brought_back_);
    brought_back_.clear();
    bool consistent = true;
    for (int var : vars) {
        if (!backward_subsumption_check()) {
            consistent = false;
            break;
        }
        if (!may_be_eliminated(var) || elimination_budget_ <= 0) {
            continue;
        }
        ++calls;
        if (!eliminate(var)) {
            consistent = false;
            break;
        }
        gone += static_cast<size_t>(has_been_eliminated(var));
    }
    if (logs) {
        line("reliminate calls made: ", calls);
        line("did not reappear: ", vars.size() - calls);
        line("reeliminated: ", gone);
        line("not_reeliminated: ", calls - gone);
        line("UNSAT: ", static_cast<size_t>(!consistent));
    }
    return consistent;
}

} // namespace tarq
