// The sink through which the CNF encoder writes clauses into the SAT engine.
#pragma once

#include "dpll/lit.h"

#include <cstdint>
#include <vector>

namespace tarq {

class DpllSolver;
class PolarityChecker;
class TermManager;
class Term_;

namespace dpll {
class Clause;
}

/// Turns literals over terms into literals over variables, making proxies on the way.
/// Borrows all it is built with.
class DpllClauseSink {
public:
    /// Counted since creation.
    struct Stats {
        uint64_t variables = 0;
        uint64_t literals = 0;
        uint64_t clauses = 0;
    };

    /// tm                    strips negations
    /// solver                where clauses go
    /// polarity              asked for initial phases under `dpll.branching_initial_phase` 2; may
    ///                       be null
    /// initial_phase         the value of that option
    /// keep_dropped_clauses  end_clause returns an object also for a clause that the engine dropped
    DpllClauseSink(TermManager* tm, DpllSolver* solver, const PolarityChecker* polarity,
                   int initial_phase, bool keep_dropped_clauses);
    virtual ~DpllClauseSink();
    DpllClauseSink(const DpllClauseSink&) = delete;
    DpllClauseSink& operator=(const DpllClauseSink&) = delete;

    /// Starts a clause. The flag, always true from the encoder, has no effect.
    virtual void begin_clause(bool permanent);
    /// Adds the clause to the engine.
    /// Returns the clause object, or null when there is none. The object is borrowed: one that the
    /// engine dropped lives until the next begin_clause unless a reference is added.
    virtual dpll::Clause* end_clause();
    /// A node is about to be defined by clauses: gives it its variable.
    virtual void create_label(const Term_* t);
    /// Appends the term, or its negation, to the open clause; negations on the term are stripped.
    virtual void add_literal(const Term_* t, bool negate);

    const Stats& get_stats() const { return stats_; }

private:
    int proxy(const Term_* t);
    void drop_kept();

    TermManager* tm_;
    DpllSolver* solver_;
    const PolarityChecker* polarity_;
    int initial_phase_;
    bool keep_dropped_clauses_;
    std::vector<dpll::Lit> lits_;
    std::vector<dpll::Lit> original_; // the literals before the engine permuted and guarded them
    dpll::Clause* kept_ = nullptr;
    Stats stats_;
};

} // namespace tarq
