#include "theory/checkedtheorysolver.h"

#include "base/assertion.h"

namespace tarq {

CheckedTheorySolver::CheckedTheorySolver(TermManager* tm, std::unique_ptr<TheorySolver> solver,
                                         bool retracts_all)
    : TheorySolver(tm), solver_(std::move(solver)), retracts_all_(retracts_all)
{
}

CheckedTheorySolver::~CheckedTheorySolver() = default;

TellAtomResult CheckedTheorySolver::tell_atom(const Term_* atom)
{
    TARQ_ASSERT(!is_told(atom));
    const TellAtomResult result = solver_->tell_atom(atom);
    interested_[atom] = result.interested;
    if (result.interested || retracts_all_) {
        told_.push_back(atom);
    }
    return result;
}

/// What a solver is not interested in leaves without notice, so such an atom may come again.
void CheckedTheorySolver::retract_atom(const Term_* atom)
{
    TARQ_ASSERT(!told_.empty() && told_.back() == atom);
    TARQ_ASSERT(points_.empty() || told_.size() > points_.back());
    told_.pop_back();
    interested_.erase(atom);
    solver_->retract_atom(atom);
}

void CheckedTheorySolver::new_decision_level()
{
    levels_.push_back(assumed_.size());
    solver_->new_decision_level();
}

void CheckedTheorySolver::cancel_until(int level)
{
    TARQ_ASSERT(level >= 0);
    in_conflict_ = false;
    has_abstract_model_ = false;
    const auto target = static_cast<size_t>(level);
    if (target < levels_.size()) {
        while (assumed_.size() > levels_[target]) {
            assumed_set_.erase(assumed_.back());
            assumed_.pop_back();
        }
        levels_.resize(target);
    }
    solver_->cancel_until(level);
}

void CheckedTheorySolver::push_backtrack_point()
{
    points_.push_back(told_.size());
    solver_->push_backtrack_point();
}

void CheckedTheorySolver::pop_backtrack_point()
{
    TARQ_ASSERT(!points_.empty() && points_.back() == told_.size());
    points_.pop_back();
    for (auto it = interested_.begin(); it != interested_.end();) {
        if (!it->second && !retracts_all_) {
            it = interested_.erase(it);
        } else {
            ++it;
        }
    }
    solver_->pop_backtrack_point();
}

bool CheckedTheorySolver::assume(TheoryLit l)
{
    TARQ_ASSERT(is_told(l.get_term()) && interested_[l.get_term()]);
    TARQ_ASSERT(!in_conflict_);
    TARQ_ASSERT(!assumed_set_.contains(~l));
    has_abstract_model_ = false;
    if (assumed_set_.insert(l).second) {
        assumed_.push_back(l);
    }
    in_conflict_ = !solver_->assume(l);
    return !in_conflict_;
}

/// Equalities come between any two calls, also in the conflict of another solver.
bool CheckedTheorySolver::assume(TheoryEq* eq)
{
    TARQ_ASSERT(eq->left->get_id() < eq->right->get_id());
    return solver_->assume(eq);
}

bool CheckedTheorySolver::check(bool approx)
{
    TARQ_ASSERT(!in_conflict_);
    in_conflict_ = !solver_->check(approx);
    return !in_conflict_;
}

void CheckedTheorySolver::get_conflict(std::vector<TheoryLit>& out)
{
    TARQ_ASSERT(in_conflict_);
    solver_->get_conflict(out);
}

TheoryLit CheckedTheorySolver::get_next_implied()
{
    const TheoryLit l = solver_->get_next_implied();
    TARQ_ASSERT(l == tlit_Undef || is_told(l.get_term()));
    return l;
}

bool CheckedTheorySolver::get_explanation(TheoryLit l, bool required, std::vector<TheoryLit>& out)
{
    [[maybe_unused]] const size_t size = out.size();
    const bool result = solver_->get_explanation(l, required, out);
    TARQ_ASSERT(result || (!required && out.size() == size));
    return result;
}

bool CheckedTheorySolver::has_lemmas()
{
    lemma_announced_ = solver_->has_lemmas();
    return lemma_announced_;
}

LemmaInfo CheckedTheorySolver::get_lemma(std::vector<TheoryLit>& clause)
{
    TARQ_ASSERT(lemma_announced_);
    lemma_announced_ = false;
    const LemmaInfo info = solver_->get_lemma(clause);
    TARQ_ASSERT(!(info.flags & LEMMA_HAS_DEP) == !info.dep_atom);
    for ([[maybe_unused]] TheoryLit l : clause) {
        TARQ_ASSERT(tm_->is_boolean_atom(l.get_term()));
    }
    if (info.id) {
        [[maybe_unused]] const bool fresh =
            lemmas_.insert(reinterpret_cast<uintptr_t>(info.id)).second;
        TARQ_ASSERT(fresh);
    }
    return info;
}

void CheckedTheorySolver::retract_lemma(void* id)
{
    [[maybe_unused]] const auto it = lemmas_.find(reinterpret_cast<uintptr_t>(id));
    TARQ_ASSERT(it != lemmas_.end());
    lemmas_.erase(it);
    solver_->retract_lemma(id);
}

void CheckedTheorySolver::build_model()
{
    TARQ_ASSERT(!in_conflict_);
    solver_->build_model();
}

const Term_* CheckedTheorySolver::get_model_value(const Term_* t)
{
    return solver_->get_model_value(t);
}

void CheckedTheorySolver::build_abstract_model()
{
    TARQ_ASSERT(!in_conflict_);
    has_abstract_model_ = true;
    solver_->build_abstract_model();
}

lbool CheckedTheorySolver::equal_in_model(const Term_* a, const Term_* b)
{
    TARQ_ASSERT(has_abstract_model_);
    return solver_->equal_in_model(a, b);
}

void CheckedTheorySolver::notify_interface_term(const Term_* t)
{
    [[maybe_unused]] const bool fresh = interface_terms_.insert(t).second;
    TARQ_ASSERT(fresh);
    solver_->notify_interface_term(t);
}

void CheckedTheorySolver::retract_interface_term(const Term_* t)
{
    [[maybe_unused]] const size_t erased = interface_terms_.erase(t);
    TARQ_ASSERT(erased == 1);
    solver_->retract_interface_term(t);
}

} // namespace tarq
