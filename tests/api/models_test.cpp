// Models and printed text through the exported interface.
#include <tarq.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace {

class ApiModelTest : public ::testing::Test {
protected:
    ApiModelTest()
    {
        tarq_config cfg = tarq_create_config();
        EXPECT_EQ(tarq_set_option(cfg, "model_generation", "true"), 0);
        e = tarq_create_env(cfg);
        tarq_destroy_config(cfg);
        sort = tarq_get_simple_type(e, "U");
        p = constant("p", tarq_get_bool_type(e));
        q = constant("q", tarq_get_bool_type(e));
        u = constant("u", sort);
        v = constant("v", sort);
        f = tarq_declare_function(e, "f", tarq_get_function_type(e, &sort, 1, sort));
    }
    ~ApiModelTest() override { tarq_destroy_env(e); }

    tarq_term constant(const char* name, tarq_type type)
    {
        return tarq_make_constant(e, tarq_declare_function(e, name, type));
    }
    tarq_term apply(tarq_term t) { return tarq_make_uf(e, f, &t); }
    std::string message() { return tarq_last_error_message(e); }
    bool is_true(tarq_term t) { return tarq_term_is_true(e, tarq_get_model_value(e, t)) != 0; }
    std::string take(char* text)
    {
        EXPECT_NE(text, nullptr);
        std::string out = text ? text : "";
        tarq_free(text);
        return out;
    }

    tarq_env e;
    tarq_type sort;
    tarq_decl f;
    tarq_term p, q, u, v;
};

TEST_F(ApiModelTest, a_model_is_there_after_a_satisfiable_check_and_outlives_the_next)
{
    EXPECT_TRUE(TARQ_ERROR_MODEL(tarq_get_model(e)));
    EXPECT_EQ(message(), "no model available");
    EXPECT_TRUE(TARQ_ERROR_TERM(tarq_get_model_value(e, p)));
    EXPECT_EQ(message(), "model generation not enabled");
    EXPECT_TRUE(TARQ_ERROR_MODEL_ITERATOR(tarq_create_model_iterator(e)));

    const tarq_term differ = tarq_make_not(e, tarq_make_eq(e, u, apply(v)));
    ASSERT_EQ(tarq_assert_formula(e, tarq_make_iff(e, p, tarq_make_not(e, q))), 0);
    ASSERT_EQ(tarq_assert_formula(e, differ), 0);
    ASSERT_EQ(tarq_solve(e), TARQ_SAT);
    EXPECT_NE(is_true(p), is_true(q));
    EXPECT_TRUE(is_true(differ));
    tarq_model m = tarq_get_model(e);
    ASSERT_FALSE(TARQ_ERROR_MODEL(m));
    const tarq_term value = tarq_model_eval(m, p);

    // asserted, not processed yet: the model is that of the check
    ASSERT_EQ(tarq_push_backtrack_point(e), 0);
    const bool p_value = is_true(p);
    ASSERT_EQ(tarq_assert_formula(e, p_value ? tarq_make_not(e, p) : p), 0);
    EXPECT_EQ(tarq_get_model_value(e, p).repr, value.repr);
    ASSERT_EQ(tarq_solve(e), TARQ_SAT);
    EXPECT_NE(tarq_get_model_value(e, p).repr, value.repr);
    EXPECT_EQ(tarq_model_eval(m, p).repr, value.repr) << "the older model stands by itself";
    ASSERT_EQ(tarq_assert_formula(e, tarq_make_false(e)), 0);
    ASSERT_EQ(tarq_solve(e), TARQ_UNSAT);
    EXPECT_TRUE(TARQ_ERROR_MODEL(tarq_get_model(e)));
    ASSERT_EQ(tarq_pop_backtrack_point(e), 0);
    ASSERT_EQ(tarq_reset_env(e), 0);
    EXPECT_TRUE(tarq_term_is_true(e, tarq_model_eval(m, differ)));
    tarq_destroy_model(m);
    tarq_destroy_model(tarq_model{nullptr});
}

TEST_F(ApiModelTest, assumptions_are_part_of_the_model)
{
    ASSERT_EQ(tarq_assert_formula(e, tarq_make_or(e, p, q)), 0);
    const tarq_term same = tarq_make_eq(e, u, apply(u));
    const tarq_term assumptions[] = {tarq_make_not(e, p), tarq_make_not(e, same)};
    ASSERT_EQ(tarq_solve_with_assumptions(e, assumptions, 2), TARQ_SAT) << message();
    EXPECT_FALSE(is_true(p));
    EXPECT_TRUE(is_true(q));
    EXPECT_FALSE(is_true(same));
    // over a constant that preprocessing has replaced
    ASSERT_EQ(tarq_assert_formula(e, tarq_make_eq(e, v, apply(u))), 0);
    const tarq_term v_is_u = tarq_make_eq(e, v, u);
    const tarq_term both[] = {v_is_u, tarq_make_not(e, same)};
    ASSERT_EQ(tarq_solve_with_assumptions(e, both, 2), TARQ_UNSAT) << message();
    ASSERT_EQ(tarq_solve_with_assumptions(e, both, 1), TARQ_SAT);
    EXPECT_TRUE(is_true(v_is_u));
    EXPECT_TRUE(is_true(same));
}

TEST_F(ApiModelTest, the_iterator_lists_constants_and_points)
{
    ASSERT_EQ(tarq_assert_formula(e, tarq_make_eq(e, apply(u), v)), 0);
    ASSERT_EQ(tarq_assert_formula(e, tarq_make_eq(e, apply(u), apply(v))), 0);
    ASSERT_EQ(tarq_assert_formula(e, p), 0);
    ASSERT_EQ(tarq_solve(e), TARQ_SAT);
    tarq_model_iterator it = tarq_create_model_iterator(e);
    ASSERT_FALSE(TARQ_ERROR_MODEL_ITERATOR(it));
    size_t constants = 0;
    size_t points = 0;
    tarq_term t, value;
    while (tarq_model_iterator_has_next(it)) {
        ASSERT_EQ(tarq_model_iterator_next(it, &t, &value), 0);
        EXPECT_EQ(tarq_get_model_value(e, t).repr, value.repr);
        ++(tarq_term_arity(t) > 0 ? points : constants);
    }
    EXPECT_EQ(constants, 3u) << "u, v, p";
    EXPECT_EQ(points, 2u) << "at u and at v, which are different or one";
    const tarq_term last = t;
    EXPECT_EQ(tarq_model_iterator_next(it, &t, &value), -1);
    EXPECT_EQ(t.repr, last.repr);
    tarq_destroy_model_iterator(it);
    tarq_destroy_model_iterator(tarq_model_iterator{nullptr});
}

int count_models(tarq_model_iterator it, void* left)
{
    tarq_term t, value;
    size_t entries = 0;
    while (tarq_model_iterator_next(it, &t, &value) == 0) {
        ++entries;
    }
    return entries > 0 && --*static_cast<int*>(left) > 0;
}

TEST_F(ApiModelTest, diversification_finds_each_combination_once)
{
    const tarq_term r = constant("r", tarq_get_bool_type(e));
    ASSERT_EQ(tarq_assert_formula(e, tarq_make_or(e, p, tarq_make_or(e, q, r))), 0);
    const tarq_term both[] = {p, q};
    int left = 100;
    ASSERT_EQ(tarq_push_backtrack_point(e), 0);
    EXPECT_EQ(tarq_solve_diversify(e, both, 2, count_models, &left), 4);
    EXPECT_EQ(left, 96);
    EXPECT_EQ(tarq_solve(e), TARQ_UNSAT);
    ASSERT_EQ(tarq_pop_backtrack_point(e), 0);
    left = 2;
    ASSERT_EQ(tarq_push_backtrack_point(e), 0);
    EXPECT_EQ(tarq_solve_diversify(e, both, 2, count_models, &left), 2) << "the callback stops";
    ASSERT_EQ(tarq_pop_backtrack_point(e), 0);
    EXPECT_EQ(tarq_solve(e), TARQ_SAT);
    left = 3;
    ASSERT_EQ(tarq_assert_formula(e, tarq_make_eq(e, u, u)), 0);
    EXPECT_EQ(tarq_solve_diversify(e, &u, 1, count_models, &left), -1);
    EXPECT_EQ(message().rfind("bad model value for diversifier: ", 0), 0u) << message();
    EXPECT_EQ(tarq_solve_diversify(e, &p, 1, nullptr, nullptr), -1);
}

TEST_F(ApiModelTest, truth_values_alone)
{
    tarq_config cfg = tarq_create_config();
    ASSERT_EQ(tarq_set_option(cfg, "bool_model_generation", "true"), 0);
    ASSERT_EQ(tarq_set_option(cfg, "preprocessor.toplevel_propagation", "false"), 0);
    tarq_env other = tarq_create_shared_env(cfg, e);
    int left = 1;
    EXPECT_EQ(tarq_solve_diversify(other, &p, 1, count_models, &left), -1);
    EXPECT_STREQ(tarq_last_error_message(other),
                 "model generation must be enabled for diversification");
    tarq_destroy_config(cfg);
    const tarq_term same = tarq_make_eq(other, u, v);
    ASSERT_EQ(tarq_assert_formula(other, tarq_make_not(other, same)), 0);
    ASSERT_EQ(tarq_solve(other), TARQ_SAT);
    EXPECT_TRUE(tarq_term_is_false(other, tarq_get_model_value(other, same)));
    EXPECT_EQ(tarq_get_model_value(other, u).repr, u.repr);
    tarq_destroy_env(other);
}

TEST_F(ApiModelTest, terms_print_as_scripts_and_alone)
{
    const tarq_term t = tarq_make_and(e, p, tarq_make_not(e, tarq_make_eq(e, u, apply(v))));
    EXPECT_EQ(take(tarq_to_smtlib2_term(e, t)), "(and p (not (= u (f v))))");
    const std::string script = take(tarq_to_smtlib2_ext(e, t, "QF_UF", 1));
    EXPECT_EQ(script.rfind("(set-logic QF_UF)\n", 0), 0u) << script;
    EXPECT_EQ(tarq_from_smtlib2(e, script.c_str()).repr, t.repr);
    EXPECT_EQ(tarq_from_smtlib2(e, take(tarq_to_smtlib2(e, t)).c_str()).repr, t.repr);
    std::FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(tarq_to_smtlib2_file(e, t, file), 0);
    std::rewind(file);
    EXPECT_EQ(tarq_from_smtlib2_file(e, file).repr, t.repr);
    std::rewind(file);
    EXPECT_EQ(tarq_to_smtlib2_ext_file(e, t, nullptr, 1, file), 0);
    std::fclose(file);
    EXPECT_EQ(tarq_to_smtlib2_file(e, t, nullptr), -1);
    EXPECT_EQ(message(), "null file argument");
    EXPECT_EQ(tarq_to_smtlib2(e, TARQ_MAKE_ERROR_TERM()), nullptr);
    const tarq_term x = constant("x", tarq_get_fp_type(e, 5, 10));
    EXPECT_EQ(tarq_to_smtlib2_term(e, tarq_make_fp_as_ieeebv(e, x)), nullptr);
    EXPECT_EQ(message().rfind("can't print interpreted symbol ", 0), 0u) << message();
}

TEST_F(ApiModelTest, named_and_annotated_terms_come_back)
{
    const tarq_term terms[] = {apply(u), p, apply(u)};
    const char* names[] = {"first", "a name", "again"};
    const std::string named = take(tarq_named_list_to_smtlib2(e, 3, names, terms));
    size_t n = 0;
    char** texts = nullptr;
    tarq_term* read = nullptr;
    ASSERT_EQ(tarq_named_list_from_smtlib2(e, named.c_str(), &n, &texts, &read), 0) << named;
    ASSERT_EQ(n, 3u) << named;
    for (size_t i = 0; i < n; ++i) {
        const bool is_p = std::string(texts[i]) == "a name";
        EXPECT_EQ(read[i].repr, is_p ? p.repr : terms[0].repr);
        tarq_free(texts[i]);
    }
    tarq_free(texts);
    tarq_free(read);
    const char* annots[] = {"weight", "3", ":kind", "(x y)", "weight", "4"};
    std::FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(tarq_annotated_list_to_smtlib2_file(e, 3, terms, annots, file), 0);
    std::rewind(file);
    ASSERT_EQ(tarq_annotated_list_from_smtlib2_file(e, file, &n, &read, &texts), 0);
    std::fclose(file);
    ASSERT_EQ(n, 3u);
    std::string all;
    for (size_t i = 0; i < n; ++i) {
        all += std::string(read[i].repr == p.repr ? "p " : "f ") + texts[2 * i] + "=" +
               texts[2 * i + 1] + ";";
        tarq_free(texts[2 * i]);
        tarq_free(texts[2 * i + 1]);
    }
    tarq_free(texts);
    tarq_free(read);
    EXPECT_NE(all.find("p kind=(x y);"), std::string::npos) << all;
    EXPECT_NE(all.find("f weight=3;"), std::string::npos) << all;
    EXPECT_NE(all.find("f weight=4;"), std::string::npos) << all;
    const std::string old = take(tarq_to_smtlib1(e, p));
    EXPECT_EQ(old.rfind("(benchmark unnamed\n", 0), 0u) << old;
    EXPECT_EQ(tarq_to_smtlib1_file(e, p, nullptr), -1);
    const tarq_term x = constant("x", tarq_get_fp_type(e, 5, 10));
    EXPECT_EQ(tarq_to_smtlib1(e, tarq_make_fp_isnan(e, x)), nullptr);
    EXPECT_EQ(message().rfind("type ", 0), 0u) << message();
}

TEST_F(ApiModelTest, toplevel_simplification_keeps_what_is_protected)
{
    const tarq_term t = tarq_make_and(e, tarq_make_iff(e, p, q), tarq_make_eq(e, u, apply(v)));
    EXPECT_EQ(tarq_simplify(e, t, nullptr, 0, 0).repr, t.repr);
    EXPECT_TRUE(tarq_term_is_true(e, tarq_simplify(e, t, nullptr, 0, 1)));
    const tarq_term keep[] = {p, q};
    EXPECT_EQ(tarq_simplify(e, t, keep, 2, 1).repr, tarq_make_iff(e, p, q).repr);
}

} // namespace
