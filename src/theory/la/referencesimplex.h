// A second simplex, as simple as possible, by which conflicts and implications of the first are
// checked in debug builds and tests.
#pragma once

#include "theory/la/dnumber.h"
#include "theory/la/equation.h"

#include <vector>

namespace tarq::la {

/// lower <= form <= upper, where the form's constant does not count, and form != each of `holes`.
struct ReferenceRange {
    Equation form;
    DNumber lower = DNumber::minus_inf;
    DNumber upper = DNumber::plus_inf;
    std::vector<DNumber> holes;
};

/// Whether rational values satisfy all ranges. Dense and with the least-index rule (Bland, New
/// finite pivoting rules for the simplex method, 1977): for tens of ranges.
bool is_satisfiable(std::vector<ReferenceRange> ranges);

} // namespace tarq::la
