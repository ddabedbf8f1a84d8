// Construction-time folding of floating-point operators over numbers. IEEEFloat computes; this file
// decides what folds.

#include "base/assertion.h"
#include "terms/bvnumber.h"
#include "terms/ieeefloat.h"
#include "terms/stdtermsimplifier.h"
#include "terms/termmanager.h"
#include "terms/termsimpl.h"

namespace tarq::termsimpl {

namespace {

using simpl_fun = StdTermSimplifier::simpl_fun;
using rounding_mode = IEEEFloat::rounding_mode;

/// Whether `t` is a number; then `out` is its value, carrying the mode.
bool read_float(TermManager* tm, const Term_* t, IEEEFloat* out,
                rounding_mode mode = IEEEFloat::NEAREST_EVEN)
{
    QNumber bits;
    size_t exp = 0, mant = 0;
    if (!tm->is_fp_number(t, &bits, &exp, &mant)) {
        return false;
    }
    *out = IEEEFloat::from_bits(bits, {exp, mant}, mode);
    return true;
}

bool read_mode(TermManager* tm, const Term_* t, rounding_mode* out)
{
    int mode = 0;
    if (!tm->is_fprounding(t, &mode)) {
        return false;
    }
    *out = static_cast<rounding_mode>(mode);
    return true;
}

const Term_* make_float(TermManager* tm, const IEEEFloat& x)
{
    const IEEEFloat::format f = x.get_format();
    return tm->make_fp_bits_number(x.get_bits(), f.exponent_width, f.significand_width);
}

/// The value of an arithmetic operation, or null if anything is not constant.
/// b  null for the operations with one operand
const Term_* fp_eval_bin_op(SymbolTag::tag tag, TermManager* tm, const Term_* rounding,
                            const Term_* a, const Term_* b)
{
    rounding_mode mode;
    IEEEFloat x, y;
    if (!read_mode(tm, rounding, &mode) || !read_float(tm, a, &x, mode) ||
        (b && !read_float(tm, b, &y, mode))) {
        return nullptr;
    }
    switch (tag) {
    case SymbolTag::FP_ADD:
        x += y;
        break;
    case SymbolTag::FP_SUB:
        x -= y;
        break;
    case SymbolTag::FP_MUL:
        x *= y;
        break;
    case SymbolTag::FP_DIV:
        x /= y;
        break;
    case SymbolTag::FP_SQRT:
        x.sqrt();
        break;
    case SymbolTag::FP_ROUND_TO_INT:
        x = IEEEFloat::round(x);
        break;
    default:
        TARQ_UNREACHABLE(tag);
    }
    return make_float(tm, x);
}

/// What all functions of this file share: a result or, with null, the application as it stands. A
/// value beyond the limits of IEEEFloat is no fault of the term, which then stays.
class FpSimpl : public simpl_fun {
public:
    const Term_* operator()(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        const Term_* result = nullptr;
        try {
            result = fold(tm, symbol, args);
        } catch (const IEEEFloat::error&) {
        }
        return result ? result : tm->do_make_term(symbol, args);
    }

private:
    virtual const Term_* fold(TermManager* tm, const Symbol* symbol, TermArgs args) = 0;
};

/// Rounded arithmetic.
class FpArithSimpl : public FpSimpl {
public:
    FpArithSimpl(SymbolTag::tag tag, bool commutative) : tag_(tag), commutative_(commutative) {}

private:
    const Term_* fold(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        const Term_* b = args.size() > 2 ? args[2] : nullptr;
        if (const Term_* value = fp_eval_bin_op(tag_, tm, args[0], args[1], b)) {
            return value;
        }
        if (!commutative_ || !tm->get_bank().is_older(args[2], args[1])) {
            return nullptr;
        }
        const Term_* sorted[] = {args[0], args[2], args[1]};
        return tm->do_make_term(symbol, sorted);
    }

    SymbolTag::tag tag_;
    bool commutative_;
};

/// Negation and absolute value. NaN has no sign to change: IEEEFloat leaves it as it is.
class FpSignSimpl : public FpSimpl {
public:
    explicit FpSignSimpl(bool negate) : negate_(negate) {}

private:
    const Term_* fold(TermManager* tm, const Symbol*, TermArgs args) override
    {
        IEEEFloat x;
        if (!read_float(tm, args[0], &x)) {
            return nullptr;
        }
        x.set_sign(negate_ && !x.get_sign());
        return make_float(tm, x);
    }

    bool negate_;
};

/// Minimum and maximum.
class FpMinMaxSimpl : public FpSimpl {
public:
    explicit FpMinMaxSimpl(bool is_min) : is_min_(is_min) {}

private:
    const Term_* fold(TermManager* tm, const Symbol*, TermArgs args) override
    {
        IEEEFloat x, y;
        if (!read_float(tm, args[0], &x) || !read_float(tm, args[1], &y)) {
            return nullptr;
        }
        if (x.is_nan()) {
            return args[1];
        }
        if (y.is_nan() || args[0] == args[1]) {
            return args[0];
        }
        // which of +0 and -0 it is, an option of the theory says: not known here
        if (x.is_zero() && y.is_zero()) {
            return nullptr;
        }
        return (x < y) == is_min_ ? args[0] : args[1];
    }

    bool is_min_;
};

using float_test = bool (*)(const IEEEFloat&);
using float_relation = bool (*)(const IEEEFloat&, const IEEEFloat&);

/// Classification. NaN is neither negative nor positive, whatever its sign bit.
class FpClassSimpl : public FpSimpl {
public:
    explicit FpClassSimpl(float_test test) : test_(test) {}

private:
    const Term_* fold(TermManager* tm, const Symbol*, TermArgs args) override
    {
        IEEEFloat x;
        return read_float(tm, args[0], &x) ? tm->make_bool(test_(x)) : nullptr;
    }

    float_test test_;
};

/// The IEEE comparisons.
class FpCompareSimpl : public FpSimpl {
public:
    explicit FpCompareSimpl(float_relation relation) : relation_(relation) {}

private:
    const Term_* fold(TermManager* tm, const Symbol*, TermArgs args) override
    {
        IEEEFloat x, y;
        return read_float(tm, args[0], &x) && read_float(tm, args[1], &y)
                   ? tm->make_bool(relation_(x, y))
                   : nullptr;
    }

    float_relation relation_;
};

class FpCastSimpl : public FpSimpl {
    const Term_* fold(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        rounding_mode mode;
        IEEEFloat x;
        if (!read_mode(tm, args[0], &mode) || !read_float(tm, args[1], &x, mode)) {
            return nullptr;
        }
        size_t exp = 0, mant = 0;
        tm->is_fp_cast(symbol, nullptr, nullptr, &exp, &mant);
        x.set_format({exp, mant});
        return make_float(tm, x);
    }
};

class FpFromBvSimpl : public FpSimpl {
public:
    explicit FpFromBvSimpl(bool is_signed) : is_signed_(is_signed) {}

private:
    const Term_* fold(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        rounding_mode mode;
        QNumber value;
        size_t width = 0, exp = 0, mant = 0;
        if (!read_mode(tm, args[0], &mode) || !tm->is_bv_number(args[1], &value, &width)) {
            return nullptr;
        }
        if (is_signed_) {
            value = BVNumber::to_signed(value, width);
            tm->is_fp_from_sbv(symbol, nullptr, &exp, &mant);
        } else {
            tm->is_fp_from_ubv(symbol, nullptr, &exp, &mant);
        }
        return make_float(tm, IEEEFloat::from_number(value, {exp, mant}, mode));
    }

    bool is_signed_;
};

class FpToBvSimpl : public FpSimpl {
    const Term_* fold(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        rounding_mode mode;
        IEEEFloat x;
        size_t width = 0;
        tm->is_fp_to_bv(symbol, nullptr, nullptr, &width);
        // what has no integer of that width gets a value from elsewhere
        if (width == 0 || !read_mode(tm, args[0], &mode) || !read_float(tm, args[1], &x, mode) ||
            x.is_nan() || x.is_inf()) {
            return nullptr;
        }
        const QNumber integer = x.to_integer(0);
        const QNumber limit = BVNumber::pow2(width - 1);
        if (integer < -limit || !(integer < limit)) {
            return nullptr;
        }
        return tm->make_bv_number(BVNumber::twos_complement(integer, width), width);
    }
};

class FpAsIEEEBvSimpl : public FpSimpl {
    const Term_* fold(TermManager* tm, const Symbol*, TermArgs args) override
    {
        QNumber bits;
        size_t exp = 0, mant = 0;
        return tm->is_fp_number(args[0], &bits, &exp, &mant)
                   ? tm->make_bv_number(bits, exp + mant + 1)
                   : nullptr;
    }
};

class FpFromIEEEBvSimpl : public FpSimpl {
    const Term_* fold(TermManager* tm, const Symbol* symbol, TermArgs args) override
    {
        QNumber bits;
        size_t exp = 0, mant = 0;
        if (!tm->is_bv_number(args[0], &bits)) {
            return nullptr;
        }
        tm->is_fp_from_ieeebv(symbol, &exp, &mant);
        return tm->make_fp_bits_number(bits, exp, mant);
    }
};

struct ArithRow {
    SymbolTag::tag tag;
    bool commutative;
};

constexpr ArithRow ARITH[] = {
    {SymbolTag::FP_ADD, true},  {SymbolTag::FP_MUL, true},   {SymbolTag::FP_SUB, false},
    {SymbolTag::FP_DIV, false}, {SymbolTag::FP_SQRT, false}, {SymbolTag::FP_ROUND_TO_INT, false},
};

struct TestRow {
    SymbolTag::tag tag;
    float_test test;
};

constexpr TestRow TESTS[] = {
    {SymbolTag::FP_ISNAN, [](const IEEEFloat& x) { return x.is_nan(); }},
    {SymbolTag::FP_ISINF, [](const IEEEFloat& x) { return x.is_inf(); }},
    {SymbolTag::FP_ISZERO, [](const IEEEFloat& x) { return x.is_zero(); }},
    {SymbolTag::FP_ISSUBNORMAL, [](const IEEEFloat& x) { return x.is_subnormal(); }},
    {SymbolTag::FP_ISNORMAL, [](const IEEEFloat& x) { return x.is_normal(); }},
    {SymbolTag::FP_ISNEG, [](const IEEEFloat& x) { return !x.is_nan() && x.get_sign(); }},
    {SymbolTag::FP_ISPOS, [](const IEEEFloat& x) { return !x.is_nan() && !x.get_sign(); }},
};

struct RelationRow {
    SymbolTag::tag tag;
    float_relation relation;
};

constexpr RelationRow RELATIONS[] = {
    {SymbolTag::FP_EQ, [](const IEEEFloat& x, const IEEEFloat& y) { return x == y; }},
    {SymbolTag::FP_LT, [](const IEEEFloat& x, const IEEEFloat& y) { return x < y; }},
    {SymbolTag::FP_LE, [](const IEEEFloat& x, const IEEEFloat& y) { return x <= y; }},
};

} // namespace

void register_fp_simplifications(StdTermSimplifier* s)
{
    for (const ArithRow& row : ARITH) {
        s->register_simplification(row.tag,
                                   std::make_unique<FpArithSimpl>(row.tag, row.commutative));
    }
    for (const TestRow& row : TESTS) {
        s->register_simplification(row.tag, std::make_unique<FpClassSimpl>(row.test));
    }
    for (const RelationRow& row : RELATIONS) {
        s->register_simplification(row.tag, std::make_unique<FpCompareSimpl>(row.relation));
    }
    s->register_simplification(SymbolTag::FP_NEG, std::make_unique<FpSignSimpl>(true));
    s->register_simplification(SymbolTag::FP_ABS, std::make_unique<FpSignSimpl>(false));
    s->register_simplification(SymbolTag::FP_MIN, std::make_unique<FpMinMaxSimpl>(true));
    s->register_simplification(SymbolTag::FP_MAX, std::make_unique<FpMinMaxSimpl>(false));
    s->register_simplification(SymbolTag::FP_CAST, std::make_unique<FpCastSimpl>());
    s->register_simplification(SymbolTag::FP_FROM_SBV, std::make_unique<FpFromBvSimpl>(true));
    s->register_simplification(SymbolTag::FP_FROM_UBV, std::make_unique<FpFromBvSimpl>(false));
    s->register_simplification(SymbolTag::FP_TO_BV, std::make_unique<FpToBvSimpl>());
    s->register_simplification(SymbolTag::FP_AS_IEEEBV, std::make_unique<FpAsIEEEBvSimpl>());
    s->register_simplification(SymbolTag::FP_FROM_IEEEBV, std::make_unique<FpFromIEEEBvSimpl>());
}

} // namespace tarq::termsimpl
