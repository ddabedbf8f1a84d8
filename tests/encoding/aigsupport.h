// What the tests of and-inverter graphs share: a sink that keeps clauses, and truth by enumeration.
#pragma once

#include "encoding/aigevaluator.h"
#include "encoding/aigmanager.h"

#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <vector>

namespace tarq {

/// The value of `a` where variable i (from 1) is bit i - 1 of `inputs`; those past 64 are false.
inline bool evaluate(const AigManager& m, Aig a, uint64_t inputs)
{
    AigEvaluator evaluator(&m);
    return evaluator(a, [&](uint32_t id, bool* value) {
        if (!m.is_var(Aig(id, false))) {
            return false;
        }
        const auto bit = static_cast<unsigned>(m.var(Aig(id, false)) - 1);
        *value = bit < 64 && (inputs >> bit & 1) != 0;
        return true;
    });
}

/// Keeps clauses over node ids: id for the node, -id for its negation.
class RecordingSink {
public:
    bool has_label(uint32_t id) const { return labels.count(id) != 0; }
    void set_label(uint32_t id) { labels.insert(id); }
    void add_literal(Aig a)
    {
        open_.push_back(a.is_negated() ? -static_cast<int>(a.id()) : static_cast<int>(a.id()));
    }
    void add_clause()
    {
        clauses.push_back(open_);
        open_.clear();
    }

    std::set<uint32_t> labels;
    std::vector<std::vector<int>> clauses;

private:
    std::vector<int> open_;
};

/// A random circuit over `num_vars` variables with about `size` operations.
inline Aig random_circuit(AigManager& m, std::mt19937& random, int num_vars, int size)
{
    std::vector<Aig> pool;
    for (int v = 1; v <= num_vars; ++v) {
        pool.push_back(m.aig_var(v));
    }
    const auto pick = [&] {
        // mostly recent results, so that the circuit gets deep
        const size_t n = pool.size();
        const size_t i =
            random() % 3 == 0 ? random() % n : n - 1 - random() % std::min<size_t>(n, 8);
        return pool[i] ^ (random() % 2 == 0);
    };
    for (int i = 0; i < size; ++i) {
        const Aig a = pick(), b = pick(), c = pick();
        switch (random() % 6) {
        case 0:
            pool.push_back(m.aig_iff(a, b));
            break;
        case 1:
            pool.push_back(m.aig_ite(a, b, c));
            break;
        case 2:
            pool.push_back(m.aig_or(a, b));
            break;
        default:
            pool.push_back(m.aig_and(a, b));
        }
    }
    return pick();
}

} // namespace tarq
