// SolutionLattice: all whole solutions of linear equations, with numbers that stay as small as the
// equations allow.
#pragma once

#include "base/hashmap.h"
#include "theory/la/equation.h"

#include <gmpxx.h>

#include <cstddef>
#include <vector>

namespace tarq {
class TerminationTest;
}

namespace tarq::laz {

/// A form and where it comes from: as polynomials, `form` is the sum of
/// `sources`' coefficients times the left sides of the equations that those name.
struct Equation {
    la::Equation form;
    la::Equation sources; // ids of equations in place of variables
};

/// A stack of equations over integer variables, kept as its set of solutions: a vector `offset`
/// plus all whole multiples of the columns of a matrix B with one row for each variable.
///
/// Bounded numbers
///   A variable of the solutions that can still be chosen is free, and each column has one of its
///   own, where it has its pivot. On the free variables B is triangular in the order of the
///   columns, and what stands beyond a pivot in its row is less than the pivot. So on the free
///   variables no number exceeds the index of the lattice, which divides a minor of the equations;
///   the other variables follow from these. With k equations of b-bit numbers that is about
///   k * b bits, where elimination without this reduction doubles the digits with each equation.
///
/// A new equation a makes a row d = aB. Combining columns until one, the direction b, has the
/// greatest common divisor g of d and all others have 0 takes b out of B: those left are the
/// solutions of a * x = 0, too.
///
/// Sources
///   With B, the directions b_k, and g_k of the equations a_k there are whole forms T with
///   v = (vB)T + sum z_k a_k for each vector v: for the last k, z_k = v * b_k / g_k, and the others
///   come from v - z_k a_k in the same way. Other whole forms T do as well, so z_k counts modulo
///   the greatest common divisor of vB only.
///
/// Undo
///   The combinations of columns are all invertible and stand in a log. A pop is carried out when
///   the lattice is next used, so that a series of pops down to nothing costs nothing.
class SolutionLattice {
public:
    /// Parameters, one for each column, are numbered from here. Which is which changes with each
    /// equation.
    static constexpr int FIRST_PARAMETER = (1 << 30) + (1 << 29);

    /// Polled for each column; may be null.
    void set_termination_test(const TerminationTest* test) { termination_test_ = test; }

    /// Whether the variable is in one of the equations.
    bool contains(int var) const;
    bool empty() const { return wanted_vars_ == 0; }
    size_t num_vars() const { return wanted_vars_; }
    size_t num_equations() const { return wanted_equations_; }

    /// Adds eq.form = 0; whole coefficients and constant. Returns whether there are solutions left.
    /// After false the equation is not there, but its variables are, and `in_out` says why not: its
    /// constant is no multiple of the greatest common divisor of its coefficients.
    /// Throws what the termination test throws; nothing has changed then but for the variables.
    bool add(Equation& in_out);
    /// Back to the first so many equations and variables.
    void truncate(size_t num_equations, size_t num_vars);
    void reset();

    /// Replaces the variables of the lattice by parameters. Returns whether there were any.
    /// with_sources  whether to add to `sources`
    bool substitute(Equation& in_out, bool with_sources);

    /// The variables, in the order of their entry.
    int var(size_t i) const { return vars_[i]; }
    /// From values of all variables, in this order, to a solution near them.
    void nearest(std::vector<QNumber>& in_out);

    /// Whether all columns satisfy all equations, the pivots are in order, and all is reduced; for
    /// assertions.
    bool check_invariants() const;

private:
    struct Entry {
        int row;
        mpz_class value;
    };
    using Vector = std::vector<Entry>; // sparse, by row
    struct Column {
        int pivot; // row of its own free variable
        Vector v;
    };
    struct Solved {
        Vector form;
        la::Equation sources;
        mpz_class divisor;
        Vector direction;
        int pivot = 0;       // of the column that the direction was
        size_t position = 0; // and its place
        size_t first_op = 0; // in ops_
    };
    /// Names of vectors that are no columns, in Op.
    static constexpr int OFFSET = -1;
    static constexpr int DIRECTION = -2;
    /// target -= p * source; or, with `mixed`, source becomes u * source + v * target, and target
    /// p * source - w * target, where u * w + v * p = 1.
    struct Op {
        bool mixed;
        int target;
        int source;
        mpz_class p, w, u, v;
    };

    void settle();
    void undo_equation();
    int enter(int var);
    Vector& vector_of(int name);
    void subtract(int target, int source, mpz_class& factor);
    void mix(int target, const mpz_class& d_source, const mpz_class& d_target);
    void undo(const Op& op);
    void reduce(int target, size_t end);
    void eliminate(std::vector<mpz_class>& d, size_t start);
    size_t choose_start(const std::vector<mpz_class>& d) const;
    void load(const Vector& v);
    mpz_class times_loaded(const Vector& v) const;
    void append_sources(const mpz_class& modulus, const mpz_class& scale, la::Equation& sources);
    void poll() const;
    void add_multiple(Vector& target, const mpz_class& factor, const Vector& source);

    std::vector<int> vars_; // by row
    hsh::HashMap<int, int> rows_;
    std::vector<int> column_of_; // by row: place of the column with the pivot there, or -1
    std::vector<Column> columns_;
    Vector offset_;
    std::vector<Solved> solved_;
    std::vector<Op> ops_;
    size_t wanted_equations_ = 0;
    size_t wanted_vars_ = 0;
    const TerminationTest* termination_test_ = nullptr;
    // scratch
    std::vector<mpz_class> loaded_; // by row
    Vector merged_;
};

} // namespace tarq::laz
