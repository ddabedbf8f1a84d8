// arr::Solver: the axioms of arrays, instantiated on the classes of the congruence closure.
#pragma once

#include "theory/arr/arrsolverbase.h"

namespace tarq::arr {

/// The lazy procedure: indices and elements are the same when the closure has them in one class.
///
/// Each read travels on its own to all classes that it is visible in. Where it meets a read at its
/// own index with another value, or a constant array with another element, the way it came makes a
/// clause. Whether indices of two classes have one value in another theory is left to the equalities
/// that the manager makes.
class Solver : public SolverBase {
public:
    using SolverBase::SolverBase;

    void check() override;

private:
    const Term_* key_of(const Term_* t) override { return representative(t); }
    bool are_apart(const Read& a, const Read& b) override;
    void make_row_lemmas();
    bool check_read(const Read& read);
};

} // namespace tarq::arr
