// Exported functions: unsat cores and enumerations of models.
#include "api/frame.h"

#include "dpll/allsathook.h"
#include "results/unsatcorestore.h"

using namespace tarq::api;
using tarq::Term_;
using tarq::TheoryLit;

namespace {

/// The caller's function as an extractor of cores.
class CBooleanUnsatCoreExtractor : public tarq::BooleanUnsatCoreExtractor {
public:
    CBooleanUnsatCoreExtractor(tarq_ext_unsat_core_extractor func, void* user_data)
        : func_(func), user_data_(user_data)
    {
    }

    bool operator()(const std::vector<std::vector<int>>& clauses,
                    std::vector<size_t>& core) override
    {
        std::vector<int> flat;
        for (const std::vector<int>& c : clauses) {
            flat.insert(flat.end(), c.begin(), c.end());
            flat.push_back(0);
        }
        std::vector<int> indices(clauses.size() + 1); // one more, so that there is an array at all
        size_t size = clauses.size();
        if (func_(flat.data(), indices.data(), &size, user_data_) != 0 || size > clauses.size()) {
            return false;
        }
        for (size_t i = 0; i < size; ++i) {
            if (indices[i] < 0) {
                return false;
            }
            core.push_back(static_cast<size_t>(indices[i]));
        }
        return true;
    }

private:
    tarq_ext_unsat_core_extractor func_;
    void* user_data_;
};

/// Installs an extractor for the length of a block.
class ExtractorScope {
public:
    ExtractorScope(tarq::Environment* env, tarq::BooleanUnsatCoreExtractor* extractor) : env_(env)
    {
        env_->set_external_core_extractor(extractor);
    }
    ~ExtractorScope() { env_->set_external_core_extractor(nullptr); }
    ExtractorScope(const ExtractorScope&) = delete;
    ExtractorScope& operator=(const ExtractorScope&) = delete;

private:
    tarq::Environment* env_;
};

/// Hands each model to the caller's function.
class CAllSatModelFoundHook : public tarq::AllSatModelFoundHook {
public:
    CAllSatModelFoundHook(tarq::TermManager* tm, tarq_all_sat_model_callback func, void* user_data)
        : tm_(tm), func_(func), user_data_(user_data)
    {
    }

    bool operator()(std::vector<TheoryLit>& model) override
    {
        terms_.clear();
        for (TheoryLit l : model) {
            terms_.push_back(wrap(l.is_neg() ? tm_->make_not(l.get_term()) : l.get_term()));
        }
        terms_.push_back(error_term); // an array even for an empty model
        return func_(terms_.data(), static_cast<int>(model.size()), user_data_) != 0;
    }

private:
    tarq::TermManager* tm_;
    tarq_all_sat_model_callback func_;
    void* user_data_;
    std::vector<tarq_term> terms_; // of the model told last
};

template <class Func>
void want_callback(Func func)
{
    if (!func) {
        throw tarq::make_error<tarq::Exception>("null callback argument");
    }
}

tarq_term* give_core(EnvWrapper& w, size_t* out_size)
{
    tarq::TermVector terms;
    for (auto it = w.env->unsat_core_begin(); it != w.env->unsat_core_end(); ++it) {
        terms.push_back(*it);
    }
    Block<tarq_term> out = copy_terms(terms);
    *out_size = terms.size();
    return out.release();
}

} // namespace

tarq_term* tarq_get_unsat_core(tarq_env e, size_t* out_size)
{
    return frame<tarq_term*>(e, nullptr, [&](EnvWrapper& w) { return give_core(w, out_size); });
}

tarq_term* tarq_get_unsat_core_ext(tarq_env e, size_t* out_size,
                                   tarq_ext_unsat_core_extractor extractor, void* user_data)
{
    return frame<tarq_term*>(e, nullptr, [&](EnvWrapper& w) {
        want_callback(extractor);
        CBooleanUnsatCoreExtractor adapter(extractor, user_data);
        ExtractorScope scope(w.env.get(), &adapter);
        return give_core(w, out_size);
    });
}

int tarq_all_sat(tarq_env e, const tarq_term* important, size_t num_important,
                 tarq_all_sat_model_callback func, void* user_data)
{
    return frame(e, -1, [&](EnvWrapper& w) {
        want_callback(func);
        const tarq::TermVector terms = unwrap_array(important, num_important);
        CAllSatModelFoundHook hook(&w.tm(), func, user_data);
        return w.env->allsat(hook, terms);
    });
}
