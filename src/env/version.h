// The texts that tell which library this is.
#pragma once

#include <string>

namespace tarq {

/// The release number, such as "1.2.0".
const char* get_version_number();

/// Release, source revision, time of the build, and the versions of GMP and of the compiler:
/// "Tarq5 version 1.2.0 (REVISION) (DATE TIME, gmp X.Y.Z, gcc X.Y.Z, 64-bit)".
std::string get_version_text();

} // namespace tarq
