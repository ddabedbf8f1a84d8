// Random Boolean formulas over a few constants, and their truth tables: the oracle of these tests.
#pragma once

#include "terms/termmanager.h"

#include <cstdint>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

namespace tarq::test {

/// Six constants, so that a truth table is one 64-bit word: bit i is the value under the assignment
/// in which constant k has the value of bit k of i.
class Formulas {
public:
    static constexpr int NUM_CONSTANTS = 6;

    /// tm  where the formulas are built; borrowed
    explicit Formulas(TermManager& manager) : tm(manager)
    {
        for (int i = 0; i < NUM_CONSTANTS; ++i) {
            const Symbol* s = tm.make_symbol("p" + std::to_string(i), tm.get_bool_type());
            constants.push_back(tm.make_constant(s));
            uint64_t table = 0;
            for (int a = 0; a < 64; ++a) {
                table |= uint64_t(a >> i & 1) << a;
            }
            tables_[constants.back()] = table;
        }
    }

    /// The truth table of a term built from the constants by the connectives.
    uint64_t table(const Term_* root)
    {
        std::vector<const Term_*> stack{root};
        while (!stack.empty()) {
            const Term_* t = stack.back();
            if (tables_.count(t)) {
                stack.pop_back();
                continue;
            }
            size_t before = stack.size();
            for (const Term_* c : t->children()) {
                if (!tables_.count(c)) {
                    stack.push_back(c);
                }
            }
            if (stack.size() == before) {
                tables_[t] = combine(t);
                stack.pop_back();
            }
        }
        return tables_[root];
    }

    /// A formula of up to `size` connectives over shared parts; what is built on the way and
    /// the result stay in the pool, so later formulas share them.
    const Term_* random(int size)
    {
        if (pool_.empty()) {
            pool_ = constants;
        }
        for (int i = 0; i < size; ++i) {
            const Term_* a = pick();
            const Term_* b = pick();
            switch (rng() % 7) {
            case 0:
                pool_.push_back(tm.make_not(a));
                break;
            case 1:
                pool_.push_back(tm.make_iff(a, b));
                break;
            case 2:
            case 3:
                pool_.push_back(tm.make_and(a, b));
                break;
            default:
                pool_.push_back(tm.make_or(a, b));
            }
        }
        const Term_* result = pool_.back();
        if (pool_.size() > 60) {
            pool_ = constants; // so that depth stays within bounds
        }
        return result;
    }

    /// The parts that later formulas may share.
    const std::vector<const Term_*>& pool() const { return pool_; }

    /// Forgets the tables of all terms but the constants, whose ids may be given to other terms by
    /// a collection.
    void forget_tables()
    {
        std::unordered_map<const Term_*, uint64_t> kept;
        for (const Term_* c : constants) {
            kept[c] = tables_[c];
        }
        tables_.swap(kept);
    }

    TermManager& tm;
    std::vector<const Term_*> constants;
    std::mt19937_64 rng{7};

private:
    /// Mostly recent parts, so that formulas grow deep.
    const Term_* pick()
    {
        size_t n = pool_.size();
        size_t last = rng() % 3 == 0 ? n : std::min<size_t>(n, 8);
        return pool_[n - 1 - rng() % last];
    }

    uint64_t combine(const Term_* t)
    {
        if (tm.is_true(t) || tm.is_false(t)) {
            return tm.is_true(t) ? ~uint64_t(0) : 0;
        }
        uint64_t a = tables_.at(t->child(0));
        if (tm.is_not(t)) {
            return ~a;
        }
        uint64_t b = tables_.at(t->child(1));
        return tm.is_and(t) ? a & b : tm.is_or(t) ? a | b : ~(a ^ b);
    }

    std::vector<const Term_*> pool_;
    std::unordered_map<const Term_*, uint64_t> tables_;
};

} // namespace tarq::test
