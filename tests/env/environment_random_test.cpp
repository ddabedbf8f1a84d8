// Random incremental scripts against truth tables: every answer, every assignment and every list of
// failed assumptions is checked, with interruptions, resets and collections in between.
#include "envfixture.h"

namespace tarq::test {
namespace {

class EnvRandomTest : public EnvTest {
protected:
    size_t random(size_t n) { return formulas->rng() % n; }

    uint64_t table(TheoryLit l)
    {
        uint64_t t = formulas->table(l.get_term());
        return l.is_neg() ? ~t : t;
    }

    void do_random_check()
    {
        std::vector<TheoryLit> lits;
        uint64_t expected = stack.back();
        for (size_t n = random(5); n > 0; --n) {
            lits.emplace_back(p(random(6)), random(2) == 0);
            expected &= table(lits.back());
        }
        stop.left = random(4) == 0 ? static_cast<int>(random(12)) : -1;
        int result;
        try {
            result = lits.empty() ? env->check() : check(lits);
        } catch (const TerminationTest::terminated&) {
            stop.left = -1;
            ++interruptions;
            EXPECT_EQ(env->get_last_result(), -1);
            if (random(2) == 0) {
                return;
            }
            result = lits.empty() ? env->check() : check(lits);
        }
        stop.left = -1;
        ASSERT_EQ(result, expected != 0);
        if (result == 1) {
            ++sats;
            // Constants without a value are free: any choice must do.
            uint64_t assignment = 0;
            for (size_t i = 0; i < 6; ++i) {
                lbool v = env->get_bool_value(p(i));
                assignment |= uint64_t(v.is_undef() ? random(2) : v.is_true()) << i;
            }
            ASSERT_TRUE(expected >> assignment & 1);
            ASSERT_TRUE(core().empty());
        } else {
            ++unsats;
            uint64_t failed = stack.back();
            for (TheoryLit l : core()) {
                ASSERT_NE(std::find(lits.begin(), lits.end(), l), lits.end());
                failed &= table(l);
            }
            ASSERT_EQ(failed, 0u);
        }
    }

    void collect()
    {
        TermSet keep;
        for (const Term_* t : formulas->constants) {
            keep.insert(t);
        }
        for (const Term_* t : formulas->pool()) {
            keep.insert(t);
        }
        env->gc(keep);
        formulas->forget_tables();
    }

    void do_random_step()
    {
        switch (random(24)) {
        case 0:
        case 1:
        case 2:
        case 3:
            env->push_backtrack_point();
            stack.push_back(stack.back());
            break;
        case 4:
        case 5:
        case 6:
            if (stack.size() > 1) {
                env->pop_backtrack_point();
                stack.pop_back();
            }
            break;
        case 7:
            if (random(10) == 0) {
                env->reset_assertions();
                stack.assign(1, ~uint64_t(0));
            } else if (random(5) == 0) {
                collect();
            }
            break;
        case 8:
            env->add_preferred_for_branching(p(random(6)), random(2) ? l_True : l_False);
            break;
        case 9:
        case 10:
        case 11:
        case 12:
        case 13:
        case 14: {
            const Term_* t = formulas->random(1 + static_cast<int>(random(4)));
            env->assert_formula(t);
            stack.back() &= formulas->table(t);
            break;
        }
        default:
            do_random_check();
        }
        ASSERT_EQ(env->num_backtrack_points() + 1, static_cast<int>(stack.size()));
    }

    Countdown stop;
    std::vector<uint64_t> stack;
    int sats = 0;
    int unsats = 0;
    int interruptions = 0;
};

TEST_F(EnvRandomTest, answers_agree_with_truth_tables)
{
    for (int round = 0; round < 200; ++round) {
        Configuration fresh;
        fresh.copy_to(&config);
        config.shallow_incrementality = round % 3 == 0;
        config.preprocessor.partial_nnf_conversion = round % 4 == 1;
        config.preprocessor.full_cnf_conversion = round % 5 == 1;
        config.dpll.branching_initial_phase = round % 3;
        config.dpll.restart_strategy = round % 4;
        config.dpll.branching_random_frequency = round % 2 ? 0.2 : 0.0;
        config.dpll.ghost_filtering = round % 7 == 1;
        config.dpll.minimize_model = round % 7 < 3;
        make();
        formulas->rng.seed(static_cast<uint64_t>(round));
        env->set_termination_test(&stop);
        stack.assign(1, ~uint64_t(0));
        for (int step = 0; step < 150; ++step) {
            do_random_step();
            if (HasFatalFailure()) {
                FAIL() << "round " << round << ", step " << step;
            }
        }
    }
    // The scripts must reach both answers and the places where checks are stopped.
    EXPECT_GT(sats, 1000);
    EXPECT_GT(unsats, 1000);
    EXPECT_GT(interruptions, 100);
}

} // namespace
} // namespace tarq::test
