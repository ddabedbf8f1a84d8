// Handlers of bit-vectors and of the conversions between them and integers.
#include "lang/symbolhandler.h"

namespace tarq {

namespace {

using TM = TermManager;
using BVConcatHandler = BinaryHandler<&TM::make_bv_concat, false>;
using BVNotHandler = UnaryHandler<&TM::make_bv_not>;
using BVNegHandler = UnaryHandler<&TM::make_bv_neg>;
using BVXorHandler = BinaryHandler<&TM::make_bv_xor, false>;
using BVAddHandler = BinaryHandler<&TM::make_bv_add, false>;
using BVMulHandler = BinaryHandler<&TM::make_bv_mul, false>;
using BVUdivHandler = BinaryHandler<&TM::make_bv_udiv, false>;
using BVUremHandler = BinaryHandler<&TM::make_bv_urem, false>;
using BVLshlHandler = BinaryHandler<&TM::make_bv_lshl, false>;
using BVLshrHandler = BinaryHandler<&TM::make_bv_lshr, false>;
using BVSubHandler = BinaryHandler<&TM::make_bv_sub, true>;
using BVSdivHandler = BinaryHandler<&TM::make_bv_sdiv, true>;
using BVSremHandler = BinaryHandler<&TM::make_bv_srem, true>;
using BVAshrHandler = BinaryHandler<&TM::make_bv_ashr, true>;
using BVCompHandler = BinaryHandler<&TM::make_bv_comp, true>;
using BVUltHandler = BinaryHandler<&TM::make_bv_ult, true>;
using BVUleHandler = BinaryHandler<&TM::make_bv_ule, true>;
using BVSltHandler = BinaryHandler<&TM::make_bv_slt, true>;
using BVSleHandler = BinaryHandler<&TM::make_bv_sle, true>;
using BVUgtHandler = BinaryHandler<&TM::make_bv_ult, true, true>;
using BVUgeHandler = BinaryHandler<&TM::make_bv_ule, true, true>;
using BVSgtHandler = BinaryHandler<&TM::make_bv_slt, true, true>;
using BVSgeHandler = BinaryHandler<&TM::make_bv_sle, true, true>;
using IntFromUBvHandler = UnaryHandler<&TM::make_int_from_ubv>;
using IntFromSBvHandler = UnaryHandler<&TM::make_int_from_sbv>;

/// `bvand` and `bvor`, which take a single argument too.
template <BinaryMaker MAKE>
class BVJunctionHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 1, args, false);
        const Term_* result = args[0];
        check_bv(tm, result);
        for (const Term_* arg : args.subspan(1)) {
            result = (tm->*MAKE)(result, arg);
        }
        return result;
    }
};

using BVAndHandler = BVJunctionHandler<&TM::make_bv_and>;
using BVOrHandler = BVJunctionHandler<&TM::make_bv_or>;

/// A binary operation with each result complemented.
template <BinaryMaker MAKE, bool EXACT>
class BVComplementHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 2, args, EXACT);
        const Term_* result = args[0];
        for (const Term_* arg : args.subspan(1)) {
            result = (tm->*MAKE)(result, arg);
            result = tm->make_bv_not(result);
        }
        return result;
    }
};

using BVXnorHandler = BVComplementHandler<&TM::make_bv_xor, false>;
using BVNandHandler = BVComplementHandler<&TM::make_bv_and, true>;
using BVNorHandler = BVComplementHandler<&TM::make_bv_or, true>;

/// The remainder with the divisor's sign: the unsigned remainder of the magnitudes, then adjusted
/// by the four combinations of signs.
class BVSmodHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 2, args, true);
        const Term_* s = args[0];
        const Term_* t = args[1];
        const std::size_t width = check_bv(tm, s);
        const bool same = check_bv(tm, t) == width;
        if (width == 0 || !same) {
            return tm->make_bv_urem(s, t); // reports the type error
        }
        const Term_* s_neg = is_negative(tm, s, width);
        const Term_* t_neg = is_negative(tm, t, width);
        const Term_* s_minus = tm->make_bv_neg(s);
        const Term_* t_minus = tm->make_bv_neg(t);
        const Term_* s_abs = tm->make_term_ite(s_neg, s_minus, s);
        const Term_* t_abs = tm->make_term_ite(t_neg, t_minus, t);
        const Term_* u = tm->make_bv_urem(s_abs, t_abs);
        const Term_* u_minus = tm->make_bv_neg(u);

        const Term_* s_negative_t_positive = tm->make_bv_add(u_minus, t);
        const Term_* s_positive_t_negative = tm->make_bv_add(u, t);
        const Term_* if_s_neg = tm->make_term_ite(t_neg, u_minus, s_negative_t_positive);
        const Term_* if_s_pos = tm->make_term_ite(t_neg, s_positive_t_negative, u);
        const Term_* adjusted = tm->make_term_ite(s_neg, if_s_neg, if_s_pos);
        const Term_* zero = tm->make_bv_number(0, width);
        const Term_* u_is_zero = tm->make_equal(u, zero);
        return tm->make_term_ite(u_is_zero, u, adjusted);
    }

private:
    static const Term_* is_negative(TermManager* tm, const Term_* t, std::size_t width)
    {
        const Term_* sign = tm->make_bv_extract(width - 1, width - 1, t);
        const Term_* one = tm->make_bv_number(1, 1);
        return tm->make_equal(sign, one);
    }
};

class BVRedOrHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 1, args, true);
        const Term_* zero = tm->make_bv_number(0, check_bv(tm, args[0]));
        const Term_* is_zero = tm->make_bv_comp(args[0], zero);
        return tm->make_bv_not(is_zero);
    }
};

class BVRedAndHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 1, args, true);
        const Term_* zero = tm->make_bv_number(0, check_bv(tm, args[0]));
        const Term_* ones = tm->make_bv_not(zero);
        return tm->make_bv_comp(args[0], ones);
    }
};

class BVExtractHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            const std::vector<QNumber>& indices, TermArgs args) const override
    {
        check_idx_arity(name, 2, indices);
        check_arity(name, 1, args, true);
        const int msb = check_idx_int(name, indices, 0);
        const int lsb = check_idx_int(name, indices, 1);
        return tm->make_bv_extract(static_cast<std::size_t>(msb), static_cast<std::size_t>(lsb),
                                   args[0]);
    }
};

/// Concatenation of n copies.
class BVRepeatHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            const std::vector<QNumber>& indices, TermArgs args) const override
    {
        check_idx_arity(name, 1, indices);
        check_arity(name, 1, args, true);
        const int n = check_idx_int(name, indices, 0);
        check_bv(tm, args[0]);
        if (n > MAX_COPIES) {
            throw make_error<ParserInterface::error>("ERROR: repeat takes at most ", MAX_COPIES,
                                                     " copies (", n, " given)");
        }
        const Term_* result = args[0];
        for (int i = 1; i < n; ++i) {
            result = tm->make_bv_concat(result, args[0]);
        }
        return result;
    }

private:
    /// Each copy makes a symbol and a type of its own, so the count has to stay in reason.
    static constexpr int MAX_COPIES = 1 << 18;
};

/// An operation with an amount, and the conversion of an integer to a width.
template <const Term_* (TermManager::*MAKE)(std::size_t, const Term_*)>
class BVAmountHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            const std::vector<QNumber>& indices, TermArgs args) const override
    {
        check_idx_arity(name, 1, indices);
        check_arity(name, 1, args, true);
        const int amount = check_idx_int(name, indices, 0);
        return (tm->*MAKE)(static_cast<std::size_t>(amount), args[0]);
    }
};

using BVZeroExtendHandler = BVAmountHandler<&TM::make_bv_zero_extend>;
using BVSignExtendHandler = BVAmountHandler<&TM::make_bv_sign_extend>;
using BVRotateLeftHandler = BVAmountHandler<&TM::make_bv_rotate_left>;
using BVRotateRightHandler = BVAmountHandler<&TM::make_bv_rotate_right>;
using IntToBvHandler = BVAmountHandler<&TM::make_int_to_bv>;

} // namespace

void add_bv_handlers(SymbolHandlerTable& table)
{
    add_handler<BVExtractHandler>(table, "extract");
    add_handler<BVConcatHandler>(table, "concat");
    add_handler<BVNotHandler>(table, "bvnot");
    add_handler<BVNegHandler>(table, "bvneg");
    add_handler<BVAndHandler>(table, "bvand");
    add_handler<BVOrHandler>(table, "bvor");
    add_handler<BVXorHandler>(table, "bvxor");
    add_handler<BVXnorHandler>(table, "bvxnor");
    add_handler<BVNandHandler>(table, "bvnand");
    add_handler<BVNorHandler>(table, "bvnor");
    add_handler<BVAddHandler>(table, "bvadd");
    add_handler<BVSubHandler>(table, "bvsub");
    add_handler<BVMulHandler>(table, "bvmul");
    add_handler<BVUdivHandler>(table, "bvudiv");
    add_handler<BVUremHandler>(table, "bvurem");
    add_handler<BVSdivHandler>(table, "bvsdiv");
    add_handler<BVSremHandler>(table, "bvsrem");
    add_handler<BVSmodHandler>(table, "bvsmod");
    add_handler<BVLshlHandler>(table, "bvshl");
    add_handler<BVLshrHandler>(table, "bvlshr");
    add_handler<BVAshrHandler>(table, "bvashr");
    add_handler<BVCompHandler>(table, "bvcomp");
    add_handler<BVUltHandler>(table, "bvult");
    add_handler<BVUleHandler>(table, "bvule");
    add_handler<BVUgtHandler>(table, "bvugt");
    add_handler<BVUgeHandler>(table, "bvuge");
    add_handler<BVSltHandler>(table, "bvslt");
    add_handler<BVSleHandler>(table, "bvsle");
    add_handler<BVSgtHandler>(table, "bvsgt");
    add_handler<BVSgeHandler>(table, "bvsge");
    add_handler<BVRedOrHandler>(table, "bvredor");
    add_handler<BVRedAndHandler>(table, "bvredand");
    add_handler<BVRepeatHandler>(table, "repeat");
    add_handler<BVZeroExtendHandler>(table, "zero_extend");
    add_handler<BVSignExtendHandler>(table, "sign_extend");
    add_handler<BVRotateLeftHandler>(table, "rotate_left");
    add_handler<BVRotateRightHandler>(table, "rotate_right");
    add_handler<IntToBvHandler>(table, "to_bv");
    add_handler<IntFromUBvHandler>(table, "ubv_to_int");
    add_handler<IntFromSBvHandler>(table, "sbv_to_int");
}

} // namespace tarq
