// The clause preprocessor seen through the engine: what it takes out must not be missed, whatever
// comes later. Random cases of the same are run by tests/fuzz/fuzz_cnf.
#include "base/terminationtest.h"
#include "dpll/dpllpreprocessor.h"
#include "testsupport.h"

#include <gtest/gtest.h>

using namespace tarq;
using namespace tarq::test;

namespace {

class Preprocessor : public testing::Test {
protected:
    /// Options are to be set before the first use of the engine.
    TestSolver& s()
    {
        if (!solver_) {
            if (config.dpll.preprocessor.mode == 0) {
                config.dpll.preprocessor.mode = 1;
            }
            solver_ = std::make_unique<TestSolver>(config.dpll, nullptr);
        }
        return *solver_;
    }
    const DpllPreprocessor& p() { return *s().get_preprocessor(); }
    Lit var() { return Lit(s().new_var()); }
    Lit frozen()
    {
        const Lit l = var();
        s().set_frozen(l.var(), true);
        return l;
    }
    bool eliminated(Lit l) { return p().has_been_eliminated(l.var()); }
    void clause(std::vector<Lit> lits)
    {
        clauses_.push_back(lits);
        s().add_clause(lits);
    }
    /// Solves, and checks a model against all clauses as they were given.
    bool solve(const std::vector<Lit>& assumptions = {})
    {
        if (!s().solve(assumptions)) {
            return false;
        }
        for (const auto& c : clauses_) {
            EXPECT_TRUE(satisfies(c, [&](Lit l) { return is_true_in_model(s(), l); }));
        }
        for (Lit a : assumptions) {
            EXPECT_TRUE(is_true_in_model(s(), a));
        }
        EXPECT_TRUE(s().check_invariants());
        return true;
    }
    void push() { marks_.push_back(clauses_.size()), s().push_backtrack_point(); }
    void pop()
    {
        clauses_.resize(marks_.back());
        marks_.pop_back();
        s().pop_backtrack_point();
    }

    Configuration config;

private:
    std::unique_ptr<TestSolver> solver_;
    Clauses clauses_;
    std::vector<size_t> marks_;
};

TEST_F(Preprocessor, mode_0_has_none_and_proofs_exclude_it)
{
    TestSolver plain(config.dpll, nullptr);
    EXPECT_EQ(plain.get_preprocessor(), nullptr);
    config.proof_generation = true;
    config.dpll.preprocessor.mode = 2;
    EXPECT_THROW(DpllSolver(config.dpll, nullptr), Exception);
}

/// Eliminating v and then u leaves clauses of v that speak of u; both have to come back.
TEST_F(Preprocessor, clauses_over_eliminated_variables_bring_back_all_they_need)
{
    const Lit v = var(), u = var(), w = frozen(), z = frozen();
    clause({v, u});
    clause({~v, w});
    clause({~u, z});
    ASSERT_TRUE(solve());
    ASSERT_TRUE(eliminated(v) && eliminated(u));
    clause({~v, ~u}); // exactly one of the two
    EXPECT_FALSE(eliminated(v) || eliminated(u));
    ASSERT_TRUE(solve());
    clause({~w});
    ASSERT_TRUE(solve());
    clause({~z});
    EXPECT_FALSE(solve());
}

TEST_F(Preprocessor, assumptions_and_frozen_variables_come_back_and_stay)
{
    const Lit g = var(), f = var(), l = var();
    clause({~l, f}); // l and f are pure: both go
    clause({f, g});
    ASSERT_TRUE(solve());
    ASSERT_TRUE(eliminated(l) && eliminated(f));
    EXPECT_TRUE(solve({l}));
    EXPECT_TRUE(solve({~f}));
    EXPECT_FALSE(solve({l, ~f}));
    EXPECT_EQ(s().get_conflict().size(), 2u);
    EXPECT_TRUE(p().is_frozen(l.var()) && !eliminated(l));
    s().set_frozen(l.var(), false);
    EXPECT_TRUE(solve());
    EXPECT_TRUE(eliminated(l));
}

TEST_F(Preprocessor, shortened_clauses_and_resolvents_under_a_point_do_not_outlive_it)
{
    const Lit a = frozen(), b = frozen(), c = frozen(), v = var();
    clause({a, b, c});
    clause({v, a});
    push();
    clause({a, ~b}); // shortens the first one, but only up to the pop
    clause({~v, b}); // and this gives (a or b)
    clause({~c});
    ASSERT_TRUE(solve());
    EXPECT_FALSE(solve({~a}));
    pop();
    EXPECT_TRUE(solve({~a, b}));
    EXPECT_TRUE(solve({~a, c, ~b}));
    EXPECT_FALSE(solve({~a, ~b, ~c}));
    EXPECT_FALSE(solve({~a, ~v}));
}

/// A variable of before the point, eliminated under it, has clauses of both kinds.
TEST_F(Preprocessor, elimination_under_a_point_survives_the_pop_without_its_clauses)
{
    const Lit v = var(), a = frozen(), b = frozen();
    config.dpll.preprocessor.elimination_phase = 1;
    clause({v, a});
    push();
    clause({~v, b});
    const Lit newer = var();
    clause({newer, v, b});
    ASSERT_TRUE(solve());
    ASSERT_TRUE(eliminated(v));
    EXPECT_FALSE(solve({~a, ~b}));
    pop();
    EXPECT_TRUE(solve({~a, ~b})); // v makes it true
    clause({~v});
    EXPECT_TRUE(solve({a}));
    EXPECT_FALSE(solve({~a}));
}

TEST_F(Preprocessor, self_subsumption_gives_units_and_subsumed_clauses_go)
{
    const Lit a = frozen(), b = frozen(), c = frozen(), d = frozen();
    clause({a, b});
    clause({a, ~b});
    clause({c, d});
    clause({c, d, b});
    ASSERT_TRUE(solve());
    EXPECT_TRUE(s().value(a).is_true()) << "a unit at level 0";
    EXPECT_EQ(s().num_clauses(), 1u);
    EXPECT_GE(p().get_stats().strengthened, 1u);
    clause({~a, ~c});
    clause({~d, ~a});
    EXPECT_FALSE(solve());
}

/// Dense variables are left alone, as are those whose resolvents are too many or too long.
TEST_F(Preprocessor, elimination_keeps_to_its_limits)
{
    config.dpll.preprocessor.clause_size_limit = 4;
    const Lit dense = var(), wide = var(), growing = var();
    const auto distinct = [&](Lit l, size_t n) {
        std::vector<Lit> c{l};
        while (c.size() < n) {
            c.push_back(frozen());
        }
        clause(c);
    };
    for (int i = 0; i < 21; ++i) {
        distinct(dense, 2);
        distinct(~dense, 2);
    }
    distinct(wide, 4); // resolvents of 6
    distinct(~wide, 4);
    for (int i = 0; i < 3; ++i) { // 9 resolvents for 6 clauses
        distinct(growing, 3);
        distinct(~growing, 3);
    }
    const size_t before = s().num_clauses();
    ASSERT_TRUE(solve());
    EXPECT_FALSE(eliminated(dense) || eliminated(wide) || eliminated(growing));
    EXPECT_EQ(s().num_clauses(), before);
}

TEST_F(Preprocessor, elimination_waits_for_its_phase_and_can_be_for_recent_variables_only)
{
    config.dpll.preprocessor.elimination_phase = 2;
    config.dpll.preprocessor.elimination_recent_vars_only = true;
    config.dpll.preprocessor.try_reelimination = false;
    const Lit old = var(), a = frozen();
    clause({old, a});
    clause({~old, a, frozen()});
    ASSERT_TRUE(solve());
    EXPECT_FALSE(eliminated(old)) << "first solve";
    ASSERT_TRUE(solve());
    EXPECT_TRUE(eliminated(old));
    clause({~old, frozen()}); // brings it back, not to go again
    const Lit recent = var();
    clause({recent, a});
    clause({~recent, a, frozen()});
    ASSERT_TRUE(solve() && solve());
    EXPECT_TRUE(eliminated(recent));
    EXPECT_FALSE(eliminated(old));
}

class StopSoon : public TerminationTest {
public:
    void operator()() const override
    {
        if (--left < 0) {
            throw terminated("stop");
        }
    }
    mutable int left = 0;
};

TEST_F(Preprocessor, a_stopped_run_leaves_the_clauses_whole)
{
    for (int left = 0; left < 12; ++left) {
        Rng rng(static_cast<uint64_t>(left) + 1);
        Configuration own;
        own.dpll.preprocessor.mode = 2;
        TestSolver solver(own.dpll, nullptr);
        const std::vector<int> vars = new_vars(solver, 400);
        Clauses clauses;
        for (int i = 0; i < 1300; ++i) {
            clauses.push_back({Lit(rng.pick(vars), rng.chance(50)),
                               Lit(rng.pick(vars), rng.chance(50)),
                               Lit(rng.pick(vars), rng.chance(50))});
            add(solver, clauses.back());
        }
        StopSoon test;
        test.left = left;
        solver.set_termination_test(&test);
        EXPECT_THROW(solver.solve(), TerminationTest::terminated);
        EXPECT_TRUE(solver.check_invariants());
        solver.set_termination_test(nullptr);
        ASSERT_TRUE(solver.solve()); // well below the threshold
        for (const auto& c : clauses) {
            EXPECT_TRUE(satisfies(c, [&](Lit l) { return is_true_in_model(solver, l); }));
        }
    }
}

} // namespace
