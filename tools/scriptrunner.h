// Runs a script from its first command to its end.
#pragma once

#include "channels.h"
#include "commandline.h"
#include "libraryoptions.h"

namespace tarq::tool {

/// Reads commands from `input` and runs each as it comes.
/// options  the library options of the command line
/// line     its other options
/// returns  the exit status: 1 if any error was reported, else 0
int run_script(InputBuffer* input, const LibraryOptions& options, const CommandLine& line);

} // namespace tarq::tool
