// Random sequences of operations against brute force, and learnt clauses against propagation.
#include "testsupport.h"

#include <gtest/gtest.h>

using namespace tarq;
using namespace tarq::test;

namespace {

/// One engine beside the plain list of what it should hold.
class Session {
public:
    Session(uint64_t seed, int restart_strategy) : rng_(seed)
    {
        randomize(config_, rng_, restart_strategy);
        solver_ = std::make_unique<TestSolver>(config_.dpll, nullptr);
        grow(rng_.range(3, 7));
    }

    void run(int steps)
    {
        for (int i = 0; i < steps && !testing::Test::HasFailure() && solver_->unsat_level() != 0;
             ++i) {
            const int what = rng_.range(0, 99);
            if (what < 10 && vars_.size() < 13) {
                grow(rng_.range(1, 2));
            } else if (what < 55) {
                add_some_clauses();
            } else if (what < 65 && marks_.size() < 5) {
                push();
            } else if (what < 75 && !marks_.empty()) {
                pop();
            } else if (what < 80) {
                solver_->remove_learnt_clauses();
            } else {
                check();
            }
        }
        check();
    }

private:
    void grow(int n)
    {
        const auto added = new_vars(*solver_, n);
        vars_.insert(vars_.end(), added.begin(), added.end());
    }

    void add_some_clauses()
    {
        for (int n = rng_.range(1, 8); n > 0; --n) {
            clauses_.push_back(rng_.chance(1)
                                   ? std::vector<Lit>()
                                   : random_clause(rng_, vars_, rng_.chance(80) ? 4 : 2));
            add(*solver_, clauses_.back());
        }
    }

    void push()
    {
        marks_.push_back({vars_.size(), clauses_.size(), solver_->num_vars()});
        solver_->push_backtrack_point();
    }

    void pop()
    {
        solver_->pop_backtrack_point();
        vars_.resize(marks_.back().vars);
        clauses_.resize(marks_.back().clauses);
        EXPECT_EQ(solver_->num_vars(),
                  marks_.back().engine_vars); // the point's variable is gone too
        marks_.pop_back();
    }

    void check()
    {
        if (rng_.chance(20)) { // what a search leaves behind when a limit stops it must do no harm
            const auto r = solver_->solve_limited({}, 1, 0, 0);
            if (r != DpllSolver::SearchResult::undecided) {
                EXPECT_EQ(r == DpllSolver::SearchResult::sat, brute_force(vars_, clauses_));
            }
        }
        std::vector<Lit> assumptions;
        for (int n = rng_.chance(50) ? rng_.range(1, 4) : 0; n > 0; --n) {
            assumptions.emplace_back(rng_.pick(vars_), rng_.chance(50));
        }
        const bool expected = brute_force(vars_, clauses_, assumptions);
        ASSERT_EQ(solver_->solve(assumptions, rng_.chance(20)), expected);
        ASSERT_TRUE(solver_->check_invariants());
        if (expected) {
            const auto is_true = [&](Lit l) { return is_true_in_model(*solver_, l); };
            for (const auto& c : clauses_) {
                EXPECT_TRUE(satisfies(c, is_true));
            }
            EXPECT_TRUE(std::all_of(assumptions.begin(), assumptions.end(), is_true));
            EXPECT_TRUE(solver_->get_conflict().empty());
        } else {
            std::vector<Lit> core;
            for (Lit l : solver_->get_conflict()) {
                core.push_back(~l);
                EXPECT_NE(std::find(assumptions.begin(), assumptions.end(), ~l), assumptions.end());
            }
            EXPECT_FALSE(brute_force(vars_, clauses_, core));
        }
    }

    struct Mark {
        size_t vars;
        size_t clauses;
        int engine_vars;
    };
    Rng rng_;
    Configuration config_;
    std::unique_ptr<TestSolver> solver_;
    std::vector<int> vars_; // of the problem, without those of points
    Clauses clauses_;
    std::vector<Mark> marks_;
};

class RandomSessions : public testing::TestWithParam<int> {};

TEST_P(RandomSessions, agree_with_brute_force)
{
    for (uint64_t seed = 1; seed <= 250 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        Session(seed, GetParam()).run(60);
    }
}

/// Near the threshold and with many binary clauses, so that reasons of two literals, whose implied
/// literal may stand second, take part in most learnt clauses.
TEST_P(RandomSessions, learnt_clauses_are_implied)
{
    for (uint64_t seed = 1; seed <= 40 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        Rng rng(seed);
        Configuration config;
        randomize(config, rng, GetParam());
        config.dpll.preprocessor.mode = 0; // what follows from resolvents need not by propagation
        TestSolver solver(config.dpll, nullptr);
        const std::vector<int> vars = new_vars(solver, rng.range(30, 60));
        Clauses clauses;
        const int n = static_cast<int>(vars.size());
        for (int i = 0; i < n * 26 / 10; ++i) {
            clauses.push_back({Lit(rng.pick(vars), rng.chance(50)),
                               Lit(rng.pick(vars), rng.chance(50)),
                               Lit(rng.pick(vars), rng.chance(50))});
        }
        for (int i = 0; i < n / 2; ++i) {
            clauses.push_back(
                {Lit(rng.pick(vars), rng.chance(50)), Lit(rng.pick(vars), rng.chance(50))});
        }
        for (const auto& c : clauses) {
            add(solver, c);
        }
        solver.learnt_callback = [&](const std::vector<Lit>& c) {
            EXPECT_TRUE(follows_by_propagation(clauses, c, n));
            clauses.push_back(c);
        };
        if (solver.solve()) {
            for (const auto& c : clauses) {
                EXPECT_TRUE(satisfies(c, [&](Lit l) { return is_true_in_model(solver, l); }));
            }
        } else {
            EXPECT_TRUE(follows_by_propagation(clauses, {}, n));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Restarts, RandomSessions, testing::Values(0, 1, 2, 3));

} // namespace
