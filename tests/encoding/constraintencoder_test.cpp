// Axioms against the meaning of the terms they define. The oracle is brute force: with numbers for
// everything that occurs, the axioms hold for the right value of a term and for no other.
#include "encoding/constraintencoder.h"

#include "encoding/termiteencoder.h"
#include "terms/bvnumber.h"
#include "terms/stdtermsimplifier.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace tarq::test {
namespace {

class ConstraintEncoderTest : public ::testing::Test {
protected:
    ConstraintEncoderTest() : simplifier(&tm)
    {
        tm.set_simplifier(&simplifier);
        tm.set_simplify(true);
        config.basic_ite_simplification = true;
    }

    const Term_* constant(const char* name, const DataType* type)
    {
        return tm.make_constant(tm.make_symbol(name, type));
    }
    const Term_* integer(const char* name) { return constant(name, tm.get_int_type()); }
    const Term_* real(const char* name) { return constant(name, tm.get_real_type()); }
    const Term_* boolean(const char* name) { return constant(name, tm.get_bool_type()); }
    const Term_* num(const QNumber& q) { return tm.make_number(q); }

    /// The axioms of everything in `t`, wrapped so that a term of any type will do.
    TermVector axioms_of(const Term_* t)
    {
        ConstraintEncoder encoder(&tm, config);
        TermVector axioms;
        encoder.define(t, axioms);
        added = encoder.get_added_constants();
        return axioms;
    }

    /// Whether some values from `range` for the fresh constants make all axioms true under `map`.
    /// Only equations of the form c = number may be left where a fresh constant occurs.
    bool satisfiable(const TermVector& axioms, const TermMap& map, const std::vector<long>& range)
    {
        TermVector fresh(added.begin(), added.end());
        std::function<bool(size_t, TermMap&)> search = [&](size_t i, TermMap& m) {
            if (i == fresh.size()) {
                for (const Term_* a : axioms) {
                    const Term_* value = tm.substitute(a, m);
                    EXPECT_TRUE(tm.is_true(value) || tm.is_false(value)) << value->to_str(1000);
                    if (!tm.is_true(value)) {
                        return false;
                    }
                }
                return true;
            }
            for (long v : range) {
                m[fresh[i]] = num(v);
                if (search(i + 1, m)) {
                    return true;
                }
            }
            return false;
        };
        TermMap m(map);
        return search(0, m);
    }

    /// `t` must have exactly the values of `right` among `candidates`. Term-ITEs inside get their
    /// value by folding, so `t` itself is replaced first.
    void expect_values(const Term_* t, const TermMap& args, const TermVector& candidates,
                       const std::function<bool(const Term_*)>& right,
                       const std::vector<long>& range = {})
    {
        const TermVector axioms = axioms_of(t);
        for (const Term_* v : candidates) {
            TermMap map(args);
            map[t] = v;
            EXPECT_EQ(satisfiable(axioms, map, range), right(v))
                << t->to_shallow_str() << " with the value " << v->to_str();
        }
    }

    TermVector numbers(long low, long high)
    {
        TermVector out;
        for (long i = low; i <= high; ++i) {
            out.push_back(num(i));
        }
        return out;
    }

    TermManager tm;
    StdTermSimplifier simplifier;
    ConstraintEncoder::config config;
    TermSet added;
};

TEST_F(ConstraintEncoderTest, floor_is_the_integer_below)
{
    const Term_* x = real("x");
    const Term_* t = tm.make_floor(x);
    for (const QNumber& v : {QNumber(7, 2), QNumber(-7, 2), QNumber(3), QNumber(-1, 3)}) {
        TermMap args;
        args[x] = num(v);
        expect_values(t, args, numbers(-6, 6), [&](const Term_* r) { return r == num(v.floor()); });
    }
}

TEST_F(ConstraintEncoderTest, congruence_holds_for_multiples_of_the_modulus_only)
{
    const Term_* a = integer("a");
    const Term_* b = integer("b");
    for (long m : {2, 3}) {
        const Term_* t = tm.make_int_modular_congruence(m, a, b);
        for (long i = -4; i <= 4; ++i) {
            TermMap args;
            args[a] = num(i);
            args[b] = num(1);
            expect_values(t, args, {tm.make_true(), tm.make_false()},
                          [&](const Term_* r) { return tm.is_true(r) == ((i - 1) % m == 0); },
                          {-3, -2, -1, 0, 1, 2, 3});
        }
    }
}

TEST_F(ConstraintEncoderTest, conversions_between_integers_and_bit_vectors)
{
    const Term_* x = integer("x");
    const Term_* to_bv = tm.make_int_to_bv(3, x);
    const Term_* v = constant("v", tm.get_bv_type(3));
    const Term_* from_u = tm.make_int_from_ubv(v);
    const Term_* from_s = tm.make_int_from_sbv(v);
    TermVector words;
    for (long i = 0; i < 8; ++i) {
        words.push_back(tm.make_bv_number(i, 3));
    }
    for (long i : {-17, -8, -1, 0, 1, 7, 8, 20}) {
        TermMap args;
        args[x] = num(i);
        QNumber word = i;
        BVNumber::trim(word, 3);
        expect_values(to_bv, args, words,
                      [&](const Term_* r) { return r == tm.make_bv_number(word, 3); },
                      {0, 1, 2, 3});
    }
    for (long i = 0; i < 8; ++i) {
        TermMap args;
        args[v] = words[static_cast<size_t>(i)];
        expect_values(from_u, args, numbers(-9, 9), [&](const Term_* r) { return r == num(i); });
        const long value = i < 4 ? i : i - 8;
        expect_values(from_s, args, numbers(-9, 9),
                      [&](const Term_* r) { return r == num(value); });
    }
}

TEST_F(ConstraintEncoderTest, an_ite_equals_the_branch_that_its_condition_selects)
{
    const DataType* sort = tm.get_simple_type("U");
    const Term_* c = boolean("c");
    const Term_* u = constant("u", sort);
    const Term_* v = constant("v", sort);
    const Term_* t = tm.make_term_ite(c, u, v);
    const TermVector axioms = axioms_of(t);
    const Term_* t_is_u = tm.make_equal(t, u);
    const Term_* t_is_v = tm.make_equal(t, v);
    const Term_* expected[] = {tm.make_or(tm.make_not(c), t_is_u), tm.make_or(c, t_is_v)};
    EXPECT_EQ(axioms, TermVector(std::begin(expected), std::end(expected)));
    const Term_* x = integer("x");
    const Term_* number_ite = tm.make_term_ite(c, num(1), num(2));
    TermMap args;
    args[c] = tm.make_false();
    args[x] = num(5);
    expect_values(number_ite, args, numbers(0, 3), [&](const Term_* r) { return r == num(2); });
}

TEST_F(ConstraintEncoderTest, an_ite_of_bit_vectors_keeps_its_definition)
{
    // the rewrite rules for bit-vectors see through equalities with a branch
    const Term_* c = boolean("c");
    const Term_* one = tm.make_bv_number(1, 2);
    const Term_* x = constant("x", tm.get_bv_type(2));
    const Term_* t = tm.make_term_ite(c, one, tm.make_bv_add(x, one));
    for (const Term_* axiom : axioms_of(t)) {
        EXPECT_FALSE(tm.is_true(axiom));
        TermSet seen;
        TermVector stack{axiom};
        bool found = false;
        while (!stack.empty()) {
            const Term_* s = stack.back();
            stack.pop_back();
            found = found || s == t;
            if (s != t) {
                stack.insert(stack.end(), s->children().begin(), s->children().end());
            }
        }
        EXPECT_TRUE(found) << axiom->to_str();
    }
}

TEST_F(ConstraintEncoderTest, a_product_with_an_ite_is_linear_on_each_path)
{
    const Term_* c = boolean("c");
    const Term_* y = integer("y");
    const Term_* ite = tm.make_term_ite(c, num(1), num(2));
    const Term_* t = tm.make_times(ite, y);
    const TermVector axioms = axioms_of(t);
    const Term_* t_is_y = tm.make_equal(t, y);
    const Term_* then_axiom = tm.make_or(tm.make_not(c), t_is_y);
    const Term_* t_is_2y = tm.make_equal(t, tm.make_times(num(2), y));
    const Term_* else_axiom = tm.make_or(c, t_is_2y);
    EXPECT_NE(std::find(axioms.begin(), axioms.end(), then_axiom), axioms.end());
    EXPECT_NE(std::find(axioms.begin(), axioms.end(), else_axiom), axioms.end());
    EXPECT_EQ(axioms.size(), 4u); // and the two of the term-ITE
    const Term_* other = tm.make_times(tm.make_term_ite(c, num(1), y), y);
    EXPECT_EQ(axioms_of(other).size(), 2u) << "a leaf is no number";
}

TEST_F(ConstraintEncoderTest, signs_of_a_product)
{
    config.times_zero_line = true;
    const Term_* u = integer("u");
    const Term_* v = integer("v");
    const Term_* t = tm.make_times(u, v);
    for (long i : {-2, 0, 3}) {
        for (long j : {-1, 0, 2}) {
            TermMap args;
            args[u] = num(i);
            args[v] = num(j);
            const int sign = (i * j > 0) - (i * j < 0);
            expect_values(t, args, numbers(-2, 2), [&](const Term_* r) {
                QNumber value;
                tm.is_number(r, &value);
                return value.sign() == sign;
            });
        }
    }
}

TEST_F(ConstraintEncoderTest, real_division_by_zero)
{
    const Term_* x = real("x");
    const Term_* y = real("y");
    const Term_* t = tm.make_divide(x, y);
    TermMap args;
    args[x] = num(6);
    args[y] = num(-4);
    const TermVector candidates = {num(QNumber(-3, 2)), num(0), num(1)};
    expect_values(t, args, candidates, [&](const Term_* r) { return r == num(QNumber(-3, 2)); });
    args[y] = num(0);
    expect_values(t, args, candidates, [&](const Term_* r) { return r == num(0); });
    // a literal zero is no different
    const Term_* literal = tm.make_divide(x, num(0));
    TermMap only_x;
    only_x[x] = num(6);
    expect_values(literal, only_x, candidates, [&](const Term_* r) { return r == num(0); });
    // as a function of the dividend it is open
    config.real_div_uf = true;
    const TermVector axioms = axioms_of(literal);
    ASSERT_EQ(axioms.size(), 2u);
    EXPECT_TRUE(tm.is_true(axioms[0]));
    EXPECT_TRUE(tm.is_equal(axioms[1])) << axioms[1]->to_str();
    EXPECT_EQ(axioms_of(tm.make_divide(x, num(2))).size(), 0u);
}

TEST_F(ConstraintEncoderTest, bit_vector_division_by_zero_is_a_function_when_asked)
{
    const Term_* a = constant("a", tm.get_bv_type(4));
    const Term_* b = constant("b", tm.get_bv_type(4));
    const Term_* t = tm.make_bv_udiv(a, b);
    EXPECT_TRUE(axioms_of(t).empty());
    config.bv_div_uf = true;
    const TermVector axioms = axioms_of(t);
    ASSERT_EQ(axioms.size(), 1u);
    TermMap map;
    map[b] = tm.make_bv_number(3, 4);
    EXPECT_TRUE(tm.is_true(tm.substitute(axioms[0], map)));
    const Term_* same = tm.make_bv_udiv(a, tm.make_bv_sub(b, b));
    EXPECT_FALSE(axioms_of(same).empty());
}

TEST_F(ConstraintEncoderTest, powers_and_roots)
{
    const Term_* b = real("b");
    const Term_* e = real("e");
    const Term_* root = tm.make_pow(b, num(QNumber(1, 2)));
    TermMap args;
    args[b] = num(4);
    expect_values(root, args, numbers(-4, 4), [&](const Term_* r) { return r == num(2); });
    const Term_* cube_root = tm.make_pow(b, num(QNumber(1, 3)));
    args[b] = num(-8);
    expect_values(cube_root, args, numbers(-4, 4), [&](const Term_* r) { return r == num(-2); });
    // any exponent: the axioms for small ones, with exp and log left out
    const Term_* t = tm.make_pow(b, e);
    TermVector small;
    for (const Term_* a : axioms_of(t)) {
        TermMap map;
        map[b] = num(0);
        map[e] = num(3);
        map[t] = num(0);
        const Term_* value = tm.substitute(a, map);
        EXPECT_FALSE(tm.is_false(value)) << a->to_str(500);
        map[t] = num(1);
        small.push_back(tm.substitute(a, map));
    }
    EXPECT_NE(std::find(small.begin(), small.end(), tm.make_false()), small.end());
    // a real exponent must not be forced to be an integer
    for (const Term_* a : axioms_of(t)) {
        TermMap map;
        map[e] = num(QNumber(3, 10));
        map[b] = num(-1);
        map[t] = num(7);
        EXPECT_FALSE(tm.is_false(tm.substitute(a, map))) << a->to_str(500);
    }
}

TEST_F(ConstraintEncoderTest, a_formula_gets_its_axioms_once_and_nothing_else_changes)
{
    ConstraintEncoder encoder(&tm, config);
    const Term_* x = real("x");
    const Term_* f = tm.make_leq(tm.make_floor(x), num(2));
    const Term_* plain = tm.make_or(boolean("p"), tm.make_leq(x, num(3)));
    EXPECT_EQ(encoder(plain), plain);
    const Term_* both = encoder(tm.make_and(f, plain));
    EXPECT_NE(both, tm.make_and(f, plain));
    TermVector first, second;
    encoder.encode(f, first);
    encoder.encode(f, second);
    EXPECT_EQ(first.size(), 2u);
    EXPECT_EQ(first, second) << "a formula that comes again brings its axioms again";
    const Term_* nested = tm.make_floor(tm.make_times(num(QNumber(1, 2)), tm.make_floor(x)));
    EXPECT_EQ(axioms_of(nested).size(), 4u);
}

TEST_F(ConstraintEncoderTest, comparisons_of_ites_over_values_become_conditions)
{
    ConstraintEncoder encoder(&tm, config);
    const Term_* c = boolean("c");
    const Term_* d = boolean("d");
    const Term_* one_or_two = tm.make_term_ite(c, num(1), num(2));
    EXPECT_EQ(encoder(tm.make_equal(one_or_two, num(1))), c);
    EXPECT_EQ(encoder(tm.make_leq(num(2), one_or_two)), tm.make_not(c));
    const Term_* other = tm.make_term_ite(d, num(1), num(3));
    const Term_* both = encoder(tm.make_equal(one_or_two, other));
    EXPECT_EQ(both, tm.make_and(c, d));
    // the condition decides inner branches
    const Term_* x = integer("x");
    const Term_* y = integer("y");
    const Term_* inner = tm.make_term_ite(c, x, y);
    const Term_* outer = tm.make_term_ite(tm.make_not(c), inner, num(0));
    const Term_* expected = tm.make_term_ite(tm.make_not(c), y, num(0));
    TermIteEncoder ite(&tm, false, 0, true);
    EXPECT_EQ(ite.simplify(tm.make_leq(outer, x)), tm.make_leq(expected, x));
    // further down only with the minimisation, which counts its calls
    const Term_* deep =
        tm.make_term_ite(c, tm.make_term_ite(d, tm.make_term_ite(c, x, y), num(7)), num(0));
    const Term_* f = tm.make_leq(deep, y);
    EXPECT_EQ(ite.simplify(f), f);
    const Term_* shorter = tm.make_term_ite(c, tm.make_term_ite(d, x, num(7)), num(0));
    EXPECT_EQ(TermIteEncoder(&tm, true, 0, false).simplify(f), tm.make_leq(shorter, y));
    TermIteEncoder limited(&tm, true, 1, false);
    const Term_* once = limited.simplify(f);
    EXPECT_EQ(once, f) << "the one call that is allowed is spent on the way down";
}

TEST_F(ConstraintEncoderTest, ite_rules_need_a_term_manager_that_simplifies)
{
    ConstraintEncoder encoder(&tm, config);
    tm.set_simplify(false);
    const Term_* c = boolean("c");
    const Term_* f = tm.make_leq(tm.make_term_ite(c, num(1), num(2)), num(1));
    EXPECT_THROW(encoder(f), ConstraintEncoder::error);
}

TEST_F(ConstraintEncoderTest, deep_and_shared_ites_are_encoded_in_linear_time)
{
    const Term_* t = integer("x");
    for (int i = 0; i < 20000; ++i) {
        const Term_* c = boolean(("c" + std::to_string(i)).c_str());
        t = tm.make_term_ite(c, tm.make_plus(t, num(1)), t);
    }
    ConstraintEncoder encoder(&tm, config);
    TermVector axioms;
    encoder.encode(tm.make_leq(t, num(0)), axioms);
    EXPECT_EQ(axioms.size(), 40000u);
}

} // namespace
} // namespace tarq::test
