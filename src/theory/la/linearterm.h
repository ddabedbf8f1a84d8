// LinearTerm: an atom or a numeric term read as sum, relation and constant.
#pragma once

#include "theory/la/equation.h"

#include <cstdint>
#include <string>

namespace tarq::la {

/// The values fit `invert_op` and `flip_op`, which are tables by value.
enum class LinearOp : int8_t {
    NONE = -1, // a numeric term
    LESS = 0,
    LEQ = 1,
    EQUAL = 2,
    DISTINCT = 3,
    GEQ = 4,
    GREATER = 5,
};

/// The relation that holds when `op` does not.
LinearOp invert_op(LinearOp op);
/// The relation after multiplying both sides with -1.
LinearOp flip_op(LinearOp op);

/// sum op constant; for a numeric term sum - constant is its value.
struct LinearTerm {
    LinearOp op = LinearOp::NONE;
    Equation sum; // without row variable and constant
    QNumber constant;
    bool all_int = false; // whether all variables have type Int

    /// Of an empty sum: whether 0 op constant holds.
    bool is_true() const;
    bool is_false() const { return !is_true(); }
    /// Multiplies both sides with -1.
    void negate_sides();
    /// The relation of the negated atom, over the same sum and constant.
    LinearTerm inverted() const;
    std::string to_str() const;
};

} // namespace tarq::la
