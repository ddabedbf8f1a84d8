// Values of terms after a satisfiable check.
#include "theory/equalityclasses.h"
#include "theory/theorymanager.h"

namespace tarq {

void TheoryManager::build_model()
{
    do_build_model();
}

void TheoryManager::do_build_model()
{
    if (classes_) {
        classes_->build_model(interface_terms_);
    }
    for (size_t i : active_) {
        solvers_[i]->build_model();
    }
}

bool TheoryManager::build_candidate_model(SolverIndex asker)
{
    for (size_t i : active_) {
        if (i < asker && solvers_[i]->has_lemmas()) {
            return false;
        }
    }
    if (classes_) {
        classes_->build_model(interface_terms_);
    }
    for (size_t i : active_) {
        if (i < asker) {
            solvers_[i]->build_model();
        }
    }
    return true;
}

/// Which groups of solvers have a say in the value of a term. Of an uninterpreted number that no
/// operation of another theory is applied to, the other solver knows equalities at most, and EUF
/// knows them too; the value that it happens to hold may be that of a term which EUF takes for
/// different. Of other terms everybody may be asked: terms of finite types are shared wherever this
/// could matter.
unsigned TheoryManager::model_value_mask(const Term_* t) const
{
    if (!tm_->is_arith_type(TermManager::get_type(t)) ||
        (tm_->is_interpreted(t) && !tm_->is_term_ite(t))) {
        return 3;
    }
    const auto it = term_groups_.find(t);
    if (it != term_groups_.end()) {
        return it->second.mask;
    }
    return interface_terms_.contains(t) ? 3 : 0;
}

/// What the solvers other than EUF say of a term; null if none of them has a say.
const Term_* TheoryManager::do_get_model_value(const Term_* t)
{
    const unsigned mask = classes_ ? model_value_mask(t) : 3;
    const Term_* value = nullptr;
    for (size_t i : active_) {
        if (i != EUF && (mask >> (solvers_[i]->is_euf_extension() ? 0 : 1) & 1)) {
            const Term_* v = solvers_[i]->get_model_value(t);
            if (v) {
                value = v;
            }
        }
    }
    return value;
}

const Term_* TheoryManager::get_model_value(const Term_* t)
{
    if (!classes_) {
        return do_get_model_value(t);
    }
    const Term_* own = solvers_[EUF]->get_model_value(t);
    if (config_.interface_eq_policy == 3) {
        const Term_* value = do_get_model_value(t);
        return value ? value : own;
    }
    const Term_* e = own ? own : t;
    if (tm_->is_number(e)) {
        return e;
    }
    if (const Term_* value = do_get_model_value(e)) {
        return value;
    }
    TermVector members;
    classes_->get_model_congruence_class(e, members);
    for (const Term_* m : members) {
        if (const Term_* value = do_get_model_value(m)) {
            return value;
        }
    }
    return own;
}

} // namespace tarq
