// Construction-time simplification of arrays, and of equalities over types other than Int and Real.

#include "base/hashmap.h"
#include "base/hashset.h"
#include "terms/stdtermsimplifier.h"
#include "terms/termmanager.h"
#include "terms/termsimpl.h"

#include <algorithm>
#include <string>
#include <utility>

namespace tarq::termsimpl {

namespace {

using simpl_fun = StdTermSimplifier::simpl_fun;

/// What is known of two values being equal.
enum class Verdict { EQUAL, DIFFERENT, UNDECIDED };

bool is_rounding_mode(TermManager* tm, const Term_* t)
{
    return TermManager::get_type(t) == tm->get_rounding_type() && tm->is_interpreted(t) &&
           t->arity() == 0;
}

/// Values whose identity is their equality: distinct terms of this kind and of one type differ.
bool is_scalar_value(TermManager* tm, const Term_* t)
{
    return tm->is_number(t) || tm->is_true(t) || tm->is_false(t) || is_rounding_mode(tm, t);
}

/// A model value of a type without literals.
bool is_marked_constant(TermManager* tm, const Term_* t)
{
    return tm->is_constant(t) && t->get_symbol()->get_name().starts_with('@');
}

Verdict compare_values(TermManager* tm, const Term_* a, const Term_* b);

/// An array value: its writes, the topmost of each index only, and its default.
struct ArrayValue {
    TermMap writes;
    const Term_* otherwise = nullptr;

    ArrayValue(TermManager* tm, const Term_* t)
    {
        for (; tm->is_array_write(t); t = t->child(0)) {
            writes.insert({t->child(1), t->child(2)});
        }
        otherwise = t->child(0);
    }
    const Term_* at(const Term_* index) const
    {
        const auto it = writes.find(index);
        return it == writes.end() ? otherwise : it->second;
    }
};

/// Whether the indices of all writes can be told apart and cover no finite index type.
bool defaults_matter(TermManager* tm, const Term_* array, const TermSet& indices)
{
    const DataType* index_type = nullptr;
    QNumber size;
    tm->is_array_type(TermManager::get_type(array), &index_type);
    if (tm->is_array_type(index_type)) {
        return false; // finite or not, its size is not worth finding out
    }
    QNumber count(indices.size());
    if (tm->is_fp_type(index_type)) {
        count += count; // the size counts bit patterns, of which up to half are NaN
    }
    return !tm->is_finite_domain_type(index_type, &size) || count < size;
}

/// Compares two array values index by index.
Verdict eval_array_values(TermManager* tm, const Term_* a, const Term_* b)
{
    const ArrayValue x(tm, a);
    const ArrayValue y(tm, b);
    TermSet indices;
    for (const ArrayValue* v : {&x, &y}) {
        for (const auto& [index, value] : v->writes) {
            if (!is_scalar_value(tm, index)) {
                return Verdict::UNDECIDED; // two different terms might be one index
            }
            indices.insert(index);
        }
    }
    Verdict result = Verdict::EQUAL;
    for (const Term_* index : indices) {
        const Verdict v = compare_values(tm, x.at(index), y.at(index));
        if (v == Verdict::DIFFERENT) {
            return v;
        }
        if (v == Verdict::UNDECIDED) {
            result = v;
        }
    }
    const Verdict v = compare_values(tm, x.otherwise, y.otherwise);
    if (v == Verdict::EQUAL) {
        return result;
    }
    return v == Verdict::DIFFERENT && defaults_matter(tm, a, indices) ? v : Verdict::UNDECIDED;
}

/// Recursive over the nesting of array types, which is as deep as a type was written.
Verdict compare_values(TermManager* tm, const Term_* a, const Term_* b)
{
    if (a == b) {
        return Verdict::EQUAL;
    }
    if (is_scalar_value(tm, a) && is_scalar_value(tm, b)) {
        return Verdict::DIFFERENT;
    }
    if (tm->is_array_type(TermManager::get_type(a)) && is_value(tm, a, false) &&
        is_value(tm, b, false)) {
        return eval_array_values(tm, a, b);
    }
    return Verdict::UNDECIDED;
}

/// The equality of two elements, Boolean ones included.
const Term_* make_element_equality(TermManager* tm, const Term_* a, const Term_* b)
{
    return TermManager::get_type(a) == tm->get_bool_type() ? tm->make_iff(a, b)
                                                           : tm->make_equal(a, b);
}

class ArrayReadSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        const Term_* array = args[0];
        const Term_* index = args[1];
        if (tm->is_array_const(array)) {
            return array->child(0);
        }
        if (!tm->is_array_write(array) || !is_value(tm, index, true) ||
            !is_value(tm, array, true)) {
            return make_with_linear_arguments(tm, symbol, args);
        }
        for (; tm->is_array_write(array); array = array->child(0)) {
            const Term_* same = make_element_equality(tm, array->child(1), index);
            if (tm->is_true(same)) {
                return array->child(2);
            }
            if (!tm->is_false(same)) {
                break;
            }
        }
        if (tm->is_array_const(array)) {
            return array->child(0);
        }
        const Term_* rest[] = {array, index};
        return tm->do_make_term(symbol, rest);
    }
};

class ArrayWriteSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        const Term_* array = args[0];
        const Term_* index = args[1];
        const Term_* element = args[2];
        // writes below that this one covers go first; what is compared is then what it writes into
        while (tm->is_array_write(array) && array->child(1) == index) {
            if (array->child(2) == element) {
                return array;
            }
            array = array->child(0);
        }
        if (tm->is_array_const(array) && array->child(0) == element) {
            return array;
        }
        if (tm->is_array_read(element) && element->child(0) == array &&
            element->child(1) == index) {
            return array;
        }
        const Term_* kept[] = {array, index, element};
        return make_with_linear_arguments(tm, symbol, kept);
    }
};

} // namespace

bool is_value(TermManager* tm, const Term_* t, bool permissive)
{
    const auto is_simple = [tm, permissive](const Term_* x) {
        return is_scalar_value(tm, x) || (permissive && is_marked_constant(tm, x));
    };
    if (is_simple(t)) {
        return true;
    }
    if (!tm->is_array_type(TermManager::get_type(t))) {
        return false;
    }
    TermSet seen;
    TermVector stack{t};
    while (!stack.empty()) {
        const Term_* x = stack.back();
        stack.pop_back();
        if (is_simple(x) || !seen.insert(x).second) {
            continue;
        }
        if (!tm->is_array_write(x) && !tm->is_array_const(x)) {
            return false;
        }
        for (const Term_* child : x->children()) {
            stack.push_back(child);
        }
    }
    return true;
}

const Term_* simplify_generic_equality(TermManager* tm, const Symbol* symbol, const Term_* a,
                                       const Term_* b)
{
    if (a == b) {
        return tm->make_true();
    }
    if (is_scalar_value(tm, a) && is_scalar_value(tm, b)) {
        return tm->make_false();
    }
    if (tm->is_array_const(a) && tm->is_array_const(b)) {
        return make_element_equality(tm, a->child(0), b->child(0));
    }
    if (tm->is_array_type(TermManager::get_type(a)) && is_value(tm, a, false) &&
        is_value(tm, b, false)) {
        const Verdict v = eval_array_values(tm, a, b);
        if (v != Verdict::UNDECIDED) {
            return tm->make_bool(v == Verdict::EQUAL);
        }
    }
    const bool swap = tm->is_number(a) || (!tm->is_number(b) && b->get_id() < a->get_id());
    const Term_* sides[] = {swap ? b : a, swap ? a : b};
    return tm->do_make_term(symbol, sides);
}

void register_array_simplifications(StdTermSimplifier* s)
{
    s->register_simplification(SymbolTag::ARRAY_READ, std::make_unique<ArrayReadSimpl>());
    s->register_simplification(SymbolTag::ARRAY_WRITE, std::make_unique<ArrayWriteSimpl>());
}

} // namespace tarq::termsimpl
