// TheoryManager: the theory solvers as one partner of the SAT engine.
//
// Sources by verb: theorymanager.cpp (solvers, atoms, literals, checks, lemmas), _interface.cpp
// (terms shared between theories and the equalities between them), _model.cpp (values).
#pragma once

#include "base/configuration.h"
#include "base/exception.h"
#include "base/hashmap.h"
#include "base/hashset.h"
#include "dpll/theoryhook.h"
#include "terms/termmanager.h"
#include "theory/theorysolver.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tarq {

class DpllSolver;
class EqualityClasses;
class InterfaceTermDetector;
class Logger;
class PolarityChecker;
class TerminationTest;
class TheoryEqPropagator;

/// Receives formulas that are unsatisfiable in the theories: what shows a conflict, an explanation
/// or a lemma to be right.
class TheoryLemmaDump {
public:
    virtual ~TheoryLemmaDump() = default;
    virtual void dump(const Term_* formula) = 0;
};

/// Routes atoms and literals to the solvers, collects conflicts, implications and lemmas, and makes
/// the solvers agree on the terms they share.
///
/// Life cycle: the environment makes the solvers and hands them over, then calls start(); after
/// that the engine drives, see dpll::TheoryHook.
///
/// Owns the solvers. Borrows everything else.
///
/// Invariants: (1) a variable whose bit in boolean_vars() is clear was told to all solvers, and
/// atom_solvers_ holds the solvers that want its literals. (2) combination_undo_ has a frame ATOM
/// for each such variable, in the order of the variables, and above it what the telling added.
class TheoryManager : public dpll::TheoryHook {
public:
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    /// The places of the solvers. Their order is that of all walks over them.
    enum SolverIndex : size_t { EUF = 0, LA = 1, BV = 2, FP = 3, ARR = 4, NA = 5 };
    static constexpr size_t NUM_SOLVERS = 6;

    /// A named group of counters.
    using StatsGroup = std::pair<std::string, std::vector<std::pair<std::string, std::string>>>;

    TheoryManager(const Configuration::Theory& config, TermManager* tm, DpllSolver* engine);
    ~TheoryManager() override;
    TheoryManager(const TheoryManager&) = delete;
    TheoryManager& operator=(const TheoryManager&) = delete;

    /// Hands a solver over; an empty place is a solver that is off. Before start().
    void add_solver(SolverIndex index, std::unique_ptr<TheorySolver> solver);
    /// The same for the equality solver, with its further operations.
    /// classes  part of the solver; borrowed
    void add_euf_solver(std::unique_ptr<TheorySolver> solver, EqualityClasses* classes);
    /// Connects the solvers with each other; before the engine's first variable.
    void start();

    /// The solver of that name, or null.
    TheorySolver* get_tsolver(const char* name) const;
    TheorySolver* get_tsolver(SolverIndex index) const { return solvers_[index].get(); }

    // Passed on to all solvers.
    void set_logger(Logger* logger);
    void set_termination_test(const TerminationTest* test);
    void set_polarity_checker(PolarityChecker* polarity);

    /// Every conflict, explanation and lemma goes there from now on; borrowed, null for none.
    void set_lemma_dump(TheoryLemmaDump* dump) { lemma_dump_ = dump; }

    // What the engine calls.
    void tell_atom(const Term_* t, int var) override;
    void tell_problem_atom(const Term_* t, int var) override;
    void retract_atom(const Term_* t, int var) override;
    const BitVector& boolean_vars() const override { return boolean_vars_; }
    void new_decision_level() override;
    void cancel_until(int level) override;
    void push_backtrack_point() override;
    void pop_backtrack_point() override;
    void do_assume(dpll::Lit lit, bool filter) override;
    void check_approx() override { check(true); }
    void check_complete() override { check(false); }
    bool conflict() const override { return conflict_solver_ != NO_SOLVER; }
    void get_conflict(std::vector<dpll::Lit>& out) override;
    dpll::Lit get_next_implied() override;
    bool get_explanation(dpll::Lit lit, bool required, std::vector<dpll::Lit>& out) override;
    bool has_lemmas() override;
    unsigned get_lemma(std::vector<dpll::Lit>& out, bool* keep, bool* permanent) override;
    void retract_lemma(unsigned id) override;
    int boolean_model_found() override;
    void build_model() override;

    /// The value of `t` in the last model: a number, or a term that stands for an element of an
    /// uninterpreted sort. Null when no solver knows the term.
    const Term_* get_model_value(const Term_* t);

    /// For a solver that works on values, from within its complete check: makes the model of the
    /// solvers before it, which agree on no more than the equalities that were decided. False when
    /// one of them has lemmas, and so no model.
    bool build_candidate_model(SolverIndex asker);

    std::vector<StatsGroup> get_stats() const;

    // For tests: what the detection found.
    const TermSet& get_interface_terms() const { return interface_terms_; }

private:
    friend class InterfaceTermDetector;

    using SolverMask = uint8_t;
    /// A place where a term stands as an argument: symbol, and position or -1 for "equal to an
    /// application of that symbol".
    struct ArgPos {
        const Symbol* symbol;
        int position;
        bool operator==(const ArgPos&) const = default;
    };
    /// The groups of solvers that see a term: bit 0 EUF and its extensions, bit 1 the others.
    struct TermGroups {
        uint16_t mask = 0;
        uint16_t count = 0;
    };
    /// One change of what is known about shared terms.
    struct CombinationUndo {
        enum Kind : uint8_t { ATOM, SEEN, INTERFACE_TERM, GROUP, ARG_POSITION, CONST_EQ } kind;
        int n; // variable, bit index or position
        const Term_* term;
        const Symbol* symbol;
    };
    struct KeptBack {
        dpll::Lit lit;
        int level; // at which it was
    };
    struct TLemmaInfo {
        TheorySolver* solver;
        void* id;
    };
    struct TSBasicStats {
        uint64_t calls = 0;
        uint64_t complete_calls = 0;
        uint64_t conflicts = 0;
        uint64_t implications = 0;
        uint64_t explanations = 0;
    };
    /// A class of shared terms: its first one, and all of them ascending by id.
    struct Candidate {
        const Term_* term;
        TermVector members;
    };

    static constexpr size_t NO_SOLVER = ~size_t{0};

    void check(bool approx);
    bool is_filtered(dpll::Lit lit) const;
    int level_below_needed_literals() const;
    void add_in_both_polarities(const Term_* atom);
    void log_literals(const char* text, const std::vector<TheoryLit>& lits);
    void dump_tlemma(TheoryLit head, const std::vector<TheoryLit>& lits, bool as_clause);
    void to_lits(const std::vector<TheoryLit>& in, std::vector<dpll::Lit>& out) const;
    dpll::Lit to_lit(TheoryLit l) const;
    int proxy_of_lemma_atom(TheoryLit l, const LemmaInfo& info, int dep_var);

    // shared terms
    void update_interface_terms(const Term_* atom);
    void undo_theory_combination_info(int var);
    bool mark_seen(const Term_* t);
    bool insert_interface_term(const Term_* t);
    bool add_term_group(const Term_* t, int group);
    void add_arg_position(const Term_* t, const Symbol* symbol, int position);

    // interface equalities
    int generate_interface_equalities(bool* generated);
    void collect_candidates();
    void collect_mismatches(TermVector& batch);
    void collect_mismatches_by_value(TermVector& batch);
    bool is_mismatch(const Candidate& a, const Candidate& b);
    bool is_combined_type(const DataType* type) const;
    bool is_pair(const Term_* a, const Term_* b) const;
    bool check_same_args(const Term_* a, const Term_* b);
    const Term_* known_member(TheorySolver* solver, const Candidate& c) const;
    bool add_to_batch(const Term_* a, const Term_* b, TermVector& batch);
    size_t add_extra_equalities(bool changed);
    size_t activate(const TermVector& batch, int* level);

    void do_build_model();
    unsigned model_value_mask(const Term_* t) const;
    const Term_* do_get_model_value(const Term_* t);

    const Configuration::Theory& config_;
    TermManager* tm_;
    DpllSolver* engine_;
    std::array<std::unique_ptr<TheorySolver>, NUM_SOLVERS> solvers_;
    std::vector<size_t> active_; // the places that are filled, ascending
    EqualityClasses* classes_ = nullptr;
    std::unique_ptr<TheoryEqPropagator> eq_propagator_;
    Logger* logger_ = nullptr;
    const TerminationTest* termination_test_ = nullptr;
    PolarityChecker* polarity_ = nullptr;
    TheoryLemmaDump* lemma_dump_ = nullptr;

    // by variable
    BitVector boolean_vars_;
    std::vector<SolverMask> atom_solvers_;
    BitVector no_tcomb_vars_; // made here: no detection of shared terms in them

    int level_ = 0;
    std::vector<KeptBack> kept_back_; // filtered literals that are assigned, by level
    size_t conflict_solver_ = NO_SOLVER;
    size_t implied_cursor_ = 0;
    std::vector<uint8_t> implied_by_; // by literal: the place of the solver that implied it last

    TheorySolver* lemma_solver_ = nullptr;
    std::vector<TLemmaInfo> lemmas_; // by lemma id - 1
    std::vector<unsigned> free_lemma_ids_;

    TermSet interface_terms_;
    TermVector interface_list_; // the same in the order they came
    hsh::HashMap<const Term_*, TermGroups> term_groups_;
    hsh::HashMap<const Term_*, std::vector<ArgPos>> arg_positions_;
    hsh::HashMap<const Term_*, TermVector> const_eq_index_; // a side to equalities of constants
    BitVector combination_seen_; // by term id: terms that the detection has walked
    std::vector<CombinationUndo> combination_undo_;
    bool detection_suspended_ = false;
    bool terms_changed_ = true;
    std::vector<Candidate> candidates_; // of the present generation of equalities

    uint64_t num_necessary_equalities_ = 0;
    uint64_t num_extra_equalities_ = 0;
    std::array<TSBasicStats, NUM_SOLVERS> stats_{};

    // scratch
    std::vector<TheoryLit> tlits_;
};

} // namespace tarq
