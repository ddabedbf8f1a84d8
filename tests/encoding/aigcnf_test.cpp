// Circuits to clauses: both conversions, and the covers that the second one is built on.
#include "aigsupport.h"

#include "encoding/aigcover.h"
#include "encoding/aigmanager_cnf.h"

#include <gtest/gtest.h>

#include <bit>

namespace tarq {
namespace {

uint16_t table_of(const AigCover::Cube& c)
{
    unsigned t = 0xffff;
    for (unsigned k = 0; k < 4; ++k) {
        if (c.has_positive(k)) {
            t &= AigCover::INPUTS[k];
        }
        if (c.has_negative(k)) {
            t &= ~unsigned{AigCover::INPUTS[k]};
        }
    }
    return static_cast<uint16_t>(t);
}

TEST(AigCoverTest, every_cover_is_its_function_and_irredundant)
{
    AigCover covers;
    size_t total = 0;
    for (unsigned f = 0; f < 0x10000; ++f) {
        const auto cover = covers(static_cast<uint16_t>(f));
        unsigned all = 0;
        for (const AigCover::Cube& c : cover) {
            ASSERT_EQ(c.positive & c.negative, 0) << f;
            ASSERT_NE(table_of(c), 0) << f;
            all |= table_of(c);
        }
        ASSERT_EQ(all, f);
        for (size_t left_out = 0; left_out < cover.size(); ++left_out) {
            unsigned rest = 0;
            for (size_t i = 0; i < cover.size(); ++i) {
                rest |= i == left_out ? 0 : table_of(cover[i]);
            }
            ASSERT_NE(rest, f) << "cube " << left_out << " of " << f << " adds nothing";
        }
        total += cover.size();
    }
    EXPECT_TRUE(covers(0).empty());
    EXPECT_EQ(covers(0xffff).size(), 1u);
    EXPECT_EQ(covers(0x6996).size(), 8u) << "the parity of four inputs";
    EXPECT_LT(total, 65536u * 5);
}

/// A satisfying extension of a partial assignment of ids, by plain search.
bool satisfiable(const std::vector<std::vector<int>>& clauses, std::vector<int8_t> value)
{
    for (bool changed = true; changed;) {
        changed = false;
        for (const std::vector<int>& c : clauses) {
            int open = 0, unit = 0;
            bool satisfied = false;
            for (int l : c) {
                const int v = value[static_cast<size_t>(std::abs(l))];
                if (v == 0) {
                    ++open;
                    unit = l;
                } else {
                    satisfied = satisfied || (v > 0) == (l > 0);
                }
            }
            if (satisfied || open > 1) {
                continue;
            }
            if (open == 0) {
                return false;
            }
            value[static_cast<size_t>(std::abs(unit))] = unit > 0 ? 1 : -1;
            changed = true;
        }
    }
    // the circuits are determined by their inputs, so propagation has decided
    for (const std::vector<int>& c : clauses) {
        for (int l : c) {
            EXPECT_NE(value[static_cast<size_t>(std::abs(l))], 0) << "open after propagation";
        }
    }
    return true;
}

class ConversionTest : public testing::TestWithParam<bool> {
protected:
    void convert(AigManager& m, Aig a, RecordingSink& sink)
    {
        if (GetParam()) {
            m.aig2cnf_ls(a, sink);
        } else {
            m.aig2cnf_tseitin(a, sink);
        }
    }

    /// Under each assignment of the inputs the clauses leave each of the labels one value, the
    /// right one.
    void check(const AigManager& m, Aig a, const RecordingSink& sink, int num_vars)
    {
        for (uint64_t inputs = 0; inputs < uint64_t{1} << num_vars; ++inputs) {
            std::vector<int8_t> value(m.num_ids(), 0);
            for (uint32_t id : sink.labels) {
                const Aig node(id, false);
                if (m.is_var(node)) {
                    value[id] = evaluate(m, node, inputs) ? 1 : -1;
                }
            }
            const bool expected = evaluate(m, a, inputs);
            const int8_t root = expected != a.is_negated() ? 1 : -1;
            std::vector<int8_t> wrong = value;
            value[a.id()] = root;
            ASSERT_TRUE(satisfiable(sink.clauses, value)) << m.aig2str(a) << " " << inputs;
            if (!m.is_var(a)) {
                wrong[a.id()] = static_cast<int8_t>(-root);
                ASSERT_FALSE(satisfiable(sink.clauses, wrong)) << m.aig2str(a) << " " << inputs;
            }
        }
    }
};

TEST_P(ConversionTest, clauses_define_the_root)
{
    std::mt19937 random(11);
    for (int round = 0; round < 300; ++round) {
        AigManager m;
        const Aig a = random_circuit(m, random, 5, 5 + static_cast<int>(random() % 60));
        if (m.is_constant(a)) {
            continue;
        }
        RecordingSink sink;
        convert(m, a, sink);
        ASSERT_TRUE(sink.has_label(a.id()));
        check(m, a, sink, 5);
    }
}

TEST_P(ConversionTest, later_roots_build_on_earlier_labels)
{
    std::mt19937 random(12);
    for (int round = 0; round < 100; ++round) {
        AigManager m;
        RecordingSink sink;
        std::vector<Aig> roots;
        for (int i = 0; i < 4; ++i) {
            const Aig fresh = random_circuit(m, random, 5, 20);
            const Aig a = roots.empty() ? fresh : m.aig_iff(fresh, roots[random() % roots.size()]);
            if (!m.is_constant(a)) {
                roots.push_back(a);
                convert(m, a, sink);
            }
        }
        for (Aig a : roots) {
            check(m, a, sink, 5);
        }
        const size_t before = sink.clauses.size();
        for (Aig a : roots) {
            convert(m, a, sink);
        }
        EXPECT_EQ(sink.clauses.size(), before) << "nothing is written twice";
    }
}

TEST_P(ConversionTest, small_functions_take_the_fewest_clauses)
{
    AigManager m;
    const Aig x = m.aig_var(1), y = m.aig_var(2), z = m.aig_var(3);
    const auto count = [&](Aig a) {
        RecordingSink sink;
        convert(m, a, sink);
        return sink.clauses.size();
    };
    EXPECT_EQ(count(x), 0u);
    EXPECT_EQ(count(m.aig_and(x, ~y)), 3u);
    EXPECT_EQ(count(m.aig_and(m.aig_and(x, y), z)), 4u);
    EXPECT_EQ(count(m.aig_xor(x, y)), 4u);
    EXPECT_EQ(count(m.aig_ite(x, y, z)), 4u);
}

/// A conjunction that many roots hold is not written out for each of them.
TEST_P(ConversionTest, shared_chains_are_converted_a_bounded_number_of_times)
{
    AigManager m;
    Aig chain = m.aig_var(1);
    for (int i = 2; i <= 200; ++i) {
        chain = m.aig_and(chain, m.aig_var(i));
    }
    RecordingSink sink;
    for (int i = 0; i < 200; ++i) {
        convert(m, m.aig_and(chain, m.aig_var(1000 + i)), sink);
    }
    EXPECT_LT(sink.clauses.size(), 2000u);
}

INSTANTIATE_TEST_SUITE_P(Both, ConversionTest, testing::Bool(),
                         [](const auto& info) { return info.param ? "cuts" : "definitions"; });

} // namespace
} // namespace tarq
