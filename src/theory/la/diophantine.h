// DiophantineSystem: linear equations over integers and reals, solved one by one.
#pragma once

#include "base/hashmap.h"
#include "theory/la/dnumber.h"
#include "theory/la/equation.h"
#include "theory/la/solutionlattice.h"

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

namespace tarq {
class TerminationTest;
}

namespace tarq::laz {

/// A stack of equations "form = 0", kept solved: each one that is not implied by those before it
/// defines a variable by others. A real variable is defined at once, so that what is left is about
/// integers.
///
/// The method for small numbers is elimination by the least coefficient (Knuth, The Art of Computer
/// Programming 2, 4.5.2). Where no coefficient is 1, a variable x is replaced by a sum of others and
/// a fresh variable t, which says nothing about x: t is that sum's distance to x, so it is whole
/// whenever the others are, and needs no source. What the equation says of t is the new, smaller
/// equation.
///
/// Definitions are not put into one another, so that a pop only cuts the list: one made later never
/// mentions a variable that an earlier one defines, and applying them in order replaces them all.
///
/// That is fast and keeps sparse equations sparse, but the numbers of a dense system get twice as
/// long with each equation. An equation with large numbers left therefore goes to a SolutionLattice
/// instead, where lengths grow by a sum only. Its variables are no longer defined, though others
/// still are by them: definitions come first, what the lattice says of the rest after.
class DiophantineSystem {
public:
    /// Fresh variables are numbered from here.
    static constexpr int FIRST_FRESH = 1 << 30;

    /// Tells which variables are real; without it all are integers.
    void set_is_real(std::function<bool(int)> is_real) { is_real_ = std::move(is_real); }
    /// Polled for each step of an elimination; may be null.
    void set_termination_test(const TerminationTest* test)
    {
        termination_test_ = test;
        lattice_.set_termination_test(test);
    }

    /// Adds form = 0. Returns whether all equations together have a solution. After false nothing
    /// may be added before a pop.
    /// id    names the equation in sources, at least 1; no two on the stack have the same
    /// form  any rational coefficients
    bool add_equation(int id, const la::Equation& form);
    /// Takes back the last equation that was added.
    void pop_equation();
    void reset();
    size_t size() const { return marks_.size(); }
    bool is_sat() const { return sat_; }
    /// The equation that has no solution: the greatest common divisor of its coefficients does not
    /// divide its constant. Its sources are the certificate.
    const Equation& unsat_equation() const { return unsat_equation_; }

    bool has_substitution(int var) const { return index_.contains(var) || lattice_.contains(var); }
    /// Replaces all variables that are defined or in the lattice. The form keeps its value where the
    /// equations hold: as polynomials, new form - old form is the sum of what `sources` gained times
    /// left sides, for some choice of whole forms as fresh variables.
    /// Returns whether anything was replaced.
    /// with_sources  whether `sources` matters; finding those in a lattice is most of the work
    bool apply_substitution(Equation& in_out, bool with_sources = true) const;
    /// A solution with values near given ones, for the variables of equations; other variables are
    /// not in `out`, or have been rounded there if they are integers.
    /// near  value of a variable; not called for fresh ones
    void solve_near(const std::function<la::DNumber(int)>& near,
                    hsh::HashMap<int, la::DNumber>& out) const;

private:
    struct Substitution {
        int var;
        la::Equation row;     // -var + definition, constant included
        la::Equation sources; // of var - definition
    };
    struct Mark {
        size_t num_substitutions;
        int next_fresh;
        size_t num_lattice_equations;
        size_t num_lattice_vars;
    };

    bool apply_definitions(Equation& in_out) const;
    bool define_real(const Equation& eq);
    bool solve(Equation& eq);
    void define(int var, la::Equation row, la::Equation sources);

    std::vector<Substitution> substitutions_;
    hsh::HashMap<int, size_t> index_; // by variable: its place among the substitutions
    mutable SolutionLattice lattice_; // over variables without a definition; pops lazily
    std::vector<Mark> marks_;
    Equation unsat_equation_;
    bool sat_ = true;
    int next_fresh_ = FIRST_FRESH;
    std::function<bool(int)> is_real_;
    const TerminationTest* termination_test_ = nullptr;
    mutable std::vector<size_t> heap_; // scratch of apply_substitution
    mutable la::Equation::Terms scratch_;
};

/// The greatest number of which all coefficients are multiples; 0 without terms.
QNumber coefficient_gcd(const la::Equation& form);
/// Adds factor * o, constant included.
void add_multiple(la::Equation& to, const la::Equation& o, const QNumber& factor,
                  la::Equation::Terms& scratch);

} // namespace tarq::laz
