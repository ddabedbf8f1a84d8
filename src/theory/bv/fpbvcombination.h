// The link between the floating-point and the bit-vector solver.
#pragma once

#include "base/exception.h"
#include "theory/bv/bvlit.h"

#include <vector>

namespace tarq {

class Term_;

/// Gives each of the two solvers the bits that the other one has for its terms, in the same SAT
/// engine.
class FpBvCombination {
public:
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    virtual ~FpBvCombination() = default;

    /// Has the solver of a float, a rounding mode or a bit-vector make its bits. Nothing for a term
    /// that was told before.
    /// throws  error "FP<->BV combination unsupported by the current configuration"
    virtual void tell_term(const Term_* t) = 0;
    /// Tells all terms at and below `t` at which one theory stands below the other, the innermost
    /// first. Who converts `t` afterwards meets told terms only, and conversions need not nest.
    virtual void tell_subterms(const Term_*) {}
    /// The bits of a told term: of a float the IEEE layout, fraction lowest; of a rounding mode
    /// two. Returns false for a term that is not known.
    virtual bool get_bits(const Term_* t, std::vector<bv::BvLit>* out) = 0;

    virtual void push_backtrack_point() {}
    /// Forgets the terms told since the newest point.
    virtual void pop_backtrack_point() {}
};

/// A solver's side of the link.
class FpBvCombListener {
public:
    virtual ~FpBvCombListener() = default;

    /// Borrows the link.
    virtual void set_fp_bv_combination(FpBvCombination* link) = 0;
    /// Makes bits for a term of the solver's sorts.
    virtual void fp_bv_comb_notify_tell(const Term_* t) = 0;
    /// All bits of a term that was told. Returns false for a term that was not.
    virtual bool fp_bv_comb_get_bits(const Term_* t, std::vector<bv::BvLit>* bits) = 0;
};

} // namespace tarq
