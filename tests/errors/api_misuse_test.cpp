// Misuse of the exported interface: each call must fail as documented and leave the environment
// able to answer. Uses tarq.h alone. Null pointers where the interface demands a text are tested
// too, since a binding of another language passes them sooner or later.
#include <tarq.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

const tarq_env no_env{nullptr};
const tarq_term no_term{nullptr};
const tarq_type no_type{nullptr};
const tarq_decl no_decl{nullptr};
const tarq_config no_config{nullptr};

class ApiMisuse : public ::testing::Test {
protected:
    ApiMisuse()
    {
        const tarq_config c = tarq_create_config();
        e = tarq_create_env(c);
        tarq_destroy_config(c);
        p = constant("p", tarq_get_bool_type(e));
        q = constant("q", tarq_get_bool_type(e));
        x = constant("x", tarq_get_integer_type(e));
        v = constant("v", tarq_get_bv_type(e, 8));
        f = tarq_declare_function(
            e, "f", tarq_get_function_type(e, &int_type(), 1, tarq_get_integer_type(e)));
    }
    ~ApiMisuse() override { tarq_destroy_env(e); }

    const tarq_type& int_type()
    {
        int_ = tarq_get_integer_type(e);
        return int_;
    }
    tarq_term constant(const char* name, tarq_type t)
    {
        return tarq_make_constant(e, tarq_declare_function(e, name, t));
    }
    std::string message() { return tarq_last_error_message(e); }

    /// Three answers that are known, in a scope of their own.
    void expect_usable()
    {
        const size_t points = tarq_num_backtrack_points(e);
        const tarq_term r = constant("usable-r", tarq_get_bool_type(e));
        const tarq_term s = constant("usable-s", tarq_get_bool_type(e));
        ASSERT_EQ(tarq_push_backtrack_point(e), 0) << message();
        ASSERT_EQ(tarq_assert_formula(e, tarq_make_or(e, r, s)), 0) << message();
        EXPECT_EQ(tarq_solve(e), TARQ_SAT) << message();
        const tarq_term off[] = {tarq_make_not(e, r), tarq_make_not(e, s)};
        EXPECT_EQ(tarq_solve_with_assumptions(e, off, 2), TARQ_UNSAT) << message();
        EXPECT_EQ(tarq_solve_with_assumptions(e, off, 1), TARQ_SAT) << message();
        ASSERT_EQ(tarq_pop_backtrack_point(e), 0) << message();
        EXPECT_EQ(tarq_num_backtrack_points(e), points);
    }

    /// The term is the error term, and the text says something.
    void expect_refused(tarq_term t, const char* what)
    {
        EXPECT_TRUE(TARQ_ERROR_TERM(t)) << what;
        EXPECT_NE(message(), "") << what;
    }

    tarq_env e;
    tarq_term p, q, x, v;
    tarq_decl f;

private:
    tarq_type int_;
};

TEST_F(ApiMisuse, error_handles_in_place_of_the_environment)
{
    size_t n = 0;
    EXPECT_EQ(tarq_solve(no_env), TARQ_UNKNOWN);
    EXPECT_EQ(tarq_solve_with_assumptions(no_env, &p, 1), TARQ_UNKNOWN);
    EXPECT_EQ(tarq_assert_formula(no_env, p), -1);
    EXPECT_EQ(tarq_push_backtrack_point(no_env), -1);
    EXPECT_EQ(tarq_pop_backtrack_point(no_env), -1);
    EXPECT_EQ(tarq_reset_env(no_env), -1);
    EXPECT_EQ(tarq_gc_env(no_env, nullptr, 0), -1);
    EXPECT_EQ(tarq_set_termination_test(no_env, nullptr, nullptr), -1);
    EXPECT_EQ(tarq_last_error_message(no_env), nullptr);
    EXPECT_TRUE(TARQ_ERROR_TYPE(tarq_get_bool_type(no_env)));
    EXPECT_TRUE(TARQ_ERROR_TYPE(tarq_get_bv_type(no_env, 8)));
    EXPECT_TRUE(TARQ_ERROR_DECL(tarq_declare_function(no_env, "a", tarq_get_bool_type(e))));
    EXPECT_TRUE(TARQ_ERROR_TERM(tarq_make_true(no_env)));
    EXPECT_TRUE(TARQ_ERROR_TERM(tarq_make_and(no_env, p, q)));
    EXPECT_TRUE(TARQ_ERROR_TERM(tarq_make_number(no_env, "1")));
    EXPECT_TRUE(TARQ_ERROR_TERM(tarq_from_string(no_env, "true")));
    EXPECT_TRUE(TARQ_ERROR_TERM(tarq_from_smtlib2(no_env, "(assert true)")));
    EXPECT_EQ(tarq_get_unsat_assumptions(no_env, &n), nullptr);
    EXPECT_EQ(tarq_get_asserted_formulas(no_env, &n), nullptr);
    EXPECT_EQ(tarq_get_search_stats(no_env), nullptr);
    EXPECT_TRUE(TARQ_ERROR_ENV(tarq_create_env(no_config)));
    EXPECT_TRUE(TARQ_ERROR_ENV(tarq_create_shared_env(no_config, e)));
    tarq_destroy_env(no_env);
    tarq_destroy_config(no_config);
    tarq_free(nullptr);
    expect_usable();
}

TEST_F(ApiMisuse, error_terms_as_arguments)
{
    const std::vector<std::pair<const char*, std::function<tarq_term()>>> calls = {
        {"not", [&] { return tarq_make_not(e, no_term); }},
        {"and", [&] { return tarq_make_and(e, p, no_term); }},
        {"or", [&] { return tarq_make_or(e, no_term, p); }},
        {"iff", [&] { return tarq_make_iff(e, p, no_term); }},
        {"ite", [&] { return tarq_make_term_ite(e, p, x, no_term); }},
        {"equal", [&] { return tarq_make_equal(e, no_term, x); }},
        {"leq", [&] { return tarq_make_leq(e, x, no_term); }},
        {"plus", [&] { return tarq_make_plus(e, no_term, no_term); }},
        {"bv", [&] { return tarq_make_bv_plus(e, v, no_term); }},
        {"extract", [&] { return tarq_make_bv_extract(e, 1, 0, no_term); }},
        {"read", [&] { return tarq_make_array_read(e, no_term, x); }},
        {"forall", [&] { return tarq_make_forall(e, no_term, p); }},
        {"nnf", [&] { return tarq_to_nnf(e, no_term); }},
        {"simplification", [&] { return tarq_simplify(e, no_term, nullptr, 0, 0); }},
        {"protection of nothing", [&] { return tarq_simplify(e, p, &no_term, 1, 0); }},
        {"constant", [&] { return tarq_make_constant(e, no_decl); }},
        {"uf", [&] { return tarq_make_uf(e, f, &no_term); }},
        {"const array", [&] { return tarq_make_array_const(e, no_type, x); }},
        {"variable", [&] { return tarq_make_variable(e, "y", no_type); }},
        {"copy", [&] { return tarq_make_copy_from(e, no_term, e); }},
        {"copy from nowhere", [&] { return tarq_make_copy_from(e, p, no_env); }},
        {"substitution", [&] { return tarq_apply_substitution(e, no_term, &p, &q, 1); }},
        {"substitution by nothing", [&] { return tarq_apply_substitution(e, p, &p, &no_term, 1); }},
    };
    for (const auto& c : calls) {
        EXPECT_TRUE(TARQ_ERROR_TERM(c.second())) << c.first;
    }
    EXPECT_EQ(tarq_assert_formula(e, no_term), -1);
    EXPECT_EQ(tarq_solve_with_assumptions(e, &no_term, 1), TARQ_UNKNOWN);
    EXPECT_EQ(tarq_add_preferred_for_branching(e, no_term, TARQ_TRUE), -1);
    EXPECT_EQ(tarq_visit_term(
                  e, no_term, [](tarq_env, tarq_term, int, void*) { return TARQ_VISIT_PROCESS; },
                  nullptr),
              -1);
    EXPECT_EQ(tarq_gc_env(e, &no_term, 1), -1);
    expect_usable();
}

TEST_F(ApiMisuse, queries_on_error_handles)
{
    EXPECT_EQ(tarq_term_id(no_term), 0u);
    EXPECT_EQ(tarq_decl_id(no_decl), 0u);
    EXPECT_EQ(tarq_term_arity(no_term), 0u);
    EXPECT_TRUE(TARQ_ERROR_TERM(tarq_term_get_arg(no_term, 0)));
    EXPECT_TRUE(TARQ_ERROR_TERM(tarq_term_get_arg(tarq_make_not(e, p), 1)));
    EXPECT_TRUE(TARQ_ERROR_TERM(tarq_term_get_arg(p, SIZE_MAX)));
    EXPECT_TRUE(TARQ_ERROR_TYPE(tarq_term_get_type(no_term)));
    EXPECT_TRUE(TARQ_ERROR_DECL(tarq_term_get_decl(no_term)));
    EXPECT_TRUE(TARQ_ERROR_TYPE(tarq_decl_get_return_type(no_decl)));
    EXPECT_TRUE(TARQ_ERROR_TYPE(tarq_decl_get_arg_type(f, 1)));
    EXPECT_EQ(tarq_decl_get_tag(e, no_decl), TARQ_TAG_ERROR);
    EXPECT_EQ(tarq_term_repr(no_term), nullptr);
    EXPECT_EQ(tarq_type_repr(no_type), nullptr);
    EXPECT_EQ(tarq_term_is_and(e, no_term), 0);
    EXPECT_EQ(tarq_term_is_number(e, no_term), 0);
    EXPECT_EQ(tarq_is_bv_type(e, no_type, nullptr), 0);
    expect_usable();
}

TEST_F(ApiMisuse, null_texts)
{
    expect_refused(tarq_make_number(e, nullptr), "number");
    expect_refused(tarq_make_bv_number(e, nullptr, 8, 10), "bit-vector");
    expect_refused(tarq_make_fp_bits_number(e, nullptr, 8, 23), "float");
    expect_refused(tarq_from_string(e, nullptr), "term");
    expect_refused(tarq_from_smtlib2(e, nullptr), "script");
    expect_refused(tarq_make_variable(e, nullptr, tarq_get_integer_type(e)), "variable");
    EXPECT_TRUE(TARQ_ERROR_DECL(tarq_declare_function(e, nullptr, tarq_get_bool_type(e))));
    EXPECT_TRUE(TARQ_ERROR_DECL(tarq_find_decl(e, nullptr)));
    EXPECT_TRUE(TARQ_ERROR_TYPE(tarq_get_simple_type(e, nullptr)));
    expect_usable();
}

TEST_F(ApiMisuse, arguments_of_wrong_types)
{
    const tarq_term one = tarq_make_int_number(e, 1);
    const tarq_term w = constant("w", tarq_get_bv_type(e, 9));
    const tarq_term fp = constant("fp", tarq_get_fp_type(e, 8, 23));
    const tarq_term fp2 = constant("fp2", tarq_get_fp_type(e, 11, 52));
    const tarq_term rne = tarq_make_fp_roundingmode_nearest_even(e);
    const tarq_term arr =
        constant("arr", tarq_get_array_type(e, tarq_get_integer_type(e), tarq_get_integer_type(e)));
    const std::vector<std::pair<const char*, tarq_term>> bad = {
        {"not 1", tarq_make_not(e, one)},
        {"p and 1", tarq_make_and(e, p, one)},
        {"x or p", tarq_make_or(e, x, p)},
        {"1 iff 1", tarq_make_iff(e, one, one)},
        {"p <= q", tarq_make_leq(e, p, q)},
        {"p + 1", tarq_make_plus(e, p, one)},
        {"v * 1", tarq_make_times(e, v, one)},
        {"x = v", tarq_make_equal(e, x, v)},
        {"ite over 1", tarq_make_term_ite(e, one, x, x)},
        {"ite of x and v", tarq_make_term_ite(e, p, x, v)},
        {"widths 8 and 9", tarq_make_bv_plus(e, v, w)},
        {"bv of x", tarq_make_bv_not(e, x)},
        {"ult of widths 8 and 9", tarq_make_bv_ult(e, v, w)},
        {"formats", tarq_make_fp_plus(e, rne, fp, fp2)},
        {"no rounding", tarq_make_fp_plus(e, fp, fp, fp)},
        {"isnan of x", tarq_make_fp_isnan(e, x)},
        {"bits of wrong width", tarq_make_fp_from_ieeebv(e, 8, 23, v)},
        {"read of x", tarq_make_array_read(e, x, x)},
        {"read at p", tarq_make_array_read(e, arr, p)},
        {"write of p", tarq_make_array_write(e, arr, x, p)},
        {"constant array over v", tarq_make_array_const(e, tarq_get_integer_type(e), x)},
        {"forall over a constant", tarq_make_forall(e, x, p)},
        {"exists with a number",
         tarq_make_exists(e, tarq_make_variable(e, "y", tarq_get_integer_type(e)), one)},
        {"float rounding by x", tarq_make_fp_rat_number(e, "1/3", 8, 23, x)},
        {"int of x", tarq_make_int_from_ubv(e, x)},
        {"bv of v", tarq_make_int_to_bv(e, 8, v)},
        {"exp of p", tarq_make_exp(e, p)},
    };
    for (const auto& b : bad) {
        expect_refused(b.second, b.first);
    }
    EXPECT_EQ(tarq_assert_formula(e, x), -1);
    EXPECT_EQ(tarq_assert_formula(e, one), -1);
    expect_usable();
}

TEST_F(ApiMisuse, texts_that_are_no_numbers)
{
    for (const char* text : {"+",
                             "+1",
                             "abc",
                             "1/0",
                             "0/0",
                             "1/2/3",
                             "1/-",
                             "--1",
                             "0x10",
                             "1.2.3",
                             "1e",
                             "1 2",
                             "1e999999999999999999999",
                             "1e-999999999999999999999",
                             "1e4000000000",
                             "/2",
                             "1.0e99999999999",
                             "inf",
                             "nan",
                             "\xff",
                             "1\n2"}) {
        expect_refused(tarq_make_number(e, text), text);
    }
    mpq_t zero;
    mpq_init(zero);
    mpz_set_ui(mpq_numref(zero), 1);
    mpz_set_ui(mpq_denref(zero), 0);
    expect_refused(tarq_make_mpq_number(e, zero), "1/0 as mpq");
    mpz_set_ui(mpq_denref(zero), 1);
    mpq_clear(zero);
    for (const char* text : {"", "-1", "256", "2", "x", "1/2", "0b1"}) {
        expect_refused(tarq_make_bv_number(e, text, text[0] == '2' && text[1] == 0 ? 1 : 8, 10),
                       text);
    }
    expect_refused(tarq_make_bv_number(e, "1", 0, 10), "width 0");
    expect_refused(tarq_make_bv_number(e, "1", 8, 7), "base 7");
    expect_refused(tarq_make_bv_number(e, "12", 8, 2), "digit 2 of base 2");
    expect_refused(tarq_make_bv_number(e, "g", 8, 16), "digit g of base 16");
    expect_refused(tarq_make_bv_int_number(e, -1, 8), "negative");
    expect_refused(tarq_make_bv_int_number(e, 256, 8), "too wide");
    expect_refused(tarq_make_fp_bits_number(e, "999999999999999999999999", 8, 23), "too many bits");
    expect_usable();
}

TEST_F(ApiMisuse, indices_out_of_range)
{
    expect_refused(tarq_make_bv_extract(e, 8, 0, v), "bit 8 of 8");
    expect_refused(tarq_make_bv_extract(e, 0, 1, v), "bits in the wrong order");
    expect_refused(tarq_make_bv_extract(e, SIZE_MAX, 0, v), "huge bit");
    expect_refused(tarq_make_bv_extract(e, SIZE_MAX, SIZE_MAX, v), "huge bits");
    expect_refused(tarq_make_bv_zext(e, SIZE_MAX, v), "huge extension");
    expect_refused(tarq_make_bv_sext(e, SIZE_MAX - 7, v), "extension that wraps around");
    // such a type exists, but it has no number 1
    expect_refused(tarq_make_bv_int_number(e, 1, 0), "number of width 0");
    EXPECT_TRUE(TARQ_ERROR_TYPE(tarq_get_fp_type(e, 0, 0)));
    mpz_t zero;
    mpz_init(zero);
    expect_refused(tarq_make_int_modular_congruence(e, zero, x, x), "modulus 0");
    mpz_clear(zero);
    expect_usable();
}

TEST_F(ApiMisuse, declarations)
{
    for (const char* name : {"", "`a", "'a"}) {
        EXPECT_TRUE(TARQ_ERROR_DECL(tarq_declare_function(e, name, tarq_get_bool_type(e)))) << name;
    }
    EXPECT_TRUE(TARQ_ERROR_DECL(tarq_declare_function(e, "p", tarq_get_integer_type(e))));
    EXPECT_TRUE(TARQ_ERROR_DECL(tarq_declare_function(e, "fresh", no_type)));
    EXPECT_TRUE(TARQ_ERROR_TYPE(tarq_get_function_type(e, nullptr, 0, tarq_get_bool_type(e))));
    EXPECT_TRUE(TARQ_ERROR_TYPE(tarq_get_function_type(e, &no_type, 1, tarq_get_bool_type(e))));
    EXPECT_TRUE(TARQ_ERROR_TYPE(tarq_get_function_type(e, &int_type(), 1, no_type)));
    const tarq_type boolean = tarq_get_bool_type(e);
    EXPECT_TRUE(TARQ_ERROR_TYPE(tarq_get_function_type(e, &boolean, 1, boolean)));
    const tarq_type function = tarq_decl_get_return_type(f);
    EXPECT_TRUE(TARQ_ERROR_TYPE(tarq_get_array_type(e, boolean, function)));
    EXPECT_TRUE(TARQ_ERROR_TYPE(tarq_get_array_type(e, no_type, int_type())));
    // a number's name stays free for constants, and neither disturbs the other
    const tarq_term five = constant("5", tarq_get_bool_type(e));
    EXPECT_FALSE(TARQ_ERROR_TERM(five));
    EXPECT_EQ(tarq_term_is_number(e, five), 0);
    EXPECT_EQ(tarq_term_is_number(e, tarq_make_number(e, "5")), 1);
    expect_usable();
}

TEST_F(ApiMisuse, applications_of_wrong_shape)
{
    const tarq_term none[] = {no_term};
    const tarq_term boolean[] = {p, no_term};
    expect_refused(tarq_make_uf(e, f, none), "no arguments");
    expect_refused(tarq_make_uf(e, f, boolean), "Boolean argument");
    expect_refused(tarq_make_constant(e, f), "function as constant");
    const tarq_decl conj = tarq_term_get_decl(tarq_make_and(e, p, q));
    expect_refused(tarq_make_term(e, conj, none), "and of nothing");
    const tarq_term mixed[] = {p, x, no_term};
    expect_refused(tarq_make_term(e, conj, mixed), "and of a number");
    EXPECT_TRUE(TARQ_ERROR_TERM(tarq_apply_substitution(e, tarq_make_or(e, p, q), &p, &x, 1)));
    EXPECT_FALSE(TARQ_ERROR_TERM(tarq_apply_substitution(e, p, nullptr, nullptr, 0)));
    EXPECT_EQ(tarq_visit_term(e, p, nullptr, nullptr), -1);
    expect_usable();
}

TEST_F(ApiMisuse, options)
{
    const tarq_config c = tarq_create_config();
    EXPECT_EQ(tarq_set_option(c, "no.such.option", "1"), -1);
    EXPECT_EQ(tarq_set_option(c, "dpll.restart_strategy", "true"), -1);
    EXPECT_EQ(tarq_set_option(c, "dpll.restart_strategy", ""), -1);
    EXPECT_EQ(tarq_set_option(c, "dpll.restart_geometric_factor", "1e3"), -1);
    EXPECT_EQ(tarq_set_option(c, nullptr, "1"), -1);
    EXPECT_EQ(tarq_set_option(c, "dpll.restart_strategy", nullptr), -1);
    EXPECT_EQ(tarq_set_option(no_config, "dpll.restart_strategy", "1"), -1);
    EXPECT_EQ(tarq_set_option(c, "dpll.restart_strategy", "4"), 0);
    EXPECT_TRUE(TARQ_ERROR_ENV(tarq_create_env(c)));
    EXPECT_TRUE(TARQ_ERROR_ENV(tarq_create_shared_env(c, e)));
    EXPECT_EQ(tarq_set_option(c, "dpll.restart_strategy", "1"), 0);
    const tarq_env good = tarq_create_shared_env(c, e);
    EXPECT_FALSE(TARQ_ERROR_ENV(good));
    tarq_destroy_env(good);
    tarq_destroy_config(c);
    EXPECT_TRUE(TARQ_ERROR_CONFIG(tarq_parse_config_file("no such file")));
    const tarq_config text = tarq_parse_config("no.such.option = 1\n");
    EXPECT_TRUE(TARQ_ERROR_CONFIG(text) || TARQ_ERROR_ENV(tarq_create_env(text)));
    tarq_destroy_config(text);
    expect_usable();
}

TEST_F(ApiMisuse, backtrack_points_and_assumptions)
{
    EXPECT_EQ(tarq_pop_backtrack_point(e), -1);
    EXPECT_EQ(message(), "no backtrack points to pop");
    ASSERT_EQ(tarq_assert_formula(e, p), 0);
    EXPECT_EQ(tarq_pop_backtrack_point(e), -1);
    size_t n = 0;
    tarq_term* asserted = tarq_get_asserted_formulas(e, &n);
    EXPECT_EQ(n, 1u);
    tarq_free(asserted);

    const tarq_term conj = tarq_make_and(e, p, q);
    for (const tarq_term bad : {conj, x, tarq_make_int_number(e, 1), tarq_make_leq(e, x, x)}) {
        EXPECT_NE(tarq_solve_with_assumptions(e, &bad, 1), TARQ_UNSAT);
        tarq_free(tarq_get_unsat_assumptions(e, &n));
        EXPECT_EQ(n, 0u);
    }
    EXPECT_EQ(tarq_solve_with_assumptions(e, nullptr, 0), TARQ_SAT);
    tarq_free(tarq_get_unsat_assumptions(e, &n));
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(tarq_add_preferred_for_branching(e, x, TARQ_TRUE), -1);
    expect_usable();
}

TEST_F(ApiMisuse, what_no_theory_decides_is_an_error)
{
    const tarq_term square = tarq_make_times(e, x, x);
    const tarq_term less = tarq_make_leq(e, square, tarq_make_int_number(e, 1));
    const tarq_term equal = tarq_make_equal(e, square, tarq_make_int_number(e, 2));
    for (const tarq_term t : {less, equal, tarq_make_not(e, tarq_make_or(e, less, p))}) {
        ASSERT_EQ(tarq_push_backtrack_point(e), 0);
        EXPECT_EQ(tarq_assert_formula(e, t), 0) << message();
        EXPECT_EQ(tarq_solve(e), TARQ_UNKNOWN);
        EXPECT_NE(message(), "");
        EXPECT_EQ(tarq_solve(e), TARQ_UNKNOWN); // still no answer, and not one by accident
        ASSERT_EQ(tarq_pop_backtrack_point(e), 0);
        expect_usable();
    }
}

TEST_F(ApiMisuse, a_stopped_check_can_be_asked_again)
{
    ASSERT_EQ(tarq_assert_formula(e, tarq_make_or(e, p, q)), 0);
    ASSERT_EQ(tarq_set_termination_test(
                  e, [](void*) { return 1; }, nullptr),
              0);
    const tarq_result stopped = tarq_solve(e);
    if (stopped == TARQ_UNKNOWN) {
        EXPECT_EQ(message(), "user-requested termination");
    } else {
        EXPECT_EQ(stopped, TARQ_SAT); // so small a problem may be done before anybody asks
    }
    ASSERT_EQ(tarq_set_termination_test(e, nullptr, nullptr), 0);
    EXPECT_EQ(tarq_solve(e), TARQ_SAT);
    expect_usable();
}

const char valid_script[] = R"((set-logic QF_UF)
(declare-fun a () Bool)
(declare-const |b c| Bool)
(define-fun g ((y Bool)) Bool (ite y |b c| (not y)))
(assert (! (let ((z (and a (g |b c|)))) (xor z a)) :named n :weight 5))
(assert (or a (= #b01 (bvadd #b01 #b00)) (< 1 2.5 (/ 7 3))))
(check-sat)
)";

/// Reads a text in every way there is; none may do more than fail.
void read_in_all_ways(tarq_env e, const std::string& text)
{
    tarq_from_smtlib2(e, text.c_str());
    tarq_from_string(e, text.c_str());
    size_t n = 0;
    char** names = nullptr;
    tarq_term* terms = nullptr;
    if (tarq_named_list_from_smtlib2(e, text.c_str(), &n, &names, &terms) == 0) {
        for (size_t i = 0; i < n; ++i) {
            tarq_free(names[i]);
        }
        tarq_free(names);
        tarq_free(terms);
    }
    names = nullptr;
    terms = nullptr;
    if (tarq_annotated_list_from_smtlib2(e, text.c_str(), &n, &terms, &names) == 0) {
        for (size_t i = 0; i < 2 * n; ++i) {
            tarq_free(names[i]);
        }
        tarq_free(names);
        tarq_free(terms);
    }
}

TEST_F(ApiMisuse, scripts_cut_off_at_every_place)
{
    const std::string all = valid_script;
    ASSERT_FALSE(TARQ_ERROR_TERM(tarq_from_smtlib2(e, valid_script))) << message();
    for (size_t cut = 0; cut < all.size(); ++cut) {
        read_in_all_ways(e, all.substr(0, cut));
    }
    EXPECT_TRUE(TARQ_ERROR_TERM(
        tarq_from_smtlib2(e, all.substr(0, all.find("(check")).append("(as").c_str())));
    expect_usable();
}

TEST_F(ApiMisuse, scripts_with_changed_bytes)
{
    std::mt19937 rng(5);
    for (int i = 0; i < 500; ++i) {
        std::string text = valid_script;
        for (unsigned k = rng() % 4; k < 4; ++k) {
            text[rng() % text.size()] = static_cast<char>(rng() % 256);
        }
        read_in_all_ways(e, text);
    }
    expect_usable();
}

TEST_F(ApiMisuse, a_broken_script_file)
{
    std::FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    std::fputs("(declare-const z Bool)\n(assert (and z\n", file);
    std::rewind(file);
    expect_refused(tarq_from_smtlib2_file(e, file), "file");
    EXPECT_NE(message().find("(line: 3)"), std::string::npos) << message();
    std::fclose(file);
    expect_usable();
}

TEST_F(ApiMisuse, deep_terms_need_no_stack)
{
    constexpr int depth = 300000;
    tarq_term t = p;
    for (int i = 0; i < depth; ++i) {
        t = tarq_make_not(e, tarq_make_and(e, i % 2 == 0 ? p : q, t));
    }
    ASSERT_FALSE(TARQ_ERROR_TERM(t));
    char* text = tarq_term_repr(t);
    EXPECT_NE(text, nullptr);
    tarq_free(text);
    int count = 0;
    tarq_visit_term(
        e, t,
        [](tarq_env, tarq_term, int, void* n) {
            ++*static_cast<int*>(n);
            return TARQ_VISIT_PROCESS;
        },
        &count);
    EXPECT_GT(count, depth);
    EXPECT_FALSE(TARQ_ERROR_TERM(tarq_to_nnf(e, t)));
    EXPECT_FALSE(TARQ_ERROR_TERM(tarq_simplify(e, t, nullptr, 0, 0)));
    EXPECT_FALSE(TARQ_ERROR_TERM(tarq_apply_substitution(e, t, &p, &q, 1)));

    const tarq_config c = tarq_create_config();
    const tarq_env other = tarq_create_env(c);
    EXPECT_FALSE(TARQ_ERROR_TERM(tarq_make_copy_from(other, t, e)));
    tarq_destroy_env(other);
    tarq_destroy_config(c);

    std::string script = "(declare-const p Bool)(assert ";
    for (int i = 0; i < depth; ++i) {
        script += "(not ";
    }
    script += "p" + std::string(depth, ')') + ")";
    EXPECT_FALSE(TARQ_ERROR_TERM(tarq_from_smtlib2(e, script.c_str()))) << message();

    ASSERT_EQ(tarq_push_backtrack_point(e), 0);
    EXPECT_EQ(tarq_assert_formula(e, t), 0);
    EXPECT_NE(tarq_solve(e), TARQ_UNKNOWN) << message();
    ASSERT_EQ(tarq_pop_backtrack_point(e), 0);
    EXPECT_EQ(tarq_gc_env(e, &p, 1), 0);
}

} // namespace
