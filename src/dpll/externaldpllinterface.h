// The boundary to a foreign SAT engine: what it is asked, and what it reports.
//
// Outside, variable v of the engine is v + 1, and a literal is v + 1 or -(v + 1).
#pragma once

#include <vector>

namespace tarq {

class ExternalDpllEngineHook;

namespace dpll {

/// What a foreign engine reports while it solves, in the order in which it happens. Of a call that
/// throws the engine learns only that it failed; it is to give up then.
class DpllCallbackEvents {
public:
    explicit DpllCallbackEvents(ExternalDpllEngineHook* hook) : hook_(hook) {}

    /// The literal got true, at the newest level.
    void inform_hook_of_assignment(int lit);
    void inform_hook_of_new_level();
    /// All above `level` is undone.
    void inform_hook_of_backtrack(int level);
    /// Propagation has ended without a conflict.
    /// out      cleared; a clause whose literals are all false, on result 0
    /// returns  0 conflict; 1 something changed, propagate again; 2 go on
    int no_conflict_ater_bcp(std::vector<int>& out);
    /// All variables are assigned. As the last; 2 means that the model stands.
    int model_found(std::vector<int>& out);
    /// Why a literal that was handed to enqueue_assignment is true.
    /// out  cleared; a clause with that literal, all others being false
    void ask_hook_for_theory_reason(int lit, std::vector<int>& out);

private:
    ExternalDpllEngineHook* hook_;
};

/// A foreign engine. Lists of literals are without a terminator here. Operations throw Exception
/// when the engine reports a failure.
class ExternalDpllInterface {
public:
    virtual ~ExternalDpllInterface() = default;

    /// in_callback  the engine is in the middle of a report
    virtual void add_clause(const std::vector<int>& lits, bool ghost, bool in_callback) = 0;
    /// conflict  after false: assumptions that can't hold together, with any sign
    /// returns   true for satisfiable
    virtual bool solve(const std::vector<int>& assumptions, std::vector<int>& conflict) = 0;
    /// -1 false, 1 true, 0 neither.
    virtual int model_value(int var) = 0;
    virtual void set_decision_var(int var, bool b) = 0;
    virtual void set_frozen(int var, bool b) = 0;
    virtual void new_var(bool decision, bool problem) = 0;
    /// The literal follows from what was reported.
    virtual void enqueue_assignment(int lit) = 0;
    /// The positive literal of the variable will never be assumed again.
    virtual void remove_clauses_containing(int var) = 0;
    /// Forget everything.
    virtual void reset_interface() = 0;
    /// Clauses that the assignment makes unit or false come, or a point goes.
    virtual void fiver_reset() {}
    virtual void set_callback_sink(DpllCallbackEvents* events) = 0;
};

} // namespace dpll

} // namespace tarq
