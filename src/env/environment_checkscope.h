// Environment::CheckScope, private to the sources of Environment.
#pragma once

#include "base/scopedvalue.h"
#include "env/environment.h"

namespace tarq {

/// A check in progress: typechecking is off, and unless leave() is reached, which an exception
/// prevents, the environment is marked as interrupted.
class Environment::CheckScope {
public:
    explicit CheckScope(Environment& env)
        : env_(env), unchecked_(env.tm_->typecheck_in_scope(false))
    {
    }

    ~CheckScope()
    {
        if (!done_) {
            // The engine may stand inside a search, and formulas may be counted as processed that
            // it never got. Marking the whole stack as new also makes a pop leave the engine alone.
            env_.interrupted_ = true;
            env_.assertions_done_ = 0;
            env_.enumeration_.done = 0;
            env_.last_result_ = -1;
            env_.unsat_assumptions_.clear();
            env_.reset_model();
        }
    }

    CheckScope(const CheckScope&) = delete;
    CheckScope& operator=(const CheckScope&) = delete;

    int leave(int result)
    {
        done_ = true;
        return result;
    }

private:
    Environment& env_;
    ScopedValue<bool> unchecked_; // internal terms need no type checks
    bool done_ = false;
};

} // namespace tarq
