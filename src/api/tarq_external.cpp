// Exported functions: the foreign SAT engine and its reports.
#include "api/frame.h"

using namespace tarq::api; // exported functions stand outside of all namespaces

namespace {

/// The frame of a report: `body` gets the record.
template <class Body>
int report(tarq_dpll_callback cb, Body&& body) noexcept
{
    auto* record = static_cast<CallbackRecord*>(cb.repr);
    if (!record || !record->events) {
        return -1;
    }
    return frame_without_env(-1, [&] {
        body(*record);
        return 0;
    });
}

/// The frame of a report with an answer.
template <class Body>
int answered_report(tarq_dpll_callback cb, tarq_truth_value* code, int** conflict,
                    Body&& body) noexcept
{
    if (!code || !conflict) {
        return -1;
    }
    return report(cb, [&](CallbackRecord& record) {
        const int result = body(*record.events, record.buffer);
        record.buffer.push_back(0);
        *code = result == 0 ? TARQ_FALSE : result == 1 ? TARQ_UNDEF : TARQ_TRUE;
        *conflict = record.buffer.data();
    });
}

} // namespace

int tarq_set_external_dpll_engine(tarq_env e, tarq_ext_dpll_interface* engine)
{
    return frame(e, -1, [&](EnvWrapper& w) {
        auto fresh = std::make_unique<CExternalDpllInterface>();
        fresh->set_table(engine);
        // The old one is in use until the environment has let it go.
        w.env->set_external_solver(engine ? fresh.get() : nullptr);
        w.external_engine = std::move(fresh);
        return 0;
    });
}

int tarq_dpll_callback_notify_assignment(tarq_dpll_callback cb, int lit)
{
    return report(cb, [&](CallbackRecord& r) { r.events->inform_hook_of_assignment(lit); });
}

int tarq_dpll_callback_notify_new_level(tarq_dpll_callback cb)
{
    return report(cb, [&](CallbackRecord& r) { r.events->inform_hook_of_new_level(); });
}

int tarq_dpll_callback_notify_backtrack(tarq_dpll_callback cb, int level)
{
    return report(cb, [&](CallbackRecord& r) { r.events->inform_hook_of_backtrack(level); });
}

int tarq_dpll_callback_no_conflict_after_bcp(tarq_dpll_callback cb, tarq_truth_value* code,
                                             int** conflict)
{
    return answered_report(cb, code, conflict,
                           [](tarq::dpll::DpllCallbackEvents& events, std::vector<int>& out) {
                               return events.no_conflict_ater_bcp(out);
                           });
}

int tarq_dpll_callback_model_found(tarq_dpll_callback cb, tarq_truth_value* code, int** conflict)
{
    return answered_report(cb, code, conflict,
                           [](tarq::dpll::DpllCallbackEvents& events, std::vector<int>& out) {
                               return events.model_found(out);
                           });
}

int tarq_dpll_callback_ask_theory_reason(tarq_dpll_callback cb, int lit, int** reason)
{
    if (!reason) {
        return -1;
    }
    return report(cb, [&](CallbackRecord& r) {
        r.events->ask_hook_for_theory_reason(lit, r.buffer);
        r.buffer.push_back(0);
        *reason = r.buffer.data();
    });
}
