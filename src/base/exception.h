// The root of all errors that travel inside the library, and the one helper that builds them.
#pragma once

#include <exception>
#include <sstream>
#include <string>
#include <utility>

namespace tarq {

/// Base of every failure that leaves a library operation. Subsystems derive a nested `error` from
/// it with `using Exception::Exception;`.
class Exception : public std::exception {
public:
    Exception() = default;
    explicit Exception(std::string msg) : msg_(std::move(msg)) {}

    /// The text shown to the caller; valid while the exception lives.
    const std::string& get_msg() const { return msg_; }
    const char* what() const noexcept override { return msg_.c_str(); }

private:
    std::string msg_;
};

/// Builds an error of class E whose text is the arguments written to a stream one after the other:
/// `throw make_error<TermManager::error>("wrong arity for symbol ", name);`
template <class E, class... Args>
E make_error(const Args&... args)
{
    std::ostringstream out;
    (out << ... << args);
    return E(out.str());
}

} // namespace tarq
