// Handlers of integer, real and transcendental arithmetic.
#include "lang/symbolhandler.h"

namespace tarq {

namespace {

using PlusHandler = BinaryHandler<&TermManager::make_plus, false>;
using TimesHandler = BinaryHandler<&TermManager::make_times, false>;
using DivideHandler = BinaryHandler<&TermManager::make_divide, false>;
using ToIntHandler = UnaryHandler<&TermManager::make_floor>;
// a < b is not(b <= a), a > b is not(a <= b), a >= b is b <= a
using LtHandler = ChainHandler<&TermManager::make_leq, true, true>;
using LeqHandler = ChainHandler<&TermManager::make_leq>;
using GtHandler = ChainHandler<&TermManager::make_leq, false, true>;
using GeqHandler = ChainHandler<&TermManager::make_leq, true>;
using ExpHandler = UnaryHandler<&TermManager::make_exp>;
using SinHandler = UnaryHandler<&TermManager::make_sin>;
using LogHandler = UnaryHandler<&TermManager::make_log>;
using ASinHandler = UnaryHandler<&TermManager::make_asin>;
using PowHandler = BinaryHandler<&TermManager::make_pow, true>;

/// (-1) * x.
const Term_* make_minus(TermManager* tm, const Term_* x)
{
    const Term_* minus_one = tm->make_number(-1);
    return tm->make_times(minus_one, x);
}

/// A literal gives the negated literal, so that negative constants are literals too. Bit-vector and
/// float literals are no numbers here.
const Term_* make_negated(TermManager* tm, const Term_* x)
{
    QNumber value;
    return tm->is_arith_number(x, &value) ? tm->make_number(-value) : make_minus(tm, x);
}

class NegateHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 1, args, true);
        return make_negated(tm, args[0]);
    }
};

class MinusHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 2, args, false);
        const Term_* result = args[0];
        for (const Term_* arg : args.subspan(1)) {
            const Term_* negated = make_minus(tm, arg);
            result = tm->make_plus(result, negated);
        }
        return result;
    }
};

class MinusNegateHandler : public MinusHandler {
public:
    using MinusHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType* sort,
                            TermArgs args) const override
    {
        return args.size() == 1 ? make_negated(tm, args[0])
                                : MinusHandler::operator()(tm, name, sort, args);
    }
};

class ToRealHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 1, args, true);
        tm->typecheck(args[0], tm->get_real_type(), "to_real");
        return args[0];
    }
};

class IsIntHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 1, args, true);
        const Term_* floor = tm->make_floor(args[0]);
        return tm->make_equal(args[0], floor);
    }
};

class DivisibleHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            const std::vector<QNumber>& indices, TermArgs args) const override
    {
        check_idx_arity(name, 1, indices);
        check_arity(name, 1, args, true);
        const Term_* zero = tm->make_number(0);
        return tm->make_int_modular_congruence(indices[0], args[0], zero);
    }
};

class IntAbsHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 1, args, true);
        const Term_* zero = tm->make_number(0);
        const Term_* non_negative = tm->make_leq(zero, args[0]);
        const Term_* negated = make_minus(tm, args[0]);
        return tm->make_term_ite(non_negative, args[0], negated);
    }
};

/// What `div` and `mod` share. The quotient rounds so that the remainder is never negative.
/// Division by zero gives a value that depends on the dividend only: with mode 1 through a function
/// of its own for each of the two operations, the same in the whole term manager, so that neither
/// of them says anything about the other or about real division.
class EuclideanHandler : public SymbolHandler {
public:
    EuclideanHandler(const Context* context, const char* by_zero)
        : context_(context), by_zero_(by_zero)
    {
    }

protected:
    static void check_int(TermManager* tm, const char* name, const Term_* t)
    {
        tm->typecheck(t, tm->get_int_type(), name);
    }

    static const Term_* make_quotient(TermManager* tm, const Term_* n, const Term_* d)
    {
        QNumber divisor;
        const bool literal = tm->is_arith_number(d, &divisor);
        if (literal && !divisor.is_neg()) {
            return make_floor_quotient(tm, n, d);
        }
        const Term_* minus_d = make_negated(tm, d);
        const Term_* negative = make_minus(tm, make_floor_quotient(tm, n, minus_d));
        if (literal) {
            return negative;
        }
        const Term_* positive = make_floor_quotient(tm, n, d);
        const Term_* zero = tm->make_number(0);
        const Term_* is_positive = tm->make_leq(zero, d);
        return tm->make_term_ite(is_positive, positive, negative);
    }

    /// Replaces the value for a zero divisor, unless the mode leaves it to real division.
    const Term_* guard(TermManager* tm, const Term_* n, const Term_* d, const Term_* regular) const
    {
        QNumber divisor;
        const bool literal = tm->is_arith_number(d, &divisor);
        if (context_->div_by_zero_mode != 1 || (literal && !divisor.is_zero())) {
            return regular;
        }
        const Symbol* function = tm->get_symbol(by_zero_);
        if (!function) {
            const DataType* type = tm->get_function_type({tm->get_int_type()}, tm->get_int_type());
            function = tm->make_symbol(by_zero_, type);
        }
        const Term_* by_zero =
            tm->make_uninterpreted_function(function, std::span<const Term_* const>(&n, 1));
        if (literal) {
            return by_zero;
        }
        const Term_* zero = tm->make_number(0);
        const Term_* is_zero = tm->make_equal(d, zero);
        return tm->make_term_ite(is_zero, by_zero, regular);
    }

private:
    static const Term_* make_floor_quotient(TermManager* tm, const Term_* n, const Term_* d)
    {
        return tm->make_floor(tm->make_divide(n, d));
    }

    const Context* context_;
    const char* by_zero_;
};

class IntDivHandler : public EuclideanHandler {
public:
    using SymbolHandler::operator();
    explicit IntDivHandler(const Context* context) : EuclideanHandler(context, INT_DIV_BY_ZERO) {}

    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 2, args, false);
        const Term_* result = args[0];
        check_int(tm, "div", result);
        for (const Term_* d : args.subspan(1)) {
            check_int(tm, "div", d);
            const Term_* quotient = make_quotient(tm, result, d);
            result = guard(tm, result, d, quotient);
        }
        return result;
    }
};

class IntModHandler : public EuclideanHandler {
public:
    using SymbolHandler::operator();
    explicit IntModHandler(const Context* context) : EuclideanHandler(context, INT_MOD_BY_ZERO) {}

    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 2, args, true);
        const Term_* n = args[0];
        const Term_* d = args[1];
        check_int(tm, "mod", n);
        check_int(tm, "mod", d);
        const Term_* quotient = make_quotient(tm, n, d);
        const Term_* product = tm->make_times(d, quotient);
        const Term_* negated = make_minus(tm, product);
        const Term_* remainder = tm->make_plus(n, negated);
        return guard(tm, n, d, remainder);
    }
};

} // namespace

void add_arith_handlers(SymbolHandlerTable& table, bool smtlib1,
                        const SymbolHandler::Context* context)
{
    add_handler<PlusHandler>(table, "+");
    add_handler<TimesHandler>(table, "*");
    add_handler<DivideHandler>(table, "/");
    add_handler<NegateHandler>(table, "~");
    add_handler<ToIntHandler>(table, "to_int");
    add_handler<ToRealHandler>(table, "to_real");
    add_handler<IsIntHandler>(table, "is_int");
    add_handler<DivisibleHandler>(table, "divisible");
    add_handler<LtHandler>(table, "<");
    add_handler<LeqHandler>(table, "<=");
    add_handler<GtHandler>(table, ">");
    add_handler<GeqHandler>(table, ">=");
    add_handler<ExpHandler>(table, "exp");
    add_handler<SinHandler>(table, "sin");
    add_handler<LogHandler>(table, "log");
    add_handler<ASinHandler>(table, "asin");
    add_handler<PowHandler>(table, "pow");
    if (smtlib1) {
        add_handler<MinusHandler>(table, "-");
        add_handler<IsIntHandler>(table, "IsInt");
    } else {
        add_handler<MinusNegateHandler>(table, "-");
        add_handler<IntAbsHandler>(table, "abs");
        add_handler<IntDivHandler>(table, "div", context);
        add_handler<IntModHandler>(table, "mod", context);
    }
}

} // namespace tarq
