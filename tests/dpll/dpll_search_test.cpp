// Policies of the search: decisions, restarts, limits, upkeep, determinism.
#include "testsupport.h"

#include <gtest/gtest.h>

using namespace tarq;
using namespace tarq::test;

namespace {

TEST(DpllSearch, luby_sequence)
{
    const std::vector<int64_t> expected{1, 1, 2, 1, 1, 2, 4, 1, 1, 2, 1, 1, 2, 4, 8, 1};
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(expected[i], TestSolver::luby(static_cast<int64_t>(i) + 1)) << i;
    }
}

TEST(DpllSearch, decisions_follow_preferences_phases_and_dependencies)
{
    Configuration config;
    config.dpll.branching_random_frequency = 0;
    TestSolver s(config.dpll, nullptr);
    const auto v = new_vars(s, 5);
    add(s, {Lit(v[0], true), Lit(v[1], true)});
    s.add_preferred_for_branching(v[1]);
    s.set_forced_phase(v[1], l_True);
    s.set_polarity(v[0], l_True);
    s.set_decision_var_dep(v[3], v[2]);
    s.set_decision_var_dep(v[4], v[3]);
    s.set_decision_var(v[2], false);
    EXPECT_TRUE(s.solve());
    EXPECT_TRUE(s.get_model_value(v[1]).is_true());
    EXPECT_TRUE(s.get_model_value(v[0]).is_false()); // forced by the clause against its phase
    EXPECT_TRUE(s.get_model_value(v[2]).is_undef());
    EXPECT_TRUE(s.get_model_value(v[3]).is_undef());
    EXPECT_TRUE(s.get_model_value(v[4]).is_undef());
    EXPECT_TRUE(s.get_model_value(99).is_undef());
    s.set_problem_var(v[2], true); // the ones that depend on it come along
    s.clear_preferred_for_branching();
    EXPECT_TRUE(s.solve());
    EXPECT_TRUE(s.get_model_value(v[4]).is_false());

    s.push_backtrack_point();
    const int w = s.new_var();
    s.set_decision_var_dep(v[4], w);
    s.set_decision_var(w, false);
    EXPECT_TRUE(s.solve());
    EXPECT_TRUE(s.get_model_value(v[4]).is_undef());
    s.pop_backtrack_point();
    EXPECT_TRUE(s.solve());
    EXPECT_TRUE(s.get_model_value(v[4]).is_false());
}

TEST(DpllSearch, initial_phase_and_phase_cache)
{
    for (int phase = 0; phase <= 1; ++phase) {
        Configuration config;
        config.dpll.branching_initial_phase = phase;
        TestSolver s(config.dpll, nullptr);
        const int v = s.new_var();
        EXPECT_TRUE(s.solve());
        EXPECT_EQ(phase == 1, s.get_model_value(v).is_true());
        EXPECT_TRUE(s.solve({Lit(v, phase == 1)})); // against the phase, and remembered
        EXPECT_TRUE(s.solve());
        EXPECT_EQ(phase == 0, s.get_model_value(v).is_true());
    }
}

class Restarts : public testing::TestWithParam<int> {};

/// Limits of 0 must not make it restart for ever, and two runs of the same problem are the same
/// run.
TEST_P(Restarts, end_and_are_deterministic)
{
    DpllSolver::Stats stats[2];
    for (auto& st : stats) {
        Configuration config;
        config.dpll.restart_strategy = GetParam();
        config.dpll.restart_initial = 0;
        config.dpll.restart_geometric_factor = 0;
        config.dpll.branching_random_frequency = 0.2;
        config.dpll.reduce_base_min = 50;
        TestSolver s(config.dpll, nullptr);
        new_vars(s, 42);
        for (const auto& c : pigeonhole(6)) {
            add(s, c);
        }
        EXPECT_FALSE(s.solve());
        st = s.get_stats();
        EXPECT_GT(st.reductions, 0U);
        EXPECT_GT(st.learnt_removed, 0U);
        EXPECT_GT(st.random_decisions, 0U);
        if (GetParam() == 3) { // never within 100 conflicts of the last restart
            EXPECT_LE(st.restarts, 1 + st.conflicts / 100);
        } else {
            EXPECT_GT(st.restarts, 10U);
        }
    }
    EXPECT_EQ(stats[0].conflicts, stats[1].conflicts);
    EXPECT_EQ(stats[0].decisions, stats[1].decisions);
    EXPECT_EQ(stats[0].propagations, stats[1].propagations);
    EXPECT_EQ(stats[0].watched_clauses_visited, stats[1].watched_clauses_visited);
}

INSTANTIATE_TEST_SUITE_P(All, Restarts, testing::Values(0, 1, 2, 3));

TEST(DpllSearch, limits_stop_the_search_and_a_later_one_finishes_it)
{
    using Result = DpllSolver::SearchResult;
    Configuration config;
    TestSolver s(config.dpll, nullptr);
    new_vars(s, 42);
    for (const auto& c : pigeonhole(6)) {
        add(s, c);
    }
    EXPECT_EQ(Result::undecided, s.solve_limited({}, 3, 0, 0));
    EXPECT_EQ(3U, s.get_stats().conflicts);
    EXPECT_EQ(Result::undecided, s.solve_limited({}, 0, 2, 0));
    EXPECT_EQ(Result::undecided, s.solve_limited({}, 0, 0, 10));
    EXPECT_EQ(0, s.decision_level());
    EXPECT_EQ(Result::unsat, s.solve_limited({}, 0, 0, 0));
}

/// Under a point, clauses over older variables stay though they are satisfied: a pop may unassign
/// what satisfies them.
TEST(DpllSearch, simplification_under_a_point_keeps_older_clauses)
{
    Configuration config;
    TestSolver s(config.dpll, nullptr);
    const auto v = new_vars(s, 3);
    add(s, {Lit(v[0]), Lit(v[1])});
    s.push_backtrack_point();
    add(s, {Lit(v[0])});
    s.push_backtrack_point();
    for (int i = 0; i < 4; ++i) { // clauses enough that the upkeep is done
        add(s, {Lit(s.new_var()), Lit(v[2]), Lit(v[1])});
    }
    EXPECT_TRUE(s.solve());
    EXPECT_TRUE(s.solve());
    s.pop_backtrack_point();
    s.pop_backtrack_point();
    EXPECT_FALSE(s.solve({~Lit(v[0]), ~Lit(v[1])}));
    add(s, {Lit(v[2])});
    add(s, {Lit(v[0]), Lit(v[1]), Lit(v[2])}); // satisfied for good: no object
    EXPECT_EQ(1U, s.num_clauses());
}

} // namespace
