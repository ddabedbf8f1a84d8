// The table of the symbol families: what indices a family has, and what its symbols apply to.
#pragma once

#include "terms/symboltags.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarq {

class DataType;

/// How the indices of a family give the argument and result types of its symbols. B(w) is the
/// bit-vector type, F(e, m) the float type with exponent width e and mantissa width m, R the
/// rounding mode. The indices are listed in the order in which they stand in SymbolIndices and in
/// the symbol's name.
enum class SymbolShape : uint8_t {
    EQUALITY,       // T: T, T to Bool
    TERM_ITE,       // T: Bool, T, T to T
    QUANTIFIER,     // T: T, Bool to Bool
    ARRAY_READ,     // I, E: Array(I, E), I to E
    ARRAY_WRITE,    // I, E: Array(I, E), I, E to Array(I, E)
    ARRAY_CONST,    // I, E: E to Array(I, E)
    BV_UNARY,       // w: B(w) to B(w)
    BV_BINARY,      // w: B(w), B(w) to B(w)
    BV_COMPARE,     // w: B(w), B(w) to Bool
    BV_COMP,        // w: B(w), B(w) to B(1)
    BV_TO_INT,      // w: B(w) to Int
    INT_TO_BV,      // w: Int to B(w)
    BV_CONCAT,      // w1, w2: B(w1), B(w2) to B(w1 + w2)
    BV_EXTRACT,     // msb, lsb, w: B(w) to B(msb - lsb + 1)
    BV_ROTATE,      // w, amount: B(w) to B(w)
    BV_EXTEND,      // w, amount: B(w) to B(w + amount)
    FP_COMPARE,     // e, m: F, F to Bool
    FP_ARITH,       // e, m: R, F, F to F
    FP_BINARY,      // e, m: F, F to F
    FP_UNARY,       // e, m: F to F
    FP_CLASS,       // e, m: F to Bool
    FP_ROUNDED,     // e, m: R, F to F
    FP_CAST,        // e, m, e2, m2: R, F(e, m) to F(e2, m2)
    FP_FROM_BV,     // w, e, m: R, B(w) to F
    FP_TO_BV,       // e, m, w: R, F to B(w)
    FP_AS_BV,       // e, m: F to B(e + m + 1)
    FP_FROM_IEEEBV, // e, m: B(e + m + 1) to F
};

/// The indices of one symbol: numbers or types, as its family's shape tells; the rest is 0 and
/// null. Widths are in bits.
struct SymbolIndices {
    std::array<uint64_t, 4> n{};
    std::array<const DataType*, 2> types{};

    bool operator==(const SymbolIndices&) const = default;
};

/// One row of the table.
struct SymbolFamily {
    SymbolShape shape;
    SymbolTag::tag tag;
    const char* prefix; // of the symbols' names
};

/// The family of this tag, or null if the tag has fixed symbols only.
const SymbolFamily* find_symbol_family(SymbolTag::tag tag);

/// Number of numeric and of type indices of a shape.
size_t num_number_indices(SymbolShape shape);
size_t num_type_indices(SymbolShape shape);

} // namespace tarq
