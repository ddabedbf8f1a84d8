// Shared by the tests of the SAT engine: random numbers, random clauses, brute force, an
// independent check of learnt clauses, and an engine that reports what it learns.
#pragma once

#include "base/configuration.h"
#include "dpll/dpllsolver.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace tarq::test {

using dpll::Lit;
using Clauses = std::vector<std::vector<Lit>>;

/// A small fixed generator, so that a failing seed fails everywhere.
class Rng {
public:
    explicit Rng(uint64_t seed) : state_(seed * 0x9e3779b97f4a7c15 + 1) {}
    uint64_t next()
    {
        state_ += 0x9e3779b97f4a7c15;
        uint64_t z = state_;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
        z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
        return z ^ (z >> 31);
    }
    /// Uniform in [low, high].
    int range(int low, int high)
    {
        return low + static_cast<int>(next() % static_cast<uint64_t>(high - low + 1));
    }
    bool chance(int percent) { return range(1, 100) <= percent; }
    template <class T>
    const T& pick(const std::vector<T>& v)
    {
        return v[static_cast<size_t>(range(0, static_cast<int>(v.size()) - 1))];
    }

private:
    uint64_t state_;
};

inline std::vector<Lit> random_clause(Rng& rng, const std::vector<int>& vars, int max_size)
{
    std::vector<Lit> c;
    for (int i = rng.range(1, max_size); i > 0; --i) {
        c.emplace_back(rng.pick(vars), rng.chance(50));
    }
    return c;
}

/// Options of every kind at random, with limits so small that all upkeep runs on tiny problems.
inline void randomize(Configuration& c, Rng& rng, int restart_strategy)
{
    c.random_seed = rng.range(1, 1 << 30);
    c.unsat_core_generation = rng.chance(20) ? 2 : 0;
    Configuration::Dpll& d = c.dpll;
    d.restart_strategy = restart_strategy;
    d.restart_initial = rng.range(0, 4);
    d.restart_geometric_factor = rng.range(0, 3) * 0.6;
    d.store_tlemmas = rng.chance(20);
    d.branching_random_frequency = rng.chance(50) ? 0.3 : 0.0;
    d.branching_initial_phase = rng.range(0, 2);
    d.branching_cache_phase = rng.range(0, 2);
    d.branching_random_invalidate_phase_cache = rng.chance(30);
    d.branching_random_ignore_polarity = rng.chance(50);
    d.pop_btpoint_reset_var_order = rng.chance(50);
    d.glucose_var_activity = rng.chance(50);
    d.glucose_learnt_minimization = rng.chance(50);
    d.reduce_base_min = rng.range(0, 8);
    d.reduce_step_min = rng.range(0, 2);
    d.reduce_fraction = rng.chance(50) ? 0.5 : 1.0;
    d.learnt_limit_min = rng.range(1, 4);
    d.learnt_limit_scale = rng.range(0, 2);
    d.ghost_filtering = rng.chance(25);
    d.minimize_model = rng.chance(25);
    d.preprocessor.mode = rng.chance(60) ? rng.range(1, 2) : 0;
    d.preprocessor.clause_size_limit = rng.chance(30) ? 3 : 20;
    d.preprocessor.subsumption_size_limit = rng.chance(30) ? 4 : 1000;
    d.preprocessor.elimination_grow_limit = rng.range(0, 4);
    d.preprocessor.elimination_phase = rng.range(1, 2);
    d.preprocessor.elimination_recent_vars_only = rng.chance(30);
    d.preprocessor.try_reelimination = rng.chance(60);
}

inline bool satisfies(const std::vector<Lit>& clause, const std::function<bool(Lit)>& is_true)
{
    return std::any_of(clause.begin(), clause.end(), is_true);
}

/// Whether some assignment of `vars` satisfies all clauses, makes all of `also` true and passes
/// `extra` (which gets the value of a literal).
inline bool brute_force(const std::vector<int>& vars, const Clauses& clauses,
                        const std::vector<Lit>& also = {},
                        const std::function<bool(const std::function<bool(Lit)>&)>& extra = {})
{
    const int top = vars.empty() ? 0 : *std::max_element(vars.begin(), vars.end()) + 1;
    std::vector<int> place(static_cast<size_t>(top), 0);
    for (size_t i = 0; i < vars.size(); ++i) {
        place[static_cast<size_t>(vars[i])] = static_cast<int>(i);
    }
    for (uint32_t bits = 0; bits < (uint32_t{1} << vars.size()); ++bits) {
        const auto is_true = [&](Lit l) {
            return ((bits >> place[static_cast<size_t>(l.var())]) & 1) !=
                   static_cast<uint32_t>(l.sign());
        };
        if (std::all_of(also.begin(), also.end(), is_true) &&
            std::all_of(clauses.begin(), clauses.end(),
                        [&](const auto& c) { return satisfies(c, is_true); }) &&
            (!extra || extra(is_true))) {
            return true;
        }
    }
    return false;
}

/// Whether unit propagation alone shows that the clauses imply `c`.
inline bool follows_by_propagation(const Clauses& clauses, const std::vector<Lit>& c, int num_vars)
{
    std::vector<lbool> values(static_cast<size_t>(num_vars), l_Undef);
    const auto value = [&](Lit l) { return values[static_cast<size_t>(l.var())] ^ l.sign(); };
    const auto set_true = [&](Lit l) {
        values[static_cast<size_t>(l.var())] = lbool::from_bool(!l.sign());
    };
    for (Lit l : c) {
        set_true(~l);
    }
    for (bool changed = true; changed;) {
        changed = false;
        for (const auto& clause : clauses) {
            Lit unit = dpll::lit_Undef;
            size_t open = 0;
            bool satisfied = false;
            for (Lit l : clause) {
                satisfied = satisfied || value(l).is_true();
                if (value(l).is_undef() && l != unit) {
                    unit = l;
                    ++open;
                }
            }
            if (satisfied || open > 1) {
                continue;
            }
            if (open == 0) {
                return true;
            }
            set_true(unit);
            changed = true;
        }
    }
    return false;
}

/// Opens the protected part and passes on what is learnt.
class TestSolver : public DpllSolver {
public:
    using DpllSolver::DpllSolver;
    using DpllSolver::luby;
    std::function<void(const std::vector<Lit>&)> learnt_callback;

protected:
    void on_learnt(const std::vector<Lit>& lits) override
    {
        if (learnt_callback) {
            learnt_callback(lits);
        }
    }
};

/// Whether the last model makes the literal true. Any values must do for the variables that the
/// model leaves open: the even ones are false, the odd ones true.
inline bool is_true_in_model(const DpllSolver& s, Lit l)
{
    const lbool v = s.get_model_value(l.var());
    return ((v.is_undef() ? lbool::from_bool(l.var() % 2 != 0) : v) ^ l.sign()).is_true();
}

inline std::vector<int> new_vars(DpllSolver& s, int n)
{
    std::vector<int> vars;
    for (int i = 0; i < n; ++i) {
        vars.push_back(s.new_var());
    }
    return vars;
}

inline void add(DpllSolver& s, std::vector<Lit> lits)
{
    s.add_clause(lits);
}

/// n + 1 pigeons in n holes: unsat, with a number of conflicts that grows fast with n.
inline Clauses pigeonhole(int n)
{
    Clauses result;
    for (int p = 0; p <= n; ++p) {
        std::vector<Lit> somewhere;
        for (int h = 0; h < n; ++h) {
            somewhere.emplace_back(p * n + h);
            for (int q = 0; q < p; ++q) {
                result.push_back({Lit(p * n + h, true), Lit(q * n + h, true)});
            }
        }
        result.push_back(somewhere);
    }
    return result;
}

} // namespace tarq::test
