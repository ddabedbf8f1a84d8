// The constructors: type rules and their messages, symbol families, numbers, variables.
#include "terms/ieeefloat.h"
#include "terms/stdtermsimplifier.h"
#include "termtesting.h"

#include <gtest/gtest.h>

#include <set>

using namespace tarq;
using tarq::termtest::bool_constant;
using tarq::termtest::constant;
using tarq::termtest::message_of;
using error = TermManager::error;

TEST(TermManager, every_family_symbol_is_found_by_its_indices_and_tells_them)
{
    TermManager tm;
    const DataType* types[] = {tm.get_int_type(), tm.get_real_type(), tm.get_bv_type(3)};
    std::set<const Symbol*> all;
    std::set<std::string> names;
    size_t families = 0;
    for (int tag = 0; tag <= SymbolTag::EXISTS; ++tag) {
        const SymbolFamily* family = find_symbol_family(static_cast<SymbolTag::tag>(tag));
        if (!family) {
            continue;
        }
        ++families;
        for (uint64_t k = 2; k < 5; ++k) {
            SymbolIndices indices;
            for (size_t i = 0; i < num_number_indices(family->shape); ++i) {
                indices.n[i] = k + (family->shape == SymbolShape::BV_EXTRACT ? 2 - i : i);
            }
            for (size_t i = 0; i < num_type_indices(family->shape); ++i) {
                indices.types[i] = types[(k + i) % 3];
            }
            const Symbol* s = tm.make_family_symbol(family->tag, indices);
            EXPECT_EQ(tm.make_family_symbol(family->tag, indices), s);
            SymbolTag::tag found = SymbolTag::ERROR;
            SymbolIndices out;
            ASSERT_TRUE(tm.get_family_indices(s, &found, &out));
            EXPECT_TRUE(found == family->tag && out == indices);
            EXPECT_EQ(tm.get_tag(s), family->tag);
            EXPECT_TRUE(tm.is_interpreted(s) && !tm.is_constant(s) &&
                        !tm.is_uninterpreted_function(s));
            all.insert(s);
            names.insert(s->get_name());
        }
    }
    EXPECT_EQ(families, 62u); // all tags but the 18 of fixed symbols and congruences
    EXPECT_EQ(all.size(), 3 * families);
    EXPECT_EQ(names.size(), all.size());
    EXPECT_STREQ(SymbolTag::to_str(SymbolTag::BV_ADD), "SymbolTag::BV_ADD");
    EXPECT_STREQ(SymbolTag::to_str(static_cast<SymbolTag::tag>(81)), "SymbolTag::UNKNOWN");
}

TEST(TermManager, bit_vector_operations_have_their_types_and_indices)
{
    TermManager tm;
    const Term_* x = constant(tm, "x", tm.get_bv_type(8));
    const Term_* y = constant(tm, "y", tm.get_bv_type(8));
    const Term_* n = constant(tm, "n", tm.get_int_type());
    size_t a = 0;
    size_t b = 0;
    size_t c = 0;
    const auto width = [&](const Term_* t) {
        size_t w = 0;
        EXPECT_TRUE(tm.is_bv_type(tm.get_type(t), &w));
        return w;
    };
    const Term_* t = tm.make_bv_add(x, y);
    EXPECT_TRUE(tm.is_bv_add(t, &a) && a == 8 && !tm.is_bv_sub(t));
    EXPECT_EQ(t->to_str(), "(`bvadd_8` x y)");
    EXPECT_EQ(width(t), 8u);
    EXPECT_EQ(width(tm.make_bv_comp(x, y)), 1u);
    EXPECT_EQ(tm.get_type(tm.make_bv_sle(x, y)), tm.get_bool_type());
    t = tm.make_bv_concat(x, tm.make_bv_extract(6, 2, y));
    EXPECT_TRUE(tm.is_bv_concat(t, &a, &b) && a == 8 && b == 5);
    EXPECT_EQ(width(t), 13u);
    EXPECT_TRUE(tm.is_bv_extract(t->child(1), &a, &b, &c) && a == 6 && b == 2 && c == 8);
    t = tm.make_bv_sign_extend(4, x);
    EXPECT_TRUE(tm.is_bv_sext(t, &a, &b) && a == 4 && b == 8 && width(t) == 12);
    EXPECT_TRUE(tm.is_bv_ror(tm.make_bv_rotate_right(3, x), &a) && a == 3);
    EXPECT_EQ(width(tm.make_int_to_bv(5, n)), 5u);
    EXPECT_EQ(tm.get_type(tm.make_int_from_sbv(x)), tm.get_int_type());

    EXPECT_EQ(message_of<error>([&] { tm.make_bv_add(n, x); }),
              "type error. term n is not a bit vector");
    EXPECT_EQ(message_of<error>([&] { tm.make_bv_not(n); }),
              "type error. term n is not a bit-vector");
    EXPECT_EQ(message_of<error>([&] { tm.make_bv_extract(1, 2, x); }),
              "bv extraction of an empty range: [1:2]");
    EXPECT_EQ(message_of<error>([&] { tm.make_bv_extract(8, 0, x); }),
              "range too large in bv extraction. arg has width 8");
    EXPECT_EQ(message_of<error>([&] { tm.make_bv_add(x, tm.make_bv_zero_extend(1, x)); }),
              "type error. term (`bvzext_8_1` _) has type <BitVec, 9>, but <BitVec, 8> was "
              "expected. (make_bv_add)");
    EXPECT_EQ(message_of<error>([&] { tm.make_bv_zero_extend(SIZE_MAX, x); }),
              "bit-vector width too large");
}

TEST(TermManager, floating_point_operations_have_their_types_and_indices)
{
    TermManager tm;
    const Term_* x = constant(tm, "x", tm.get_fp_type(5, 10));
    const Term_* v = constant(tm, "v", tm.get_bv_type(16));
    const Term_* rm = tm.make_fprounding_zero();
    size_t a = 0;
    size_t b = 0;
    size_t c = 0;
    size_t d = 0;
    int mode = 0;
    EXPECT_TRUE(tm.is_fprounding(rm, &mode) && mode == 1);
    const Term_* t = tm.make_fp_add(rm, x, x);
    EXPECT_TRUE(tm.is_fp_add(t, &a, &b) && a == 5 && b == 10 && t->child(0) == rm);
    EXPECT_EQ(tm.get_type(tm.make_fp_sqrt(rm, x)), tm.get_type(x));
    EXPECT_EQ(tm.get_type(tm.make_fp_max(x, tm.make_fp_neg(x))), tm.get_type(x));
    EXPECT_EQ(tm.get_type(tm.make_fp_isnan(x)), tm.get_bool_type());
    t = tm.make_fp_cast(8, 23, rm, x);
    EXPECT_TRUE(tm.is_fp_cast(t, &a, &b, &c, &d) && a == 5 && b == 10 && c == 8 && d == 23);
    EXPECT_EQ(tm.get_type(t), tm.get_fp_type(8, 23));
    t = tm.make_fp_to_bv(7, rm, x);
    EXPECT_TRUE(tm.is_fp_to_bv(t, &a, &b, &c) && c == 7 && tm.get_type(t) == tm.get_bv_type(7));
    EXPECT_EQ(tm.get_type(tm.make_fp_from_ubv(5, 10, rm, v)), tm.get_type(x));
    EXPECT_EQ(tm.get_type(tm.make_fp_as_ieeebv(x)), tm.get_type(v));
    EXPECT_EQ(tm.get_type(tm.make_fp_from_ieeebv(5, 10, v)), tm.get_type(x));
    EXPECT_EQ(message_of<error>([&] { tm.make_fp_neg(v); }),
              "type error. term v is not a floating-point number");
    EXPECT_EQ(message_of<error>([&] { tm.make_fp_add(x, x, x); }),
              "type error. term x has type <FP, 5:10>, but FPRounding was expected. (make_fp_add)");
    EXPECT_EQ(message_of<error>([&] { tm.make_fp_from_ieeebv(5, 11, v); }),
              "type error. term v has type <BitVec, 16>, but <BitVec, 17> was expected. "
              "(make_fp_from_ieeebv)");
}

TEST(TermManager, mixed_arithmetic_takes_the_real_symbols)
{
    TermManager tm;
    const Term_* i = constant(tm, "i", tm.get_int_type());
    const Term_* r = constant(tm, "r", tm.get_real_type());
    const Term_* b = bool_constant(tm, "b");
    EXPECT_EQ(tm.get_type(tm.make_plus(i, i)), tm.get_int_type());
    EXPECT_EQ(tm.get_type(tm.make_times(i, r)), tm.get_real_type());
    EXPECT_EQ(tm.make_leq(r, i)->to_str(), "(`<=_rat` r i)");
    EXPECT_EQ(tm.make_equal(i, i)->to_str(), "(`=_int` i i)");
    EXPECT_EQ(tm.make_equal(i, r)->to_str(), "(`=_rat` i r)");
    EXPECT_EQ(tm.get_type(tm.make_term_ite(b, i, r)), tm.get_real_type());
    EXPECT_EQ(tm.get_type(tm.make_floor(r)), tm.get_int_type());
    // arrays of related types: whichever comes first
    const DataType* type_i = tm.get_array_type(tm.get_int_type(), tm.get_int_type());
    const DataType* type_r = tm.get_array_type(tm.get_int_type(), tm.get_real_type());
    const Term_* ai = constant(tm, "ai", type_i);
    const Term_* ar = constant(tm, "ar", type_r);
    EXPECT_EQ(tm.make_equal(ai, ar)->get_symbol(), tm.make_equal(ar, ai)->get_symbol());
    EXPECT_EQ(tm.get_type(tm.make_term_ite(b, ai, ar)), type_r);
    EXPECT_EQ(tm.get_type(tm.make_array_read(tm.make_array_write(ar, i, i), i)),
              tm.get_real_type());
    EXPECT_EQ(tm.get_type(tm.make_array_const(type_r, i)), type_r);
    QNumber modulus;
    EXPECT_TRUE(tm.is_int_modular_congruence(tm.make_int_modular_congruence(12, i, i), &modulus));
    EXPECT_EQ(modulus, 12);
    EXPECT_EQ(message_of<error>([&] { tm.make_int_modular_congruence(0, i, i); }),
              "bad modulus: 0");
}

TEST(TermManager, wrong_arguments_are_told_with_the_operation)
{
    TermManager tm;
    const Term_* i = constant(tm, "i", tm.get_int_type());
    const Term_* r = constant(tm, "r", tm.get_real_type());
    const Term_* b = bool_constant(tm, "b");
    const Symbol* f =
        tm.make_symbol("f", tm.get_function_type({tm.get_int_type()}, r->get_symbol()->get_type()));
    const Term_* v = tm.make_fresh_variable(tm.get_int_type());
    const TermVector ri = {r};
    const TermVector two = {i, i};
    EXPECT_EQ(message_of<error>([&] { tm.make_and(b, tm.make_plus(i, r)); }),
              "type error. term (`+_rat` _ _) has type Real, but Bool was expected. (make_and)");
    EXPECT_EQ(message_of<error>([&] { tm.make_term(f, ri); }),
              "type error. term r has type Real, but Int was expected. (f)");
    EXPECT_EQ(message_of<error>([&] { tm.make_uninterpreted_function(f, two); }),
              "wrong arity for symbol f. expected 1, got 2");
    EXPECT_EQ(message_of<error>([&] { tm.make_constant(f); }),
              "wrong arity for symbol f. expected 1, got 0");
    EXPECT_EQ(message_of<error>([&] { tm.make_equal(b, b); }),
              "Equality arguments can't be Boolean");
    EXPECT_EQ(message_of<error>([&] { tm.make_term_ite(b, b, b); }),
              "Term-ITE arguments can't be Boolean");
    EXPECT_EQ(message_of<error>([&] { tm.make_equal(i, b); }),
              "type error. term b has type Bool, but Real was expected. (make_equal)");
    EXPECT_EQ(message_of<error>([&] { tm.make_forall(i, b); }),
              "type error. term i is not a variable");
    const TermVector bad = {i, b};
    EXPECT_EQ(message_of<error>([&] { tm.make_term(tm.make_forall(v, b)->get_symbol(), bad); }),
              "type error. term i is not a variable");
    EXPECT_EQ(message_of<error>([&] { tm.make_array_read(i, i); }),
              "type error. term i is not an array");
    EXPECT_EQ(message_of<error>([&] { tm.typecheck(r, tm.get_int_type(), "op"); }),
              "type error. term r has type Real, but Int was expected. (op)");
    tm.set_refuse_bool_args(false);
    EXPECT_TRUE(tm.is_equal(tm.make_equal(b, b)) && tm.is_boolean_atom(tm.make_equal(b, b)));
    tm.set_typecheck(false);
    EXPECT_EQ(tm.make_and(b, i)->child(1), i);
}

TEST(TermManager, equal_values_of_one_kind_are_one_term_and_no_name_leads_to_them)
{
    TermManager tm;
    QNumber q;
    size_t w = 0;
    EXPECT_EQ(tm.make_number(QNumber(6, 2)), tm.make_number(3));
    EXPECT_EQ(tm.get_type(tm.make_number(3)), tm.get_int_type());
    EXPECT_EQ(tm.get_type(tm.make_number(QNumber(1, 3))), tm.get_real_type());
    EXPECT_EQ(tm.make_number(QNumber(1, 3))->to_str(), "1/3");
    EXPECT_NE(tm.make_bv_number(5, 8), tm.make_bv_number(5, 16));
    const Term_* v = tm.make_bv_number(5, 8);
    EXPECT_TRUE(tm.is_bv_number(v, &q, &w) && q == 5 && w == 8);
    EXPECT_TRUE(tm.is_number(v, &q) && !tm.is_arith_number(v) && tm.is_interpreted(v));
    // a user's symbols of these names are others, made before or after
    const Term_* five = tm.make_number(5);
    for (const char* name : {"5", "5_8", "7"}) {
        const Term_* user = constant(tm, name, tm.get_int_type());
        EXPECT_TRUE(tm.is_constant(user) && !tm.is_number(user));
    }
    EXPECT_NE(constant(tm, "5", tm.get_int_type()), five);
    EXPECT_TRUE(tm.is_arith_number(tm.make_number(7), &q) && q == 7);

    EXPECT_EQ(message_of<error>([&] { tm.make_bv_number(-1, 8); }),
              "can't make a bv number from a negative number: -1");
    EXPECT_EQ(message_of<error>([&] { tm.make_bv_number(QNumber(1, 2), 8); }),
              "can't make a bv number from a fractional number: 1/2");
    EXPECT_EQ(message_of<error>([&] { tm.make_bv_number(256, 8); }),
              "the number 256 doesn't fit in 8 bits");
    EXPECT_TRUE(tm.is_bv_number(tm.make_bv_number(1, TermManager::MAX_WIDTH)));
}

TEST(TermManager, floats_are_one_term_for_each_value)
{
    TermManager tm;
    QNumber bits;
    const Term_* nan = tm.make_fp_nan(8, 23);
    EXPECT_TRUE(tm.is_fp_number(nan, &bits) && bits == 0xff800001L);
    EXPECT_EQ(tm.make_fp_bits_number(0x7fc00000L, 8, 23), nan);
    EXPECT_EQ(tm.make_fp_bits_number(0x7f800000L, 8, 23), tm.make_fp_plus_inf(8, 23));
    EXPECT_EQ(tm.make_fp_bits_number(0xff800000L, 8, 23), tm.make_fp_minus_inf(8, 23));
    const QNumber third(1, 3);
    const auto rounded = [&](const Term_* mode) {
        EXPECT_TRUE(tm.is_fp_number(tm.make_fp_rat_number(third, 8, 23, mode), &bits));
        return bits;
    };
    EXPECT_EQ(rounded(tm.make_fprounding_even()), 0x3eaaaaabL);
    EXPECT_EQ(rounded(tm.make_fprounding_zero()), 0x3eaaaaaaL);
    EXPECT_EQ(rounded(tm.make_fprounding_plus_inf()), 0x3eaaaaabL);
    EXPECT_EQ(rounded(tm.make_fprounding_minus_inf()), 0x3eaaaaaaL);
    EXPECT_EQ(message_of<error>([&] { tm.make_fp_rat_number(1, 8, 23, tm.make_true()); }),
              "unsupported rounding mode: `true`");
    EXPECT_EQ(message_of<error>([&] { tm.make_fp_bits_number(1L << 32, 8, 23); }),
              "the number 4294967296 doesn't fit in 32 bits");
    EXPECT_NE(message_of<error>([&] { tm.make_fp_nan(size_t{1} << 40, 4); }), "no exception");
}

TEST(TermManager, bound_variables_are_all_different)
{
    TermManager tm;
    const DataType* b = tm.get_bool_type();
    const Term_* x = tm.make_named_variable("x", b);
    const Term_* y = tm.make_named_variable("x", b);
    EXPECT_NE(x, y);
    EXPECT_EQ(x->to_str(), "'x");
    EXPECT_EQ(y->to_str(), "'x_0");
    EXPECT_TRUE(tm.is_variable(x) && !tm.is_constant(x) && !tm.is_interpreted(x));
    EXPECT_NE(tm.make_fresh_variable(b), tm.make_fresh_variable(b));
    EXPECT_EQ(message_of<error>([&] { tm.make_named_variable("1", b); }),
              "Variable names can't start with a number");
    const DataType* f = tm.get_function_type({tm.get_int_type()}, b);
    EXPECT_EQ(message_of<error>([&] { tm.make_fresh_variable(f); }),
              "Higher-order variables are not supported");
    EXPECT_EQ(tm.get_unused_symbol_name("n"), "n");
    tm.make_symbol("n", b);
    tm.make_symbol("n_0", b);
    EXPECT_EQ(tm.get_unused_symbol_name("n"), "n_1");
    tm.remove_symbol("n_0");
    EXPECT_EQ(tm.get_unused_symbol_name("n"), "n_0");
}

// A simplifier that builds other terms while the arguments of the call are in use.
TEST(TermManager, constructors_can_be_called_from_a_simplifier)
{
    class Nested : public TermSimplifier {
    public:
        explicit Nested(TermManager* tm) : tm_(tm) {}
        const Term_* operator()(const Symbol* symbol, TermArgs args) override
        {
            if (tm_->is_and(symbol)) {
                tm_->make_or(tm_->make_not(args[1]), args[0]);
                EXPECT_EQ(message_of<error>([&] { tm_->make_or(args[0], tm_->make_number(1)); }),
                          "type error. term 1 has type Int, but Bool was expected. (make_or)");
            }
            return nullptr;
        }

    private:
        TermManager* tm_;
    };
    TermManager tm;
    Nested nested(&tm);
    tm.set_simplifier(&nested);
    tm.set_simplify(true);
    const Term_* a = bool_constant(tm, "a");
    const Term_* b = bool_constant(tm, "b");
    EXPECT_EQ(tm.make_and(a, b)->to_str(), "(`and` a b)");
}

TEST(TermManager, the_connectives_simplify_to_an_equivalent_in_normal_form)
{
    TermManager tm;
    StdTermSimplifier simplifier(&tm);
    tm.set_simplifier(&simplifier);
    const std::vector<const Term_*> atoms = {bool_constant(tm, "a"), bool_constant(tm, "b"),
                                             bool_constant(tm, "c")};
    std::vector<const Term_*> leaves = atoms;
    leaves.push_back(tm.make_true());
    leaves.push_back(tm.make_false());
    for (unsigned seed = 0; seed < 300; ++seed) {
        tm.set_simplify(false);
        const Term_* plain = termtest::RandomTerms(tm, leaves, {}, seed).make(25);
        tm.set_simplify(true);
        const Term_* simple = termtest::RandomTerms(tm, leaves, {}, seed).make(25);
        for (unsigned row = 0; row < 8; ++row) {
            termtest::Assignment values;
            for (size_t i = 0; i < 3; ++i) {
                values[atoms[i]] = (row >> i & 1) != 0;
            }
            ASSERT_EQ(termtest::evaluate(tm, plain, values),
                      termtest::evaluate(tm, simple, values));
        }
        // no constant, no double negation and no equal or unsorted sides below the top
        TermVector todo = {simple};
        while (!todo.empty()) {
            const Term_* t = todo.back();
            todo.pop_back();
            for (const Term_* c : t->children()) {
                ASSERT_FALSE(tm.is_true(c) || tm.is_false(c));
                todo.push_back(c);
            }
            ASSERT_FALSE(tm.is_not(t) && tm.is_not(t->child(0)));
            ASSERT_TRUE(t->arity() < 2 || t->child(0)->get_id() < t->child(1)->get_id());
        }
    }
    const Term_* a = atoms[0];
    const Term_* b = atoms[1];
    const Term_* one = tm.make_number(1);
    const Term_* two = tm.make_number(2);
    EXPECT_EQ(tm.make_and(a, b), tm.make_and(b, a));
    EXPECT_EQ(tm.make_iff(a, tm.make_not(a)), tm.make_false());
    EXPECT_EQ(tm.make_iff(tm.make_false(), a), tm.make_not(a));
    EXPECT_EQ(tm.make_term_ite(a, one, one), one);
    EXPECT_EQ(tm.make_term_ite(tm.make_true(), one, two), one);
    EXPECT_EQ(tm.make_term_ite(tm.make_false(), one, two), two);
    EXPECT_TRUE(tm.is_term_ite(tm.make_term_ite(a, one, two)));
}

TEST(TermManager, atoms_are_what_no_connective_heads)
{
    TermManager tm;
    const Term_* a = bool_constant(tm, "a");
    const Term_* leq = tm.make_leq(tm.make_number(1), tm.make_number(2));
    for (const Term_* t : {a, leq, tm.make_exists(tm.make_fresh_variable(tm.get_int_type()), a)}) {
        EXPECT_TRUE(tm.is_boolean_atom(t));
    }
    for (const Term_* t : {tm.make_true(), tm.make_not(a), tm.make_iff(a, a), tm.make_number(1)}) {
        EXPECT_FALSE(tm.is_boolean_atom(t));
    }
    EXPECT_TRUE(tm.is_boolean_constant(a) && !tm.is_boolean_constant(tm.make_number(1)));
}
