// Makes the calls of a case and checks what comes back.
#pragma once

#include "apicase.h"

#include <string>

namespace tarq::fuzz {

/// What a child tells its parent, in memory both see.
struct ApiReport {
    long running; // index of the case in work
    long cases, calls, refused, sat, unsat, no_answer, values, cores, stopped, given_up, rechecks;
    long judged, unjudged; // unsatisfiable answers, by the external solver
    char message[3000];    // of the first failure; empty while all is well
};

struct ApiJudge {
    std::string solver; // reads a script from the file that its last argument names; may be empty
    long sample = 1;    // it judges one of so many unsatisfiable answers
};

/// Returns a description of the first failure, with the number of the call, or an empty text.
std::string run_api_case(const ApiCase& c, const ApiJudge& judge, ApiReport* report);

} // namespace tarq::fuzz
