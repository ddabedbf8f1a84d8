// One solver context: the assertion stack and the road from an asserted formula to the SAT engine.
//
// Sources by verb: environment.cpp (construction, the assertion stack, preprocessing),
// environment_check.cpp (checks and their results), environment_model.cpp (models),
// environment_allsat.cpp (enumerations and unsat cores), environment_theories.cpp (the theory
// solvers), environment_lang.cpp (reading and printing text).
#pragma once

#include "base/configuration.h"
#include "base/exception.h"
#include "base/lbool.h"
#include "base/logger.h"
#include "base/terminationtest.h"
#include "terms/termmanager.h"
#include "terms/theorylit.h"

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarq {

class AllSatModelFoundHook;
class BooleanUnsatCoreExtractor;
class ModelStore;
class StdTermSimplifier;
class TermNormalizer;

namespace dpll {
class ExternalDpllInterface;
class Lit;
} // namespace dpll

/// A solver context. Formulas are asserted on a stack with backtrack points and are processed at
/// the next check only; the engines know nothing of the entries past `assertions_done_`.
///
/// Life cycle: the constructor runs init(); do_reset() drops every solver object and the stack, and
/// init() builds new ones. An exception that leaves a check marks the environment as interrupted:
/// its engines are then in no defined state, and the next operation that needs them rebuilds them
/// from the assertion stack, so no assertion is ever lost.
///
/// Owns the solver objects, and the term manager when it made it. Borrows a shared term manager
/// (its owner must live longer) and the termination test. Used by one thread.
///
/// Invariants: (1) assertions_done_ is at most the size of the stack. (2) Unless interrupted, the
/// engine, the generator and the polarity checker have as many backtrack points as there are
/// markers among the processed entries, or, with shallow incrementality, none, and `bt_labels_` has
/// that many entries.
class Environment {
public:
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    /// Adds further roots to a collection; the base adds none.
    class gc_hook {
    public:
        virtual ~gc_hook() = default;
        /// Appends to the three lists.
        virtual void operator()(TermVector& terms, std::vector<const Symbol*>& symbols,
                                TypeVector& types);
    };

    /// The counters of an environment since its last reset or interruption.
    struct RawStats {
        uint64_t cnf_variables = 0;
        uint64_t cnf_literals = 0;
        uint64_t cnf_clauses = 0;
        uint64_t sat_checks = 0;
        uint64_t sat_restarts = 0;
        uint64_t sat_decisions = 0;
        uint64_t sat_random_decisions = 0;
        uint64_t sat_propagations = 0;
        uint64_t sat_theory_propagations = 0;
        uint64_t sat_watched_clauses_visited = 0;
        uint64_t sat_binary_watched_clauses_visited = 0;
        uint64_t sat_conflicts = 0;
        uint64_t sat_theory_conflicts = 0;
        double first_decision_seconds = 0; // processor time of the process until then; 0 before
    };

    /// Told of the models that diversify() finds.
    class ModelFoundHook {
    public:
        virtual ~ModelFoundHook() = default;
        /// model  borrowed for the call
        /// Returns whether to go on.
        virtual bool operator()(ModelStore* model) = 0;
    };

    using StatsList = std::vector<std::pair<std::string, std::string>>;
    using unsat_assumptions_iterator = std::vector<TheoryLit>::const_iterator;
    using unsat_core_iterator = TermSet::const_iterator;

    /// Makes an environment with a term manager of its own.
    /// config  copied, not null
    /// throws  Environment::error "option `NAME' is not supported" for an option that asks for
    ///         results which this version can't deliver
    explicit Environment(const Configuration* config);

    /// The same on a term manager that stays someone else's and must outlive this object; null
    /// makes one.
    Environment(const Configuration* config, TermManager* tm);

    virtual ~Environment();
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

    TermManager* get_term_manager() { return tm_; }
    const Configuration& get_config() const { return config_; }

    // The assertion stack

    /// Puts `t` on the assertion stack; it is looked at by the next check.
    /// throws  TermManager::error when `t` is not of type Bool; the stack is then unchanged
    virtual void assert_formula(const Term_* t);
    /// Opens a backtrack point. Constant: the engines follow at the next check.
    void push_backtrack_point();
    /// Removes everything asserted since the newest backtrack point, and the point.
    /// throws  Environment::error "no backtrack points to pop"; nothing is changed then
    void pop_backtrack_point();
    int num_backtrack_points() const { return num_backtrack_points_; }
    /// Drops all assertions, backtrack points and learned state; terms and declarations stay.
    void reset_assertions();
    /// Appends the asserted formulas to `out`, oldest first.
    void get_asserted_formulas(TermVector* out) const;

    // Checks

    /// Decides the conjunction of the asserted formulas.
    /// result  1 satisfiable, 0 unsatisfiable, -1 when solving is switched off by the options
    /// throws  Environment::error "unsupported atom (no theory solver for it): " and the atom,
    ///         CNFGenerator::error, TerminationTest::terminated. The environment stays usable: the
    ///         next check starts over from the assertion stack.
    virtual int check();

    /// The same under assumptions, which hold for this check only.
    /// lits    Boolean constants with a sign; repetitions are harmless
    /// throws  as check(), and Environment::error "assumptions can only be literals", before
    ///         anything was done
    int check_with_assumptions(const std::vector<TheoryLit>& lits);

    /// The result of the last check, -1 before any, after a reset and after a failed one.
    int get_last_result() const { return last_result_; }

    /// The assumptions that the last check found responsible, in no particular order and signed as
    /// they were passed; empty unless that check was unsatisfiable under its assumptions.
    unsat_assumptions_iterator unsat_assumptions_begin() const
    {
        return unsat_assumptions_.begin();
    }
    unsat_assumptions_iterator unsat_assumptions_end() const { return unsat_assumptions_.end(); }

    /// The asserted formulas that the last check needed for its unsatisfiable answer, as they were
    /// asserted and each once; with assumptions, those needed besides the failed ones. Computed by
    /// the first call after a check, valid until the next check or pop.
    /// throws  Environment::error "unsat core generation not enabled"; "no unsat core: models were
    ///         excluded by an enumeration" while these still are; UnsatCoreStore::error when the
    ///         last check was not unsatisfiable, or without an extractor where one is needed
    unsat_core_iterator unsat_core_begin();
    unsat_core_iterator unsat_core_end() const;
    /// Has `unsat_core_generation` 2 find cores of clauses by `e`; borrowed, null for none.
    /// throws  Environment::error "unsat core generation not enabled"
    void set_external_core_extractor(BooleanUnsatCoreExtractor* e);

    /// The value of a Boolean constant in the assignment found by the last check: l_Undef when no
    /// clause mentions it, so that any value does.
    /// throws  Environment::error "no model available" unless the last check was satisfiable and
    ///         nothing was processed or popped since; "not a Boolean constant: " and the term
    lbool get_bool_value(const Term_* t) const;

    // Models; `model_generation` or `bool_model_generation` must be on. The model of a check stands
    // until the next check, pop, or formula that is processed.

    /// Whether the last check has left a model.
    bool has_model() const { return model_ != nullptr; }
    /// The model of the last check, made now if nobody asked before; borrowed, add_ref() keeps it.
    /// throws  Environment::error "model generation not enabled" without one; ModelStore::error
    ModelStore* get_model();
    /// The value of any term in that model.
    /// throws  as get_model()
    const Term_* get_model_value(const Term_* t);

    /// Finds models that differ in the values of `diversifiers`, until there is none left or the
    /// hook has enough. Each model is excluded by an asserted formula, which stays: push first to
    /// get rid of them. Without diversifiers nothing is excluded.
    /// diversifiers  of type Bool or with numbers for values
    /// result        how many were found
    /// throws        as check(); Environment::error "model generation must be enabled for
    ///               diversification"; Exception "bad model value for diversifier: " and the term
    int diversify(ModelFoundHook& hook, TermArgs diversifiers);

    /// Enumerates the models as to the truth values of some constants, each of which is told to the
    /// hook. Models told stay excluded until the newest point is popped: push first, or later
    /// checks are about the models that were not told.
    /// hook       borrowed for the call
    /// important  Boolean constants; repetitions are harmless. Empty: all atoms of the asserted
    ///            formulas, conditions of term-ITEs included
    /// result     how many models were told, disjoint cubes of them with
    ///            `dpll.allsat_minimize_model`; -2 when the engine has nothing to assign, -1 when
    ///            solving is switched off
    /// throws     as check(); Environment::error "allsat important symbols might only be Boolean
    ///            constants", before anything was done; DpllSolver::interrupted "AllSat hook
    ///            returned false, aborting", after which the last model told is not excluded
    virtual int allsat(AllSatModelFoundHook& hook, TermArgs important);

    /// Makes the engine decide `t` before all constants that are not preferred; the earlier
    /// preferred the sooner. `phase` is the value tried first, l_Undef leaves that to the engine. A
    /// hint only: it is lost when the constant is popped and when the engine is rebuilt (reset, gc,
    /// interruption).
    /// throws  Environment::error "only Boolean constants can be set as preferred for branching"
    void add_preferred_for_branching(const Term_* t, lbool phase);
    void clear_preferred_for_branching();

    /// Installs the test that long operations ask whether to stop; borrowed, null for none.
    void set_termination_test(const TerminationTest* test);

    /// Makes a foreign SAT engine do the search from now on; null brings the built-in one back. What
    /// the engine was told before is forgotten.
    /// external  borrowed, for as long as it is in use
    /// throws    Environment::error "can't set external solver, assertion stack is not empty";
    ///           Exception "proof generation is not compatible with external SAT solvers", and what
    ///           the engine reports as failed; the built-in search is in use then
    void set_external_solver(dpll::ExternalDpllInterface* external);

    // Terms

    /// Frees all terms that are neither in `keep`, nor asserted, nor added by the hook, when this
    /// environment owns its term manager and shares it with nobody; otherwise frees nothing. In
    /// every case learned state is dropped and the next check starts over from the assertion stack.
    /// Handles on terms, symbols and types that nothing kept dangle afterwards.
    void gc(const TermSet& keep);
    void gc(const TermSet& keep, gc_hook& hook);

    /// Replaces each `from[i]` in `t` by `to[i]`, all at the same time.
    /// throws  TermManager::error when the lists differ in length or a pair in type
    const Term_* apply_substitution(const Term_* t, TermArgs from, TermArgs to);
    /// An equivalent term, simplified by the rules that `preprocessor.simplification` selects.
    const Term_* simplify(const Term_* t);
    /// The same; with `toplevel`, a formula that is no constant also loses the constants that it
    /// defines itself, except those in `to_protect`. The result then says as much as `t` about the
    /// protected ones only.
    const Term_* simplify(const Term_* t, TermArgs to_protect, bool toplevel);
    /// The negation normal form of a Boolean term; see NNFGenerator.
    const Term_* to_nnf(const Term_* t);

    // Text

    /// Reads an SMT-LIB 2 script and returns the conjunction of its assertions.
    /// throws  ParserInterface::error with the line, TermManager::error
    const Term_* from_smt2_script(std::istream& in);
    /// The same; also delivers, for each annotation of a term, that term and the (key, value) pair,
    /// the key without its colon. Both vectors are cleared first and stay parallel.
    const Term_* from_smt2_script(std::istream& in, TermVector* terms,
                                  std::vector<std::pair<std::string, std::string>>* annotations);
    /// Reads a script and delivers the terms that it names, in order of appearance. Both vectors
    /// are cleared first and stay parallel.
    void named_terms_from_smt2_script(std::istream& in, std::vector<std::string>* names,
                                      TermVector* terms);
    /// Reads one term, or the conjunction of several, without a script around them.
    const Term_* from_smt2(std::istream& in);
    const Term_* from_smt2(std::string_view text);

    /// Writes an SMT-LIB 2 script that asserts `t`.
    /// logic        of its set-logic; empty for none
    /// use_defines  shared subterms become definitions of the script, else let bindings
    /// throws       TermPrinter::error for what SMT-LIB 2 has no form for
    void to_smt2_script(std::ostream& out, const Term_* t, const std::string& logic,
                        bool use_defines);
    /// Writes an SMT-LIB 1 benchmark with the formula `t`.
    /// throws       TermPrinter::error for what SMT-LIB 1 has no form for
    void to_smt1_script(std::ostream& out, const Term_* t);
    /// Writes an SMT-LIB 2 script in which each term carries its name, as a definition: nothing is
    /// asserted. As many names as terms; a term may have several.
    void named_terms_to_smt2_script(std::ostream& out, const std::vector<std::string>& names,
                                    TermArgs terms);
    /// The same with any attributes: a key, with or without its colon, and the text of a value for
    /// each term.
    void to_smt2_script(std::ostream& out, TermArgs terms,
                        const std::vector<std::pair<std::string, std::string>>& annotations);
    /// Writes the term alone, its shared subterms bound by let.
    void to_smt2_string(std::ostream& out, const Term_* t);

    // Statistics

    RawStats get_raw_stats() const;
    /// The counters as (name, value) texts in a fixed order; names start with ":cnf-" or ":sat-".
    StatsList get_stats() const;
    /// Writes a line "PREFIX NAME VALUE" without the first blank for each counter, and flushes.
    void print_stats(std::ostream& out, const char* prefix) const;

protected:
    /// Builds the solver objects; run at construction and after every do_reset().
    virtual void init();
    /// Drops the solver objects, the assertion stack and the labels.
    virtual void do_reset();
    /// Drops the model of the last satisfiable check.
    virtual void reset_model();
    /// Rebuilds the solver objects after a check that ended in an exception; the stack is kept.
    virtual void reset_after_interrupted();

    int do_check();

private:
    class Model;
    class ClassifierSink;

    class CheckScope;

    void refuse_unsupported_options() const;
    void do_assert_stack();
    void do_assert_formula(const Term_* f);
    TermNormalizer& normalizer();
    const Term_* propagate_formula(const Term_* f);
    const Term_* free_formula(const Term_* f);
    const Term_* simplify_formula(const Term_* f);
    bool is_plain(const Term_* f);
    const Term_* encode_formula(const Term_* f);
    bool has_theory_atoms(const Term_* f) const;
    const Term_* prepare_for_theories(const Term_* f);
    const Term_* find_unsupported_atom(const Term_* f);
    void do_push_backtrack_point();
    void do_push_shallow_backtrack_point();
    void do_pop_backtrack_point();
    void do_pop_shallow_backtrack_point();
    int num_solver_levels() const;
    int do_check_with_assumptions(const std::vector<TheoryLit>& lits, bool local);
    void start_check();
    std::vector<dpll::Lit> own_assumptions() const;
    const Term_* make_label(const std::string& prefix);
    bool can_break_symmetries() const;
    void break_symmetries(std::vector<dpll::Lit>* assumptions);
    int variable_of_assumption(const Term_* t);
    TermVector atoms_of_assertions() const;
    bool is_known(const Term_* t) const;
    void restore_substituted(const Term_* t);
    void restore_free_coded(const Term_* t);
    void assert_definition(const Term_* f);
    lbool evaluate(const Term_* f) const;
    void collect_unsat_assumptions(const std::vector<TheoryLit>& lits);
    void start_model(const std::vector<TheoryLit>& lits);
    void drop_model();
    void drop_enumeration_clauses();
    void restore_enumeration_clauses(size_t assertions);

    class EnumerationRecorder;
    /// The clauses that enumerations added, for engines that are built anew.
    struct EnumerationClauses {
        struct Clause {
            size_t assertions; // size of the assertion stack when it was added
            size_t end;        // of its literals
        };
        std::vector<Clause> clauses;
        std::vector<TheoryLit> lits;
        size_t done = 0; // clauses that the engine has
    };
    struct Solvers;
    void make_solvers();

    Configuration config_;
    Logger logger_;
    TermManager* tm_;
    std::unique_ptr<TermManager> owned_tm_; // null on a borrowed term manager, as is the next
    std::unique_ptr<StdTermSimplifier> simplifier_;
    std::unique_ptr<Solvers> solvers_;
    const TerminationTest* termination_test_ = nullptr;
    dpll::ExternalDpllInterface* external_ = nullptr; // null for the built-in search
    // as asked for; off with a foreign engine
    bool pure_literal_filtering_ = false;
    bool pure_equality_filtering_ = false;

    TermVector assertions_; // a null entry is a backtrack point
    size_t assertions_done_ = 0;
    int num_backtrack_points_ = 0; // null entries of assertions_
    TermVector bt_labels_;         // of the shallow backtrack points
    int next_bt_label_ = 1;

    // Numbers of backtrack points, -1 for never: when unsatisfiability was found, and when the
    // first model was excluded by an enumeration.
    int trivially_unsat_at_ = -1;
    int enumerated_at_ = -1;
    EnumerationClauses enumeration_;
    int last_result_ = -1;
    bool symmetries_done_ = false; // broken, or looked for in vain, since the solvers were made
    bool has_model_ = false;
    ModelStore* model_ = nullptr; // of the last satisfiable check; one reference
    TermVector model_formulas_;   // assumptions of that check, as formulas
    size_t model_assertions_ = 0; // entries of the stack that it decided
    bool interrupted_ = false;
    std::vector<TheoryLit> unsat_assumptions_;
    RawStats collected_stats_; // of the solver objects that collections have dropped
};

} // namespace tarq
