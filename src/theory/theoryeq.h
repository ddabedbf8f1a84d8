// TheoryEq: the message that two terms are equal.
#pragma once

#include "terms/theorylit.h"

#include <string>
#include <vector>

namespace tarq {

/// Announces an equality that one solver derived to the others. The sender's subclass knows how to
/// explain it.
class TheoryEq {
public:
    /// The ends are put in the order of their ids.
    TheoryEq(const Term_* a, const Term_* b)
        : left(a->get_id() <= b->get_id() ? a : b), right(a->get_id() <= b->get_id() ? b : a)
    {
    }
    virtual ~TheoryEq() = default;

    /// Appends literals that imply the equality, while it holds. Returns false when there is no
    /// explanation, as for an equality that nobody derived.
    virtual bool explain(std::vector<TheoryLit>& reasons);
    /// A heap copy that lives on when the sender's stack frame is gone; given back to destroy().
    virtual TheoryEq* new_copy() const;
    virtual void destroy();
    std::string to_str() const;

    const Term_* left;  // the lower id
    const Term_* right; // the higher id

protected:
    TheoryEq(const TheoryEq&) = default;
};

} // namespace tarq
