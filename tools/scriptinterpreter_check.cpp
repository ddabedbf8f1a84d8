// Checks, and the questions about the last one.
#include "scriptinterpreter.h"

#include "sourcetext.h"

#include <algorithm>
#include <new>

namespace tarq::tool {

/// Ends the time in which the last check can be asked about; to be called by every command that
/// changes the assertions or checks anew, before it does anything.
void ScriptInterpreter::forget_check()
{
    check_state_ = CheckState::none;
    assumptions_.clear();
    if (has_assumption_level_) {
        has_assumption_level_ = false;
        env_->pop_backtrack_point();
    }
}

void ScriptInterpreter::answer(int result)
{
    if (result < 0) {
        answer_unknown("incomplete");
        return;
    }
    check_state_ = result > 0 ? CheckState::sat : CheckState::unsat;
    respond(result > 0 ? "sat" : "unsat");
    if (result > 0 && options_->print_models) {
        get_model();
    }
}

void ScriptInterpreter::answer_unknown(std::string reason)
{
    check_state_ = CheckState::unknown;
    reason_unknown_ = std::move(reason);
    respond("unknown");
}

/// Runs a check and prints its answer: what `check` returns, or unknown when the run was stopped
/// before or inside it.
template <class Check>
void ScriptInterpreter::run_check(Check check)
{
    int result = -1;
    try {
        (*test_)();
        result = check();
    } catch (const TerminationTest::terminated&) {
    } catch (const std::bad_alloc&) {
        Stop::request(StopReason::memout);
    }
    note_base();
    // A stop that came when the answer was there already does not take it back.
    if (result < 0 && Stop::requested()) {
        Stop::owe(nullptr, 0);
        answer_unknown(to_str(Stop::reason()));
    } else {
        answer(result);
    }
}

void ScriptInterpreter::check_sat()
{
    forget_check();
    run_check([this] { return env_->check(); });
}

/// A Boolean constant that the script can't reach: its name is free again at once.
const Term_* ScriptInterpreter::make_hidden_constant(const char* name)
{
    TermManager* tm = get_term_manager();
    const std::string unused = tm->get_unused_symbol_name(name);
    const Term_* constant = tm->make_constant(tm->make_symbol(unused, tm->get_bool_type()));
    tm->remove_symbol(unused);
    return constant;
}

/// The literal to assume for a term: itself for a Boolean constant with or without `not`. Any other
/// term gets a name, which implies it, on a level that goes away before the next change.
TheoryLit ScriptInterpreter::literal_of_assumption(const Term_* t)
{
    TermManager* tm = get_term_manager();
    if (tm->is_boolean_constant(t)) {
        return TheoryLit(t, false);
    }
    if (tm->is_not(t) && tm->is_boolean_constant(t->child(0))) {
        return TheoryLit(t->child(0), true);
    }
    if (!has_assumption_level_) {
        env_->push_backtrack_point();
        has_assumption_level_ = true;
    }
    const Term_* constant = make_hidden_constant(".assumption");
    const Term_* negated = tm->make_not(constant);
    env_->assert_formula(tm->make_or(negated, t));
    return TheoryLit(constant, false);
}

void ScriptInterpreter::check_sat_assumptions(TermArgs terms)
{
    TermManager* tm = get_term_manager();
    for (const Term_* t : terms) {
        tm->typecheck(t, tm->get_bool_type(), "check-sat-assuming");
    }
    forget_check();
    const std::string text = driver_->command_text();
    const std::vector<std::string_view> texts = split_list(split_list(text).back());
    std::vector<TheoryLit> literals;
    bool contradictory = false;
    for (size_t i = 0; i < terms.size(); ++i) {
        const bool is_false = tm->is_false(terms[i]);
        contradictory = contradictory || is_false;
        TheoryLit literal = tlit_Undef;
        if (!is_false && !tm->is_true(terms[i])) {
            literal = literal_of_assumption(terms[i]);
            literals.push_back(literal);
        }
        assumptions_.push_back({literal, std::string(texts[i]), is_false});
    }
    run_check([&] { return contradictory ? 0 : env_->check_with_assumptions(literals); });
}

/// Whether the term false was assumed, which is a reason by itself; the library was not asked then.
bool ScriptInterpreter::is_contradictory() const
{
    return std::any_of(assumptions_.begin(), assumptions_.end(),
                       [](const Assumption& a) { return a.is_false; });
}

void ScriptInterpreter::get_unsat_assumptions()
{
    if (!options_->produce_unsat_assumptions) {
        raise("get-unsat-assumptions needs the option :produce-unsat-assumptions");
    }
    if (check_state_ != CheckState::unsat) {
        raise("get-unsat-assumptions needs a last check that answered unsat");
    }
    const bool contradictory = is_contradictory();
    std::vector<TheoryLit> failed;
    if (!contradictory) {
        failed.assign(env_->unsat_assumptions_begin(), env_->unsat_assumptions_end());
    }
    std::string text = "(";
    for (const Assumption& a : assumptions_) {
        const auto it = std::find(failed.begin(), failed.end(), a.literal);
        if (contradictory ? !a.is_false : it == failed.end()) {
            continue;
        }
        text += text.size() > 1 ? " " : "";
        text += a.text;
        if (contradictory) {
            break;
        }
        failed.erase(it); // an assumption that was given twice is named once
    }
    text += ')';
    respond(text);
}

} // namespace tarq::tool
