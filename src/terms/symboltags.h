// The tags of interpreted symbols. Their values are those of the exported enumeration.
#pragma once

namespace tarq {

/// A scope for the enumeration and its text.
struct SymbolTag {
    enum tag : int {
#define TARQ_SYMBOL_TAG(name, value) name = value,
#include "terms/symboltags.def"
#undef TARQ_SYMBOL_TAG
    };

    /// "SymbolTag::" and the name; "SymbolTag::UNKNOWN" for UNKNOWN and any other value. Static.
    static const char* to_str(tag t);
};

} // namespace tarq
