// The families of construction-time simplifications, one source each, and what they share.
#pragma once

#include "terms/term.h"

namespace tarq {

class StdTermSimplifier;
class TermManager;

namespace termsimpl {

/// Sums, products, quotients, floor, powers, atoms, congruences, uninterpreted applications.
void register_arith_simplifications(StdTermSimplifier* s);
/// Reads and writes of arrays.
void register_array_simplifications(StdTermSimplifier* s);
/// Folding of bit-vector operators and of the conversions between bit-vectors and integers.
void register_bv_simplifications(StdTermSimplifier* s);
/// Folding of floating-point operators and of the conversions from and to bit-vectors.
void register_fp_simplifications(StdTermSimplifier* s);

/// An equality of other types than Int and Real; `symbol` is its equality symbol.
const Term_* simplify_generic_equality(TermManager* tm, const Symbol* symbol, const Term_* a,
                                       const Term_* b);

/// The application with each sum or product among the arguments in its polynomial form.
const Term_* make_with_linear_arguments(TermManager* tm, const Symbol* symbol, TermArgs args);

/// Whether `t` is a value: true, false, a number of any kind, a rounding mode, or an array made
/// of a constant array and writes whose default, indices and elements are values.
/// permissive  whether constants whose name begins with "@" count as well
bool is_value(TermManager* tm, const Term_* t, bool permissive);

} // namespace termsimpl

} // namespace tarq
