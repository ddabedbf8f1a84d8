// Units, subsumption and self-subsuming resolution.
#include "dpll/dpllpreprocessor.h"
#include "dpll/dpllsolver.h"

#include <algorithm>

namespace tarq {

using dpll::Clause;
using dpll::Lit;

/// Works off the units and the queue: each queued clause is simplified by what holds at level 0 and
/// then compared with all clauses that share its rarest variable (Eén, Biere: Effective
/// preprocessing in SAT through variable and clause elimination, SAT 2005). False when the clauses
/// are unsatisfiable.
bool DpllPreprocessor::backward_subsumption_check()
{
    ++stats_.subsumption_calls;
    for (;;) {
        poll();
        if (trail_done_ < engine_->trail_size_) {
            if (!propagate_unit(engine_->trail_[trail_done_++])) {
                return false;
            }
            continue;
        }
        if (subsumption_head_ == subsumption_queue_.size()) {
            clear_subsumption_queue();
            return true;
        }
        Clause* c = subsumption_queue_[subsumption_head_++];
        c->set_preprocessor_state(c->preprocessor_state() & ~uint32_t{QUEUED});
        if (!is_active(c)) {
            continue;
        }
        if (!simplify_by_values(c)) {
            return false;
        }
        if (is_active(c) && subsumption_budget_ > 0) {
            subsume_with(c);
        }
    }
}

void DpllPreprocessor::clear_subsumption_queue()
{
    for (; subsumption_head_ < subsumption_queue_.size(); ++subsumption_head_) {
        Clause* c = subsumption_queue_[subsumption_head_];
        c->set_preprocessor_state(c->preprocessor_state() & ~uint32_t{QUEUED});
    }
    subsumption_queue_.clear();
    subsumption_head_ = 0;
}

/// Takes a literal of level 0 into the clauses.
bool DpllPreprocessor::propagate_unit(Lit l)
{
    // The lists grow by clauses over other literals only, and clauses that go stay in them for now.
    for (const Lit side : {l, ~l}) {
        for (size_t i = 0; i < occurrences_.lookup(side.index()).size(); ++i) {
            Clause* c = occurrences_[side.index()][i];
            if (is_active(c) && !simplify_by_values(c)) {
                return false;
            }
        }
    }
    return true;
}

/// How level 0 leaves a clause: 4 when it is satisfied, 1 when a literal is false, else 0.
int DpllPreprocessor::check_satsified(const Clause* c) const
{
    int result = 0;
    for (Lit l : *c) {
        const lbool v = engine_->value(l);
        if (v.is_true()) {
            return 4;
        }
        result |= static_cast<int>(v.is_false());
    }
    return result;
}

/// Drops a satisfied clause, replaces one with false literals. False at a contradiction.
bool DpllPreprocessor::simplify_by_values(Clause* c)
{
    const int status = check_satsified(c);
    if (status == 4) {
        // While a point is open, its theory takes a lemma back at the pop of one of its atoms.
        if (!c->is_theory() || points_.empty() || !engine_->lemma_ids_.contains(c->id())) {
            make_active_clause_dropped(c);
        }
    } else if (status == 1 && !c->is_theory()) {
        std::vector<Lit>& rest = resolvent_;
        rest.clear();
        std::copy_if(c->begin(), c->end(), std::back_inserter(rest),
                     [this](Lit l) { return !engine_->value(l).is_false(); });
        make_active_clause_dropped(c);
        return !rest.empty() && add_derived_clause(rest);
    }
    return true;
}

/// Removes what `c` makes redundant, in whole or by one literal.
void DpllPreprocessor::subsume_with(const Clause* c)
{
    Lit best = dpll::lit_Undef;
    size_t fewest = 0;
    uint32_t size = 0; // without guards
    for (Lit l : *c) {
        if (is_guard(l)) {
            continue;
        }
        ++size;
        const size_t n =
            occurrences_.lookup(l.index()).size() + occurrences_.lookup((~l).index()).size();
        if (best == dpll::lit_Undef || n < fewest) {
            best = l;
            fewest = n;
        }
    }
    if (best == dpll::lit_Undef) {
        return; // the points contradict each other; the search will see
    }
    for (Lit l : *c) {
        mark_[index(l.index())] = static_cast<uint8_t>(!is_guard(l));
    }
    for (const Lit side : {best, ~best}) {
        const size_t n = occurrences_[side.index()].size(); // shorter clauses come in behind
        for (size_t i = 0; i < n; ++i) {
            Clause* d = occurrences_[side.index()][i];
            if (d != c && is_active(d)) {
                try_to_subsume(c, size, d);
            }
        }
    }
    for (Lit l : *c) {
        mark_[index(l.index())] = 0;
    }
}

/// c     with its literals marked, but for guards
/// size  the number of those
void DpllPreprocessor::try_to_subsume(const Clause* c, uint32_t size, Clause* d)
{
    --subsumption_budget_;
    const auto limit = static_cast<uint32_t>(std::max(config_.subsumption_size_limit, 0));
    if (d->size() < size || (limit != 0 && d->size() > limit) || d->is_theory() ||
        c->guard_var() > d->guard_var() || (c->abstraction() & ~d->abstraction()) != 0) {
        return;
    }
    subsumption_budget_ -= d->size();
    uint32_t same = 0;
    uint32_t flipped = 0;
    Lit flip = dpll::lit_Undef;
    for (Lit l : *d) {
        same += mark_[index(l.index())];
        if (mark_[index((~l).index())]) {
            ++flipped;
            flip = l;
        }
    }
    if (same == size) {
        make_active_clause_dropped(d);
        ++stats_.subsumed;
    } else if (same + 1 == size && flipped == 1) {
        strenghten_clause(d, flip);
    }
}

/// Takes the literal out. What is left has at least one, since the unit that could contradict it
/// has been propagated.
void DpllPreprocessor::strenghten_clause(Clause* c, Lit l)
{
    ++stats_.strengthened;
    std::vector<Lit> rest;
    rest.reserve(c->size() - 1);
    std::copy_if(c->begin(), c->end(), std::back_inserter(rest), [l](Lit x) { return x != l; });
    make_active_clause_dropped(c);
    [[maybe_unused]] const bool consistent = add_derived_clause(rest);
    TARQ_ASSERT(consistent);
}

/// Queues the clauses of variables with new clauses: a new one may be subsumed by an older one.
void DpllPreprocessor::gather_touched_clauses()
{
    for (int var : touched_list_) {
        touched_[index(var)] = 0;
        if (is_bt_point(var) || subsumption_budget_ <= 0) {
            continue;
        }
        for (int side = 0; side < 2; ++side) {
            for (Clause* c : occurrences_.lookup(2 * var + side)) {
                --subsumption_budget_;
                if (is_active(c)) {
                    enqueue_for_subsumption(c);
                }
            }
        }
    }
    touched_list_.clear();
}

} // namespace tarq
