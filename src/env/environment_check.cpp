// Checks, assumptions and what is read after them.
#include "env/environment.h"
#include "env/environment_solvers.h"

namespace tarq {

class Environment::CheckScope {
public:
    explicit CheckScope(Environment& env) : env_(env), typecheck_(env.tm_->get_typecheck())
    {
        env_.tm_->set_typecheck(false);
    }

    ~CheckScope()
    {
        env_.tm_->set_typecheck(typecheck_);
        if (!done_) {
            // The engine may stand inside a search, and formulas may be counted as processed that
            // it never got. Marking the whole stack as new also makes a pop leave the engine alone.
            env_.interrupted_ = true;
            env_.assertions_done_ = 0;
            env_.last_result_ = -1;
            env_.unsat_assumptions_.clear();
            env_.reset_model();
        }
    }

    CheckScope(const CheckScope&) = delete;
    CheckScope& operator=(const CheckScope&) = delete;

    int leave(int result)
    {
        done_ = true;
        return result;
    }

private:
    Environment& env_;
    bool typecheck_;
    bool done_ = false;
};

int Environment::check()
{
    return do_check();
}

int Environment::do_check()
{
    return do_check_with_assumptions({}, false);
}

int Environment::check_with_assumptions(const std::vector<TheoryLit>& lits)
{
    for (TheoryLit l : lits) {
        const Term_* t = l.get_term();
        if (tm_->get_type(t) != tm_->get_bool_type() || !tm_->is_boolean_atom(t)) {
            throw make_error<error>("assumptions can only be literals");
        }
        if (!tm_->is_boolean_constant(t)) {
            throw make_error<error>("unsupported atom (no theory solver for it): ",
                                    t->to_shallow_str());
        }
    }
    return do_check_with_assumptions(lits, true);
}

/// The common course of both checks. `local` tells that an unsatisfiable answer holds under `lits`
/// only, so that it must not be remembered for the checks to come.
int Environment::do_check_with_assumptions(const std::vector<TheoryLit>& lits, bool local)
{
    if (!config_.debug.solver_enabled) {
        return -1;
    }
    CheckScope scope(*this);
    if (interrupted_) {
        reset_after_interrupted();
    }
    do_assert_stack();
    reset_model();
    last_result_ = -1;
    unsat_assumptions_.clear();
    std::vector<dpll::Lit> assumptions;
    for (const Term_* label : bt_labels_) {
        assumptions.emplace_back(solvers_->engine.proxy_for_term(label), true);
    }
    for (TheoryLit l : lits) {
        int var = variable_of_assumption(l.get_term());
        solvers_->polarity.add_literal(l.get_term(), l.is_neg());
        assumptions.emplace_back(var, l.is_neg());
    }
    if (trivially_unsat_at_ < 0) {
        logger_("ENV") << loglevel(1) << "searching..." << EndLog;
        if (solvers_->engine.solve(assumptions)) {
            has_model_ = true;
            last_result_ = 1;
            return scope.leave(1);
        }
        if (local) {
            collect_unsat_assumptions();
        } else {
            trivially_unsat_at_ = num_solver_levels();
        }
    }
    last_result_ = 0;
    return scope.leave(0);
}

/// The variable of a Boolean constant, made when no clause has mentioned it yet, and kept from
/// being eliminated.
int Environment::variable_of_assumption(const Term_* t)
{
    int var;
    solvers_->engine.make_proxy(t, &var);
    solvers_->engine.set_frozen(var, true);
    return var;
}

/// Translates the engine's final conflict, which lists the negations of the assumptions that
/// failed. Labels of shallow backtrack points are the environment's own and are left out.
void Environment::collect_unsat_assumptions()
{
    TermSet labels;
    for (const Term_* label : bt_labels_) {
        labels.insert(label);
    }
    for (dpll::Lit l : solvers_->engine.get_conflict()) {
        const Term_* t = solvers_->engine.term_for_proxy(l.var());
        if (!labels.contains(t)) {
            unsat_assumptions_.emplace_back(t, !l.sign());
        }
    }
}

lbool Environment::get_bool_value(const Term_* t) const
{
    if (!has_model_) {
        throw make_error<error>("no model available");
    }
    if (!tm_->is_boolean_constant(t)) {
        throw make_error<error>("not a Boolean constant: ", t->to_shallow_str());
    }
    int var = solvers_->engine.proxy_for_term(t);
    return var < 0 ? l_Undef : solvers_->engine.get_model_value(var);
}

void Environment::add_preferred_for_branching(const Term_* t, lbool phase)
{
    if (!tm_->is_boolean_constant(t)) {
        throw make_error<error>("only Boolean constants can be set as preferred for branching");
    }
    if (interrupted_) {
        reset_after_interrupted();
    }
    int var;
    solvers_->engine.make_proxy(t, &var);
    solvers_->engine.add_preferred_for_branching(var);
    solvers_->engine.set_forced_phase(var, phase);
}

void Environment::clear_preferred_for_branching()
{
    solvers_->engine.clear_preferred_for_branching();
}

} // namespace tarq
