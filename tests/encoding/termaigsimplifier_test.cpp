// Boolean terms through circuits and back.
#include "encoding/termaigsimplifier.h"
#include "terms/stdtermsimplifier.h"

#include <gtest/gtest.h>

#include <random>

namespace tarq {
namespace {

class TermAigSimplifierTest : public testing::Test {
protected:
    const Term_* atom(const std::string& name)
    {
        return tm_.make_constant(tm_.make_symbol(name, tm_.get_bool_type()));
    }
    bool evaluate(const Term_* t, const TermVector& atoms, unsigned values)
    {
        TermVector to;
        for (size_t i = 0; i < atoms.size(); ++i) {
            to.push_back(tm_.make_bool((values >> i & 1) != 0));
        }
        tm_.set_simplifier(&folding_);
        tm_.set_simplify(true);
        const Term_* v = tm_.substitute(t, atoms, to);
        tm_.set_simplify(false);
        EXPECT_TRUE(tm_.is_true(v) || tm_.is_false(v)) << v->to_str();
        return tm_.is_true(v);
    }

    TermManager tm_;
    StdTermSimplifier folding_{&tm_};
};

TEST_F(TermAigSimplifierTest, results_are_equivalent)
{
    std::mt19937 random(5);
    const TermVector atoms{atom("a"), atom("b"), atom("c"), atom("d")};
    for (int round = 0; round < 200; ++round) {
        TermVector pool = atoms;
        const auto pick = [&] {
            const Term_* t = pool[random() % pool.size()];
            return random() % 2 == 0 ? t : tm_.make_not(t);
        };
        for (int i = 0; i < 15; ++i) {
            const Term_* x = pick();
            const Term_* y = pick();
            const unsigned op = random() % 3;
            pool.push_back(op == 0   ? tm_.make_and(x, y)
                           : op == 1 ? tm_.make_or(x, y)
                                     : tm_.make_iff(x, y));
        }
        TermAigSimplifier simplifier(&tm_);
        const Term_* t = pick();
        const Term_* s = simplifier(t);
        for (unsigned v = 0; v < 16; ++v) {
            ASSERT_EQ(evaluate(t, atoms, v), evaluate(s, atoms, v)) << t->to_str();
        }
    }
}

TEST_F(TermAigSimplifierTest, what_the_circuit_folds_is_gone)
{
    const Term_* a = atom("a");
    const Term_* b = atom("b");
    TermAigSimplifier simplify(&tm_);
    EXPECT_EQ(simplify(tm_.make_and(tm_.make_or(a, b), tm_.make_or(a, tm_.make_not(b)))), a);
    EXPECT_EQ(simplify(tm_.make_and(tm_.make_iff(a, b), tm_.make_not(tm_.make_iff(b, a)))),
              tm_.make_false());
    EXPECT_EQ(simplify(tm_.make_or(a, tm_.make_not(a))), tm_.make_true());
    EXPECT_EQ(simplify(tm_.make_or(a, b)), tm_.make_or(a, b));
    EXPECT_EQ(simplify(tm_.make_not(tm_.make_or(a, b))), tm_.make_not(tm_.make_or(a, b)));
}

TEST_F(TermAigSimplifierTest, atoms_are_inputs_and_depth_needs_no_stack)
{
    const DataType* bv = tm_.get_bv_type(4);
    const Term_* x = tm_.make_constant(tm_.make_symbol("x", bv));
    const Term_* less = tm_.make_bv_ult(x, tm_.make_bv_number(QNumber(3), 4));
    TermAigSimplifier simplify(&tm_);
    EXPECT_EQ(simplify(tm_.make_and(less, less)), less);
    const Term_* t = less;
    for (int i = 0; i < 200000; ++i) {
        t = tm_.make_not(tm_.make_and(t, atom("p" + std::to_string(i % 7))));
    }
    EXPECT_EQ(TermManager::get_type(simplify(t)), tm_.get_bool_type());
}

} // namespace
} // namespace tarq
