// Simplification of the engine's clauses by subsumption, self-subsuming resolution and elimination
// of variables. Sources by verb: _clauses (clauses and points come and go), _subsume, _eliminate
// (and bringing variables back), dpllpreprocessor.cpp (the runs, models).
#pragma once

#include "base/bitvector.h"
#include "base/configuration.h"
#include "base/lbool.h"
#include "base/reallocvector.h"
#include "dpll/clause.h"
#include "dpll/heap.h"
#include "dpll/occlists.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace tarq {

class DpllSolver;

/// The engine's clauses carry the extension words when it has a preprocessor. An eliminated variable
/// occurs in no clause of the engine and is never assigned. It comes back when it is frozen, or when
/// a clause is about to use it.
///
/// Keeps an occurrence list per literal over the engine's permanent clauses, and works on them
/// between searches, at level 0 of the engine.
///
/// Backtrack points need no special care, since their guards are literals of the clauses like any
/// others, but frozen. Resolution treats a guard as it would after the pop, when the guarded clause
/// is gone: the resolvent of clauses of which one is guarded is guarded as well, so it goes with
/// its parent, and elimination before a pop gives what elimination after it would have given. Since
/// a point lives only while all older ones do, a clause needs the newest of its guards alone, and a
/// clause may make another one redundant whose guard is the same or newer.
///
/// A clause is never changed in place: a shorter one is a new object, so that others who hold the
/// old one (see Clause) keep what they were told. Clauses of theories stay as they are, since the
/// theory side counts on them, and their variables are frozen.
///
/// Owns the saved clauses. Borrows the engine, and works on its internals.
///
/// Invariants, outside of a run:
///   1. An active clause is in the engine's clauses and in the lists of its literals.
///   2. An eliminated variable is in no active and no learnt clause, is unassigned, and has one
///      step in `rewrite_trail_`. The clauses saved in that step mention no variable that was
///      eliminated before it.
class DpllPreprocessor {
public:
    using Lit = dpll::Lit;
    using Clause = dpll::Clause;

    struct Stats {
        uint64_t clauses_added = 0;
        uint64_t clauses_removed = 0;
        uint64_t subsumed = 0;
        uint64_t strengthened = 0;
        uint64_t subsumption_calls = 0;
        uint64_t elimination_attempts = 0;
        uint64_t eliminated = 0;
        uint64_t brought_back = 0;
    };

    /// One change of the problem that a model has to be told of.
    class RewriteStep {
    public:
        enum class Type { variable_elimination };

        virtual ~RewriteStep() = default;
        virtual Type type() const = 0;
        /// Makes the assignment, which is that of a model of what was left, one of what there was.
        virtual void extend_model_based_on_this_rewrite(std::vector<lbool>& model) const = 0;
    };
    class VariableEliminationStep;

    DpllPreprocessor(const Configuration::Dpll::Preprocessor& config, DpllSolver* engine);
    ~DpllPreprocessor();
    DpllPreprocessor(const DpllPreprocessor&) = delete;
    DpllPreprocessor& operator=(const DpllPreprocessor&) = delete;

    void new_var();
    /// The highest variable, which is in no clause any more, goes away.
    void pop_var();
    /// A frozen variable is never eliminated; one that was eliminated comes back.
    void set_frozen(int var, bool frozen);
    bool is_frozen(int var) const { return frozen_[index(var)] != 0; }
    bool has_been_eliminated(int var) const { return eliminated_at_[index(var)] >= 0; }
    int num_eliminated() const { return num_eliminated_; }
    /// Whether `var` is that of an open backtrack point.
    bool is_bt_point(int var) const { return is_point_[index(var)] != 0; }

    /// A clause with these literals is about to be added: restores what it needs.
    /// freeze  the variables must also stay from now on
    void bring_back(const std::vector<Lit>& lits, bool freeze);
    /// A permanent clause joined the engine.
    void tell_clause(Clause* c);
    /// A permanent clause is on its way out.
    void retract_clause(Clause* c);
    /// The retracted clauses are about to be freed.
    void forget_retracted();

    /// The point of that variable opens.
    void push_backtrack_point(int var);
    /// The newest point closes. Comes before its clauses and variables go.
    void pop_backtrack_point();
    /// The clauses and variables of a closed point are gone.
    void flush_model_reconstruction_stack();

    /// Simplifies the clauses, for which the engine goes back to level 0 if there is something to
    /// do. Does nothing above the levels of the points, or while clauses wait to be taken in.
    /// first    the first time in this solve
    /// returns  false when the clauses are unsatisfiable
    /// throws   what the termination test throws; what was done until then stands
    bool boolean_preprocessing(bool first);

    /// Gives eliminated variables values in `model`, indexed by variable, that satisfy the saved
    /// clauses. Variables in these without a value become false.
    void extend_model(std::vector<lbool>& model) const;

    const Stats& get_stats() const { return stats_; }
    /// Logs the counters at level 3, with the seconds and the outcome of a run.
    void print_stats(double time, bool unsat) const;

private:
    /// What the preprocessor's word of a clause holds: a state, and marks.
    enum State : uint32_t {
        ACTIVE = 0,
        INACTIVE = 1, // saved in a step
        DROPPED = 2,  // gone, but not yet freed
        STATE_MASK = 3,
        QUEUED = 4,    // in subsumption_queue_
        UNWATCHED = 8, // made in this run, not yet attached
        FRESH = 16,    // in fresh_, and in none of the lists
    };
    struct OccursDeleted {
        bool operator()(const Clause* c) const { return state_of(c) != ACTIVE; }
    };
    struct ElimLt {
        const std::vector<uint32_t>* n_occ;
        bool operator()(int a, int b) const
        {
            const auto cost = [this](int v) {
                return static_cast<uint64_t>((*n_occ)[index(v) * 2]) * (*n_occ)[index(v) * 2 + 1];
            };
            const uint64_t x = cost(a);
            const uint64_t y = cost(b);
            return x < y || (x == y && a > b); // younger ones rather name something older
        }
    };
    using Occurrences = dpll::OccLists<int, ReallocVector<Clause*>, OccursDeleted>;

    static size_t index(int i) { return static_cast<size_t>(i); }
    static uint32_t state_of(const Clause* c) { return c->preprocessor_state() & STATE_MASK; }
    static bool is_active(const Clause* c) { return state_of(c) == ACTIVE; }
    static void set_state(Clause* c, State s);
    bool is_guard(Lit l) const { return is_bt_point(l.var()); }

    // clauses
    void enter_fresh_clauses();
    void add_clause_to_problem(Clause* c);
    void leave_occurrences(Clause* c);
    void make_active_clause_dropped(Clause* c);
    void make_active_clause_inactive(Clause* c);
    void make_inactive_clause_active(Clause* c);
    void note_guard(Clause* c) const;
    void enqueue_for_subsumption(Clause* c);
    bool add_derived_clause(const std::vector<Lit>& lits);
    bool add_unit(Lit l);
    void strenghten_clause(Clause* c, Lit l);
    void count_occurrence(Lit l, int change);
    void update_elim_heap(int var);
    void unwatch(Clause* c);
    void clean_solver_database();
    void attach_derived_clauses();
    void clean_watches();
    void clean_learnt_clauses();
    bool should_drop_learnt_clause(const Clause* c) const;

    // a run
    bool has_work(bool eliminates) const;
    bool run(bool eliminates);
    void reset_elimination_stats();
    void poll();

    // subsumption
    bool backward_subsumption_check();
    bool propagate_unit(Lit l);
    int check_satsified(const Clause* c) const;
    bool simplify_by_values(Clause* c);
    void subsume_with(const Clause* c);
    void try_to_subsume(const Clause* c, uint32_t size, Clause* d);
    void gather_touched_clauses();
    void clear_subsumption_queue();

    // elimination
    bool eliminate_from_heap();
    bool may_be_eliminated(int var) const;
    bool eliminate(int var);
    bool merge(const Clause* p, const Clause* n, int var);
    bool perform_reelimination();
    void return_saved_clauses(int var);

    const Configuration::Dpll::Preprocessor& config_;
    DpllSolver* engine_;

    Occurrences occurrences_;        // by literal
    std::vector<uint32_t> n_occ_;    // by literal: active clauses
    std::vector<uint8_t> frozen_;    // by variable, as are the next
    std::vector<uint8_t> touched_;   // in touched_list_
    std::vector<int> eliminated_at_; // position in rewrite_trail_, or -1
    std::vector<uint8_t> is_point_;
    BitVector too_dense_;
    BitVector stays_; // was brought back, and is not to be eliminated again
    std::vector<int> touched_list_;
    dpll::Heap<ElimLt> elim_heap_;
    std::vector<Clause*> fresh_; // told since the last run
    std::vector<Clause*> subsumption_queue_;
    size_t subsumption_head_ = 0;
    std::vector<int> brought_back_; // variables to try again, in the order of their steps

    std::vector<std::unique_ptr<VariableEliminationStep>> rewrite_trail_; // null where undone
    int num_eliminated_ = 0;

    std::vector<int> points_;                   // variables of the open points, oldest first
    std::vector<std::vector<int>> saved_under_; // by point: variables whose steps hold its clauses

    size_t trail_done_ = 0; // literals of level 0 that the clauses have been simplified by
    int last_var_count_ = 0;
    bool retracted_fresh_ = false;  // a fresh clause was retracted
    bool retracted_ = false;        // a clause was retracted and is still in lists
    bool retracted_queued_ = false; // also in the queue

    // within a run
    bool running_ = false;
    bool changed_ = false;
    bool eliminated_any_ = false;
    std::vector<Clause*> derived_;   // UNWATCHED
    std::vector<Lit> dirty_watches_; // watch lists that hold clauses which went away
    std::vector<uint8_t> is_dirty_;  // by literal: in dirty_watches_
    std::vector<uint8_t> mark_;      // by literal; all 0 between uses
    std::vector<Lit> resolvent_;
    std::vector<Lit> resolvents_; // one after the other
    std::vector<size_t> resolvent_ends_;
    int64_t subsumption_budget_ = 0;
    int64_t elimination_budget_ = 0;
    uint32_t unpolled_ = 0;

    Stats stats_;
};

/// An eliminated variable with the clauses it was in, by the sign of its literal.
class DpllPreprocessor::VariableEliminationStep : public RewriteStep {
public:
    explicit VariableEliminationStep(int var) : var_(var) {}

    Type type() const override { return Type::variable_elimination; }
    int var() const { return var_; }
    std::vector<Clause*>& saved(int sign) { return saved_[sign]; }
    void extend_model_based_on_this_rewrite(std::vector<lbool>& model) const override;

private:
    int var_;
    std::vector<Clause*> saved_[2];
};

} // namespace tarq
