// Unit propagation over two watched literals per clause.
#include "dpll/dpllsolver.h"

#include <algorithm>

namespace tarq {

using dpll::Clause;
using dpll::Lit;
using dpll::Watch;

/// Returns a conflicting clause, with a reference for the caller, or null.
Clause* DpllSolver::propagate()
{
    enqueue_theory_implications();
    Clause* confl = propagate_literals();
    TARQ_HEAVY_ASSERT(confl || check_at_fixpoint());
    return confl;
}

/// Works off the trail. For each literal p that became true it walks the clauses that watch ~p,
/// with a read and a write position, since a clause that finds another literal to watch leaves the
/// list. The blocker decides most visits without a look at the clause, and binary clauses need none
/// at all (a binary clause may so end up with its implied literal second; reason_of repairs that on
/// reading). Everything the loop touches is held in locals: stores through the watch and literal
/// pointers would otherwise make the compiler reload members.
Clause* DpllSolver::propagate_literals()
{
    lbool* const values = values_.data();
    VarData* const vardata = vardata_.data();
    Lit* const trail = trail_.data();
    WatchList* const watches = watches_.data();
    const int level = decision_level();
    const bool agile = config_.restart_strategy == 2;
    const size_t start = qhead_;
    size_t qhead = qhead_;
    size_t trail_size = trail_size_;
    uint64_t visits = 0;
    uint64_t binary_visits = 0;
    Clause* confl = nullptr;

    const auto enqueue = [&](Lit l, Clause* reason) {
        values[index(l.index())] = l_True;
        values[index((~l).index())] = l_False;
        vardata[index(l.var())] = {reason, level, static_cast<int>(trail_size)};
        trail[trail_size++] = l;
        __builtin_prefetch(watches + l.index());
        if (agile) {
            update_agility(l.var());
        }
    };

    while (qhead < trail_size) {
        const Lit p = trail[qhead++];
        const Lit false_lit = ~p;
        WatchList& list = watches[index(p.index())];
        const Watch* i = list.begin();
        Watch* j = list.begin();
        const Watch* const end = list.end();
        while (i != end) {
            const Watch w = *i++;
            const Lit blocker = w.blocker();
            const lbool blocker_value = values[index(blocker.index())];
            if (blocker_value.is_true()) {
                *j++ = w;
                continue;
            }
            if (w.is_binary()) {
                ++binary_visits;
                *j++ = w;
                if (blocker_value.is_false()) {
                    confl = w.clause();
                    (*confl)[0] = blocker;
                    (*confl)[1] = false_lit;
                    break;
                }
                enqueue(blocker, w.clause());
                continue;
            }
            Clause* const c = w.clause();
            Lit* const lits = c->begin();
            const Lit first =
                Lit::from_index(lits[0].index() ^ lits[1].index() ^ false_lit.index());
            const lbool first_value = values[index(first.index())];
            if (first_value.is_true()) {
                *j++ = w;
                j[-1].set_blocker(first);
                continue;
            }
            ++visits;
            Lit* k = lits + 2;
            Lit* const lits_end = c->end();
            while (k != lits_end && values[index(k->index())].is_false()) {
                ++k;
            }
            if (k != lits_end) {
                const Lit other = *k;
                *k = false_lit;
                lits[0] = first;
                lits[1] = other;
                Watch moved = w;
                moved.set_blocker(first);
                watches[index((~other).index())].push(moved);
                continue;
            }
            lits[0] = first;
            lits[1] = false_lit;
            *j++ = w;
            j[-1].set_blocker(first);
            if (first_value.is_false()) {
                confl = c;
                break;
            }
            enqueue(first, c);
        }
        if (i != j) {
            j = std::copy(i, end, j); // what a conflict left unread
            list.shrink_to(static_cast<size_t>(j - list.begin()));
        }
        if (confl) {
            confl->add_reference();
            break;
        }
    }

    trail_size_ = trail_size;
    // After a conflict p counts as not propagated, should p's level outlive it.
    qhead_ = confl ? qhead - 1 : qhead;
    const uint64_t done = qhead - start;
    stats_.propagations += done;
    solve_propagations_ += done;
    stats_.watched_clauses_visited += visits + binary_visits;
    stats_.binary_watched_clauses_visited += binary_visits;
    simp_props_ -= static_cast<int64_t>(done);
    return confl;
}

} // namespace tarq
