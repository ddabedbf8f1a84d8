#include "theory/la/linearterm.h"

namespace tarq::la {

LinearOp invert_op(LinearOp op)
{
    switch (op) {
    case LinearOp::LESS:
        return LinearOp::GEQ;
    case LinearOp::LEQ:
        return LinearOp::GREATER;
    case LinearOp::EQUAL:
        return LinearOp::DISTINCT;
    case LinearOp::DISTINCT:
        return LinearOp::EQUAL;
    case LinearOp::GEQ:
        return LinearOp::LESS;
    case LinearOp::GREATER:
        return LinearOp::LEQ;
    case LinearOp::NONE:
        break;
    }
    return op;
}

LinearOp flip_op(LinearOp op)
{
    switch (op) {
    case LinearOp::LESS:
        return LinearOp::GREATER;
    case LinearOp::LEQ:
        return LinearOp::GEQ;
    case LinearOp::GEQ:
        return LinearOp::LEQ;
    case LinearOp::GREATER:
        return LinearOp::LESS;
    default:
        return op;
    }
}

bool LinearTerm::is_true() const
{
    TARQ_ASSERT(sum.empty());
    const int sign = constant.sign(); // of the right side; the left one is 0
    switch (op) {
    case LinearOp::LESS:
        return sign > 0;
    case LinearOp::LEQ:
        return sign >= 0;
    case LinearOp::EQUAL:
        return sign == 0;
    case LinearOp::DISTINCT:
        return sign != 0;
    case LinearOp::GEQ:
        return sign <= 0;
    case LinearOp::GREATER:
        return sign < 0;
    case LinearOp::NONE:
        break;
    }
    TARQ_UNREACHABLE(static_cast<int>(op));
}

void LinearTerm::negate_sides()
{
    sum.mult(QNumber(-1));
    constant.self_neg();
    op = flip_op(op);
}

LinearTerm LinearTerm::inverted() const
{
    LinearTerm result(*this);
    result.op = invert_op(op);
    return result;
}

std::string LinearTerm::to_str() const
{
    static const char* const names[] = {"", " < ", " <= ", " = ", " != ", " >= ", " > "};
    std::string text = sum.to_str();
    text.resize(text.size() - 4); // " = 0"
    return text + names[static_cast<int>(op) + 1] + constant.to_str();
}

} // namespace tarq::la
