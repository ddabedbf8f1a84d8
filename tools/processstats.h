// What the operating system knows of a run.
#pragma once

#include <iosfwd>

namespace tarq::tool {

/// Writes the lines "PREFIX:time SECONDS", the processor time so far, and "PREFIX:memory MIB", the
/// largest resident set so far.
void print_process_stats(std::ostream& out, const char* prefix);

} // namespace tarq::tool
