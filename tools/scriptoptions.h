// The options that a script sets with set-option and asks with get-option.
#pragma once

#include "channels.h"
#include "libraryoptions.h"

#include <string>
#include <string_view>

namespace tarq::tool {

/// Both output channels of a script. They outlive a reset of the script.
struct Channels {
    OutputChannel regular{1};
    OutputChannel diagnostic{2};
};

/// Everything that set-option has set, and the logic: the state that a script can prepare before
/// its first declaration, and that (reset) brings back to the start.
struct ScriptOptions {
    bool print_success = false;
    bool produce_models = false;
    bool produce_assignments = false; // of named formulas
    bool print_models = false;        // after each sat; set by the command line only
    bool produce_assertions = true;   // off, the source texts of assertions are not kept
    bool produce_unsat_cores = false;
    bool produce_unsat_assumptions = false;
    bool global_declarations = false;
    int random_seed = -1; // as the script gave it; -1: never
    int verbosity = 0;    // as the script gave it
    size_t collect = 0;   // see CommandLine
    LibraryOptions library;

    std::string logic;
    bool has_logic = false;
};

/// How a value was written in the script.
enum class ValueKind { boolean, numeral, decimal, text };

/// What an accepted set-option means for its caller.
enum class OptionEffect {
    none,
    unsupported, // the option is unknown; nothing was changed
    rebuild,     // the library's configuration changed: a new environment is needed
};

/// Sets an option.
/// name      with its colon
/// value     the source text; the content for a string
/// started   whether something was declared or asserted already
/// throws    ParserInterface::error for a value of the wrong kind and for an option that comes too
///           late, the library's errors for :config; nothing is changed then
OptionEffect set_script_option(std::string_view name, ValueKind kind, std::string_view value,
                               bool started, ScriptOptions* options, Channels* channels);

/// The value of an option as get-option prints it; empty for an unknown option.
std::string get_script_option(std::string_view name, const ScriptOptions& options,
                              const Channels& channels);

/// A string literal with this content.
std::string quote_string(std::string_view content);

} // namespace tarq::tool
