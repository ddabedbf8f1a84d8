#include "encoding/polaritychecker.h"

namespace tarq {

namespace {

constexpr uint8_t NEGATIVE = 1;
constexpr uint8_t POSITIVE = 2;
constexpr uint8_t BOTH = 3;

uint8_t flip(uint8_t polarity)
{
    return polarity == BOTH ? BOTH : static_cast<uint8_t>(BOTH - polarity);
}

} // namespace

int PolarityChecker::operator()(const Term_* t) const
{
    if (tm_->get_type(t) != tm_->get_bool_type()) {
        throw make_error<error>("polarity information is meaningful only for terms of type Bool");
    }
    size_t id = t->get_id();
    return id < polarity_.size() ? polarity_[id] : 0;
}

/// Adds one occurrence; false when it changes nothing.
bool PolarityChecker::merge(const Term_* t, uint8_t polarity)
{
    size_t id = t->get_id();
    if (id >= polarity_.size()) {
        polarity_.resize(id + 1 > 2 * polarity_.size() ? id + 1 : 2 * polarity_.size());
    }
    // The codes are the subsets of {negative, positive}, so two occurrences join by `or`.
    uint8_t old = polarity_[id];
    uint8_t merged = static_cast<uint8_t>(old | polarity);
    if (merged == old) {
        return false;
    }
    if (num_points_ > 0) {
        trail_.push_back(Change{t, old});
    }
    polarity_[id] = merged;
    return true;
}

void PolarityChecker::add_formula(const Term_* f)
{
    if (!enabled_) {
        return;
    }
    stack_.assign(1, {f, POSITIVE});
    while (!stack_.empty()) {
        auto [x, polarity] = stack_.back();
        stack_.pop_back();
        if (!merge(x, polarity)) {
            continue;
        }
        if (tm_->is_and(x) || tm_->is_or(x)) {
            stack_.emplace_back(x->child(0), polarity);
            stack_.emplace_back(x->child(1), polarity);
        } else if (tm_->is_not(x)) {
            stack_.emplace_back(x->child(0), flip(polarity));
        } else if (tm_->is_iff(x)) {
            stack_.emplace_back(x->child(0), BOTH);
            stack_.emplace_back(x->child(1), BOTH);
        }
    }
}

void PolarityChecker::add_literal(const Term_* t, bool negated)
{
    if (enabled_) {
        merge(t, negated ? NEGATIVE : POSITIVE);
    }
}

void PolarityChecker::push_backtrack_point()
{
    trail_.push_back(Change{nullptr, 0});
    ++num_points_;
}

void PolarityChecker::pop_backtrack_point()
{
    TARQ_ASSERT(num_points_ > 0);
    while (trail_.back().term) {
        polarity_[trail_.back().term->get_id()] = trail_.back().old_polarity;
        trail_.pop_back();
    }
    trail_.pop_back();
    --num_points_;
}

} // namespace tarq
