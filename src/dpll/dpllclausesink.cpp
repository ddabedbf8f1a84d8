#include "dpll/dpllclausesink.h"

#include "dpll/dpllsolver.h"
#include "encoding/polaritychecker.h"
#include "terms/termmanager.h"

namespace tarq {

namespace {

constexpr int phase_by_polarity = 2;
constexpr int negative_only = 1;

} // namespace

DpllClauseSink::DpllClauseSink(TermManager* tm, DpllSolver* solver, const PolarityChecker* polarity,
                               int initial_phase, bool keep_dropped_clauses)
    : tm_(tm), solver_(solver), polarity_(polarity), initial_phase_(initial_phase),
      keep_dropped_clauses_(keep_dropped_clauses)
{
}

DpllClauseSink::~DpllClauseSink()
{
    drop_kept();
}

void DpllClauseSink::drop_kept()
{
    if (kept_) {
        solver_->release_clause(kept_);
        kept_ = nullptr;
    }
}

int DpllClauseSink::proxy(const Term_* t)
{
    int var = -1;
    if (solver_->make_proxy(t, &var)) {
        ++stats_.variables;
        if (initial_phase_ == phase_by_polarity && polarity_) {
            solver_->set_polarity(var, (*polarity_)(t) == negative_only ? l_False : l_True);
        }
    }
    solver_->set_problem_var(var, true);
    return var;
}

void DpllClauseSink::begin_clause(bool)
{
    drop_kept();
    lits_.clear();
}

void DpllClauseSink::add_literal(const Term_* t, bool negate)
{
    while (tm_->is_not(t)) {
        t = t->child(0);
        negate = !negate;
    }
    lits_.emplace_back(proxy(t), negate);
    ++stats_.literals;
}

dpll::Clause* DpllClauseSink::end_clause()
{
    ++stats_.clauses;
    if (keep_dropped_clauses_) {
        original_ = lits_;
    }
    dpll::Clause* c = solver_->add_clause_inplace(lits_, false, true);
    if (!c && keep_dropped_clauses_ && !original_.empty()) {
        c = kept_ = solver_->make_detached_clause(original_);
    }
    return c;
}

void DpllClauseSink::create_label(const Term_* t)
{
    proxy(t);
}

} // namespace tarq
