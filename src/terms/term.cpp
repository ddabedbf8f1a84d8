#include "terms/term.h"

#include <utility>

namespace tarq {

std::string Term_::to_str(size_t max_size) const
{
    std::string out;
    std::vector<std::pair<const Term_*, size_t>> stack; // a term and its next child
    stack.emplace_back(this, 0);
    while (!stack.empty()) {
        if (out.size() > max_size) {
            out.resize(max_size);
            return out + "...";
        }
        const Term_* t = stack.back().first;
        const size_t i = stack.back().second++;
        const size_t arity = t->arity();
        if (i == 0) {
            out += arity == 0 ? "" : "(";
            out += t->symbol_->get_name();
        }
        if (i == arity) {
            out += arity == 0 ? "" : ")";
            stack.pop_back();
        } else {
            out += ' ';
            stack.emplace_back(t->child(i), 0);
        }
    }
    return out;
}

std::string Term_::to_shallow_str() const
{
    if (arity() == 0) {
        return symbol_->get_name();
    }
    std::string out = "(" + symbol_->get_name();
    for (size_t i = 0; i < arity(); ++i) {
        out += " _";
    }
    return out + ")";
}

} // namespace tarq
