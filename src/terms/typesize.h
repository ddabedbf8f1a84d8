// The number of values of a type.
#pragma once

#include "terms/numbers.h"
#include "terms/termmanager.h"

namespace tarq {

/// How many values a type has, arrays over finite types included; 0 when there are infinitely many,
/// or so many that a formula can't name them all. All NaNs count as one value.
QNumber num_values(const TermManager* tm, const DataType* type);

} // namespace tarq
