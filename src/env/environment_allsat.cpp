// Enumerations of models, and unsat cores.
#include "dpll/allsathook.h"
#include "env/environment.h"
#include "env/environment_checkscope.h"
#include "env/environment_solvers.h"

namespace tarq {

/// Stands before the caller's hook and keeps what the enumeration adds to the problem.
class Environment::EnumerationRecorder : public AllSatModelFoundHook {
public:
    EnumerationRecorder(Environment* env, AllSatModelFoundHook* hook) : env_(env), hook_(hook) {}

    bool operator()(std::vector<TheoryLit>& model) override
    {
        std::vector<TheoryLit> excluded;
        for (TheoryLit l : model) {
            excluded.push_back(~l);
        }
        const bool more = (*hook_)(model);
        if (more && !env_->config_.dpll.allsat_allow_duplicates) {
            record(excluded);
        }
        return more;
    }
    bool has_new_clauses() override { return hook_->has_new_clauses(); }
    void get_new_clause(std::vector<TheoryLit>& clause) override
    {
        hook_->get_new_clause(clause);
        record(clause);
    }

private:
    void record(const std::vector<TheoryLit>& clause)
    {
        EnumerationClauses& all = env_->enumeration_;
        all.lits.insert(all.lits.end(), clause.begin(), clause.end());
        all.clauses.push_back({env_->assertions_.size(), all.lits.size()});
        all.done = all.clauses.size();
    }

    Environment* env_;
    AllSatModelFoundHook* hook_;
};

/// Drops the clauses of backtrack points that are no longer there.
void Environment::drop_enumeration_clauses()
{
    auto& [clauses, lits, done] = enumeration_;
    while (!clauses.empty() && clauses.back().assertions > assertions_.size()) {
        clauses.pop_back();
    }
    lits.resize(clauses.empty() ? 0 : clauses.back().end);
    done = std::min(done, clauses.size());
}

/// Gives the engine the clauses that it does not have, of the first `assertions` entries of the
/// stack.
void Environment::restore_enumeration_clauses(size_t assertions)
{
    auto& [clauses, lits, done] = enumeration_;
    for (; done < clauses.size() && clauses[done].assertions <= assertions; ++done) {
        if (trivially_unsat_at_ >= 0) {
            continue;
        }
        const size_t start = done > 0 ? clauses[done - 1].end : 0;
        for (size_t i = start; i < clauses[done].end; ++i) {
            const Term_* t = lits[i].get_term();
            variable_of_assumption(t);
            solvers_->polarity.add_literal(t, false);
            solvers_->polarity.add_literal(t, true);
        }
        if (enumerated_at_ < 0) {
            enumerated_at_ = num_solver_levels();
        }
        DpllClauseSink& sink = solvers_->sink;
        sink.begin_clause(true);
        for (size_t i = start; i < clauses[done].end; ++i) {
            sink.add_literal(lits[i].get_term(), lits[i].is_neg());
        }
        if (!bt_labels_.empty()) {
            sink.add_literal(bt_labels_.back(), false);
        }
        sink.end_clause();
    }
}

int Environment::allsat(AllSatModelFoundHook& hook, TermArgs important)
{
    if (!config_.debug.solver_enabled) {
        return -1;
    }
    for (const Term_* t : important) {
        if (!tm_->is_boolean_constant(t)) {
            throw make_error<error>("allsat important symbols might only be Boolean constants");
        }
    }
    if (external_) {
        throw make_error<error>("allsat is not available with an external SAT solver");
    }
    CheckScope scope(*this);
    start_check();
    if (trivially_unsat_at_ >= 0) {
        last_result_ = 0;
        return scope.leave(0);
    }
    DpllSolver& engine = solvers_->engine;
    std::vector<int> vars;
    const TermVector atoms =
        important.empty() ? atoms_of_assertions() : TermVector(important.begin(), important.end());
    for (const Term_* t : atoms) {
        if (!important.empty() && !is_known(t)) {
            logger_("ENV") << loglevel(1)
                           << "WARNING: unknown allsat important symbol: " << t->to_shallow_str()
                           << ", assuming it is unconstrained" << EndLog;
        }
        vars.push_back(variable_of_assumption(t));
        solvers_->polarity.add_literal(t, false);
        solvers_->polarity.add_literal(t, true);
    }
    if (vars.empty() && engine.num_vars() > 0) {
        vars.push_back(engine.new_var()); // one that stands for nothing: all models are alike
    }
    const std::vector<dpll::Lit> assumptions = own_assumptions();
    const dpll::Lit guard = bt_labels_.empty()
                                ? dpll::lit_Undef
                                : dpll::Lit(engine.proxy_for_term(bt_labels_.back()), false);
    const int enumerated_before = enumerated_at_;
    if (enumerated_at_ < 0) {
        enumerated_at_ = num_solver_levels();
    }
    logger_("ENV") << loglevel(1) << "searching..." << EndLog;
    int count = 0;
    try {
        EnumerationRecorder recorder(this, &hook);
        count = engine.allsat(&recorder, vars, assumptions, guard);
    } catch (const DpllSolver::interrupted&) {
        scope.leave(0); // the engine is where it is after a check
        throw;
    }
    if (count == -2) {
        last_result_ = 1;
        enumerated_at_ = enumerated_before;
    } else {
        last_result_ = 0;
        trivially_unsat_at_ = num_solver_levels();
        if (count == 0) { // as a check, then, with its refutation
            enumerated_at_ = enumerated_before;
            if (solvers_->cores) {
                solvers_->cores->tell_unsat();
            }
        }
    }
    return scope.leave(count);
}

/// Whether the problem says anything about a constant.
bool Environment::is_known(const Term_* t) const
{
    const ToplevelPropagator* propagator = solvers_->propagator.get();
    const FreeCoder* coder = solvers_->free_coder.get();
    return solvers_->engine.proxy_for_term(t) >= 0 || (propagator && propagator->has_seen(t)) ||
           (coder && coder->has_seen(t));
}

/// The atoms of the asserted formulas, in the order in which a walk from left to right meets them.
TermVector Environment::atoms_of_assertions() const
{
    TermVector atoms;
    TermSet seen;
    TermVector stack;
    for (size_t i = 0; i < assertions_done_; ++i) {
        if (assertions_[i]) {
            stack.push_back(assertions_[i]);
        }
        while (!stack.empty()) {
            const Term_* t = stack.back();
            stack.pop_back();
            if (!seen.insert(t).second) {
                continue;
            }
            if (tm_->is_boolean_atom(t)) {
                atoms.push_back(t);
            }
            for (size_t k = t->arity(); k-- > 0;) {
                stack.push_back(t->child(k));
            }
        }
    }
    return atoms;
}

// Unsat cores

Environment::unsat_core_iterator Environment::unsat_core_begin()
{
    UnsatCoreStore* cores = solvers_->cores.get();
    if (!cores) {
        throw make_error<error>("unsat core generation not enabled");
    }
    if (last_result_ != 0) {
        cores->forget_refutation();
    } else if (enumerated_at_ >= 0 && !cores->has_trivial_unsat_core()) {
        throw make_error<error>("no unsat core: models were excluded by an enumeration");
    }
    return cores->begin();
}

Environment::unsat_core_iterator Environment::unsat_core_end() const
{
    return solvers_->cores->end();
}

void Environment::set_external_core_extractor(BooleanUnsatCoreExtractor* e)
{
    if (!solvers_->cores) {
        throw make_error<error>("unsat core generation not enabled");
    }
    solvers_->cores->set_external_core_extractor(e);
}

} // namespace tarq
