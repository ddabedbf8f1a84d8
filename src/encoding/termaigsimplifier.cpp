#include "encoding/termaigsimplifier.h"

namespace tarq {

TermAigSimplifier::TermAigSimplifier(TermManager* tm, AigManager* aigs)
    : tm_(tm), aigs_(aigs), term_of_var_(1, nullptr)
{
    if (!aigs_) {
        own_aigs_ = std::make_unique<AigManager>();
        aigs_ = own_aigs_.get();
    }
}

Aig TermAigSimplifier::aig_var(const Term_* t)
{
    int& var = var_of_term_[t];
    if (var == 0) {
        var = static_cast<int>(term_of_var_.size());
        term_of_var_.push_back(t);
    }
    return aigs_->aig_var(var);
}

bool TermAigSimplifier::push_arguments(const Term_* t)
{
    const size_t before = term_stack_.size();
    if (tm_->is_connective(t->get_symbol())) {
        for (size_t i = t->arity(); i-- > 0;) { // so that the first argument comes first
            if (aig_of_term_.find(t->child(i)) == aig_of_term_.end()) {
                term_stack_.push_back(t->child(i));
            }
        }
    }
    return term_stack_.size() != before;
}

Aig TermAigSimplifier::translate(const Term_* t)
{
    if (tm_->is_true(t) || tm_->is_false(t)) {
        return tm_->is_true(t) ? aigs_->aig_true() : aigs_->aig_false();
    }
    if (tm_->is_not(t)) {
        return ~get(t->child(0));
    }
    if (tm_->is_and(t)) {
        return aigs_->aig_and(get(t->child(0)), get(t->child(1)));
    }
    if (tm_->is_or(t)) {
        return aigs_->aig_or(get(t->child(0)), get(t->child(1)));
    }
    if (tm_->is_iff(t)) {
        return aigs_->aig_iff(get(t->child(0)), get(t->child(1)));
    }
    return aig_var(t);
}

Aig TermAigSimplifier::term2aig(const Term_* t)
{
    term_stack_.assign(1, t);
    while (!term_stack_.empty()) {
        const Term_* x = term_stack_.back();
        if (aig_of_term_.find(x) != aig_of_term_.end()) {
            term_stack_.pop_back();
        } else if (!push_arguments(x)) {
            const Aig a = translate(x);
            aig_of_term_[x] = a;
            term_stack_.pop_back();
        }
    }
    return get(t);
}

/// The term of a handle whose inputs have theirs, for the signs in which a parent wants them.
const Term_* TermAigSimplifier::translate(Aig a)
{
    if (aigs_->is_constant(a)) {
        return tm_->make_bool(!a.is_negated());
    }
    if (!aigs_->is_and(a)) {
        const Term_* t = aig_term(a);
        return a.is_negated() ? tm_->make_not(t) : t;
    }
    const Aig l = aigs_->left(a);
    const Aig r = aigs_->right(a);
    if (l.is_negated() && r.is_negated()) {
        const Term_* t = tm_->make_or(term_of_aig_[(~l).word()], term_of_aig_[(~r).word()]);
        return a.is_negated() ? t : tm_->make_not(t);
    }
    const Term_* t = tm_->make_and(term_of_aig_[l.word()], term_of_aig_[r.word()]);
    return a.is_negated() ? tm_->make_not(t) : t;
}

const Term_* TermAigSimplifier::aig2term(Aig a)
{
    term_of_aig_.resize(aigs_->num_ids() * 2, nullptr);
    aig_stack_.assign(1, a);
    while (!aig_stack_.empty()) {
        const Aig x = aig_stack_.back();
        if (term_of_aig_[x.word()]) {
            aig_stack_.pop_back();
            continue;
        }
        const size_t before = aig_stack_.size();
        if (aigs_->is_and(x)) {
            Aig l = aigs_->left(x);
            Aig r = aigs_->right(x);
            if (l.is_negated() && r.is_negated()) {
                l = ~l;
                r = ~r;
            }
            for (const Aig in : {l, r}) {
                if (!term_of_aig_[in.word()]) {
                    aig_stack_.push_back(in);
                }
            }
        }
        if (aig_stack_.size() == before) {
            const Term_* t = translate(x);
            term_of_aig_[x.word()] = t;
            aig_stack_.pop_back();
        }
    }
    return term_of_aig_[a.word()];
}

} // namespace tarq
