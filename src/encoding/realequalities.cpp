#include "encoding/realequalities.h"

namespace tarq {

const Term_* as_inequalities(TermManager* tm, const Term_* t)
{
    if (!tm->is_equal(t)) {
        return nullptr;
    }
    const Term_* a = t->child(0);
    const Term_* b = t->child(1);
    const DataType* real = tm->get_real_type();
    if (TermManager::get_type(a) != real && TermManager::get_type(b) != real) {
        return nullptr;
    }
    const auto plain = tm->simplify_in_scope(false);
    return tm->make_and(tm->make_leq(a, b), tm->make_leq(b, a));
}

const Term_* split_real_equalities(TermManager* tm, const Term_* f)
{
    const auto plain = tm->simplify_in_scope(false);
    TermMap done; // what each node became
    TermVector stack{f};
    TermVector args;
    while (!stack.empty()) {
        const Term_* t = stack.back();
        if (done.contains(t)) {
            stack.pop_back();
            continue;
        }
        if (!tm->is_connective(t->get_symbol())) {
            const Term_* split = as_inequalities(tm, t);
            done[t] = split ? split : t;
            stack.pop_back();
            continue;
        }
        const size_t size = stack.size();
        for (const Term_* c : t->children()) {
            if (!done.contains(c)) {
                stack.push_back(c);
            }
        }
        if (stack.size() > size) {
            continue;
        }
        args.clear();
        bool changed = false;
        for (const Term_* c : t->children()) {
            args.push_back(done[c]);
            changed = changed || args.back() != c;
        }
        done[t] = changed ? tm->make_term(t->get_symbol(), args) : t;
        stack.pop_back();
    }
    return done[f];
}

} // namespace tarq
