// A DpllSolver whose search is done by a foreign engine. Everything else stays: variables of terms,
// backtrack points, theories.
#pragma once

#include "base/hashmap.h"
#include "dpll/dpllsolver.h"
#include "dpll/externaldpllinterface.h"

#include <cstdint>
#include <exception>
#include <vector>

namespace tarq {

/// Sends clauses and assumptions out, and mirrors the trail of the foreign engine as that reports
/// it; the theories work on the mirror. Their conflicts, reasons and lemmas go out as clauses and
/// are not kept here.
///
/// Backtrack points are assumptions of every solve. A pop leaves the point's variables behind, for
/// numbers are never used twice outside: they stand for no term and take part in nothing.
///
/// While a report is being answered (`in_callback_`) the mirror must not change under the theories.
/// What the foreign engine reports in the meantime, because a clause made it go back, waits until
/// the answer is out.
///
/// Filters that keep literals from the theories have to be off: a foreign engine cannot be told to
/// go back to where a literal was kept. See Environment::set_external_solver.
class ExternalDpllEngineHook : public DpllSolver {
public:
    /// interface  borrowed
    /// throws     Exception "proof generation is not compatible with external SAT solvers"; what
    ///            the interface throws
    ExternalDpllEngineHook(const Configuration::Dpll& config, TermManager* tm,
                           dpll::ExternalDpllInterface* interface);

    bool make_proxy(const Term_* t, int* var) override;
    int new_var() override;
    void set_frozen(int var, bool frozen) override;
    /// The result is null always.
    dpll::Clause* add_clause_inplace(std::vector<dpll::Lit>& lits, bool theory_clause,
                                     bool tell_ghost) override;
    using DpllSolver::solve;
    /// throws  Exception "external SAT solver returned unknown"; what stopped a report, such as
    ///         TerminationTest::terminated; DpllSolver::error for a model that the theories were
    ///         not asked about
    bool solve(const std::vector<dpll::Lit>& assumptions, bool keep_trail) override;
    int push_backtrack_point() override;
    void pop_backtrack_point() override;

    // The reports; see DpllCallbackEvents.
    void inform_hook_of_assignment(int lit);
    void inform_hook_of_new_level();
    void inform_hook_of_backtrack(int level);
    int no_conflict_ater_bcp(std::vector<int>& out);
    int model_found(std::vector<int>& out);
    void ask_hook_for_theory_reason(int lit, std::vector<int>& out);

protected:
    void build_model() override;
    void check_theory(bool approx) override;
    bool enqueue_theory_implications() override;
    /// 2 nothing to do, 0 clauses were added.
    int add_theory_lemmas() override;
    void remove_clauses_containing(int var) override;

private:
    class CallbackScope;

    static int to_external(dpll::Lit l) { return l.sign() ? -(l.var() + 1) : l.var() + 1; }
    dpll::Lit to_internal(int lit) const;

    void announce_var(int var);
    void send_clause(std::vector<dpll::Lit>& lits, bool ghost);
    void assign(dpll::Lit l);
    void add_false_guard();
    void store_tlemma(const std::vector<dpll::Lit>& lits);
    void take_conflict(std::vector<int>& out);
    void take_reason(dpll::Lit l, std::vector<int>& out);
    void finish_reason(dpll::Lit l, std::vector<int>& out);
    void find_failed_assumptions(const std::vector<dpll::Lit>& assumptions);
    bool has_theory_vars() const;
    int answer_bcp(std::vector<int>& out);
    int answer_model(std::vector<int>& out);
    void poll();
    template <class Body>
    auto report(Body&& body);
    template <class Body>
    int answer(Body&& body);

    dpll::ExternalDpllInterface* interface_;
    dpll::DpllCallbackEvents events_;
    std::vector<int> external_conflict_;
    std::vector<uint8_t> frozen_;                // by variable
    std::vector<dpll::Lit> pending_assignments_; // reported since the backtrack that waits
    int backtrack_to_ = -1;                      // level of a backtrack that waits
    bool in_callback_ = false;
    bool new_vars_in_callback_ = false;
    bool model_stands_ = false;     // the theories agreed to what the mirror holds
    std::exception_ptr stopped_by_; // a report ended with it; to be passed on by solve
    unsigned unpolled_ = 0;

    std::vector<std::vector<unsigned>> lemmas_under_; // by point: ids of lemmas that go with it
    hsh::HashMap<int, std::vector<int>> reasons_;     // by literal: clauses given with implications
    std::vector<int> external_;                       // scratch
};

} // namespace tarq
