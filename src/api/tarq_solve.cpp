// Exported functions: assertions, checks and what is read after them.
#include "api/frame.h"

#include <sstream>

using namespace tarq::api;
using tarq::Term_;
using tarq::TheoryLit;

namespace {

/// The internal coding of results and that of the interface happen to use the same numbers; this is
/// the one place that relies on it.
tarq_result to_result(int r)
{
    return r == 1 ? TARQ_SAT : r == 0 ? TARQ_UNSAT : TARQ_UNKNOWN;
}

tarq::lbool to_lbool(tarq_truth_value v)
{
    return v == TARQ_TRUE ? tarq::l_True : v == TARQ_FALSE ? tarq::l_False : tarq::l_Undef;
}

/// The frame of an operation that gives nothing back.
template <class Body>
int run(tarq_env e, Body&& body) noexcept
{
    return frame(e, -1, [&](EnvWrapper& w) {
        body(*w.env);
        return 0;
    });
}

/// Hands out an array of terms.
tarq_term* give_terms(const tarq::TermVector& terms, size_t* out_size)
{
    Block<tarq_term> out = copy_terms(terms);
    *out_size = terms.size();
    return out.release();
}

} // namespace

int tarq_assert_formula(tarq_env e, tarq_term formula)
{
    return run(e, [&](tarq::Environment& env) { env.assert_formula(unwrap(formula)); });
}

int tarq_push_backtrack_point(tarq_env e)
{
    return run(e, [](tarq::Environment& env) { env.push_backtrack_point(); });
}

int tarq_pop_backtrack_point(tarq_env e)
{
    return run(e, [](tarq::Environment& env) { env.pop_backtrack_point(); });
}

size_t tarq_num_backtrack_points(tarq_env e)
{
    return e.repr ? static_cast<size_t>(wrapper(e)->env->num_backtrack_points()) : 0;
}

tarq_result tarq_solve(tarq_env e)
{
    return frame(e, TARQ_UNKNOWN, [](EnvWrapper& w) { return to_result(w.env->check()); });
}

tarq_result tarq_solve_with_assumptions(tarq_env e, const tarq_term* assumptions,
                                        size_t num_assumptions)
{
    return frame(e, TARQ_UNKNOWN, [&](EnvWrapper& w) {
        std::vector<TheoryLit> lits;
        for (const Term_* t : unwrap_array(assumptions, num_assumptions)) {
            bool negated = false;
            for (; w.tm().is_not(t); t = t->child(0)) {
                negated = !negated;
            }
            lits.emplace_back(t, negated);
        }
        return to_result(w.env->check_with_assumptions(lits));
    });
}

int tarq_add_preferred_for_branching(tarq_env e, tarq_term b, tarq_truth_value phase)
{
    return run(e, [&](tarq::Environment& env) {
        env.add_preferred_for_branching(unwrap(b), to_lbool(phase));
    });
}

int tarq_clear_preferred_for_branching(tarq_env e)
{
    return run(e, [](tarq::Environment& env) { env.clear_preferred_for_branching(); });
}

tarq_term* tarq_get_asserted_formulas(tarq_env e, size_t* out_size)
{
    return frame<tarq_term*>(e, nullptr, [&](EnvWrapper& w) {
        tarq::TermVector terms;
        w.env->get_asserted_formulas(&terms);
        return give_terms(terms, out_size);
    });
}

tarq_term* tarq_get_unsat_assumptions(tarq_env e, size_t* out_size)
{
    return frame<tarq_term*>(e, nullptr, [&](EnvWrapper& w) {
        tarq::TermVector terms;
        for (auto it = w.env->unsat_assumptions_begin(); it != w.env->unsat_assumptions_end();
             ++it) {
            terms.push_back(it->is_neg() ? w.tm().make_not(it->get_term()) : it->get_term());
        }
        return give_terms(terms, out_size);
    });
}

char* tarq_get_search_stats(tarq_env e)
{
    return frame<char*>(e, nullptr, [](EnvWrapper& w) {
        std::ostringstream out;
        w.env->print_stats(out, "");
        return copy_text(out.str());
    });
}
