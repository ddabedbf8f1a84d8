// What a theory solver has been told that decides nothing before it is asked.
#pragma once

#include "terms/theorylit.h"
#include "theory/theoryeq.h"

#include <cstddef>
#include <vector>

namespace tarq {

/// The literals and equalities assumed, in the order of arrival, by decision level. Owns copies of
/// the equalities.
class AssumptionTrail {
public:
    AssumptionTrail() = default;
    ~AssumptionTrail() { shrink_to({0, 0}); }
    AssumptionTrail(const AssumptionTrail&) = delete;
    AssumptionTrail& operator=(const AssumptionTrail&) = delete;

    void push(TheoryLit l) { literals_.push_back(l); }
    void push(const TheoryEq& eq) { equalities_.push_back(eq.new_copy()); }
    void new_decision_level() { levels_.push_back({literals_.size(), equalities_.size()}); }
    /// level  not negative; nothing happens if there are not more levels
    void cancel_until(int level)
    {
        const auto kept = static_cast<size_t>(level);
        if (kept < levels_.size()) {
            shrink_to(levels_[kept]);
            levels_.resize(kept);
        }
    }

    const std::vector<TheoryLit>& literals() const { return literals_; }
    const std::vector<TheoryEq*>& equalities() const { return equalities_; }

private:
    struct Mark {
        size_t literals;
        size_t equalities;
    };

    void shrink_to(Mark mark)
    {
        literals_.resize(mark.literals);
        while (equalities_.size() > mark.equalities) {
            equalities_.back()->destroy();
            equalities_.pop_back();
        }
    }

    std::vector<TheoryLit> literals_;
    std::vector<TheoryEq*> equalities_;
    std::vector<Mark> levels_; // lengths of the two when each level began
};

} // namespace tarq
