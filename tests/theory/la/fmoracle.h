// Fourier-Motzkin elimination: decides small systems of linear inequalities exactly, by a method
// that has nothing in common with a simplex.
#pragma once

#include "terms/numbers.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace tarq::test {

/// sum coeffs[i] * x_i <= bound, or < if strict.
struct Inequality {
    std::vector<QNumber> coeffs;
    QNumber bound;
    bool strict = false;

    /// The inequality of the opposite side: not (this).
    Inequality negation() const
    {
        Inequality n(*this);
        for (QNumber& c : n.coeffs) {
            c.self_neg();
        }
        n.bound.self_neg();
        n.strict = !strict;
        return n;
    }
    /// Scales the first coefficient to 1 or -1.
    void normalize()
    {
        const auto first = std::find_if(coeffs.begin(), coeffs.end(),
                                        [](const QNumber& c) { return !c.is_zero(); });
        if (first != coeffs.end()) {
            const QNumber factor = abs(*first).inv();
            for (QNumber& c : coeffs) {
                c *= factor;
            }
            bound *= factor;
        }
    }
    bool operator==(const Inequality& o) const = default;
    bool holds(const std::vector<QNumber>& x) const
    {
        QNumber sum;
        for (size_t i = 0; i < coeffs.size(); ++i) {
            sum += coeffs[i] * x[i];
        }
        return strict ? sum < bound : sum <= bound;
    }
};

/// Whether the inequalities have a common solution over the rationals. Exponential.
inline bool fm_satisfiable(std::vector<Inequality> system)
{
    const size_t n = system.empty() ? 0 : system[0].coeffs.size();
    std::vector<bool> done(n, false);
    for (size_t round = 0; round < n; ++round) {
        // the variable with the fewest pairs goes first
        size_t v = n;
        size_t least = 0;
        for (size_t i = 0; i < n; ++i) {
            size_t count[2] = {0, 0};
            for (const Inequality& q : system) {
                if (!q.coeffs[i].is_zero()) {
                    ++count[q.coeffs[i].is_pos()];
                }
            }
            if (!done[i] && (v == n || count[0] * count[1] < least)) {
                v = i;
                least = count[0] * count[1];
            }
        }
        done[v] = true;
        std::vector<Inequality> next, above, below;
        for (Inequality& q : system) {
            const int sign = q.coeffs[v].sign();
            (sign == 0 ? next : sign > 0 ? above : below).push_back(std::move(q));
        }
        for (const Inequality& a : above) {
            for (const Inequality& b : below) {
                // scaled so that x_v cancels; both factors are positive
                const QNumber fa = b.coeffs[v].neg();
                const QNumber& fb = a.coeffs[v];
                Inequality sum;
                for (size_t i = 0; i < n; ++i) {
                    sum.coeffs.push_back(a.coeffs[i] * fa + b.coeffs[i] * fb);
                }
                sum.bound = a.bound * fa + b.bound * fb;
                sum.strict = a.strict || b.strict;
                sum.normalize();
                if (std::find(next.begin(), next.end(), sum) == next.end()) {
                    next.push_back(std::move(sum));
                }
            }
        }
        system = std::move(next);
    }
    for (const Inequality& q : system) {
        if (q.strict ? q.bound.sign() <= 0 : q.bound.sign() < 0) {
            return false;
        }
    }
    return true;
}

} // namespace tarq::test
