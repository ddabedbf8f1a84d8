// laz::Solver: whole values for integer variables, on top of the rational solution of a la::Solver.
#pragma once

#include "base/configuration.h"
#include "base/hashmap.h"
#include "theory/la/constraintmapper.h"
#include "theory/la/diophantine.h"
#include "theory/la/lineartermmapper.h"
#include "theory/la/solver.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tarq {
class Term_;
class TermManager;
class TerminationTest;
} // namespace tarq

namespace tarq::laz {

/// Looks for integer values in the polyhedron that a la::Solver holds. It pushes constraints of its
/// own there, always popped before it returns; the values it finds stay behind in the simplex,
/// since a pop loosens bounds only.
///
/// A check goes from cheap to dear: are the values whole already; do the equations among the bounds
/// have a whole solution; do bounds, tightened to values that those equations allow, leave a
/// rational solution; does the cube around that solution, or branching for a while, give a whole
/// one. What is then still open becomes a clause that splits the space.
///
/// Borrows everything it is made of.
class Solver {
public:
    enum class Result : uint8_t { INTEGRAL, CONFLICT, SPLIT, UNDECIDED };

    struct Stats {
        uint64_t calls = 0;
        uint64_t equational_conflicts = 0;
        uint64_t tightening_conflicts = 0;
        uint64_t bb_calls = 0;
        uint64_t bb_conflicts = 0;
        uint64_t bb_timeouts = 0;
        uint64_t bb_branches = 0;
        uint64_t cubes = 0;
        uint64_t points = 0;
        uint64_t split_lemmas = 0;
        uint64_t cut_lemmas = 0;
    };

    Solver(const Configuration::Theory::La& config, TermManager* tm, la::Solver* simplex,
           la::LinearTermMapper* mapper, const la::ConstraintMapper* constraints);
    Solver(const Solver&) = delete;
    Solver& operator=(const Solver&) = delete;

    void set_termination_test(const TerminationTest* test);

    /// After a check of the simplex that succeeded, with the same `approx`.
    /// approx  the equations only, and not every time; the answer may be UNDECIDED
    Result check(bool approx);
    /// Before a check of the simplex: the equations alone, where a pivot costs more than they do.
    /// Returns false for a conflict. Else the simplex may have got whole values that satisfy all.
    bool check_equations();
    /// After CONFLICT: pushed constraints that have no whole solution together, without repeats.
    const std::vector<int>& conflict() const { return conflict_; }
    /// After SPLIT: a clause that every whole assignment satisfies, over new atoms as a rule.
    const std::vector<TheoryLit>& split() const { return split_; }
    void take_split(std::vector<TheoryLit>& out);
    void drop_split() { split_.clear(); }

    /// A variable or a constraint may go: forgets what is known of them.
    void forget_variables();

    const Stats& stats() const { return stats_; }
    std::vector<std::pair<std::string, std::string>> get_stats() const;

private:
    /// A bound of this solver's own, on the stack of the simplex.
    struct OwnBound {
        int constraint;
        size_t first_source; // in source_pool_, up to the next one's
    };
    /// Pops all own bounds when a check is left, also by an exception.
    struct OwnBoundsGuard {
        Solver* self;
        ~OwnBoundsGuard() { self->drop_bounds(0); }
    };
    /// The values that the equations leave to a variable: offset + step * integer.
    struct Lattice {
        QNumber step; // 0: one value only
        QNumber offset;
        bool trivial = true;      // nothing known: no more than that integer sums are whole
        std::vector<int> sources; // constraints
    };
    /// An open branching of the internal search. Its bound is the own bound at `place`.
    struct Frame {
        int var;
        QNumber floor;
        int side;          // 0 below or equal to floor, 1 above
        bool both = false; // the other side has been refuted
        size_t place = 0;
        std::vector<int> conflict; // of the other side, then
    };
    /// How many fractional variables the branches on a variable left, by side.
    struct Score {
        double sum[2] = {0, 0};
        double count[2] = {0, 0};
        double value() const;
    };

    bool is_int_var(int var) const;
    /// The same for variables of the equations, fresh ones among them.
    bool is_integer(int var) const
    {
        return var >= DiophantineSystem::FIRST_FRESH || is_int_var(var);
    }
    const la::Equation& form_of(int var) const;
    bool is_int_sum(int var) const;
    void collect_int_vars();
    bool collect_fractional();
    bool has_fractional();
    void bounded_vars(std::vector<int>& out) const;
    void note_success();
    void pause();
    void poll() const;

    // lazsolver_equations.cpp
    bool update_equalities();
    void find_fixed();
    const Lattice& lattice(int var);
    void add_equation_reasons(const la::Equation& sources, std::vector<int>& out) const;
    bool tighten(bool approx);
    bool push_tightened(int var, bool is_upper);
    bool find_point();

    // own bounds
    bool push_bound(int var, bool is_upper, const la::DNumber& bound,
                    const std::vector<int>& sources);
    void drop_bounds(size_t n);
    void append_sources(size_t place, std::vector<int>& out) const;
    void set_conflict(std::vector<int> constraints);

    // lazsolver_search.cpp
    enum class Search : uint8_t { FOUND, REFUTED, STOPPED };
    bool unit_cube_test();
    Search internal_bb();
    void push_frame();
    bool enter_side();
    bool go_back(std::vector<int> conflict);
    size_t pick_variable();
    uint64_t draw(size_t n);
    bool coin();

    // lazsolver_split.cpp
    void make_split();
    bool make_split_from_cut();
    bool make_split_from_face(const std::vector<int>& faces);
    const Term_* make_sum(const la::Equation& form) const;
    void set_split(const Term_* t, const QNumber& floor);

    const Configuration::Theory::La& config_;
    TermManager* tm_;
    la::Solver* simplex_;
    la::LinearTermMapper* mapper_;
    const la::ConstraintMapper* constraints_;
    const TerminationTest* termination_test_ = nullptr;

    /// A variable, of a term or a row, whose bounds meet.
    struct Fixed {
        int var;
        int lower, upper; // the constraints
        bool operator==(const Fixed&) const = default;
    };
    DiophantineSystem equalities_;
    std::vector<Fixed> in_system_;        // the equations of equalities_, whose ids are places + 1
    std::vector<Fixed> fixed_;            // those there ought to be, by age
    hsh::HashMap<int, Lattice> lattices_; // by variable; under the present equations

    std::vector<std::pair<int, QNumber>> fractional_; // integer variables and their values
    std::vector<int> int_vars_;
    uint64_t int_vars_version_ = 0; // of the mapper, plus 1
    std::vector<OwnBound> own_bounds_;
    hsh::HashMap<int, size_t> own_index_; // by constraint: place in own_bounds_
    std::vector<int> source_pool_;
    std::vector<Frame> frames_;
    hsh::HashMap<int, Score> scores_;
    int approx_countdown_ = 0; // checks to be left out
    int approx_period_ = 1;
    uint64_t point_countdown_ = 0;
    uint64_t point_period_ = 1;
    uint64_t cube_countdown_ = 0;
    uint64_t cube_period_ = 1;
    std::vector<int> conflict_;
    std::vector<TheoryLit> split_;
    int cut_countdown_ = 1;
    uint64_t rng_state_;
    Stats stats_;
    // scratch
    mutable std::vector<char> seen_; // by variable
    mutable la::Equation unit_;
    mutable la::Equation::Terms terms_;
};

} // namespace tarq::laz
