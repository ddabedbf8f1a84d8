// Terms read as linear polynomials, and polynomials written as terms.
#pragma once

#include "terms/numbers.h"
#include "terms/term.h"

#include <vector>

namespace tarq {

class TermManager;

/// c1*x1 + ... + cn*xn + constant. vars ascends by term id and no coefficient is 0; the variables
/// are terms that are neither sums, nor numbers, nor products with a number.
struct Polynomial {
    TermVector vars;
    std::vector<QNumber> coeffs;
    QNumber constant;
    bool all_int = true; // whether all variables have type Int
};

/// Reads a - b as a polynomial.
/// b          null stands for 0
/// normalize  scales by a positive factor, so that the coefficients are coprime integers; a
///            polynomial without variables is left as it is
/// Linear (up to a logarithm) in the number of distinct sums and products, shared or not.
Polynomial poly_norm(TermManager* tm, const Term_* a, const Term_* b, bool normalize);

/// Writes the variable part as a sum nested to the right, c1*x1 + (c2*x2 + ...), each product with
/// its number first and without it for the coefficient 1. The polynomial has at least one variable.
/// Interned as it stands, without simplification.
const Term_* poly_to_term(TermManager* tm, const Polynomial& p);

/// The same with the constant, if it is not 0, as the first summand; any polynomial will do.
const Term_* poly_to_term_with_constant(TermManager* tm, const Polynomial& p);

} // namespace tarq
