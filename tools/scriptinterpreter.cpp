#include "scriptinterpreter.h"

#include <algorithm>

namespace tarq::tool {

namespace {

// Levels take memory each; a script with more of them is a mistake rather than a problem.
constexpr size_t MAX_LEVELS = 10'000'000;

// Symbols that no script may redefine. Names with a dot in front are the library's as well.
constexpr std::string_view CORE_NAMES[] = {"true", "false", "not", "=>",       "and",
                                           "or",   "xor",   "=",   "distinct", "ite"};

} // namespace

ScriptInterpreter::ScriptInterpreter(Environment* env, ScriptOptions* options, Channels* channels,
                                     const SmtLib2Driver* driver, const TerminationTest* test)
    : SmtLib2BaseParser(env->get_term_manager()), env_(env), options_(options), channels_(channels),
      driver_(driver), test_(test)
{
    env_->set_termination_test(test);
}

// ---------------------------------------------------------------- around a command

void ScriptInterpreter::begin_command()
{
    names_at_begin_ = names_.size();
    responded_ = false;
}

void ScriptInterpreter::end_command()
{
    if (options_->global_declarations) {
        names_.resize(std::min(names_.size(), names_at_begin_));
    }
    if (options_->print_success && !responded_) {
        respond("success");
    }
}

void ScriptInterpreter::undo_command()
{
    remove_names(names_at_begin_);
}

void ScriptInterpreter::respond(std::string_view text)
{
    responded_ = true;
    channels_->regular.line(text);
}

void ScriptInterpreter::handle_error(const std::string& message)
{
    raise(message);
}

// ---------------------------------------------------------------- names

void ScriptInterpreter::record_name(NameKind kind, std::string_view name)
{
    is_started_ = true;
    names_.push_back({kind, std::string(name)});
}

void ScriptInterpreter::remove_names(size_t down_to)
{
    for (; names_.size() > down_to; names_.pop_back()) {
        const std::string& name = names_.back().text;
        switch (names_.back().kind) {
        case NameKind::symbol:
            // names go in the reverse order of their coming, mostly
            if (const Symbol* symbol = get_term_manager()->get_symbol(name);
                !declared_.empty() && declared_.back() == symbol) {
                declared_.pop_back();
            } else {
                std::erase(declared_, symbol);
            }
            get_term_manager()->remove_symbol(name);
            term_parser().restore_predefined(name);
            break;
        case NameKind::definition:
            term_parser().remove_binding(name);
            if (!named_.empty() && named_.back().first == name) {
                named_.pop_back();
            }
            break;
        case NameKind::sort:
            remove_sort(name);
            break;
        }
    }
}

/// Refuses names that a script may not give to anything. Further names with a meaning can be taken
/// by a definition, which then hides that meaning.
void ScriptInterpreter::want_user_name(std::string_view name)
{
    if (name.substr(0, 1) == ".") {
        raise("symbol `" + std::string(name) + "' is reserved");
    }
    if (std::find(std::begin(CORE_NAMES), std::end(CORE_NAMES), name) != std::end(CORE_NAMES)) {
        raise("`" + std::string(name) + "' is a built-in function");
    }
}

/// The term manager takes a second declaration of the same type for the first one. In a script it
/// is an error: the name might have been meant to be another.
void ScriptInterpreter::want_free_name(std::string_view name)
{
    want_user_name(name);
    if (get_term_manager()->get_symbol(std::string(name)) != nullptr) {
        raise("symbol `" + std::string(name) + "' is already declared");
    }
}

void ScriptInterpreter::declare_function(std::string_view name, const DataType* sort)
{
    want_free_name(name);
    SmtLib2BaseParser::declare_function(name, sort);
    declared_.push_back(get_term_manager()->get_symbol(std::string(name)));
    record_name(NameKind::symbol, name);
}

void ScriptInterpreter::define_function(std::string_view name, const DataType* sort,
                                        const Term_* term)
{
    want_free_name(name);
    SmtLib2BaseParser::define_function(name, sort, term);
    record_name(NameKind::definition, name);
}

void ScriptInterpreter::define_function(std::string_view name, TermArgs params,
                                        const DataType* sort, const Term_* term)
{
    want_free_name(name);
    SmtLib2BaseParser::define_function(name, params, sort, term);
    record_name(NameKind::definition, name);
}

void ScriptInterpreter::name_term(std::string_view name, const Term_* term)
{
    // Recorded first: the name is there by now, and goes again when the command fails.
    record_name(NameKind::definition, name);
    want_user_name(name);
    named_.emplace_back(name, term);
}

void ScriptInterpreter::declare_sort(std::string_view name, unsigned arity)
{
    if (is_sort(name)) {
        raise("sort `" + std::string(name) + "' is already declared");
    }
    SmtLib2BaseParser::declare_sort(name, arity);
    record_name(NameKind::sort, name);
}

void ScriptInterpreter::define_sort(std::string_view name, SortArgs params, const DataType* body)
{
    if (is_sort(name)) {
        raise("sort `" + std::string(name) + "' is already declared");
    }
    SmtLib2BaseParser::define_sort(name, params, body);
    record_name(NameKind::sort, name);
}

// ---------------------------------------------------------------- levels and assertions

void ScriptInterpreter::push(int n)
{
    if (n < 0 || levels_.size() + static_cast<size_t>(n) > MAX_LEVELS) {
        raise("too many levels");
    }
    forget_check();
    is_started_ = is_started_ || n > 0;
    levels_.reserve(levels_.size() + static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        levels_.push_back({names_.size(), assertion_texts_.size(), named_assertions_.size()});
        env_->push_backtrack_point();
    }
}

void ScriptInterpreter::pop(int n)
{
    if (n < 0 || static_cast<size_t>(n) > levels_.size()) {
        raise("pop of " + std::to_string(n) + " levels, but there are only " +
              std::to_string(levels_.size()));
    }
    forget_check();
    for (int i = 0; i < n; ++i) {
        const Level level = levels_.back();
        env_->pop_backtrack_point();
        levels_.pop_back();
        assertion_texts_.resize(level.assertions);
        named_assertions_.resize(level.named_assertions);
        remove_names(level.names);
    }
    names_at_begin_ = std::min(names_at_begin_, names_.size());
    if (n > 0) {
        collect_terms();
    }
}

void ScriptInterpreter::assert_formula(const Term_* term)
{
    // Before anything is forgotten or taken back: an ill-typed assertion changes nothing.
    get_term_manager()->typecheck(term, get_term_manager()->get_bool_type(), "assert");
    forget_check();
    env_->assert_formula(term);
    is_started_ = true;
    note_named_assertion(term);
    if (options_->produce_assertions) {
        const std::string text = driver_->command_text();
        constexpr std::string_view head = "(assert";
        const size_t start = head.size() + (text[head.size()] == ' ' ? 1 : 0);
        assertion_texts_.push_back(text.substr(start, text.size() - 1 - start));
    }
}

void ScriptInterpreter::get_assertions()
{
    if (!options_->produce_assertions) {
        raise("get-assertions needs the option :produce-assertions");
    }
    std::string text = "(";
    for (const std::string& assertion : assertion_texts_) {
        text += text.size() > 1 ? " " : "";
        text += assertion;
    }
    text += ')';
    respond(text);
}

void ScriptInterpreter::reset_assertions()
{
    forget_check();
    env_->reset_assertions();
    remove_names(0);
    names_at_begin_ = 0;
    levels_.clear();
    assertion_texts_.clear();
    named_assertions_.clear();
    collect_terms();
}

void ScriptInterpreter::reset()
{
    wish_ = Wish::reset;
}

void ScriptInterpreter::exit()
{
    wish_ = Wish::exit;
}

// ---------------------------------------------------------------- terms

const Term_* ScriptInterpreter::make_term(std::string_view name, const DataType* sort)
{
    (*test_)();
    return SmtLib2BaseParser::make_term(name, sort);
}

const Term_* ScriptInterpreter::make_term(std::string_view name, const DataType* sort,
                                          const std::vector<QNumber>& indices)
{
    (*test_)();
    return SmtLib2BaseParser::make_term(name, sort, indices);
}

const Term_* ScriptInterpreter::make_term(std::string_view name, const DataType* sort,
                                          TermArgs args)
{
    (*test_)();
    return SmtLib2BaseParser::make_term(name, sort, args);
}

const Term_* ScriptInterpreter::make_term(std::string_view name, const DataType* sort,
                                          const std::vector<QNumber>& indices, TermArgs args)
{
    (*test_)();
    return SmtLib2BaseParser::make_term(name, sort, indices, args);
}

} // namespace tarq::tool
