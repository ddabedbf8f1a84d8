// Substitution and free variables. Both walk terms without recursion.
#include "terms/termmanager.h"

#include "base/assertion.h"
#include "terms/termvisitor.h"

#include <algorithm>

namespace tarq {

/// One run of a substitution.
///
/// A scope holds the replacements in force and the results found under them. Below a quantifier the
/// replacements of the enclosing scope are in force unless its variable occurs in one of them; then
/// the body gets a scope of its own, in which keys over that variable are absent and the variable,
/// if a replacement would be captured by it, stands for a fresh one. Scopes live as long as their
/// quantifier is on the stack.
class TermManager::Substitution {
public:
    /// map      replacements; borrowed
    /// results  where results are kept; may be `map` itself
    Substitution(TermManager* tm, const TermMap& map, TermMap* results)
        : tm_(tm), root_{&map, results, {}, {}, nullptr}
    {
    }

    const Term_* run(const Term_* t);

private:
    struct Scope {
        const TermMap* replacements;
        TermMap* results;
        TermMap own_replacements;
        TermMap own_results;
        const Term_* variable; // what the quantifier binds in the result; null in the root
    };
    struct Frame {
        const Term_* term;
        Scope* scope;
        Scope* body_scope = nullptr; // of a quantifier with a scope of its own
        bool expanded = false;
    };

    static const Term_* find(const Scope& scope, const Term_* t)
    {
        for (const TermMap* map :
             {scope.replacements, static_cast<const TermMap*>(scope.results)}) {
            auto it = map->find(t);
            if (it != map->end()) {
                return it->second;
            }
        }
        return t->arity() == 0 ? t : nullptr;
    }

    void expand(Frame& f);
    const Term_* rebuild(const Frame& f);
    std::unique_ptr<Scope> scope_below(const Scope& outer, const Term_* quantifier);
    bool occurs_free(const Term_* var, const Term_* t);
    bool occurs_any(const TermSet& parts, const Term_* t);
    void collect_variables();

    TermManager* tm_;
    Scope root_;
    std::vector<Frame> stack_;
    std::vector<std::unique_ptr<Scope>> scopes_; // of the quantifiers on the stack
    bool has_variables_ = false;                 // whether the two sets are filled
    TermSet key_variables_;                      // all variables in the keys, free or bound
    TermSet value_variables_;
    TermVector args_; // scratch of rebuild
};

const Term_* TermManager::Substitution::run(const Term_* t)
{
    if (const Term_* r = find(root_, t)) {
        return r;
    }
    stack_.push_back({t, &root_});
    while (!stack_.empty()) {
        Frame& f = stack_.back();
        if (!f.expanded) {
            // an equal frame further up may have been finished meanwhile
            if (find(*f.scope, f.term)) {
                stack_.pop_back();
            } else {
                expand(f);
            }
            continue;
        }
        (*f.scope->results)[f.term] = rebuild(f);
        if (f.body_scope) {
            TARQ_ASSERT(scopes_.back().get() == f.body_scope);
            scopes_.pop_back();
        }
        stack_.pop_back();
    }
    return find(root_, t);
}

/// Pushes the children that have no result yet. `f` is invalid afterwards.
void TermManager::Substitution::expand(Frame& f)
{
    f.expanded = true;
    const Term_* t = f.term;
    Scope* scope = f.scope;
    if (tm_->has_quantifiers_ && tm_->is_quantifier(t)) {
        if (std::unique_ptr<Scope> below = scope_below(*scope, t)) {
            scopes_.push_back(std::move(below));
            f.body_scope = scopes_.back().get();
            if (!f.body_scope->replacements->empty()) {
                stack_.push_back({t->child(1), f.body_scope});
            }
            return;
        }
    }
    // the last child is walked first; the order shows in the ids of new terms
    for (const Term_* c : t->children()) {
        if (!find(*scope, c)) {
            stack_.push_back({c, scope});
        }
    }
}

const Term_* TermManager::Substitution::rebuild(const Frame& f)
{
    const Term_* t = f.term;
    args_.clear();
    if (f.body_scope) {
        const bool is_shadowed = f.body_scope->replacements->empty();
        args_.push_back(f.body_scope->variable);
        args_.push_back(is_shadowed ? t->child(1) : find(*f.body_scope, t->child(1)));
        if (args_[1] == t->child(1)) {
            return t; // nothing replaced, so there is nothing to rename for
        }
    } else {
        for (const Term_* c : t->children()) {
            args_.push_back(find(*f.scope, c));
        }
        const TermArgs children = t->children();
        if (std::equal(children.begin(), children.end(), args_.begin())) {
            return t;
        }
    }
    return tm_->make_term(t->get_symbol(), args_);
}

/// The scope of the body of `quantifier`, or null when that of the quantifier itself serves.
std::unique_ptr<TermManager::Substitution::Scope>
TermManager::Substitution::scope_below(const Scope& outer, const Term_* quantifier)
{
    collect_variables();
    const Term_* var = quantifier->child(0);
    if (!key_variables_.contains(var) && !value_variables_.contains(var)) {
        return nullptr;
    }
    auto scope = std::make_unique<Scope>();
    TermSet capturing; // keys whose value the quantifier would capture
    for (const auto& [key, value] : *outer.replacements) {
        if (!occurs_free(var, key)) {
            scope->own_replacements[key] = value;
            if (value_variables_.contains(var) && occurs_free(var, value)) {
                capturing.insert(key);
            }
        }
    }
    scope->variable = var;
    if (!capturing.empty() && occurs_any(capturing, quantifier->child(1))) {
        scope->variable = tm_->make_fresh_variable(get_type(var));
        scope->own_replacements[var] = scope->variable;
    }
    scope->replacements = &scope->own_replacements;
    scope->results = &scope->own_results;
    return scope;
}

bool TermManager::Substitution::occurs_any(const TermSet& parts, const Term_* t)
{
    struct Search {
        const TermSet& parts;
        VisitResult visit(const Term_* x, bool)
        {
            return parts.contains(x) ? VisitResult::ABORT : VisitResult::PROCESS;
        }
    };
    Search search{parts};
    TermVisitor visitor(search);
    return !visitor.visit(t);
}

bool TermManager::Substitution::occurs_free(const Term_* var, const Term_* t)
{
    if (t->arity() == 0) {
        return t == var;
    }
    const FreeVariableMap map = tm_->get_free_variable_map(t);
    const TermVector& free = map[t];
    return std::binary_search(free.begin(), free.end(), var, term_lt());
}

void TermManager::Substitution::collect_variables()
{
    if (has_variables_) {
        return;
    }
    has_variables_ = true;
    struct Collect {
        const TermManager* tm;
        TermSet* out;
        VisitResult visit(const Term_* t, bool pre)
        {
            if (pre && tm->is_variable(t)) {
                out->insert(t);
            }
            return VisitResult::PROCESS;
        }
    };
    Collect keys{tm_, &key_variables_};
    Collect values{tm_, &value_variables_};
    TermVisitor key_visitor(keys);
    TermVisitor value_visitor(values);
    for (const auto& [key, value] : *root_.replacements) {
        key_visitor.visit(key, false);
        value_visitor.visit(value, false);
    }
}

const Term_* TermManager::substitute(const Term_* t, TermMap& map, bool use_cache)
{
    if (!use_cache) {
        return substitute(t, map);
    }
    return Substitution(this, map, &map).run(t);
}

const Term_* TermManager::substitute(const Term_* t, const TermMap& map)
{
    TermMap results;
    return Substitution(this, map, &results).run(t);
}

const Term_* TermManager::substitute(const Term_* t, TermArgs from, TermArgs to)
{
    if (from.size() != to.size()) {
        throw error("Incompatible arguments to substitute");
    }
    TermMap map;
    for (size_t i = 0; i < from.size(); ++i) {
        map.insert({from[i], to[i]});
    }
    return substitute(t, map);
}

// Free variables.

FreeVariableMap TermManager::get_free_variable_map(const Term_* t) const
{
    // At the exit of a term the sets of its children are known. The set of the child with the most
    // is shared if it has all, so that chains of operators cost no set of their own.
    struct Collect {
        const TermManager* tm;
        FreeVariableMap map;
        TermVector merged;
        TermVector scratch;

        const TermVector* store(const TermVector& set)
        {
            map.pool_.push_back(std::make_unique<const TermVector>(set));
            return map.pool_.back().get();
        }

        const TermVector* set_of(const Term_* t)
        {
            if (tm->is_variable(t)) {
                return store({t});
            }
            const TermVector* largest = nullptr;
            for (const Term_* c : t->children()) {
                const TermVector* set = map.sets_.find(c)->second;
                largest = !largest || set->size() > largest->size() ? set : largest;
            }
            if (!largest) {
                return store({});
            }
            merged = *largest;
            for (const Term_* c : t->children()) {
                const TermVector* set = map.sets_.find(c)->second;
                if (set != largest && !set->empty()) {
                    scratch.clear();
                    std::set_union(merged.begin(), merged.end(), set->begin(), set->end(),
                                   std::back_inserter(scratch), term_lt());
                    merged.swap(scratch);
                }
            }
            if (tm->is_quantifier(t)) {
                const Term_* var = t->child(0);
                auto it = std::lower_bound(merged.begin(), merged.end(), var, term_lt());
                if (it != merged.end() && *it == var) {
                    merged.erase(it);
                }
            }
            return merged == *largest ? largest : store(merged);
        }

        VisitResult visit(const Term_* t, bool pre)
        {
            if (!pre) {
                map.sets_[t] = set_of(t);
            }
            return VisitResult::PROCESS;
        }
    };
    Collect collect{this, {}, {}, {}};
    TermVisitor visitor(collect);
    visitor.visit(t);
    return std::move(collect.map);
}

hsh::HashMap<const Term_*, TermSet> TermManager::get_free_variable_set_map(const Term_* t) const
{
    const FreeVariableMap map = get_free_variable_map(t);
    hsh::HashMap<const Term_*, TermSet> result;
    for (const auto& [term, free] : map.sets_) {
        TermSet& set = result[term];
        for (const Term_* v : *free) {
            set.insert(v);
        }
    }
    return result;
}

} // namespace tarq
