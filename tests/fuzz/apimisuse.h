// Calls of the exported interface that have to fail whatever the state of the environment.
#pragma once

#include <tarq.h>

#include <vector>

namespace tarq::fuzz {

struct Misuse {
    const char* name;
    bool leaves_message;
    /// t  any term of the environment
    bool (*is_refused)(tarq_env e, tarq_term t);
};

const std::vector<Misuse>& misuses();

} // namespace tarq::fuzz
