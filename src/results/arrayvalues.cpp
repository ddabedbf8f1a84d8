#include "results/arrayvalues.h"

#include "terms/termsimpl.h"
#include "terms/typesize.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace tarq {

bool ArrayValues::is_value(const Term_* t) const
{
    return t->arity() == 0 ? termsimpl::is_value(tm_, t, true) : contains(t);
}

const Term_* ArrayValues::make_const(const Symbol* symbol, const Term_* element)
{
    if (!is_value(element)) {
        return nullptr;
    }
    const Term_* result = tm_->do_make_term(symbol, TermArgs(&element, 1));
    known_.insert({result, Shape{element, 0}});
    return result;
}

const Term_* ArrayValues::put_write(const Symbol* symbol, const Term_* array, const Term_* index,
                                    const Term_* element)
{
    const Shape shape = known_[array];
    const Term_* args[] = {array, index, element};
    const Term_* result = tm_->do_make_term(symbol, args);
    known_.insert({result, Shape{shape.otherwise, shape.num_writes + 1}});
    return result;
}

const Term_* ArrayValues::make_write(const Symbol* symbol, const Term_* array, const Term_* index,
                                     const Term_* element)
{
    if (!contains(array) || !is_value(index) || !is_value(element)) {
        return nullptr;
    }
    std::vector<std::pair<const Term_*, const Term_*>> above;
    const Term_* a = array;
    for (; tm_->is_array_write(a) && a->child(1)->get_id() > index->get_id(); a = a->child(0)) {
        above.emplace_back(a->child(1), a->child(2));
    }
    if (tm_->is_array_write(a) && a->child(1) == index) {
        if (a->child(2) == element) {
            return array;
        }
        a = a->child(0);
    }
    if (element != known_[a].otherwise) {
        a = put_write(symbol, a, index, element);
    }
    for (auto it = above.rbegin(); it != above.rend(); ++it) {
        a = put_write(symbol, a, it->first, it->second);
    }
    const QNumber size = num_values(tm_, TermManager::get_type(index)); // 0 is infinite
    return !size.is_zero() && size <= QNumber(2 * known_[a].num_writes)
               ? choose_default(symbol, a, size)
               : a;
}

/// The value that a term of values is, arrays in normal form.
const Term_* ArrayValues::normalize(const Term_* t)
{
    TermVector writes; // outermost first
    for (; tm_->is_array_write(t); t = t->child(0)) {
        writes.push_back(t);
    }
    if (!tm_->is_array_const(t)) {
        return t;
    }
    const Term_* result = make_const(t->get_symbol(), normalize(t->child(0)));
    for (auto w = writes.rbegin(); w != writes.rend(); ++w) {
        result = make_write((*w)->get_symbol(), result, normalize((*w)->child(1)),
                            normalize((*w)->child(2)));
    }
    return result;
}

/// The same array over its most frequent element.
const Term_* ArrayValues::choose_default(const Symbol* write, const Term_* array,
                                         const QNumber& size)
{
    const Shape shape = known_[array];
    TermMap elements;
    hsh::HashMap<const Term_*, QNumber> counts;
    counts[shape.otherwise] = size - QNumber(shape.num_writes);
    const Term_* base = array;
    for (; tm_->is_array_write(base); base = base->child(0)) {
        elements[base->child(1)] = base->child(2);
        counts[base->child(2)] += 1;
    }
    const Term_* best = shape.otherwise;
    for (const auto& [element, count] : counts) {
        const QNumber& most = counts[best];
        if (most < count || (most == count && element->get_id() < best->get_id())) {
            best = element;
        }
    }
    if (best == shape.otherwise) {
        return array;
    }
    TermVector indices = list_values(tm_, write->get_arg_type(1));
    for (const Term_*& i : indices) {
        i = normalize(i);
    }
    std::sort(indices.begin(), indices.end(), term_lt());
    const Term_* result = make_const(base->get_symbol(), best);
    for (const Term_* i : indices) {
        const auto it = elements.find(i);
        const Term_* element = it == elements.end() ? shape.otherwise : it->second;
        if (element != best) {
            result = put_write(write, result, i, element);
        }
    }
    return result;
}

} // namespace tarq
