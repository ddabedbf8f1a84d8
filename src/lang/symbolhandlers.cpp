// What all handlers share: the refusals of the base class and the checks of arguments and indices.
#include "lang/symbolhandler.h"

namespace tarq {

const Term_* SymbolHandler::operator()(TermManager*, std::string_view, const DataType*,
                                       TermArgs) const
{
    return nullptr;
}

const Term_* SymbolHandler::operator()(TermManager*, std::string_view, const DataType*,
                                       const std::vector<QNumber>&, TermArgs) const
{
    return nullptr;
}

void SymbolHandler::check_arity(std::string_view name, std::size_t n, TermArgs args, bool exact)
{
    if (exact ? args.size() != n : args.size() < n) {
        throw make_error<ParserInterface::error>("ERROR: ", name, " takes ",
                                                 exact ? "exactly " : "at least ", n,
                                                 " arguments (", args.size(), " given)");
    }
}

void SymbolHandler::check_idx_arity(std::string_view name, std::size_t n,
                                    const std::vector<QNumber>& indices)
{
    if (indices.size() != n) {
        throw make_error<ParserInterface::error>("ERROR: ", name, " takes exactly ", n,
                                                 " index arguments (", indices.size(), " given)");
    }
}

int SymbolHandler::check_idx_int(std::string_view name, const std::vector<QNumber>& indices,
                                 std::size_t i)
{
    int value = 0;
    if (!indices[i].to_int(&value)) {
        throw make_error<ParserInterface::error>("ERROR: ", i, "-th index value of ", name,
                                                 " must be a native integer (", indices[i].to_str(),
                                                 " given)");
    }
    return value;
}

std::size_t SymbolHandler::check_bv(TermManager* tm, const Term_* t)
{
    std::size_t width = 0;
    if (!tm->is_bv_type(TermManager::get_type(t), &width)) {
        throw make_error<ParserInterface::error>("type error. term ", t->to_shallow_str(),
                                                 " is not a bit-vector");
    }
    return width;
}

} // namespace tarq
