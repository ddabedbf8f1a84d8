// Models: what the solvers of an environment know after a satisfiable check, and its ModelStore.
#include "env/environment.h"
#include "env/environment_solvers.h"
#include "results/modelsource.h"
#include "results/modelstore.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tarq {

/// The solvers as the source of a model.
class Environment::Model : public ModelSource {
public:
    explicit Model(const Environment& env) : env_(env) {}

    void get_atoms(std::vector<std::pair<const Term_*, bool>>& out) const override
    {
        const Solvers& s = *env_.solvers_;
        for (int var = 0; var < s.engine.num_vars(); ++var) {
            const Term_* t = s.engine.term_for_proxy(var);
            const lbool value = s.engine.get_model_value(var);
            if (t && env_.tm_->is_boolean_atom(t) && !value.is_undef() &&
                s.engine.is_problem_var(var) && !is_irrelevant(t, value == l_True)) {
                out.emplace_back(t, value == l_True);
            }
        }
    }

    const Term_* get_theory_value(const Term_* t) const override
    {
        return env_.solvers_->get_theory_value(t);
    }

    void get_definitions(std::vector<std::pair<const Term_*, const Term_*>>& out) const override
    {
        env_.solvers_->get_definitions(out);
    }

    void get_choices(std::vector<Choice>& out) const override { env_.solvers_->get_choices(out); }

private:
    /// An atom of one polarity only need not be believed when its value is the one that no clause
    /// asks for: the theories were not told.
    bool is_irrelevant(const Term_* t, bool value) const
    {
        const int polarity = env_.solvers_->polarity(t);
        return !env_.tm_->is_constant(t) && ((polarity == 1 && value) || (polarity == 2 && !value));
    }

    const Environment& env_;
};

/// Makes the store of a satisfiable check; it is filled when somebody asks.
void Environment::start_model(const std::vector<TheoryLit>& lits)
{
    if (!config_.model_generation && !config_.bool_model_generation) {
        return;
    }
    ModelStore::Options options;
    options.full = config_.model_generation;
    options.real_div_by_zero_mode = config_.theory.na.div_by_zero_mode;
    options.bv_div_by_zero_mode = config_.theory.bv.div_by_zero_mode;
    options.fp_minmax_zero_mode = config_.theory.fp.minmax_zero_mode;
    model_ = new ModelStore(tm_, options);
    model_->set_logger(&logger_);
    model_->set_termination_test(termination_test_);
    model_assertions_ = assertions_done_;
    model_formulas_.clear();
    for (TheoryLit l : lits) {
        model_formulas_.push_back(l.is_neg() ? tm_->make_not(l.get_term()) : l.get_term());
    }
}

/// A store that somebody else holds was filled when it was handed out, and stands without this
/// environment from then on.
void Environment::drop_model()
{
    if (model_) {
        model_->set_logger(nullptr);
        model_->set_termination_test(nullptr);
        model_->release();
        model_ = nullptr;
    }
}

ModelStore* Environment::get_model()
{
    if (!model_) {
        throw make_error<error>("model generation not enabled");
    }
    if (model_->get_state() == 0) {
        if (config_.model_generation) {
            TermVector formulas(model_formulas_);
            const auto end = assertions_.begin() + static_cast<ptrdiff_t>(model_assertions_);
            std::copy_if(assertions_.begin(), end, std::back_inserter(formulas),
                         [](const Term_* t) { return t != nullptr; });
            model_->set_formulas(std::move(formulas));
        }
        model_->compute(Model(*this));
    }
    return model_;
}

const Term_* Environment::get_model_value(const Term_* t)
{
    return get_model()->get_value(t);
}

int Environment::diversify(ModelFoundHook& hook, TermArgs diversifiers)
{
    if (!config_.model_generation) {
        throw make_error<error>("model generation must be enabled for diversification");
    }
    int count = 0;
    while (do_check() > 0) {
        ++count;
        ModelStore* model = get_model();
        model->check();
        if (!hook(model)) {
            break;
        }
        const Term_* differs = tm_->make_false();
        for (const Term_* d : diversifiers) {
            const Term_* value = model->get_value(d);
            const Term_* other;
            if (TermManager::get_type(d) == tm_->get_bool_type()) {
                other = tm_->is_true(value) ? tm_->make_not(d) : d;
            } else if (tm_->is_number(value)) {
                other = tm_->make_not(tm_->make_equal(d, value));
            } else {
                throw make_error<Exception>("bad model value for diversifier: ", d->to_str(1000));
            }
            differs = tm_->make_or(differs, other);
        }
        if (!diversifiers.empty()) {
            assert_formula(differs);
        }
    }
    return count;
}

} // namespace tarq
