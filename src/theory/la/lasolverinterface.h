// LaSolverInterface: linear arithmetic as a theory solver. One class in several sources:
// lasolverinterface.cpp (atoms, literals, levels), _check (checks, conflicts, implications,
// lemmas), _model (values and shared terms).
#pragma once

#include "base/configuration.h"
#include "base/hashmap.h"
#include "terms/termindex.h"
#include "terms/termmanager.h"
#include "theory/la/constraintmapper.h"
#include "theory/la/lazsolver.h"
#include "theory/la/lineartermmapper.h"
#include "theory/la/solver.h"
#include "theory/theorysolver.h"

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tarq {

/// Turns atoms over Int and Real into constraints of a la::Solver, and decides when each reaches
/// it.
///
/// A literal waits in `pending_` until the next check or decision level; then it is pushed, and
/// counted for its level. Negated equalities are pushed as disequalities, or, by default, not at
/// all: a lemma splits them into two inequalities ("split mode"). Equalities of other solvers are
/// constraints of their own, apart from those of equality atoms, so that an id says how to explain
/// it.
///
/// Invariants
///   1. level_counts_ and current_pushes_ add up to the pushes that the simplex has to pop, outside
///      of a complete check.
///   2. pending_ holds what arrived at the present level only.
class LaSolverInterface : public TheorySolver {
public:
    /// config  borrowed; read at construction and while the solver lives
    LaSolverInterface(const Configuration::Theory& config, TermManager* tm);
    ~LaSolverInterface() override;

    const char* get_name() const override { return "la"; }
    void set_termination_test(const TerminationTest* test) override;

    TellAtomResult tell_atom(const Term_* atom) override;
    void retract_atom(const Term_* atom) override;
    void new_decision_level() override;
    void cancel_until(int level) override;
    void pop_backtrack_point() override;

    bool assume(TheoryLit lit) override;
    bool assume(TheoryEq* eq) override;
    bool check(bool approx) override;
    void get_conflict(std::vector<TheoryLit>& out) override;
    TheoryLit get_next_implied() override;
    bool get_explanation(TheoryLit l, bool required, std::vector<TheoryLit>& out) override;

    bool has_lemmas() override;
    LemmaInfo get_lemma(std::vector<TheoryLit>& clause) override;
    void retract_lemma(void* id) override;

    void build_model() override;
    const Term_* get_model_value(const Term_* t) override;
    void build_abstract_model() override;
    lbool equal_in_model(const Term_* a, const Term_* b) override;

    bool is_alien(const Term_* t) override;
    void notify_interface_term(const Term_* t) override;
    void retract_interface_term(const Term_* t) override;
    bool is_interesting_interface_equality(const Term_* a, const Term_* b) override;

    std::vector<std::pair<std::string, std::string>> get_stats() const override;

    /// Whether some variable stands for a product of two terms, of which nothing is known here.
    bool has_nonlinear_constraints() const { return mapper_.has_nonlinear_constraints(); }
    const la::Solver& solver() const { return solver_; }

private:
    /// What is kept of a told atom.
    struct Atom {
        int positive = 0; // constraints; 0 for an atom that is true or false by itself
        int negative = 0;
        bool split = false;   // a negated equality that is not pushed
        bool waiting = false; // in split mode: the split is still to be decided on
        bool in_both = false; // an equality that may have to be split later
    };
    /// An equality of another solver.
    struct Equality {
        TheoryEq* eq = nullptr; // owned; null for a free slot
        int constraint = 0;     // 0 for one that is true or false by itself
    };
    using TermPair = std::pair<const Term_*, const Term_*>;
    struct Level {
        size_t pushes;
        size_t fragment_size;
        size_t delayed_size;
        size_t implied; // implications announced before it
    };

    Atom* find_atom(const Term_* atom);
    Atom& add_atom(const Term_* atom);
    bool should_handle(const Term_* atom) const;
    bool is_arith(const Term_* t) const;
    bool is_var_or_number(const Term_* t);
    void choose_treatment_of_negation(const Term_* atom, Atom& a, const la::LinearTerm& lt);
    void tell_literal(TheoryLit lit, const la::LinearTerm& lt, int* constraint);
    void retract_literal(int constraint);
    bool is_pure(const Term_* atom) const;
    void enqueue_split(const Term_* atom, Atom& a);
    void enqueue(int constraint, bool delayed);
    bool is_delayed(const Term_* eq);
    bool push(int constraint);
    bool push_pending();
    void pop(size_t n);
    bool push_euf_fragment();
    void forget_equality(size_t place);
    bool check_with_delayed();
    laz::Solver& integer_solver();
    bool check_heavy_equations();
    bool check_integers(bool approx);
    void check_split_eqs();
    void add_reason_literals(int constraint, std::vector<TheoryLit>& out) const;
    static void remove_repeats(std::vector<TheoryLit>& lits);
    const Term_* make_leq(const Term_* a, const Term_* b);
    const Term_* number_term(const QNumber& value) const;
    bool is_int_var(int var) const;

    const Configuration::Theory& config_;
    la::Solver solver_;
    la::LinearTermMapper mapper_;
    la::ConstraintMapper constraints_;
    std::unique_ptr<laz::Solver> laz_; // made with the first integer atom
    bool laz_conflict_ = false;        // the conflict is one of laz_

    TermIndex atom_places_;
    std::vector<Atom> atoms_; // by place
    std::vector<int> free_atoms_;
    std::vector<const Term_*> waiting_; // atoms whose split is to be decided on
    std::vector<int> pending_;
    std::vector<int> delayed_;  // held back until a complete check
    std::vector<int> fragment_; // while the problem looks like one for EUF alone
    std::vector<Level> levels_;
    size_t current_pushes_ = 0;

    std::vector<Equality> equalities_;
    std::vector<size_t> free_equalities_;
    hsh::HashMap<TermPair, size_t> equality_of_; // lower id first: place in equalities_
    std::vector<size_t> equality_of_constraint_; // by constraint: place + 1, or 0
    TheoryEq* stored_conflict_ = nullptr;        // owned: an equality of different numbers

    std::vector<const Term_*> eqs_to_split_; // the last one first
    std::vector<const Term_*> both_ways_eqs_;
    std::vector<TheoryLit> unit_lits_;
    hsh::HashMap<const Term_*, const Term_*> split_atoms_; // halves of splits to their equality

    /// Shared terms, with the variables that they keep alive.
    hsh::HashMap<const Term_*, la::Equation> inter_terms_;
    std::vector<la::Equation> model_equations_; // forms that a model must keep off 0
    bool euf_fragment_;
    QNumber fragment_bound_; // no number of an atom is above it
    bool is_int_problem_ = false;
    bool last_check_ok_ = true;

    uint64_t num_eqs_split_ = 0;
    // scratch
    la::LinearTerm linear_;
    std::vector<int> reasons_;
};

} // namespace tarq
