// Handlers of floating point. Formats are written (eb, sb) in SMT-LIB, with the hidden bit counted
// in sb, and (exponent width, mantissa width) = (eb, sb - 1) in the term manager.
#include "lang/symbolhandler.h"
#include "terms/bvnumber.h"

namespace tarq {

namespace {

using TM = TermManager;
using FpMinHandler = BinaryHandler<&TM::make_fp_min, true>;
using FpMaxHandler = BinaryHandler<&TM::make_fp_max, true>;
using FpSqrtHandler = BinaryHandler<&TM::make_fp_sqrt, true>;
using FpRoundToIntHandler = BinaryHandler<&TM::make_fp_round_to_int, true>;
using FpNegHandler = UnaryHandler<&TM::make_fp_neg>;
using FpAbsHandler = UnaryHandler<&TM::make_fp_abs>;
using FpIsNaNHandler = UnaryHandler<&TM::make_fp_isnan>;
using FpIsInfHandler = UnaryHandler<&TM::make_fp_isinf>;
using FpIsZeroHandler = UnaryHandler<&TM::make_fp_iszero>;
using FpIsSubnormalHandler = UnaryHandler<&TM::make_fp_issubnormal>;
using FpIsNormalHandler = UnaryHandler<&TM::make_fp_isnormal>;
using FpIsPositiveHandler = UnaryHandler<&TM::make_fp_ispos>;
using FpIsNegativeHandler = UnaryHandler<&TM::make_fp_isneg>;
using FpEqHandler = ChainHandler<&TM::make_fp_equal>;
using FpLtHandler = ChainHandler<&TM::make_fp_lt>;
using FpLeHandler = ChainHandler<&TM::make_fp_le>;
using FpGtHandler = ChainHandler<&TM::make_fp_lt, true>;
using FpGeHandler = ChainHandler<&TM::make_fp_le, true>;

template <const Term_* (TermManager::*MAKE)(const Term_*, const Term_*, const Term_*)>
class FpArithHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 3, args, true);
        return (tm->*MAKE)(args[0], args[1], args[2]);
    }
};

using FpAddHandler = FpArithHandler<&TM::make_fp_add>;
using FpSubHandler = FpArithHandler<&TM::make_fp_sub>;
using FpMulHandler = FpArithHandler<&TM::make_fp_mul>;
using FpDivHandler = FpArithHandler<&TM::make_fp_div>;

/// The base of everything behind `(_ name eb sb)`.
class FpFormatHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();

protected:
    struct Format {
        std::size_t exp;
        std::size_t mant;
    };

    static Format check_format(std::string_view name, const std::vector<QNumber>& indices)
    {
        check_idx_arity(name, 2, indices);
        const int eb = check_idx_int(name, indices, 0);
        const int sb = check_idx_int(name, indices, 1);
        if (eb > MAX_WIDTH || sb > MAX_WIDTH) {
            throw make_error<ParserInterface::error>("ERROR: ", name, " takes widths of at most ",
                                                     MAX_WIDTH, " bits (", eb, " and ", sb,
                                                     " given)");
        }
        // widths that are too small are reported by the term manager
        return {static_cast<std::size_t>(eb), static_cast<std::size_t>(sb > 0 ? sb - 1 : 0)};
    }

private:
    /// A value of a format takes as many bits of memory as the format is wide.
    static constexpr int MAX_WIDTH = 1 << 20;
};

template <const Term_* (*MAKE)(TermManager*, std::size_t, std::size_t)>
class FpConstantHandler : public FpFormatHandler {
public:
    using FpFormatHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            const std::vector<QNumber>& indices, TermArgs args) const override
    {
        const Format format = check_format(name, indices);
        check_arity(name, 0, args, true);
        return MAKE(tm, format.exp, format.mant);
    }
};

const Term_* make_nan(TermManager* tm, std::size_t exp, std::size_t mant)
{
    return tm->make_fp_nan(exp, mant);
}

const Term_* make_plus_infinity(TermManager* tm, std::size_t exp, std::size_t mant)
{
    return tm->make_fp_plus_inf(exp, mant);
}

const Term_* make_minus_infinity(TermManager* tm, std::size_t exp, std::size_t mant)
{
    return tm->make_fp_minus_inf(exp, mant);
}

const Term_* make_plus_zero(TermManager* tm, std::size_t exp, std::size_t mant)
{
    return tm->make_fp_bits_number(0, exp, mant);
}

const Term_* make_minus_zero(TermManager* tm, std::size_t exp, std::size_t mant)
{
    return tm->make_fp_bits_number(BVNumber::pow2(exp + mant), exp, mant);
}

using FpNaNHandler = FpConstantHandler<make_nan>;
using FpPInfHandler = FpConstantHandler<make_plus_infinity>;
using FpMInfHandler = FpConstantHandler<make_minus_infinity>;
using FpPZeroHandler = FpConstantHandler<make_plus_zero>;
using FpMZeroHandler = FpConstantHandler<make_minus_zero>;

/// "fp": sign, exponent and fraction as bit-vectors.
class FpNumHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 3, args, true);
        std::size_t width[3];
        QNumber value[3];
        bool literals = true;
        for (std::size_t i = 0; i < 3; ++i) {
            if (!tm->is_bv_type(TermManager::get_type(args[i]), &width[i])) {
                throw make_error<ParserInterface::error>("ERROR: fp argument ", i + 1,
                                                         " must be a bit-vector term (",
                                                         args[i]->to_shallow_str(), " given)");
            }
            literals = tm->is_bv_number(args[i], &value[i]) && literals;
        }
        if (width[0] != 1) {
            throw ParserInterface::error("ERROR: fp argument 1 must have width 1");
        }
        if (literals) {
            const QNumber exponent = value[1] * BVNumber::pow2(width[2]);
            const QNumber sign = value[0] * BVNumber::pow2(width[1] + width[2]);
            return tm->make_fp_bits_number(sign + exponent + value[2], width[1], width[2]);
        }
        const Term_* high = tm->make_bv_concat(args[0], args[1]);
        const Term_* bits = tm->make_bv_concat(high, args[2]);
        return tm->make_fp_from_ieeebv(width[1], width[2], bits);
    }
};

/// The value of a number written as a literal, a negated literal or a quotient of such.
bool is_literal(TermManager* tm, const Term_* t, QNumber* value)
{
    if (tm->is_arith_number(t, value)) {
        return true;
    }
    QNumber a;
    QNumber b;
    const bool divide = tm->is_divide(t);
    if ((!divide && !tm->is_times(t)) || !tm->is_arith_number(t->child(0), &a) ||
        !tm->is_arith_number(t->child(1), &b) || (divide && b.is_zero())) {
        return false;
    }
    *value = divide ? a / b : a * b;
    return true;
}

/// "to_fp", which means a different conversion for each type of argument.
class ToFpHandler : public FpFormatHandler {
public:
    using FpFormatHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            const std::vector<QNumber>& indices, TermArgs args) const override
    {
        const Format format = check_format(name, indices);
        if (args.size() == 1 && tm->is_bv_type(TermManager::get_type(args[0]))) {
            return tm->make_fp_from_ieeebv(format.exp, format.mant, args[0]);
        }
        if (args.size() == 2 && TermManager::get_type(args[0]) == tm->get_rounding_type()) {
            const DataType* type = TermManager::get_type(args[1]);
            if (tm->is_fp_type(type)) {
                return tm->make_fp_cast(format.exp, format.mant, args[0], args[1]);
            }
            if (tm->is_arith_type(type)) {
                return from_rational(tm, format, args[0], args[1]);
            }
            if (tm->is_bv_type(type)) {
                return tm->make_fp_from_sbv(format.exp, format.mant, args[0], args[1]);
            }
        }
        throw ParserInterface::error("wrong arguments for to_fp");
    }

private:
    static const Term_* from_rational(TermManager* tm, const Format& format, const Term_* rounding,
                                      const Term_* t)
    {
        QNumber value;
        if (!is_literal(tm, t, &value)) {
            throw make_error<ParserInterface::error>(
                "ERROR: fprat argument 2 must be a positive rational literal (",
                t->to_shallow_str(), " given)");
        }
        const auto rounded = [&](const Term_* mode) {
            return tm->make_fp_rat_number(value, format.exp, format.mant, mode);
        };
        if (tm->is_fprounding(rounding)) {
            return rounded(rounding);
        }
        const Term_* const modes[] = {tm->make_fprounding_plus_inf(), tm->make_fprounding_zero(),
                                      tm->make_fprounding_even()};
        const Term_* result = rounded(tm->make_fprounding_minus_inf());
        for (const Term_* mode : modes) {
            const Term_* is_mode = tm->make_equal(rounding, mode);
            const Term_* number = rounded(mode);
            result = tm->make_term_ite(is_mode, number, result);
        }
        return result;
    }
};

class ToFpUnsignedHandler : public FpFormatHandler {
public:
    using FpFormatHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            const std::vector<QNumber>& indices, TermArgs args) const override
    {
        const Format format = check_format(name, indices);
        check_arity(name, 2, args, true);
        return tm->make_fp_from_ubv(format.exp, format.mant, args[0], args[1]);
    }
};

/// Conversions to bit-vectors. The unsigned one goes through one bit more, so that values of the
/// upper half are in range, and drops it. Negative results have no unsigned word: they get the open
/// one of minus infinity.
template <bool UNSIGNED>
class FpToBvHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            const std::vector<QNumber>& indices, TermArgs args) const override
    {
        check_idx_arity(name, 1, indices);
        check_arity(name, 2, args, true);
        const std::size_t width = static_cast<std::size_t>(check_idx_int(name, indices, 0));
        if (width == 0) {
            throw make_error<ParserInterface::error>("ERROR: ", name, " needs a positive width");
        }
        if (!UNSIGNED) {
            return tm->make_fp_to_bv(width, args[0], args[1]);
        }
        size_t e = 0;
        size_t m = 0;
        if (!tm->is_fp_type(TermManager::get_type(args[1]), &e, &m)) {
            return tm->make_fp_to_bv(width, args[0], args[1]); // for its message
        }
        const Term_* wider = tm->make_fp_to_bv(width + 1, args[0], args[1]);
        const Term_* top = tm->make_bv_extract(width, width, wider);
        const Term_* is_negative = tm->make_equal(top, tm->make_bv_number(1, 1));
        const Term_* open = tm->make_fp_to_bv(width + 1, args[0], tm->make_fp_minus_inf(e, m));
        return tm->make_term_ite(is_negative, tm->make_bv_extract(width - 1, 0, open),
                                 tm->make_bv_extract(width - 1, 0, wider));
    }
};

using FpToSBvHandler = FpToBvHandler<false>;
using FpToUBvHandler = FpToBvHandler<true>;

} // namespace

void add_fp_handlers(SymbolHandlerTable& table)
{
    add_handler<FpNumHandler>(table, "fp");
    add_handler<FpNaNHandler>(table, "NaN");
    add_handler<FpPInfHandler>(table, "+oo");
    add_handler<FpMInfHandler>(table, "-oo");
    add_handler<FpPZeroHandler>(table, "+zero");
    add_handler<FpMZeroHandler>(table, "-zero");
    add_handler<ToFpHandler>(table, "to_fp");
    add_handler<ToFpUnsignedHandler>(table, "to_fp_unsigned");
    add_handler<FpToSBvHandler>(table, "fp.to_sbv");
    add_handler<FpToUBvHandler>(table, "fp.to_ubv");
    add_handler<FpAddHandler>(table, "fp.add");
    add_handler<FpSubHandler>(table, "fp.sub");
    add_handler<FpMulHandler>(table, "fp.mul");
    add_handler<FpDivHandler>(table, "fp.div");
    add_handler<FpSqrtHandler>(table, "fp.sqrt");
    add_handler<FpRoundToIntHandler>(table, "fp.roundToIntegral");
    add_handler<FpMinHandler>(table, "fp.min");
    add_handler<FpMaxHandler>(table, "fp.max");
    add_handler<FpNegHandler>(table, "fp.neg");
    add_handler<FpAbsHandler>(table, "fp.abs");
    add_handler<FpIsNaNHandler>(table, "fp.isNaN");
    add_handler<FpIsInfHandler>(table, "fp.isInfinite");
    add_handler<FpIsZeroHandler>(table, "fp.isZero");
    add_handler<FpIsSubnormalHandler>(table, "fp.isSubnormal");
    add_handler<FpIsNormalHandler>(table, "fp.isNormal");
    add_handler<FpIsPositiveHandler>(table, "fp.isPositive");
    add_handler<FpIsNegativeHandler>(table, "fp.isNegative");
    add_handler<FpEqHandler>(table, "fp.eq");
    add_handler<FpLtHandler>(table, "fp.lt");
    add_handler<FpLeHandler>(table, "fp.leq");
    add_handler<FpGtHandler>(table, "fp.gt");
    add_handler<FpGeHandler>(table, "fp.geq");
}

} // namespace tarq
