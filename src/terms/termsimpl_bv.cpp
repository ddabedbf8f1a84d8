// Construction-time folding of bit-vector operators over numerals, and of the conversions between
// bit-vectors and integers. The algebra on symbolic arguments is the business of the rewrite rules.

#include "base/assertion.h"
#include "terms/bvnumber.h"
#include "terms/stdtermsimplifier.h"
#include "terms/termmanager.h"
#include "terms/termsimpl.h"

namespace tarq::termsimpl {

namespace {

using simpl_fun = StdTermSimplifier::simpl_fun;

/// An operator on words of one width. Gives false where the result is not fixed (zero divisor).
using word_fold = bool (*)(size_t width, const QNumber& a, const QNumber& b, QNumber* out);
using word_test = bool (*)(size_t width, const QNumber& a, const QNumber& b);

bool fold_add(size_t width, const QNumber& a, const QNumber& b, QNumber* out)
{
    *out = a + b;
    BVNumber::trim(*out, width);
    return true;
}

bool fold_sub(size_t width, const QNumber& a, const QNumber& b, QNumber* out)
{
    *out = a - b;
    BVNumber::trim(*out, width);
    return true;
}

bool fold_mul(size_t width, const QNumber& a, const QNumber& b, QNumber* out)
{
    *out = a * b;
    BVNumber::trim(*out, width);
    return true;
}

bool fold_neg(size_t width, const QNumber& a, const QNumber&, QNumber* out)
{
    *out = BVNumber::neg(width, a);
    return true;
}

bool fold_not(size_t width, const QNumber& a, const QNumber&, QNumber* out)
{
    *out = BVNumber::pow2(width) - QNumber(1) - a;
    return true;
}

bool fold_udiv(size_t, const QNumber& a, const QNumber& b, QNumber* out)
{
    if (b.is_zero()) {
        return false;
    }
    a.divmod(b, out, nullptr);
    return true;
}

bool fold_urem(size_t, const QNumber& a, const QNumber& b, QNumber* out)
{
    if (b.is_zero()) {
        return false;
    }
    a.divmod(b, nullptr, out);
    return true;
}

bool fold_sdiv(size_t width, const QNumber& a, const QNumber& b, QNumber* out)
{
    if (b.is_zero()) {
        return false;
    }
    BVNumber::sdiv(width, a, b, out, nullptr);
    return true;
}

bool fold_srem(size_t width, const QNumber& a, const QNumber& b, QNumber* out)
{
    if (b.is_zero()) {
        return false;
    }
    BVNumber::sdiv(width, a, b, nullptr, out);
    return true;
}

bool fold_and(size_t, const QNumber& a, const QNumber& b, QNumber* out)
{
    BVNumber::bit_and(a, b, out);
    return true;
}

bool fold_or(size_t, const QNumber& a, const QNumber& b, QNumber* out)
{
    BVNumber::bit_or(a, b, out);
    return true;
}

bool fold_xor(size_t, const QNumber& a, const QNumber& b, QNumber* out)
{
    BVNumber::bit_xor(a, b, out);
    return true;
}

bool fold_lshl(size_t width, const QNumber& a, const QNumber& b, QNumber* out)
{
    BVNumber::lshl(width, a, b, out);
    return true;
}

bool fold_lshr(size_t width, const QNumber& a, const QNumber& b, QNumber* out)
{
    BVNumber::lshr(width, a, b, out);
    return true;
}

bool fold_ashr(size_t width, const QNumber& a, const QNumber& b, QNumber* out)
{
    // floor division of the signed value by a power of two; beyond the width only the sign is left
    long count = 0;
    if (!b.to_int(&count) || count >= static_cast<long>(width)) {
        count = static_cast<long>(width);
    }
    *out =
        BVNumber::bit_right_shift(BVNumber::to_signed(a, width), static_cast<unsigned long>(count));
    BVNumber::trim(*out, width);
    return true;
}

bool test_ult(size_t, const QNumber& a, const QNumber& b)
{
    return a < b;
}
bool test_ule(size_t, const QNumber& a, const QNumber& b)
{
    return a <= b;
}
bool test_slt(size_t width, const QNumber& a, const QNumber& b)
{
    return BVNumber::to_signed(a, width) < BVNumber::to_signed(b, width);
}
bool test_sle(size_t width, const QNumber& a, const QNumber& b)
{
    return BVNumber::to_signed(a, width) <= BVNumber::to_signed(b, width);
}

/// Operators of one or two words with a word of the same width as result.
class WordSimpl : public simpl_fun {
public:
    explicit WordSimpl(word_fold fold) : fold_(fold) {}
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        QNumber a, b, result;
        size_t width = 0;
        if (tm->is_bv_number(args[0], &a, &width) &&
            (args.size() < 2 || tm->is_bv_number(args[1], &b)) && fold_(width, a, b, &result)) {
            return tm->make_bv_number(result, width);
        }
        return tm->do_make_term(symbol, args);
    }

private:
    word_fold fold_;
};

/// Comparisons with a Boolean result.
class CompareSimpl : public simpl_fun {
public:
    explicit CompareSimpl(word_test test) : test_(test) {}
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        QNumber a, b;
        size_t width = 0;
        if (tm->is_bv_number(args[0], &a, &width) && tm->is_bv_number(args[1], &b)) {
            return tm->make_bool(test_(width, a, b));
        }
        return tm->do_make_term(symbol, args);
    }

private:
    word_test test_;
};

class BVCompSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        QNumber a, b;
        if (tm->is_bv_number(args[0], &a) && tm->is_bv_number(args[1], &b)) {
            return tm->make_bv_number(QNumber(a == b ? 1 : 0), 1);
        }
        return tm->do_make_term(symbol, args);
    }
};

class BVConcatSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        QNumber a, b;
        size_t width_a = 0, width_b = 0;
        if (tm->is_bv_number(args[0], &a, &width_a) && tm->is_bv_number(args[1], &b, &width_b)) {
            BVNumber::bit_left_shift(a, width_b, &a);
            return tm->make_bv_number(a + b, width_a + width_b);
        }
        return tm->do_make_term(symbol, args);
    }
};

class BVSelectSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        QNumber a;
        size_t msb = 0, lsb = 0;
        if (tm->is_bv_number(args[0], &a)) {
            tm->is_bv_extract(symbol, &msb, &lsb);
            BVNumber::bit_right_shift(a, lsb, &a);
            BVNumber::trim(a, msb - lsb + 1);
            return tm->make_bv_number(a, msb - lsb + 1);
        }
        return tm->do_make_term(symbol, args);
    }
};

class BVZextSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        QNumber a;
        size_t width = 0, amount = 0;
        if (tm->is_bv_number(args[0], &a, &width)) {
            tm->is_bv_zext(symbol, &amount);
            return tm->make_bv_number(a, width + amount);
        }
        return tm->do_make_term(symbol, args);
    }
};

class BVSextSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        QNumber a;
        size_t width = 0, amount = 0;
        tm->is_bv_sext(symbol, &amount);
        if (amount == 0) {
            return args[0];
        }
        if (tm->is_bv_number(args[0], &a, &width)) {
            return tm->make_bv_number(
                BVNumber::twos_complement(BVNumber::to_signed(a, width), width + amount),
                width + amount);
        }
        return tm->do_make_term(symbol, args);
    }
};

/// Rotations, as a rotation to the left.
class RotateSimpl : public simpl_fun {
public:
    explicit RotateSimpl(bool left) : left_(left) {}
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        QNumber a;
        size_t width = 0, amount = 0;
        if (!tm->is_bv_number(args[0], &a, &width) || width == 0) {
            return tm->do_make_term(symbol, args);
        }
        if (left_) {
            tm->is_bv_rol(symbol, &amount);
        } else {
            tm->is_bv_ror(symbol, &amount);
        }
        amount %= width;
        const size_t left = left_ ? amount : (width - amount) % width;
        QNumber high;
        BVNumber::bit_left_shift(a, left, &high);
        BVNumber::trim(high, width);
        BVNumber::bit_right_shift(a, width - left, &a);
        return tm->make_bv_number(high + a, width);
    }

private:
    bool left_;
};

class IntToBvSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        size_t width = 0;
        tm->is_int_to_bv(symbol, &width);
        QNumber a;
        if (tm->is_number(args[0], &a)) {
            BVNumber::trim(a, width);
            return tm->make_bv_number(a, width);
        }
        size_t from = 0;
        if (tm->is_int_from_sbv(args[0], &from) && from <= width) {
            const Term_* x = args[0]->child(0);
            return from == width ? x : tm->make_bv_sign_extend(width - from, x);
        }
        if (tm->is_int_from_ubv(args[0], &from) && from <= width) {
            const Term_* x = args[0]->child(0);
            return from == width ? x : tm->make_bv_zero_extend(width - from, x);
        }
        return tm->do_make_term(symbol, args);
    }
};

class IntFromBvSimpl : public simpl_fun {
public:
    explicit IntFromBvSimpl(bool is_signed) : is_signed_(is_signed) {}
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        QNumber a;
        size_t width = 0;
        if (tm->is_bv_number(args[0], &a, &width)) {
            return tm->make_number(is_signed_ ? BVNumber::to_signed(a, width) : a);
        }
        return tm->do_make_term(symbol, args);
    }

private:
    bool is_signed_;
};

struct WordRow {
    SymbolTag::tag tag;
    word_fold fold;
};

constexpr WordRow WORD_FOLDS[] = {
    {SymbolTag::BV_ADD, fold_add},   {SymbolTag::BV_SUB, fold_sub},
    {SymbolTag::BV_MUL, fold_mul},   {SymbolTag::BV_NEG, fold_neg},
    {SymbolTag::BV_NOT, fold_not},   {SymbolTag::BV_UDIV, fold_udiv},
    {SymbolTag::BV_UREM, fold_urem}, {SymbolTag::BV_SDIV, fold_sdiv},
    {SymbolTag::BV_SREM, fold_srem}, {SymbolTag::BV_AND, fold_and},
    {SymbolTag::BV_OR, fold_or},     {SymbolTag::BV_XOR, fold_xor},
    {SymbolTag::BV_LSHL, fold_lshl}, {SymbolTag::BV_LSHR, fold_lshr},
    {SymbolTag::BV_ASHR, fold_ashr},
};

struct TestRow {
    SymbolTag::tag tag;
    word_test test;
};

constexpr TestRow WORD_TESTS[] = {
    {SymbolTag::BV_ULT, test_ult},
    {SymbolTag::BV_ULE, test_ule},
    {SymbolTag::BV_SLT, test_slt},
    {SymbolTag::BV_SLE, test_sle},
};

} // namespace

void register_bv_simplifications(StdTermSimplifier* s)
{
    for (const WordRow& row : WORD_FOLDS) {
        s->register_simplification(row.tag, std::make_unique<WordSimpl>(row.fold));
    }
    for (const TestRow& row : WORD_TESTS) {
        s->register_simplification(row.tag, std::make_unique<CompareSimpl>(row.test));
    }
    s->register_simplification(SymbolTag::BV_COMP, std::make_unique<BVCompSimpl>());
    s->register_simplification(SymbolTag::BV_CONCAT, std::make_unique<BVConcatSimpl>());
    s->register_simplification(SymbolTag::BV_EXTRACT, std::make_unique<BVSelectSimpl>());
    s->register_simplification(SymbolTag::BV_ZEXT, std::make_unique<BVZextSimpl>());
    s->register_simplification(SymbolTag::BV_SEXT, std::make_unique<BVSextSimpl>());
    s->register_simplification(SymbolTag::BV_ROL, std::make_unique<RotateSimpl>(true));
    s->register_simplification(SymbolTag::BV_ROR, std::make_unique<RotateSimpl>(false));
    s->register_simplification(SymbolTag::INT_TO_BV, std::make_unique<IntToBvSimpl>());
    s->register_simplification(SymbolTag::INT_FROM_UBV, std::make_unique<IntFromBvSimpl>(false));
    s->register_simplification(SymbolTag::INT_FROM_SBV, std::make_unique<IntFromBvSimpl>(true));
}

} // namespace tarq::termsimpl
