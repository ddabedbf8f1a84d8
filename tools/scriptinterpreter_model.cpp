// Models, values of terms, and the assignment of named formulas.
#include "scriptinterpreter.h"

#include "results/modelstore.h"

#include <algorithm>
#include <sstream>

namespace tarq::tool {

/// Refuses unless the last check has left a model.
/// option  the option that the command needs
void ScriptInterpreter::want_model(const char* command, bool enabled, const char* option)
{
    if (!enabled) {
        raise(std::string(command) + " needs the option " + option);
    }
    if (check_state_ != CheckState::sat || !env_->has_model()) {
        raise(std::string(command) + " needs a last check that answered sat");
    }
}

SmtLib2TermPrinter ScriptInterpreter::printer()
{
    return SmtLib2TermPrinter(get_term_manager(), &env_->get_config().printer, "", "", false);
}

void ScriptInterpreter::get_model()
{
    want_model("get-model", options_->produce_models || options_->print_models, ":produce-models");
    respond(env_->get_config().printer.model_as_formula ? model_as_formula() : model_text());
}

/// A define-fun for everything that is declared.
std::string ScriptInterpreter::model_text()
{
    ModelStore* model = env_->get_model();
    SmtLib2TermPrinter print = printer();
    hsh::HashMap<const Symbol*, std::vector<ModelStore::Entry>> points;
    for (const ModelStore::Entry& entry : model->get_entries()) {
        points[entry.first->get_symbol()].push_back(entry);
    }
    std::string text = "(\n";
    for (const Symbol* s : declared_) {
        text += "  (define-fun " + SmtLib2TermPrinter::to_smtlib(s->get_name()) + " (";
        for (size_t i = 0; i < s->arity(); ++i) {
            text += (i > 0 ? " (x!" : "(x!") + std::to_string(i + 1) + " " +
                    print.to_smtlib(s->get_arg_type(i)) + ")";
        }
        text += ") " + print.to_smtlib(s->get_output_type()) + " " +
                function_body(s, points[s], model, print) + ")\n";
    }
    return text + ")";
}

/// The value of a constant, or a chain of cases over the points of a function.
std::string ScriptInterpreter::function_body(const Symbol* s,
                                             const std::vector<ModelStore::Entry>& points,
                                             ModelStore* model, SmtLib2TermPrinter& print)
{
    const DataType* type = s->get_output_type();
    if (s->arity() == 0) {
        return print.value_to_smtlib(model->get_value(get_term_manager()->make_constant(s)), type);
    }
    const Term_* otherwise = model->get_default_value(type);
    std::string text;
    size_t cases = 0;
    for (const auto& [point, value] : points) {
        if (value == otherwise) {
            continue;
        }
        text += "(ite ";
        text += s->arity() > 1 ? "(and" : "";
        for (size_t i = 0; i < s->arity(); ++i) {
            text += (s->arity() > 1 ? " (= x!" : "(= x!") + std::to_string(i + 1) + " " +
                    print.value_to_smtlib(point->child(i), s->get_arg_type(i)) + ")";
        }
        text += s->arity() > 1 ? ") " : " ";
        text += print.value_to_smtlib(value, type) + " ";
        ++cases;
    }
    return text + print.value_to_smtlib(otherwise, type) + std::string(cases, ')');
}

/// The conjunction of all that the model says.
std::string ScriptInterpreter::model_as_formula()
{
    ModelStore* model = env_->get_model();
    SmtLib2TermPrinter print = printer();
    std::string text = "(and true";
    for (const auto& [point, value] : model->get_entries()) {
        const Symbol* s = point->get_symbol();
        if (std::find(declared_.begin(), declared_.end(), s) == declared_.end()) {
            continue;
        }
        text += "\n  (= ";
        text += (s->arity() > 0 ? "(" : "") + SmtLib2TermPrinter::to_smtlib(s->get_name());
        for (size_t i = 0; i < s->arity(); ++i) {
            text += " " + print.value_to_smtlib(point->child(i), s->get_arg_type(i));
        }
        text += s->arity() > 0 ? ") " : " ";
        text += print.value_to_smtlib(value, s->get_output_type()) + ")";
    }
    return text + ")";
}

/// The terms that these texts mean now.
TermVector ScriptInterpreter::parse_terms(const std::vector<std::string>& texts)
{
    std::string command = "(.internal-parse-terms (";
    for (const std::string& text : texts) {
        command += text + " ";
    }
    std::istringstream in(command + "))");
    SmtLib2Driver driver(in);
    TermVector terms;
    parsed_terms_ = &terms;
    try {
        driver.parse_command(this);
    } catch (...) {
        parsed_terms_ = nullptr;
        throw;
    }
    parsed_terms_ = nullptr;
    return terms;
}

void ScriptInterpreter::internal_set_parsed_terms(TermArgs terms)
{
    if (!parsed_terms_) {
        raise("unknown command: .internal-parse-terms");
    }
    parsed_terms_->assign(terms.begin(), terms.end());
}

void ScriptInterpreter::get_value(const std::vector<std::string>& texts)
{
    want_model("get-value", options_->produce_models, ":produce-models");
    const TermVector terms = parse_terms(texts);
    SmtLib2TermPrinter print = printer();
    std::string text = "(";
    for (size_t i = 0; i < terms.size(); ++i) {
        const Term_* value = env_->get_model_value(terms[i]);
        text += i > 0 ? "\n (" : "(";
        text +=
            texts[i] + " " + print.value_to_smtlib(value, TermManager::get_type(terms[i])) + ")";
    }
    respond(text + ")");
}

void ScriptInterpreter::get_assignment()
{
    want_model("get-assignment", options_->produce_assignments, ":produce-assignments");
    TermManager* tm = get_term_manager();
    std::string text = "(";
    for (const auto& [name, term] : named_) {
        if (TermManager::get_type(term) != tm->get_bool_type()) {
            continue;
        }
        const Term_* value = env_->get_model_value(term);
        text += text.size() > 1 ? " " : "";
        text +=
            "(" + SmtLib2TermPrinter::to_smtlib(name) + (tm->is_true(value) ? " true)" : " false)");
    }
    respond(text + ")");
}

} // namespace tarq::tool
