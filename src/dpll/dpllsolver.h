// The conflict-driven clause-learning engine. One class in several sources, by verb: _clauses
// (adding and removing), _propagate, _analyze (conflicts), _search (loop, decisions), _reduce
// (restarts and clause database), _btpoints (push and pop), _theory (the theory side), _allsat
// (enumeration and minimisation of models), _check (invariants).
#pragma once

#include "base/configuration.h"
#include "base/exception.h"
#include "base/hashmap.h"
#include "base/hashset.h"
#include "base/reallocvector.h"
#include "dpll/clause.h"
#include "dpll/heap.h"
#include "dpll/lit.h"
#include "dpll/theoryhook.h"
#include "terms/termindex.h"
#include "terms/theorylit.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tarq {

class AllSatModelFoundHook;
class Logger;
class TermManager;
class TerminationTest;
class Term_;
class DpllPreprocessor;

namespace dpll {
class GhostFilter;
} // namespace dpll

/// Decides satisfiability of a set of clauses modulo what the theory hook says, incrementally.
///
/// Life cycle: make variables (`new_var`, `make_proxy`), add clauses, `solve`, read the model or
/// the failed assumptions, go on. `push_backtrack_point` opens a scope: clauses and variables made
/// after it go away with `pop_backtrack_point`. A point is a literal decided first of all; every
/// clause added under points carries the negation of the newest one, so that a pop just removes the
/// clauses that hold it.
///
/// Owns variables, clauses and trail. Borrows all collaborators; each may be null.
///
/// Invariants
///   1. Between checks the decision level is at most the number of backtrack points, and level
///      i + 1 is that of point i.
///   2. A clause of two or more literals in `clauses` or `learnts` is watched by its first two; at
///      a fixpoint of propagation no clause has all literals false.
///   3. A reason has its implied literal first, but for binary clauses; reason_of puts that right.
///   4. Every clause over a variable newer than a point holds the negation of that or a newer
///      point. So what holds at level 0 about older variables survives the pop.
///   5. Exceptions out of solve (termination test, theory side) leave the engine as after an
///      undecided check: usable, with no search level open.
class DpllSolver {
public:
    using Lit = dpll::Lit;

    class error : public Exception {
    public:
        using Exception::Exception;
    };

    /// The end of an enumeration that its hook stopped.
    class interrupted : public Exception {
    public:
        using Exception::Exception;
    };

    /// Outcome of a search. The values are fixed, and are not those of a check result of an
    /// environment.
    enum class SearchResult { sat = 0, unsat = 1, undecided = 2 };

    struct Stats {
        uint64_t checks = 0;
        uint64_t restarts = 0;
        uint64_t decisions = 0;
        uint64_t random_decisions = 0;
        uint64_t propagations = 0;
        uint64_t theory_propagations = 0;
        uint64_t lazily_explained_theory_propagations = 0;
        uint64_t watched_clauses_visited = 0;
        uint64_t binary_watched_clauses_visited = 0;
        uint64_t conflicts = 0;
        uint64_t theory_conflicts = 0;
        uint64_t clause_literals = 0; // of permanent clauses, now
        uint64_t learnt_literals = 0; // of learnt clauses, now
        uint64_t max_literals = 0;    // learnt, before minimisation
        uint64_t tot_literals = 0;    // learnt, after minimisation
        uint64_t reductions = 0;      // of the learnt clauses
        uint64_t learnt_removed = 0;
        double first_decision_seconds = 0; // processor time of the process at the first decision
    };

    /// config  borrowed; read through the life of the engine
    /// tm      for telling theory atoms from connectives; may be null without preprocessor
    /// throws  Exception "proof generation is not compatible with SAT-level preprocessing"
    DpllSolver(const Configuration::Dpll& config, TermManager* tm);
    virtual ~DpllSolver();
    DpllSolver(const DpllSolver&) = delete;
    DpllSolver& operator=(const DpllSolver&) = delete;

    // -- Variables and terms

    /// Makes sure that `t` has a variable, stored in *var, and tells the theory side of a new one.
    /// Returns true when the variable was made by this call.
    virtual bool make_proxy(const Term_* t, int* var);
    /// The variable of `t`, or -1.
    int proxy_for_term(const Term_* t) const;
    /// The term of `var`, or null.
    const Term_* term_for_proxy(int var) const;
    /// Forgets which term `var` stands for; the variable stays.
    void unproxy(int var);
    /// Makes a variable that stands for no term. Returns its number.
    virtual int new_var();
    /// The number the next new variable will get, which is how many there are.
    virtual int next_var() const { return num_vars(); }
    int num_vars() const { return static_cast<int>(vardata_.size()); }
    /// Makes room for n variables in all; only a matter of memory and time.
    void reserve_vars(int n);

    /// Variables decided before all others, in the order added. One that is there already stays
    /// put.
    void add_preferred_for_branching(int var);
    /// Also forgets their forced phases.
    void clear_preferred_for_branching();
    /// The value that `var` gets whenever it is decided; l_Undef: by its polarity.
    void set_forced_phase(int var, lbool phase);
    /// The value tried first when `var` is decided (until phase saving changes it); l_True or
    /// l_False.
    void set_polarity(int var, lbool value);
    void set_problem_var(int var, bool b);
    bool is_problem_var(int var) const;
    /// Whether the search must assign `var`; also holds for the variables that depend on it.
    void set_decision_var(int var, bool b);
    bool is_decision_var(int var) const { return decision_[index(var)] != 0; }
    /// From now on, until the newest point is popped, `var` is a decision variable only while `dep`
    /// is.
    void set_decision_var_dep(int var, int dep);
    virtual void set_frozen(int var, bool frozen);

    // -- Clauses

    /// Adds a clause, which lives as long as the newest backtrack point.
    /// lits           permuted, and a guard may be appended
    /// theory_clause  the clause is marked as the theories', and false literals stay in it
    /// tell_ghost     the ghost filter tracks the clause
    /// returns        the clause object, or null when none was made: satisfied, or reduced to a
    ///                unit or to nothing, or the engine is unsat already. Borrowed; see Clause
    virtual dpll::Clause* add_clause_inplace(std::vector<dpll::Lit>& lits, bool theory_clause,
                                             bool tell_ghost);
    /// Adds a clause of the problem; for clients without interest in the object.
    void add_clause(std::vector<dpll::Lit>& lits) { add_clause_inplace(lits, false, true); }
    /// Makes a clause object that is not part of the problem. The caller owns its one reference.
    dpll::Clause* make_detached_clause(const std::vector<dpll::Lit>& lits);
    /// Takes one reference off, freeing the clause at zero.
    void release_clause(dpll::Clause* c);

    // -- Solving

    bool solve() { return solve(false); }
    /// Returns true for satisfiable. keep_trail: the satisfying assignment stays in place until the
    /// next operation that changes the problem or solves.
    virtual bool solve(bool keep_trail);
    /// Solves under the assumptions, which hold for this call only.
    virtual bool solve(const std::vector<dpll::Lit>& assumptions, bool keep_trail);
    bool solve(const std::vector<dpll::Lit>& assumptions) { return solve(assumptions, false); }
    /// The same with limits on conflicts, decisions and propagations; 0 means none.
    SearchResult solve_limited(const std::vector<dpll::Lit>& assumptions, uint64_t conflict_limit,
                               uint64_t decision_limit, uint64_t propagation_limit,
                               bool keep_trail = false);

    /// Enumerates the models of the clauses, as to the values of some variables. Each model is
    /// excluded by a clause that stays until the newest point is popped: without a point, later
    /// solves look at what the enumeration has left.
    /// hook         told of each model, may be null; borrowed
    /// vars         the variables; those that stand for no term are left out, repetitions count
    ///              once. Empty: all that stand for a term
    /// assumptions  hold for this call only
    /// guard        joins each of these clauses, a literal that is false under the assumptions;
    ///              lit_Undef for none
    /// returns      how many there are, or -2 when there is no variable at all
    /// throws       interrupted "AllSat hook returned false, aborting"; the models before the last
    ///              one told stay excluded then
    int allsat(AllSatModelFoundHook* hook, const std::vector<int>& vars,
               const std::vector<Lit>& assumptions = {}, Lit guard = dpll::lit_Undef);

    /// The negations of failed assumptions of the last unsat solve: the clauses imply that one of
    /// these holds. Empty when the clauses are unsat without assumptions.
    const std::vector<dpll::Lit>& get_conflict() const { return conflict_; }
    void clear_conflict() { conflict_.clear(); }
    /// The value of `var` in the last model; l_Undef beyond its length.
    lbool get_model_value(int var) const;
    /// The current assignment, one value per variable, with values for eliminated variables if all
    /// others have one: what a theory reads while the search stands at a model.
    void get_full_assignment(std::vector<lbool>& out) const;
    /// The current value; at the end of a solve only what holds at the backtrack levels.
    lbool value(int var) const { return values_[index(var) * 2]; }
    lbool value(dpll::Lit l) const { return values_[index(l.index())]; }
    /// The level at which `var` was assigned, -1 if it is not.
    int level(int var) const { return vardata_[index(var)].level; }

    // -- Backtrack points

    /// Opens a point and returns its variable, whose positive literal stands for the point.
    virtual int push_backtrack_point();
    /// Closes the newest point.
    /// throws  DpllSolver::error "no backtrack points to pop", with nothing changed
    virtual void pop_backtrack_point();
    int num_backtrack_points() const { return static_cast<int>(btpoints_.size()); }
    /// The literals of the points, oldest first.
    const std::vector<Lit>& get_backtrack_points() const { return btpoints_; }
    /// -1 while consistent, else the number of points (from the oldest) that are contradictory with
    /// the clauses.
    int unsat_level() const { return unsat_level_; }
    int decision_level() const { return static_cast<int>(trail_lim_.size()); }

    // -- Upkeep

    /// Drops all learnt clauses that are no reason of an assigned literal.
    void remove_learnt_clauses();
    /// Undoes all levels above `level`.
    virtual void cancel_until(int level);
    const Stats& get_stats() const { return stats_; }
    size_t num_clauses() const { return clauses_.size(); }
    size_t num_learnts() const { return learnts_.size(); }
    /// The theory lemmas kept under `dpll.store_tlemmas`, oldest first; borrowed. With
    /// `unsat_core_generation` 2 the clauses given to keep_axiom are among them.
    const std::vector<dpll::Clause*>& get_theory_lemmas() const { return stored_tlemmas_; }
    /// The clause preprocessor, null when `dpll.preprocessor.mode` is 0.
    const DpllPreprocessor* get_preprocessor() const { return preprocessor_.get(); }

    /// Tells of a clause, about to be added, that a theory knows to hold. Under
    /// `unsat_core_generation` 2 a copy is kept, whatever becomes of the clause.
    void keep_axiom(const std::vector<Lit>& lits);

    // -- What the ghost filter says; without one nothing is a ghost

    /// The variable is decided even if no clause depends on it.
    void set_never_ghost(int var);
    /// Whether the theories need not hear of a true literal: it follows by a theory clause, and no
    /// clause of the problem depends on it.
    bool is_ghost_of_theory(Lit l) const;

    // -- Collaborators; borrowed, may be null. The theory side is to be set before the first
    //    variable.

    void set_theory_manager(dpll::TheoryHook* t);
    /// section, prefix: of all lines the engine writes.
    void set_logger(Logger* logger, const std::string& section, const std::string& prefix);
    /// Asked every 100 conflicts, 1000 decisions or 200,000 propagations, whatever comes first.
    void set_termination_test(const TerminationTest* t) { termination_test_ = t; }

    /// The invariants that a fixpoint of propagation keeps; for assertions and tests.
    bool check_invariants() const;

protected:
    // The policies that a subclass or a test may look into or replace.

    virtual void build_model();
    virtual void pop_var();
    virtual void check_theory(bool approx);
    void run_theory_check(bool approx, bool filter);
    virtual bool enqueue_theory_implications();
    /// 2 nothing to do, 0 clauses were added, 1 unsat.
    virtual int add_theory_lemmas();
    virtual dpll::Lit pick_branch_lit();
    virtual void remove_clauses_containing(int var);
    /// A clause was learnt from a conflict; its literals in no particular order.
    virtual void on_learnt(const std::vector<dpll::Lit>& lits);

    static int64_t luby(int64_t i);

private:
    friend class DpllPreprocessor; // its runs work on clauses, watches and the trail
    friend class dpll::GhostFilter;
    friend class ExternalDpllEngineHook; // a DpllSolver without a search of its own

    using Clause = dpll::Clause;
    using Watch = dpll::Watch;
    using WatchList = ReallocVector<Watch>;

    /// What enqueueing writes and conflict analysis reads, in one place per variable.
    struct VarData {
        Clause* reason; // null: decision, level 0 unit, or unassigned
        int level;      // -1 when unassigned
        int trail_pos;  // -1 when unassigned
    };
    struct VarOrderLt {
        const std::vector<double>* activity;
        bool operator()(int a, int b) const
        {
            const double x = (*activity)[static_cast<size_t>(a)];
            const double y = (*activity)[static_cast<size_t>(b)];
            return x > y || (x == y && a < b);
        }
    };
    /// Unassigned literals first; otherwise the later on the trail, ties by the literal.
    struct TheoryClauseLitLess {
        const DpllSolver* s;
        bool operator()(Lit a, Lit b) const;
    };
    enum class Step { next, go_on, sat, unsat };

    static constexpr uint8_t phase_invalidated = 4;
    static size_t index(int i) { return static_cast<size_t>(i); }

    int make_var();
    void tell_theory(const Term_* t, int var);

    // values and trail
    int trail_pos(int var) const { return vardata_[index(var)].trail_pos; }
    bool is_assigned(int var) const { return !value(var).is_undef(); }
    bool is_eliminated(int var) const;
    void unchecked_enqueue(Lit l, Clause* reason);
    void new_decision_level();
    void undo_trail_entry(Lit l, bool save_phase);
    void insert_var_order(int var);

    // clauses (dpllsolver_clauses.cpp)
    Clause* new_clause(const std::vector<Lit>& lits, bool learnt, bool theory);
    dpll::ClausePool& pool_of(const Clause* c) { return c->is_learnt() ? learnt_pool_ : pool_; }
    void attach_clause(Clause* c);
    void detach_clause(Clause* c);
    bool remove_clause(Clause* c, bool retract);
    bool leave_problem(Clause* c, bool retract);
    void drop_learnt_marks();
    void sweep_removed(bool learnt_only);
    bool do_add_clause(std::vector<Lit>& lits, Clause** out, bool drop_false);
    bool add_unit(const std::vector<Lit>& lits);
    Clause* add_clause_during_search(std::vector<Lit>& lits);
    void put_back_clause(Clause* c);
    bool propagate_at_base();
    bool locked(const Clause* c) const;
    /// Appends the negation of the newest point below that variable, if there is one.
    void add_guard(std::vector<Lit>& lits, int below_var);
    bool add_pending_units();
    bool sort_and_clean(std::vector<Lit>& lits) const;

    // propagation
    Clause* propagate();
    Clause* propagate_literals();

    // conflicts
    Clause* reason_of(int var, bool materialise);
    int conflict_level(const Clause* c) const;
    void rewatch_by_trail(Clause* c);
    bool backjump_and_learn(Clause* confl);
    void analyze(Clause* confl, std::vector<Lit>& out, int* btlevel);
    void minimize_learnt(std::vector<Lit>& out);
    bool literal_is_redundant(Lit l, uint32_t abstract_levels);
    void minimize_with_binaries(std::vector<Lit>& out);
    void analyze_final(Lit p, std::vector<Lit>& out);
    void add_learnt(const std::vector<Lit>& lits, uint32_t lbd);
    void bump_var(int var);
    void decay_activities();
    void bump_clause(Clause* c);
    uint32_t compute_lbd(const Lit* first, const Lit* last);

    // search
    SearchResult do_solve(const std::vector<Lit>& assumptions, bool keep_trail);
    SearchResult run_searches();
    void log_restart() const;
    SearchResult search();
    Step search_step();
    bool limit_reached() const;
    void poll_termination();
    Step search_btpoints();
    Step search_conflict(Clause* confl, const char* text);
    Step search_theory(bool approx);
    Step search_base_upkeep();
    Step search_assumptions();
    Step search_full_assignment();
    void decide(Lit l);
    Lit pick_preferred();
    Lit pick_from_heap();
    Lit phase_of(int var);
    uint32_t next_random();
    void put_back_ghost_vars();

    // enumeration and minimisation of models
    int base_levels() const;
    int minimize_model();
    bool drop_from_model(Lit l);
    void drop_ghosts_from_model();
    bool allsat_backjump_and_learn();
    void minimize_block(std::vector<Lit>& block);
    void tell_allsat_hook(const std::vector<Lit>& block);

    // restarts and clause database
    void init_search_parameters();
    int64_t base_learnt_limit() const;
    bool restart_due() const;
    void update_restart_limit();
    void update_agility(int var);
    void clear_lbd_queue();
    void feed_lbd_queue(uint32_t lbd);
    void reduce_db_if_due();
    void reduce_db();
    void collect_learnt_memory();
    bool simplify();
    bool preprocess();
    void remove_satisfied(std::vector<Clause*>& list, int b);
    void shrink_watches();
    void reset_var_order();
    void rebuild_var_order();

    // backtrack points
    void open_btpoint_levels();
    void release_tlemmas(Lit b);
    void undo_decision_deps();
    void take_off_level_zero_guard(Lit b);
    void remove_vars_from(int var);

    // theory
    Clause* get_theory_conflict();
    Clause* get_theory_reason(Lit l, bool force);
    Clause* new_theory_clause(bool attach_it);
    bool add_theory_lemma(int* backjump);
    bool has_pending_lemmas();
    unsigned next_theory_lemma(bool* keep, bool* permanent);
    int ghost_backjump_level(const Clause* c);
    bool place_lemma(Clause* c);
    bool resolve_conflicting_lemmas();
    void store_tlemma(Clause* c);

    bool check_at_fixpoint() const;
    bool check_clause(const Clause* c) const;

    bool log_on(int level) const;
    void log_clause(int level, const char* text, const Lit* first, const Lit* last) const;

    const Configuration::Dpll& config_;
    TermManager* tm_;

    // Assignment. values_ has both literals of a variable side by side, so that propagation reads
    // the value of a literal with one byte load; the entry of the positive literal is the
    // variable's.
    std::vector<lbool> values_;    // by literal
    std::vector<VarData> vardata_; // by variable, like all that follow
    std::vector<Lit> trail_;       // room for every variable; trail_size_ are in use
    size_t trail_size_ = 0;
    std::vector<size_t> trail_lim_;  // length of the trail when level i + 1 was opened
    size_t qhead_ = 0;               // first entry not yet propagated
    std::vector<WatchList> watches_; // by literal: clauses to look at when that literal gets true
    std::vector<double> activity_;
    std::vector<uint8_t> polarity_; // lbool codes 0 and 1, or phase_invalidated
    std::vector<lbool> forced_phase_;
    std::vector<uint8_t> decision_;
    std::vector<uint8_t> seen_; // scratch of analysis; all 0 between uses
    std::vector<uint8_t> problem_var_;

    dpll::ClausePool pool_;        // permanent clauses
    dpll::ClausePool learnt_pool_; // learnt ones, moved together after reductions
    std::vector<Clause*> clauses_;
    std::vector<Clause*> learnts_;
    std::vector<Clause*> pending_units_; // no references: all are in clauses_ or learnts_
    Clause* theory_reason_; // empty clause; as a reason: the theory side explains on request
    uint32_t next_clause_id_ = 0;

    dpll::Heap<VarOrderLt> order_heap_;
    double var_inc_ = 1.0;
    double cla_inc_ = 1.0;
    uint64_t rnd_seed_;
    std::vector<int> preferred_;
    std::vector<int> ghost_vars_;

    std::vector<Lit> btpoints_;
    hsh::HashSet<int> btpoint_vars_;
    std::vector<uint32_t> btpoint_clause_ids_;
    // By point: the learnt clauses before that place are older; 0 after any have moved.
    std::vector<size_t> btpoint_learnt_marks_;
    std::vector<size_t> btpoint_dep_marks_;
    std::vector<size_t> btpoint_tlemma_marks_;
    std::vector<std::pair<int, int>> decision_deps_; // (var, dep) in the order made
    int unsat_level_ = -1;

    std::vector<const Term_*> proxies_; // by variable, null for none
    TermIndex proxy_vars_;

    std::vector<Lit> assumptions_;
    std::vector<Lit> conflict_;
    std::vector<lbool> model_;

    size_t theory_head_ = 0; // first trail entry not yet told to the theory side
    std::vector<size_t> theory_head_lim_;
    hsh::HashMap<uint32_t, unsigned> lemma_ids_; // clause id to lemma id
    std::vector<Clause*> stored_tlemmas_;        // one reference each

    // of the running enumeration
    bool allsat_ = false;
    AllSatModelFoundHook* allsat_hook_ = nullptr;
    std::vector<int> allsat_vars_;
    Lit allsat_guard_;
    int allsat_count_ = 0;
    std::vector<TheoryLit> hook_lits_; // scratch, passed to the hook

    // restarts and reductions
    double restart_limit_ = 0;
    int64_t luby_index_ = 1;
    int64_t luby_unit_ = 1;
    double agility_ = 0;
    std::vector<uint32_t> lbd_queue_; // ring of lbd_queue_capacity entries
    size_t lbd_queue_count_ = 0;
    size_t lbd_queue_head_ = 0;
    size_t lbd_queue_tail_ = 0;
    int64_t lbd_queue_sum_ = 0;
    int64_t reduce_base_ = 20000;
    int64_t reduce_step_ = 500;
    int64_t reduce_count_ = 1;
    int64_t learnt_limit_ = 0;
    int64_t simp_assigns_ = -1;
    int64_t simp_props_ = 0;
    bool preprocessed_ = false; // in this solve

    // per solve
    uint64_t solve_conflicts_ = 0;
    uint64_t solve_decisions_ = 0;
    uint64_t solve_propagations_ = 0;
    uint64_t conflict_limit_ = 0;
    uint64_t decision_limit_ = 0;
    uint64_t propagation_limit_ = 0;
    uint64_t search_conflicts_ = 0; // of the running search()

    // work since the termination test was asked
    uint64_t polled_conflicts_ = 0;
    uint64_t polled_propagations_ = 0;
    int unpolled_steps_ = 0;
    uint64_t ticks_ = 0;                  // decisions, for the progress ticker
    mutable uint64_t skipped_checks_ = 0; // of the invariants

    // scratch, named after the operation that uses it
    std::vector<Lit> learn_lits_;
    std::vector<int> analyze_clear_;
    struct RedundancyFrame {
        const Clause* c; // the reason being read
        uint32_t next;   // position in it
        int var;         // whose reason it is
    };
    std::vector<RedundancyFrame> redundancy_stack_;
    std::vector<int> analyze_last_level_; // variables of the conflict level with a learnt reason
    std::vector<Lit> theory_lits_;        // of a conflict or an explanation
    // Of a lemma being taken in: its new atoms may bring clauses, and these explanations.
    std::vector<Lit> lemma_lits_;
    std::vector<Clause*> conflicting_lemmas_;
    std::vector<uint32_t> lbd_stamp_; // by level
    uint32_t lbd_stamp_now_ = 0;
    std::vector<Clause*> removed_; // clauses on their way out of the lists

    Stats stats_;
    std::unique_ptr<DpllPreprocessor> preprocessor_; // null for none
    dpll::TheoryHook* theory_manager_ = nullptr;
    std::unique_ptr<dpll::GhostFilter> ghost_filter_; // null unless an option needs it
    const TerminationTest* termination_test_ = nullptr;
    Logger* logger_ = nullptr;
    std::string log_section_ = "DPLL";
    std::string log_prefix_;
};

} // namespace tarq
