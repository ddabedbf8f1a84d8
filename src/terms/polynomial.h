// Terms read as linear polynomials, and polynomials written as terms.
#pragma once

#include "terms/numbers.h"
#include "terms/term.h"

#include <vector>

namespace tarq {

class TermManager;

/// c1*x1 + ... + cn*xn + constant. vars ascends by term id and no coefficient is 0; the variables
/// are terms that are neither sums, nor numbers, nor products with a number. An object that is read
/// into again and again allocates nothing after a while.
struct Polynomial {
    TermVector vars;
    std::vector<QNumber> coeffs;
    /// For each variable the term `coefficient * variable` in its usual form (the bare variable for
    /// the coefficient 1), or null if it is not known yet. Whoever changes a coefficient clears it.
    TermVector products;
    QNumber constant;
    bool all_int = true; // whether all variables have type Int

    void clear();
    void negate_coeffs();

    /// A part still to be read: factor * term, which is the term `product` unless that is null.
    struct Part {
        const Term_* term;
        const Term_* product;
        QNumber factor;
    };
    std::vector<Part> parts; // of poly_norm; empty between calls
};

/// Reads a - b as a polynomial into `p`, whatever it held.
/// b          null stands for 0
/// normalize  scales by a positive factor, so that the coefficients are coprime integers; a
///            polynomial without variables is left as it is
/// Linear (up to a logarithm) in the number of distinct sums and products, shared or not.
void poly_norm(TermManager* tm, const Term_* a, const Term_* b, bool normalize, Polynomial* p);

/// Writes the variable part as a sum nested to the right, c1*x1 + (c2*x2 + ...), each product with
/// its number first and without it for the coefficient 1. The polynomial has at least one variable.
/// Interned as it stands, without simplification. Fills in `products`.
const Term_* poly_to_term(TermManager* tm, Polynomial& p);

/// The same with the constant, if it is not 0, as the first summand; any polynomial will do.
const Term_* poly_to_term_with_constant(TermManager* tm, Polynomial& p);

} // namespace tarq
