#include "cnfcase.h"

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <stdexcept>

namespace tarq::fuzz {

namespace {

const char* const op_names[] = {"clause", "push", "pop", "solve"};

int pick(std::mt19937_64& rng, int low, int high)
{
    // not uniform_int_distribution, whose results differ between libraries
    return low + static_cast<int>(rng() % static_cast<uint64_t>(high - low + 1));
}

bool chance(std::mt19937_64& rng, int percent)
{
    return pick(rng, 1, 100) <= percent;
}

int random_literal(std::mt19937_64& rng, int vars)
{
    const int v = pick(rng, 1, vars);
    return chance(rng, 50) ? v : -v;
}

/// Distinct variables, random signs.
Lits random_clause(std::mt19937_64& rng, int vars, int size)
{
    Lits out;
    while (static_cast<int>(out.size()) < std::min(size, vars)) {
        const int l = random_literal(rng, vars);
        if (std::none_of(out.begin(), out.end(), [l](int x) { return x == l || x == -l; })) {
            out.push_back(l);
        }
    }
    return out;
}

/// Uniform clauses of one size with a ratio around the threshold.
std::vector<Lits> uniform(std::mt19937_64& rng, int vars)
{
    const int ratio[] = {0,   0,   100,
                         427, 990, 2110}; // clauses per hundred variables, by clause size
    const int size = vars < 40 ? pick(rng, 2, 5) : pick(rng, 2, 3);
    const int count = vars * ratio[size] * pick(rng, 80, 115) / 10000;
    std::vector<Lits> out;
    for (int i = 0; i < count; ++i) {
        out.push_back(random_clause(rng, vars, size));
    }
    return out;
}

/// Sizes 1 to 6, with literals repeated and both signs in one clause now and then.
std::vector<Lits> mixed(std::mt19937_64& rng, int vars)
{
    std::vector<Lits> out;
    const int count = vars * pick(rng, 15, 60) / 10;
    for (int i = 0; i < count; ++i) {
        const int size = chance(rng, 3) ? 1 : pick(rng, 2, 6);
        Lits c;
        for (int k = 0; k < size; ++k) {
            c.push_back(random_literal(rng, vars));
        }
        out.push_back(c);
    }
    if (chance(rng, 3)) {
        out.push_back({});
    }
    return out;
}

/// Parities of three variables, in the direct clauses.
std::vector<Lits> parities(std::mt19937_64& rng, int vars)
{
    std::vector<Lits> out;
    const int n = std::min(vars, 36); // hard beyond
    for (int i = pick(rng, n * 7 / 10, n * 11 / 10); i > 0; --i) {
        const Lits v = random_clause(rng, n, 3);
        const int odd = pick(rng, 0, 1);
        for (int bits = 0; bits < 1 << v.size(); ++bits) {
            Lits c;
            int ones = 0;
            for (size_t k = 0; k < v.size(); ++k) {
                const bool flip = (bits >> k & 1) != 0;
                ones += flip ? 1 : 0;
                c.push_back(flip ? -v[k] : v[k]);
            }
            if (ones % 2 != odd) {
                out.push_back(c);
            }
        }
    }
    return out;
}

/// Mostly binary clauses, as chains of implications, with some long ones over them.
std::vector<Lits> chains(std::mt19937_64& rng, int vars)
{
    std::vector<Lits> out;
    for (int i = vars * pick(rng, 5, 11) / 10; i > 0; --i) {
        out.push_back(random_clause(rng, vars, 2));
    }
    for (int i = vars * pick(rng, 0, 20) / 10; i > 0; --i) {
        out.push_back(random_clause(rng, vars, pick(rng, 3, 8)));
    }
    return out;
}

/// Pigeons into holes, some forbidden pairs left out at random, signs and names shuffled.
std::vector<Lits> pigeons(std::mt19937_64& rng, int vars)
{
    int holes = 2;
    while ((holes + 1) * (holes + 2) <= vars && holes < 6) {
        ++holes;
    }
    const int n = holes + 1;
    std::vector<int> name(static_cast<size_t>(n * holes));
    for (size_t i = 0; i < name.size(); ++i) {
        name[i] = static_cast<int>(i) + 1;
    }
    for (size_t i = name.size(); i > 1; --i) {
        std::swap(name[i - 1], name[rng() % i]);
    }
    for (int& v : name) {
        v = chance(rng, 50) ? v : -v;
    }
    const int drop = pick(rng, 0, 3);
    std::vector<Lits> out;
    for (int p = 0; p < n; ++p) {
        Lits c;
        for (int h = 0; h < holes; ++h) {
            c.push_back(name[static_cast<size_t>(p * holes + h)]);
        }
        out.push_back(c);
        for (int h = 0; h < holes; ++h) {
            for (int q = 0; q < p; ++q) {
                if (!chance(rng, drop)) {
                    out.push_back({-name[static_cast<size_t>(p * holes + h)],
                                   -name[static_cast<size_t>(q * holes + h)]});
                }
            }
        }
    }
    return out;
}

std::vector<Lits> random_clauses(std::mt19937_64& rng, int vars)
{
    switch (pick(rng, 0, 9)) {
    case 0:
    case 1:
        return mixed(rng, vars);
    case 2:
        return parities(rng, vars);
    case 3:
    case 4:
        return chains(rng, vars);
    case 5:
        return pigeons(rng, vars);
    default:
        return uniform(rng, vars);
    }
}

Op random_solve(std::mt19937_64& rng, int vars)
{
    Op op{Op::solve, {}};
    if (!chance(rng, 35)) {
        for (int i = pick(rng, 1, 2 + std::min(vars, 30) / 2); i > 0; --i) {
            op.lits.push_back(random_literal(rng, vars));
        }
    }
    return op;
}

} // namespace

std::string to_text(const Case& c)
{
    std::ostringstream out;
    for (const auto& o : c.options) {
        out << "option " << o.first << ' ' << o.second << '\n';
    }
    for (const Op& op : c.ops) {
        out << op_names[op.kind];
        for (int l : op.lits) {
            out << ' ' << l;
        }
        out << '\n';
    }
    return out.str();
}

Case read_case(const std::string& text)
{
    Case c;
    std::istringstream in(text);
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        std::istringstream words(line);
        std::string word;
        if (!(words >> word) || word[0] == '#') {
            continue;
        }
        if (word == "option") {
            std::pair<std::string, std::string> o;
            words >> o.first >> o.second;
            c.options.push_back(o);
            continue;
        }
        const auto* name = std::find(std::begin(op_names), std::end(op_names), word);
        if (name == std::end(op_names)) {
            throw std::runtime_error("line " + std::to_string(number) + ": unknown operation " +
                                     word);
        }
        Op op{static_cast<Op::Kind>(name - std::begin(op_names)), {}};
        for (int l = 0; words >> l;) {
            op.lits.push_back(l);
        }
        c.ops.push_back(op);
    }
    return c;
}

std::vector<Query> queries_of(const Case& c)
{
    std::vector<Query> out;
    std::vector<Lits> clauses;
    std::vector<size_t> marks;
    for (const Op& op : c.ops) {
        if (op.kind == Op::clause) {
            clauses.push_back(op.lits);
        } else if (op.kind == Op::push) {
            marks.push_back(clauses.size());
        } else if (op.kind == Op::solve) {
            out.push_back({clauses, op.lits});
        } else if (!marks.empty()) {
            clauses.resize(marks.back());
            marks.pop_back();
        }
    }
    return out;
}

Case random_case(std::mt19937_64& rng, int max_vars)
{
    Case c;
    const int vars = pick(rng, 3, max_vars);
    const bool incremental = chance(rng, 40);
    for (Lits& l : random_clauses(rng, vars)) {
        c.ops.push_back({Op::clause, std::move(l)});
        if (incremental && chance(rng, 8)) {
            switch (pick(rng, 0, 5)) {
            case 0:
                c.ops.push_back({Op::pop, {}});
                break;
            case 1:
            case 2:
                c.ops.push_back({Op::push, {}});
                break;
            default:
                c.ops.push_back(random_solve(rng, vars));
            }
        }
    }
    c.ops.push_back({Op::solve, {}});
    const int more = incremental ? pick(rng, 0, 8) : pick(rng, 0, 2);
    for (int i = 0; i < more; ++i) {
        if (incremental && chance(rng, 25)) {
            c.ops.push_back({Op::pop, {}});
        }
        c.ops.push_back(random_solve(rng, vars));
    }
    return c;
}

std::vector<std::pair<std::string, std::string>> random_options(std::mt19937_64& rng)
{
    // Small restart units: most cases would end before the first restart otherwise.
    static const std::vector<std::pair<const char*, std::vector<const char*>>> values = {
        {"restart_initial", {"0", "1", "2", "5", "20", "200"}},
        {"restart_geometric_factor", {"0", "1", "1.1", "1.5", "4"}},
        {"store_tlemmas", {"0", "1"}},
        {"branching_random_frequency", {"0", "0.001", "0.1", "0.5", "1"}},
        {"branching_initial_phase", {"0", "1", "2"}},
        {"branching_cache_phase", {"0", "1", "2"}},
        {"branching_random_invalidate_phase_cache", {"0", "1"}},
        {"branching_random_ignore_polarity", {"0", "1"}},
        {"pop_btpoint_reset_var_order", {"0", "1"}},
        {"glucose_var_activity", {"0", "1"}},
        {"glucose_learnt_minimization", {"0", "1"}},
        {"random_seed", {"0", "1", "91648253"}},
        // not options: how early and how hard the learnt clauses are reduced
        {"reduce_base_min", {"0", "5", "50"}},
        {"reduce_step_min", {"0", "2"}},
        {"reduce_fraction", {"0.5", "1"}},
        {"learnt_limit_min", {"0", "5", "50"}},
        {"learnt_limit_scale", {"0", "1"}},
        {"preprocessor.mode", {"1", "2"}},
        {"preprocessor.clause_size_limit", {"0", "3", "20"}},
        {"preprocessor.subsumption_size_limit", {"0", "4", "1000"}},
        {"preprocessor.elimination_grow_limit", {"-2", "0", "3", "20"}},
        {"preprocessor.elimination_phase", {"1", "2", "3"}},
        {"preprocessor.elimination_recent_vars_only", {"0", "1"}},
        {"preprocessor.try_reelimination", {"0", "1"}},
    };
    std::vector<std::pair<std::string, std::string>> out;
    for (const auto& v : values) {
        if (chance(rng, 50)) {
            out.emplace_back(v.first, v.second[rng() % v.second.size()]);
        }
    }
    return out;
}

std::vector<Case> smaller_cases(const Case& c, int size)
{
    std::vector<Case> out;
    if (size < 0) {
        for (size_t i = 0; i < c.options.size(); ++i) {
            out.push_back(c);
            out.back().options.erase(out.back().options.begin() + static_cast<std::ptrdiff_t>(i));
        }
        return out;
    }
    for (size_t i = 0; i < c.ops.size(); i += static_cast<size_t>(std::max(size, 1))) {
        if (size == 0) {
            for (size_t k = 0; k < c.ops[i].lits.size(); ++k) {
                out.push_back(c);
                Lits& lits = out.back().ops[i].lits;
                lits.erase(lits.begin() + static_cast<std::ptrdiff_t>(k));
            }
            continue;
        }
        out.push_back(c);
        const auto first = out.back().ops.begin() + static_cast<std::ptrdiff_t>(i);
        const size_t count = std::min(static_cast<size_t>(size), c.ops.size() - i);
        out.back().ops.erase(first, first + static_cast<std::ptrdiff_t>(count));
    }
    return out;
}

} // namespace tarq::fuzz
