// The environment by hand-made cases: the assertion stack, assumptions, resets, errors, collection.
#include "envfixture.h"

#include <cstdio>
#include <fstream>
#include <sstream>

namespace tarq::test {
namespace {

TEST_F(EnvTest, formulas_are_processed_at_the_check_only)
{
    env->push_backtrack_point();
    env->assert_formula(p(0));
    env->assert_formula(no(p(0)));
    env->pop_backtrack_point();
    EXPECT_EQ(env->get_raw_stats().cnf_clauses, 0u);
    EXPECT_EQ(env->check(), 1);
    env->assert_formula(tm->make_false());
    EXPECT_EQ(env->get_last_result(), 1);
    EXPECT_EQ(env->check(), 0);
    EXPECT_EQ(env->get_raw_stats().cnf_clauses, 0u);
    EXPECT_EQ(env->get_raw_stats().sat_checks, 1u) << "false needs no search";
}

TEST_F(EnvTest, pop_without_a_point_changes_nothing)
{
    env->assert_formula(p(0));
    EXPECT_EQ(error_of([&] { env->pop_backtrack_point(); }), "no backtrack points to pop");
    EXPECT_EQ(env->check(), 1);
    EXPECT_EQ(error_of([&] { env->pop_backtrack_point(); }), "no backtrack points to pop");
    env->assert_formula(no(p(0)));
    EXPECT_EQ(env->check(), 0);
    TermVector asserted;
    env->get_asserted_formulas(&asserted);
    EXPECT_EQ(asserted, (TermVector{p(0), no(p(0))}));
}

TEST_F(EnvTest, an_inner_contradiction_ends_with_its_point)
{
    for (bool shallow : {false, true}) {
        config.shallow_incrementality = shallow;
        make();
        env->assert_formula(tm->make_or(p(0), p(1)));
        env->push_backtrack_point();
        env->assert_formula(no(p(0)));
        env->push_backtrack_point();
        env->assert_formula(no(p(1)));
        EXPECT_EQ(env->check(), 0);
        EXPECT_EQ(env->check(), 0);
        env->pop_backtrack_point();
        EXPECT_EQ(env->check(), 1);
        EXPECT_TRUE(env->get_bool_value(p(1)).is_true());
        env->assert_formula(tm->make_false());
        env->push_backtrack_point();
        EXPECT_EQ(env->check(), 0);
        env->assert_formula(p(2));
        env->pop_backtrack_point();
        EXPECT_EQ(env->check(), 0);
        env->pop_backtrack_point();
        EXPECT_EQ(env->num_backtrack_points(), 0);
        EXPECT_EQ(env->check(), 1);
    }
}

TEST_F(EnvTest, variables_made_above_a_point_can_come_back)
{
    for (bool shallow : {false, true}) {
        config.shallow_incrementality = shallow;
        make();
        for (int round = 0; round < 20; ++round) {
            env->push_backtrack_point();
            const Term_* a = constant("a" + std::to_string(round % 3));
            env->assert_formula(tm->make_or(tm->make_and(a, p(0)), tm->make_and(p(1), no(a))));
            EXPECT_EQ(check({pos(a), neg(p(0))}), 0);
            EXPECT_EQ(check({neg(a), pos(p(1))}), 1);
            EXPECT_TRUE(env->get_bool_value(p(1)).is_true());
            env->push_backtrack_point();
            env->assert_formula(no(a));
            EXPECT_EQ(check({pos(a)}), 0);
            env->pop_backtrack_point();
            EXPECT_EQ(check({pos(a)}), 1);
            env->pop_backtrack_point();
            EXPECT_EQ(check({pos(a), neg(p(0))}), 1);
        }
    }
}

TEST_F(EnvTest, a_name_declared_again_is_another_constant)
{
    env->push_backtrack_point();
    const Term_* old = constant("again");
    env->assert_formula(old);
    EXPECT_EQ(env->check(), 1);
    tm->remove_symbol("again");
    const Term_* fresh = constant("again");
    ASSERT_NE(old, fresh);
    env->assert_formula(no(fresh));
    EXPECT_EQ(env->check(), 1);
    env->pop_backtrack_point();
    env->assert_formula(no(fresh));
    EXPECT_EQ(env->check(), 1);
    EXPECT_TRUE(env->get_bool_value(fresh).is_false());
}

TEST_F(EnvTest, assumptions_hold_for_one_check)
{
    env->assert_formula(tm->make_or(no(p(0)), p(1)));
    EXPECT_EQ(check({pos(p(2)), pos(p(0)), neg(p(1)), pos(p(3))}), 0);
    std::vector<TheoryLit> failed = core();
    std::sort(failed.begin(), failed.end());
    EXPECT_EQ(failed, (std::vector<TheoryLit>{pos(p(0)), neg(p(1))}));
    EXPECT_EQ(env->check(), 1);
    EXPECT_TRUE(core().empty());
    EXPECT_EQ(check({pos(p(0))}), 1);
    EXPECT_TRUE(env->get_bool_value(p(1)).is_true());

    // One that is false by itself, one against itself, and none at fault.
    env->assert_formula(no(p(4)));
    EXPECT_EQ(check({pos(p(0)), pos(p(4))}), 0);
    EXPECT_EQ(core(), std::vector<TheoryLit>{pos(p(4))});
    EXPECT_EQ(check({pos(p(5)), neg(p(5))}), 0);
    EXPECT_EQ(core().size(), 2u);
    env->assert_formula(tm->make_false());
    EXPECT_EQ(check({pos(p(0))}), 0);
    EXPECT_TRUE(core().empty());
}

TEST_F(EnvTest, only_literals_can_be_assumed)
{
    env->assert_formula(p(0));
    EXPECT_EQ(env->check(), 1);
    for (const Term_* t : {tm->make_and(p(0), p(1)), tm->make_true(), tm->make_number(1)}) {
        EXPECT_EQ(error_of([&] { check({pos(t)}); }), "assumptions can only be literals");
    }
    const Term_* x = tm->make_constant(tm->make_symbol("x", tm->get_real_type()));
    EXPECT_EQ(error_of([&] {
                  check({pos(tm->make_leq(tm->make_sin(x), tm->make_number(1)))});
              }).find("unsupported atom (no theory solver for it): "),
              0u);
    EXPECT_EQ(env->get_last_result(), 1);
    EXPECT_EQ(check({neg(p(0))}), 0);
}

TEST_F(EnvTest, an_atom_of_a_theory_is_an_error_until_it_is_popped)
{
    const Term_* x = tm->make_constant(tm->make_symbol("x", tm->get_int_type()));
    const Term_* atom = tm->make_leq(tm->make_sin(x), tm->make_number(1));
    env->assert_formula(tm->make_or(p(0), p(1)));
    env->push_backtrack_point();
    env->assert_formula(no(p(0)));
    env->assert_formula(tm->make_or(p(2), tm->make_and(p(3), atom)));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(error_of([&] { env->check(); }),
                  "unsupported atom (no theory solver for it): " + atom->to_shallow_str());
        EXPECT_EQ(env->get_last_result(), -1);
        EXPECT_EQ(error_of([&] { env->get_bool_value(p(0)); }), "no model available");
        EXPECT_TRUE(tm->get_typecheck());
    }
    env->add_preferred_for_branching(p(1), l_True);
    env->pop_backtrack_point();
    EXPECT_EQ(check({neg(p(0)), neg(p(1))}), 0);
    EXPECT_EQ(env->check(), 1);

    const Term_* v = tm->make_named_variable("v", tm->get_int_type());
    env->assert_formula(tm->make_forall(v, tm->make_leq(v, x)));
    EXPECT_EQ(error_of([&] { env->check(); }), "The CNF conversion does not support quantifiers");
}

TEST_F(EnvTest, equalities_of_reals_reach_the_engine_as_inequalities_unless_others_want_them)
{
    const DataType* real = tm->get_real_type();
    const Term_* x = tm->make_constant(tm->make_symbol("x", real));
    const Term_* y = tm->make_constant(tm->make_symbol("y", real));
    const Term_* e = tm->make_equal(x, y);
    env->assert_formula(tm->make_iff(p(0), e)); // propagation leaves the equality alone
    env->assert_formula(tm->make_or(e, p(1)));
    EXPECT_EQ(check({neg(p(1))}), 1);
    EXPECT_EQ(env->get_bool_value(p(0)), l_True);
    EXPECT_EQ(check({neg(e)}), 1); // the equality itself is an atom, too
    EXPECT_EQ(env->get_bool_value(p(0)), l_False);
    EXPECT_EQ(env->get_bool_value(p(1)), l_True);
    EXPECT_EQ(check({neg(e), neg(p(1))}), 0);
    EXPECT_EQ(core().size(), 2u);
    // Functions come late: the equalities of before still mean the same.
    const Symbol* f = tm->make_symbol("f", tm->get_function_type({real}, real));
    const Term_* xs[] = {x};
    const Term_* ys[] = {y};
    env->assert_formula(no(tm->make_equal(tm->make_uninterpreted_function(f, xs),
                                          tm->make_uninterpreted_function(f, ys))));
    EXPECT_EQ(check({neg(p(1))}), 0);
    EXPECT_EQ(env->check(), 1);
    EXPECT_EQ(env->get_bool_value(p(0)), l_False);
}

TEST_F(EnvTest, only_formulas_can_be_asserted)
{
    EXPECT_NE(error_of([&] { env->assert_formula(tm->make_number(1)); }), "");
    TermVector asserted;
    env->get_asserted_formulas(&asserted);
    EXPECT_TRUE(asserted.empty());
}

TEST_F(EnvTest, an_interrupted_check_loses_nothing)
{
    Countdown stop;
    for (bool shallow : {false, true}) {
        // Stopped at every place where the test is asked, in the conversion and in the search.
        for (int at = 0; at < 8; ++at) {
            config.shallow_incrementality = shallow;
            make();
            env->set_termination_test(&stop);
            env->assert_formula(tm->make_or(tm->make_and(p(0), p(1)), tm->make_and(p(2), p(3))));
            env->push_backtrack_point();
            env->assert_formula(no(p(0)));
            env->push_backtrack_point();
            env->assert_formula(no(tm->make_or(p(4), tm->make_and(p(2), p(5)))));
            stop.left = at;
            bool stopped = error_of([&] { env->check(); }) == "stopped by the test";
            EXPECT_TRUE(stopped || at > 2);
            stop.left = -1;
            if (at % 2 == 0) {
                EXPECT_EQ(check({pos(p(5))}), 0);
            }
            env->pop_backtrack_point();
            EXPECT_EQ(check({pos(p(5)), neg(p(2))}), 0);
            EXPECT_EQ(check({pos(p(5))}), 1);
            env->pop_backtrack_point();
            EXPECT_EQ(check({neg(p(2))}), 1);
            EXPECT_EQ(error_of([&] { env->pop_backtrack_point(); }), "no backtrack points to pop");
        }
    }
}

TEST_F(EnvTest, reset_drops_assertions_and_keeps_terms)
{
    env->assert_formula(p(0));
    env->push_backtrack_point();
    env->assert_formula(no(p(0)));
    EXPECT_EQ(env->check(), 0);
    env->reset_assertions();
    EXPECT_EQ(env->num_backtrack_points(), 0);
    EXPECT_EQ(env->get_last_result(), -1);
    env->assert_formula(no(p(0)));
    EXPECT_EQ(env->check(), 1);
    EXPECT_EQ(constant("p0"), p(0));
}

TEST_F(EnvTest, gc_frees_what_nothing_keeps)
{
    for (bool shallow : {false, true}) {
        config.shallow_incrementality = shallow;
        make();
        formulas.reset();
        const Term_* a = constant("a");
        const Term_* b = constant("b");
        const Term_* kept = tm->make_or(a, no(b));
        env->assert_formula(a);
        env->push_backtrack_point();
        env->assert_formula(tm->make_or(no(a), b));
        for (int i = 0; i < 1000; ++i) {
            constant("garbage" + std::to_string(i));
        }
        EXPECT_EQ(env->check(), 1);
        size_t before = tm->get_bank().size();
        TermSet keep;
        keep.insert(kept);
        env->gc(keep);
        EXPECT_EQ(env->get_raw_stats().sat_checks, 1u) << "counters go on";
        EXPECT_LT(tm->get_bank().size() + 1000, before + 10);
        EXPECT_EQ(constant("a"), a);
        EXPECT_EQ(tm->make_or(a, no(b)), kept);
        EXPECT_EQ(tm->get_symbol("garbage1"), nullptr);
        EXPECT_EQ(check({neg(b)}), 0);
        env->pop_backtrack_point();
        EXPECT_EQ(check({neg(b)}), 1);
        EXPECT_EQ(env->num_backtrack_points(), 0);
    }
}

TEST_F(EnvTest, gc_of_a_shared_manager_frees_nothing)
{
    Environment other(&config, tm);
    const Term_* a = constant("a");
    other.assert_formula(no(a));
    EXPECT_EQ(other.check(), 1);
    size_t before = tm->get_bank().size();
    env->gc(TermSet());
    other.gc(TermSet());
    EXPECT_EQ(tm->get_bank().size(), before);
    EXPECT_EQ(other.check_with_assumptions({pos(a)}), 0);
    EXPECT_EQ(check({pos(a)}), 1);
}

TEST_F(EnvTest, a_gc_hook_adds_roots)
{
    class Keep : public Environment::gc_hook {
    public:
        void operator()(TermVector& terms, std::vector<const Symbol*>& symbols,
                        TypeVector& types) override
        {
            terms.push_back(term);
            symbols.push_back(symbol);
            types.push_back(type);
        }
        const Term_* term = nullptr;
        const Symbol* symbol = nullptr;
        const DataType* type = nullptr;
    };
    Keep hook;
    hook.term = constant("a");
    hook.symbol = tm->make_symbol("b", tm->get_int_type());
    hook.type = tm->get_simple_type("U");
    formulas.reset();
    env->gc(TermSet(), hook);
    EXPECT_EQ(constant("a"), hook.term);
    EXPECT_EQ(tm->get_symbol("b"), hook.symbol);
    EXPECT_EQ(tm->get_simple_type("U", true), hook.type);
}

TEST_F(EnvTest, preferred_constants_get_their_phase)
{
    env->assert_formula(tm->make_or(p(0), p(1)));
    for (lbool phase : {l_True, l_False}) {
        env->add_preferred_for_branching(p(2), phase);
        EXPECT_EQ(env->check(), 1);
        EXPECT_EQ(env->get_bool_value(p(2)), phase);
        env->clear_preferred_for_branching();
    }
    EXPECT_EQ(error_of([&] { env->add_preferred_for_branching(no(p(0)), l_True); }),
              "only Boolean constants can be set as preferred for branching");
}

TEST_F(EnvTest, values_are_of_the_last_satisfiable_check)
{
    EXPECT_EQ(error_of([&] { env->get_bool_value(p(0)); }), "no model available");
    env->assert_formula(p(0));
    EXPECT_EQ(env->check(), 1);
    EXPECT_EQ(env->get_bool_value(p(0)), l_True);
    EXPECT_TRUE(env->get_bool_value(p(5)).is_undef());
    EXPECT_EQ(error_of([&] { env->get_bool_value(no(p(0))); }).find("not a Boolean constant: "),
              0u);
    EXPECT_EQ(check({neg(p(0))}), 0);
    EXPECT_EQ(error_of([&] { env->get_bool_value(p(0)); }), "no model available");
}

TEST_F(EnvTest, options_whose_results_are_missing_are_refused)
{
    Configuration wish;
    wish.proof_generation = true;
    EXPECT_EQ(error_of([&] { Environment e(&wish); }),
              "option `proof_generation' is not supported");
    Configuration other;
    other.interpolation = true;
    EXPECT_EQ(error_of([&] { Environment e(&other, tm); }),
              "option `interpolation' is not supported");
    EXPECT_EQ(tm->num_users(), 1);
}

TEST_F(EnvTest, solving_can_be_switched_off)
{
    config.debug.solver_enabled = false;
    make();
    env->assert_formula(tm->make_false());
    EXPECT_EQ(env->check(), -1);
    EXPECT_EQ(check({pos(p(0))}), -1);
}

TEST_F(EnvTest, reads_scripts_and_terms)
{
    std::istringstream script("(declare-fun a () Bool) (declare-fun b () Bool)\n"
                              "(assert (! (or a b) :named n :weight 3)) (assert (! a :weight 5))\n"
                              "(check-sat) (exit) garbage");
    TermVector terms;
    std::vector<std::pair<std::string, std::string>> annotations;
    const Term_* t = env->from_smt2_script(script, &terms, &annotations);
    const Term_* a = constant("a");
    const Term_* either = tm->make_or(a, constant("b"));
    EXPECT_EQ(t, tm->make_and(either, a));
    EXPECT_EQ(terms, (TermVector{a, either, either}));
    using Pairs = std::vector<std::pair<std::string, std::string>>;
    EXPECT_EQ(annotations, (Pairs{{"weight", "5"}, {"named", "n"}, {"weight", "3"}}));

    std::istringstream names("(assert (! a :named x)) (assert (! b :named y))");
    std::vector<std::string> texts;
    env->named_terms_from_smt2_script(names, &texts, &terms);
    EXPECT_EQ(texts, (std::vector<std::string>{"x", "y"}));
    EXPECT_EQ(terms, (TermVector{a, constant("b")}));

    EXPECT_EQ(env->from_smt2("(or a b) ; the end"), either) << "a comment must not hide the frame";
    std::istringstream two("a b");
    EXPECT_EQ(env->from_smt2(two), tm->make_and(a, constant("b")));
    EXPECT_NE(error_of([&] { env->from_smt2("(or a"); }), "");
    EXPECT_NE(error_of([&] { env->from_smt2("c"); }), "");
    EXPECT_EQ(env->check(), 1) << "reading asserts nothing";
}

TEST_F(EnvTest, a_million_levels_are_no_trouble)
{
    const Term_* t = p(0);
    for (size_t i = 0; i < 1000000; ++i) {
        t = i % 2 ? tm->make_or(t, no(p(i % 5))) : no(tm->make_and(t, p(i % 6)));
    }
    env->assert_formula(t);
    env->push_backtrack_point();
    env->assert_formula(no(t));
    EXPECT_EQ(env->check(), 0);
    env->pop_backtrack_point();
    EXPECT_NE(env->check(), -1);
}

TEST_F(EnvTest, the_same_input_gives_the_same_run)
{
    Environment::StatsList first;
    for (int run = 0; run < 2; ++run) {
        config.dpll.branching_random_frequency = 0.1;
        make();
        for (int i = 0; i < 40; ++i) {
            env->assert_formula(formulas->random(4));
            env->check();
        }
        Environment::StatsList stats = env->get_stats();
        if (run == 0) {
            first = stats;
        }
        EXPECT_EQ(stats, first);
    }
    ASSERT_GE(first.size(), 13u);
    EXPECT_EQ(first[0].first, ":cnf-variables");
    EXPECT_EQ(first[3].first, ":sat-checks");
    EXPECT_EQ(first[3].second.empty(), false);
    std::ostringstream out;
    env->print_stats(out, "; ");
    EXPECT_EQ(out.str().find("; :cnf-variables " + first[0].second + "\n"), 0u);
}

} // namespace
} // namespace tarq::test
