// The meaning of the bit-vector operators on machine words: the oracle for rules and
// simplifications.
#pragma once

#include "terms/symboltags.h"
#include "terms/termmanager.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

namespace tarq::test {

__extension__ typedef unsigned __int128 Word; ///< wide enough for every bit-vector of these tests

/// 2^width - 1.
template <class W>
W ones(size_t width)
{
    return width >= 8 * sizeof(W) ? static_cast<W>(~W(0)) : static_cast<W>((W(1) << width) - 1);
}

template <class W>
bool top_bit(W a, size_t width)
{
    return (a >> (width - 1)) & 1;
}

template <class W>
W negate(W a, size_t width)
{
    return (W(0) - a) & ones<W>(width);
}

/// Some number that depends on all the arguments.
inline uint64_t mix(uint64_t a, uint64_t b, uint64_t c)
{
    uint64_t h = a * 0x9e3779b97f4a7c15U + b;
    h = (h ^ (h >> 31)) * 0xbf58476d1ce4e5b9U + c;
    h = (h ^ (h >> 29)) * 0x94d049bb133111ebU;
    return h ^ (h >> 32);
}

/// What a bit-vector operator needs beside its operands.
struct BvOperator {
    SymbolTag::tag tag = SymbolTag::UNKNOWN;
    std::array<size_t, 2> n{};     // indices, in the order in which the constructor takes them
    std::array<size_t, 2> width{}; // of the operands
    size_t result_width = 0;       // 0 for a Boolean
    bool any_quotient = false;     // by zero: some function of the dividend, not the usual one
};

/// The operator at the root of `t`; tag UNKNOWN if there is none.
inline BvOperator bv_operator(const TermManager& tm, const Term_* t)
{
    BvOperator op;
    op.tag = tm.get_tag(t);
    if (op.tag < SymbolTag::BV_CONCAT || op.tag > SymbolTag::BV_SEXT) {
        op.tag = SymbolTag::UNKNOWN;
        return op;
    }
    for (size_t i = 0; i < t->arity() && i < 2; ++i) {
        tm.is_bv_type(TermManager::get_type(t->child(i)), &op.width[i]);
    }
    tm.is_bv_type(TermManager::get_type(t), &op.result_width);
    tm.is_bv_extract(t, &op.n[0], &op.n[1]);
    tm.is_bv_zext(t, &op.n[0]);
    tm.is_bv_sext(t, &op.n[0]);
    tm.is_bv_rol(t, &op.n[0]);
    tm.is_bv_ror(t, &op.n[0]);
    return op;
}

template <class W>
W divide(const BvOperator& op, W a, W b)
{
    const size_t w = op.width[0];
    const auto tag = op.tag;
    const bool quotient = tag == SymbolTag::BV_UDIV || tag == SymbolTag::BV_SDIV;
    if (b == 0 && op.any_quotient) {
        return static_cast<W>(mix(static_cast<uint64_t>(a), w, tag)) & ones<W>(w);
    }
    const bool is_signed = tag == SymbolTag::BV_SDIV || tag == SymbolTag::BV_SREM;
    const bool a_neg = is_signed && top_bit(a, w);
    const bool b_neg = is_signed && top_bit(b, w);
    const W x = a_neg ? negate(a, w) : a;
    const W y = b_neg ? negate(b, w) : b;
    W r = 0;
    if (quotient) {
        r = y == 0 ? ones<W>(w) : static_cast<W>(x / y);
        return a_neg != b_neg ? negate(r, w) : r;
    }
    r = y == 0 ? x : static_cast<W>(x % y);
    return a_neg ? negate(r, w) : r;
}

/// The result of the operator; predicates give 0 or 1. Operands are below 2^width.
template <class W>
W apply_bv(const BvOperator& op, W a, W b)
{
    const size_t w = op.width[0];
    const W mask = ones<W>(op.result_width);
    const W half = W(1) << (w - 1); // order of signed numbers is that of a + half
    switch (op.tag) {
    case SymbolTag::BV_CONCAT:
        return (a << op.width[1]) | b;
    case SymbolTag::BV_EXTRACT:
        return (a >> op.n[1]) & mask;
    case SymbolTag::BV_NOT:
        return ~a & mask;
    case SymbolTag::BV_AND:
        return a & b;
    case SymbolTag::BV_OR:
        return a | b;
    case SymbolTag::BV_XOR:
        return a ^ b;
    case SymbolTag::BV_ULT:
        return a < b;
    case SymbolTag::BV_ULE:
        return a <= b;
    case SymbolTag::BV_SLT:
        return (a ^ half) < (b ^ half);
    case SymbolTag::BV_SLE:
        return (a ^ half) <= (b ^ half);
    case SymbolTag::BV_COMP:
        return a == b;
    case SymbolTag::BV_NEG:
        return negate(a, w);
    case SymbolTag::BV_ADD:
        return (a + b) & mask;
    case SymbolTag::BV_SUB:
        return (a - b) & mask;
    case SymbolTag::BV_MUL:
        return (a * b) & mask;
    case SymbolTag::BV_UDIV:
    case SymbolTag::BV_SDIV:
    case SymbolTag::BV_UREM:
    case SymbolTag::BV_SREM:
        return divide(op, a, b);
    case SymbolTag::BV_LSHL:
        return b >= w ? W(0) : static_cast<W>(a << b) & mask;
    case SymbolTag::BV_LSHR:
        return b >= w ? W(0) : static_cast<W>(a >> b);
    case SymbolTag::BV_ASHR: {
        const bool neg = top_bit(a, w);
        const W x = neg ? ~a & mask : a;
        const W r = b >= w ? W(0) : static_cast<W>(x >> b);
        return neg ? ~r & mask : r;
    }
    case SymbolTag::BV_ROL:
    case SymbolTag::BV_ROR: {
        W r = a;
        for (size_t i = 0; i < op.n[0]; ++i) {
            r = op.tag == SymbolTag::BV_ROL ? static_cast<W>(((r << 1) & mask) | W(top_bit(r, w)))
                                            : static_cast<W>((r >> 1) | ((r & 1) << (w - 1)));
        }
        return r;
    }
    case SymbolTag::BV_ZEXT:
        return a;
    case SymbolTag::BV_SEXT:
        return top_bit(a, w) ? a | (mask ^ ones<W>(w)) : a;
    default:
        ADD_FAILURE() << "no bit-vector operator: " << op.tag;
        return 0;
    }
}

} // namespace tarq::test
