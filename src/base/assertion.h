// The assertion tiers. TARQ_CHECKS selects them at build time: 0 none, 1 local and cheap ones,
// 2 also whole-structure checks.
#pragma once

#include <cstdio>
#include <cstdlib>

#ifndef TARQ_CHECKS
#define TARQ_CHECKS 0
#endif

namespace tarq::detail {

[[noreturn]] inline void assertion_failed(const char* what, const char* file, int line)
{
    std::fprintf(stderr, "%s:%d: assertion failed: %s\n", file, line, what);
    std::abort();
}

[[noreturn]] inline void unreachable(long long value, const char* file, int line)
{
    std::fprintf(stderr, "%s:%d: unreachable, value %lld\n", file, line, value);
    std::abort();
}

} // namespace tarq::detail

#if TARQ_CHECKS >= 1
#define TARQ_ASSERT(c) ((c) ? void(0) : ::tarq::detail::assertion_failed(#c, __FILE__, __LINE__))
#else
#define TARQ_ASSERT(c) void(0)
#endif

#if TARQ_CHECKS >= 2
#define TARQ_HEAVY_ASSERT(c) TARQ_ASSERT(c)
#else
#define TARQ_HEAVY_ASSERT(c) void(0)
#endif

/// Marks a place that no execution reaches; `value` is printed, so the report says what came.
#define TARQ_UNREACHABLE(value)                                                                    \
    ::tarq::detail::unreachable(static_cast<long long>(value), __FILE__, __LINE__)
