// The exported circuits: random terms through tarq_aig_encode and the AIGER text against machine
// arithmetic, tarq_aig_simplify against evaluation, and misuse.
#include <tarq.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

class AigApiTest : public ::testing::Test {
protected:
    AigApiTest()
    {
        tarq_config cfg = tarq_create_config();
        e = tarq_create_env(cfg);
        tarq_destroy_config(cfg);
        m = tarq_create_aig_manager(e);
    }
    ~AigApiTest() override
    {
        tarq_destroy_aig_manager(m);
        tarq_destroy_env(e);
    }

    tarq_term constant(const std::string& name, tarq_type type)
    {
        return tarq_make_constant(e, tarq_declare_function(e, name.c_str(), type));
    }
    std::vector<tarq_aig> encode(tarq_term t)
    {
        size_t n = 0;
        tarq_aig* bits = tarq_aig_encode(m, t, &n);
        EXPECT_NE(bits, nullptr) << tarq_last_error_message(e);
        std::vector<tarq_aig> out(bits, bits + (bits ? n : 0));
        tarq_free(bits);
        return out;
    }
    /// The numbers of the variables in the order of the inputs of the AIGER text.
    std::vector<int> inputs_of(tarq_aig a)
    {
        std::vector<int> order;
        std::map<uint64_t, bool> seen;
        const std::function<void(tarq_aig)> walk = [&](tarq_aig x) {
            if (seen[tarq_aig_id(x)]) {
                return;
            }
            seen[tarq_aig_id(x)] = true;
            if (tarq_aig_is_and(m, x)) {
                walk(tarq_aig_get_left(m, x));
                walk(tarq_aig_get_right(m, x));
            } else if (tarq_aig_is_var(m, x)) {
                order.push_back(tarq_aig_get_var(m, x));
            }
        };
        walk(a);
        return order;
    }
    /// The value of the circuit as its AIGER text has it.
    bool simulate(tarq_aig a, const std::map<int, bool>& values)
    {
        char* text = tarq_aig_to_aiger(m, a);
        std::istringstream in(text ? text : "");
        tarq_free(text);
        std::string magic;
        unsigned max_var = 0, num_inputs = 0, latches = 0, outputs = 0, num_gates = 0;
        in >> magic >> max_var >> num_inputs >> latches >> outputs >> num_gates;
        EXPECT_EQ(magic, "aag");
        std::vector<bool> v(2 * max_var + 2, false);
        const auto set = [&](unsigned literal, bool value) {
            v[literal] = value;
            v[literal ^ 1] = !value;
        };
        set(0, false);
        const std::vector<int> order = inputs_of(a);
        EXPECT_EQ(order.size(), num_inputs);
        unsigned literal = 0, output = 0, left = 0, right = 0;
        for (int var : order) {
            in >> literal;
            set(literal, values.at(var));
        }
        in >> output;
        for (unsigned i = 0; i < num_gates; ++i) {
            in >> literal >> left >> right;
            set(literal, v[left] && v[right]);
        }
        EXPECT_TRUE(in);
        return v[output];
    }

    tarq_env e;
    tarq_aig_manager m;
};

TEST_F(AigApiTest, connectives_fold_and_share)
{
    const tarq_aig x = tarq_aig_var(m, 1), y = tarq_aig_var(m, 2);
    const tarq_aig xy = tarq_aig_and(m, x, y);
    EXPECT_EQ(tarq_aig_and(m, y, x).repr, xy.repr);
    EXPECT_EQ(tarq_aig_and(m, xy, tarq_aig_not(m, x)).repr, tarq_aig_false(m).repr);
    EXPECT_EQ(tarq_aig_xor(m, x, x).repr, tarq_aig_false(m).repr);
    EXPECT_EQ(tarq_aig_ite(m, x, y, y).repr, y.repr);
    const tarq_aig both = tarq_aig_iff(m, x, y);
    EXPECT_TRUE(tarq_aig_is_negated(both));
    EXPECT_EQ(tarq_aig_strip(both).repr, tarq_aig_not(m, both).repr);
    EXPECT_EQ(tarq_aig_id(both), tarq_aig_id(tarq_aig_not(m, both)));
    EXPECT_TRUE(tarq_aig_is_and(m, both));
    EXPECT_EQ(tarq_aig_get_var(m, tarq_aig_not(m, y)), 2);
    EXPECT_EQ(tarq_aig_get_left(m, xy).repr, x.repr);
    EXPECT_EQ(tarq_aig_get_right(m, xy).repr, y.repr);
}

TEST_F(AigApiTest, encoded_bits_are_no_variables_of_the_client)
{
    const tarq_aig mine = tarq_aig_var(m, 2);
    for (tarq_aig bit : encode(constant("w", tarq_get_bv_type(e, 4)))) {
        EXPECT_NE(bit.repr, mine.repr);
    }
}

TEST_F(AigApiTest, misuse_is_reported)
{
    EXPECT_TRUE(TARQ_ERROR_AIG_MANAGER(tarq_create_aig_manager(tarq_env{nullptr})));
    tarq_destroy_aig_manager(tarq_aig_manager{nullptr});
    EXPECT_EQ(tarq_aig_var(tarq_aig_manager{nullptr}, 1).repr, 0u);
    EXPECT_EQ(tarq_aig_not(m, tarq_aig_null()).repr, 0u);
    EXPECT_STREQ(tarq_last_error_message(e), "bad aig handle");
    EXPECT_EQ(tarq_aig_and(m, tarq_aig_true(m), tarq_aig{1000000}).repr, 0u);
    EXPECT_EQ(tarq_aig_get_left(m, tarq_aig_true(m)).repr, 0u);
    EXPECT_STREQ(tarq_last_error_message(e), "the aig is no conjunction");
    size_t n = 7;
    EXPECT_EQ(tarq_aig_encode(m, constant("r", tarq_get_rational_type(e)), &n), nullptr);
    EXPECT_EQ(std::string(tarq_last_error_message(e)).rfind("not supported: ", 0), 0u);
    EXPECT_EQ(tarq_aig_encode(m, TARQ_MAKE_ERROR_TERM(), &n), nullptr);
    EXPECT_TRUE(TARQ_ERROR_TERM(tarq_aig_simplify(e, constant("s", tarq_get_rational_type(e)))));
    EXPECT_EQ(encode(constant("b", tarq_get_bool_type(e))).size(), 1u) << "still usable";
}

/// Random words with if-then-elses, each bit as an AIGER text.
TEST_F(AigApiTest, aiger_of_terms_simulates_like_the_term)
{
    constexpr unsigned w = 6;
    constexpr uint64_t mask = 63;
    using Value = std::function<uint64_t(const std::vector<uint64_t>&)>;
    std::mt19937_64 random(9);
    const tarq_type type = tarq_get_bv_type(e, w);
    for (int round = 0; round < 200; ++round) {
        std::vector<std::pair<tarq_term, Value>> pool;
        std::vector<std::vector<tarq_aig>> bits;
        for (size_t i = 0; i < 3; ++i) {
            const tarq_term t = constant("x" + std::to_string(i), type);
            pool.emplace_back(t, [i](const std::vector<uint64_t>& in) { return in[i]; });
            bits.push_back(encode(t));
        }
        for (int i = 0; i < 6; ++i) {
            const auto a = pool[random() % pool.size()];
            const auto b = pool[random() % pool.size()];
            const auto binary = [&](tarq_term t, std::function<uint64_t(uint64_t, uint64_t)> f) {
                pool.emplace_back(t, [a, b, f](const std::vector<uint64_t>& in) {
                    return f(a.second(in), b.second(in)) & mask;
                });
            };
            switch (random() % 6) {
            case 0:
                binary(tarq_make_bv_plus(e, a.first, b.first), std::plus<uint64_t>());
                break;
            case 1:
                binary(tarq_make_bv_times(e, a.first, b.first), std::multiplies<uint64_t>());
                break;
            case 2:
                binary(tarq_make_bv_xor(e, a.first, b.first), std::bit_xor<uint64_t>());
                break;
            case 3:
                binary(tarq_make_bv_udiv(e, a.first, b.first),
                       [](uint64_t x, uint64_t y) { return y == 0 ? mask : x / y; });
                break;
            case 4:
                binary(tarq_make_bv_lshr(e, a.first, b.first),
                       [](uint64_t x, uint64_t y) { return y >= w ? 0 : x >> y; });
                break;
            default:
                binary(
                    tarq_make_term_ite(e, tarq_make_bv_ult(e, a.first, b.first), a.first, b.first),
                    [](uint64_t x, uint64_t y) { return x < y ? x : y; });
            }
        }
        const auto& [term, value] = pool.back();
        const std::vector<tarq_aig> word = encode(term);
        ASSERT_EQ(word.size(), w);
        for (int sample = 0; sample < 3; ++sample) {
            std::vector<uint64_t> in;
            std::map<int, bool> assignment;
            for (const auto& input : bits) {
                in.push_back(random() & mask);
                for (unsigned i = 0; i < w; ++i) {
                    assignment[tarq_aig_get_var(m, input[i])] = (in.back() >> i & 1) != 0;
                }
            }
            const uint64_t expected = value(in);
            for (unsigned i = 0; i < w; ++i) {
                ASSERT_EQ(simulate(word[i], assignment), (expected >> i & 1) != 0)
                    << "round " << round << " bit " << i;
            }
        }
    }
}

TEST_F(AigApiTest, simplified_terms_are_equivalent)
{
    std::mt19937 random(4);
    std::vector<tarq_term> atoms;
    for (int i = 0; i < 4; ++i) {
        atoms.push_back(constant("a" + std::to_string(i), tarq_get_bool_type(e)));
    }
    for (int round = 0; round < 150; ++round) {
        std::vector<tarq_term> pool = atoms;
        const auto pick = [&] {
            const tarq_term t = pool[random() % pool.size()];
            return random() % 2 == 0 ? t : tarq_make_not(e, t);
        };
        for (int i = 0; i < 12; ++i) {
            const tarq_term x = pick(), y = pick();
            pool.push_back(random() % 3 == 0   ? tarq_make_iff(e, x, y)
                           : random() % 2 == 0 ? tarq_make_and(e, x, y)
                                               : tarq_make_or(e, x, y));
        }
        const tarq_term t = pick();
        const tarq_term s = tarq_aig_simplify(e, t);
        ASSERT_FALSE(TARQ_ERROR_TERM(s));
        ASSERT_EQ(tarq_push_backtrack_point(e), 0);
        tarq_assert_formula(e, tarq_make_not(e, tarq_make_iff(e, s, t)));
        ASSERT_EQ(tarq_solve(e), TARQ_UNSAT);
        tarq_pop_backtrack_point(e);
    }
}

} // namespace
