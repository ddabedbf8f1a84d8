// Which term-ITEs become circuits, and that these get no axioms.
#include "encoding/bvites.h"
#include "encoding/constraintencoder.h"

#include <gtest/gtest.h>

namespace tarq {
namespace {

class BvItesTest : public testing::Test {
protected:
    const Term_* make(const char* name, const DataType* type)
    {
        return tm_.make_constant(tm_.make_symbol(name, type));
    }

    TermManager tm_;
    const DataType* bv_ = tm_.get_bv_type(4);
    const Term_* x_ = make("x", bv_);
    const Term_* y_ = make("y", bv_);
    const Term_* p_ = make("p", tm_.get_bool_type());
    const Term_* u_ = make("u", tm_.get_simple_type("U"));
    const Term_* v_ = make("v", tm_.get_simple_type("U"));
};

TEST_F(BvItesTest, conditions_over_words_and_boolean_constants_are_circuits)
{
    BvIteFilter is_circuit(&tm_);
    const Term_* words = tm_.make_and(tm_.make_not(tm_.make_bv_ult(x_, y_)),
                                      tm_.make_iff(p_, tm_.make_equal(x_, y_)));
    const Term_* foreign = tm_.make_equal(u_, v_);
    EXPECT_TRUE(is_circuit(tm_.make_term_ite(p_, x_, y_)));
    EXPECT_TRUE(is_circuit(tm_.make_term_ite(words, x_, y_)));
    EXPECT_FALSE(is_circuit(tm_.make_term_ite(foreign, x_, y_)));
    EXPECT_FALSE(is_circuit(tm_.make_term_ite(tm_.make_or(words, foreign), x_, y_)));
    EXPECT_FALSE(is_circuit(tm_.make_term_ite(p_, u_, v_))) << "no words";
    EXPECT_FALSE(is_circuit(x_));
}

TEST_F(BvItesTest, each_theory_takes_its_own_atoms)
{
    FpIteFilter is_circuit(&tm_);
    const Term_* a = make("a", tm_.get_fp_type(5, 10));
    const Term_* b = make("b", tm_.get_fp_type(5, 10));
    const Term_* rm = make("rm", tm_.get_rounding_type());
    const Term_* even = tm_.make_fprounding_even();
    const Term_* floats =
        tm_.make_or(tm_.make_fp_isnan(a), tm_.make_and(p_, tm_.make_equal(rm, even)));
    EXPECT_TRUE(is_circuit(tm_.make_term_ite(floats, a, b)));
    EXPECT_TRUE(is_circuit(tm_.make_term_ite(tm_.make_fp_lt(a, b), rm, even)));
    EXPECT_FALSE(is_circuit(tm_.make_term_ite(tm_.make_bv_ult(x_, y_), a, b)));
    EXPECT_FALSE(is_circuit(tm_.make_term_ite(p_, x_, y_)));
    EXPECT_FALSE(BvIteFilter(&tm_)(tm_.make_term_ite(floats, x_, y_)));
}

TEST_F(BvItesTest, circuits_get_no_axioms_and_what_is_in_them_does)
{
    ConstraintEncoder::config config;
    config.bv_ite_circuits = true;
    ConstraintEncoder encoder(&tm_, config);
    const Term_* inner = tm_.make_term_ite(tm_.make_equal(u_, v_), x_, y_);
    const Term_* outer = tm_.make_term_ite(p_, inner, y_);
    TermVector axioms;
    encoder.define(tm_.make_equal(outer, x_), axioms);
    EXPECT_EQ(axioms.size(), 2u);
    for (const Term_* a : axioms) {
        EXPECT_NE(a->to_str().find(inner->to_str()), std::string::npos) << a->to_str();
        EXPECT_EQ(a->to_str().find(outer->to_str()), std::string::npos) << a->to_str();
    }
    axioms.clear();
    encoder.define(tm_.make_equal(tm_.make_term_ite(p_, x_, y_), x_), axioms);
    EXPECT_TRUE(axioms.empty());
}

} // namespace
} // namespace tarq
