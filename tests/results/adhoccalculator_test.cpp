// What the calculator finds makes the operator take the wanted value, for all operators and values of
// small widths, wherever the free coder says that there is a value.
#include "results/adhoccalculator.h"

#include "encoding/freecoder.h"
#include "terms/stdtermsimplifier.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tarq::test {
namespace {

class CalculatorTest : public ::testing::Test {
protected:
    CalculatorTest() : simplifier(&tm)
    {
        tm.set_simplifier(&simplifier);
        tests.push_back(freecoding::make_bool_test());
        tests.push_back(freecoding::make_bv_test());
        tests.push_back(freecoding::make_array_test());
    }

    const Term_* constant(const std::string& name, const DataType* type)
    {
        return tm.make_constant(tm.make_symbol(name, type));
    }

    TermVector values(const DataType* type)
    {
        size_t width = 0;
        if (type == tm.get_bool_type()) {
            return {tm.make_true(), tm.make_false()};
        }
        TermVector out;
        tm.is_bv_type(type, &width);
        for (long n = 0; n < 1L << width; ++n) {
            out.push_back(tm.make_bv_number(n, width));
        }
        return out;
    }

    bool has_every_value(const Term_* t, unsigned free) const
    {
        return std::any_of(tests.begin(), tests.end(), [&](const auto& test) {
            return (*test)(const_cast<TermManager*>(&tm), t, free);
        });
    }

    /// Tries all sets of free arguments and all values of the others on an operator.
    /// make  builds the application without simplification
    void try_all(const std::vector<const DataType*>& types,
                 const std::function<const Term_*(const TermVector&)>& make)
    {
        TermVector args;
        for (size_t i = 0; i < types.size(); ++i) {
            args.push_back(
                constant("c" + std::to_string(args.size()) + types[i]->to_str(), types[i]));
        }
        try_values(args, args, 0, 0, make);
    }

    /// Argument `i` and those after it are still to be made free or fixed.
    void try_values(TermVector args, const TermVector& constants, size_t i, unsigned free,
                    const std::function<const Term_*(const TermVector&)>& make)
    {
        if (i < args.size()) {
            try_values(args, constants, i + 1, free | 1u << i, make);
            for (const Term_* v : values(TermManager::get_type(args[i]))) {
                args[i] = v;
                try_values(args, constants, i + 1, free, make);
            }
            return;
        }
        tm.set_simplify(false);
        const Term_* t = make(args);
        tm.set_simplify(true);
        if (free == 0 || !has_every_value(t, free)) {
            return;
        }
        for (const Term_* wanted : values(TermManager::get_type(t))) {
            TermVector found;
            for (size_t k = 0; k < args.size(); ++k) {
                found.push_back(free >> k & 1 ? nullptr : args[k]);
            }
            AdHocCalculator calculate(&tm);
            calculate(t, wanted, found);
            for (size_t k = 0; k < args.size(); ++k) {
                if (!found[k]) {
                    found[k] = values(TermManager::get_type(args[k])).back(); // does not matter
                }
            }
            ASSERT_EQ(make(found), wanted) << t->to_str() << " to be " << wanted->to_str();
            ++solved;
        }
    }

    TermManager tm;
    StdTermSimplifier simplifier;
    std::vector<std::unique_ptr<FreeCoder::test_fun>> tests;
    size_t solved = 0;
};

TEST_F(CalculatorTest, words)
{
    using Binary = const Term_* (TermManager::*)(const Term_*, const Term_*);
    const Binary operators[] = {
        &TermManager::make_bv_and,  &TermManager::make_bv_or,   &TermManager::make_bv_xor,
        &TermManager::make_bv_add,  &TermManager::make_bv_sub,  &TermManager::make_bv_mul,
        &TermManager::make_bv_udiv, &TermManager::make_bv_sdiv, &TermManager::make_bv_lshl,
        &TermManager::make_bv_lshr, &TermManager::make_bv_ashr, &TermManager::make_bv_comp,
        &TermManager::make_bv_ult,  &TermManager::make_bv_ule,  &TermManager::make_bv_slt,
        &TermManager::make_bv_sle,  &TermManager::make_equal,   &TermManager::make_bv_concat};
    for (size_t width = 1; width <= 4; ++width) {
        const DataType* word = tm.get_bv_type(width);
        for (Binary op : operators) {
            const size_t before = solved;
            try_all({word, word}, [&](const TermVector& a) { return (tm.*op)(a[0], a[1]); });
            EXPECT_GT(solved, before);
        }
        try_all({word}, [&](const TermVector& a) { return tm.make_bv_not(a[0]); });
        try_all({word}, [&](const TermVector& a) { return tm.make_bv_neg(a[0]); });
        for (size_t n = 0; n < width; ++n) {
            try_all({word}, [&](const TermVector& a) { return tm.make_bv_rotate_left(n, a[0]); });
            try_all({word}, [&](const TermVector& a) { return tm.make_bv_rotate_right(n, a[0]); });
            for (size_t low = 0; low <= n; ++low) {
                try_all({word},
                        [&](const TermVector& a) { return tm.make_bv_extract(n, low, a[0]); });
            }
        }
    }
}

TEST_F(CalculatorTest, connectives_and_conditionals)
{
    const DataType* truth = tm.get_bool_type();
    const DataType* word = tm.get_bv_type(2);
    try_all({truth}, [&](const TermVector& a) { return tm.make_not(a[0]); });
    try_all({truth, truth}, [&](const TermVector& a) { return tm.make_and(a[0], a[1]); });
    try_all({truth, truth}, [&](const TermVector& a) { return tm.make_or(a[0], a[1]); });
    try_all({truth, truth}, [&](const TermVector& a) { return tm.make_iff(a[0], a[1]); });
    const size_t before = solved;
    try_all({truth, word, word},
            [&](const TermVector& a) { return tm.make_term_ite(a[0], a[1], a[2]); });
    EXPECT_GT(solved, before + 40);
}

TEST_F(CalculatorTest, arrays)
{
    const DataType* word = tm.get_bv_type(2);
    const Term_* a = constant("a", tm.get_array_type(word, word));
    const Term_* i = tm.make_bv_number(1, 2);
    const Term_* v = tm.make_bv_number(2, 2);
    tm.set_simplify(true);
    TermVector args{nullptr, i};
    AdHocCalculator calculate(&tm);
    calculate(tm.make_array_read(a, i), v, args);
    EXPECT_EQ(tm.make_array_read(args[0], i), v);
    const Term_* base = tm.make_array_const(TermManager::get_type(a), tm.make_bv_number(0, 2));
    const Term_* wanted = tm.make_array_write(base, i, v);
    args = {nullptr, i, nullptr};
    calculate(tm.make_array_write(a, i, constant("x", word)), wanted, args);
    EXPECT_EQ(tm.make_array_write(args[0], args[1], args[2]), wanted);
}

TEST_F(CalculatorTest, what_has_no_solution_is_refused)
{
    const Term_* x = constant("x", tm.get_bv_type(3));
    const Term_* zero = tm.make_bv_number(0, 3);
    AdHocCalculator calculate(&tm);
    const Term_* product = tm.make_bv_mul(tm.make_bv_number(2, 3), x);
    TermVector args{tm.make_bv_number(2, 3), nullptr};
    EXPECT_THROW(calculate(product, tm.make_bv_number(1, 3), args), AdHocCalculator::error);
    args = {nullptr, zero};
    tm.set_simplify(false);
    EXPECT_THROW(calculate(tm.make_bv_ult(x, zero), tm.make_true(), args), AdHocCalculator::error);
}

} // namespace
} // namespace tarq::test
