// The scopes of the term parser: lets, definition parameters and quantified variables, which share
// one stack of meanings per name.
#include "lang/smtlibtermparser.h"

#include "terms/termvisitor.h"

#include <algorithm>
#include <iterator>

namespace tarq {

namespace {

/// Looks for any of a set of variables.
class OccurrenceCheck {
public:
    bool found = false;
    TermSet variables;

    VisitResult visit(const Term_* t, bool pre)
    {
        if (pre && t->arity() == 0 && variables.contains(t)) {
            found = true;
            return VisitResult::ABORT;
        }
        return VisitResult::PROCESS;
    }
};

} // namespace

const Term_* SmtLibTermParser::make_named_variable(std::string_view name, const DataType* sort)
{
    return tm_->make_named_variable(std::string(name), sort);
}

const Term_* SmtLibTermParser::make_fresh_variable(const DataType* sort)
{
    const auto of_sort = [sort](const Term_* v) { return TermManager::get_type(v) == sort; };
    const auto it = std::find_if(free_fresh_vars_.begin(), free_fresh_vars_.end(), of_sort);
    const Term_* var = nullptr;
    if (it != free_fresh_vars_.end()) {
        var = *it;
        *it = free_fresh_vars_.back();
        free_fresh_vars_.pop_back();
    } else {
        var = tm_->make_fresh_variable(sort);
    }
    params_in_scope_.push_back(var);
    return var;
}

void SmtLibTermParser::push_let_namespace(bool)
{
    let_starts_.push_back(let_scopes_.size());
}

void SmtLibTermParser::pop_let_namespace(bool recycle)
{
    if (let_starts_.empty()) {
        throw ParserInterface::error("parse error");
    }
    while (let_scopes_.size() > let_starts_.back()) {
        Name* name = let_scopes_.back();
        let_scopes_.pop_back();
        const Term_* term = name->scopes.back().term;
        name->scopes.pop_back();
        if (recycle) {
            recycle_parameter(term);
        }
    }
    let_starts_.pop_back();
}

void SmtLibTermParser::recycle_parameter(const Term_* var)
{
    // the names of a definition are taken off in reverse, so the search ends at once
    const auto it = std::find(params_in_scope_.rbegin(), params_in_scope_.rend(), var);
    if (it != params_in_scope_.rend()) {
        params_in_scope_.erase(std::next(it).base());
        free_fresh_vars_.push_back(var);
    }
}

void SmtLibTermParser::define_let_binding(std::string_view name, const Term_* term,
                                          bool allow_shadow)
{
    if (let_starts_.empty()) {
        throw ParserInterface::error("parse error");
    }
    const Name* known = find_name(name);
    const bool taken = !allow_shadow && (is_defined(known) || find_symbol(known, name));
    const bool twice =
        known && !known->scopes.empty() && known->scopes.back().let_depth == let_starts_.size();
    if (taken || twice) {
        throw make_error<ParserInterface::error>("symbol `", name, "' already defined");
    }
    Name* entry = intern_name(name);
    let_scopes_.push_back(entry);
    entry->scopes.push_back({term, let_starts_.size()});
}

void SmtLibTermParser::push_bound_variable(std::string_view name, const Term_* var)
{
    Name* entry = intern_name(name);
    bound_vars_.push_back({entry, var});
    entry->scopes.push_back({var, 0});
}

void SmtLibTermParser::pop_bound_variables(std::size_t count)
{
    if (count > bound_vars_.size()) {
        throw ParserInterface::error("pop_bound_variables: not enough variables to pop");
    }
    for (; count > 0; --count) {
        TARQ_ASSERT(bound_vars_.back().name->scopes.back().term == bound_vars_.back().var);
        bound_vars_.back().name->scopes.pop_back();
        bound_vars_.pop_back();
    }
}

const Term_* SmtLibTermParser::get_bound_variable(std::string_view name) const
{
    const Name* known = find_name(name);
    for (auto it = bound_vars_.rbegin(); known && it != bound_vars_.rend(); ++it) {
        if (it->name == known) {
            return it->var;
        }
    }
    return nullptr;
}

bool SmtLibTermParser::has_open_variables(const Term_* term)
{
    if (bound_vars_.empty() && params_in_scope_.empty()) {
        return false;
    }
    // Each binder has a variable of its own, so one that is in scope here is free in the term.
    OccurrenceCheck check;
    for (const BoundVar& bound : bound_vars_) {
        check.variables.insert(bound.var);
    }
    for (const Term_* param : params_in_scope_) {
        check.variables.insert(param);
    }
    TermVisitor<OccurrenceCheck> visitor(check);
    visitor.visit(term);
    return check.found;
}

void SmtLibTermParser::close_scopes()
{
    for (Name* name : let_scopes_) {
        name->scopes.clear();
    }
    for (const BoundVar& bound : bound_vars_) {
        bound.name->scopes.clear();
    }
    let_scopes_.clear();
    let_starts_.clear();
    bound_vars_.clear();
    free_fresh_vars_.insert(free_fresh_vars_.end(), params_in_scope_.begin(),
                            params_in_scope_.end());
    params_in_scope_.clear();
}

void SmtLibTermParser::get_roots(TermVector* out) const
{
    TARQ_ASSERT(let_scopes_.empty() && bound_vars_.empty() && params_in_scope_.empty());
    for (const std::unique_ptr<Name>& name : name_store_) {
        if (name->predefined) {
            out->push_back(name->predefined);
        }
        if (const Definition* definition = name->definition.get()) {
            out->push_back(definition->term);
            out->insert(out->end(), definition->params.begin(), definition->params.end());
        }
    }
    out->insert(out->end(), free_fresh_vars_.begin(), free_fresh_vars_.end());
}

void SmtLibTermParser::forget_unused_names()
{
    TARQ_ASSERT(let_scopes_.empty() && bound_vars_.empty());
    std::erase_if(name_store_, [this](const std::unique_ptr<Name>& name) {
        if (name->predefined || name->handler || name->definition) {
            return false;
        }
        names_.erase(name->text);
        return true;
    });
}

} // namespace tarq
