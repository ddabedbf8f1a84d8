// ModelSource: what a model is made from.
#pragma once

#include "terms/term.h"

#include <utility>
#include <vector>

namespace tarq {

/// The state of the solvers behind a satisfiable check, read once when the model is made.
class ModelSource {
public:
    /// A term that preprocessing replaced by a constant, whose value the term has to take.
    struct Choice {
        const Term_* proxy;
        const Term_* term;
        TermVector free; // arguments of the term, to be given values
    };

    virtual ~ModelSource() = default;
    /// Appends the atoms of the problem with their truth values, without those whose value the
    /// search was free to leave out.
    virtual void get_atoms(std::vector<std::pair<const Term_*, bool>>& out) const = 0;
    /// The value of a term in the theories' models: a value, or a term that stands for all terms of
    /// one class; null when no theory knows it.
    virtual const Term_* get_theory_value(const Term_* t) const = 0;
    /// Appends the symbols that preprocessing has replaced, with their replacements; these may hold
    /// other replaced symbols, but never in a circle.
    virtual void get_definitions(std::vector<std::pair<const Term_*, const Term_*>>& out) const = 0;
    /// Appends the replaced terms in the order in which values are to be found; no other source has
    /// values for their free arguments.
    virtual void get_choices(std::vector<Choice>&) const {}
};

} // namespace tarq
