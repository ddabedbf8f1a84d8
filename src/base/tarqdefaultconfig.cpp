#include "base/tarqdefaultconfig.h"

namespace tarq {

const char* const tarq_default_config[] = {
    "# default configuration settings (empty)\n",
    nullptr,
};

} // namespace tarq
