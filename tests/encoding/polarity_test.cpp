// Polarities, against a second way to find them: the set of reachable (node, sign) pairs.
#include "boolformulas.h"

#include "encoding/polaritychecker.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace tarq::test {
namespace {

/// Polarity by term id, 0 for a term that does not occur.
std::map<uint64_t, int> reachable(TermManager& tm, const std::vector<const Term_*>& formulas)
{
    std::set<std::pair<const Term_*, bool>> seen; // with the sign: true is positive
    std::vector<std::pair<const Term_*, bool>> stack;
    for (const Term_* t : formulas) {
        stack.emplace_back(t, true);
    }
    std::map<uint64_t, int> out;
    while (!stack.empty()) {
        auto [t, positive] = stack.back();
        stack.pop_back();
        if (!seen.insert({t, positive}).second) {
            continue;
        }
        out[t->get_id()] |= positive ? 2 : 1;
        for (const Term_* c : t->children()) {
            stack.emplace_back(c, positive != tm.is_not(t));
            if (tm.is_iff(t)) {
                stack.emplace_back(c, !positive);
            }
        }
    }
    return out;
}

class PolarityTest : public ::testing::Test {
protected:
    TermManager tm;
    Formulas f{tm};
    PolarityChecker polarity{&tm};
    const Term_* p = f.constants[0];
    const Term_* q = f.constants[1];
};

TEST_F(PolarityTest, a_pop_gives_the_older_polarity_back)
{
    EXPECT_EQ(polarity(p), 0);
    polarity.add_formula(tm.make_or(p, q));
    EXPECT_EQ(polarity(p), 2);
    polarity.push_backtrack_point();
    polarity.add_formula(tm.make_not(p));
    polarity.add_literal(f.constants[2], true);
    EXPECT_EQ(polarity(p), 3);
    EXPECT_EQ(polarity(f.constants[2]), 1);
    polarity.pop_backtrack_point();
    EXPECT_EQ(polarity(p), 2);
    EXPECT_EQ(polarity(f.constants[2]), 0);
}

TEST_F(PolarityTest, nothing_is_recorded_while_off)
{
    polarity.set_enabled(false);
    polarity.add_formula(p);
    polarity.add_literal(q, false);
    EXPECT_EQ(polarity(p), 0);
    EXPECT_EQ(polarity(q), 0);
}

TEST_F(PolarityTest, only_formulas_have_one)
{
    try {
        polarity(tm.make_number(3));
        FAIL();
    } catch (const PolarityChecker::error& e) {
        EXPECT_EQ(e.get_msg(), "polarity information is meaningful only for terms of type Bool");
    }
}

TEST_F(PolarityTest, follows_random_pushes_and_pops)
{
    std::vector<const Term_*> all;
    std::vector<const Term_*> asserted;
    std::vector<size_t> marks;
    for (int step = 0; step < 600; ++step) {
        if (f.rng() % 4 == 0) {
            polarity.push_backtrack_point();
            marks.push_back(asserted.size());
        } else if (!marks.empty() && f.rng() % 4 == 0) {
            polarity.pop_backtrack_point();
            asserted.resize(marks.back());
            marks.pop_back();
        } else {
            asserted.push_back(f.random(4));
            all.push_back(asserted.back());
            polarity.add_formula(asserted.back());
        }
        std::map<uint64_t, int> expected = reachable(tm, asserted);
        for (auto [id, unused] : reachable(tm, all)) {
            const Term_* t = tm.debug_get_term(id);
            ASSERT_EQ(polarity(t), expected.count(id) ? expected[id] : 0) << "step " << step;
        }
        if (all.size() > 20) {
            all.erase(all.begin());
        }
    }
}

} // namespace
} // namespace tarq::test
