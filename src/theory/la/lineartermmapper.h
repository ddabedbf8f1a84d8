// LinearTermMapper: terms as linear forms, and the numbers of variables and constraints.
#pragma once

#include "base/exception.h"
#include "base/hashmap.h"
#include "terms/polynomial.h"
#include "terms/theorylit.h"
#include "theory/la/linearterm.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarq {
class TermManager;
}

namespace tarq::la {

/// Hands out variables, for terms and for rows, and constraint ids. Numbers start at 1; freed ones
/// are used again, the last freed first. A variable is counted by its uses, and is free again with
/// the last one.
class LinearTermMapper {
public:
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    /// tm  borrowed
    explicit LinearTermMapper(TermManager* tm) : tm_(tm) {}
    LinearTermMapper(const LinearTermMapper&) = delete;
    LinearTermMapper& operator=(const LinearTermMapper&) = delete;

    // Terms as forms. Sums and products with numbers are taken apart; any other term is a variable.

    /// Reads an atom (equality or less-or-equal over numbers), whose terms get variables. The sum
    /// has coprime integer coefficients. Over Int alone a strict relation becomes a weak one, and
    /// the constant is rounded towards the inside.
    /// throws  error "unsupported symbol: " and the symbol's name
    void make_linear(const Term_* atom, LinearTerm* out);
    /// Reads the equality of two numeric terms in the same way.
    void make_linear_equality(const Term_* a, const Term_* b, LinearTerm* out);
    /// Reads a numeric term as sum - constant, unscaled, its terms getting variables.
    void make_linear_term(const Term_* t, LinearTerm* out);
    /// Reads a - b, unscaled, as a form with constant, making no variables.
    /// b        null stands for 0
    /// Returns false when some term has no variable.
    bool get_linear(const Term_* a, const Term_* b, Equation* out);

    // Variables.

    /// The variable of a term; with `lookup_only` 0 if there is none, else a new one.
    int variable(const Term_* t, bool lookup_only);
    /// A variable for a row.
    int new_slack();
    /// The term of a variable; null for that of a row or a free one.
    const Term_* term(int var) const { return terms_[idx(var)]; }
    /// Grows whenever a variable of a term comes or goes.
    uint64_t version() const { return version_; }
    /// Above all variables there are.
    int end_of_variables() const { return static_cast<int>(terms_.size()); }
    void use(int var) { ++uses_[idx(var)]; }
    /// Returns true when that was the last use: the caller then frees the variable.
    bool release(int var) { return --uses_[idx(var)] == 0; }
    void free_variable(int var);
    /// Whether some variable stands for a product of two terms.
    bool has_nonlinear_constraints() const { return num_nonlinear_ > 0; }

    // Constraints.

    /// A new id that stands for the literal; undefined for one of the solver's own.
    int new_constraint(TheoryLit lit);
    void free_constraint(int c);
    TheoryLit constraint_to_lit(int c) const { return lits_[idx(c)]; }

private:
    static size_t idx(int v) { return static_cast<size_t>(v); }
    void fill_sum(LinearTerm* out);
    void tighten(LinearTerm* out) const;
    int new_number();

    TermManager* tm_;
    hsh::HashMap<const Term_*, int> vars_;
    std::vector<const Term_*> terms_ = {nullptr}; // by variable
    std::vector<int> uses_ = {0};
    std::vector<int> free_vars_;
    int num_nonlinear_ = 0;
    uint64_t version_ = 0;
    std::vector<TheoryLit> lits_ = {tlit_Undef}; // by constraint
    std::vector<int> free_constraints_;
    Polynomial poly_; // scratch
    std::vector<VarCoeff> sorted_;
};

} // namespace tarq::la
