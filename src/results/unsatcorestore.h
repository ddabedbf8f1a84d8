// UnsatCoreStore: which asserted formulas a refutation needed.
#pragma once

#include "base/configuration.h"
#include "base/exception.h"
#include "dpll/lit.h"
#include "terms/termmanager.h"

#include <cstddef>
#include <vector>

namespace tarq {

class DpllSolver;

namespace dpll {
class Clause;
}

/// Finds an unsatisfiable subset of a set of clauses; somebody else's program, mostly.
class BooleanUnsatCoreExtractor {
public:
    virtual ~BooleanUnsatCoreExtractor() = default;
    /// clauses  unsatisfiable; literals are +n and -n for variables from n = 1, without gaps
    /// core     gets the indices of the clauses of the subset
    /// Returns whether it succeeded.
    virtual bool operator()(const std::vector<std::vector<int>>& clauses,
                            std::vector<size_t>& core) = 0;
};

/// Records, while formulas are asserted, what leads from the engine's refutation back to them.
///
/// With `unsat_core_generation` 3 each formula is weakened by a label of its own, and the engine
/// assumes the labels: those among its failed assumptions name the core. With 2 the clauses of each
/// formula are kept, and an extractor finds a core of them together with the lemmas of the theories
/// (lemma lifting; Cimatti, Griggio, Sebastiani: Computing small unsatisfiable cores in
/// satisfiability modulo theories, JAIR 2011).
///
/// Life cycle: add_formula before each formula is processed, add_clause for the clauses it becomes,
/// points in step with the engine's, start_check and tell_unsat around each search. The core is
/// computed when somebody asks.
///
/// Owns a reference on every clause kept. Borrows everything else.
///
/// Invariants: (1) with labels, `labels_` is parallel to `formulas_`. (2) A trivial core, that of a
/// formula which is false by itself, stands until that formula is popped.
class UnsatCoreStore {
public:
    class error : public Exception {
    public:
        using Exception::Exception;
    };

    using iterator = TermSet::const_iterator;

    UnsatCoreStore(const Configuration& config, TermManager* tm, DpllSolver* solver);
    ~UnsatCoreStore();
    UnsatCoreStore(const UnsatCoreStore&) = delete;
    UnsatCoreStore& operator=(const UnsatCoreStore&) = delete;

    // While formulas are asserted

    /// Records an asserted formula.
    /// f        as it was asserted; names it in the core
    /// meaning  an equivalent formula
    /// returns  what is to be asserted: `meaning`, weakened by a fresh label if there are labels and
    ///          it is not false
    const Term_* add_formula(const Term_* f, const Term_* meaning);
    /// The newest formula turned out to be false by itself.
    void set_trivial_unsat_core();
    /// Records a clause of the newest formula; null and, with labels, everything is ignored.
    void add_clause(dpll::Clause* c);
    /// While on, clauses that are added define something and belong to no formula.
    void set_defining(bool on) { is_defining_ = on; }

    void push_backtrack_point();
    /// keep_clauses  the clauses made since the point stay in the engine; they belong to no formula
    ///               any more
    void pop_backtrack_point(bool keep_clauses);

    // Around checks

    /// Appends the labels, which a search has to assume.
    void get_assumptions(std::vector<dpll::Lit>* out) const;
    /// The last answer does not count any more.
    void forget_refutation();
    /// The engine has just answered that the problem is unsatisfiable.
    void tell_unsat();
    bool has_trivial_unsat_core() const { return trivial_index_ >= 0; }

    // The core

    /// e  asked when a core is computed from clauses; borrowed, null for none
    void set_external_core_extractor(BooleanUnsatCoreExtractor* e) { external_ = e; }
    /// The formulas of the core, without repetitions. Computed by the first call after a check.
    /// throws  UnsatCoreStore::error "no unsatisfiability proof, impossible to compute unsat core"
    ///         without an unsatisfiable answer, or without labels and extractor; "failure in
    ///         computing unsat core with external extractor". The next call tries again.
    iterator begin();
    iterator end() const { return core_.end(); }

private:
    static constexpr size_t NO_FORMULA = ~size_t{0};

    struct ClauseOrigin {
        dpll::Clause* clause;
        size_t formula; // index, or NO_FORMULA
    };
    /// A clause on its way to the extractor.
    struct ExtractorClause {
        std::vector<dpll::Lit> lits; // ascending
        size_t formula;
        bool operator<(const ExtractorClause& o) const
        {
            return lits != o.lits ? lits < o.lits : formula < o.formula;
        }
    };
    /// The lengths of the vectors at a backtrack point.
    struct Frame {
        size_t formulas;
        size_t clauses;
    };

    const Term_* create_label();
    void compute();
    void compute_from_labels();
    void compute_external();
    std::vector<ExtractorClause> collect_clauses() const;
    std::vector<dpll::Lit> without_guards(const dpll::Clause* c) const;

    TermManager* tm_;
    DpllSolver* solver_;
    const bool use_labels_;
    TermVector formulas_;
    std::vector<dpll::Lit> labels_; // negative literals; lit_Undef for a formula without a label
    size_t num_labels_ = 0;         // made so far
    std::vector<ClauseOrigin> clause_formula_; // in the order the clauses came
    std::vector<Frame> frames_;
    bool is_defining_ = false;

    std::vector<dpll::Lit> failed_; // the engine's final conflict at the last refutation
    bool has_refutation_ = false;
    long trivial_index_ = -1; // in formulas_, of the formula that is false by itself
    bool computed_ = false;
    TermSet core_;
    BooleanUnsatCoreExtractor* external_ = nullptr;
};

} // namespace tarq
