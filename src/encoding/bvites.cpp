#include "encoding/bvites.h"

namespace tarq {

bool IteFilter::is_good_atom(const Term_* t) const
{
    return tm_->is_true(t) || tm_->is_false(t) || tm_->is_boolean_constant(t) ||
           is_own_atom(tm_->get_tag(t)) ||
           (tm_->is_equal(t) && is_own_type(TermManager::get_type(t->child(0))));
}

bool IteFilter::operator()(const Term_* t)
{
    if (!tm_->is_term_ite(t) || !is_own_type(TermManager::get_type(t))) {
        return false;
    }
    const Term_* condition = t->child(0);
    good_.grow(t->get_id() + 1);
    bad_.grow(t->get_id() + 1);
    stack_.assign(1, condition);
    while (!stack_.empty()) {
        const Term_* x = stack_.back();
        const uint64_t id = x->get_id(); // below that of t
        if (good_.get(id) || bad_.get(id)) {
            stack_.pop_back();
            continue;
        }
        if (!tm_->is_connective(x->get_symbol())) {
            (is_good_atom(x) ? good_ : bad_).set(id);
            stack_.pop_back();
            continue;
        }
        const size_t before = stack_.size();
        bool all_good = true;
        for (const Term_* c : x->children()) {
            if (!good_.get(c->get_id()) && !bad_.get(c->get_id())) {
                stack_.push_back(c);
            }
            all_good = all_good && good_.get(c->get_id());
        }
        if (stack_.size() == before) {
            (all_good ? good_ : bad_).set(id);
            stack_.pop_back();
        }
    }
    return good_.get(condition->get_id());
}

} // namespace tarq
