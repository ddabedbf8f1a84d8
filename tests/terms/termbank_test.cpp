// The hash-consing table and its arena, through TermBank alone.
#include "base/bitvector.h"
#include "terms/signature.h"
#include "terms/termbank.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <utility>
#include <vector>

using namespace tarq;

namespace {

class TermBankTest : public ::testing::Test {
protected:
    TermBankTest() : signature(&types), bool_type(types.make_type("Bool")), u(types.make_type("U"))
    {
        signature.set_bool_type(bool_type);
        negation = function("not", 1, bool_type);
        signature.set_negation(negation);
    }
    const Symbol* function(const std::string& name, size_t arity, const DataType* type)
    {
        if (arity == 0) {
            return signature.add_symbol(name, type);
        }
        TypeVector parts(arity + 2, type);
        parts[0] = types.get_application_type();
        return signature.add_symbol(name, types.make_type(parts));
    }
    const Term_* make(const Symbol* s, TermVector args = {}) { return bank.make_term(s, args); }
    /// Collects all terms but `kept`, which hold all their subterms.
    void keep_only(const TermVector& kept)
    {
        BitVector seen(bank.get_next_id());
        for (const Term_* t : kept) {
            seen.set(t->get_id());
        }
        bank.remove_unseen(seen);
    }

    TypeUniverse types;
    Signature signature;
    TermBank bank;
    const DataType* bool_type;
    const DataType* u;
    const Symbol* negation;
};

} // namespace

// Random applications of every arity against an ordered map as second table.
TEST_F(TermBankTest, equal_applications_are_one_term_at_every_arity_and_size)
{
    std::vector<const Symbol*> symbols;
    for (size_t arity = 0; arity < 7; ++arity) {
        for (const DataType* type : {bool_type, u}) {
            symbols.push_back(function(std::to_string(symbols.size()), arity, type));
        }
    }
    std::mt19937 random(1);
    std::map<std::pair<const Symbol*, TermVector>, const Term_*> expected;
    TermVector pool = {make(symbols[0]), make(symbols[1])};
    for (int i = 0; i < 60000; ++i) {
        const Symbol* s = symbols[random() % symbols.size()];
        TermVector args;
        for (size_t k = 0; k < s->arity(); ++k) {
            args.push_back(pool[random() % (i % 2 == 0 ? pool.size() : 20) % pool.size()]);
        }
        const uint64_t next_id = bank.get_next_id();
        const Term_* t = make(s, args);
        auto [it, is_new] = expected.insert({{s, args}, t});
        if (is_new && s->arity() > 0) {
            ASSERT_EQ(t->get_id(), next_id);
            pool.push_back(t);
        }
        ASSERT_EQ(it->second, t);
        ASSERT_EQ(t->get_symbol(), s);
        ASSERT_TRUE(std::equal(args.begin(), args.end(), t->children().begin()));
    }
    std::set<const Term_*> all(bank.begin(), bank.end());
    EXPECT_EQ(all.size(), bank.size());
    for (const Term_* t : pool) {
        ASSERT_TRUE(all.contains(t));
    }
}

TEST_F(TermBankTest, age_is_the_order_of_ids_within_and_across_classes)
{
    const Symbol* f = function("f", 1, u);
    const Symbol* p = function("p", 1, bool_type);
    TermVector terms = {make(function("a", 0, u)), make(function("b", 0, bool_type))};
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 60; ++i) {
            terms.push_back(make(i % 3 == 0 ? f : i % 3 == 1 ? p : negation, {terms.back()}));
        }
        for (const Term_* a : terms) {
            for (const Term_* b : terms) {
                ASSERT_EQ(bank.is_older(a, b), a->get_id() < b->get_id());
            }
        }
        // once more over reused memory, where addresses are out of order
        terms.resize(32);
        keep_only(terms);
    }
    EXPECT_EQ(bank.get_class(terms[0]), TermClass::OTHER);
    EXPECT_EQ(bank.get_class(terms[1]), TermClass::BOOLEAN);
    EXPECT_EQ(bank.get_class(make(negation, {terms[1]})), TermClass::NEGATION);
}

TEST_F(TermBankTest, collection_keeps_what_is_seen_and_hands_out_ids_and_memory_again)
{
    const Symbol* f = function("f", 2, u);
    const Symbol* wide = function("wide", 9, u);
    TermVector terms = {make(function("a", 0, u)), make(function("b", 0, u))};
    std::mt19937 random(2);
    const auto grow = [&] {
        for (int i = 0; i < 200000; ++i) {
            const Term_* a = terms[random() % terms.size()];
            const Term_* b = terms[random() % terms.size()];
            terms.push_back(i % 10 == 0 ? make(wide, {a, b, a, a, b, a, a, b, b})
                                        : make(f, {a, b}));
        }
    };
    // many terms with one youngest child, half of which are dropped
    for (int i = 0; i < 100; ++i) {
        terms.push_back(make(f, {terms.back(), terms[0]}));
    }
    const Term_* hub = terms.back();
    for (size_t i = 1; i < 101; ++i) {
        terms.push_back(make(f, {terms[i], hub}));
        make(f, {hub, terms[i]});
    }
    grow();
    const size_t full = bank.cell_bytes();
    terms.resize(1000);
    std::set<uint64_t> ids;
    for (const Term_* t : terms) {
        ids.insert(t->get_id());
    }
    keep_only(terms);
    EXPECT_EQ(bank.size(), ids.size());
    EXPECT_EQ(bank.get_next_id(), *ids.rbegin() + 1);
    EXPECT_LT(bank.cell_bytes(), full / 2);
    for (const Term_* t : TermVector(terms)) {
        ASSERT_EQ(make(t->get_symbol(), TermVector(t->children().begin(), t->children().end())), t);
    }
    grow();
    EXPECT_LT(bank.cell_bytes(), full + full / 4);
    for (size_t i = 1000; i < terms.size(); ++i) {
        const Term_* t = terms[i];
        ASSERT_EQ(make(t->get_symbol(), TermVector(t->children().begin(), t->children().end())), t);
    }
    keep_only({});
    EXPECT_EQ(bank.size(), 0u);
    EXPECT_EQ(bank.begin(), bank.end());
    EXPECT_EQ(make(function("c", 0, u))->get_id(), 1u);
}

// More children than a pooled cell can hold.
TEST_F(TermBankTest, huge_arities_have_memory_of_their_own)
{
    const Symbol* huge = function("huge", 300000, u);
    const Term_* a = make(function("a", 0, u));
    TermVector args(300000, a);
    const Term_* t = make(huge, args);
    const size_t full = bank.cell_bytes();
    EXPECT_EQ(make(huge, args), t);
    const Term_* last = make(function("b", 0, u));
    args.back() = last;
    const Term_* t2 = make(huge, args);
    EXPECT_NE(t2, t);
    EXPECT_EQ(t2->child(299999), last);
    EXPECT_TRUE(bank.is_older(t, last) && bank.is_older(last, t2));
    keep_only({a, last});
    EXPECT_LT(bank.cell_bytes(), full / 2);
    EXPECT_EQ(make(huge, args)->child(299999), last);
}
