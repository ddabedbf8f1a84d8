// The base of the handlers that interpret the built-in symbols of SMT-LIB, one class per family.
// The families stand in symbolhandlers_core.cpp, _arith.cpp, _bv.cpp and _fp.cpp; each installs its
// rows in a handler table.
#pragma once

#include "lang/parserinterface.h"
#include "terms/numbers.h"
#include "terms/term.h"
#include "terms/termmanager.h"

#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace tarq {

/// Interprets one name, in its plain form or behind "_" with indices. A null result means that the
/// form is unknown for this name; the base class knows neither.
class SymbolHandler {
public:
    /// Settings of the term parser that some handlers depend on.
    struct Context {
        int div_by_zero_mode = 1;
    };

    virtual ~SymbolHandler() = default;

    /// sort  the sort of `(as name sort)`, or null
    virtual const Term_* operator()(TermManager* tm, std::string_view name, const DataType* sort,
                                    TermArgs args) const;
    virtual const Term_* operator()(TermManager* tm, std::string_view name, const DataType* sort,
                                    const std::vector<QNumber>& indices, TermArgs args) const;

protected:
    /// throws  ParserInterface::error unless there are n arguments, or at least n if not `exact`
    static void check_arity(std::string_view name, std::size_t n, TermArgs args, bool exact);
    /// throws  ParserInterface::error unless there are n indices
    static void check_idx_arity(std::string_view name, std::size_t n,
                                const std::vector<QNumber>& indices);
    /// The i-th index, counted from 0.
    /// throws  ParserInterface::error unless it is an integer that fits an int
    static int check_idx_int(std::string_view name, const std::vector<QNumber>& indices,
                             std::size_t i);
    /// The width of a bit-vector term.
    /// throws  ParserInterface::error "type error. term " ... " is not a bit-vector"
    static std::size_t check_bv(TermManager* tm, const Term_* t);
};

/// One operation of the term manager, the bodies of most handlers.
using UnaryMaker = const Term_* (TermManager::*)(const Term_*);
using BinaryMaker = const Term_* (TermManager::*)(const Term_*, const Term_*);

/// The application of a one-place operation.
template <UnaryMaker MAKE>
class UnaryHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 1, args, true);
        return (tm->*MAKE)(args[0]);
    }
};

/// A two-place operation, folded from the first argument on; SWAP exchanges its operands.
template <BinaryMaker MAKE, bool EXACT, bool SWAP = false>
class BinaryHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 2, args, EXACT);
        const Term_* result = args[0];
        for (const Term_* arg : args.subspan(1)) {
            result = SWAP ? (tm->*MAKE)(arg, result) : (tm->*MAKE)(result, arg);
        }
        return result;
    }
};

/// The conjunction of a binary relation over neighbouring arguments.
template <BinaryMaker MAKE, bool SWAP = false, bool NEGATE = false>
class ChainHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 2, args, false);
        const Term_* result = nullptr;
        for (std::size_t i = 1; i < args.size(); ++i) {
            const Term_* a = args[SWAP ? i : i - 1];
            const Term_* b = args[SWAP ? i - 1 : i];
            const Term_* link = (tm->*MAKE)(a, b);
            link = NEGATE ? tm->make_not(link) : link;
            result = result ? tm->make_and(result, link) : link;
        }
        return result;
    }
};

/// The functions that give quotient and remainder for a zero divisor. Their names are not for
/// users.
inline constexpr const char* INT_DIV_BY_ZERO = "{int-div0}";
inline constexpr const char* INT_MOD_BY_ZERO = "{int-mod0}";

/// Name and handler, in the order of installation; a later row of the same name wins.
using SymbolHandlerTable = std::vector<std::pair<std::string_view, std::unique_ptr<SymbolHandler>>>;

template <class Handler, class... Args>
void add_handler(SymbolHandlerTable& table, std::string_view name, Args... args)
{
    table.emplace_back(name, std::make_unique<Handler>(args...));
}

/// The connectives, equality, if-then-else, arrays, quantifiers.
void add_core_handlers(SymbolHandlerTable& table, bool smtlib1);
/// context  outlives the handlers
void add_arith_handlers(SymbolHandlerTable& table, bool smtlib1,
                        const SymbolHandler::Context* context);
void add_bv_handlers(SymbolHandlerTable& table);
void add_fp_handlers(SymbolHandlerTable& table);

} // namespace tarq
