// How many values a type has, and which.
#pragma once

#include "terms/numbers.h"
#include "terms/termmanager.h"

namespace tarq {

/// How many values a type has, arrays over finite types included; 0 when there are infinitely many,
/// or so many that a formula can't name them all. All NaNs count as one value.
QNumber num_values(const TermManager* tm, const DataType* type);

/// The values of a type that has finitely many, in the order of their ids. Arrays are writes to a
/// constant array, one for each index that holds another element.
TermVector list_values(TermManager* tm, const DataType* type);

} // namespace tarq
