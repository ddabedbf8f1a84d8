#include "encoding/nnfgenerator.h"

namespace tarq {

const Term_* NNFGenerator::operator()(const Term_* t)
{
    return run(t, false);
}

const Term_* NNFGenerator::apply_partial(const Term_* t)
{
    return run(t, true);
}

const Term_* NNFGenerator::run(const Term_* t, bool partial)
{
    const Term_* without_iff = elim_iff(t, partial);
    const Term_* result = push_not(without_iff);
    cache_.clear();
    return result;
}

bool NNFGenerator::is_connective(const Term_* t) const
{
    return tm_->is_and(t) || tm_->is_or(t) || tm_->is_not(t) || tm_->is_iff(t);
}

bool NNFGenerator::find(const Term_* t, bool bit, const Term_** out) const
{
    auto it = cache_.find(Key{t, bit});
    if (it == cache_.end()) {
        return false;
    }
    *out = it->second;
    return true;
}

/// Puts (t, bit) on the work stack unless its result is known.
void NNFGenerator::request(const Term_* t, bool bit)
{
    const Term_* known;
    if (!find(t, bit, &known)) {
        stack_.push_back(Key{t, bit});
    }
}

/// Replaces each `iff` by two implications. The bit of a key says that the node is reached from the
/// root through `and`s only. It is part of the key: with `partial` a node may keep its `iff` at the
/// top and lose it elsewhere.
const Term_* NNFGenerator::elim_iff(const Term_* t, bool partial)
{
    cache_.clear();
    stack_.assign(1, Key{t, true});
    while (!stack_.empty()) {
        auto [x, at_top] = stack_.back();
        const Term_* known;
        if (find(x, at_top, &known)) {
            stack_.pop_back();
            continue;
        }
        if (!is_connective(x)) {
            cache_[Key{x, at_top}] = x;
            stack_.pop_back();
            continue;
        }
        size_t before = stack_.size();
        bool arg_at_top = at_top && tm_->is_and(x);
        for (size_t i = x->arity(); i-- > 0;) {
            request(x->child(i), arg_at_top);
        }
        if (stack_.size() == before) {
            const Term_* result = build_elim(x, at_top, partial);
            cache_[Key{x, at_top}] = result;
            stack_.pop_back();
        }
    }
    const Term_* result = nullptr;
    find(t, true, &result);
    return result;
}

const Term_* NNFGenerator::build_elim(const Term_* t, bool at_top, bool partial)
{
    bool arg_at_top = at_top && tm_->is_and(t);
    args_.clear();
    for (size_t i = 0; i < t->arity(); ++i) {
        const Term_* arg = nullptr;
        find(t->child(i), arg_at_top, &arg);
        args_.push_back(arg);
    }
    if (!tm_->is_iff(t)) {
        return tm_->make_term(t->get_symbol(), args_);
    }
    const Term_* a = args_[0];
    const Term_* b = args_[1];
    if (partial && at_top && (tm_->is_constant(a) || tm_->is_constant(b))) {
        return tm_->make_iff(a, b);
    }
    const Term_* not_a = tm_->make_not(a);
    const Term_* not_b = tm_->make_not(b);
    const Term_* forth = tm_->make_or(not_a, b);
    const Term_* back = tm_->make_or(not_b, a);
    return tm_->make_and(forth, back);
}

/// Moves negations down to the atoms. The bit of a key is a pending negation.
const Term_* NNFGenerator::push_not(const Term_* t)
{
    cache_.clear();
    stack_.assign(1, Key{t, false});
    while (!stack_.empty()) {
        auto [x, neg] = stack_.back();
        const Term_* known;
        if (find(x, neg, &known)) {
            stack_.pop_back();
            continue;
        }
        size_t before = stack_.size();
        if (tm_->is_not(x)) {
            request(x->child(0), !neg);
        } else if (tm_->is_iff(x)) {
            // An equivalence is negated by negating one side; both sides would cancel out.
            request(x->child(1), false);
            request(x->child(0), neg);
        } else if (is_connective(x)) {
            request(x->child(1), neg);
            request(x->child(0), neg);
        }
        if (stack_.size() == before) {
            const Term_* result = build_push(x, neg);
            cache_[Key{x, neg}] = result;
            stack_.pop_back();
        }
    }
    const Term_* result = nullptr;
    find(t, false, &result);
    return result;
}

const Term_* NNFGenerator::build_push(const Term_* t, bool neg)
{
    if (!is_connective(t)) {
        return neg ? tm_->make_not(t) : t;
    }
    const Term_* a = nullptr;
    if (tm_->is_not(t)) {
        find(t->child(0), !neg, &a);
        return a;
    }
    bool is_iff = tm_->is_iff(t);
    const Term_* b = nullptr;
    find(t->child(0), neg, &a);
    find(t->child(1), neg && !is_iff, &b);
    if (neg && !is_iff) {
        return tm_->is_and(t) ? tm_->make_or(a, b) : tm_->make_and(a, b);
    }
    args_.assign({a, b});
    return tm_->make_term(t->get_symbol(), args_);
}

} // namespace tarq
