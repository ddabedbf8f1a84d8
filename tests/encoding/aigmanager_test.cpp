// Building circuits: sharing, the local simplifications, text forms.
#include "aigsupport.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

namespace tarq {
namespace {

class AigManagerTest : public testing::Test {
protected:
    AigManager m_;
    Aig x_ = m_.aig_var(1);
    Aig y_ = m_.aig_var(2);
    Aig z_ = m_.aig_var(3);
};

TEST_F(AigManagerTest, equal_conjunctions_are_one_node)
{
    EXPECT_EQ(m_.aig_and(x_, y_), m_.aig_and(y_, x_));
    EXPECT_EQ(m_.aig_iff(x_, y_), ~m_.aig_iff(~y_, x_));
    EXPECT_EQ(m_.aig_var(2), y_);
}

TEST_F(AigManagerTest, one_level_rules)
{
    EXPECT_EQ(m_.aig_and(x_, x_), x_);
    EXPECT_EQ(m_.aig_and(x_, ~x_), m_.aig_false());
    EXPECT_EQ(m_.aig_and(x_, m_.aig_true()), x_);
    EXPECT_EQ(m_.aig_and(m_.aig_false(), x_), m_.aig_false());
}

TEST_F(AigManagerTest, two_level_rules)
{
    const Aig xy = m_.aig_and(x_, y_);
    const uint32_t before = m_.num_ids();
    EXPECT_EQ(m_.aig_and(xy, ~x_), m_.aig_false());
    EXPECT_EQ(m_.aig_and(y_, xy), xy);
    EXPECT_EQ(m_.num_ids(), before) << "no node is made on the way";
    EXPECT_EQ(m_.aig_and(xy, m_.aig_and(~y_, z_)), m_.aig_false());
    EXPECT_EQ(m_.aig_and(xy, ~m_.aig_and(~x_, z_)), xy);
    EXPECT_EQ(m_.aig_and(z_, ~m_.aig_and(~z_, x_)), z_);
    EXPECT_EQ(m_.aig_and(~xy, ~m_.aig_and(x_, ~y_)), ~x_);
    EXPECT_EQ(m_.aig_and(~m_.aig_and(y_, z_), ~m_.aig_and(~z_, y_)), ~y_);
    EXPECT_EQ(m_.aig_and(~xy, y_), m_.aig_and(~x_, y_));
    EXPECT_EQ(m_.aig_and(~xy, m_.aig_and(y_, z_)), m_.aig_and(~x_, m_.aig_and(y_, z_)));
}

TEST_F(AigManagerTest, a_variable_is_no_constant_whatever_its_number)
{
    for (int var : {0, -1, -5}) {
        const Aig v = m_.aig_var(var);
        EXPECT_TRUE(m_.is_var(v));
        EXPECT_EQ(m_.var(v), var);
        EXPECT_NE(v, m_.aig_true());
    }
    EXPECT_TRUE(m_.has_var(0));
    EXPECT_FALSE(m_.has_var(7));
}

/// Every expression over three variables of a few operations against its truth table: all rules in
/// all sign patterns come up.
TEST_F(AigManagerTest, simplification_keeps_the_function)
{
    const auto table = [&](Aig a) {
        unsigned t = 0;
        for (unsigned i = 0; i < 8; ++i) {
            t |= unsigned{evaluate(m_, a, i)} << i;
        }
        return t;
    };
    std::vector<std::pair<Aig, unsigned>> pool{{x_, table(x_)}, {y_, table(y_)}, {z_, table(z_)}};
    const auto check_pairs = [&](size_t n) {
        for (size_t i = 0; i < n; ++i) {
            for (size_t j = 0; j <= i; ++j) {
                for (int signs = 0; signs < 4; ++signs) {
                    const bool s = (signs & 1) != 0, t = (signs & 2) != 0;
                    const Aig a = m_.aig_and(pool[i].first ^ s, pool[j].first ^ t);
                    const unsigned expected = (s ? ~pool[i].second : pool[i].second) &
                                              (t ? ~pool[j].second : pool[j].second) & 0xff;
                    ASSERT_EQ(table(a), expected)
                        << m_.aig2str(pool[i].first ^ s) << " and " << m_.aig2str(pool[j].first ^ t)
                        << " give " << m_.aig2str(a);
                    const unsigned kept = a.is_negated() ? ~expected & 0xff : expected;
                    const std::pair<Aig, unsigned> entry(a.strip(), kept);
                    if (std::find(pool.begin(), pool.end(), entry) == pool.end()) {
                        pool.push_back(entry);
                    }
                }
            }
        }
    };
    check_pairs(3);
    check_pairs(pool.size());
    EXPECT_GT(pool.size(), 100u);
}

TEST_F(AigManagerTest, deep_chains_need_no_stack)
{
    Aig a = x_;
    for (int i = 2; i < 300000; ++i) {
        a = m_.aig_iff(a, m_.aig_var(i));
    }
    EXPECT_TRUE(evaluate(m_, a, 1)); // an even number of the variables is false
    EXPECT_TRUE(evaluate(m_, a, 2));
    EXPECT_FALSE(evaluate(m_, a, 3));
    EXPECT_EQ(m_.aig2str(a, 50).size(), 53u);
    std::ostringstream out;
    m_.aig2aiger(a, out);
    EXPECT_GT(out.str().size(), 1000000u);
}

TEST_F(AigManagerTest, text_shows_the_structure)
{
    EXPECT_EQ(m_.aig2str(~m_.aig_and(x_, ~y_)), "(not (and v1 (not v2)))");
    EXPECT_EQ(m_.aig2str(m_.aig_false()), "false");
}

TEST_F(AigManagerTest, aiger_of_leaves_and_of_a_gate)
{
    const auto aiger = [&](Aig a) {
        std::ostringstream out;
        m_.aig2aiger(a, out);
        return out.str();
    };
    EXPECT_EQ(aiger(x_), "aag 1 1 0 1 0\n2\n2\n");
    EXPECT_EQ(aiger(m_.aig_false()), "aag 0 0 0 1 0\n0\n");
    EXPECT_EQ(aiger(m_.aig_true()), "aag 0 0 0 1 0\n1\n");
    EXPECT_EQ(aiger(~m_.aig_and(x_, ~y_)), "aag 3 2 0 1 1\n2\n4\n7\n6 2 5\n");
}

/// Reads the ASCII form of one output and gives its value.
class AigerReader {
public:
    explicit AigerReader(const std::string& text)
    {
        std::istringstream in(text);
        std::string magic;
        unsigned latches = 0, outputs = 0, num_gates = 0, num_inputs = 0;
        in >> magic >> max_var_ >> num_inputs >> latches >> outputs >> num_gates;
        EXPECT_EQ(magic, "aag");
        EXPECT_EQ(latches, 0u);
        EXPECT_EQ(outputs, 1u);
        EXPECT_EQ(max_var_, num_inputs + num_gates);
        inputs_.resize(num_inputs);
        for (unsigned& i : inputs_) {
            in >> i;
        }
        in >> output_;
        gates_.resize(num_gates);
        for (Gate& g : gates_) {
            in >> g.out >> g.left >> g.right;
            EXPECT_EQ(g.out % 2, 0u);
            EXPECT_GT(g.out, std::max(g.left, g.right));
        }
        EXPECT_TRUE(in) << "short file";
    }
    bool value(const std::vector<bool>& inputs) const
    {
        std::vector<bool> v(2 * max_var_ + 2, false);
        const auto set = [&](unsigned lit, bool b) {
            v[lit] = b;
            v[lit ^ 1] = !b;
        };
        set(0, false);
        for (size_t i = 0; i < inputs_.size(); ++i) {
            set(inputs_[i], inputs[i]);
        }
        for (const Gate& g : gates_) {
            set(g.out, v[g.left] && v[g.right]);
        }
        return v[output_];
    }

private:
    struct Gate {
        unsigned out, left, right;
    };
    unsigned max_var_ = 0, output_ = 0;
    std::vector<unsigned> inputs_;
    std::vector<Gate> gates_;
};

TEST_F(AigManagerTest, aiger_simulates_like_the_circuit)
{
    std::mt19937 random(3);
    for (int round = 0; round < 1000; ++round) {
        AigManager m;
        const int num_vars = 1 + static_cast<int>(random() % 12);
        const Aig a = random_circuit(m, random, num_vars, static_cast<int>(random() % 60));
        std::ostringstream out;
        std::vector<int> order;
        m.aig2aiger(a, out, &order);
        const AigerReader reader(out.str());
        for (int i = 0; i < 20; ++i) {
            const uint64_t inputs = random();
            std::vector<bool> values;
            for (int var : order) {
                values.push_back((inputs >> (var - 1) & 1) != 0);
            }
            ASSERT_EQ(reader.value(values), evaluate(m, a, inputs)) << out.str();
        }
    }
}

} // namespace
} // namespace tarq
