#include "terms/symboltags.h"

namespace tarq {

const char* SymbolTag::to_str(tag t)
{
    switch (t) {
#define TARQ_SYMBOL_TAG(name, value)                                                               \
    case name:                                                                                     \
        return "SymbolTag::" #name;
#include "terms/symboltags.def"
#undef TARQ_SYMBOL_TAG
    }
    return "SymbolTag::UNKNOWN";
}

} // namespace tarq
