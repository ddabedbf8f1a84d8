#include "commandline.h"

#include "env/version.h"

#include <CLI/CLI.hpp>

#include <climits>
#include <iostream>

namespace tarq::tool {

namespace {

const char* const DESCRIPTION =
    "tarq: decides the satisfiability of SMT-LIB 2 scripts and of DIMACS CNF files";

bool has_suffix(const std::string& text, const std::string& suffix)
{
    return text.size() > suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// The check of --config; CLI11 shows the text that it returns as the error.
std::string check_assignment(const std::string& text)
{
    const size_t eq = text.find('=');
    return eq == std::string::npos || eq == 0 ? "`" + text + "' is not of the form NAME=VALUE"
                                              : std::string();
}

} // namespace

bool parse_command_line(int argc, const char* const* argv, CommandLine* out, int* status)
{
    CLI::App app(DESCRIPTION, "tarq");
    std::vector<std::string> assignments;
    int seed = 0;
    app.add_option("FILE", out->file, "Script to run; standard input without one, or for -");
    app.add_option("-c,--config", assignments, "Set an option of the library")
        ->option_text("NAME=VALUE ...")
        ->allow_extra_args(false)
        ->check(check_assignment);
    app.add_option("--config-file", out->config_file, "Read options of the library from a file")
        ->option_text("PATH");
    app.add_flag("--print-options", out->print_options, "List all options of the library");
    app.add_option("--seed", seed, "Seed of the random choices, the option random_seed")
        ->option_text("N")
        ->check(CLI::Range(1, INT_MAX));
    app.add_option("--timeout", out->timeout, "Answer unknown after this time")
        ->option_text("SECONDS")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--memory-limit", out->memory_limit, "Answer unknown beyond this much memory")
        ->option_text("MIB")
        ->check(CLI::Range(0L, LONG_MAX / 1024));
    app.add_option("--collect", out->collect,
                   "Free unused terms after a pop once this many are new; 0: after every pop")
        ->option_text("N");
    app.add_flag("--dimacs", out->dimacs,
                 "FILE is in DIMACS CNF format, as a name in .cnf says too");
    app.add_flag("--shallow", out->shallow,
                 "Realise push and pop by assumed labels instead of engine backtrack points");
    app.add_flag("--model", out->model, "Print the model after each check that answers sat");
    app.add_flag("--stats", out->stats, "Print statistics at the end, also after a signal");
    app.set_version_flag("--version", std::string("tarq ") + get_version_number(),
                         "Print the version and exit");
    app.get_option("--help")->description("Print this text and exit");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        *status = app.exit(e, std::cout, std::cerr) == 0 ? 0 : 2;
        return false;
    }
    for (const std::string& text : assignments) {
        const size_t eq = text.find('=');
        out->config.emplace_back(text.substr(0, eq), text.substr(eq + 1));
    }
    if (seed != 0) {
        out->config.emplace_back("random_seed", std::to_string(seed));
    }
    out->dimacs = out->dimacs || has_suffix(out->file, ".cnf");
    return true;
}

} // namespace tarq::tool
