// FpBvDpllCombination: the link between the solvers of floats and of bit-vectors when both put their
// bits into the main SAT engine.
#pragma once

#include "base/bitvector.h"
#include "base/hashmap.h"
#include "terms/termmanager.h"
#include "theory/bv/fpbvcombination.h"

#include <vector>

namespace tarq {

/// Remembers the bits of the terms that cross from one theory into the other.
///
/// Life cycle: made before the solvers, which are then set as listeners and live no longer than
/// the link is used.
class FpBvDpllCombination : public FpBvCombination {
public:
    /// enabled  false: every term is refused
    FpBvDpllCombination(const TermManager* tm, bool enabled) : tm_(tm), enabled_(enabled) {}

    void set_fp_listener(FpBvCombListener* listener) { fp_ = listener; }
    void set_bv_listener(FpBvCombListener* listener) { bv_ = listener; }

    void tell_term(const Term_* t) override;
    void tell_subterms(const Term_* t) override;
    bool get_bits(const Term_* t, std::vector<bv::BvLit>* out) override;
    void push_backtrack_point() override { marks_.push_back({told_.size(), walked_list_.size()}); }
    void pop_backtrack_point() override;

private:
    struct Mark {
        size_t told;
        size_t walked;
    };

    bool is_walked(const Term_* t) const { return walked_.get(t->get_id()); }

    const TermManager* tm_;
    bool enabled_;
    FpBvCombListener* fp_ = nullptr;
    FpBvCombListener* bv_ = nullptr;
    hsh::HashMap<const Term_*, std::vector<bv::BvLit>> bits_;
    TermVector told_;  // its keys in the order of telling
    BitVector walked_; // by term id: terms with nothing untold at or below them
    TermVector walked_list_;
    std::vector<Mark> marks_;
};

} // namespace tarq
