// BvIteFilter: which term-ITEs the bit-vector solver takes as they stand.
#pragma once

#include "base/bitvector.h"
#include "terms/termmanager.h"

namespace tarq {

/// A term-ITE over bit-vectors can be a row of multiplexers when its condition is a Boolean
/// combination of Boolean constants and comparisons of bit-vectors. Then it needs no axioms: who
/// defines term-ITEs and who builds circuits ask the same question here. Borrows the term manager.
class BvIteFilter {
public:
    explicit BvIteFilter(TermManager* tm) : tm_(tm) {}

    /// Linear in the part of the condition that no earlier call has seen.
    bool operator()(const Term_* t);

private:
    bool is_good_atom(const Term_* t) const;

    TermManager* tm_;
    BitVector good_; // by term id: Boolean terms known to be such combinations
    BitVector bad_;
    TermVector stack_;
};

} // namespace tarq
