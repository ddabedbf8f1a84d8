#include "theory/iesimplifier.h"

namespace tarq {

namespace {

/// Terms of this kind and of one type are equal only if they are the same. Integral numbers have
/// one term for both Int and Real.
bool is_value(const TermManager* tm, const Term_* t)
{
    return t->arity() == 0 && tm->is_interpreted(t) && !tm->is_pi(t);
}

} // namespace

const Term_* make_interface_equality(TermManager* tm, const Term_* a, const Term_* b)
{
    if (a == b) {
        return tm->make_true();
    }
    const bool a_value = is_value(tm, a);
    const bool b_value = is_value(tm, b);
    if (a_value && b_value) {
        return tm->make_false();
    }
    bool swap = b->get_id() < a->get_id();
    if (a_value && !tm->is_interpreted(b)) {
        swap = true;
    } else if (b_value && !tm->is_interpreted(a)) {
        swap = false;
    }
    const Term_* sides[] = {swap ? b : a, swap ? a : b};
    const DataType* type = tm->get_supertype(TermManager::get_type(a), TermManager::get_type(b));
    return tm->do_make_term(tm->make_equality_symbol(type), sides);
}

} // namespace tarq
