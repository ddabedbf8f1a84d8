// What a model says about each kind of symbol and operator: once, and everywhere the same.
#include "envfixture.h"

#include "results/modelstore.h"

#include <sstream>
#include <string>

namespace tarq::test {
namespace {

class ModelKindsTest : public EnvTest {
protected:
    void SetUp() override
    {
        config.model_generation = true;
        make();
    }

    /// Asserts what the script says and expects it to be satisfiable.
    void solve(const std::string& script)
    {
        std::istringstream in(script);
        env->assert_formula(env->from_smt2_script(in));
        ASSERT_EQ(env->check(), 1);
        expect_consistent();
    }

    /// Each point once, with the value that its evaluation gives, and all formulas true.
    void expect_consistent()
    {
        TermSet points;
        for (const auto& [point, value] : env->get_model()->get_entries()) {
            EXPECT_TRUE(points.insert(point).second) << point->to_str() << " twice";
            EXPECT_EQ(env->get_model_value(point), value) << point->to_str();
            EXPECT_FALSE(tm->is_term_ite(point)) << "a conditional is no symbol";
        }
        TermVector asserted;
        env->get_asserted_formulas(&asserted);
        for (const Term_* f : asserted) {
            EXPECT_TRUE(tm->is_true(env->get_model_value(f))) << f->to_str();
        }
    }

    const Term_* read(const std::string& text) { return env->from_smt2(text); }
    const Term_* value(const std::string& text) { return env->get_model_value(read(text)); }
    /// How many entries are about this symbol.
    size_t entries_of(const std::string& name)
    {
        size_t n = 0;
        for (const auto& [point, v] : env->get_model()->get_entries()) {
            n += point->get_symbol()->get_name() == name;
        }
        return n;
    }
};

TEST_F(ModelKindsTest, uninterpreted_sorts)
{
    solve("(declare-sort U 0)(declare-sort V 0)(declare-const a U)(declare-const b U)"
          "(declare-const c U)(declare-const d V)(assert (and (= a b) (distinct b c) (= d d)))");
    EXPECT_EQ(value("a"), value("b"));
    EXPECT_NE(value("a"), value("c"));
    EXPECT_TRUE(value("a")->get_symbol()->get_name().starts_with("@"));
    EXPECT_EQ(entries_of("a"), 1u);
    EXPECT_EQ(entries_of("c"), 1u);
    // a constant of a sort that the problem does not hold
    EXPECT_EQ(TermManager::get_type(value("d")), TermManager::get_type(read("d")));
}

TEST_F(ModelKindsTest, function_tables)
{
    solve("(declare-fun f (Int Int) Int)(declare-const x Int)(declare-const y Int)"
          "(declare-const z Int)(assert (and (= x y) (= z (+ x 1)) (= (f x z) 7)"
          " (= (f z x) 8) (<= (f y z) 9)))");
    EXPECT_EQ(entries_of("f"), 2u) << "f(x, z) and f(y, z) are one point";
    EXPECT_EQ(value("(f y (+ y 1))"), value("7"));
    EXPECT_EQ(value("(f z x)"), value("8"));
    EXPECT_EQ(value("(f 100 200)"), value("(f 200 300)")) << "elsewhere the default";
}

TEST_F(ModelKindsTest, conditionals)
{
    solve("(declare-const p Bool)(declare-const x Int)(declare-const y Int)(declare-sort U 0)"
          "(declare-fun g (U) Int)(declare-const u U)(declare-const v U)"
          "(assert (and (= 3 (ite p x y)) (not (= (g u) (ite (or p (= u v)) y 1)))"
          " (< (ite (< x y) x y) 3)))");
    EXPECT_EQ(value("(ite p x y)"), value("3"));
    EXPECT_EQ(value("(ite (not p) y x)"), value("3"));
    EXPECT_EQ(value("(ite (< x y) x y)"), tm->is_true(value("(< x y)")) ? value("x") : value("y"));
}

TEST_F(ModelKindsTest, real_division_by_zero)
{
    const std::string script = "(declare-const x Real)(declare-const y Real)(declare-const z Real)"
                               "(assert (and (= y 0.0) (= z y) (= (/ x y) 5.0) (= x 2.0)))";
    solve(script);
    EXPECT_EQ(value("(/ x z)"), value("5.0")) << "a function of the dividend";
    EXPECT_EQ(value("(/ 2 0)"), value("5.0"));
    EXPECT_EQ(value("(/ 3 z)"), value("(/ 3 0)"));
    config.theory.na.div_by_zero_mode = 0;
    make();
    std::istringstream in(script);
    env->assert_formula(env->from_smt2_script(in));
    EXPECT_EQ(env->check(), 0) << "the quotient is 0";
}

TEST_F(ModelKindsTest, integer_division_by_zero)
{
    solve("(declare-const x Int)(declare-const y Int)(declare-const z Int)"
          "(assert (and (= x 0) (= (div y x) 5) (= (mod y x) 2) (= z y)))");
    EXPECT_EQ(value("(div z 0)"), value("5"));
    EXPECT_EQ(value("(mod z x)"), value("2"));
}

TEST_F(ModelKindsTest, word_division_by_zero)
{
    const std::string script =
        "(declare-const a (_ BitVec 4))(declare-const b (_ BitVec 4))(declare-const c (_ BitVec 4))"
        "(assert (and (= b #x0) (= c (bvudiv a b)) (not (= a #x0))))";
    solve(script);
    EXPECT_EQ(value("c"), value("#xf"));
    EXPECT_EQ(value("(bvurem a b)"), value("a"));
    config.theory.bv.div_by_zero_mode = 1;
    make();
    solve(script + "(assert (not (= c #xf)))");
    EXPECT_EQ(value("(bvudiv a b)"), value("c")) << "a function of the dividend";
    EXPECT_EQ(value("(bvudiv a #x0)"), value("c"));
}

TEST_F(ModelKindsTest, minimum_of_two_zeros)
{
    config.theory.fp.minmax_zero_mode = 0;
    make();
    solve("(declare-const a (_ FloatingPoint 3 4))(declare-const b (_ FloatingPoint 3 4))"
          "(assert (and (fp.isZero a) (fp.isZero b) (fp.isNegative a) (fp.isPositive b)"
          " (fp.isZero (fp.min a b))))");
    EXPECT_EQ(value("(fp.min a b)"), value("a"));
    EXPECT_EQ(value("(fp.max a b)"), value("b"));
}

TEST_F(ModelKindsTest, arrays)
{
    solve("(declare-sort U 0)(declare-fun f ((Array Int U)) Int)(declare-const a (Array Int U))"
          "(declare-const b (Array Int U))(declare-const c (Array Int U))(declare-const u U)"
          "(declare-const v U)(assert (and (distinct u v) (= b (store (store a 1 u) 2 v))"
          " (= c (store (store a 2 v) 1 u)) (not (= a b)) (= (f b) 3)))");
    EXPECT_EQ(value("b"), value("c")) << "the order of writes is no part of the value";
    EXPECT_EQ(value("(f c)"), value("3"));
    EXPECT_EQ(entries_of("f"), 1u);
    EXPECT_TRUE(tm->is_true(value("(= b (store c 1 (select c 1)))")));
    EXPECT_TRUE(tm->is_false(value("(= b (store c 1 v))")));
}

TEST_F(ModelKindsTest, arrays_over_few_indices_have_one_value)
{
    // the whole range of indices is written: what stands elsewhere is of no account
    solve("(declare-const a (Array (_ BitVec 1) Int))(declare-const b (Array (_ BitVec 1) Int))"
          "(declare-fun f ((Array (_ BitVec 1) Int)) Int)"
          "(assert (and (= (select a #b0) (select b #b0)) (= (select a #b1) (select b #b1))"
          " (= (select a #b0) 3) (= (select b #b1) 4) (= (f a) 5)))");
    EXPECT_EQ(value("a"), value("b"));
    EXPECT_EQ(value("(f b)"), value("5"));
    const std::string k = "((as const (Array (_ BitVec 1) Int)) ";
    EXPECT_TRUE(tm->is_true(value("(= (store " + k + "3) #b1 4) (store " + k + "4) #b0 3))")));
    EXPECT_TRUE(tm->is_false(value("(= (store " + k + "3) #b1 4) (store " + k + "4) #b0 5))")));
}

} // namespace
} // namespace tarq::test
