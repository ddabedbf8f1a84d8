#include "results/adhoccalculator.h"

#include "terms/bvnumber.h"
#include "terms/symbolfamilies.h"

namespace tarq {

void AdHocCalculator::operator()(const Term_* t, const Term_* value, TermVector& args)
{
    switch (tm_->get_tag(t)) {
    case SymbolTag::AND:
    case SymbolTag::OR:
    case SymbolTag::NOT:
    case SymbolTag::IFF:
        solve_bool(t, value, args);
        break;
    case SymbolTag::ITE:
        solve_ite(t, value, args);
        break;
    case SymbolTag::BV_ULT:
    case SymbolTag::BV_ULE:
    case SymbolTag::BV_SLT:
    case SymbolTag::BV_SLE:
        solve_comparison(t, tm_->is_true(value), args);
        break;
    default:
        if (!solve_array(t, value, args) && !solve_unary(t, value, args)) {
            solve_binary(t, value, args);
        }
        break;
    }
}

void AdHocCalculator::solve_bool(const Term_* t, const Term_* value, TermVector& args)
{
    if (tm_->is_not(t)) {
        args[0] = tm_->make_not(value);
    } else if (tm_->is_iff(t)) {
        if (!args[0] && !args[1]) {
            args[0] = tm_->make_true();
        }
        const size_t open = args[0] ? 1 : 0;
        args[open] = tm_->make_iff(args[1 - open], value);
    } else {
        args[0] = args[1] = value;
    }
}

void AdHocCalculator::solve_ite(const Term_* t, const Term_* value, TermVector& args)
{
    const auto usable = [&](size_t i) {
        return !args[i] && TermManager::get_type(t->child(i)) == TermManager::get_type(t);
    };
    if (!args[0]) {
        args[0] = tm_->make_bool(usable(1));
    }
    const size_t branch = tm_->is_true(args[0]) ? 1 : 2;
    if (!usable(branch)) {
        throw make_error<error>("Error: term is not free, cannot compute model!");
    }
    args[branch] = value;
}

/// A word that differs from this one.
const Term_* AdHocCalculator::other_word(const Term_* word)
{
    size_t width = 0;
    tm_->is_bv_type(TermManager::get_type(word), &width);
    return tm_->make_bv_add(word, tm_->make_bv_number(1, width));
}

/// The word between zeros.
const Term_* AdHocCalculator::pad(const Term_* word, uint64_t above, uint64_t below)
{
    if (below > 0) {
        word = tm_->make_bv_concat(word, tm_->make_bv_number(0, below));
    }
    return above > 0 ? tm_->make_bv_concat(tm_->make_bv_number(0, above), word) : word;
}

/// The x with `factor * x = value`. The inverse of an odd number doubles its correct low bits in
/// each step.
const Term_* AdHocCalculator::divide_by_odd(const Term_* value, const Term_* factor)
{
    size_t width = 0;
    QNumber f;
    tm_->is_bv_number(factor, &f, &width);
    if (!BVNumber::test_bit(f, 0)) {
        throw make_error<error>("We cannot find a value for this atom!");
    }
    const Term_* inverse = factor; // right in the lowest three bits
    for (size_t bits = 3; bits < width; bits *= 2) {
        const Term_* two = tm_->make_bv_number(2, width);
        const Term_* correction = tm_->make_bv_sub(two, tm_->make_bv_mul(factor, inverse));
        inverse = tm_->make_bv_mul(inverse, correction);
    }
    return tm_->make_bv_mul(inverse, value);
}

/// Operators on one word, or on one free one. Returns false for the others.
bool AdHocCalculator::solve_unary(const Term_* t, const Term_* value, TermVector& args)
{
    SymbolTag::tag family;
    SymbolIndices indices;
    size_t width = 0;
    tm_->get_family_indices(t->get_symbol(), &family, &indices);
    tm_->is_bv_type(TermManager::get_type(t->child(0)), &width);
    switch (tm_->get_tag(t)) {
    case SymbolTag::BV_NOT:
        args[0] = tm_->make_bv_not(value);
        return true;
    case SymbolTag::BV_NEG:
        args[0] = tm_->make_bv_neg(value);
        return true;
    case SymbolTag::BV_ROL:
        args[0] = tm_->make_bv_rotate_right(indices.n[1], value);
        return true;
    case SymbolTag::BV_ROR:
        args[0] = tm_->make_bv_rotate_left(indices.n[1], value);
        return true;
    case SymbolTag::BV_EXTRACT:
        args[0] = pad(value, width - 1 - indices.n[0], indices.n[1]);
        return true;
    default:
        return false;
    }
}

/// Operators on two words: where both are free, the second becomes one under which the first can
/// still take every value.
void AdHocCalculator::solve_binary(const Term_* t, const Term_* value, TermVector& args)
{
    const SymbolTag::tag tag = tm_->get_tag(t);
    size_t width = 0;
    tm_->is_bv_type(TermManager::get_type(t->child(0)), &width);
    const bool both = !args[0] && !args[1];
    if (both) {
        const bool is_product =
            tag == SymbolTag::BV_MUL || tag == SymbolTag::BV_UDIV || tag == SymbolTag::BV_SDIV;
        args[1] = tm_->make_bv_number(is_product ? 1 : 0, width);
    }
    const size_t open = args[0] ? 1 : 0;
    const Term_* c = args[1 - open];
    switch (tag) {
    case SymbolTag::EQ:
        args[open] = tm_->is_true(value) ? c : other_word(c);
        return;
    case SymbolTag::BV_COMP:
        args[open] = value == tm_->make_bv_number(1, 1) ? c : other_word(c);
        return;
    case SymbolTag::BV_XOR:
        args[open] = tm_->make_bv_xor(value, c);
        return;
    case SymbolTag::BV_ADD:
        args[open] = tm_->make_bv_sub(value, c);
        return;
    case SymbolTag::BV_SUB:
        args[open] = open == 0 ? tm_->make_bv_add(value, c) : tm_->make_bv_sub(c, value);
        return;
    case SymbolTag::BV_MUL:
        args[open] = divide_by_odd(value, c);
        return;
    default:
        break;
    }
    if (!both) {
        throw make_error<error>("Error: term is not free, cannot compute model!");
    }
    switch (tag) {
    case SymbolTag::BV_AND:
    case SymbolTag::BV_OR:
        args[0] = args[1] = value;
        break;
    case SymbolTag::BV_CONCAT: {
        size_t low = 0;
        tm_->is_bv_type(TermManager::get_type(t->child(1)), &low);
        args[0] = tm_->make_bv_extract(low + width - 1, low, value);
        args[1] = tm_->make_bv_extract(low - 1, 0, value);
        break;
    }
    case SymbolTag::BV_UDIV:
    case SymbolTag::BV_SDIV:
    case SymbolTag::BV_LSHL:
    case SymbolTag::BV_LSHR:
    case SymbolTag::BV_ASHR:
        args[0] = value;
        break;
    default:
        throw make_error<error>("Error: term is not free, cannot compute model!");
    }
}

void AdHocCalculator::solve_comparison(const Term_* t, bool value, TermVector& args)
{
    const SymbolTag::tag tag = tm_->get_tag(t);
    const bool is_signed = tag == SymbolTag::BV_SLT || tag == SymbolTag::BV_SLE;
    const bool is_strict = tag == SymbolTag::BV_ULT || tag == SymbolTag::BV_SLT;
    size_t width = 0;
    tm_->is_bv_type(TermManager::get_type(t->child(0)), &width);
    const Term_* least = tm_->make_bv_number(is_signed ? BVNumber::pow2(width - 1) : 0, width);
    const Term_* one = tm_->make_bv_number(1, width);
    const Term_* largest = tm_->make_bv_sub(least, one);
    if (!args[0] && !args[1]) {
        args[0] = value ? least : largest;
        args[1] = value ? largest : least;
        return;
    }
    // Equal words make `<=` true and `<` false, neighbours the other way.
    const size_t open = args[0] ? 1 : 0;
    const Term_* c = args[1 - open];
    if (value != is_strict) {
        args[open] = c;
        return;
    }
    const bool below = (open == 0) == value;
    if (c == (below ? least : largest)) {
        throw make_error<error>("We cannot find a value for this atom!");
    }
    args[open] = below ? tm_->make_bv_sub(c, one) : tm_->make_bv_add(c, one);
}

/// Reads and writes. Returns false for other terms.
bool AdHocCalculator::solve_array(const Term_* t, const Term_* value, TermVector& args)
{
    if (tm_->is_array_read(t)) {
        args[0] = tm_->make_array_const(TermManager::get_type(t->child(0)), value);
        return true;
    }
    if (!tm_->is_array_write(t)) {
        return false;
    }
    if (!args[1]) {
        throw make_error<error>("Error: term is not free, cannot compute model!");
    }
    args[0] = value;
    args[2] = tm_->make_array_read(value, args[1]);
    return true;
}

} // namespace tarq
