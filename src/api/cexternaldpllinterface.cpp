#include "api/cexternaldpllinterface.h"

#include "base/exception.h"

namespace tarq::api {

namespace {

void require_success(int status, const char* operation)
{
    if (status != 0) {
        throw make_error<Exception>("error reported by the external SAT solver on ", operation);
    }
}

} // namespace

/// The list with its 0, until the next call.
int* CExternalDpllInterface::terminated(const std::vector<int>& lits)
{
    scratch_.assign(lits.begin(), lits.end());
    scratch_.push_back(0);
    return scratch_.data();
}

void CExternalDpllInterface::add_clause(const std::vector<int>& lits, bool ghost, bool in_callback)
{
    table_->add_clause(table_, terminated(lits), ghost, in_callback);
}

bool CExternalDpllInterface::solve(const std::vector<int>& assumptions, std::vector<int>& conflict)
{
    std::vector<int> list(assumptions); // scratch_ serves the calls that come in between
    list.push_back(0);
    int* out = nullptr;
    const tarq_result result = table_->solve(table_, list.data(), &out);
    if (result != TARQ_SAT && result != TARQ_UNSAT) {
        throw make_error<Exception>("external SAT solver returned unknown");
    }
    conflict.clear();
    if (result == TARQ_UNSAT && out) {
        for (; *out != 0; ++out) {
            conflict.push_back(*out);
        }
    }
    return result == TARQ_SAT;
}

int CExternalDpllInterface::model_value(int var)
{
    const tarq_truth_value v = table_->model_value(table_, var);
    return v == TARQ_TRUE ? 1 : v == TARQ_FALSE ? -1 : 0;
}

void CExternalDpllInterface::set_decision_var(int var, bool b)
{
    require_success(table_->set_decision_var(table_, var, b), "set_decision_var");
}

void CExternalDpllInterface::set_frozen(int var, bool b)
{
    require_success(table_->set_frozen(table_, var, b), "set_frozen");
}

void CExternalDpllInterface::new_var(bool decision, bool problem)
{
    table_->new_var(table_, decision, problem);
}

void CExternalDpllInterface::enqueue_assignment(int lit)
{
    require_success(table_->enqueue_assignment(table_, lit), "enqueue_assignment");
}

void CExternalDpllInterface::remove_clauses_containing(int var)
{
    require_success(table_->remove_clauses_containing(table_, var), "remove_clauses_containing");
}

void CExternalDpllInterface::reset_interface()
{
    require_success(table_->reset(table_), "reset");
}

void CExternalDpllInterface::set_callback_sink(dpll::DpllCallbackEvents* events)
{
    record_.events = events;
    require_success(table_->set_callback(table_, tarq_dpll_callback{&record_}), "set_callback");
}

} // namespace tarq::api
