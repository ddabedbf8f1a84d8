// TheoryEqPropagator: carries equalities that one solver derived to the others.
#pragma once

#include "theory/theoryeq.h"

#include <utility>
#include <vector>

namespace tarq {

class TheorySolver;

/// Hands each equality to all subscribers but its sender, at once or, while held, later in the
/// order of arrival. Borrows the subscribers; owns the copies of what it holds back.
class TheoryEqPropagator {
public:
    TheoryEqPropagator() = default;
    ~TheoryEqPropagator();
    TheoryEqPropagator(const TheoryEqPropagator&) = delete;
    TheoryEqPropagator& operator=(const TheoryEqPropagator&) = delete;

    /// Subscribers are served in the order they came.
    void subscribe(TheorySolver* solver);
    void unsubscribe(TheorySolver* solver);

    /// sender  gets nothing
    /// eq      copied when it has to wait
    /// Returns false when a subscriber found a conflict; the rest is then not told. A subscriber
    /// that says so fails its next check by itself, so the result may be left aside.
    bool propagate(const TheorySolver* sender, TheoryEq* eq);
    /// From now on equalities wait.
    void hold() { held_ = true; }
    /// Ends holding and sends what has waited. Returns false if any subscriber found a conflict.
    bool flush();

private:
    bool send(const TheorySolver* sender, TheoryEq* eq);

    std::vector<TheorySolver*> subscribers_;
    std::vector<std::pair<const TheorySolver*, TheoryEq*>> queue_;
    bool held_ = false;
};

} // namespace tarq
