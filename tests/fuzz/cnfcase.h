// A random test of the SAT engine as data: options, clauses, scopes and queries; its text form, its
// random generation and the ways to make it smaller. Knows nothing of the engine.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace tarq::fuzz {

/// Literals are DIMACS integers: variables from 1, negative for negated.
using Lits = std::vector<int>;

struct Op {
    enum Kind { clause, push, pop, solve } kind = clause;
    Lits lits; // of the clause, or the assumptions of the query
};

/// A sequence of operations. A variable belongs to the scope in which it is first met and is a new
/// one when met again after the pop of that scope.
struct Case {
    std::vector<std::pair<std::string, std::string>> options;
    std::vector<Op> ops;
};

/// The clauses in force and the assumptions at one query.
struct Query {
    std::vector<Lits> clauses;
    Lits assumptions;
};

/// One line per option and operation; read_case reads it back.
std::string to_text(const Case& c);
/// Throws std::runtime_error, naming the line, on text that is no case.
Case read_case(const std::string& text);
/// One entry per solve operation. A pop without push is ignored, here and by whoever runs the case.
std::vector<Query> queries_of(const Case& c);

/// Plain CNFs and incremental ones, of several shapes and up to max_vars variables; without
/// options.
Case random_case(std::mt19937_64& rng, int max_vars);
/// Random values for the options of the search, restart_strategy excepted.
std::vector<std::pair<std::string, std::string>> random_options(std::mt19937_64& rng);

/// All results of removing one run of `size` operations, one literal (size 0) or one option (size
/// -1).
std::vector<Case> smaller_cases(const Case& c, int size);

} // namespace tarq::fuzz
