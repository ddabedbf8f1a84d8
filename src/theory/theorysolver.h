// TheorySolver: the contract between the theory manager and a decision procedure.
#pragma once

#include "base/exception.h"
#include "base/lbool.h"
#include "terms/theorylit.h"
#include "theory/theoryeq.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tarq {

class Logger;
class PolarityChecker;
class TermManager;
class TerminationTest;
class TheoryEqPropagator;

/// What a solver says to a new atom.
struct TellAtomResult {
    bool owned = false;      // the atom belongs to the solver's own signature
    bool interested = false; // the solver must receive its literals
};

/// How the manager and the engine keep the clause of a lemma.
enum LemmaFlags : unsigned {
    LEMMA_KEEP = 1,          // a clause of the problem side, else a removable learnt one
    LEMMA_NO_TCOMB = 2,      // its new atoms take no part in the detection of interface terms
    LEMMA_HAS_DEP = 4,       // its new atoms are decided only while `dep_atom` is
    LEMMA_CLASSIFY = 8,      // its new atoms get interpolation groups
    LEMMA_REMOVABLE = 16,    // with LEMMA_KEEP: among the learnt clauses, may be dropped
    LEMMA_PROBLEM_VARS = 32, // its new atoms must be assigned when models are wanted
};

struct LemmaInfo {
    void* id = nullptr; // handed back to retract_lemma; null when the solver keeps no data for it
    unsigned flags = 0;
    const Term_* dep_atom = nullptr; // of LEMMA_HAS_DEP
};

/// A theory's decision procedure. It works on atoms and never sees a variable of the engine.
///
/// Life cycle, as the manager drives it:
///   1. The setters, then `tell_atom` once for each atom, at any level and before any `assume` of
///      it; also from inside `get_lemma`'s caller for the new atoms of a lemma. `retract_atom` in
///      reverse order, before the `pop_backtrack_point` of the scope that goes.
///   2. After each Boolean propagation: `assume` for the new literals, `check(true)`; with a total
///      assignment `check(false)`. Then `get_conflict` if one of them returned false; else lemmas
///      while `has_lemmas`, then `get_next_implied` up to tlit_Undef.
///   3. `new_decision_level` and `cancel_until` bracket levels; the latter is the only way out of a
///      conflict. `push_backtrack_point` and `pop_backtrack_point` come at level 0 of the search.
///   4. `build_abstract_model`, then `equal_in_model`, when interface equalities are looked for;
///      `build_model`, then `get_model_value`, while the satisfying assignment stands.
/// A TheoryEq may come between any two calls. After an exception a solver can still be destroyed,
/// and `cancel_until` and `pop_backtrack_point` work.
class TheorySolver {
public:
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    static constexpr uint32_t NO_HINT = ~uint32_t{0};

    /// tm  owns all terms of this context; borrowed. The solver starts with a logger of its own.
    explicit TheorySolver(TermManager* tm);
    virtual ~TheorySolver();
    TheorySolver(const TheorySolver&) = delete;
    TheorySolver& operator=(const TheorySolver&) = delete;

    virtual const char* get_name() const { return ""; }
    /// Whether the terms of this solver are terms of EUF with extra axioms.
    virtual bool is_euf_extension() const { return false; }

    /// Borrows `logger` in place of the solver's own.
    virtual void set_logger(Logger* logger);
    /// Polled in long loops; a subclass hands it on to its inner engines. May be null.
    virtual void set_termination_test(const TerminationTest* test) { termination_test_ = test; }
    /// For solvers that derive equalities.
    virtual void set_eq_propagator(TheoryEqPropagator*) {}
    virtual void set_polarity_checker(const PolarityChecker* p) { polarity_checker_ = p; }

    /// Must not fail for atoms of other theories.
    virtual TellAtomResult tell_atom(const Term_* atom);
    /// Only for atoms that the solver was interested in, and for all if it is EUF.
    /// throws  error by default: who takes atoms must be able to forget them
    virtual void retract_atom(const Term_* atom);

    virtual void new_decision_level() {}
    /// Undoes what was assumed above `level`, with pending implications and the conflict; lemmas
    /// that were handed out stay valid. A level at or above the present one only clears a conflict.
    virtual void cancel_until(int) {}
    virtual void push_backtrack_point() {}
    /// The scope's atoms have been retracted before.
    virtual void pop_backtrack_point() {}

    /// The literal is true from now on. Returns false when a conflict is found at once.
    virtual bool assume(TheoryLit) { return true; }
    /// An equality that another solver derived. The object lives only during the call: new_copy
    /// keeps it.
    virtual bool assume(TheoryEq*) { return true; }
    /// Returns false for a conflict.
    /// approx  the assignment is partial, a cheap sufficient test will do; otherwise the answer
    ///         true means consistent, or there are lemmas that make progress
    virtual bool check(bool) { return true; }
    /// After false: appends literals, all assumed true, that are inconsistent together. No
    /// equality of another solver is left unexplained in it.
    virtual void get_conflict(std::vector<TheoryLit>& out);

    /// A literal over a told atom that follows from what was assumed, or tlit_Undef.
    virtual TheoryLit get_next_implied() { return tlit_Undef; }
    /// Appends literals, all true before `l` was, that imply `l`; possible until its level is
    /// cancelled.
    /// required  when false, the solver may decline by returning false
    virtual bool get_explanation(TheoryLit l, bool required, std::vector<TheoryLit>& out);

    virtual bool has_lemmas() { return false; }
    /// Appends the literals of one valid clause; they may be over new atoms.
    virtual LemmaInfo get_lemma(std::vector<TheoryLit>& clause);
    /// The clause is gone: frees what is behind its id.
    virtual void retract_lemma(void* id);

    /// Fixes a value for every term of the solver; what is assumed is consistent.
    virtual void build_model() {}
    /// An interned constant of the type of `t`, or null when this solver has no value for it.
    virtual const Term_* get_model_value(const Term_*) { return nullptr; }
    virtual uint32_t get_model_value_hint(const Term_*) { return NO_HINT; }
    /// A candidate assignment for equal_in_model, cheaper than a model.
    virtual void build_abstract_model();
    /// l_Undef when the solver does not know the terms.
    virtual lbool equal_in_model(const Term_* a, const Term_* b);

    /// Whether the head of `t` can't be an operation of this theory.
    virtual bool is_alien(const Term_* t);
    /// `t` is shared between theories: the solver must be able to value and to compare it.
    virtual void notify_interface_term(const Term_*) {}
    virtual void retract_interface_term(const Term_*) {}
    /// Whether the equality of the two should be an atom at once, for its own use.
    virtual bool is_interesting_interface_equality(const Term_*, const Term_*) { return false; }

    /// Counters: name and value.
    virtual std::vector<std::pair<std::string, std::string>> get_stats() const { return {}; }

protected:
    /// The logger, whose lines start with the tag and " - ".
    Logger& log(int level, const char* tag);
    /// Whether such a message would be written. Asked first where literals come and go.
    bool is_logging(int level, const char* tag) const;
    /// Polls the termination test, if there is one.
    void poll() const;

    TermManager* tm_;
    const TerminationTest* termination_test_ = nullptr;
    const PolarityChecker* polarity_checker_ = nullptr;

private:
    std::unique_ptr<Logger> own_logger_;
    Logger* logger_;
};

} // namespace tarq
