// The exported interface by itself: handles, ownership, every regular constructor and predicate,
// walks, readers and solving. Misuse is tested elsewhere.
#include <tarq.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

class ApiTest : public ::testing::Test {
protected:
    ApiTest()
    {
        tarq_config cfg = tarq_create_config();
        e = tarq_create_env(cfg);
        tarq_destroy_config(cfg);
        a = constant("a", tarq_get_bool_type(e));
        b = constant("b", tarq_get_bool_type(e));
        x = constant("x", tarq_get_rational_type(e));
        y = constant("y", tarq_get_rational_type(e));
        i = constant("i", tarq_get_integer_type(e));
        v = constant("v", tarq_get_bv_type(e, 8));
        w = constant("w", tarq_get_bv_type(e, 8));
        f = constant("f", tarq_get_fp_type(e, 8, 23));
        g = constant("g", tarq_get_fp_type(e, 8, 23));
        rm = constant("rm", tarq_get_fp_roundingmode_type(e));
        array_type = tarq_get_array_type(e, tarq_get_integer_type(e), tarq_get_rational_type(e));
        arr = constant("arr", array_type);
    }
    ~ApiTest() override { tarq_destroy_env(e); }

    tarq_term constant(const char* name, tarq_type type)
    {
        return tarq_make_constant(e, tarq_declare_function(e, name, type));
    }
    std::string message() { return tarq_last_error_message(e); }
    /// Takes a text over from the library.
    std::string take(char* text)
    {
        EXPECT_NE(text, nullptr);
        std::string out = text ? text : "";
        tarq_free(text);
        return out;
    }
    /// n  by reference, as the call that makes the array sets it
    std::vector<void*> take(tarq_term* terms, const size_t& n)
    {
        EXPECT_NE(terms, nullptr);
        std::vector<void*> out;
        for (size_t k = 0; k < n; ++k) {
            out.push_back(terms[k].repr);
        }
        tarq_free(terms);
        return out;
    }
    int tag(tarq_term t) { return tarq_decl_get_tag(e, tarq_term_get_decl(t)); }

    tarq_env e;
    tarq_term a, b, x, y, i, v, w, f, g, rm, arr;
    tarq_type array_type;
};

using Predicate = int (*)(tarq_env, tarq_term);

// The reader of SMT-LIB text reaches the same terms by another road, and both simplify alike. So a
// constructor is checked against a text, and a predicate against the tag of whatever came out.
TEST_F(ApiTest, constructors_agree_with_the_reader_and_predicates_with_the_tags)
{
    tarq_term u = constant("u", tarq_get_bv_type(e, 32));
    struct Row {
        const char* name;
        tarq_term made;
        Predicate test;
        int tag;
        const char* text; // null where the language has no such operation
    };
#define ROW(name, tag, text, ...)                                                                  \
    Row                                                                                            \
    {                                                                                              \
#name, tarq_make_##name(e __VA_OPT__(, ) __VA_ARGS__), tarq_term_is_##name,                \
            TARQ_TAG_##tag, text                                                                   \
    }
    const Row rows[] = {
        ROW(true, TRUE, "true"),
        ROW(false, FALSE, "false"),
        ROW(not, NOT, "(not a)", a),
        ROW(and, AND, "(and a b)", a, b),
        ROW(or, OR, "(or a b)", a, b),
        ROW(iff, IFF, "(= a b)", a, b),
        ROW(term_ite, ITE, "(ite a x y)", a, x, y),
        ROW(equal, EQ, "(= x y)", x, y),
        ROW(leq, LEQ, "(<= x y)", x, y),
        ROW(plus, PLUS, "(+ x y)", x, y),
        ROW(times, TIMES, "(* x y)", x, y),
        ROW(divide, DIVIDE, nullptr, x, y),
        ROW(floor, FLOOR, "(to_int x)", x),
        ROW(pi, PI, "pi"),
        ROW(exp, EXP, "(exp x)", x),
        ROW(sin, SIN, "(sin x)", x),
        ROW(log, LOG, "(log x)", x),
        ROW(asin, ASIN, "(asin x)", x),
        ROW(pow, POW, "(pow x y)", x, y),
        ROW(array_read, ARRAY_READ, "(select arr i)", arr, i),
        ROW(array_write, ARRAY_WRITE, "(store arr i x)", arr, i, x),
        ROW(array_const, ARRAY_CONST, "((as const (Array Int Real)) x)", array_type, x),
        ROW(bv_concat, BV_CONCAT, "(concat v w)", v, w),
        ROW(bv_or, BV_OR, "(bvor v w)", v, w),
        ROW(bv_xor, BV_XOR, "(bvxor v w)", v, w),
        ROW(bv_and, BV_AND, "(bvand v w)", v, w),
        ROW(bv_not, BV_NOT, "(bvnot v)", v),
        ROW(bv_lshl, BV_LSHL, "(bvshl v w)", v, w),
        ROW(bv_lshr, BV_LSHR, "(bvlshr v w)", v, w),
        ROW(bv_ashr, BV_ASHR, "(bvashr v w)", v, w),
        ROW(bv_plus, BV_ADD, "(bvadd v w)", v, w),
        ROW(bv_minus, BV_SUB, "(bvsub v w)", v, w),
        ROW(bv_neg, BV_NEG, "(bvneg v)", v),
        ROW(bv_times, BV_MUL, "(bvmul v w)", v, w),
        ROW(bv_udiv, BV_UDIV, "(bvudiv v w)", v, w),
        ROW(bv_urem, BV_UREM, "(bvurem v w)", v, w),
        ROW(bv_sdiv, BV_SDIV, "(bvsdiv v w)", v, w),
        ROW(bv_srem, BV_SREM, "(bvsrem v w)", v, w),
        ROW(bv_ult, BV_ULT, "(bvult v w)", v, w),
        ROW(bv_uleq, BV_ULE, "(bvule v w)", v, w),
        ROW(bv_slt, BV_SLT, "(bvslt v w)", v, w),
        ROW(bv_sleq, BV_SLE, "(bvsle v w)", v, w),
        ROW(bv_comp, BV_COMP, "(bvcomp v w)", v, w),
        ROW(int_to_bv, INT_TO_BV, "((_ to_bv 8) i)", 8, i),
        ROW(int_from_ubv, INT_FROM_UBV, "(ubv_to_int v)", v),
        ROW(int_from_sbv, INT_FROM_SBV, "(sbv_to_int v)", v),
        ROW(fp_equal, FP_EQ, "(fp.eq f g)", f, g),
        ROW(fp_lt, FP_LT, "(fp.lt f g)", f, g),
        ROW(fp_leq, FP_LE, "(fp.leq f g)", f, g),
        ROW(fp_neg, FP_NEG, "(fp.neg f)", f),
        ROW(fp_plus, FP_ADD, "(fp.add rm f g)", rm, f, g),
        ROW(fp_minus, FP_SUB, "(fp.sub rm f g)", rm, f, g),
        ROW(fp_times, FP_MUL, "(fp.mul rm f g)", rm, f, g),
        ROW(fp_div, FP_DIV, "(fp.div rm f g)", rm, f, g),
        ROW(fp_sqrt, FP_SQRT, "(fp.sqrt rm f)", rm, f),
        ROW(fp_min, FP_MIN, "(fp.min f g)", f, g),
        ROW(fp_max, FP_MAX, "(fp.max f g)", f, g),
        ROW(fp_round_to_int, FP_ROUND_TO_INT, "(fp.roundToIntegral rm f)", rm, f),
        ROW(fp_abs, FP_ABS, "(fp.abs f)", f),
        ROW(fp_cast, FP_CAST, "((_ to_fp 11 53) rm f)", 11, 52, rm, f),
        ROW(fp_to_bv, FP_TO_BV, "((_ fp.to_sbv 16) rm f)", 16, rm, f),
        ROW(fp_from_sbv, FP_FROM_SBV, "((_ to_fp 8 24) rm v)", 8, 23, rm, v),
        ROW(fp_from_ubv, FP_FROM_UBV, "((_ to_fp_unsigned 8 24) rm v)", 8, 23, rm, v),
        ROW(fp_as_ieeebv, FP_AS_IEEEBV, nullptr, f),
        ROW(fp_from_ieeebv, FP_FROM_IEEEBV, "((_ to_fp 8 24) u)", 8, 23, u),
        ROW(fp_isnan, FP_ISNAN, "(fp.isNaN f)", f),
        ROW(fp_isinf, FP_ISINF, "(fp.isInfinite f)", f),
        ROW(fp_iszero, FP_ISZERO, "(fp.isZero f)", f),
        ROW(fp_issubnormal, FP_ISSUBNORMAL, "(fp.isSubnormal f)", f),
        ROW(fp_isnormal, FP_ISNORMAL, "(fp.isNormal f)", f),
        ROW(fp_isneg, FP_ISNEG, "(fp.isNegative f)", f),
        ROW(fp_ispos, FP_ISPOS, "(fp.isPositive f)", f),
    };
#undef ROW
    for (const Row& row : rows) {
        ASSERT_FALSE(TARQ_ERROR_TERM(row.made)) << row.name << ": " << message();
        if (row.text) {
            tarq_term read = tarq_from_string(e, row.text);
            ASSERT_FALSE(TARQ_ERROR_TERM(read)) << row.name << ": " << message();
            EXPECT_EQ(read.repr, row.made.repr) << row.name;
        }
        int head = tarq_decl_get_tag(e, tarq_term_get_decl(row.made));
        for (const Row& other : rows) {
            EXPECT_EQ(other.test(e, row.made), head == other.tag)
                << other.name << " of a term made by " << row.name;
        }
    }
    // A row whose term was simplified away tests no predicate; few may.
    int kept = 0;
    for (const Row& row : rows) {
        kept += row.test(e, row.made);
    }
    EXPECT_GT(kept, 60);
}

TEST_F(ApiTest, quantifiers)
{
    tarq_term var = tarq_make_variable(e, "z", tarq_get_integer_type(e));
    tarq_term body = tarq_make_leq(e, i, var);
    tarq_term all = tarq_make_forall(e, var, body);
    tarq_term some = tarq_make_exists(e, var, body);
    EXPECT_EQ(tag(all), TARQ_TAG_FORALL);
    EXPECT_EQ(tag(some), TARQ_TAG_EXISTS);
    EXPECT_EQ(tarq_term_is_quantifier(e, all) + tarq_term_is_quantifier(e, some), 2);
    EXPECT_EQ(tarq_term_is_quantifier(e, body), 0);
}

TEST_F(ApiTest, indices_are_read_back)
{
    size_t m = 0;
    size_t n = 0;
    EXPECT_EQ(tarq_term_is_bv_extract(e, tarq_make_bv_extract(e, 5, 2, v), &m, &n), 1);
    EXPECT_EQ(m, 5u);
    EXPECT_EQ(n, 2u);
    // The indexed operations may be rewritten; what they do to a number tells them apart.
    tarq_term number = tarq_make_bv_number(e, "10010110", 8, 2);
    auto bits = [&](const char* digits) {
        return tarq_make_bv_number(e, digits, std::strlen(digits), 2).repr;
    };
    EXPECT_EQ(tarq_make_bv_rol(e, 3, number).repr, bits("10110100"));
    EXPECT_EQ(tarq_make_bv_ror(e, 3, number).repr, bits("11010010"));
    EXPECT_EQ(tarq_make_bv_zext(e, 2, number).repr, bits("0010010110"));
    EXPECT_EQ(tarq_make_bv_sext(e, 2, number).repr, bits("1110010110"));
    struct Indexed {
        tarq_term made;
        int (*test)(tarq_env, tarq_term, size_t*);
        int tag;
    };
    const Indexed indexed[] = {{tarq_make_bv_zext(e, 3, v), tarq_term_is_bv_zext, TARQ_TAG_BV_ZEXT},
                               {tarq_make_bv_sext(e, 3, v), tarq_term_is_bv_sext, TARQ_TAG_BV_SEXT},
                               {tarq_make_bv_rol(e, 3, v), tarq_term_is_bv_rol, TARQ_TAG_BV_ROL},
                               {tarq_make_bv_ror(e, 3, v), tarq_term_is_bv_ror, TARQ_TAG_BV_ROR}};
    for (const Indexed& row : indexed) {
        for (const Indexed& other : indexed) {
            n = 0;
            EXPECT_EQ(other.test(e, row.made, &n), tag(row.made) == other.tag);
            EXPECT_EQ(n, tag(row.made) == other.tag ? 3u : 0u);
        }
    }

    mpz_t modulus;
    mpz_init_set_str(modulus, "123456789012345678901234567890", 10);
    tarq_term c = tarq_make_int_modular_congruence(e, modulus, i, tarq_make_int_number(e, 7));
    ASSERT_FALSE(TARQ_ERROR_TERM(c)) << message();
    mpz_t out;
    mpz_init(out);
    EXPECT_EQ(tarq_term_is_int_modular_congruence(e, c, out), 1);
    EXPECT_EQ(mpz_cmp(out, modulus), 0);
    EXPECT_EQ(tarq_term_is_int_modular_congruence(e, a, out), 0);
    mpz_clear(out);
    mpz_clear(modulus);
}

TEST_F(ApiTest, rounding_modes_tell_each_other_apart)
{
    const tarq_term modes[] = {
        tarq_make_fp_roundingmode_nearest_even(e), tarq_make_fp_roundingmode_zero(e),
        tarq_make_fp_roundingmode_plus_inf(e), tarq_make_fp_roundingmode_minus_inf(e)};
    const Predicate tests[] = {
        tarq_term_is_fp_roundingmode_nearest_even, tarq_term_is_fp_roundingmode_zero,
        tarq_term_is_fp_roundingmode_plus_inf, tarq_term_is_fp_roundingmode_minus_inf};
    for (size_t m = 0; m < 4; ++m) {
        for (size_t t = 0; t < 4; ++t) {
            EXPECT_EQ(tests[t](e, modes[m]), m == t);
        }
        EXPECT_EQ(tag(modes[m]), TARQ_TAG_UNKNOWN);
    }
}

TEST_F(ApiTest, numbers_keep_their_values)
{
    mpq_t q;
    mpq_init(q);
    auto value = [&](tarq_term t) -> std::string {
        if (tarq_term_to_number(e, t, q) != 0) {
            return "none: " + message();
        }
        char* text = mpq_get_str(nullptr, 10, q);
        std::string out = text;
        std::free(text);
        return out;
    };
    EXPECT_EQ(value(tarq_make_number(e, "-6/4")), "-3/2");
    EXPECT_EQ(value(tarq_make_number(e, "0.25")), "1/4");
    EXPECT_EQ(value(tarq_make_int_number(e, -7)), "-7");
    mpq_set_str(q, "10/4", 10);
    EXPECT_EQ(value(tarq_make_mpq_number(e, q)), "5/2");
    EXPECT_EQ(value(tarq_make_bv_number(e, "ff", 8, 16)), "255");
    EXPECT_EQ(value(tarq_make_bv_number(e, "0101", 8, 2)), "5");
    EXPECT_EQ(value(tarq_make_bv_number(e, "200", 8, 10)), "200");
    EXPECT_EQ(value(tarq_make_bv_int_number(e, 9, 4)), "9");
    mpz_t z;
    mpz_init_set_str(z, "18446744073709551616", 10);
    EXPECT_EQ(value(tarq_make_bv_mpz_number(e, z, 65)), "18446744073709551616");
    mpz_clear(z);
    tarq_term rne = tarq_make_fp_roundingmode_nearest_even(e);
    EXPECT_EQ(tarq_make_fp_rat_number(e, "1", 8, 23, rne).repr,
              tarq_make_fp_bits_number(e, "1065353216", 8, 23).repr);
    EXPECT_EQ(tarq_make_fp_plus_inf(e, 8, 23).repr,
              tarq_make_fp_bits_number(e, "2139095040", 8, 23).repr);
    EXPECT_NE(tarq_make_fp_minus_inf(e, 8, 23).repr, tarq_make_fp_plus_inf(e, 8, 23).repr);
    EXPECT_EQ(tarq_term_is_number(e, tarq_make_fp_nan(e, 8, 23)), 1);
    EXPECT_EQ(value(x).find("none"), 0u);
    mpq_clear(q);
}

TEST_F(ApiTest, types_and_declarations_are_read_back)
{
    size_t m = 0;
    size_t n = 0;
    EXPECT_EQ(tarq_is_bv_type(e, tarq_get_bv_type(e, 8), &n), 1);
    EXPECT_EQ(n, 8u);
    EXPECT_EQ(tarq_is_fp_type(e, tarq_get_fp_type(e, 5, 10), &m, &n), 1);
    EXPECT_EQ(m, 5u);
    EXPECT_EQ(n, 10u);
    tarq_type index, element;
    EXPECT_EQ(tarq_is_array_type(e, array_type, &index, &element), 1);
    EXPECT_EQ(tarq_is_integer_type(e, index), 1);
    EXPECT_EQ(tarq_is_rational_type(e, element), 1);
    EXPECT_EQ(tarq_is_integer_type(e, element), 0);
    EXPECT_EQ(tarq_is_fp_roundingmode_type(e, tarq_term_get_type(rm)), 1);
    EXPECT_EQ(tarq_type_equals(tarq_get_bv_type(e, 8), tarq_term_get_type(v)), 1);
    EXPECT_EQ(tarq_type_equals(tarq_get_bv_type(e, 9), tarq_term_get_type(v)), 0);
    EXPECT_EQ(take(tarq_type_repr(tarq_get_integer_type(e))), "Int");

    const tarq_type params[] = {index, element};
    tarq_decl h =
        tarq_declare_function(e, "h", tarq_get_function_type(e, params, 2, tarq_get_bool_type(e)));
    EXPECT_EQ(tarq_find_decl(e, "h").repr, h.repr);
    EXPECT_TRUE(TARQ_ERROR_DECL(tarq_find_decl(e, "no such name")));
    EXPECT_EQ(tarq_decl_get_arity(h), 2u);
    EXPECT_EQ(tarq_decl_get_arg_type(h, 1).repr, element.repr);
    EXPECT_TRUE(TARQ_ERROR_TYPE(tarq_decl_get_arg_type(h, 2)));
    EXPECT_EQ(tarq_is_bool_type(e, tarq_decl_get_return_type(h)), 1);
    EXPECT_EQ(take(tarq_decl_get_name(h)), "h");
    EXPECT_NE(take(tarq_decl_repr(h)).find("h"), std::string::npos);
    EXPECT_NE(tarq_decl_id(h), tarq_decl_id(tarq_term_get_decl(x)));

    const tarq_term args[] = {i, x};
    tarq_term applied = tarq_make_uf(e, h, args);
    EXPECT_EQ(tarq_term_is_uf(e, applied), 1);
    EXPECT_EQ(tarq_term_is_atom(e, applied), 1);
    EXPECT_EQ(tarq_term_arity(applied), 2u);
    EXPECT_EQ(tarq_term_get_arg(applied, 0).repr, i.repr);
    EXPECT_TRUE(TARQ_ERROR_TERM(tarq_term_get_arg(applied, 2)));
    EXPECT_EQ(take(tarq_term_repr(applied)), "(h i x)");
    EXPECT_EQ(tarq_make_term(e, h, args).repr, applied.repr);
    const tarq_term one[] = {i, TARQ_MAKE_ERROR_TERM()};
    EXPECT_TRUE(TARQ_ERROR_TERM(tarq_make_term(e, h, one)));
    EXPECT_EQ(message().find("wrong arity for symbol "), 0u) << message();
    EXPECT_EQ(tarq_term_is_constant(e, x), 1);
    EXPECT_EQ(tarq_term_is_boolean_constant(e, x), 0);
    EXPECT_EQ(tarq_term_is_boolean_constant(e, a), 1);
    EXPECT_EQ(tarq_term_is_atom(e, tarq_make_not(e, a)), 0);
    EXPECT_EQ(tarq_term_is_variable(e, tarq_make_variable(e, "z", index)), 1);
}

TEST_F(ApiTest, equal_terms_have_equal_handles)
{
    tarq_term t = tarq_make_and(e, a, b);
    EXPECT_EQ(tarq_make_and(e, a, b).repr, t.repr);
    EXPECT_EQ(tarq_make_eq(e, a, b).repr, tarq_make_iff(e, a, b).repr);
    EXPECT_EQ(tarq_make_eq(e, x, y).repr, tarq_make_equal(e, x, y).repr);
    EXPECT_GT(tarq_term_id(t), tarq_term_id(a));
}

TEST_F(ApiTest, environments_of_a_family_share_terms)
{
    tarq_config cfg = tarq_create_config();
    tarq_env shared = tarq_create_shared_env(cfg, e);
    tarq_env other = tarq_create_env(cfg);
    tarq_destroy_config(cfg);
    ASSERT_FALSE(TARQ_ERROR_ENV(shared));
    tarq_term t = tarq_make_and(e, a, tarq_make_not(e, b));
    EXPECT_EQ(tarq_make_copy_from(shared, t, e).repr, t.repr);
    tarq_term copy = tarq_make_copy_from(other, t, e);
    ASSERT_FALSE(TARQ_ERROR_TERM(copy));
    EXPECT_NE(copy.repr, t.repr);
    for (tarq_env k : {shared, other}) {
        EXPECT_EQ(tarq_assert_formula(k, k.repr == shared.repr ? t : copy), 0);
        EXPECT_EQ(tarq_solve(k), TARQ_SAT);
    }
    tarq_assert_formula(e, tarq_make_not(e, a));
    EXPECT_EQ(tarq_solve(e), TARQ_SAT);
    tarq_assert_formula(shared, tarq_make_not(e, a));
    EXPECT_EQ(tarq_solve(shared), TARQ_UNSAT);
    EXPECT_EQ(tarq_gc_env(e, nullptr, 0), 0);
    EXPECT_EQ(tarq_make_and(e, a, tarq_make_not(e, b)).repr, t.repr) << "shared terms must stay";
    tarq_destroy_env(other);
    tarq_destroy_env(shared);
}

TEST_F(ApiTest, solving_under_points_and_assumptions)
{
    EXPECT_EQ(tarq_assert_formula(e, tarq_make_or(e, a, b)), 0);
    EXPECT_EQ(tarq_push_backtrack_point(e), 0);
    EXPECT_EQ(tarq_assert_formula(e, tarq_make_not(e, a)), 0);
    EXPECT_EQ(tarq_num_backtrack_points(e), 1u);
    EXPECT_EQ(tarq_solve(e), TARQ_SAT);
    tarq_term not_b = tarq_make_not(e, b);
    tarq_term c = constant("c", tarq_get_bool_type(e));
    const tarq_term assumptions[] = {c, not_b};
    EXPECT_EQ(tarq_solve_with_assumptions(e, assumptions, 2), TARQ_UNSAT);
    size_t n = 9;
    EXPECT_EQ(take(tarq_get_unsat_assumptions(e, &n), n), std::vector<void*>{not_b.repr});
    EXPECT_EQ(n, 1u);
    EXPECT_EQ(tarq_solve(e), TARQ_SAT);
    take(tarq_get_unsat_assumptions(e, &n), n);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(take(tarq_get_asserted_formulas(e, &n), n),
              (std::vector<void*>{tarq_make_or(e, a, b).repr, tarq_make_not(e, a).repr}));
    EXPECT_EQ(tarq_pop_backtrack_point(e), 0);
    EXPECT_EQ(tarq_solve_with_assumptions(e, assumptions, 2), TARQ_SAT);
    EXPECT_EQ(tarq_add_preferred_for_branching(e, a, TARQ_TRUE), 0);
    EXPECT_EQ(tarq_clear_preferred_for_branching(e), 0);
    EXPECT_EQ(take(tarq_get_search_stats(e)).find(":cnf-variables "), 0u);
    EXPECT_EQ(tarq_reset_env(e), 0);
    EXPECT_EQ(tarq_num_backtrack_points(e), 0u);
    take(tarq_get_asserted_formulas(e, &n), n);
    EXPECT_EQ(n, 0u);
}

TEST_F(ApiTest, collection_keeps_what_is_listed)
{
    tarq_term kept = tarq_make_or(e, a, b);
    EXPECT_EQ(tarq_gc_env(e, &kept, 1), 0);
    EXPECT_EQ(tarq_term_get_arg(kept, 0).repr, a.repr);
    EXPECT_FALSE(TARQ_ERROR_DECL(tarq_find_decl(e, "a")));
    EXPECT_TRUE(TARQ_ERROR_DECL(tarq_find_decl(e, "x")));
    tarq_assert_formula(e, kept);
    EXPECT_EQ(tarq_solve(e), TARQ_SAT);
}

struct Visits {
    std::vector<std::pair<void*, int>> seen;
    void* special;
    tarq_visit_status answer;
    bool nested;
};

tarq_visit_status visit(tarq_env env, tarq_term t, int preorder, void* user_data)
{
    Visits* visits = static_cast<Visits*>(user_data);
    visits->seen.emplace_back(t.repr, preorder);
    if (visits->nested && preorder) {
        Visits inner{{}, nullptr, TARQ_VISIT_PROCESS, false};
        EXPECT_EQ(tarq_visit_term(env, t, visit, &inner), 0);
        EXPECT_EQ(inner.seen.size() % 2, 0u);
    }
    return t.repr == visits->special ? visits->answer : TARQ_VISIT_PROCESS;
}

TEST_F(ApiTest, visits_each_subterm_before_and_after_its_arguments)
{
    tarq_term n = tarq_make_not(e, a);
    tarq_term inner = tarq_make_and(e, n, b);
    tarq_term t = tarq_make_iff(e, inner, tarq_make_or(e, inner, n));
    for (bool nested : {false, true}) {
        Visits visits{{}, nullptr, TARQ_VISIT_PROCESS, nested};
        EXPECT_EQ(tarq_visit_term(e, t, visit, &visits), 0);
        EXPECT_EQ(visits.seen.size(), 12u) << "six subterms, twice each";
        EXPECT_EQ(visits.seen.front(), (std::pair<void*, int>(t.repr, 1)));
        EXPECT_EQ(visits.seen.back(), (std::pair<void*, int>(t.repr, 0)));
    }
    Visits skip{{}, n.repr, TARQ_VISIT_SKIP, false};
    tarq_visit_term(e, n, visit, &skip);
    EXPECT_EQ(skip.seen.size(), 2u);
    Visits abort{{}, t.repr, TARQ_VISIT_ABORT, false};
    EXPECT_EQ(tarq_visit_term(e, t, visit, &abort), 0);
    EXPECT_EQ(abort.seen.size(), 1u);
}

TEST_F(ApiTest, substitutes_at_once_and_normalizes)
{
    const tarq_term from[] = {a, b};
    const tarq_term to[] = {b, a};
    tarq_term c = constant("c", tarq_get_bool_type(e));
    tarq_term t = tarq_make_and(e, a, tarq_make_or(e, tarq_make_not(e, b), c));
    EXPECT_EQ(tarq_apply_substitution(e, t, from, to, 2).repr,
              tarq_make_and(e, b, tarq_make_or(e, tarq_make_not(e, a), c)).repr);
    EXPECT_EQ(tarq_to_nnf(e, tarq_make_not(e, tarq_make_and(e, a, b))).repr,
              tarq_make_or(e, tarq_make_not(e, a), tarq_make_not(e, b)).repr);
}

TEST_F(ApiTest, simplifies_by_the_selected_rules)
{
    tarq_term t =
        tarq_make_bv_neg(e, tarq_make_term_ite(e, a, v, tarq_make_bv_number(e, "1", 8, 10)));
    tarq_term simple =
        tarq_make_term_ite(e, a, tarq_make_bv_neg(e, v), tarq_make_bv_number(e, "255", 8, 10));
    EXPECT_NE(t.repr, simple.repr);
    EXPECT_EQ(tarq_simplify(e, t, nullptr, 0, 0).repr, simple.repr);
    EXPECT_EQ(tarq_simplify(e, t, &a, 1, 1).repr, simple.repr);
    EXPECT_EQ(tarq_simplify(e, a, nullptr, 0, 1).repr, a.repr);
}

const char SCRIPT[] = "(declare-fun k () Bool)\n"
                      "(assert (! (or a k) :named n1 :note hello))\n"
                      "(assert (! k :named n2))\n";

TEST_F(ApiTest, reads_scripts_from_text_and_file)
{
    tarq_term k = constant("k", tarq_get_bool_type(e));
    tarq_term either = tarq_make_or(e, a, k);
    EXPECT_EQ(tarq_from_string(e, "(or a k) ; both are declared").repr, either.repr);
    std::FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    std::fputs(SCRIPT, file);
    for (bool from_file : {false, true}) {
        std::rewind(file);
        EXPECT_EQ((from_file ? tarq_from_smtlib2_file(e, file) : tarq_from_smtlib2(e, SCRIPT)).repr,
                  tarq_make_and(e, either, k).repr);
        size_t n = 0;
        char** texts = nullptr;
        tarq_term* terms = nullptr;
        std::rewind(file);
        ASSERT_EQ(from_file ? tarq_named_list_from_smtlib2_file(e, file, &n, &texts, &terms)
                            : tarq_named_list_from_smtlib2(e, SCRIPT, &n, &texts, &terms),
                  0);
        ASSERT_EQ(n, 2u);
        EXPECT_EQ(take(texts[0]), "n1");
        EXPECT_EQ(take(texts[1]), "n2");
        tarq_free(texts);
        EXPECT_EQ(take(terms, n), (std::vector<void*>{either.repr, k.repr}));

        std::rewind(file);
        ASSERT_EQ(from_file ? tarq_annotated_list_from_smtlib2_file(e, file, &n, &terms, &texts)
                            : tarq_annotated_list_from_smtlib2(e, SCRIPT, &n, &terms, &texts),
                  0);
        ASSERT_EQ(n, 3u);
        std::vector<std::string> annotations;
        for (size_t j = 0; j < 2 * n; ++j) {
            annotations.push_back(take(texts[j]));
        }
        tarq_free(texts);
        // The smaller term is the older one.
        EXPECT_EQ(annotations,
                  (std::vector<std::string>{"named", "n2", "named", "n1", "note", "hello"}));
        EXPECT_EQ(take(terms, n), (std::vector<void*>{k.repr, either.repr, either.repr}));
    }
    std::fclose(file);
    EXPECT_EQ(tarq_solve(e), TARQ_SAT) << "reading asserts nothing";
}

TEST_F(ApiTest, configurations_are_read_when_an_environment_is_made)
{
    tarq_config cfg = tarq_parse_config("# a comment\nverbosity = 2\ndpll.restart_strategy = 1\n");
    ASSERT_FALSE(TARQ_ERROR_CONFIG(cfg));
    EXPECT_EQ(tarq_set_option(cfg, "verbosity", "0"), 0);
    // The options that need a later version are refused, and nothing sticks.
    EXPECT_EQ(tarq_set_option(cfg, "interpolation", "true"), 0);
    EXPECT_TRUE(TARQ_ERROR_ENV(tarq_create_env(cfg)));
    EXPECT_EQ(tarq_set_option(cfg, "interpolation", "false"), 0);
    tarq_env made = tarq_create_env(cfg);
    EXPECT_FALSE(TARQ_ERROR_ENV(made));
    tarq_destroy_config(cfg);
    EXPECT_EQ(tarq_solve(made), TARQ_SAT) << "the configuration is gone, the copy is not";
    tarq_destroy_env(made);

    EXPECT_TRUE(TARQ_ERROR_CONFIG(tarq_parse_config("[broken\n")));
    EXPECT_TRUE(TARQ_ERROR_CONFIG(tarq_create_default_config(nullptr)));
    tarq_config by_logic = tarq_create_default_config("QF_LRA");
    tarq_env same = tarq_create_env(by_logic);
    EXPECT_FALSE(TARQ_ERROR_ENV(same));
    tarq_destroy_env(same);
    tarq_destroy_config(by_logic);
}

TEST_F(ApiTest, the_version_names_everything_that_matters)
{
    std::string text = take(tarq_get_version());
    EXPECT_EQ(text.find("Tarq5 version "), 0u);
    EXPECT_NE(text.find(std::string(", gmp ") + gmp_version + ", gcc "), std::string::npos);
    EXPECT_NE(text.find(", 64-bit)"), std::string::npos);
}

} // namespace
