// DIMACS CNF text straight into the SAT engine.
#pragma once

#include "base/exception.h"

#include <cstdint>
#include <istream>

namespace tarq {
class DpllSolver;
}

namespace tarq::dimacs {

/// What is wrong with the text: "line N: " and the reason. The clauses read up to there are in the
/// engine.
class error : public Exception {
public:
    using Exception::Exception;
};

struct Summary {
    int num_vars = 0;         // as the header says, or more if the clauses use more
    uint64_t num_clauses = 0; // read, whatever the header says
};

/// Variables may be numbered up to this.
inline constexpr int max_var = (1 << 28) - 1;

/// Reads a CNF. Variable i of the text is variable i - 1 of the engine, where those from 0 up to
/// the last one used exist afterwards; they must not exist before, unless they have that meaning.
/// The header may be missing and its figures may be wrong; a `%` ends the text, as in some
/// collections; comments may stand between clauses.
/// throws  error
Summary read(std::istream& in, DpllSolver* solver);

} // namespace tarq::dimacs
