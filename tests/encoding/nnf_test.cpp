// Negation normal form, against truth tables.
#include "boolformulas.h"

#include "encoding/nnfgenerator.h"

#include <gtest/gtest.h>

#include <set>

namespace tarq::test {
namespace {

class NnfTest : public ::testing::Test {
protected:
    /// Whether negations stand on constants only and `iff` nowhere but, if allowed, below `and`s
    /// alone.
    bool is_nnf(const Term_* root, bool allow_top_iff)
    {
        std::set<std::pair<uint64_t, bool>> seen;
        std::vector<std::pair<const Term_*, bool>> stack{{root, true}};
        while (!stack.empty()) {
            auto [t, at_top] = stack.back();
            stack.pop_back();
            if (!seen.insert({t->get_id(), at_top}).second) {
                continue;
            }
            if (f.tm.is_iff(t) && !(allow_top_iff && at_top)) {
                return false;
            }
            if (f.tm.is_not(t) && t->child(0)->arity() > 0) {
                return false;
            }
            for (const Term_* c : t->children()) {
                stack.emplace_back(c, at_top && f.tm.is_and(t));
            }
        }
        return true;
    }

    TermManager tm;
    Formulas f{tm};
    NNFGenerator nnf{&tm};
    const Term_* p = f.constants[0];
    const Term_* q = f.constants[1];
    const Term_* r = f.constants[2];
};

TEST_F(NnfTest, pushes_negations_to_the_atoms)
{
    EXPECT_EQ(nnf(tm.make_not(tm.make_and(p, q))), tm.make_or(tm.make_not(p), tm.make_not(q)));
    EXPECT_EQ(nnf(tm.make_not(tm.make_not(p))), p);
}

TEST_F(NnfTest, partial_keeps_definitions_at_the_top_only)
{
    const Term_* definition = tm.make_iff(p, tm.make_or(q, r));
    EXPECT_EQ(nnf.apply_partial(tm.make_and(definition, r)), tm.make_and(definition, r));
    EXPECT_TRUE(is_nnf(nnf.apply_partial(tm.make_or(definition, r)), false));
    const Term_* no_definition = tm.make_iff(tm.make_not(p), tm.make_or(q, r));
    EXPECT_TRUE(is_nnf(nnf.apply_partial(no_definition), false));
}

TEST_F(NnfTest, a_definition_that_also_occurs_below_a_negation_keeps_its_meaning)
{
    const Term_* definition = tm.make_iff(p, tm.make_or(q, r));
    const Term_* t = tm.make_and(definition, tm.make_or(f.constants[3], tm.make_not(definition)));
    const Term_* result = nnf.apply_partial(t);
    EXPECT_EQ(f.table(result), f.table(t));
    EXPECT_TRUE(is_nnf(result, true));
}

TEST_F(NnfTest, equivalent_to_random_formulas)
{
    for (int round = 0; round < 3000; ++round) {
        const Term_* t = f.random(1 + round % 12);
        const Term_* full = nnf(t);
        ASSERT_EQ(f.table(full), f.table(t)) << t->to_str();
        ASSERT_TRUE(is_nnf(full, false)) << t->to_str();
        const Term_* partial = nnf.apply_partial(t);
        ASSERT_EQ(f.table(partial), f.table(t)) << t->to_str();
        ASSERT_TRUE(is_nnf(partial, true)) << t->to_str();
    }
}

TEST_F(NnfTest, deep_and_shared_formulas_stay_linear)
{
    const Term_* t = p;
    for (int i = 0; i < 100000; ++i) {
        const Term_* c = f.constants[static_cast<size_t>(i) % 6];
        t = i % 3 == 0 ? tm.make_iff(t, tm.make_not(c)) : tm.make_not(tm.make_and(t, c));
    }
    uint64_t expected = f.table(t);
    size_t before = tm.get_bank().size();
    EXPECT_EQ(f.table(nnf(t)), expected);
    EXPECT_LT(tm.get_bank().size() - before, 20u * 100000u);
}

} // namespace
} // namespace tarq::test
