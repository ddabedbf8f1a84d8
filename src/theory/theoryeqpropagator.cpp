#include "theory/theoryeqpropagator.h"

#include "theory/theorysolver.h"

#include <algorithm>

namespace tarq {

TheoryEqPropagator::~TheoryEqPropagator()
{
    for (auto& [sender, eq] : queue_) {
        eq->destroy();
    }
}

void TheoryEqPropagator::subscribe(TheorySolver* solver)
{
    subscribers_.push_back(solver);
}

void TheoryEqPropagator::unsubscribe(TheorySolver* solver)
{
    subscribers_.erase(std::remove(subscribers_.begin(), subscribers_.end(), solver),
                       subscribers_.end());
}

bool TheoryEqPropagator::send(const TheorySolver* sender, TheoryEq* eq)
{
    return std::all_of(subscribers_.begin(), subscribers_.end(),
                       [&](TheorySolver* s) { return s == sender || s->assume(eq); });
}

bool TheoryEqPropagator::propagate(const TheorySolver* sender, TheoryEq* eq)
{
    if (held_ || !queue_.empty()) {
        queue_.emplace_back(sender, eq->new_copy());
        return true;
    }
    return send(sender, eq);
}

bool TheoryEqPropagator::flush()
{
    held_ = false;
    bool result = true;
    // What is propagated meanwhile joins the queue, so that the order stays.
    for (size_t i = 0; i < queue_.size(); ++i) {
        const auto [sender, eq] = queue_[i];
        if (!send(sender, eq)) {
            result = false;
        }
        eq->destroy();
        queue_[i].second = nullptr;
    }
    queue_.clear();
    return result;
}

} // namespace tarq
