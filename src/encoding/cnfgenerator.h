// The interface of the last encoding stage: what turns a Boolean formula into clauses. The one
// implementation is the template in tseitincnfgenerator.h.
#pragma once

#include "base/exception.h"
#include "base/terminationtest.h"
#include "terms/termmanager.h"

namespace tarq {

/// Turns quantifier-free Boolean formulas over atoms into clauses and asserts them.
///
/// Life cycle: one object lives as long as the engine that its clauses go to, and is pushed and
/// popped together with it. Borrows the term manager and the termination test.
class CNFGenerator {
public:
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    explicit CNFGenerator(TermManager* tm) : tm_(tm) {}
    virtual ~CNFGenerator() = default;
    CNFGenerator(const CNFGenerator&) = delete;
    CNFGenerator& operator=(const CNFGenerator&) = delete;

    /// Adds clauses that are equisatisfiable with `f` and asserts it.
    /// f       a Boolean term; true and false are the caller's to handle
    /// throws  CNFGenerator::error for a quantifier or for true and false inside, and
    ///         TerminationTest::terminated; the clauses written before that stay written, so the
    ///         caller has to rebuild the generator and its engine. Linear in the distinct nodes of
    ///         `f`.
    virtual void operator()(const Term_* f) = 0;

    /// Opens a scope: what is defined from now on is forgotten by the matching pop. The clauses
    /// themselves are removed by the engine's own backtrack point.
    virtual void push_backtrack_point() = 0;
    /// Closes the newest scope; there must be one.
    virtual void pop_backtrack_point() = 0;

    /// Installs the test polled during a conversion; borrowed, null for none.
    virtual void set_termination_test(const TerminationTest* test) { termination_test_ = test; }

protected:
    TermManager* tm_;
    const TerminationTest* termination_test_ = nullptr;
};

} // namespace tarq
