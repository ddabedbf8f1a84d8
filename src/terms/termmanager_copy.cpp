// Transfer of types, symbols and terms from another manager.
#include "terms/termmanager.h"

#include "base/assertion.h"
#include "terms/termvisitor.h"

namespace tarq {

// Types.

const DataType* TermManager::copy_type(const TermManager* src, const DataType* t)
{
    TARQ_ASSERT(src != this);
    // Components first, on a stack: types can be deep, and they share parts.
    hsh::HashMap<const DataType*, const DataType*> done;
    TypeVector stack = {t};
    while (!stack.empty()) {
        const DataType* top = stack.back();
        const size_t size = stack.size();
        if (!done.contains(top)) {
            // a width or a format is no type of its own
            if (!src->is_bv_type(top) && !src->is_fp_type(top)) {
                for (const DataType* c : top->get_components()) {
                    if (!done.contains(c)) {
                        stack.push_back(c);
                    }
                }
            }
            if (stack.size() != size) {
                continue;
            }
            done[top] = copy_one_type(src, top, done);
        }
        stack.pop_back();
    }
    return done[t];
}

/// done  the copies of the components
const DataType*
TermManager::copy_one_type(const TermManager* src, const DataType* t,
                           const hsh::HashMap<const DataType*, const DataType*>& done)
{
    size_t a;
    size_t b;
    if (src->is_bv_type(t, &a)) {
        return get_bv_type(a);
    }
    if (src->is_fp_type(t, &a, &b)) {
        return get_fp_type(a, b);
    }
    if (!t->is_simple()) {
        TypeVector parts;
        for (const DataType* c : t->get_components()) {
            parts.push_back(done.find(c)->second);
        }
        if (src->is_array_type(t)) {
            return get_array_type(parts[1], parts[2]);
        }
        if (src->is_function_type(t)) {
            return get_function_type(TypeVector(parts.begin() + 1, parts.end() - 1), parts.back());
        }
        return get_compound_type(parts);
    }
    const std::pair<const DataType*, const DataType*> fixed[] = {
        {src->bool_type_, bool_type_},
        {src->real_type_, real_type_},
        {src->int_type_, int_type_},
        {src->array_marker_, array_marker_},
        {src->bv_marker_, bv_marker_},
        {src->rounding_type_, rounding_type_},
        {src->fp_marker_, fp_marker_},
        {src->types_.get_application_type(), types_.get_application_type()},
    };
    for (const auto& [theirs, ours] : fixed) {
        if (t == theirs) {
            return ours;
        }
    }
    auto user = src->simple_types_.find(t->get_name());
    if (user != src->simple_types_.end() && user->second == t) {
        return get_simple_type(t->get_name());
    }
    // a hidden type: no name leads to it, so its copy is remembered
    const DataType*& copy = copied_types_[{src->serial_, t->get_id()}];
    if (!copy) {
        copy = types_.make_type(t->get_name());
    }
    return copy;
}

TypeVector TermManager::copy_types(const TermManager* src, const TypeVector& types)
{
    TypeVector copies;
    for (const DataType* t : types) {
        copies.push_back(copy_type(src, t));
    }
    return copies;
}

// Symbols.

const Symbol* TermManager::copy_user_symbol(const TermManager* src, const Symbol* s)
{
    const std::pair<uint64_t, uint64_t> key(src->serial_, s->get_id());
    auto known = copied_symbols_.find(key);
    if (known != copied_symbols_.end()) {
        return known->second;
    }
    const SymbolKind kind = src->class_of(s).kind;
    const DataType* type = copy_type(src, s->get_type());
    if (src->signature_.is_listed(s)) {
        const Symbol* same = signature_.get_symbol(s->get_name());
        if (same && same->get_type() == type) {
            return same;
        }
        if (kind == SymbolKind::USER) {
            return make_symbol(s->get_name(), type); // throws if the name has another type
        }
        if (!same) {
            return add_user_symbol(s->get_name(), type, kind);
        }
    }
    // No name may lead to the copy: another symbol of `src` could come by that name later, and two
    // symbols would become one.
    const Symbol* copy = signature_.add_unlisted_symbol(s->get_name(), type);
    if (kind != SymbolKind::USER) {
        set_class(copy, {0, kind, SymbolTag::UNKNOWN});
    }
    copied_symbols_[key] = copy;
    return copy;
}

const Symbol* TermManager::copy_interpreted_symbol(const TermManager* src, const Symbol* s)
{
    // the fixed symbols are the first of every manager, in one order
    if (s->get_id() <= src->fixed_symbols_.size()) {
        return fixed_symbols_[s->get_id() - 1];
    }
    QNumber modulus;
    if (src->is_int_modular_congruence(s, &modulus)) {
        return make_congruence_symbol(modulus);
    }
    SymbolTag::tag tag;
    SymbolIndices indices;
    const bool is_family = src->get_family_indices(s, &tag, &indices);
    TARQ_ASSERT(is_family);
    static_cast<void>(is_family);
    for (const DataType*& t : indices.types) {
        t = t ? copy_type(src, t) : nullptr;
    }
    switch (tag) {
    case SymbolTag::EQ:
        return make_equality_symbol(indices.types[0]);
    case SymbolTag::ITE:
        return make_term_ite_symbol(indices.types[0]);
    default:
        return make_family_symbol(tag, indices);
    }
}

const Symbol* TermManager::copy_symbol(const TermManager* src, const Symbol* s)
{
    switch (src->class_of(s).kind) {
    case SymbolKind::USER:
    case SymbolKind::VARIABLE:
        return copy_user_symbol(src, s);
    case SymbolKind::INTERPRETED:
        return copy_interpreted_symbol(src, s);
    default:
        return copy_value(src, s)->get_symbol();
    }
}

std::vector<const Symbol*> TermManager::copy_symbols(const TermManager* src,
                                                     const std::vector<const Symbol*>& symbols)
{
    std::vector<const Symbol*> copies;
    for (const Symbol* s : symbols) {
        copies.push_back(copy_symbol(src, s));
    }
    return copies;
}

const Term_* TermManager::copy_value(const TermManager* src, const Symbol* s)
{
    QNumber value;
    size_t a;
    size_t b;
    if (src->is_bv_number(s, &value, &a)) {
        return make_bv_number(value, a);
    }
    if (src->is_fp_number(s, &value, &a, &b)) {
        return make_fp_bits_number(value, a, b);
    }
    src->is_arith_number(s, &value);
    return make_number(value);
}

// Terms.

/// Rebuilds terms on the way up. What is in the cache already is not walked.
class TermManager::TermCopyCallback : public TermVisitorCallback {
public:
    TermCopyCallback(TermManager* dest, const TermManager* src, TermMap& cache)
        : dest_(dest), src_(src), cache_(cache)
    {
    }

    VisitResult visit(const Term_* t, bool pre) override
    {
        if (cache_.contains(t)) {
            return VisitResult::SKIP;
        }
        if (!pre) {
            const Term_* copy = rebuild(t);
            cache_[t] = copy;
        }
        return VisitResult::PROCESS;
    }

private:
    const Term_* rebuild(const Term_* t)
    {
        const Symbol* s = t->get_symbol();
        if (src_->is_number(s)) {
            return dest_->copy_value(src_, s);
        }
        const Symbol*& symbol = symbols_[s];
        if (!symbol) {
            symbol = dest_->copy_symbol(src_, s);
        }
        args_.clear();
        for (const Term_* c : t->children()) {
            args_.push_back(cache_.find(c)->second);
        }
        return dest_->make_term(symbol, args_);
    }

    TermManager* dest_;
    const TermManager* src_;
    TermMap& cache_;
    hsh::HashMap<const Symbol*, const Symbol*> symbols_;
    TermVector args_;
};

TermVector TermManager::copy_terms(const TermManager* src, TermArgs terms)
{
    TermMap cache;
    TermCopyCallback callback(this, src, cache);
    TermVisitor<TermVisitorCallback> visitor(callback);
    TermVector copies;
    for (const Term_* t : terms) {
        visitor.visit(t, false);
        copies.push_back(cache.find(t)->second);
    }
    return copies;
}

const Term_* TermManager::copy_term(const TermManager* src, const Term_* t)
{
    TermMap cache;
    return copy_term_with_subst(src, t, cache);
}

const Term_* TermManager::copy_term_with_subst(const TermManager* src, const Term_* t, TermMap& map)
{
    TermCopyCallback callback(this, src, map);
    TermVisitor<TermVisitorCallback> visitor(callback);
    visitor.visit(t);
    return map.find(t)->second;
}

} // namespace tarq
