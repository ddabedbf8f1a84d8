// Exported functions: memory and version, configurations, environments.
#include "api/frame.h"

#include "env/version.h"

#include <fstream>
#include <sstream>

using namespace tarq::api; // exported functions stand outside of all namespaces

namespace {

/// Makes a configuration and lets `fill` set it up; an error handle when that fails.
template <class Fill>
tarq_config make_config(Fill&& fill) noexcept
{
    return frame_without_env(error_config, [&] {
        auto w = std::make_unique<ConfigWrapper>();
        fill(w->setter);
        return tarq_config{w.release()};
    });
}

ConfigWrapper& unwrap(tarq_config cfg)
{
    if (!cfg.repr) {
        throw tarq::make_error<tarq::Exception>("null configuration handle");
    }
    return *static_cast<ConfigWrapper*>(cfg.repr);
}

/// Transfers the options of `cfg` and makes an environment on the given term manager, null for one
/// of its own.
tarq_env make_env(tarq_config cfg, tarq::TermManager* tm)
{
    ConfigWrapper& c = unwrap(cfg);
    c.setter.update_config(&c.config);
    auto w = std::make_unique<EnvWrapper>();
    w->env = std::make_unique<tarq::Environment>(&c.config, tm);
    return tarq_env{w.release()};
}

} // namespace

// Memory, version, errors

void tarq_free(void* mem)
{
    std::free(mem);
}

char* tarq_get_version()
{
    return frame_without_env<char*>(nullptr, [] { return copy_text(tarq::get_version_text()); });
}

const char* tarq_last_error_message(tarq_env e)
{
    return e.repr ? wrapper(e)->last_error.c_str() : nullptr;
}

// Configuration

tarq_config tarq_create_config()
{
    return make_config([](tarq::ConfigurationSetter&) {});
}

tarq_config tarq_create_default_config(const char* logic)
{
    return make_config([&](tarq::ConfigurationSetter& setter) {
        setter.set_active_config(text_arg(logic));
        setter.load_default();
    });
}

tarq_config tarq_parse_config(const char* data)
{
    return make_config([&](tarq::ConfigurationSetter& setter) {
        std::istringstream in(text_arg(data));
        setter.load(in);
    });
}

tarq_config tarq_parse_config_file(const char* filename)
{
    return make_config([&](tarq::ConfigurationSetter& setter) {
        std::ifstream in(text_arg(filename));
        if (!in) {
            throw tarq::make_error<tarq::Exception>("can't open file `", filename, "'");
        }
        setter.load(in);
    });
}

void tarq_destroy_config(tarq_config cfg)
{
    delete static_cast<ConfigWrapper*>(cfg.repr);
}

int tarq_set_option(tarq_config cfg, const char* option, const char* value)
{
    return frame_without_env(-1, [&] {
        unwrap(cfg).setter.set_option(text_arg(option), text_arg(value));
        return 0;
    });
}

// Environment

tarq_env tarq_create_env(tarq_config cfg)
{
    return frame_without_env(error_env, [&] { return make_env(cfg, nullptr); });
}

tarq_env tarq_create_shared_env(tarq_config cfg, tarq_env sibling)
{
    return frame(sibling, error_env, [&](EnvWrapper& w) { return make_env(cfg, &w.tm()); });
}

void tarq_destroy_env(tarq_env e)
{
    delete wrapper(e);
}

int tarq_reset_env(tarq_env e)
{
    return frame(e, -1, [](EnvWrapper& w) {
        w.env->reset_assertions();
        return 0;
    });
}

int tarq_gc_env(tarq_env e, const tarq_term* tokeep, size_t num_tokeep)
{
    return frame(e, -1, [&](EnvWrapper& w) {
        tarq::TermSet keep;
        for (const tarq::Term_* t : unwrap_array(tokeep, num_tokeep)) {
            keep.insert(t);
        }
        w.env->gc(keep);
        return 0;
    });
}

int tarq_set_termination_test(tarq_env e, tarq_termination_test func, void* user_data)
{
    return frame(e, -1, [&](EnvWrapper& w) {
        w.termination_test.set(func, user_data);
        w.env->set_termination_test(func ? &w.termination_test : nullptr);
        return 0;
    });
}
