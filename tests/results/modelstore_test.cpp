// Models made from what an invented solver says.
#include "results/modelstore.h"

#include "terms/stdtermsimplifier.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace tarq::test {
namespace {

class FakeSource : public ModelSource {
public:
    void get_atoms(std::vector<std::pair<const Term_*, bool>>& out) const override { out = atoms; }
    const Term_* get_theory_value(const Term_* t) const override
    {
        const auto it = values.find(t);
        return it == values.end() ? nullptr : it->second;
    }
    void get_definitions(std::vector<std::pair<const Term_*, const Term_*>>& out) const override
    {
        out = definitions;
    }

    std::vector<std::pair<const Term_*, bool>> atoms;
    TermMap values;
    std::vector<std::pair<const Term_*, const Term_*>> definitions;
};

class ModelStoreTest : public ::testing::Test {
protected:
    ModelStoreTest() : simplifier(&tm)
    {
        tm.set_simplifier(&simplifier);
        tm.set_simplify(true);
        make();
        integer = tm.get_int_type();
        sort = tm.get_simple_type("U");
        x = constant("x", integer);
        y = constant("y", integer);
        u = constant("u", sort);
        v = constant("v", sort);
        p = constant("p", tm.get_bool_type());
    }
    ~ModelStoreTest() override { model->release(); }

    void make()
    {
        if (model) {
            model->release();
        }
        model = new ModelStore(&tm, options);
    }
    const Term_* constant(const std::string& name, const DataType* type)
    {
        return tm.make_constant(tm.make_symbol(name, type));
    }
    const Term_* num(const QNumber& n) { return tm.make_number(n); }
    const Term_* apply(const Symbol* f, const Term_* a)
    {
        return tm.make_uninterpreted_function(f, TermArgs(&a, 1));
    }
    /// Makes the model of these formulas.
    void solve(TermVector formulas)
    {
        model->set_formulas(std::move(formulas));
        model->compute(source);
    }
    const Term_* value(const Term_* t) { return model->get_value(t); }
    std::string error_of(const std::function<void()>& f)
    {
        try {
            f();
        } catch (const Exception& e) {
            return e.get_msg();
        }
        return "";
    }

    TermManager tm;
    StdTermSimplifier simplifier;
    ModelStore::Options options;
    ModelStore* model = nullptr;
    FakeSource source;
    const DataType *integer, *sort;
    const Term_ *x, *y, *u, *v, *p;
};

TEST_F(ModelStoreTest, constants_have_the_values_of_their_theories_and_all_else_has_defaults)
{
    const Term_* atom = tm.make_leq(num(6), x);
    source.atoms = {{atom, true}, {p, true}};
    source.values[x] = num(7);
    solve({atom, p});
    EXPECT_EQ(value(x), num(7));
    EXPECT_EQ(value(tm.make_plus(x, tm.make_times(num(2), y))), num(7)) << "y is 0";
    EXPECT_TRUE(tm.is_true(value(tm.make_and(p, tm.make_not(tm.make_equal(x, y))))));
    EXPECT_EQ(value(constant("w", tm.get_bv_type(5))), tm.make_bv_number(0, 5));
    EXPECT_EQ(value(constant("m", tm.get_rounding_type())), tm.make_fprounding_even());
    const Term_* element = constant("e", tm.get_simple_type("Other"));
    EXPECT_EQ(value(element), value(value(element))) << "a value is its own value";
    EXPECT_EQ(value(element)->get_symbol()->get_name()[0], '@');
    const DataType* array = tm.get_array_type(integer, integer);
    EXPECT_EQ(value(tm.make_array_read(constant("a", array), num(3))), num(0));
}

TEST_F(ModelStoreTest, classes_without_a_value_get_different_ones)
{
    const Term_* differ = tm.make_not(tm.make_equal(u, v));
    source.atoms = {{tm.make_equal(u, v), false}};
    source.values[u] = u;
    source.values[v] = v;
    const Term_* w = constant("w", sort);
    const Term_* same = tm.make_equal(v, w);
    source.atoms.emplace_back(same, true);
    source.values[w] = v;
    solve({differ, same});
    EXPECT_EQ(value(v), value(w));
    EXPECT_TRUE(tm.is_false(value(tm.make_equal(u, v))));
    EXPECT_TRUE(tm.is_true(value(tm.make_equal(v, w))));
    EXPECT_EQ(value(tm.make_term_ite(tm.make_equal(u, w), u, v)), value(v));
}

TEST_F(ModelStoreTest, a_fresh_number_differs_from_all_numbers_around)
{
    const Symbol* f = tm.make_symbol("f", tm.get_function_type({integer}, integer));
    const Term_* fx = apply(f, x);
    const Term_* f9 = apply(f, num(9));
    const Term_* atom = tm.make_equal(fx, f9);
    source.atoms = {{atom, false}};
    source.values[x] = x; // no theory of numbers knows it
    source.values[fx] = num(100);
    source.values[f9] = num(2);
    // a sum among the arguments, with the value that the fresh number would have otherwise
    const Term_* sum = tm.make_plus(y, num(1));
    const Term_* f_sum = apply(f, sum);
    source.atoms.emplace_back(tm.make_leq(f_sum, num(7)), true);
    source.values[y] = num(100);
    source.values[f_sum->child(0)] = num(101); // the sum in its usual form
    source.values[f_sum] = num(7);
    solve({tm.make_not(atom)});
    EXPECT_TRUE(tm.is_true(value(tm.make_not(atom))));
    QNumber n;
    ASSERT_TRUE(tm.is_number(value(x), &n));
    EXPECT_GT(n, QNumber(101));
    EXPECT_EQ(value(f_sum), num(7));
    EXPECT_EQ(value(fx), num(100));
    EXPECT_EQ(value(apply(f, num(9))), num(2));
    EXPECT_EQ(value(apply(f, num(55))), num(0)) << "at a point that nothing asks for";
}

TEST_F(ModelStoreTest, functions_are_functions)
{
    const Symbol* f = tm.make_symbol("f", tm.get_function_type({integer}, integer));
    const Term_* fx = apply(f, x);
    const Term_* fy = apply(f, tm.make_plus(y, num(1)));
    const Term_* atom = tm.make_leq(fx, fy);
    source.atoms = {{atom, true}};
    source.values[x] = num(4);
    source.values[y] = num(3);
    source.values[fx] = num(10);
    source.values[fy] = num(10);
    solve({atom});
    EXPECT_EQ(value(apply(f, num(4))), num(10));
    const auto& entries = model->get_entries();
    ASSERT_EQ(entries.size(), 3u) << "f is listed once for each argument";
    EXPECT_EQ(entries[0], ModelStore::Entry(x, num(4)));
    EXPECT_EQ(entries[1], ModelStore::Entry(y, num(3)));
    EXPECT_EQ(entries[2], ModelStore::Entry(apply(f, num(4)), num(10)));
    // two values at one point
    make();
    source.values[fy] = num(11);
    EXPECT_EQ(error_of([&] { solve({atom}); }), "Invalid model");
}

TEST_F(ModelStoreTest, predicates_have_the_values_of_their_atoms)
{
    const Symbol* q = tm.make_symbol("q", tm.get_function_type({sort}, tm.get_bool_type()));
    const Term_* qu = apply(q, u);
    const Term_* qv = apply(q, v);
    source.atoms = {{qu, true}, {qv, false}};
    source.values[u] = u;
    source.values[v] = v;
    solve({qu, tm.make_not(qv)});
    EXPECT_TRUE(tm.is_true(value(qu)));
    EXPECT_TRUE(tm.is_false(value(qv)));
}

TEST_F(ModelStoreTest, replaced_symbols_follow_their_definitions)
{
    const Term_* atom = tm.make_leq(num(6), x);
    source.atoms = {{atom, true}};
    source.values[x] = num(6);
    const Term_* z = constant("z", integer);
    source.definitions = {{y, tm.make_plus(x, num(1))},
                          {p, tm.make_leq(y, num(3))},
                          {z, tm.make_term_ite(p, y, tm.make_times(num(2), y))}};
    solve({atom, tm.make_equal(y, tm.make_plus(x, num(1)))});
    EXPECT_EQ(value(y), num(7));
    EXPECT_TRUE(tm.is_false(value(p)));
    EXPECT_EQ(value(z), num(14));
}

TEST_F(ModelStoreTest, a_formula_that_does_not_hold_is_found)
{
    const Term_* atom = tm.make_leq(num(6), x);
    source.atoms = {{atom, true}};
    source.values[x] = num(5);
    solve({atom});
    EXPECT_EQ(error_of([&] { value(x); }), "Invalid model");
    EXPECT_EQ(error_of([&] { model->get_entries(); }), "Invalid model");
}

TEST_F(ModelStoreTest, division_by_zero_has_one_value_for_each_dividend)
{
    const Term_* r = constant("r", tm.get_real_type());
    const Term_* s = constant("s", tm.get_real_type());
    const Term_* quotient = tm.make_divide(r, s);
    const Term_* atom = tm.make_equal(quotient, num(5));
    source.atoms = {{atom, true}};
    source.values[r] = num(1);
    source.values[s] = num(0);
    source.values[quotient] = num(5);
    solve({atom});
    EXPECT_EQ(value(tm.make_divide(num(1), num(0))), num(5));
    EXPECT_EQ(value(tm.make_divide(num(2), num(0))), num(0));
    EXPECT_EQ(value(tm.make_divide(r, num(4))), num(QNumber(1, 4)));
    options.real_div_by_zero_mode = 0;
    make();
    source = FakeSource();
    solve({});
    EXPECT_EQ(value(tm.make_divide(num(3), s)), num(0)) << "s is 0 by default";
}

TEST_F(ModelStoreTest, bit_vector_division_by_zero_follows_its_option)
{
    const DataType* type = tm.get_bv_type(4);
    const Term_* a = constant("a", type);
    const Term_* b = constant("b", type);
    source.atoms = {{tm.make_equal(a, tm.make_bv_number(9, 4)), true}};
    source.values[a] = tm.make_bv_number(9, 4);
    solve({});
    EXPECT_EQ(value(tm.make_bv_udiv(a, b)), tm.make_bv_number(15, 4));
    EXPECT_EQ(value(tm.make_bv_sdiv(a, b)), tm.make_bv_number(1, 4)) << "9 is negative";
    EXPECT_EQ(value(tm.make_bv_urem(a, b)), tm.make_bv_number(9, 4));
    EXPECT_EQ(value(tm.make_bv_srem(a, b)), tm.make_bv_number(9, 4));
    options.bv_div_by_zero_mode = 1;
    make();
    const Term_* quotient = tm.make_bv_udiv(a, b);
    const Term_* atom = tm.make_equal(quotient, tm.make_bv_number(3, 4));
    source.atoms.emplace_back(atom, true);
    source.values[quotient] = tm.make_bv_number(3, 4);
    source.values[b] = tm.make_bv_number(0, 4);
    solve({atom});
    EXPECT_EQ(value(tm.make_bv_udiv(tm.make_bv_number(9, 4), b)), tm.make_bv_number(3, 4));
}

TEST_F(ModelStoreTest, minimum_of_two_zeros_follows_its_option)
{
    const Term_* plus = tm.make_fp_bits_number(0, 3, 4);
    const Term_* minus = tm.make_fp_neg(plus);
    const Term_* a = constant("a", TermManager::get_type(plus));
    const Term_* min = tm.make_fp_min(a, minus); // a is +0 by default
    const Term_* max = tm.make_fp_max(a, minus);
    const std::pair<const Term_*, const Term_*> expected[] = {
        {minus, plus}, {plus, plus}, {plus, plus}, {minus, minus}};
    for (int mode = 0; mode < 4; ++mode) {
        options.fp_minmax_zero_mode = mode;
        make();
        solve({});
        EXPECT_EQ(value(min), expected[mode].first) << mode;
        EXPECT_EQ(value(max), expected[mode].second) << mode;
    }
}

TEST_F(ModelStoreTest, only_what_decides_a_term_is_evaluated)
{
    const Term_* open = tm.make_sin(constant("r", tm.get_real_type()));
    solve({});
    EXPECT_EQ(value(tm.make_term_ite(p, open, num(1))), num(1)) << "p is false";
    EXPECT_EQ(error_of([&] { value(open); }).find("can't evaluate term: "), 0u);
    const Term_* var = tm.make_named_variable("q", integer);
    const Term_* all = tm.make_forall(var, tm.make_leq(var, x));
    EXPECT_EQ(error_of([&] { value(all); }).find("can't evaluate term: "), 0u);
    EXPECT_EQ(value(y), num(0)) << "and the store goes on";
}

TEST_F(ModelStoreTest, without_the_full_model_atoms_have_values_and_nothing_else)
{
    options.full = false;
    make();
    const Term_* atom = tm.make_leq(num(6), x);
    source.atoms = {{atom, true}, {p, false}};
    solve({});
    EXPECT_TRUE(tm.is_true(value(atom)));
    EXPECT_TRUE(tm.is_false(value(p)));
    EXPECT_EQ(value(x), x);
    EXPECT_EQ(value(tm.make_and(atom, p)), tm.make_and(atom, p));
    EXPECT_EQ(model->get_entries().size(), 2u);
}

TEST_F(ModelStoreTest, finite_types_may_run_out_of_values)
{
    const Symbol* f = tm.make_symbol("f", tm.get_function_type({tm.get_bv_type(1)}, sort));
    TermVector bits;
    for (const char* name : {"a", "b", "c"}) {
        bits.push_back(constant(name, tm.get_bv_type(1)));
        source.values[bits.back()] = bits.back(); // three classes that nobody values
        source.values[apply(f, bits.back())] = u;
        source.atoms.emplace_back(tm.make_equal(apply(f, bits.back()), u), true);
    }
    EXPECT_EQ(error_of([&] { solve({}); }).find("Impossible to assign a concrete model value to "),
              0u);
}

TEST_F(ModelStoreTest, deep_terms_are_no_trouble)
{
    const Term_* t = x;
    for (int i = 0; i < 200000; ++i) {
        t = tm.make_term_ite(tm.make_leq(t, num(-1)), num(1), tm.make_plus(t, num(1)));
    }
    solve({});
    EXPECT_EQ(value(t), num(200000));
}

} // namespace
} // namespace tarq::test
