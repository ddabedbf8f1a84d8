#include "terms/symbolfamilies.h"

#include "base/assertion.h"

namespace tarq {

namespace {

constexpr size_t NUM_TAGS = static_cast<size_t>(SymbolTag::EXISTS) + 1;

constexpr SymbolFamily FAMILIES[] = {
#define TARQ_FAMILY(shape, name, tag, prefix) {SymbolShape::shape, SymbolTag::tag, prefix},
#include "terms/symbolfamilies.def"
#undef TARQ_FAMILY
};

/// By tag; null for the tags without a row.
constexpr std::array<const SymbolFamily*, NUM_TAGS> FAMILY_OF_TAG = [] {
    std::array<const SymbolFamily*, NUM_TAGS> by_tag{};
    for (const SymbolFamily& f : FAMILIES) {
        by_tag[static_cast<size_t>(f.tag)] = &f;
    }
    return by_tag;
}();

} // namespace

const SymbolFamily* find_symbol_family(SymbolTag::tag tag)
{
    return tag < 0 || static_cast<size_t>(tag) >= NUM_TAGS
               ? nullptr
               : FAMILY_OF_TAG[static_cast<size_t>(tag)];
}

size_t num_number_indices(SymbolShape shape)
{
    switch (shape) {
    case SymbolShape::EQUALITY:
    case SymbolShape::TERM_ITE:
    case SymbolShape::QUANTIFIER:
    case SymbolShape::ARRAY_READ:
    case SymbolShape::ARRAY_WRITE:
    case SymbolShape::ARRAY_CONST:
        return 0;
    case SymbolShape::BV_UNARY:
    case SymbolShape::BV_BINARY:
    case SymbolShape::BV_COMPARE:
    case SymbolShape::BV_COMP:
    case SymbolShape::BV_TO_INT:
    case SymbolShape::INT_TO_BV:
        return 1;
    case SymbolShape::BV_CONCAT:
    case SymbolShape::BV_ROTATE:
    case SymbolShape::BV_EXTEND:
    case SymbolShape::FP_COMPARE:
    case SymbolShape::FP_ARITH:
    case SymbolShape::FP_BINARY:
    case SymbolShape::FP_UNARY:
    case SymbolShape::FP_CLASS:
    case SymbolShape::FP_ROUNDED:
    case SymbolShape::FP_AS_BV:
    case SymbolShape::FP_FROM_IEEEBV:
        return 2;
    case SymbolShape::BV_EXTRACT:
    case SymbolShape::FP_FROM_BV:
    case SymbolShape::FP_TO_BV:
        return 3;
    case SymbolShape::FP_CAST:
        return 4;
    }
    TARQ_UNREACHABLE(shape);
}

size_t num_type_indices(SymbolShape shape)
{
    switch (shape) {
    case SymbolShape::EQUALITY:
    case SymbolShape::TERM_ITE:
    case SymbolShape::QUANTIFIER:
        return 1;
    case SymbolShape::ARRAY_READ:
    case SymbolShape::ARRAY_WRITE:
    case SymbolShape::ARRAY_CONST:
        return 2;
    default:
        return 0;
    }
}

} // namespace tarq
