// Checks, assumptions and what is read after them.
#include "env/environment.h"

#include "encoding/realequalities.h"
#include "encoding/symmetrybreaker.h"
#include "env/environment_checkscope.h"
#include "env/environment_solvers.h"

#include <algorithm>
#include <iterator>

namespace tarq {

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
        if (find_unsupported_atom(t)) {
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
    start_check();
    std::vector<dpll::Lit> assumptions = own_assumptions();
    if (!local && can_break_symmetries()) {
        break_symmetries(&assumptions);
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
            start_model(lits);
            return scope.leave(1);
        }
        if (local) {
            collect_unsat_assumptions(lits);
        } else {
            trivially_unsat_at_ = num_solver_levels();
        }
        if (solvers_->cores) {
            solvers_->cores->tell_unsat();
        }
    }
    last_result_ = 0;
    return scope.leave(0);
}

/// One conjunction per life of the solvers is looked at: the walk over all assertions would be too
/// dear for each of many small checks. Of what the engine holds, all must be among the assertions,
/// and nobody may ask why they are unsatisfiable.
bool Environment::can_break_symmetries() const
{
    return config_.preprocessor.symmetry_breaking && !symmetries_done_ && trivially_unsat_at_ < 0 &&
           enumerated_at_ < 0 && !external_ && !config_.unsat_core_generation &&
           !config_.proof_generation && !config_.interpolation;
}

/// What breaks the symmetries of the assertions holds for this check alone: it is made to follow
/// from a label, which is assumed. The check may be told to be unsatisfiable for good nevertheless,
/// as the constraints keep satisfiability.
void Environment::break_symmetries(std::vector<dpll::Lit>* assumptions)
{
    symmetries_done_ = true;
    SymmetryBreaker breaker(tm_);
    breaker.set_termination_test(termination_test_);
    TermVector formulas;
    std::copy_if(assertions_.begin(), assertions_.end(), std::back_inserter(formulas),
                 [](const Term_* t) { return t; });
    const Term_* f = breaker(formulas);
    if (tm_->is_true(f)) {
        return;
    }
    logger_("ENV") << loglevel(1) << "breaking symmetries" << EndLog;
    const Term_* label = make_label(".symmetry");
    const int var = variable_of_assumption(label);
    solvers_->polarity.add_literal(label, false);
    do_assert_formula(tm_->make_or(tm_->make_not(label), f));
    assumptions->emplace_back(var, false);
}

/// Brings the engines up to date and forgets what the last check came to.
void Environment::start_check()
{
    if (interrupted_) {
        reset_after_interrupted();
    }
    do_assert_stack();
    reset_model();
    last_result_ = -1;
    unsat_assumptions_.clear();
    // What is unsatisfiable without assumptions keeps its refutation: nothing is searched again.
    if (solvers_->cores && trivially_unsat_at_ < 0) {
        solvers_->cores->forget_refutation();
    }
}

/// What every search has to assume for the assertions to hold.
std::vector<dpll::Lit> Environment::own_assumptions() const
{
    std::vector<dpll::Lit> out;
    for (const Term_* label : bt_labels_) {
        out.emplace_back(solvers_->engine.proxy_for_term(label), true);
    }
    if (solvers_->cores) {
        solvers_->cores->get_assumptions(&out);
    }
    return out;
}

/// The variable of an assumed atom, made when no clause has mentioned it yet, and kept from being
/// eliminated. What the atom is made of gets its axioms.
int Environment::variable_of_assumption(const Term_* t)
{
    restore_substituted(t);
    // The axioms as they are: simplified, they would no longer speak of the terms they define.
    TermVector axioms;
    solvers_->encoder.define(t, axioms);
    for (const Term_* axiom : axioms) {
        assert_definition(axiom);
    }
    int var;
    solvers_->engine.make_proxy(t, &var);
    solvers_->engine.set_problem_var(var, true);
    solvers_->engine.set_frozen(var, true);
    return var;
}

/// Preprocessing may have taken symbols in `t` out of the problem: their definitions come back,
/// with all that is known of the symbols in these. Those that are still there stay from now on.
void Environment::restore_substituted(const Term_* t)
{
    ToplevelPropagator* propagator = solvers_->propagator.get();
    FreeCoder* coder = solvers_->free_coder.get();
    if (!propagator && !coder) {
        return;
    }
    TermSet seen;
    TermVector stack{t};
    while (!stack.empty()) {
        const Term_* u = stack.back();
        stack.pop_back();
        if (!seen.insert(u).second) {
            continue;
        }
        if (!tm_->is_constant(u)) {
            stack.insert(stack.end(), u->children().begin(), u->children().end());
        } else if (const Term_* s = propagator ? propagator->get_substitution(u) : nullptr) {
            const bool is_bool = TermManager::get_type(u) == tm_->get_bool_type();
            const Term_* definition = is_bool ? tm_->make_iff(u, s) : tm_->make_equal(u, s);
            restore_free_coded(definition);
            assert_definition(solvers_->encoder(definition));
        } else {
            restore_free_coded(u);
            if (propagator) {
                propagator->set_protected(u);
            }
        }
    }
}

/// The constants of `t` come back that were left free.
void Environment::restore_free_coded(const Term_* t)
{
    if (FreeCoder* coder = solvers_->free_coder.get()) {
        const auto unchecked = tm_->typecheck_in_scope(false);
        const Term_* definitions = coder->restore(t);
        assert_definition(solvers_->encoder(definitions));
    }
}

/// Sends what defines something on its way to the engine, past the stages that would look for
/// definitions in it.
void Environment::assert_definition(const Term_* f)
{
    if (tm_->is_true(f)) {
        return;
    }
    f = prepare_for_theories(f);
    solvers_->polarity.add_formula(f);
    if (solvers_->cores) {
        solvers_->cores->set_defining(true); // an exception that passes ends the store
    }
    solvers_->cnf(f);
    if (solvers_->cores) {
        solvers_->cores->set_defining(false);
    }
}

/// Translates the engine's final conflict, which lists the negations of the assumptions that
/// failed. The environment's own assumptions are left out.
void Environment::collect_unsat_assumptions(const std::vector<TheoryLit>& lits)
{
    hsh::HashSet<TheoryLit> given;
    for (TheoryLit l : lits) {
        given.insert(l);
    }
    for (dpll::Lit l : solvers_->engine.get_conflict()) {
        const TheoryLit failed(solvers_->engine.term_for_proxy(l.var()), !l.sign());
        if (given.contains(failed)) {
            unsat_assumptions_.push_back(failed);
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
    ToplevelPropagator* propagator = solvers_->propagator.get();
    if (!propagator || !propagator->has_seen(t)) {
        int var = solvers_->engine.proxy_for_term(t);
        return var < 0 ? l_Undef : solvers_->engine.get_model_value(var);
    }
    // Definitions may hold constants that are open: all of them are false then.
    const Term_* s = propagator->get_substitution(t);
    return evaluate(s ? s : t);
}

/// The value of a formula when its constants without a value are false; l_Undef when it holds other
/// atoms that the engine has no value for.
lbool Environment::evaluate(const Term_* f) const
{
    hsh::HashMap<const Term_*, lbool> done;
    TermVector stack{f};
    while (!stack.empty()) {
        const Term_* t = stack.back();
        if (done.contains(t)) {
            stack.pop_back();
            continue;
        }
        lbool value = l_Undef;
        if (!tm_->is_connective(t->get_symbol())) {
            const int var = solvers_->engine.proxy_for_term(t);
            const Term_* split = var < 0 ? as_inequalities(tm_, t) : nullptr;
            if (split && !done.contains(split)) {
                stack.push_back(split); // the engine may have the equality in that form
                continue;
            }
            if (split) {
                done[t] = done[split];
                stack.pop_back();
                continue;
            }
            value = var < 0 ? l_Undef : solvers_->engine.get_model_value(var);
            if (tm_->is_true(t) || tm_->is_false(t)) {
                value = tm_->is_true(t) ? l_True : l_False;
            } else if (value.is_undef() && tm_->is_constant(t)) {
                value = l_False;
            }
        } else {
            const size_t size = stack.size();
            for (const Term_* c : t->children()) {
                if (!done.contains(c)) {
                    stack.push_back(c);
                }
            }
            if (stack.size() > size) {
                continue;
            }
            const lbool a = done[t->child(0)];
            const lbool b = t->arity() > 1 ? done[t->child(1)] : a;
            if (tm_->is_not(t)) {
                value = a.is_undef() ? a : (a == l_True ? l_False : l_True);
            } else if (tm_->is_iff(t)) {
                value = a.is_undef() || b.is_undef() ? l_Undef : (a == b ? l_True : l_False);
            } else {
                const lbool decides = tm_->is_and(t) ? l_False : l_True;
                value = a == decides || b == decides ? decides : a.is_undef() ? a : b;
            }
        }
        done[t] = value;
        stack.pop_back();
    }
    return done[f];
}

void Environment::add_preferred_for_branching(const Term_* t, lbool phase)
{
    if (!tm_->is_boolean_constant(t)) {
        throw make_error<error>("only Boolean constants can be set as preferred for branching");
    }
    if (interrupted_) {
        reset_after_interrupted();
    }
    CheckScope scope(*this);
    restore_substituted(t);
    int var;
    solvers_->engine.make_proxy(t, &var);
    solvers_->engine.set_frozen(var, true);
    solvers_->engine.add_preferred_for_branching(var);
    solvers_->engine.set_forced_phase(var, phase);
    scope.leave(0);
}

void Environment::clear_preferred_for_branching()
{
    solvers_->engine.clear_preferred_for_branching();
}

} // namespace tarq
