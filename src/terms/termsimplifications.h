// The hook by which terms are simplified while they are built.
#pragma once

#include "terms/term.h"

namespace tarq {

/// Called for each new application before it is interned.
class TermSimplifier {
public:
    virtual ~TermSimplifier() = default;
    /// symbol  the head
    /// args    as many as its arity, of fitting types; not to be kept
    /// Returns a term equal to the application in every model, of a subtype of its type; null to
    /// have it interned as it stands. May build terms through the manager.
    virtual const Term_* operator()(const Symbol* symbol, TermArgs args) = 0;
    /// Told before terms are collected: what is remembered of terms must go.
    virtual void forget_terms() {}
};

} // namespace tarq
