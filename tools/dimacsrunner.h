// Runs a problem in DIMACS CNF form.
#pragma once

#include "channels.h"
#include "libraryoptions.h"

namespace tarq::tool {

/// Makes the options that suit large sets of clauses the defaults.
void set_dimacs_options(LibraryOptions* options);

/// Reads the clauses and prints a line "s SATISFIABLE" with "v" lines, "s UNSATISFIABLE", or
/// "s UNKNOWN" when the run was stopped.
/// returns  10, 20 or 0 for these answers; 1 after an error in the text, with a message on standard
///          error
int run_dimacs(InputBuffer* input, const LibraryOptions& options, bool print_stats);

} // namespace tarq::tool
