#include "scriptoptions.h"

#include "base/configuration.h"
#include "lang/parserinterface.h"

#include <algorithm>

namespace tarq::tool {

namespace {

struct FlagRow {
    const char* name;
    bool ScriptOptions::*field;
    bool start_only;
};

constexpr FlagRow FLAGS[] = {
    {":print-success", &ScriptOptions::print_success, false},
    {":produce-models", &ScriptOptions::produce_models, true},
    {":produce-assignments", &ScriptOptions::produce_assignments, true},
    {":produce-assertions", &ScriptOptions::produce_assertions, true},
    {":interactive-mode", &ScriptOptions::produce_assertions, true},
    {":produce-unsat-cores", &ScriptOptions::produce_unsat_cores, true},
    {":produce-unsat-assumptions", &ScriptOptions::produce_unsat_assumptions, true},
    {":global-declarations", &ScriptOptions::global_declarations, true},
};

struct ChannelRow {
    const char* name;
    OutputChannel Channels::*channel;
};

constexpr ChannelRow CHANNELS[] = {
    {":regular-output-channel", &Channels::regular},
    {":diagnostic-output-channel", &Channels::diagnostic},
};

// Levels above this one mean the same as this one.
constexpr int MAX_VERBOSITY = 2;

template <class Rows>
auto find_row(const Rows& rows, std::string_view name)
{
    return std::find_if(std::begin(rows), std::end(rows),
                        [name](const auto& row) { return row.name == name; });
}

void want(bool ok, std::string_view name, const char* what)
{
    if (!ok) {
        throw make_error<ParserInterface::error>("option ", name, " takes ", what);
    }
}

void want_start(bool started, std::string_view name)
{
    if (started) {
        throw make_error<ParserInterface::error>(
            "option ", name, " can be set only before the first declaration or assertion");
    }
}

// The numeral as an int; the driver passes larger ones on as text, which is refused as well.
int to_int(ValueKind kind, std::string_view name, std::string_view value)
{
    want(kind == ValueKind::numeral, name, "a numeral");
    long n = 0;
    for (const char c : value) {
        n = std::min(n * 10 + (c - '0'), 1L << 31);
    }
    want(n < (1L << 31), name, "a numeral below 2147483648");
    return static_cast<int>(n);
}

void set_config(std::string_view value, LibraryOptions* library)
{
    const size_t eq = value.find('=');
    want(eq != std::string_view::npos && eq > 0, ":config", "a text \"NAME=VALUE\"");
    library->set(std::string(value.substr(0, eq)), std::string(value.substr(eq + 1)));
}

} // namespace

OptionEffect set_script_option(std::string_view name, ValueKind kind, std::string_view value,
                               bool started, ScriptOptions* options, Channels* channels)
{
    if (const auto flag = find_row(FLAGS, name); flag != std::end(FLAGS)) {
        want(kind == ValueKind::boolean, name, "true or false");
        if (flag->start_only) {
            want_start(started, name);
        }
        options->*(flag->field) = value == "true";
        if (flag->field == &ScriptOptions::produce_models ||
            flag->field == &ScriptOptions::produce_assignments) {
            const bool wanted =
                options->produce_models || options->produce_assignments || options->print_models;
            options->library.set("model_generation", wanted ? "true" : "false");
            return OptionEffect::rebuild;
        }
        if (flag->field == &ScriptOptions::produce_unsat_cores) {
            // as a default: whoever chose a way of finding cores keeps it
            options->library.set_default("unsat_core_generation",
                                         options->produce_unsat_cores ? "3" : "0");
            return OptionEffect::rebuild;
        }
        return OptionEffect::none;
    }
    if (const auto row = find_row(CHANNELS, name); row != std::end(CHANNELS)) {
        want(kind == ValueKind::text && !value.empty(), name, "a text");
        (channels->*(row->channel)).redirect(std::string(value));
        return OptionEffect::none;
    }
    if (name == ":random-seed") {
        const int seed = to_int(kind, name, value);
        want_start(started, name);
        // 0 asks for the default of the language; the library has one of its own.
        if (seed != 0) {
            options->library.set("random_seed", std::to_string(seed));
        }
        options->random_seed = seed;
        return OptionEffect::rebuild;
    }
    if (name == ":verbosity") {
        const int level = to_int(kind, name, value);
        want_start(started, name);
        options->library.set("verbosity", std::to_string(std::min(level, MAX_VERBOSITY)));
        options->verbosity = level;
        return OptionEffect::rebuild;
    }
    if (name == ":config") {
        want(kind == ValueKind::text, name, "a text \"NAME=VALUE\"");
        want_start(started, name);
        set_config(value, &options->library);
        return OptionEffect::rebuild;
    }
    return OptionEffect::unsupported;
}

std::string get_script_option(std::string_view name, const ScriptOptions& options,
                              const Channels& channels)
{
    if (const auto flag = find_row(FLAGS, name); flag != std::end(FLAGS)) {
        return options.*(flag->field) ? "true" : "false";
    }
    if (const auto row = find_row(CHANNELS, name); row != std::end(CHANNELS)) {
        return quote_string((channels.*(row->channel)).name());
    }
    if (name == ":random-seed") {
        if (options.random_seed >= 0) {
            return std::to_string(options.random_seed);
        }
        Configuration config;
        options.library.build(&config);
        return std::to_string(config.random_seed);
    }
    if (name == ":verbosity") {
        return std::to_string(options.verbosity);
    }
    return std::string();
}

std::string quote_string(std::string_view content)
{
    std::string text = "\"";
    for (const char c : content) {
        text += c;
        if (c == '"') {
            text += c;
        }
    }
    text += '"';
    return text;
}

} // namespace tarq::tool
