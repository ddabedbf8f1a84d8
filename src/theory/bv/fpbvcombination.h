// FpBvCombination: what bit-blasting asks of the floating-point side.
#pragma once

#include "theory/bv/bvlit.h"

#include <vector>

namespace tarq {

class Term_;

/// Gives the bits that the floating-point solver has for its terms, in the same SAT engine.
class FpBvCombination {
public:
    virtual ~FpBvCombination() = default;

    /// Tells the other side of a float or rounding-mode term that bit-vectors depend on.
    virtual void tell_term(const Term_* t) = 0;
    /// The bits of a told term: of a float the IEEE layout, fraction lowest; of a rounding mode
    /// two. Returns false for a term that is not known.
    virtual bool get_bits(const Term_* t, std::vector<bv::BvLit>* out) = 0;
};

} // namespace tarq
