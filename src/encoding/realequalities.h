// Equalities of reals as pairs of inequalities.
#pragma once

#include "terms/termmanager.h"

namespace tarq {

/// `a <= b and b <= a` for an equality of reals a = b, as plain terms; null for any other term.
const Term_* as_inequalities(TermManager* tm, const Term_* t);

/// `f` with its equalities of reals replaced by what as_inequalities gives; the connectives above
/// them stay as they are, and what is below other atoms is not looked at.
///
/// Where nobody but linear arithmetic looks at the equalities this pays: a conflict then names the
/// side of an equality that it needs, so that what is learnt from it also holds for others. A clause
/// about x >= 5 excludes x = 7, one about x = 5 does not.
///
/// Returns `f` itself when it has no such equality. Linear in the connectives of `f`.
const Term_* split_real_equalities(TermManager* tm, const Term_* f);

} // namespace tarq
