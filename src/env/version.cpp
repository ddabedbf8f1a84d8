#include "env/version.h"

#include <gmp.h>

// Both come from the build; the revision is absent in a tree without its history.
#ifndef TARQ_VERSION
#error "TARQ_VERSION is set by the build"
#endif
#ifndef TARQ_REVISION
#define TARQ_REVISION "release"
#endif

#define TARQ_STRINGIFY_(x) #x
#define TARQ_STRINGIFY(x) TARQ_STRINGIFY_(x)

namespace tarq {

const char* get_version_number()
{
    return TARQ_VERSION;
}

std::string get_version_text()
{
    static_assert(sizeof(void*) == 8, "the text says 64-bit");
    std::string out = "Tarq5 version " TARQ_VERSION " (" TARQ_REVISION ") (" __DATE__ " " __TIME__;
    out += ", gmp ";
    out += gmp_version;
    out += ", gcc " TARQ_STRINGIFY(__GNUC__) "." TARQ_STRINGIFY(__GNUC_MINOR__) "." TARQ_STRINGIFY(
        __GNUC_PATCHLEVEL__) ", 64-bit)";
    return out;
}

} // namespace tarq
