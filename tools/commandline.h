// The command line of the program.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace tarq::tool {

/// What the command line asks for.
struct CommandLine {
    std::string file = "-";                                  // "-": standard input
    std::string config_file;                                 // empty: none
    std::vector<std::pair<std::string, std::string>> config; // library options in their order
    double timeout = 0;                                      // seconds; 0: no limit
    long memory_limit = 0;                                   // MiB of the resident set; 0: no limit
    size_t collect = 50000;                                  // new terms before a collection
    bool dimacs = false; // set by the option or by the name of the file
    bool shallow = false;
    bool stats = false;
    bool model = false;
    bool print_options = false;
};

/// Reads the command line into `out`.
/// returns  true to go on; false when all is said already (help, version, a usage error), with the
///          exit status in *status: 0, or 2 for a usage error
bool parse_command_line(int argc, const char* const* argv, CommandLine* out, int* status);

} // namespace tarq::tool
