// What the command interface does by itself: instantiating sorts, and the commands that come down
// to others.
#include "lang/smtlib2abstractparser.h"

#include "base/hashmap.h"
#include "terms/termmanager.h"

namespace tarq {

SmtLib2AbstractParser::ParametricDataType::ParametricDataType(TermManager* tm, const DataType* body,
                                                              std::vector<const DataType*> params)
    : tm_(tm), body_(body), params_(std::move(params))
{
}

const DataType* SmtLib2AbstractParser::ParametricDataType::instantiate(SortArgs sorts) const
{
    TARQ_ASSERT(sorts.size() == params_.size());
    hsh::HashMap<const DataType*, const DataType*> done;
    for (std::size_t i = 0; i < params_.size(); ++i) {
        done[params_[i]] = sorts[i];
    }
    // Bottom-up on an explicit stack: sorts are as deep as the text likes.
    std::vector<const DataType*> open{body_};
    while (!open.empty()) {
        const DataType* type = open.back();
        if (done.contains(type)) {
            open.pop_back();
            continue;
        }
        if (type->is_simple()) {
            done[type] = type;
            continue;
        }
        const std::size_t size = open.size();
        for (const DataType* component : type->get_components()) {
            if (!done.contains(component)) {
                open.push_back(component);
            }
        }
        if (open.size() > size) {
            continue;
        }
        TypeVector parts;
        for (const DataType* component : type->get_components()) {
            parts.push_back(done[component]);
        }
        if (parts == type->get_components()) {
            done[type] = type;
        } else if (tm_->is_function_type(type)) {
            const DataType* result = parts.back();
            done[type] =
                tm_->get_function_type(TypeVector(parts.begin() + 1, parts.end() - 1), result);
        } else {
            done[type] = tm_->get_compound_type(parts);
        }
    }
    return done[body_];
}

void SmtLib2AbstractParser::push_default()
{
    handle_error("syntax error, unexpected ')', expecting NUMERAL");
}

void SmtLib2AbstractParser::pop_default()
{
    handle_error("syntax error, unexpected ')', expecting NUMERAL");
}

void SmtLib2AbstractParser::get_option(std::string_view key)
{
    generic_command("get-option", {std::string(key)});
}

void SmtLib2AbstractParser::echo(std::string_view text)
{
    std::string quoted = "\"";
    for (char c : text) {
        quoted.append(c == '"' ? 2 : 1, c);
    }
    generic_command("echo", {quoted + "\""});
}

void SmtLib2AbstractParser::reset()
{
    generic_command("reset");
}

} // namespace tarq
