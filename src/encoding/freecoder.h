// FreeCoder: subterms whose value can be chosen freely become constants. The operators that can be
// inverted so stand in freecodertests.cpp.
#pragma once

#include "base/hashmap.h"
#include "base/terminationtest.h"
#include "encoding/rewritestack.h"
#include "terms/termmanager.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace tarq {

class Logger;

/// Replaces a term by a fresh constant, its proxy, where constants that occur nowhere else give it
/// any value: `x + t` with such an x, for instance. The proxy is such a constant in turn. In a model
/// the value of the proxy decides those of the constants.
///
/// A constant that was taken out so and occurs in a later formula comes back: the definition of the
/// proxy becomes a side condition of that formula, until the next pop.
///
/// Life cycle: one session for each formula, which is open_session(), operator(), close_session();
/// push and pop follow those of the environment. An exception out of a session leaves the object
/// unusable.
///
/// Borrows the term manager, the rewrite stack, the logger and the termination test.
///
/// Invariants: no constant of a formula or definition that the problem holds is taken out; each
/// constant is taken out by one step at most.
class FreeCoder {
public:
    /// Says which terms can be given any value.
    class test_fun {
    public:
        virtual ~test_fun() = default;
        /// free  bit i: argument i is a constant that occurs nowhere else; not 0
        /// Returns whether suitable values of these arguments give `t` every value of its type,
        /// whatever the others are.
        virtual bool operator()(TermManager* tm, const Term_* t, unsigned free) const = 0;
    };

    /// rewrite_stack  receives a step for each replaced term; may be null
    FreeCoder(TermManager* tm, RewriteStack* rewrite_stack);
    ~FreeCoder();
    FreeCoder(const FreeCoder&) = delete;
    FreeCoder& operator=(const FreeCoder&) = delete;

    void open_session();
    /// The formula with proxies.
    /// throws  TerminationTest::terminated
    const Term_* operator()(const Term_* f);
    /// side_conditions  receives the conjunction of the definitions that have come back
    void close_session(const Term_** side_conditions);

    void push_backtrack_point();
    void pop_backtrack_point();

    /// Whether `t` is a proxy whose term the problem does not hold.
    bool is_proxy_for_unconstrained_term(const Term_* t) const;
    /// Conjoins to `*formula` what defines the proxy, which is ordinary from now on, and what this
    /// brings along.
    void restore_unconstraint_formula_for_proxy(const Term_* proxy, const Term_** formula);
    /// Makes all constants of `t`, which comes to the problem by another way than a session,
    /// ordinary: returns the conjunction of the definitions that must come with it.
    const Term_* restore(const Term_* t);
    /// Whether a formula that was given has this constant.
    bool has_seen(const Term_* t) const { return seen_.contains(t); }
    /// The proxy by which a constant was taken out of the problem; null for the others.
    const Term_* get_eliminating_proxy(const Term_* constant) const;
    /// The replaced term of a proxy.
    const Term_* get_term(const Term_* proxy) const;
    /// The arguments of that term that the value of the proxy decides.
    const TermVector& get_taken_out(const Term_* proxy) const;
    /// Keeps a constant in the formulas.
    void set_protected(const Term_* t) { set_seen(t); }

    void set_logger(Logger* logger) { logger_ = logger; }
    void set_termination_test(const TerminationTest* test) { termination_test_ = test; }

private:
    class FreeCodeRewriteStep;

    struct Step {
        const Term_* term; // over constants and proxies
        const Term_* proxy;
        TermVector taken_out; // the arguments that the value of the proxy decides
        bool restored = false;
    };

    /// What a pop takes back.
    struct UndoStep {
        enum class Kind { MARK, SEEN, STEP, RESTORED } kind;
        const Term_* term; // seen constant, or proxy
    };

    const Term_* evaluate_according_to_replaceable_terms(const Term_* f);
    const Term_* replace_replaceable_terms(const Term_* f);
    const Term_* simplify(const Term_* f);
    const Term_* declare_replaceable(const Term_* t, unsigned free);
    bool can_be_declared_replaceable(const Term_* t, unsigned free) const;
    void calculate_constraints_that_must_be_restored(const Term_* f);
    void restore_step(const Term_* proxy);
    void set_seen(const Term_* t);
    void collect_constants(const Term_* f, TermVector* out) const;
    void count_parents(const Term_* f);
    const Term_* make_proxy(const Term_* t);
    void log(const char* text, const Term_* t);
    template <class Rebuild>
    const Term_* rebuild_bottom_up(const Term_* root, Rebuild&& rebuild);

    TermManager* tm_;
    RewriteStack* rewrite_stack_;
    Logger* logger_ = nullptr;
    const TerminationTest* termination_test_ = nullptr;
    std::vector<std::unique_ptr<test_fun>> tests_;

    hsh::HashMap<const Term_*, Step> steps_; // by proxy
    TermMap proxy_of_;                       // of replaced terms
    TermMap eliminated_by_;                  // constants that were taken out, to the proxy
    TermSet seen_;                           // constants of all formulas, and proxies
    std::vector<UndoStep> undo_;
    TermMap proxy_names_; // a term has one proxy for ever

    // of the running session
    hsh::HashMap<const Term_*, int> parents_; // number of argument places
    TermSet free_;
    TermVector side_conditions_;
};

namespace freecoding {

/// The tests for connectives and conditionals, words, and arrays.
std::unique_ptr<FreeCoder::test_fun> make_bool_test();
std::unique_ptr<FreeCoder::test_fun> make_bv_test();
std::unique_ptr<FreeCoder::test_fun> make_array_test();

} // namespace freecoding

} // namespace tarq
