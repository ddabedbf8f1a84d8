// Term_: the interned node of all formulas. TermBank makes them; nobody else does.
#pragma once

#include "base/hashmap.h"
#include "terms/symbol.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tarq {

class Term_;
using TermVector = std::vector<const Term_*>;
/// Arguments handed to a constructor: borrowed for the time of the call.
using TermArgs = std::span<const Term_* const>;

/// A term: a head symbol and as many children as the symbol's arity. Immutable and interned: two
/// terms of one manager are equal exactly if their addresses are. Orders go by `get_id`, never by
/// address. A subterm's id is smaller than the ids of the terms above it.
///
/// The children stand in memory right behind the node, 8 bytes each.
class Term_ {
public:
    Term_(const Term_&) = delete;
    Term_& operator=(const Term_&) = delete;

    /// From 1 upward in order of creation; unique among the live terms.
    uint64_t get_id() const { return id_; }
    const Symbol* get_symbol() const { return symbol_; }
    size_t arity() const { return symbol_->arity(); }
    /// Child i, counted from 0, below the arity.
    const Term_* child(size_t i) const { return children_begin()[i]; }
    TermArgs children() const { return {children_begin(), arity()}; }

    /// The whole term as Lisp-style text: a constant's name, or "(name child ... child)".
    /// max_size  characters after which the text is cut off, "..." standing for the rest. Sharing
    ///           is written out, so the full text can be exponentially larger than the term.
    std::string to_str(size_t max_size = SIZE_MAX) const;
    /// The same with " _" for each child.
    std::string to_shallow_str() const;

private:
    friend class TermBank;
    Term_(uint64_t id, const Symbol* symbol) : id_(id), symbol_(symbol) {}

    const Term_* const* children_begin() const
    {
        return reinterpret_cast<const Term_* const*>(this + 1);
    }

    uint64_t id_;
    const Symbol* symbol_;
};

static_assert(sizeof(Term_) == 16, "a term is two words and one per child");

/// Orders terms by id; null comes first.
struct term_lt {
    bool operator()(const Term_* a, const Term_* b) const
    {
        return (a ? a->get_id() : 0) < (b ? b->get_id() : 0);
    }
};

using TermMap = hsh::HashMap<const Term_*, const Term_*>;

} // namespace tarq
