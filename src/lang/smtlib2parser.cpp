// The reader: what becomes of each command.
#include "lang/smtlib2parser.h"

#include "lang/smtlib2driver.h"
#include "terms/termmanager.h"

#include <algorithm>

namespace tarq {

SmtLib2Parser::SmtLib2Parser(TermManager* tm, bool record_named)
    : SmtLib2BaseParser(tm), record_named_(record_named)
{
}

const std::vector<const Term_*>& SmtLib2Parser::parse_list(std::istream& in)
{
    assertions_.clear();
    exit_seen_ = false;
    SmtLib2Driver driver(in);
    struct Use {
        const SmtLib2Driver*& slot;
        ~Use() { slot = nullptr; }
    };
    driver_ = &driver;
    const Use use{driver_};
    while (!exit_seen_ && driver.parse_command(this)) {
    }
    return assertions_;
}

const Term_* SmtLib2Parser::parse(std::istream& in)
{
    parse_list(in);
    if (assertions_.size() == 1) {
        return assertions_[0];
    }
    TermManager* tm = get_term_manager();
    const Term_* result = tm->make_true();
    for (const Term_* term : assertions_) {
        result = tm->make_and(result, term);
    }
    return result;
}

const std::vector<SmtLib2Parser::NamedTerm>& SmtLib2Parser::parse_named(std::istream& in)
{
    parse_list(in);
    return named_terms_;
}

void SmtLib2Parser::get_annotated_terms(std::vector<const Term_*>& out) const
{
    out.clear();
    for (const auto& entry : annotations_) {
        out.push_back(entry.first);
    }
    std::sort(out.begin(), out.end(), term_lt());
}

const SmtLib2Parser::Annotations* SmtLib2Parser::get_annotations(const Term_* term) const
{
    const auto it = annotations_.find(term);
    return it == annotations_.end() ? nullptr : &it->second;
}

std::string SmtLib2Parser::locate(const std::string& message) const
{
    return driver_ ? message + " (line: " + std::to_string(driver_->get_lineno()) + ")" : message;
}

void SmtLib2Parser::unsupported(std::string_view name) const
{
    raise("unsupported command: " + std::string(name));
}

void SmtLib2Parser::handle_error(const std::string& message)
{
    raise(message);
}

void SmtLib2Parser::set_logic(std::string_view name)
{
    if (!logic_unset_) {
        raise("set-logic is invalid at this point");
    }
    logic_ = name;
    logic_unset_ = false;
}

void SmtLib2Parser::assert_formula(const Term_* term)
{
    check_type(term, get_term_manager()->get_bool_type(), "assert");
    assertions_.push_back(term);
}

void SmtLib2Parser::internal_set_parsed_terms(TermArgs terms)
{
    assertions_.assign(terms.begin(), terms.end());
}

void SmtLib2Parser::name_term(std::string_view name, const Term_* term)
{
    if (record_named_) {
        named_terms_.push_back({std::string(name), term});
    }
}

void SmtLib2Parser::record_annotations(const Term_* term, const std::vector<Attribute>& attributes)
{
    Annotations& entry = annotations_[term];
    entry.insert(entry.end(), attributes.begin(), attributes.end());
}

void SmtLib2Parser::push(int)
{
    unsupported("push");
}

void SmtLib2Parser::pop(int)
{
    unsupported("pop");
}

void SmtLib2Parser::generic_command(std::string_view name)
{
    unsupported(name);
}

void SmtLib2Parser::generic_command(std::string_view name, const std::vector<std::string>&)
{
    unsupported(name);
}

void SmtLib2Parser::push_minimize(const Term_*, const OptAttributes&)
{
    unsupported("minimize");
}

void SmtLib2Parser::push_maximize(const Term_*, const OptAttributes&)
{
    unsupported("maximize");
}

void SmtLib2Parser::push_minmax(TermArgs, const OptAttributes&)
{
    unsupported("minmax");
}

void SmtLib2Parser::push_maxmin(TermArgs, const OptAttributes&)
{
    unsupported("maxmin");
}

void SmtLib2Parser::assert_soft_formula(const Term_*, const OptAttributes&)
{
    unsupported("assert-soft");
}

void SmtLib2Parser::get_objectives()
{
    unsupported("get-objectives");
}

void SmtLib2Parser::load_objective_model(std::string_view)
{
    unsupported("load-objective-model");
}

} // namespace tarq
