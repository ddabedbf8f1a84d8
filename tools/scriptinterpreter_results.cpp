// Unsat cores, and enumerations of models.
#include "scriptinterpreter.h"

#include "dpll/allsathook.h"
#include "sourcetext.h"

#include <functional>
#include <new>
#include <sstream>

namespace tarq::tool {

namespace {

/// Prints each model as a list of literals.
class ModelPrinter : public AllSatModelFoundHook {
public:
    using Text = std::function<std::string(const Term_*)>;
    using Print = std::function<void(const std::string&)>;

    ModelPrinter(Text text, Print print) : text_(std::move(text)), print_(std::move(print)) {}

    bool operator()(std::vector<TheoryLit>& model) override
    {
        std::string line = "(";
        for (TheoryLit l : model) {
            line += line.size() > 1 ? " " : "";
            line += l.is_neg() ? "(not " + text_(l.get_term()) + ")" : text_(l.get_term());
        }
        print_(line + ")");
        return true;
    }

private:
    Text text_;
    Print print_;
};

/// A backtrack point for the length of a block.
class PointScope {
public:
    explicit PointScope(Environment* env) : env_(env) { env_->push_backtrack_point(); }
    ~PointScope() { env_->pop_backtrack_point(); }
    PointScope(const PointScope&) = delete;
    PointScope& operator=(const PointScope&) = delete;

private:
    Environment* env_;
};

} // namespace

// ---------------------------------------------------------------- unsat cores

/// Remembers the name of an assertion, if the running command gave one to all of it.
void ScriptInterpreter::note_named_assertion(const Term_* term)
{
    size_t fresh = names_.size() - names_at_begin_;
    for (auto it = named_.rbegin(); it != named_.rend() && fresh > 0; ++it, --fresh) {
        if (it->second == term) {
            named_assertions_.emplace_back(it->first, term);
            return;
        }
    }
}

void ScriptInterpreter::get_unsat_core()
{
    if (!options_->produce_unsat_cores) {
        raise("get-unsat-core needs the option :produce-unsat-cores");
    }
    if (check_state_ != CheckState::unsat) {
        raise("get-unsat-core needs a last check that answered unsat");
    }
    TermSet core;
    if (!is_contradictory()) {
        for (auto it = env_->unsat_core_begin(); it != env_->unsat_core_end(); ++it) {
            core.insert(*it);
        }
    }
    std::string text = "(";
    for (const auto& [name, term] : named_assertions_) {
        if (core.erase(term) > 0) { // the first name of a formula stands for all of them
            text += text.size() > 1 ? " " : "";
            text += SmtLib2TermPrinter::to_smtlib(name);
        }
    }
    respond(text + ")");
}

// ---------------------------------------------------------------- enumerations

/// Prints the models as to the truth values of the terms, and then how many lines these were. What
/// the enumeration excludes goes away with a level of its own.
void ScriptInterpreter::check_allsat(TermArgs terms)
{
    TermManager* tm = get_term_manager();
    for (const Term_* t : terms) {
        tm->typecheck(t, tm->get_bool_type(), "check-allsat");
    }
    forget_check();
    const std::string command = driver_->command_text();
    const std::vector<std::string_view> texts = split_list(split_list(command).back());
    const PointScope level(env_);
    hsh::HashMap<const Term_*, std::string> names;
    TermVector important;
    for (size_t i = 0; i < terms.size(); ++i) {
        const Term_* t = terms[i];
        if (!tm->is_boolean_constant(t)) {
            const Term_* constant = make_hidden_constant(".allsat");
            env_->assert_formula(tm->make_iff(constant, t));
            t = constant;
        }
        names[t] = std::string(texts[i]);
        important.push_back(t);
    }
    ModelPrinter hook(
        [&](const Term_* t) {
            if (const auto it = names.find(t); it != names.end()) {
                return it->second;
            }
            std::ostringstream text;
            env_->to_smt2_string(text, t);
            return text.str();
        },
        [&](const std::string& line) { respond(line); });
    int count = -1;
    try {
        (*test_)();
        count = env_->allsat(hook, important);
    } catch (const TerminationTest::terminated&) {
    } catch (const std::bad_alloc&) {
        Stop::request(StopReason::memout);
    }
    if (count == -1) {
        Stop::owe(nullptr, 0);
        answer_unknown(Stop::requested() ? to_str(Stop::reason()) : "incomplete");
        return;
    }
    if (count == -2) { // nothing to assign: the one model has no literals
        respond("()");
        count = 1;
    }
    respond("(:models " + std::to_string(count) + ")");
}

} // namespace tarq::tool
