// ToplevelPropagator: equations and facts that hold at the top of a formula become substitutions.
// The patterns that are looked for stand in toplevelsubst.cpp.
#pragma once

#include "base/bitvector.h"
#include "base/hashmap.h"
#include "base/terminationtest.h"
#include "encoding/rewritestack.h"
#include "encoding/termmarks.h"
#include "terms/symboltags.h"
#include "terms/termcache.h"
#include "terms/termmanager.h"

#include <array>
#include <memory>
#include <vector>

namespace tarq {

class Logger;

/// Removes constants that a top-level conjunct defines, from formula after formula: `x = y + 1`
/// makes x go, in this formula and in later ones. A constant that earlier formulas mention is
/// replaced as well, and its definition comes back as a conjunct.
///
/// Life cycle: called once for each formula; push and pop follow those of the environment, where
/// the rewrite stack must pop first. An exception out of a call leaves the object unusable.
///
/// Borrows the term manager, the rewrite stack, the logger and the termination test.
///
/// Invariant: substitution through all_subst_ ends, since no symbol reaches itself.
class ToplevelPropagator {
public:
    /// Looks whether a conjunct defines a constant.
    class subst_check_fun {
    public:
        virtual ~subst_check_fun() = default;
        /// On success gives a constant that is not forbidden, and its definition, in which the
        /// constant itself may still occur. The conjunct is true, or some fact without the
        /// constant, once the constant is replaced.
        virtual bool operator()(ToplevelPropagator* tp, TermManager* tm, const Term_* t,
                                const Term_** lhs, const Term_** rhs) = 0;
        /// Expensive ones are tried in the first round over a formula only.
        virtual bool is_expensive() const { return false; }
        virtual const char* get_signature() const = 0;
    };

    /// rewrite_stack     receives a step for each constant that goes; may be null
    /// keep_partial      keep equations with partial functions on the right, applying them too
    /// division_partial  whether division is such a function
    ToplevelPropagator(TermManager* tm, RewriteStack* rewrite_stack, bool keep_partial,
                       bool division_partial);
    ~ToplevelPropagator();
    ToplevelPropagator(const ToplevelPropagator&) = delete;
    ToplevelPropagator& operator=(const ToplevelPropagator&) = delete;

    /// The formula without the constants that it and earlier formulas define.
    /// limit   of the rounds; 0 and below for none
    /// throws  TerminationTest::terminated
    const Term_* operator()(const Term_* f, int limit);

    void push_backtrack_point() { seen_trail_.push_back(nullptr); }
    void pop_backtrack_point();

    /// Keeps a constant in the formulas from now on.
    void set_protected(const Term_* t) { protected_.insert(t); }
    bool is_protected(const Term_* t) const { return protected_.contains(t); }
    /// A recogniser has made a constant, which stays.
    void notify_introduced_var(const Term_* t) { set_protected(t); }
    /// Whether a constant can't be defined in this round.
    bool is_forbidden(const Term_* t) const
    {
        return protected_.contains(t) || candidate_of_.contains(t);
    }

    bool is_substituted(const Term_* t) const { return all_subst_.contains(t); }
    /// The definition of a substituted constant as it was found; it may hold others.
    const Term_* get_subst_value(const Term_* t) const { return all_subst_.find(t)->second; }
    /// `t` with all substitutions in force applied until none is left; null if `t` is no
    /// substituted constant.
    const Term_* get_substitution(const Term_* t);
    /// Whether a formula that was given has this constant.
    bool has_seen(const Term_* t) const { return seen_consts_.contains(t); }

    void set_logger(Logger* logger) { logger_ = logger; }
    void set_termination_test(const TerminationTest* test) { termination_test_ = test; }

private:
    class ToplevelpropRewriteStep;
    static constexpr size_t NUM_TAGS = static_cast<size_t>(SymbolTag::EXISTS) + 1;

    /// A definition found in this round.
    struct Candidate {
        const Term_* lhs;
        const Term_* rhs;
        const Term_* value = nullptr; // rhs with the definitions of this round applied
        bool keep = false;            // the equation stays
        bool entered = false;
        bool erased = false; // it would depend on itself
    };

    void find_candidate_substitutions(const Term_* f);
    bool is_substitution(const Term_* t, const Term_** lhs, const Term_** rhs);
    bool has_partial_functions(const Term_* t);
    const Term_* perform_candidates(const Term_* root);
    const Term_* perform_substitutions(const Term_* t, TermCache& done);
    void rebuild_or_descend(TermVector& stack, TermCache& done);
    const Term_* accept_candidates(const Term_* f, TermVector* readd);
    void collect_constants(const Term_* f);
    const Term_* make_equation(const Term_* a, const Term_* b);
    bool is_allowed_type(const Term_* lhs, const Term_* rhs) const;
    void undo_subst(const Term_* t) { all_subst_.erase(t); }
    void log(const char* text, const Term_* a, const Term_* b);
    void poll()
    {
        if (termination_test_ && ++polled_ % 256 == 0) {
            (*termination_test_)();
        }
    }

    TermManager* tm_;
    RewriteStack* rewrite_stack_;
    bool keep_partial_;
    bool division_partial_;
    Logger* logger_ = nullptr;
    const TerminationTest* termination_test_ = nullptr;
    unsigned polled_ = 0;

    TermMap all_subst_; // in force
    TermSet protected_;
    TermSet seen_consts_;
    TermVector seen_trail_; // of insertions; null at a backtrack point
    TermVector input_consts_;
    std::vector<Candidate> candidates_;
    hsh::HashMap<const Term_*, size_t> candidate_of_; // left side to its place
    // by tag; those of constants at UNKNOWN
    std::array<std::vector<std::unique_ptr<subst_check_fun>>, NUM_TAGS> checks_;
    bool expensive_ok_ = false;
    size_t round_nodes_ = 0; // that the running round has looked at
    BitVector total_;        // by term id: no partial function at or below
    TermMarks marks_;
};

namespace tpsubst {

using check_ptr = std::unique_ptr<ToplevelPropagator::subst_check_fun>;
/// The recognisers for conjuncts whose head has this tag, in the order they are tried.
std::vector<check_ptr> make_standard_substitutions(SymbolTag::tag tag);

} // namespace tpsubst

} // namespace tarq
