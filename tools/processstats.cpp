#include "processstats.h"

#include <iomanip>
#include <ostream>
#include <sys/resource.h>

namespace tarq::tool {

void print_process_stats(std::ostream& out, const char* prefix)
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    const double seconds =
        static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
        static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    out << std::fixed << std::setprecision(3);
    out << prefix << ":time " << seconds << '\n';
    out << prefix << ":memory " << static_cast<double>(usage.ru_maxrss) / 1024 << '\n';
}

} // namespace tarq::tool
