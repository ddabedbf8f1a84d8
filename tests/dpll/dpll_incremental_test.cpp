// Backtrack points, assumptions, stopping: the cases where a state could outlive its reason.
#include "base/terminationtest.h"
#include "testsupport.h"

#include <gtest/gtest.h>

using namespace tarq;
using namespace tarq::test;

namespace {

class Incremental : public testing::Test {
protected:
    Incremental() : s(config.dpll, nullptr) {}
    Lit var() { return Lit(s.new_var()); }

    Configuration config;
    TestSolver s;
};

TEST_F(Incremental, conflict_holds_the_negations_of_failed_assumptions)
{
    const Lit x = var(), y = var(), z = var();
    add(s, {~x, ~y});
    EXPECT_FALSE(s.solve({z, x, y}));
    EXPECT_EQ(std::vector<Lit>({~y, ~x}), s.get_conflict());

    EXPECT_FALSE(s.solve({z, x, ~x})); // contradictory by themselves
    std::vector<Lit> c = s.get_conflict();
    std::sort(c.begin(), c.end());
    EXPECT_EQ(std::vector<Lit>({x, ~x}), c);

    add(s, {~z});
    EXPECT_FALSE(s.solve({x, z})); // false at level 0: that one alone
    EXPECT_EQ(std::vector<Lit>({~z}), s.get_conflict());

    add(s, {z}); // unsat for good: no list of an older solve may show up
    EXPECT_FALSE(s.solve({x}));
    EXPECT_TRUE(s.get_conflict().empty());
}

TEST_F(Incremental, empty_clause_under_points_goes_with_the_pop)
{
    s.push_backtrack_point();
    s.push_backtrack_point();
    add(s, {});
    EXPECT_EQ(2, s.unsat_level());
    EXPECT_FALSE(s.solve());
    s.pop_backtrack_point();
    EXPECT_EQ(-1, s.unsat_level());
    EXPECT_TRUE(s.solve());
    s.pop_backtrack_point();
    add(s, {});
    EXPECT_EQ(0, s.unsat_level());
    EXPECT_THROW(s.pop_backtrack_point(), DpllSolver::error);
    EXPECT_FALSE(s.solve());
}

TEST_F(Incremental, contradictory_units_conflict_when_false_literals_are_kept)
{
    config.unsat_core_generation = 2;
    const Lit x = var();
    add(s, {x});
    add(s, {~x});
    EXPECT_EQ(0, s.unsat_level());
    EXPECT_FALSE(s.solve());
}

/// The clauses under the point are unsat without decisions, so its negation stands at level 0, with
/// a fact about older variables after it.
TEST_F(Incremental, point_false_at_level_zero_pops_and_later_facts_stay)
{
    const Lit x = var(), y = var(), z = var();
    add(s, {x, y});
    add(s, {x, ~y, z});
    s.push_backtrack_point();
    const Lit fresh = var();
    add(s, {~x});
    add(s, {~y, fresh});
    add(s, {~fresh});
    EXPECT_FALSE(s.solve());
    EXPECT_EQ(1, s.unsat_level());
    s.pop_backtrack_point();
    EXPECT_EQ(3, s.num_vars());
    EXPECT_TRUE(s.check_invariants());
    EXPECT_TRUE(s.solve({~x}));
    EXPECT_TRUE((s.get_model_value(y.var())).is_true());
    EXPECT_TRUE((s.get_model_value(z.var())).is_true());
    add(s, {~x});
    EXPECT_FALSE(s.solve({~z}));
}

/// Reductions sort the learnt clauses, so those that carry a guard are not at the end of the list.
TEST_F(Incremental, guarded_learnt_clauses_go_with_their_point_after_reductions)
{
    config.dpll.reduce_base_min = 5;
    config.dpll.reduce_step_min = 1;
    const Clauses php = pigeonhole(5);
    const auto vars = new_vars(s, 30);
    for (size_t i = 0; i + 1 < php.size(); ++i) {
        add(s, php[i]); // all but the last pigeon: sat
    }
    EXPECT_TRUE(s.solve());
    for (int round = 0; round < 3; ++round) {
        s.push_backtrack_point();
        const auto extra = new_vars(s, 30);
        add(s, php.back());
        EXPECT_FALSE(s.solve());
        EXPECT_GT(s.get_stats().reductions, 0U);
        s.pop_backtrack_point();
        EXPECT_EQ(30, s.num_vars());
        EXPECT_TRUE(s.check_invariants());
        EXPECT_TRUE(s.solve());
    }
}

/// An older point gets false at a lower level while only part of the points is open.
TEST_F(Incremental, limited_solve_may_leave_a_point_false_below)
{
    config.dpll.restart_initial = 1;
    const Clauses php = pigeonhole(4);
    new_vars(s, 20);
    for (int i = 0; i < 3; ++i) {
        s.push_backtrack_point();
        for (size_t k = static_cast<size_t>(i); k < php.size(); k += 3) {
            add(s, php[k]);
        }
    }
    for (int i = 0; i < 200; ++i) {
        if (s.solve_limited({}, 1, 0, 0) == DpllSolver::SearchResult::unsat) {
            break;
        }
        s.push_backtrack_point();
        s.pop_backtrack_point();
    }
    EXPECT_FALSE(s.solve());
    EXPECT_EQ(3, s.unsat_level());
    s.pop_backtrack_point();
    EXPECT_TRUE(s.solve());
}

TEST_F(Incremental, remove_learnt_clauses_spares_reasons)
{
    const Clauses php = pigeonhole(4);
    new_vars(s, 20);
    s.push_backtrack_point();
    for (size_t i = 0; i + 1 < php.size(); ++i) {
        add(s, php[i]);
    }
    EXPECT_TRUE(s.solve(true)); // the trail, with its reasons, stays
    s.remove_learnt_clauses();
    EXPECT_TRUE(s.check_invariants());
    EXPECT_TRUE(s.solve());
    add(s, php.back());
    EXPECT_FALSE(s.solve());
}

class StopAfter : public TerminationTest {
public:
    explicit StopAfter(int n) : left(n) {}
    void operator()() const override
    {
        if (left-- == 0) {
            throw terminated("stopped");
        }
    }
    mutable int left;
};

TEST_F(Incremental, stopped_search_can_be_resumed)
{
    const Clauses php = pigeonhole(8);
    new_vars(s, 72);
    s.push_backtrack_point();
    for (const auto& c : php) {
        add(s, c);
    }
    for (int n = 0; n < 4; ++n) {
        const StopAfter stop(n);
        s.set_termination_test(&stop);
        EXPECT_THROW(s.solve({Lit(3)}), TerminationTest::terminated);
        EXPECT_EQ(1, s.decision_level());
        EXPECT_TRUE(s.check_invariants());
        EXPECT_TRUE(s.get_conflict().empty());
    }
    s.set_termination_test(nullptr);
    EXPECT_FALSE(s.solve());
    s.pop_backtrack_point();
    EXPECT_TRUE(s.solve());
}

/// The engine asks the test even when conflicts are rare.
TEST_F(Incremental, termination_test_is_asked_without_conflicts)
{
    const auto vars = new_vars(s, 5000);
    for (int v : vars) {
        add(s, {Lit(v), Lit((v + 1) % 5000)});
    }
    const StopAfter stop(2);
    s.set_termination_test(&stop);
    EXPECT_THROW(s.solve(), TerminationTest::terminated);
}

TEST_F(Incremental, clause_added_over_a_kept_trail_counts)
{
    const Lit x = var(), y = var();
    add(s, {x, y});
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(s.solve(true));
        EXPECT_EQ(l_True == s.value(x), s.get_model_value(x.var()).is_true());
        add(s, {~Lit(x.var(), s.value(x).is_false()), ~Lit(y.var(), s.value(y).is_false())});
    }
    EXPECT_FALSE(s.solve());
}

} // namespace
