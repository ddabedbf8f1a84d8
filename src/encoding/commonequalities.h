// Equalities that all cases of an asserted disjunction have in common.
#pragma once

#include "terms/termmanager.h"

namespace tarq {

/// Conjoins to `f` equalities between terms of uninterpreted sorts that follow from it: where every
/// disjunct of a top-level disjunction is a conjunction, and the equalities in each make two terms
/// equal, the two are equal in any case. A search would have to find that out anew in every
/// combination of cases; a chain of n such "diamonds" has 2^n.
/// Returns `f` itself when there is nothing to add. About linear in the size of the disjunctions
/// that qualify.
const Term_* add_common_equalities(TermManager* tm, const Term_* f);

} // namespace tarq
