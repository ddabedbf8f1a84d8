// The configuration text that is built into the library.
#pragma once

namespace tarq {

/// Pieces of one configuration text, to be joined in order; the last entry is null. Sections named
/// after logics would hold what suits a logic; there are none, so all logics get the defaults.
extern const char* const tarq_default_config[];

} // namespace tarq
