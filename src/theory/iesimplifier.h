// The canonical form of equalities that the theories make among themselves.
#pragma once

#include "terms/termmanager.h"

namespace tarq {

/// The equality of a and b without any rewriting of its sides: true for one term, true or false for
/// two values, else an atom with its sides in a fixed order, which is the order that terms get when
/// they are built with simplification as far as no polynomial is involved.
/// a, b  of related types
const Term_* make_interface_equality(TermManager* tm, const Term_* a, const Term_* b);

} // namespace tarq
