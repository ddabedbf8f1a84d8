// Making a model: values for constants and function points from what the solvers say.
#include "results/modelstore.h"

#include "terms/bvnumber.h"
#include "terms/stdtermsimplifier.h"

#include <algorithm>
#include <string>

namespace tarq {

ModelStore::ModelStore(TermManager* tm, const Options& options)
    : tm_(tm), options_(options), arrays_(tm)
{
}

ModelStore::~ModelStore() = default;

bool ModelStore::is_good_value(const Term_* t) const
{
    return arrays_.is_value(t);
}

/// A constant or the application of a user's function.
bool ModelStore::is_terminal(const Term_* t) const
{
    return !tm_->is_interpreted(t) && !tm_->is_variable(t) &&
           !t->get_symbol()->get_name().starts_with('@');
}

/// An application whose value may be left open by its arguments' values, so that the solver of its
/// theory has to be asked.
bool ModelStore::is_partial(const Term_* t) const
{
    switch (tm_->get_tag(t)) {
    case SymbolTag::DIVIDE:
    case SymbolTag::POW:
    case SymbolTag::LOG:
    case SymbolTag::ASIN:
    case SymbolTag::EXP:
    case SymbolTag::SIN:
    case SymbolTag::PI:
    case SymbolTag::FP_TO_BV:
        return true;
    case SymbolTag::FP_MIN:
    case SymbolTag::FP_MAX:
        return options_.fp_minmax_zero_mode == 4;
    case SymbolTag::BV_UDIV:
    case SymbolTag::BV_SDIV:
    case SymbolTag::BV_UREM:
    case SymbolTag::BV_SREM:
        return options_.bv_div_by_zero_mode == 1;
    default:
        return false;
    }
}

/// Appends the terminals and partial applications at and below `roots`, those below others first.
void ModelStore::collect_terminals(TermArgs roots, TermVector* out) const
{
    TermSet seen;
    TermVector stack(roots.begin(), roots.end());
    while (!stack.empty()) {
        const Term_* t = stack.back();
        stack.pop_back();
        if (!seen.insert(t).second || tm_->is_quantifier(t)) {
            continue;
        }
        if (is_terminal(t) || is_partial(t)) {
            out->push_back(t);
        }
        stack.insert(stack.end(), t->children().begin(), t->children().end());
    }
    std::sort(out->begin(), out->end(), term_lt()); // a subterm has the smaller id
}

void ModelStore::compute(const ModelSource& source)
{
    values_.clear();
    definitions_.clear();
    classes_.clear();
    memo_.clear();
    std::vector<std::pair<const Term_*, bool>> atoms;
    source.get_atoms(atoms);
    TermMap truth;
    TermVector roots;
    for (const auto& [t, value] : atoms) {
        truth[t] = tm_->make_bool(value);
        roots.push_back(t);
    }
    std::vector<std::pair<const Term_*, const Term_*>> definitions;
    source.get_definitions(definitions);
    for (const auto& [t, definition] : definitions) {
        definitions_[t] = definition;
    }
    if (!options_.full) {
        values_ = truth;
        state_ = 1;
        return;
    }
    TermVector terminals;
    collect_terminals(roots, &terminals);
    assign_terminals(source, roots, terminals, truth);
    memo_.clear(); // values of terminals that came later were not known yet
    choose_free_values(source);
    memo_.clear();
    state_ = 1;
}

/// Remembers a value in use, and those that an array holds, so that fresh ones differ from them.
/// Of a term that is no value nothing needs to be known.
void ModelStore::note_used(const Term_* value)
{
    QNumber number;
    TermVector stack{value};
    while (!stack.empty()) {
        const Term_* t = stack.back();
        stack.pop_back();
        if (!used_.insert(t).second) {
            continue;
        }
        if (tm_->is_arith_number(t, &number) && next_number_ <= number) {
            next_number_ = number.floor() + 1;
        }
        if (tm_->is_array_write(t) || tm_->is_array_const(t)) {
            stack.insert(stack.end(), t->children().begin(), t->children().end());
        }
    }
}

/// Notes the values of what is compared with other terms: the sides of equalities, the arguments of
/// functions, indices and elements. A fresh value must not make two of them equal that differ.
void ModelStore::note_compared(const ModelSource& source, TermArgs roots, const TermMap& raw)
{
    TermSet& seen = problem_terms_;
    TermVector stack(roots.begin(), roots.end());
    while (!stack.empty()) {
        const Term_* t = stack.back();
        stack.pop_back();
        if (!seen.insert(t).second || tm_->is_quantifier(t)) {
            continue;
        }
        poll();
        if (TermManager::get_type(t) != tm_->get_bool_type() && !raw.contains(t)) {
            const Term_* value = tm_->is_number(t) ? t : source.get_theory_value(t);
            if (value) {
                note_used(value);
            }
        }
        stack.insert(stack.end(), t->children().begin(), t->children().end());
    }
}

void ModelStore::assign_terminals(const ModelSource& source, TermArgs roots,
                                  const TermVector& terminals, const TermMap& truth)
{
    TermMap raw;
    bool needs_fresh = false;
    for (const Term_* t : terminals) {
        poll();
        const auto known = truth.find(t);
        const Term_* value = known != truth.end() ? known->second : source.get_theory_value(t);
        if (!value) {
            continue;
        }
        raw[t] = value;
        needs_fresh = needs_fresh || !is_good_value(value);
        note_used(value);
    }
    if (needs_fresh) {
        note_compared(source, roots, raw);
    }
    for (const Term_* t : terminals) {
        const auto entry = raw.find(t);
        if (entry == raw.end()) {
            continue;
        }
        const Term_* value = value_of_class(entry->second);
        set_point(t->arity() > 0 ? point_of(t) : t, value);
    }
}

/// Two terms that evaluate to the same point must have the same value: the solvers have agreed on
/// the arguments.
void ModelStore::set_point(const Term_* point, const Term_* value)
{
    if (is_good_value(point)) {
        return; // a partial operation that is defined for these arguments
    }
    const auto [it, is_new] = values_.insert({point, value});
    if (!is_new && it->second != value) {
        if (logger_) {
            (*logger_)("MODELSTORE")
                << loglevel(2) << "two values for " << point->to_str(1000) << EndLog;
        }
        throw make_error<error>("Invalid model");
    }
}

/// The value of a class that the theories represent by this term. Arrays may be represented by
/// writes whose parts stand for classes themselves.
const Term_* ModelStore::value_of_class(const Term_* representative)
{
    const auto is_composite = [this](const Term_* t) {
        return tm_->is_array_write(t) || tm_->is_array_const(t);
    };
    if (!is_composite(representative)) {
        return value_of_leaf(representative);
    }
    TermMap parts;
    TermVector stack{representative};
    while (!stack.empty()) {
        const Term_* t = stack.back();
        const size_t size = stack.size();
        TermVector args;
        for (const Term_* c : t->children()) {
            const auto it = parts.find(c);
            if (it != parts.end()) {
                args.push_back(it->second);
            } else if (is_composite(c)) {
                stack.push_back(c);
            } else {
                args.push_back(parts[c] = value_of_leaf(c));
            }
        }
        if (stack.size() == size) {
            parts[t] = tm_->do_make_term(t->get_symbol(), args);
            stack.pop_back();
        }
    }
    const Term_* value = evaluate(parts[representative]);
    note_used(value);
    return value;
}

/// The value of a class whose representative is no array made of others.
const Term_* ModelStore::value_of_leaf(const Term_* representative)
{
    if (is_good_value(representative)) {
        return representative;
    }
    const auto it = classes_.find(representative);
    if (it != classes_.end()) {
        return it->second;
    }
    const Term_* value = fresh_value(TermManager::get_type(representative));
    if (!value && !problem_terms_.contains(representative)) {
        // an element that some array has where nothing is read
        value = get_default_value(TermManager::get_type(representative));
    }
    if (!value) {
        throw make_error<error>("Impossible to assign a concrete model value to ",
                                representative->to_str(1000));
    }
    classes_[representative] = value;
    note_used(value);
    return value;
}

const Term_* ModelStore::make_abstract_value(const DataType* type)
{
    for (size_t i = next_abstract_[type];; ++i) {
        const std::string name = "@" + std::to_string(i);
        const Symbol* s = tm_->get_symbol(name);
        if (!s || s->get_type() == type) {
            next_abstract_[type] = i + 1;
            return tm_->make_constant(s ? s : tm_->make_symbol(name, type));
        }
    }
}

/// A value of this type that nothing else has; null when there is none left.
const Term_* ModelStore::fresh_value(const DataType* type)
{
    size_t width = 0;
    size_t mant = 0;
    if (tm_->is_arith_type(type)) {
        return tm_->make_number(next_number_);
    }
    const bool is_bv = tm_->is_bv_type(type, &width);
    if (is_bv || tm_->is_fp_type(type, &width, &mant)) {
        const size_t bits = is_bv ? width : width + mant + 1;
        for (QNumber n = 0; BVNumber::fits(n, bits); n += 1) {
            const Term_* value =
                is_bv ? tm_->make_bv_number(n, width) : tm_->make_fp_bits_number(n, width, mant);
            if (!used_.contains(value)) {
                return value;
            }
        }
        return nullptr;
    }
    if (type == tm_->get_bool_type()) {
        return tm_->make_false();
    }
    if (type == tm_->get_rounding_type()) {
        for (const Term_* value :
             {tm_->make_fprounding_even(), tm_->make_fprounding_zero(),
              tm_->make_fprounding_plus_inf(), tm_->make_fprounding_minus_inf()}) {
            if (!used_.contains(value)) {
                return value;
            }
        }
        return nullptr;
    }
    return tm_->is_array_type(type) ? fresh_array(type) : make_abstract_value(type);
}

/// An array that nothing else is: one of an element that no other array holds or, when those have
/// run out, one that holds another element in one place.
const Term_* ModelStore::fresh_array(const DataType* type)
{
    const DataType* index_type = nullptr;
    const DataType* element_type = nullptr;
    tm_->is_array_type(type, &index_type, &element_type);
    if (const Term_* element = fresh_value(element_type)) {
        note_used(element);
        return evaluate(tm_->make_array_const(type, element));
    }
    TermVector elements;
    for (const Term_* v : used_) {
        if (TermManager::get_type(v) == element_type && is_good_value(v)) {
            elements.push_back(v);
        }
    }
    const Term_* base = get_default_value(type);
    const Term_* index = fresh_value(index_type);
    for (const Term_* element : elements) {
        const Term_* value =
            index ? evaluate(tm_->make_array_write(base, index, element)) : nullptr;
        if (value && !used_.contains(value)) {
            return value;
        }
    }
    return nullptr;
}

} // namespace tarq
