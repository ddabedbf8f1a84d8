// Construction-time simplification, by what the constructors give: the normal forms that others
// rely on, and the places where an obvious simplification would be wrong.
#include "terms/stdtermsimplifier.h"

#include "terms/bvnumber.h"
#include "terms/termmanager.h"
#include "terms/termsimpl.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tarq {
namespace {

class TermSimpl : public ::testing::Test {
protected:
    TermSimpl()
    {
        tm.set_simplifier(&simplifier);
        tm.set_simplify(true);
    }

    const Term_* constant(const std::string& name, const DataType* type)
    {
        return tm.make_constant(tm.make_symbol(name, type));
    }
    const Term_* integer(const std::string& name) { return constant(name, tm.get_int_type()); }
    const Term_* real(const std::string& name) { return constant(name, tm.get_real_type()); }
    const Term_* word(const std::string& name, size_t width)
    {
        return constant(name, tm.get_bv_type(width));
    }
    const Term_* number(long num, long den = 1) { return tm.make_number(QNumber(num, den)); }
    const Term_* bv(long value, size_t width) { return tm.make_bv_number(QNumber(value), width); }
    const Term_* times(long n, const Term_* t) { return tm.make_times(number(n), t); }

    static std::string text(const Term_* t)
    {
        std::string s = t->to_str();
        std::erase(s, '`');
        return s;
    }

    TermManager tm;
    StdTermSimplifier simplifier{&tm};
};

// Arithmetic.

TEST_F(TermSimpl, inequalities_keep_the_number_where_the_first_coefficient_is_positive)
{
    const Term_* x = integer("x");
    const Term_* y = integer("y");
    const Term_* r = real("r");
    EXPECT_EQ(text(tm.make_leq(x, number(5))), "(<=_int x 5)");
    EXPECT_EQ(text(tm.make_leq(number(5), x)), "(<=_int 5 x)");
    EXPECT_EQ(text(tm.make_leq(times(2, x), number(3))), "(<=_int x 1)");
    EXPECT_EQ(text(tm.make_leq(number(3), times(2, x))), "(<=_int 2 x)");
    EXPECT_EQ(text(tm.make_leq(times(-1, r), number(3))), "(<=_rat -3 r)");
    EXPECT_EQ(text(tm.make_leq(tm.make_plus(times(2, x), times(2, y)), number(3))),
              "(<=_int (+_int x y) 1)");
    EXPECT_EQ(text(tm.make_leq(tm.make_plus(times(-2, x), times(4, y)), number(-3))),
              "(<=_int 2 (+_int x (*_int -2 y)))");
    EXPECT_EQ(text(tm.make_leq(tm.make_plus(x, times(-1, y)), number(0))), "(<=_int x y)");
    EXPECT_EQ(text(tm.make_leq(tm.make_plus(y, times(-1, x)), number(0))), "(<=_int y x)");
    EXPECT_EQ(text(tm.make_leq(times(3, x), times(2, y))),
              "(<=_int (+_int (*_int 3 x) (*_int -2 y)) 0)");
    EXPECT_EQ(text(tm.make_leq(x, number(7, 2))), "(<=_int x 3)");
    EXPECT_EQ(text(tm.make_leq(number(7, 2), x)), "(<=_int 4 x)");
    EXPECT_EQ(text(tm.make_leq(r, number(7, 2))), "(<=_rat r 7/2)");
    // an integer bound is tightened for integers only
    EXPECT_EQ(text(tm.make_leq(tm.make_plus(times(2, x), times(2, r)), number(3))),
              "(<=_rat (+_rat x r) 3/2)");
}

TEST_F(TermSimpl, linear_atoms_that_say_nothing_are_decided)
{
    const Term_* x = integer("x");
    const Term_* y = integer("y");
    EXPECT_EQ(tm.make_equal(x, x), tm.make_true());
    EXPECT_EQ(tm.make_leq(x, x), tm.make_true());
    EXPECT_EQ(tm.make_leq(tm.make_plus(x, times(-1, x)), number(3)), tm.make_true());
    EXPECT_EQ(tm.make_leq(number(1), tm.make_plus(x, times(-1, x))), tm.make_false());
    EXPECT_EQ(tm.make_equal(x, number(1, 2)), tm.make_false());
    EXPECT_EQ(tm.make_equal(tm.make_plus(times(2, x), times(2, y)), number(3)), tm.make_false());
    EXPECT_EQ(tm.make_equal(number(1), number(2)), tm.make_false());
    EXPECT_EQ(tm.make_leq(number(1), number(2)), tm.make_true());
}

TEST_F(TermSimpl, equalities_of_two_sides_have_one_order)
{
    const Term_* x = integer("x");
    const Term_* y = integer("y");
    const Term_* equal = tm.make_equal(x, y);
    EXPECT_EQ(text(equal), "(=_int x y)");
    EXPECT_EQ(tm.make_equal(y, x), equal);
    EXPECT_EQ(tm.make_equal(tm.make_plus(x, times(-1, y)), number(0)), equal);
    EXPECT_EQ(tm.make_equal(tm.make_plus(y, times(-1, x)), number(0)), equal);
    EXPECT_EQ(text(tm.make_equal(number(3), x)), "(=_int x 3)");
    EXPECT_EQ(text(tm.make_equal(times(2, x), number(6))), "(=_int x 3)");
}

TEST_F(TermSimpl, sums_and_products_fold_numbers_and_order_their_parts)
{
    const Term_* x = integer("x");
    const Term_* y = real("y");
    EXPECT_EQ(tm.make_plus(x, y), tm.make_plus(y, x));
    EXPECT_EQ(tm.make_plus(number(0), x), x);
    EXPECT_EQ(tm.make_plus(number(1, 2), number(1, 2)), number(1));
    EXPECT_EQ(text(tm.make_times(x, number(3))), "(*_int 3 x)");
    EXPECT_EQ(tm.make_times(y, number(0)), number(0));
    EXPECT_EQ(tm.make_times(number(1), y), y);
    EXPECT_EQ(text(tm.make_divide(y, number(2))), "(*_rat 1/2 y)");
    EXPECT_EQ(tm.make_divide(number(1), number(4)), number(1, 4));
    EXPECT_EQ(text(tm.make_divide(number(1), number(0))), "(/_rat 1 0)");
    EXPECT_EQ(text(tm.make_divide(number(1), y)), "(/_rat 1 y)");
}

TEST_F(TermSimpl, floor_lets_integers_out)
{
    const Term_* x = real("x");
    const Term_* i = integer("i");
    EXPECT_EQ(tm.make_floor(i), i);
    EXPECT_EQ(tm.make_floor(number(-7, 2)), number(-4));
    const Term_* sum = tm.make_plus(tm.make_plus(x, number(1, 2)), i);
    EXPECT_EQ(text(tm.make_floor(sum)), "(+_int i (floor (+_rat x 1/2)))");
    EXPECT_EQ(tm.make_floor(tm.make_plus(number(1, 2), i)), i);
}

TEST_F(TermSimpl, powers_unfold_up_to_a_bound)
{
    const Term_* x = real("x");
    EXPECT_EQ(tm.make_pow(number(-2), number(3)), number(-8));
    EXPECT_EQ(tm.make_pow(number(2), number(-3)), number(1, 8));
    EXPECT_EQ(tm.make_pow(x, number(2)), tm.make_times(x, x));
    EXPECT_EQ(tm.make_pow(number(0), number(0)), number(1));
    EXPECT_EQ(text(tm.make_pow(number(0), number(-1))), "(/_rat 1 0)");
    EXPECT_EQ(text(tm.make_pow(number(4), number(1, 2))), "(pow 4 1/2)");
    EXPECT_EQ(text(tm.make_pow(x, number(1000000000))), "(pow x 1000000000)");
    EXPECT_EQ(text(tm.make_pow(number(3), number(-2147483648))), "(pow 3 -2147483648)");
    EXPECT_EQ(tm.make_pow(number(-1), number(101)), number(-1));
}

TEST_F(TermSimpl, congruences_reduce_coefficients_but_never_divide_them)
{
    const Term_* x = integer("x");
    const auto congruence = [&](long m, const Term_* a, const Term_* b) {
        return tm.make_int_modular_congruence(QNumber(m), a, b);
    };
    EXPECT_EQ(text(congruence(4, times(2, x), number(0))), "(int_mod_congr_4 (*_int 2 x) 0)");
    EXPECT_EQ(congruence(4, times(4, x), number(2)), tm.make_false());
    EXPECT_EQ(congruence(4, times(4, x), number(8)), tm.make_true());
    EXPECT_EQ(text(congruence(4, times(-1, x), number(-3))), "(int_mod_congr_4 (*_int 3 x) 1)");
    EXPECT_EQ(congruence(5, number(-3), number(2)), tm.make_true());
    EXPECT_EQ(congruence(3, tm.make_plus(x, number(1)), x), tm.make_false());
}

TEST_F(TermSimpl, arguments_of_functions_are_polynomials_with_their_constant)
{
    const Term_* x = integer("x");
    const Symbol* f =
        tm.make_symbol("f", tm.get_function_type({tm.get_int_type()}, tm.get_int_type()));
    const auto apply = [&](const Term_* t) {
        return tm.make_uninterpreted_function(f, std::vector{t});
    };
    EXPECT_EQ(apply(tm.make_plus(x, number(1))), apply(tm.make_plus(number(1), x)));
    EXPECT_NE(apply(tm.make_plus(x, number(1))), apply(x));
    const Term_* two_x = tm.make_plus(x, x);
    EXPECT_EQ(apply(two_x), apply(times(2, x)));
    EXPECT_EQ(apply(tm.make_plus(two_x, times(-1, x))), apply(x));
}

TEST_F(TermSimpl, deeply_shared_sums_are_read_in_linear_time)
{
    // 2^200 summands if sharing were unfolded
    const Term_* t = integer("x");
    for (int i = 0; i < 200; ++i) {
        t = tm.make_plus(t, t);
    }
    const Term_* atom = tm.make_leq(t, number(1));
    EXPECT_EQ(text(atom), "(<=_int x 0)");
}

// Arrays and equalities of other types.

class ArraySimpl : public TermSimpl {
protected:
    const DataType* int_array = tm.get_array_type(tm.get_int_type(), tm.get_int_type());
    const Term_* a = constant("a", int_array);
    const Term_* zeros = tm.make_array_const(int_array, number(0));

    const Term_* write(const Term_* array, const Term_* i, const Term_* v)
    {
        return tm.make_array_write(array, i, v);
    }
    const Term_* read(const Term_* array, const Term_* i) { return tm.make_array_read(array, i); }
};

TEST_F(ArraySimpl, writes_that_change_nothing_or_are_covered_go)
{
    const Term_* i = integer("i");
    const Term_* j = integer("j");
    const Term_* one = write(a, i, number(1));
    EXPECT_EQ(write(one, i, number(2)), write(a, i, number(2)));
    EXPECT_EQ(write(one, i, number(1)), one);
    EXPECT_EQ(write(a, i, read(a, i)), a);
    EXPECT_EQ(write(zeros, i, number(0)), zeros);
    // j may be i: then the last write undoes the middle one
    const Term_* two = write(one, j, number(2));
    const Term_* three = write(two, i, number(1));
    EXPECT_EQ(text(three), "(write_int_int (write_int_int (write_int_int a i 1) j 2) i 1)");
}

TEST_F(ArraySimpl, reads_of_values_at_values_are_values)
{
    const Term_* v = write(write(zeros, number(1), number(5)), number(2), number(6));
    EXPECT_EQ(read(v, number(1)), number(5));
    EXPECT_EQ(read(v, number(2)), number(6));
    EXPECT_EQ(read(v, number(3)), number(0));
    EXPECT_EQ(read(zeros, integer("i")), number(0));
    EXPECT_EQ(text(read(write(a, number(1), number(5)), number(1))),
              "(read_int_int (write_int_int a 1 5) 1)");
}

TEST_F(ArraySimpl, marked_constants_are_values_of_unknown_identity)
{
    const DataType* sort = tm.get_simple_type("U");
    const Term_* u = constant("@u", sort);
    const Term_* v = constant("@v", sort);
    EXPECT_EQ(text(tm.make_equal(u, v)), "(=_U @u @v)");
    const DataType* type = tm.get_array_type(sort, tm.get_int_type());
    const Term_* base = tm.make_array_const(type, number(0));
    EXPECT_EQ(text(read(write(base, u, number(1)), v)),
              "(read_U_int (write_U_int (const_U_int 0) @u 1) @v)");
    // an array of that kind has no default to fall through to
    const Term_* array = constant("@a", int_array);
    EXPECT_EQ(text(read(write(array, number(1), number(5)), number(2))), "(read_int_int @a 2)");
    EXPECT_TRUE(termsimpl::is_value(&tm, u, true));
    EXPECT_FALSE(termsimpl::is_value(&tm, u, false));
}

TEST_F(ArraySimpl, equality_of_values_is_decided_only_when_certain)
{
    const auto two = number(2);
    EXPECT_EQ(tm.make_equal(write(zeros, number(1), two), write(zeros, number(2), two)),
              tm.make_false());
    const Term_* x = write(write(zeros, number(1), two), number(2), two);
    const Term_* y = write(write(zeros, number(2), two), number(1), two);
    EXPECT_EQ(tm.make_equal(x, y), tm.make_true());
    const Term_* ones = tm.make_array_const(int_array, number(1));
    EXPECT_EQ(tm.make_equal(zeros, ones), tm.make_false());
    EXPECT_EQ(tm.make_equal(write(zeros, number(1), two), write(ones, number(1), two)),
              tm.make_false());

    // all indices written: the defaults count for nothing
    const DataType* narrow = tm.get_array_type(tm.get_bv_type(1), tm.get_int_type());
    const Term_* fives = tm.make_array_const(narrow, number(5));
    const Term_* full = write(write(tm.make_array_const(narrow, number(0)), bv(0, 1), number(5)),
                              bv(1, 1), number(5));
    EXPECT_NE(tm.make_equal(full, fives), tm.make_false());
    const Term_* half = write(tm.make_array_const(narrow, number(0)), bv(0, 1), number(5));
    EXPECT_EQ(tm.make_equal(half, fives), tm.make_false());
    // the same over floats, whose NaN has many patterns
    const DataType* by_float = tm.get_array_type(tm.get_fp_type(2, 2), tm.get_int_type());
    const Term_* all = tm.make_array_const(by_float, number(0));
    for (long bits = 0; bits < 32; ++bits) {
        all = write(all, tm.make_fp_bits_number(QNumber(bits), 2, 2), number(5));
    }
    EXPECT_NE(tm.make_equal(all, tm.make_array_const(by_float, number(5))), tm.make_false());
}

TEST_F(TermSimpl, different_values_differ)
{
    const Term_* modes[] = {tm.make_fprounding_even(), tm.make_fprounding_zero()};
    EXPECT_EQ(tm.make_equal(modes[0], modes[1]), tm.make_false());
    EXPECT_EQ(tm.make_equal(modes[0], modes[0]), tm.make_true());
    const Term_* plus = tm.make_fp_bits_number(QNumber(0), 3, 5);
    const Term_* minus = tm.make_fp_bits_number(QNumber(256), 3, 5);
    EXPECT_EQ(tm.make_equal(plus, minus), tm.make_false());
    const Term_* r = constant("r", tm.get_rounding_type());
    EXPECT_EQ(text(tm.make_equal(modes[0], r)), "(=_FPRounding fprounding_even r)");
}

// Bit-vectors.

TEST_F(TermSimpl, bit_vector_numerals_fold)
{
    EXPECT_EQ(tm.make_bv_add(bv(200, 8), bv(100, 8)), bv(44, 8));
    EXPECT_EQ(tm.make_bv_sdiv(bv(0xf9, 8), bv(2, 8)), bv(0xfd, 8)); // -7 / 2 = -3
    EXPECT_EQ(tm.make_bv_srem(bv(0xf9, 8), bv(2, 8)), bv(0xff, 8));
    EXPECT_EQ(tm.make_bv_ashr(bv(0x80, 8), bv(200, 8)), bv(0xff, 8));
    EXPECT_EQ(tm.make_bv_rotate_left(11, bv(0x81, 8)), bv(0x0c, 8));
    EXPECT_EQ(tm.make_bv_rotate_right(9, bv(0x81, 8)), bv(0xc0, 8));
    EXPECT_EQ(tm.make_bv_sign_extend(4, bv(9, 4)), bv(0xf9, 8));
    EXPECT_EQ(tm.make_bv_concat(bv(1, 1), bv(2, 3)), bv(10, 4));
    EXPECT_EQ(tm.make_bv_slt(bv(0xff, 8), bv(0, 8)), tm.make_true());
    EXPECT_EQ(tm.make_int_to_bv(8, number(-1)), bv(255, 8));
    EXPECT_EQ(tm.make_int_from_sbv(bv(0x80, 8)), number(-128));
}

TEST_F(TermSimpl, division_by_a_zero_bit_vector_stays)
{
    const Term_* x = word("x", 8);
    EXPECT_EQ(text(tm.make_bv_udiv(x, bv(0, 8))), "(bvudiv_8 x 0_8)");
    EXPECT_EQ(text(tm.make_bv_udiv(bv(1, 8), bv(0, 8))), "(bvudiv_8 1_8 0_8)");
    EXPECT_EQ(text(tm.make_bv_urem(x, x)), "(bvurem_8 x x)");
    EXPECT_EQ(text(tm.make_bv_sdiv(x, x)), "(bvsdiv_8 x x)");
}

TEST_F(TermSimpl, integers_of_words_come_back_as_words)
{
    const Term_* x = word("x", 8);
    EXPECT_EQ(tm.make_int_to_bv(8, tm.make_int_from_ubv(x)), x);
    EXPECT_EQ(tm.make_int_to_bv(10, tm.make_int_from_sbv(x)), tm.make_bv_sign_extend(2, x));
    EXPECT_EQ(tm.make_int_to_bv(10, tm.make_int_from_ubv(x)), tm.make_bv_zero_extend(2, x));
    EXPECT_EQ(text(tm.make_int_to_bv(4, tm.make_int_from_ubv(x))), "(int2bv_4 (ubv2int_8 x))");
}

TEST_F(TermSimpl, rules_run_on_what_is_built)
{
    const Term_* x = word("x", 8);
    const Term_* y = word("y", 8);
    const Term_* z = word("z", 8);
    EXPECT_EQ(tm.make_bv_sub(x, x), bv(0, 8));
    EXPECT_EQ(text(tm.make_bv_add(y, tm.make_bv_add(x, bv(3, 8)))), "(bvadd_8 3_8 (bvadd_8 x y))");
    EXPECT_EQ(text(tm.make_bv_add(x, x)), "(bvlshl_8 x 1_8)");
    EXPECT_EQ(text(tm.make_bv_ule(x, y)), "(not (bvult_8 y x))");
    EXPECT_EQ(tm.make_bv_zero_extend(0, x), x);
    EXPECT_EQ(tm.make_bv_sign_extend(0, x), x);
    EXPECT_EQ(tm.make_equal(tm.make_bv_concat(x, bv(3, 8)), tm.make_bv_concat(x, bv(3, 8))),
              tm.make_true());
    EXPECT_EQ(tm.make_bv_extract(7, 0, x), x);
    EXPECT_EQ(tm.make_bv_extract(3, 0, tm.make_bv_concat(x, y)), tm.make_bv_extract(3, 0, y));
    // x - y = y - z says x = 2y - z
    const Term_* t = tm.make_equal(tm.make_bv_sub(x, y), tm.make_bv_sub(y, z));
    EXPECT_NE(t, tm.make_equal(x, z));
    EXPECT_EQ(tm.make_equal(tm.make_bv_zero_extend(0, word("b", 1)), bv(1, 1)),
              tm.make_equal(word("b", 1), bv(1, 1)));
}

TEST_F(TermSimpl, a_collection_makes_the_rules_forget_its_terms)
{
    const Term_* x = word("x", 8);
    const Term_* y = word("y", 8);
    const Term_* difference = tm.make_bv_sub(x, y); // ids of what is dropped are given again
    ASSERT_TRUE(tm.gc({x, y}, {}, {}));
    for (const Term_* t : {tm.make_bv_sub(y, x), tm.make_bv_sub(x, y), tm.make_bv_add(x, y)}) {
        EXPECT_TRUE(tm.is_bv_add(t)) << text(t);
    }
    EXPECT_EQ(text(tm.make_bv_sub(x, y)), "(bvadd_8 x (bvneg_8 y))");
    static_cast<void>(difference);
}

TEST_F(TermSimpl, chains_of_any_length_do_not_exhaust_the_stack)
{
    const Term_* t = word("x", 8);
    const Term_* spine = word("b", 1);
    tm.set_simplify(false);
    for (int i = 0; i < 100000; ++i) {
        t = tm.make_bv_xor(word("y" + std::to_string(i % 100), 8), t);
    }
    tm.set_simplify(true);
    EXPECT_EQ(tm.get_tag(tm.make_bv_extract(3, 1, t)), SymbolTag::BV_XOR);
    for (int i = 0; i < 1000; ++i) {
        spine = tm.make_bv_concat(spine, word("b" + std::to_string(i % 7), 1));
    }
    size_t width = 0;
    EXPECT_TRUE(tm.is_bv_type(TermManager::get_type(spine), &width));
    EXPECT_EQ(width, 1001u);
}

// Floats.

class FpSimpl : public TermSimpl {
protected:
    static constexpr size_t E = 5, M = 10;
    const Term_* even = tm.make_fprounding_even();
    const Term_* nan = tm.make_fp_nan(E, M);
    const Term_* inf = tm.make_fp_plus_inf(E, M);
    const Term_* zero = bits(0);
    const Term_* minus_zero = bits(0x8000);

    const Term_* bits(long b) { return tm.make_fp_bits_number(QNumber(b), E, M); }
    const Term_* value(long num, long den = 1)
    {
        return tm.make_fp_rat_number(QNumber(num, den), E, M, even);
    }
};

TEST_F(FpSimpl, arithmetic_folds_in_the_given_mode)
{
    const Term_* down = tm.make_fprounding_minus_inf();
    EXPECT_EQ(tm.make_fp_add(even, value(1), value(2)), value(3));
    EXPECT_EQ(tm.make_fp_sub(even, value(1), value(1)), zero);
    EXPECT_EQ(tm.make_fp_sub(down, value(1), value(1)), minus_zero);
    EXPECT_EQ(tm.make_fp_div(even, value(1), value(3)),
              tm.make_fp_rat_number(QNumber(1, 3), E, M, even));
    EXPECT_EQ(tm.make_fp_div(down, value(1), value(3)),
              tm.make_fp_rat_number(QNumber(1, 3), E, M, down));
    EXPECT_EQ(tm.make_fp_sqrt(even, value(4)), value(2));
    EXPECT_EQ(tm.make_fp_round_to_int(even, value(5, 2)), value(2));
    EXPECT_EQ(tm.make_fp_sub(even, value(1), nan), nan);
}

TEST_F(FpSimpl, what_is_not_constant_stays_with_sorted_operands)
{
    const Term_* x = constant("x", tm.get_fp_type(E, M));
    const Term_* y = constant("y", tm.get_fp_type(E, M));
    const Term_* r = constant("r", tm.get_rounding_type());
    EXPECT_EQ(tm.make_fp_add(r, x, y), tm.make_fp_add(r, y, x));
    EXPECT_EQ(tm.make_fp_mul(even, x, y), tm.make_fp_mul(even, y, x));
    EXPECT_NE(tm.make_fp_sub(even, x, y), tm.make_fp_sub(even, y, x));
    EXPECT_FALSE(tm.is_number(tm.make_fp_add(r, value(1), value(2))));
}

TEST_F(FpSimpl, nan_has_no_sign)
{
    EXPECT_EQ(tm.make_fp_neg(nan), nan);
    EXPECT_EQ(tm.make_fp_abs(nan), nan);
    EXPECT_EQ(tm.make_fp_isneg(nan), tm.make_false());
    EXPECT_EQ(tm.make_fp_ispos(nan), tm.make_false());
    EXPECT_EQ(tm.make_fp_isneg(minus_zero), tm.make_true());
    EXPECT_EQ(tm.make_fp_neg(zero), minus_zero);
    EXPECT_EQ(tm.make_fp_abs(minus_zero), zero);
}

TEST_F(FpSimpl, the_minimum_of_the_two_zeros_is_left_open)
{
    EXPECT_FALSE(tm.is_number(tm.make_fp_min(zero, minus_zero)));
    EXPECT_FALSE(tm.is_number(tm.make_fp_max(minus_zero, zero)));
    EXPECT_EQ(tm.make_fp_min(zero, zero), zero);
    EXPECT_EQ(tm.make_fp_min(nan, value(1)), value(1));
    EXPECT_EQ(tm.make_fp_max(value(1), nan), value(1));
    EXPECT_EQ(tm.make_fp_max(value(1), value(-1)), value(1));
    EXPECT_EQ(tm.make_fp_min(value(1), value(-1)), value(-1));
    EXPECT_EQ(tm.make_fp_min(nan, nan), nan);
}

TEST_F(FpSimpl, conversions_to_integers_fold_for_finite_values)
{
    const Term_* up = tm.make_fprounding_plus_inf();
    const Term_* down = tm.make_fprounding_minus_inf();
    EXPECT_EQ(tm.make_fp_to_bv(8, even, value(-3)), bv(253, 8));
    // the smallest subnormals round away from zero in their direction
    EXPECT_EQ(tm.make_fp_to_bv(8, up, bits(1)), bv(1, 8));
    EXPECT_EQ(tm.make_fp_to_bv(8, down, bits(0x8001)), bv(255, 8));
    EXPECT_EQ(tm.make_fp_to_bv(8, up, zero), bv(0, 8));
    EXPECT_EQ(tm.make_fp_to_bv(8, down, minus_zero), bv(0, 8));
    EXPECT_FALSE(tm.is_number(tm.make_fp_to_bv(8, even, inf)));
    EXPECT_FALSE(tm.is_number(tm.make_fp_to_bv(8, even, nan)));
}

TEST_F(FpSimpl, other_conversions_fold)
{
    EXPECT_EQ(tm.make_fp_from_sbv(E, M, even, bv(255, 8)), value(-1));
    EXPECT_EQ(tm.make_fp_from_ubv(E, M, even, bv(255, 8)), value(255));
    EXPECT_EQ(tm.make_fp_cast(8, 23, even, value(1, 2)),
              tm.make_fp_rat_number(QNumber(1, 2), 8, 23, even));
    EXPECT_EQ(tm.make_fp_as_ieeebv(value(1)), bv(0x3c00, 16));
    EXPECT_EQ(tm.make_fp_from_ieeebv(E, M, bv(0x7fff, 16)), nan);
    EXPECT_EQ(tm.make_fp_as_ieeebv(nan), bv(0xfc01, 16));
}

TEST_F(FpSimpl, comparisons_follow_ieee_and_equality_does_not)
{
    EXPECT_EQ(tm.make_fp_equal(zero, minus_zero), tm.make_true());
    EXPECT_EQ(tm.make_equal(zero, minus_zero), tm.make_false());
    EXPECT_EQ(tm.make_fp_equal(nan, nan), tm.make_false());
    EXPECT_EQ(tm.make_equal(nan, nan), tm.make_true());
    EXPECT_EQ(tm.make_fp_lt(minus_zero, zero), tm.make_false());
    EXPECT_EQ(tm.make_fp_le(minus_zero, zero), tm.make_true());
    EXPECT_EQ(tm.make_fp_le(value(1), nan), tm.make_false());
    EXPECT_EQ(tm.make_fp_lt(value(1), inf), tm.make_true());
}

TEST_F(FpSimpl, values_beyond_the_limits_of_exact_arithmetic_stay_terms)
{
    const long largest = (1L << 44) - (1L << 4) - 1; // of 40 bits of exponent and 4 others
    const Term_* word = tm.make_fp_to_bv(8, even, tm.make_fp_bits_number(largest, 40, 4));
    EXPECT_EQ(tm.get_tag(word), SymbolTag::FP_TO_BV);
    EXPECT_EQ(tm.make_fp_cast(E, M, even, tm.make_fp_cast(40, 4, even, value(1))), value(1));
    EXPECT_THROW(tm.make_fp_cast(size_t{1} << 40, 4, even, value(1)), TermManager::error);
}

} // namespace
} // namespace tarq
