// A second congruence closure, as simple as possible, by which conflicts and explanations of the
// first are checked in debug builds and tests.
#pragma once

#include "terms/termmanager.h"
#include "terms/theorylit.h"

#include <vector>

namespace tarq::euf {

/// Whether the conjunction of the literals contradicts equality with uninterpreted functions, where
/// numbers differ from each other and the negation of l <= r says that l and r differ and, if both
/// equal numbers, that l is larger.
/// Complete for these. Quadratic in the number of subterms; iterative.
bool is_inconsistent(TermManager* tm, const std::vector<TheoryLit>& lits);

/// Whether the literals imply the equality of a and b.
bool implies_equality(TermManager* tm, const std::vector<TheoryLit>& lits, const Term_* a,
                      const Term_* b);

} // namespace tarq::euf
