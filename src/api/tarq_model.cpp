// Exported functions: models.
#include "api/frame.h"

#include "results/modelstore.h"

using namespace tarq::api;
using tarq::ModelStore;

namespace {

/// Behind tarq_model_iterator. Holds a reference on the model.
struct IteratorWrapper {
    explicit IteratorWrapper(ModelStore* m) : model(m), entries(&m->get_entries())
    {
        model->add_ref();
    }
    ~IteratorWrapper() { model->release(); }
    IteratorWrapper(const IteratorWrapper&) = delete;
    IteratorWrapper& operator=(const IteratorWrapper&) = delete;

    ModelStore* model;
    const std::vector<ModelStore::Entry>* entries;
    size_t next = 0;
};

IteratorWrapper* wrapper(tarq_model_iterator i)
{
    return static_cast<IteratorWrapper*>(i.repr);
}

ModelStore* unwrap(tarq_model m)
{
    if (!m.repr) {
        throw tarq::make_error<tarq::Exception>("null model handle");
    }
    return static_cast<ModelStore*>(m.repr);
}

/// Hands each model to the caller's function.
class CModelFoundHook : public tarq::Environment::ModelFoundHook {
public:
    CModelFoundHook(tarq_solve_diversify_model_callback func, void* user_data)
        : func_(func), user_data_(user_data)
    {
    }
    bool operator()(ModelStore* model) override
    {
        IteratorWrapper iterator(model);
        return func_(tarq_model_iterator{&iterator}, user_data_) != 0;
    }

private:
    tarq_solve_diversify_model_callback func_;
    void* user_data_;
};

} // namespace

tarq_model tarq_get_model(tarq_env e)
{
    return frame(e, error_model, [](EnvWrapper& w) {
        if (!w.env->has_model()) {
            throw tarq::make_error<tarq::Exception>("no model available");
        }
        ModelStore* m = w.env->get_model();
        m->add_ref();
        return tarq_model{m};
    });
}

void tarq_destroy_model(tarq_model m)
{
    if (m.repr) {
        unwrap(m)->release();
    }
}

tarq_term tarq_model_eval(tarq_model m, tarq_term t)
{
    return frame_without_env(error_term, [&] { return wrap(unwrap(m)->get_value(unwrap(t))); });
}

tarq_model_iterator tarq_model_create_iterator(tarq_model m)
{
    return frame_without_env(error_model_iterator,
                             [&] { return tarq_model_iterator{new IteratorWrapper(unwrap(m))}; });
}

tarq_term tarq_get_model_value(tarq_env e, tarq_term t)
{
    return frame(e, error_term,
                 [&](EnvWrapper& w) { return wrap(w.env->get_model_value(unwrap(t))); });
}

tarq_model_iterator tarq_create_model_iterator(tarq_env e)
{
    return frame(e, error_model_iterator, [](EnvWrapper& w) {
        return tarq_model_iterator{new IteratorWrapper(w.env->get_model())};
    });
}

int tarq_model_iterator_has_next(tarq_model_iterator i)
{
    return i.repr && wrapper(i)->next < wrapper(i)->entries->size();
}

int tarq_model_iterator_next(tarq_model_iterator i, tarq_term* t, tarq_term* v)
{
    if (!tarq_model_iterator_has_next(i)) {
        return -1;
    }
    const auto& [term, value] = (*wrapper(i)->entries)[wrapper(i)->next++];
    *t = wrap(term);
    *v = wrap(value);
    return 0;
}

void tarq_destroy_model_iterator(tarq_model_iterator i)
{
    delete wrapper(i);
}

int tarq_solve_diversify(tarq_env e, const tarq_term* diversifiers, size_t num_diversifiers,
                         tarq_solve_diversify_model_callback func, void* user_data)
{
    return frame(e, -1, [&](EnvWrapper& w) {
        if (!func) {
            throw tarq::make_error<tarq::Exception>("null callback argument");
        }
        const tarq::TermVector terms = unwrap_array(diversifiers, num_diversifiers);
        CModelFoundHook hook(func, user_data);
        return w.env->diversify(hook, terms);
    });
}
