// Answers about clause sets that owe nothing to the engine: truth tables, and an external solver.
#pragma once

#include "cnfcase.h"

#include <string>

namespace tarq::fuzz {

/// Decides clause sets with up to table_limit variables by truth table and others by an external
/// SAT solver, run as a process on a DIMACS file with the exit status 10 or 20 as its answer.
class CnfOracle {
public:
    static constexpr int table_limit = 16;
    enum class Answer { sat, unsat, unknown };

    /// solver  program and options, split at blanks; empty for none, when large sets are unknown
    explicit CnfOracle(const std::string& solver) : solver_(solver) {}

    /// units  each is one more clause
    Answer decide(const std::vector<Lits>& clauses, const Lits& units);

    long num_tables() const { return num_tables_; }
    long num_runs() const { return num_runs_; }

private:
    Answer run_solver(const std::vector<Lits>& clauses);

    std::string solver_;
    long num_tables_ = 0;
    long num_runs_ = 0;
};

/// Whether the clauses have a model, tried out over all assignments.
/// clauses  over at most CnfOracle::table_limit different variables
bool satisfiable_by_table(const std::vector<Lits>& clauses);

} // namespace tarq::fuzz
