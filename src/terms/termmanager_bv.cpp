// The constructors of the bit-vector families: the width is read off an argument's type.
#include "terms/termmanager.h"

#include "terms/termtext.h"

namespace tarq {

/// what  how messages call a bit-vector: " is not a bit vector" in binary operations, else
///       " is not a bit-vector"
size_t TermManager::bv_width(const Term_* t, const char* what) const
{
    size_t width;
    if (!is_bv_type(get_type(t), &width)) {
        throw make_error<error>("type error. term ", term_text(t), what);
    }
    return width;
}

namespace {

constexpr const char* NOT_BINARY = " is not a bit vector";
constexpr const char* NOT_UNARY = " is not a bit-vector";

} // namespace

const Term_* TermManager::make_bv_unary(SymbolTag::tag tag, const char* op_name, const Term_* a)
{
    const size_t width = bv_width(a, NOT_UNARY);
    return make_unary(make_family_symbol(tag, {{width}, {}}), op_name, a);
}

const Term_* TermManager::make_bv_binary(SymbolTag::tag tag, const char* op_name, const Term_* a,
                                         const Term_* b)
{
    const size_t width = bv_width(a, NOT_BINARY);
    bv_width(b, NOT_BINARY);
    return make_binary(make_family_symbol(tag, {{width}, {}}), op_name, a, b);
}

const Term_* TermManager::make_bv_indexed(SymbolTag::tag tag, const char* op_name, size_t amount,
                                          const Term_* t)
{
    const size_t width = bv_width(t, NOT_UNARY);
    return make_unary(make_family_symbol(tag, {{width, amount}, {}}), op_name, t);
}

const Term_* TermManager::make_bv_concat(const Term_* a, const Term_* b)
{
    const size_t width_a = bv_width(a, NOT_BINARY);
    const size_t width_b = bv_width(b, NOT_BINARY);
    return make_binary(make_family_symbol(SymbolTag::BV_CONCAT, {{width_a, width_b}, {}}),
                       "make_bv_concat", a, b);
}

const Term_* TermManager::make_bv_extract(size_t msb, size_t lsb, const Term_* t)
{
    const size_t width = bv_width(t, NOT_UNARY);
    if (msb < lsb) {
        throw make_error<error>("bv extraction of an empty range: [", msb, ":", lsb, "]");
    }
    if (msb >= width) {
        throw make_error<error>("range too large in bv extraction. arg has width ", width);
    }
    return make_unary(make_family_symbol(SymbolTag::BV_EXTRACT, {{msb, lsb, width}, {}}),
                      "make_bv_extract", t);
}

/// The same rotation by an amount that rules can calculate with.
static size_t small_rotation(const TermManager& tm, size_t amount, const Term_* t)
{
    size_t width = 0;
    const bool is_large = amount > TermManager::MAX_WIDTH;
    return is_large && tm.is_bv_type(TermManager::get_type(t), &width) && width > 0 ? amount % width
                                                                                    : amount;
}

const Term_* TermManager::make_bv_rotate_left(size_t amount, const Term_* t)
{
    amount = small_rotation(*this, amount, t);
    return make_bv_indexed(SymbolTag::BV_ROL, "make_bv_rotate_left", amount, t);
}

const Term_* TermManager::make_bv_rotate_right(size_t amount, const Term_* t)
{
    amount = small_rotation(*this, amount, t);
    return make_bv_indexed(SymbolTag::BV_ROR, "make_bv_rotate_right", amount, t);
}

const Term_* TermManager::make_bv_zero_extend(size_t amount, const Term_* t)
{
    return make_bv_indexed(SymbolTag::BV_ZEXT, "make_bv_zero_extend", amount, t);
}

const Term_* TermManager::make_bv_sign_extend(size_t amount, const Term_* t)
{
    return make_bv_indexed(SymbolTag::BV_SEXT, "make_bv_sign_extend", amount, t);
}

const Term_* TermManager::make_int_to_bv(size_t width, const Term_* t)
{
    return make_unary(make_family_symbol(SymbolTag::INT_TO_BV, {{width}, {}}), "make_int_to_bv", t);
}

} // namespace tarq
