// What the ghost filter keeps through points, and what the engine does with it.
#include "testsupport.h"

#include "dpll/ghostfilter.h"

#include <gtest/gtest.h>

using namespace tarq;
using namespace tarq::test;
using dpll::Clause;
using dpll::GhostFilter;

namespace {

class GhostFilterTest : public ::testing::Test {
protected:
    Clause* tell(const std::vector<Lit>& lits)
    {
        Clause* c = solver.make_detached_clause(lits);
        filter.tell_clause(c);
        return c;
    }
    size_t count(Lit l)
    {
        const std::vector<Clause*>* clauses = filter.get_clauses_of(l);
        return clauses ? clauses->size() : 0;
    }

    Configuration config;
    TestSolver solver{config.dpll, nullptr};
    std::vector<int> v = new_vars(solver, 5);
    GhostFilter filter{&solver, true};
};

TEST_F(GhostFilterTest, lists_hold_what_is_told_at_the_open_points)
{
    const Lit a(v[0]);
    const Lit b(v[1]);
    Clause* old = tell({a, b});
    tell({});
    EXPECT_EQ(filter.get_clauses_of(Lit(v[4])), nullptr);
    EXPECT_EQ(old->num_references(), 3U); // two lists
    filter.push_backtrack_point();
    Clause* inner = tell({a, ~b});
    Clause* lemma = tell({a, b});
    filter.push_backtrack_point();
    Clause* innermost = tell({a, ~b});
    filter.retract_lemma(lemma); // under a newer point than its own
    filter.retract_lemma(old);   // told before any
    EXPECT_EQ(lemma->num_references(), 1U);
    EXPECT_EQ(old->num_references(), 1U);
    EXPECT_EQ(count(a), 2U);
    filter.retract_lemma(old); // once more: it is not there
    filter.pop_backtrack_point();
    EXPECT_EQ(innermost->num_references(), 1U);
    EXPECT_EQ(inner->num_references(), 4U); // two lists and the trail
    EXPECT_EQ(count(~b), 1U);
    filter.pop_backtrack_point();
    EXPECT_EQ(count(a), 0U);
    EXPECT_EQ(inner->num_references(), 1U);
    for (Clause* c : {old, inner, lemma, innermost}) {
        solver.release_clause(c);
    }
}

TEST_F(GhostFilterTest, a_true_literal_does_not_satisfy_its_own_clauses)
{
    Clause* c = tell({Lit(v[0]), Lit(v[1])});
    EXPECT_FALSE(filter.is_ghost(v[0]));
    EXPECT_TRUE(filter.is_ghost(~Lit(v[0]), true));
    EXPECT_TRUE(filter.is_ghost(v[4]));
    add(solver, {Lit(v[0])});
    EXPECT_FALSE(filter.is_ghost(Lit(v[0]), true));
    EXPECT_TRUE(filter.is_ghost(v[1]));
    filter.set_never_ghost(v[1]);
    EXPECT_FALSE(filter.is_ghost(v[1]));
    EXPECT_TRUE(filter.is_ghost(Lit(v[1]), false));
    filter.retract_lemma(c);
    solver.release_clause(c);
}

TEST(Ghosts, are_not_decided_and_come_back)
{
    Configuration config;
    config.dpll.ghost_filtering = true;
    config.dpll.allsat_minimize_model = true; // all variables are tracked
    config.dpll.branching_random_frequency = 0;
    TestSolver s(config.dpll, nullptr);
    const auto v = new_vars(s, 4);
    add(s, {~Lit(v[0]), Lit(v[1])}); // satisfied by the first decision
    add(s, {Lit(v[0]), ~Lit(v[2])});
    s.set_never_ghost(v[3]);
    EXPECT_TRUE(s.solve());
    EXPECT_TRUE(s.get_model_value(v[0]).is_false());
    EXPECT_TRUE(s.get_model_value(v[1]).is_undef());
    EXPECT_FALSE(s.get_model_value(v[3]).is_undef());
    EXPECT_TRUE(s.solve({Lit(v[0])}));
    EXPECT_TRUE(s.get_model_value(v[1]).is_true());
    EXPECT_TRUE(s.get_model_value(v[2]).is_undef());
    EXPECT_TRUE(s.check_invariants());
}

TEST(MinimizedModels, satisfy_the_clauses_and_keep_what_was_assumed)
{
    Rng rng(5);
    size_t dropped = 0;
    for (int round = 0; round < 300; ++round) {
        Configuration config;
        randomize(config, rng, round % 4);
        config.dpll.minimize_model = true;
        config.dpll.ghost_filtering = false;
        TestSolver s(config.dpll, nullptr);
        const auto vars = new_vars(s, 8);
        Clauses clauses;
        const auto add_some = [&](int n) {
            for (; n > 0; --n) {
                clauses.push_back(random_clause(rng, vars, 4));
                add(s, clauses.back());
            }
        };
        add_some(rng.range(1, 8));
        const bool pushed = rng.chance(50);
        if (pushed) {
            s.push_backtrack_point();
            add_some(rng.range(1, 4));
        }
        const Lit assumed(rng.pick(vars), rng.chance(50));
        if (!s.solve({assumed})) {
            continue;
        }
        const auto is_true = [&](Lit l) { return is_true_in_model(s, l); };
        EXPECT_FALSE(s.get_model_value(assumed.var()).is_undef());
        EXPECT_TRUE(is_true(assumed));
        for (const auto& c : clauses) {
            EXPECT_TRUE(satisfies(c, is_true));
        }
        dropped += static_cast<size_t>(std::count_if(
            vars.begin(), vars.end(), [&](int var) { return s.get_model_value(var).is_undef(); }));
        if (pushed) {
            s.pop_backtrack_point();
            EXPECT_TRUE(s.solve());
        }
    }
    EXPECT_GT(dropped, 300U);
}

} // namespace
