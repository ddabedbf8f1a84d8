// The hook by which a caller stops a running operation.
#pragma once

#include "base/exception.h"

namespace tarq {

/// Asked by every long-running loop; the base class never stops anything.
class TerminationTest {
public:
    /// Thrown to unwind a stopped operation.
    class terminated : public Exception {
    public:
        using Exception::Exception;
    };

    virtual ~TerminationTest() = default;

    /// Returns normally to go on, throws `terminated` to stop.
    virtual void operator()() const {}
};

} // namespace tarq
