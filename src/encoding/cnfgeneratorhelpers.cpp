#include "encoding/cnfgeneratorhelpers.h"

namespace tarq {

bool CnfHelper::check_clause(const Term_* t, ClauseMap& map)
{
    ClauseMap::Entry entry = map.get(t);
    if (entry == ClauseMap::Entry::unknown) {
        bool is_clause = do_check_clause(t, map);
        map.set(t, is_clause);
        return is_clause;
    }
    return entry == ClauseMap::Entry::clause;
}

bool CnfHelper::is_iff_of_literals(const Term_* t) const
{
    return tm_->is_boolean_atom(strip_not(t->child(0))) &&
           tm_->is_boolean_atom(strip_not(t->child(1)));
}

bool CnfHelper::do_check_clause(const Term_* t, const ClauseMap& map)
{
    if (tm_->is_iff(t)) {
        return is_iff_of_literals(t);
    }
    if (tm_->is_not(t) && tm_->is_iff(t->child(0))) {
        return is_iff_of_literals(t->child(0));
    }
    // The marks carry the sign: a node can be a disjunction in one polarity and not in the other.
    TermMarksCleaner cleaner(marks_);
    signed_stack_.assign(1, {t, true});
    while (!signed_stack_.empty()) {
        auto [x, positive] = signed_stack_.back();
        signed_stack_.pop_back();
        if (tm_->is_not(x)) {
            signed_stack_.emplace_back(x->child(0), !positive);
        } else if (positive ? tm_->is_or(x) : tm_->is_and(x)) {
            // A node known to be a clause needs no second look.
            bool known = positive && map.get(x) == ClauseMap::Entry::clause;
            if (!known && marks_.insert(x, positive)) {
                signed_stack_.emplace_back(x->child(1), positive);
                signed_stack_.emplace_back(x->child(0), positive);
            }
        } else if (!is_atom(x)) {
            // A conjunction, a truth constant, or an `iff`, which is a clause at the root only.
            return false;
        }
    }
    return true;
}

void CnfHelper::find_parents(const Term_* t, ParentCounts& parents, bool add)
{
    int delta = add ? 1 : -1;
    TermMarksCleaner cleaner(marks_);
    stack_.clear();
    if (tm_->is_connective(t->get_symbol())) {
        marks_.insert(t);
        stack_.push_back(t);
    }
    while (!stack_.empty()) {
        const Term_* x = stack_.back();
        stack_.pop_back();
        for (const Term_* c : x->children()) {
            parents.add(c, delta);
            if (tm_->is_connective(c->get_symbol()) && marks_.insert(c)) {
                stack_.push_back(c);
            }
        }
    }
}

} // namespace tarq
