// Enumerations of models against truth tables, under random options, between random changes of the
// assertion stack.
#include "envfixture.h"

#include "dpll/allsathook.h"
#include "dpll/dpllsolver.h"

#include <bit>
#include <map>

namespace tarq::test {
namespace {

/// Collects the models; stops after `limit`, and adds `clauses` one by one before it is told any.
class Collector : public AllSatModelFoundHook {
public:
    bool operator()(std::vector<TheoryLit>& model) override
    {
        models.push_back(model);
        return models.size() < limit;
    }
    bool has_new_clauses() override { return !clauses.empty(); }
    void get_new_clause(std::vector<TheoryLit>& clause) override
    {
        clause = clauses.back();
        clauses.pop_back();
    }

    std::vector<std::vector<TheoryLit>> models;
    std::vector<std::vector<TheoryLit>> clauses;
    size_t limit = ~size_t{0};
};

class AllSatTest : public EnvTest {
protected:
    size_t random(size_t n) { return formulas->rng() % n; }

    uint64_t table(TheoryLit l)
    {
        const uint64_t t = formulas->table(l.get_term());
        return l.is_neg() ? ~t : t;
    }

    /// Each assignment of the constants in `mask` that can be extended to one in `models`, as a
    /// table over the assignments that are 0 elsewhere.
    static uint64_t project(uint64_t models, uint64_t mask)
    {
        uint64_t out = 0;
        for (uint64_t a = 0; a < 64; ++a) {
            out |= (models >> a & 1) << (a & mask);
        }
        return out;
    }

    /// Enumerates, and checks what comes out against the table of what holds.
    /// mask      the constants, by bit
    /// disjoint  whether no model may come twice
    void enumerate(uint64_t holds, uint64_t mask, bool disjoint)
    {
        TermVector important;
        for (size_t i = 6; i-- > 0;) {
            if (mask >> i & 1) {
                important.insert(important.end(), 1 + random(2), p(i)); // once or twice
            }
        }
        Collector hook;
        const int count = env->allsat(hook, important);
        ASSERT_EQ(static_cast<size_t>(count), hook.models.size());
        ASSERT_EQ(env->get_last_result(), 0);
        uint64_t found = 0;
        for (const auto& model : hook.models) {
            uint64_t cube = ~uint64_t{0};
            for (TheoryLit l : model) {
                cube &= table(l);
            }
            const uint64_t projected = project(cube, mask);
            ASSERT_TRUE(!disjoint || !(projected & found));
            found |= projected;
            if (!config.dpll.allsat_minimize_model) {
                ASSERT_EQ(model.size(), static_cast<size_t>(std::popcount(mask)));
            }
        }
        ASSERT_EQ(found, project(holds, mask));
        total += hook.models.size();
    }

    size_t total = 0;
};

TEST_F(AllSatTest, finds_the_models_of_the_truth_table)
{
    for (int round = 0; round < 120; ++round) {
        Configuration fresh;
        fresh.copy_to(&config);
        config.shallow_incrementality = round % 3 == 0;
        config.unsat_core_generation = round % 5 == 1 ? 3 : round % 5 == 2 ? 2 : 0;
        config.preprocessor.full_cnf_conversion = round % 4 == 1;
        config.dpll.ghost_filtering = round % 2 == 0;
        config.dpll.minimize_model = round % 7 == 0;
        config.dpll.allsat_minimize_model = round % 4 < 2;
        config.dpll.allsat_allow_duplicates = round % 8 == 5;
        config.dpll.preprocessor.mode = round % 3;
        config.dpll.restart_strategy = round % 4;
        config.dpll.restart_initial = 1 + round % 3;
        make();
        formulas->rng.seed(static_cast<uint64_t>(round));
        std::vector<uint64_t> stack(1, ~uint64_t{0});
        for (int step = 0; step < 25; ++step) {
            SCOPED_TRACE(std::to_string(round) + ", step " + std::to_string(step));
            const size_t what = random(10);
            if (what < 3) {
                const Term_* t = formulas->random(1 + static_cast<int>(random(4)));
                env->assert_formula(t);
                stack.back() &= formulas->table(t);
            } else if (what < 5) {
                env->push_backtrack_point();
                stack.push_back(stack.back());
            } else if (what < 6 && stack.size() > 1) {
                env->pop_backtrack_point();
                stack.pop_back();
            } else if (what < 7) {
                ASSERT_EQ(env->check(), stack.back() != 0);
            } else {
                env->push_backtrack_point();
                enumerate(stack.back(), 1 + random(63), !config.dpll.allsat_allow_duplicates);
                EXPECT_EQ(env->check(), 0) << "all models are excluded";
                env->pop_backtrack_point();
            }
            if (HasFatalFailure()) {
                return;
            }
        }
    }
    EXPECT_GT(total, 3000U);
}

TEST_F(AllSatTest, without_constants_the_atoms_of_the_formulas_take_part)
{
    EXPECT_EQ(env->allsat(*std::make_unique<Collector>(), {}), -2);
    EXPECT_EQ(env->get_last_result(), 1);
    const auto number = [&](const char* name) {
        return tm->make_constant(tm->make_symbol(name, tm->get_int_type()));
    };
    const Term_* x = number("x");
    const Term_* y = number("y");
    const Term_* below = tm->make_leq(x, y);
    const Term_* above = tm->make_leq(y, x);
    const Term_* two = tm->make_number(2);
    // Preprocessing replaces p0, and the condition stands inside a term.
    env->assert_formula(tm->make_iff(p(0), p(1)));
    env->assert_formula(tm->make_or(below, above));
    env->assert_formula(tm->make_equal(tm->make_term_ite(p(2), x, y), two));
    env->push_backtrack_point();
    Collector hook;
    // below, above or both; p1; p2; the equality is asserted
    EXPECT_EQ(env->allsat(hook, {}), 12);
    std::map<const Term_*, int> positive;
    for (const auto& model : hook.models) {
        EXPECT_EQ(model.size(), 6U);
        for (TheoryLit l : model) {
            positive[l.get_term()] += l.is_neg() ? 0 : 1;
        }
    }
    EXPECT_EQ(positive[p(0)], 6);
    EXPECT_EQ(positive[below], 8);
    env->pop_backtrack_point();
    EXPECT_EQ(env->check(), 1);
}

TEST_F(AllSatTest, stops_when_the_hook_has_enough_and_goes_on_from_there)
{
    for (bool shallow : {false, true}) {
        config.shallow_incrementality = shallow;
        make();
        env->assert_formula(tm->make_or(p(0), p(1)));
        env->push_backtrack_point();
        const TermVector important{p(0), p(1), p(5)};
        Collector some;
        some.limit = 2;
        EXPECT_EQ(error_of([&] { env->allsat(some, important); }),
                  "AllSat hook returned false, aborting");
        EXPECT_EQ(env->get_last_result(), -1);
        Collector rest;
        EXPECT_EQ(env->allsat(rest, important), 5) << "the last model told is told again";
        EXPECT_EQ(env->allsat(rest, important), 0);
        env->pop_backtrack_point();
        EXPECT_EQ(env->check(), 1);
        EXPECT_EQ(env->allsat(rest, important), 6);
    }
}

TEST_F(AllSatTest, clauses_of_the_hook_hold_from_then_on)
{
    env->assert_formula(tm->make_or(p(0), p(1)));
    env->push_backtrack_point();
    Collector hook;
    hook.clauses = {{neg(p(0)), neg(p(1))}, {pos(p(2))}};
    EXPECT_EQ(env->allsat(hook, TermVector{p(0), p(1), p(2)}), 2);
    env->pop_backtrack_point();
    EXPECT_EQ(env->allsat(hook, TermVector{p(0), p(1), p(2)}), 6);
}

TEST_F(AllSatTest, refuses_what_is_no_constant_and_finds_nothing_in_a_contradiction)
{
    Collector hook;
    EXPECT_EQ(error_of([&] {
                  env->allsat(hook, TermVector{p(0), no(p(1))});
              }),
              "allsat important symbols might only be Boolean constants");
    env->assert_formula(tm->make_false());
    EXPECT_EQ(env->allsat(hook, TermVector{p(0)}), 0);
    EXPECT_TRUE(hook.models.empty());
    config.debug.solver_enabled = false;
    make();
    EXPECT_EQ(env->allsat(hook, TermVector{p(0)}), -1);
}

TEST_F(AllSatTest, can_be_interrupted)
{
    Countdown stop;
    env->set_termination_test(&stop);
    env->assert_formula(tm->make_or(p(0), p(1)));
    stop.left = 2;
    Collector hook;
    EXPECT_THROW(env->allsat(hook, TermVector(formulas->constants)), TerminationTest::terminated);
    stop.left = -1;
    const int told = static_cast<int>(hook.models.size());
    EXPECT_EQ(env->allsat(hook, TermVector(formulas->constants)), 48 - told) << "told are excluded";
    env->reset_assertions();
    env->assert_formula(tm->make_or(p(0), p(1)));
    EXPECT_EQ(env->allsat(hook, TermVector(formulas->constants)), 48);
}

} // namespace
} // namespace tarq::test
