// What is asked of terms by the solvers of floating point.
#pragma once

#include "terms/termmanager.h"

namespace tarq::fp {

/// Whether terms of the type are words of this theory: floats and rounding modes.
inline bool is_fp_sort(const TermManager& tm, const DataType* type)
{
    return tm.is_fp_type(type) || type == tm.get_rounding_type();
}
inline bool is_fp_sorted(const TermManager& tm, const Term_* t)
{
    return is_fp_sort(tm, TermManager::get_type(t));
}

/// Whether the atom is one of floats: a comparison, a class test, or an equality of floats or of
/// rounding modes.
bool should_handle(const TermManager& tm, const Term_* atom);

/// Whether the head of `t` is no operator of floats.
bool is_alien(const TermManager& tm, const Term_* t);

/// The value of an encoded float or rounding mode `t` of `tm`.
/// word  a number of `target`, the manager of words; null if the word of `t` has no bits since no gate
///       depends on it. A constant mode has any value then, other terms have none: null.
const Term_* from_word(TermManager* tm, const Term_* t, const TermManager& target,
                       const Term_* word);

/// Whether bits come in from bit-vectors at the head of `t`, or go out to them. The argument that
/// crosses is the last one.
inline bool converts_from_bv(const TermManager& tm, const Term_* t)
{
    const SymbolTag::tag tag = tm.get_tag(t);
    return tag == SymbolTag::FP_FROM_SBV || tag == SymbolTag::FP_FROM_UBV ||
           tag == SymbolTag::FP_FROM_IEEEBV;
}
inline bool converts_to_bv(const TermManager& tm, const Term_* t)
{
    const SymbolTag::tag tag = tm.get_tag(t);
    return tag == SymbolTag::FP_TO_BV || tag == SymbolTag::FP_AS_IEEEBV;
}

} // namespace tarq::fp
