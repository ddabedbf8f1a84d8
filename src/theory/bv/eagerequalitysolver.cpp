#include "theory/bv/eagerequalitysolver.h"

#include "dpll/dpllsolver.h"
#include "terms/termmanager.h"

#include <algorithm>
#include <string>

namespace tarq::bv::eager {

EagerEqualitySolver::~EagerEqualitySolver()
{
    for (TheoryEq* eq : equalities_) {
        eq->destroy();
    }
}

void EagerEqualitySolver::new_decision_level()
{
    ++level_;
    levels_.push_back(equalities_.size());
}

void EagerEqualitySolver::cancel_until(int level)
{
    implied_.clear();
    implied_head_ = 0;
    conflict_ = NO_EQUALITY;
    if (level >= level_) {
        return;
    }
    const size_t kept = levels_[static_cast<size_t>(level)];
    levels_.resize(static_cast<size_t>(level));
    level_ = level;
    while (equalities_.size() > kept) {
        equalities_.back()->destroy();
        equalities_.pop_back();
    }
    // What was found true above the level may be open again.
    while (!verified_.empty() && verified_.back().level > level) {
        todo_.push_back(verified_.back().equality);
        verified_.pop_back();
    }
    std::erase_if(todo_, [kept](uint32_t e) { return e >= kept; });
    std::sort(todo_.begin(), todo_.end());
}

void EagerEqualitySolver::push_backtrack_point()
{
    proxy_marks_.push_back(proxy_trail_.size());
}

void EagerEqualitySolver::pop_backtrack_point()
{
    while (proxy_trail_.size() > proxy_marks_.back()) {
        const auto entry = proxy_of_.find(proxy_trail_.back());
        if (entry->second) {
            reason_of_.erase(entry->second);
        }
        proxy_of_.erase(entry->first);
        proxy_trail_.pop_back();
    }
    proxy_marks_.pop_back();
}

void EagerEqualitySolver::notify_interface_term(const Term_* t)
{
    if (is_own_sort(TermManager::get_type(t))) {
        ++num_interface_terms_;
        make_word(t);
    }
}

void EagerEqualitySolver::retract_interface_term(const Term_* t)
{
    if (is_own_sort(TermManager::get_type(t))) {
        TARQ_ASSERT(num_interface_terms_ > 0);
        --num_interface_terms_;
    }
}

// Theory combination

bool EagerEqualitySolver::assume(TheoryEq* eq)
{
    if (is_own_sort(TermManager::get_type(eq->left))) {
        todo_.push_back(static_cast<uint32_t>(equalities_.size()));
        equalities_.push_back(eq->new_copy());
    }
    return true;
}

bool EagerEqualitySolver::is_relevant(const TheoryEq& eq) const
{
    return has_word(eq.left) || has_word(eq.right);
}

/// A new Boolean constant; its name leads nobody to it.
const Term_* EagerEqualitySolver::make_proxy_constant()
{
    const std::string name = tm_->get_unused_symbol_name(prefix_ + std::to_string(num_proxies_++));
    const Term_* t = tm_->make_constant(tm_->make_symbol(name, tm_->get_bool_type()));
    tm_->remove_symbol(name);
    return t;
}

/// The constant that implies the equality of the sides, made if it is not there; null when the
/// sides differ in a bit.
const Term_* EagerEqualitySolver::proxy_for(const TheoryEq& eq)
{
    const TermPair sides(eq.left, eq.right);
    const auto known = proxy_of_.find(sides);
    if (known != proxy_of_.end()) {
        return known->second;
    }
    const Term_* proxy = make_proxy_constant();
    int var = -1;
    engine_->make_proxy(proxy, &var);
    engine_->set_frozen(var, true);
    engine_->set_decision_var(var, false);
    const BvLit lit = BvLit::from_sat(dpll::Lit(var));
    if (!define_equality(lit, eq.left, eq.right)) {
        proxy = nullptr;
    }
    proxy_of_[sides] = proxy;
    proxy_trail_.push_back(sides);
    return proxy;
}

/// Brings the engine to the equalities that hold. Each is looked at until its proxy is true.
bool EagerEqualitySolver::check(bool)
{
    implied_.clear();
    implied_head_ = 0;
    conflict_ = NO_EQUALITY;
    if (num_interface_terms_ == 0) {
        return true;
    }
    // A new word may link an equality that was passed over, hence the repetition.
    for (bool grown = true; grown;) {
        grown = false;
        size_t kept = 0;
        for (size_t i = 0; i < todo_.size(); ++i) {
            const uint32_t e = todo_[i];
            const TheoryEq& eq = *equalities_[e];
            todo_[kept++] = e;
            if (!is_relevant(eq) || conflict_ != NO_EQUALITY) {
                continue;
            }
            grown = grown || !has_word(eq.left) || !has_word(eq.right);
            const Term_* proxy = proxy_for(eq);
            const lbool value =
                proxy ? engine_->value(engine_->proxy_for_term(proxy)) : lbool(l_False);
            if (value == l_False) {
                conflict_ = e;
                conflict_proxy_ = proxy;
            } else if (value == l_True) {
                verified_.push_back({e, level_});
                --kept;
            } else {
                reason_of_[proxy] = e;
                implied_.push_back(TheoryLit(proxy, false));
            }
        }
        todo_.resize(kept);
        if (conflict_ != NO_EQUALITY) {
            return false;
        }
    }
    return true;
}

void EagerEqualitySolver::get_conflict(std::vector<TheoryLit>& out)
{
    TARQ_ASSERT(conflict_ != NO_EQUALITY);
    equalities_[conflict_]->explain(out);
    if (conflict_proxy_) {
        out.push_back(TheoryLit(conflict_proxy_, true));
    }
    conflict_ = NO_EQUALITY;
}

TheoryLit EagerEqualitySolver::get_next_implied()
{
    return implied_head_ < implied_.size() ? implied_[implied_head_++] : tlit_Undef;
}

bool EagerEqualitySolver::get_explanation(TheoryLit l, bool required, std::vector<TheoryLit>& out)
{
    if (!required && delay_) {
        return false;
    }
    const auto found = reason_of_.find(l.get_term());
    if (found == reason_of_.end()) {
        throw make_error<error>("can't explain ", l.get_term()->to_shallow_str());
    }
    TARQ_ASSERT(found->second < equalities_.size());
    equalities_[found->second]->explain(out);
    return true;
}

} // namespace tarq::bv::eager
