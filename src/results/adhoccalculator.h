// AdHocCalculator: arguments that give an operator a wanted value.
#pragma once

#include "base/exception.h"
#include "terms/termmanager.h"

#include <cstdint>

namespace tarq {

/// Inverts operators on values: what preprocessing took for freely choosable is chosen here. Borrows
/// the term manager, which must fold operators on values.
class AdHocCalculator {
public:
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    explicit AdHocCalculator(TermManager* tm) : tm_(tm) {}

    /// Finds arguments for which the operator of `t` gives `value`.
    /// args  of `t`: values, null for those to find. They are found as far as they matter, so what
    ///       stays null may be anything.
    /// throws  AdHocCalculator::error "Error: term is not free, cannot compute model!" where the
    ///         null ones do not suffice, "We cannot find a value for this atom!" where no value
    ///         does
    void operator()(const Term_* t, const Term_* value, TermVector& args);

private:
    void solve_bool(const Term_* t, const Term_* value, TermVector& args);
    void solve_ite(const Term_* t, const Term_* value, TermVector& args);
    bool solve_unary(const Term_* t, const Term_* value, TermVector& args);
    void solve_binary(const Term_* t, const Term_* value, TermVector& args);
    void solve_comparison(const Term_* t, bool value, TermVector& args);
    bool solve_array(const Term_* t, const Term_* value, TermVector& args);
    const Term_* other_word(const Term_* word);
    const Term_* pad(const Term_* word, uint64_t above, uint64_t below);
    const Term_* divide_by_odd(const Term_* value, const Term_* factor);

    TermManager* tm_;
};

} // namespace tarq
