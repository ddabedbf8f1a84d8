// What the tests of the term layer share: constants by name, and the reading of quantified Boolean
// terms by brute force, which is the oracle for rewriting.
#pragma once

#include "terms/termmanager.h"

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace tarq::termtest {

inline const Term_* constant(TermManager& tm, const std::string& name, const DataType* type)
{
    return tm.make_constant(tm.make_symbol(name, type));
}

inline const Term_* bool_constant(TermManager& tm, const std::string& name)
{
    return constant(tm, name, tm.get_bool_type());
}

/// The message of the exception of class E that `f` throws; "no exception" if it throws none.
template <class E, class F>
std::string message_of(F f)
{
    try {
        f();
    } catch (const E& e) {
        return e.get_msg();
    }
    return "no exception";
}

using Assignment = std::map<const Term_*, bool>;

/// The value of a term over connectives, Boolean constants and variables, and quantifiers over
/// Booleans. Recursive: for small terms.
inline bool evaluate(const TermManager& tm, const Term_* t, Assignment& a)
{
    const auto value = [&](size_t i) { return evaluate(tm, t->child(i), a); };
    if (tm.is_true(t) || tm.is_false(t)) {
        return tm.is_true(t);
    }
    if (tm.is_not(t)) {
        return !value(0);
    }
    if (tm.is_and(t)) {
        return value(0) && value(1);
    }
    if (tm.is_or(t)) {
        return value(0) || value(1);
    }
    if (tm.is_iff(t)) {
        return value(0) == value(1);
    }
    if (tm.is_term_ite(t)) {
        return value(0) ? value(1) : value(2);
    }
    if (tm.is_quantifier(t)) {
        const Term_* var = t->child(0);
        const auto outer = a.find(var);
        const int old = outer == a.end() ? -1 : outer->second;
        a[var] = false;
        const bool low = value(1);
        a[var] = true;
        const bool high = value(1);
        if (old < 0) {
            a.erase(var);
        } else {
            a[var] = old != 0;
        }
        return tm.is_forall(t) ? low && high : low || high;
    }
    return a.at(t);
}

/// Random Boolean terms over given leaves, sharing subterms.
class RandomTerms {
public:
    /// bound  variables that quantifiers may bind; they must be among the leaves
    RandomTerms(TermManager& tm, std::vector<const Term_*> leaves, std::vector<const Term_*> bound,
                unsigned seed)
        : tm_(tm), leaves_(std::move(leaves)), bound_(std::move(bound)), random_(seed)
    {
    }
    const Term_* leaf() { return leaves_[random_() % leaves_.size()]; }
    const Term_* make(size_t size)
    {
        std::vector<const Term_*> pool = leaves_;
        for (size_t i = 0; i < size; ++i) {
            const Term_* a = pool[random_() % pool.size()];
            const Term_* b = pool[random_() % pool.size()];
            switch (random_() % (bound_.empty() ? 4 : 6)) {
            case 0:
                pool.push_back(tm_.make_not(a));
                break;
            case 1:
                pool.push_back(tm_.make_and(a, b));
                break;
            case 2:
                pool.push_back(tm_.make_or(a, b));
                break;
            case 3:
                pool.push_back(tm_.make_iff(a, b));
                break;
            case 4:
                pool.push_back(tm_.make_forall(bound_[random_() % bound_.size()], a));
                break;
            default:
                pool.push_back(tm_.make_exists(bound_[random_() % bound_.size()], a));
                break;
            }
        }
        return pool.back();
    }

private:
    TermManager& tm_;
    std::vector<const Term_*> leaves_;
    std::vector<const Term_*> bound_;
    std::mt19937 random_;
};

} // namespace tarq::termtest
