// Congruence closure alone: time and allocations of merging and undoing, from 10,000 to 1,000,000
// terms, and the memory of a long loop of telling and retracting.
//
//     euf_bench [SIZE...]        sizes in application terms; default 10000 30000 100000 300000
//     1000000 euf_bench --loop [ROUNDS]  rounds of 50 atoms each; default 10000
#include "allocations.h"
#include "theory/euf/eufsolverinterface.h"
#include "theory/iesimplifier.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <random>
#include <string>
#include <vector>

using namespace tarq;

namespace {

double seconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

struct Problem {
    TermManager tm;
    TermVector equalities; // to be asserted in this order
    TermVector applications;

    /// n applications of a unary and a binary function to random constants and each other, and
    /// random equalities between constants, enough to merge nearly all of them.
    Problem(size_t n, uint32_t seed)
    {
        std::mt19937 rng(seed);
        const DataType* u = tm.get_simple_type("U");
        const Symbol* f = tm.make_symbol("f", tm.get_function_type({u}, u));
        const Symbol* g = tm.make_symbol("g", tm.get_function_type({u, u}, u));
        TermVector constants;
        for (size_t i = 0; i < n / 2; ++i) {
            constants.push_back(tm.make_constant(tm.make_symbol("c" + std::to_string(i), u)));
        }
        const auto any = [&](const TermVector& v) {
            return v[std::uniform_int_distribution<size_t>(0, v.size() - 1)(rng)];
        };
        while (applications.size() < n) {
            const size_t before = applications.size();
            const Term_* a = before > 100 && rng() % 4 == 0 ? any(applications) : any(constants);
            TermVector args{a};
            if (rng() % 2) {
                args.push_back(any(constants));
            }
            applications.push_back(tm.make_uninterpreted_function(args.size() == 1 ? f : g, args));
        }
        for (size_t i = 0; i < n / 2; ++i) {
            const Term_* eq = make_interface_equality(&tm, any(constants), any(constants));
            if (tm.is_equal(eq)) {
                equalities.push_back(eq);
            }
        }
    }
};

struct PerMerge {
    double steps;
    double ns;
};

PerMerge merges_of_size(size_t n)
{
    Problem p(n, 1);
    euf::Solver s(&p.tm);
    for (const Term_* t : p.applications) {
        s.tell_term(t);
    }
    for (const Term_* t : p.equalities) {
        s.tell_atom(t);
    }
    double best = 1e9;
    double best_undo = 1e9;
    size_t allocations = 0;
    size_t merges = 0;
    uint64_t steps = 0;
    for (int round = 0; round < 4; ++round) {
        const size_t merges_before = s.get_stats().merges;
        const size_t allocations_before = num_allocations;
        const uint64_t steps_before = s.get_stats().merge_steps;
        s.push_checkpoint();
        const double start = seconds();
        for (const Term_* t : p.equalities) {
            s.push_constraint(t, true);
        }
        const double middle = seconds();
        s.backtrack(1);
        const double end = seconds();
        merges = s.get_stats().merges - merges_before;
        allocations = num_allocations - allocations_before;
        steps = s.get_stats().merge_steps - steps_before;
        best = std::min(best, middle - start);
        best_undo = std::min(best_undo, end - middle);
    }
    const PerMerge per_merge{static_cast<double>(steps) / static_cast<double>(merges),
                             best * 1e9 / static_cast<double>(merges)};
    std::printf("%9zu terms %9zu merges %8.3f s merge %8.3f s undo %7.0f ns/merge "
                "%6.2f steps/merge %zu allocations after warm-up\n",
                n, merges, best, best_undo, per_merge.ns, per_merge.steps, allocations);
    return per_merge;
}

size_t memory_in_use()
{
    return mallinfo2().uordblks + mallinfo2().hblkhd;
}

void loop(size_t rounds)
{
    TermManager tm;
    Configuration config;
    const DataType* u = tm.get_simple_type("U");
    const Symbol* f = tm.make_symbol("f", tm.get_function_type({u, u}, u));
    TermVector c;
    for (int i = 0; i < 30; ++i) {
        c.push_back(tm.make_constant(tm.make_symbol("c" + std::to_string(i), u)));
    }
    TermVector atoms;
    for (size_t i = 0; i < 50; ++i) {
        const Term_* a = tm.make_uninterpreted_function(f, TermVector{c[i % 30], c[(7 * i) % 30]});
        atoms.push_back(make_interface_equality(&tm, a, c[(11 * i + 1) % 30]));
    }
    EufSolverInterface s(config.theory.euf, &tm);
    size_t at_100 = 0;
    const double start = seconds();
    for (size_t round = 0; round < rounds; ++round) {
        s.push_backtrack_point();
        s.new_decision_level();
        for (size_t i = 0; i < atoms.size(); ++i) {
            s.tell_atom(atoms[i]);
            s.assume(TheoryLit(atoms[i], (i * round) % 3 == 0));
            if (i % 10 == 9) {
                s.check(true);
                s.new_decision_level();
            }
        }
        s.cancel_until(0);
        for (size_t i = atoms.size(); i-- > 0;) {
            s.retract_atom(atoms[i]);
        }
        s.pop_backtrack_point();
        if (round == 99) {
            at_100 = memory_in_use();
        }
    }
    std::printf("%zu rounds in %.3f s: %zu bytes after 100 rounds, %zu at the end (%+.2f%%)\n",
                rounds, seconds() - start, at_100, memory_in_use(),
                100.0 * (static_cast<double>(memory_in_use()) / static_cast<double>(at_100) - 1));
}

/// A line by least squares.
struct Line {
    double constant;
    double slope;
    double at(double x) const { return constant + slope * x; }
};

Line fit(const std::vector<double>& x, const std::vector<double>& y)
{
    const double k = static_cast<double>(x.size());
    double sx = 0, sy = 0, sxx = 0, sxy = 0;
    for (size_t i = 0; i < x.size(); ++i) {
        sx += x[i];
        sy += y[i];
        sxx += x[i] * x[i];
        sxy += x[i] * y[i];
    }
    const double slope = (k * sxy - sx * sy) / (k * sxx - sx * sx);
    return {(sy - slope * sx) / k, slope};
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1 && std::strcmp(argv[1], "--loop") == 0) {
        loop(argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 10000);
        return 0;
    }
    std::vector<size_t> sizes;
    for (int i = 1; i < argc; ++i) {
        sizes.push_back(std::strtoul(argv[i], nullptr, 10));
    }
    if (sizes.empty()) {
        sizes = {10000, 30000, 100000, 300000, 1000000};
    }
    std::vector<double> logs, steps, times;
    for (size_t n : sizes) {
        const PerMerge m = merges_of_size(n);
        logs.push_back(std::log2(static_cast<double>(n)));
        steps.push_back(m.steps);
        times.push_back(std::log2(m.ns));
    }
    if (sizes.size() > 1) {
        const Line l = fit(logs, steps);
        double off = 0;
        for (size_t i = 0; i < sizes.size(); ++i) {
            off = std::max(off, std::abs(l.at(logs[i]) - steps[i]) / steps[i]);
        }
        std::printf("steps per merge: %.2f %+.3f log2 n, within %.1f%%\n"
                    "time per merge: grows as n^%.3f, caches included\n",
                    l.constant, l.slope, 100 * off, fit(logs, times).slope);
    }
    return 0;
}
