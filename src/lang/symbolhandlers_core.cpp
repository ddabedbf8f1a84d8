// Handlers of the connectives, equality, if-then-else, arrays and quantifiers.
#include "lang/symbolhandler.h"

namespace tarq {

namespace {

/// `and` and `or` take a single argument too, which then must be Boolean like any other.
template <BinaryMaker MAKE>
class JunctionHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 1, args, false);
        const Term_* result = args[0];
        if (args.size() == 1) {
            tm->typecheck(result, tm->get_bool_type(), name == "and" ? "and" : "or");
        }
        for (const Term_* arg : args.subspan(1)) {
            result = (tm->*MAKE)(result, arg);
        }
        return result;
    }
};

using AndHandler = JunctionHandler<&TermManager::make_and>;
using OrHandler = JunctionHandler<&TermManager::make_or>;
using NotHandler = UnaryHandler<&TermManager::make_not>;
using IffHandler = BinaryHandler<&TermManager::make_iff, true>;
using EqualityHandler = ChainHandler<&TermManager::make_equal>;
using ArrayReadHandler = BinaryHandler<&TermManager::make_array_read, true>;
using ForallHandler = BinaryHandler<&TermManager::make_forall, true>;
using ExistsHandler = BinaryHandler<&TermManager::make_exists, true>;

bool is_boolean(TermManager* tm, const Term_* t)
{
    return TermManager::get_type(t) == tm->get_bool_type();
}

const Term_* make_equality(TermManager* tm, bool boolean, const Term_* a, const Term_* b)
{
    return boolean ? tm->make_iff(a, b) : tm->make_equal(a, b);
}

/// "=" of SMT-LIB 2, which is the equivalence on Booleans.
class EqIffHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 2, args, false);
        const bool boolean = is_boolean(tm, args[0]);
        const Term_* result = nullptr;
        for (std::size_t i = 1; i < args.size(); ++i) {
            const Term_* link = make_equality(tm, boolean, args[i - 1], args[i]);
            result = result ? tm->make_and(result, link) : link;
        }
        return result;
    }
};

class DistinctHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view, const DataType*,
                            TermArgs args) const override
    {
        if (args.size() < 2) {
            return nullptr;
        }
        const bool boolean = is_boolean(tm, args[0]);
        const Term_* result = nullptr;
        for (std::size_t i = 0; i < args.size(); ++i) {
            for (std::size_t j = i + 1; j < args.size(); ++j) {
                const Term_* equality = make_equality(tm, boolean, args[i], args[j]);
                const Term_* differ = tm->make_not(equality);
                result = result ? tm->make_and(result, differ) : differ;
            }
        }
        return result;
    }
};

class XorHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 2, args, false);
        const Term_* result = args[0];
        for (const Term_* arg : args.subspan(1)) {
            result = tm->make_iff(result, arg);
            result = tm->make_not(result);
        }
        return result;
    }
};

class NandHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 2, args, true);
        const Term_* conjunction = tm->make_and(args[0], args[1]);
        return tm->make_not(conjunction);
    }
};

/// Implication, right-associative.
class ImpliesHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 2, args, false);
        const Term_* result = args.back();
        for (std::size_t i = args.size() - 1; i-- > 0;) {
            const Term_* premise = tm->make_not(args[i]);
            result = tm->make_or(premise, result);
        }
        return result;
    }
};

const Term_* make_bool_ite(TermManager* tm, TermArgs args)
{
    const Term_* negated = tm->make_not(args[0]);
    const Term_* then_part = tm->make_or(negated, args[1]);
    const Term_* else_part = tm->make_or(args[0], args[2]);
    return tm->make_and(then_part, else_part);
}

class BoolIteHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 3, args, true);
        return make_bool_ite(tm, args);
    }
};

class TermIteHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 3, args, true);
        return tm->make_term_ite(args[0], args[1], args[2]);
    }
};

class IteHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 3, args, true);
        return is_boolean(tm, args[1]) ? make_bool_ite(tm, args)
                                       : tm->make_term_ite(args[0], args[1], args[2]);
    }
};

class ArrayWriteHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType*,
                            TermArgs args) const override
    {
        check_arity(name, 3, args, true);
        return tm->make_array_write(args[0], args[1], args[2]);
    }
};

class ArrayConstHandler : public SymbolHandler {
public:
    using SymbolHandler::operator();
    const Term_* operator()(TermManager* tm, std::string_view name, const DataType* sort,
                            TermArgs args) const override
    {
        check_arity(name, 1, args, true);
        if (!sort) {
            throw ParserInterface::error(
                "unqualified const identifier, please use (as const sort)");
        }
        if (!tm->is_array_type(sort)) {
            throw ParserInterface::error("qualifier for const identifier must be an Array sort");
        }
        return tm->make_array_const(sort, args[0]);
    }
};

} // namespace

void add_core_handlers(SymbolHandlerTable& table, bool smtlib1)
{
    add_handler<AndHandler>(table, "and");
    add_handler<OrHandler>(table, "or");
    add_handler<NotHandler>(table, "not");
    add_handler<DistinctHandler>(table, "distinct");
    add_handler<XorHandler>(table, "xor");
    add_handler<NandHandler>(table, "nand");
    add_handler<ArrayReadHandler>(table, "select");
    add_handler<ArrayWriteHandler>(table, "store");
    add_handler<ArrayConstHandler>(table, "const");
    add_handler<ForallHandler>(table, "forall");
    add_handler<ExistsHandler>(table, "exists");
    if (smtlib1) {
        add_handler<ImpliesHandler>(table, "implies");
        add_handler<IffHandler>(table, "iff");
        add_handler<BoolIteHandler>(table, "if_then_else");
        add_handler<TermIteHandler>(table, "ite");
        add_handler<EqualityHandler>(table, "=");
    } else {
        add_handler<ImpliesHandler>(table, "=>");
        add_handler<IteHandler>(table, "ite");
        add_handler<EqIffHandler>(table, "=");
    }
}

} // namespace tarq
