// A caller's table of functions as a foreign SAT engine.
#pragma once

#include "dpll/externaldpllinterface.h"
#include "tarq.h"

#include <vector>

namespace tarq::api {

/// Behind tarq_dpll_callback: where reports go, and the list that the last answer left.
struct CallbackRecord {
    dpll::DpllCallbackEvents* events = nullptr;
    std::vector<int> buffer;
};

/// Calls the functions of the table; each gets the table's address first.
///
/// Errors, all Exception: "error reported by the external SAT solver on OPERATION" for a status
/// other than 0; "external SAT solver returned unknown".
class CExternalDpllInterface : public dpll::ExternalDpllInterface {
public:
    /// Borrows the table.
    void set_table(tarq_ext_dpll_interface* table) { table_ = table; }

    void add_clause(const std::vector<int>& lits, bool ghost, bool in_callback) override;
    bool solve(const std::vector<int>& assumptions, std::vector<int>& conflict) override;
    int model_value(int var) override;
    void set_decision_var(int var, bool b) override;
    void set_frozen(int var, bool b) override;
    void new_var(bool decision, bool problem) override;
    void enqueue_assignment(int lit) override;
    void remove_clauses_containing(int var) override;
    void reset_interface() override;
    void set_callback_sink(dpll::DpllCallbackEvents* events) override;

private:
    int* terminated(const std::vector<int>& lits);

    tarq_ext_dpll_interface* table_ = nullptr;
    CallbackRecord record_;
    std::vector<int> scratch_;
};

} // namespace tarq::api
