// The program: reads its command line and runs one script, or one CNF file.
#include "channels.h"
#include "commandline.h"
#include "dimacsrunner.h"
#include "libraryoptions.h"
#include "scriptrunner.h"
#include "stop.h"

#include "base/exception.h"

#include <cstdlib>
#include <iostream>

namespace tarq::tool {

namespace {

constexpr int BAD_USAGE = 2;

/// Does what the command line says; returns the exit status.
int run(const CommandLine& line)
{
    LibraryOptions options;
    try {
        // A problem in DIMACS form starts from options of its own, which anything given here
        // changes.
        if (line.dimacs) {
            set_dimacs_options(&options);
        }
        if (!line.config_file.empty()) {
            options.load_file(line.config_file);
        }
        for (const auto& [name, value] : line.config) {
            options.set(name, value);
        }
        options.set_shallow(line.shallow);
    } catch (const Exception& e) {
        std::cerr << "tarq: " << e.what() << '\n';
        return BAD_USAGE;
    }
    if (line.print_options) {
        std::cout << list_library_options() << std::flush;
        return 0;
    }
    Stop::install(line.timeout, line.memory_limit);
    InputBuffer input(line.file);
    return line.dimacs ? run_dimacs(&input, options, line.stats)
                       : run_script(&input, options, line);
}

} // namespace

} // namespace tarq::tool

int main(int argc, char** argv)
{
    tarq::tool::CommandLine line;
    int status = 0;
    if (tarq::tool::parse_command_line(argc, argv, &line, &status)) {
        try {
            status = tarq::tool::run(line);
        } catch (const std::exception& e) {
            std::cerr << "tarq: " << e.what() << '\n';
            status = 2;
        }
    }
    return status;
}
