// Types and symbols: interning, subtypes, the families on marker types, the symbol table.
#include "termtesting.h"

#include <gtest/gtest.h>

using namespace tarq;
using tarq::termtest::message_of;

TEST(Types, compound_types_are_interned_and_taken_apart)
{
    TermManager tm;
    size_t a = 0;
    size_t b = 0;
    EXPECT_EQ(tm.get_bv_type(8), tm.get_bv_type(8));
    EXPECT_TRUE(tm.is_bv_type(tm.get_bv_type(8), &a) && a == 8);
    EXPECT_TRUE(tm.is_bv_type(tm.get_bv_type(0), &a) && a == 0);
    EXPECT_TRUE(tm.is_fp_type(tm.get_fp_type(5, 10), &a, &b) && a == 5 && b == 10);
    EXPECT_FALSE(tm.is_bv_type(tm.get_fp_type(5, 10)));
    const DataType* index = nullptr;
    const DataType* element = nullptr;
    const DataType* array = tm.get_array_type(tm.get_int_type(), tm.get_real_type());
    EXPECT_TRUE(tm.is_array_type(array, &index, &element));
    EXPECT_TRUE(index == tm.get_int_type() && element == tm.get_real_type());
    EXPECT_EQ(array->to_str(), "<Array, Int, Real>");
    TypeVector args;
    const DataType* fun = tm.get_function_type({tm.get_int_type(), array}, tm.get_bool_type());
    EXPECT_TRUE(tm.is_function_type(fun, &args, &element));
    EXPECT_EQ(args, (TypeVector{tm.get_int_type(), array}));
    EXPECT_EQ(element, tm.get_bool_type());
    EXPECT_EQ(fun->to_str(), "<->, Int, <Array, Int, Real>, Bool>");
    EXPECT_EQ(tm.get_simple_type("U"), tm.get_simple_type("U"));
    EXPECT_EQ(tm.get_simple_type("V", true), nullptr);
    // a user sort is its own type whatever its name
    EXPECT_NE(tm.get_simple_type("FPRounding"), tm.get_rounding_type());
    EXPECT_FALSE(tm.is_bv_type(
        tm.get_compound_type({tm.get_simple_type("BitVec"), tm.get_simple_type("8")})));
}

TEST(Types, errors_name_what_is_wrong)
{
    using error = TermManager::error;
    TermManager tm;
    const DataType* i = tm.get_int_type();
    const DataType* b = tm.get_bool_type();
    const DataType* f = tm.get_function_type({i}, i);
    EXPECT_EQ(message_of<error>([&] { tm.get_fp_type(1, 5); }),
              "too small exponent and/or mantissa width for FP numbers: 1, 5 (min is 2, 2)");
    EXPECT_EQ(message_of<error>([&] { tm.get_bv_type(TermManager::MAX_WIDTH + 1); }),
              "bit-vector width too large");
    EXPECT_EQ(message_of<error>([&] { tm.get_fp_type(5, SIZE_MAX); }),
              "FP format too large: 5, 18446744073709551615");
    EXPECT_EQ(message_of<error>([&] { tm.get_array_type(b, i); }),
              "Arrays with Bool as argument are not supported");
    EXPECT_EQ(message_of<error>([&] { tm.get_array_type(i, f); }),
              "Arrays with functions as arguments are not supported");
    EXPECT_EQ(message_of<error>([&] {
                  tm.get_function_type({i, f}, i);
              }),
              "Higher-order functions not supported");
    EXPECT_EQ(message_of<error>([&] { tm.get_function_type({b}, i); }),
              "Functions with Bool arguments not supported");
    EXPECT_EQ(message_of<error>([&] { tm.get_compound_type({f}); }),
              "Higher-order compound types not supported");
    EXPECT_EQ(message_of<error>([&] { tm.get_supertype(b, i); }), "unrelated types: Bool and Int");
    tm.set_refuse_bool_args(false);
    EXPECT_TRUE(tm.is_array_type(tm.get_array_type(b, b)));
    EXPECT_TRUE(tm.is_function_type(tm.get_function_type({b}, b)));
    tm.set_typecheck(false);
    EXPECT_TRUE(tm.is_fp_type(tm.get_fp_type(1, 5)));
    using types_error = TypeUniverse::error;
    EXPECT_EQ(message_of<types_error>([&] { f->get_name(); }), "Not a simple type!");
    EXPECT_EQ(message_of<types_error>([&] { i->get_component(0); }), "Int is a simple type");
    EXPECT_EQ(message_of<types_error>([&] { f->get_component(3); }),
              "<->, Int, Int> has not enough components");
    TypeUniverse* u = tm.get_type_universe();
    EXPECT_EQ(message_of<types_error>([&] { u->set_subtype(b, i); }),
              "Int is already a subtype of another type");
    EXPECT_EQ(message_of<types_error>([&] { u->set_subtype(i, tm.get_real_type()); }),
              "Int is a subtype of Real");
    EXPECT_EQ(message_of<types_error>([&] { u->set_subtype(b, u->get_application_type()); }),
              "the special application type can't occur in the subtype relation");
}

TEST(Types, subtyping_is_covariant_and_survives_depth_and_sharing)
{
    TermManager tm;
    const DataType* i = tm.get_int_type();
    const DataType* r = tm.get_real_type();
    EXPECT_TRUE(tm.is_subtype(tm.get_array_type(i, i), tm.get_array_type(r, i)));
    EXPECT_FALSE(tm.is_subtype(tm.get_array_type(r, i), tm.get_array_type(i, i)));
    EXPECT_EQ(tm.get_supertype(i, r), r);
    // 60 levels of Array(T, T): 2^60 paths
    const DataType* x = i;
    const DataType* y = r;
    for (int k = 0; k < 60; ++k) {
        x = tm.get_array_type(x, x);
        y = tm.get_array_type(y, y);
    }
    EXPECT_TRUE(tm.is_subtype(x, y));
    EXPECT_FALSE(tm.is_subtype(y, x));
    EXPECT_EQ(x->to_str(10), "<Array, <A...");
    const Term_* a = tarq::termtest::constant(tm, "a", x);
    const Term_* b = tarq::termtest::constant(tm, "b", x);
    const Term_* c = tarq::termtest::constant(tm, "c", tm.get_array_type(y, y));
    const Term_* d = tarq::termtest::constant(tm, "d", tm.get_array_type(y, x));
    EXPECT_TRUE(tm.is_equal(tm.make_equal(a, b)));
    // the texts of the two types begin alike, yet their symbols differ
    EXPECT_NE(tm.make_equal(c, c)->get_symbol(), tm.make_equal(d, d)->get_symbol());
    const DataType* deep = i;
    for (int k = 0; k < 100000; ++k) {
        deep = tm.get_array_type(i, deep);
    }
    EXPECT_TRUE(tm.is_subtype(deep, tm.get_array_type(r, deep->get_component(2))));
    EXPECT_GT(deep->to_str().size(), 1000000u);
    TermManager other;
    EXPECT_TRUE(other.is_array_type(other.copy_type(&tm, deep)));
}

TEST(Types, finite_domains_have_their_size)
{
    TermManager tm;
    QNumber size;
    EXPECT_TRUE(tm.is_finite_domain_type(tm.get_bool_type(), &size) && size == 2);
    EXPECT_TRUE(tm.is_finite_domain_type(tm.get_bv_type(10), &size) && size == 1024);
    EXPECT_TRUE(tm.is_finite_domain_type(tm.get_rounding_type(), &size) && size == 4);
    EXPECT_TRUE(tm.is_finite_domain_type(tm.get_fp_type(3, 4), &size) && size == 256);
    EXPECT_FALSE(tm.is_finite_domain_type(tm.get_int_type(), &size));
}

TEST(Signature, removed_names_can_be_declared_anew_as_other_symbols)
{
    TermManager tm;
    const DataType* b = tm.get_bool_type();
    const Symbol* x1 = tm.make_symbol("x", b);
    EXPECT_EQ(tm.make_symbol("x", b), x1);
    const Term_* old_x = tm.make_constant(x1);
    tm.remove_symbol("x");
    EXPECT_EQ(tm.get_symbol("x"), nullptr);
    const Symbol* x2 = tm.make_symbol("x", tm.get_int_type());
    EXPECT_NE(x1, x2);
    EXPECT_EQ(tm.get_symbol("x"), x2);
    EXPECT_TRUE(tm.is_constant(old_x) && tm.is_constant(x2));
    tm.remove_symbol("x");
    const Term_* third = tm.make_constant(tm.make_symbol("x", b));
    EXPECT_NE(third, old_x);
    EXPECT_EQ(third->to_str(), old_x->to_str());
    // terms over removed symbols survive a collection, names of dead ones do not
    EXPECT_TRUE(tm.gc({tm.make_not(old_x)}, {}, {}));
    EXPECT_EQ(old_x->to_str(), "x");
    EXPECT_EQ(tm.get_symbol("x"), nullptr);
}

TEST(Signature, errors_of_declarations_change_nothing)
{
    using error = TermManager::error;
    TermManager tm;
    const DataType* b = tm.get_bool_type();
    tm.make_symbol("x", b);
    EXPECT_EQ(message_of<error>([&] { tm.make_symbol("x", tm.get_int_type()); }),
              "A symbol with name `x' already exists, with type: Bool");
    EXPECT_EQ(message_of<error>([&] { tm.make_symbol("", b); }), "Empty name for symbol");
    EXPECT_EQ(message_of<error>([&] { tm.make_symbol("`and`", b); }),
              "Symbols can't start with the \"`\" character");
    EXPECT_EQ(message_of<error>([&] { tm.make_symbol("'v", b); }),
              "Symbols can't start with the \"'\" character");
    for (const char* name : {"y", "`and`", "'1"}) {
        tm.make_fresh_variable(b);
        EXPECT_EQ(message_of<Signature::error>([&] { tm.remove_symbol(name); }),
                  std::string("No symbol with name `") + name + "' is present");
    }
    EXPECT_EQ(tm.get_symbol("x")->get_type(), b);
}
