// Random numbers that repeat on every platform.
#pragma once

#include <cstddef>
#include <cstdint>

/// A 64-bit linear congruential generator; the low bits are not used.
class Random {
public:
    explicit Random(uint64_t seed) : state_(seed) {}
    /// Uniform below n, which is below 2^32.
    size_t below(size_t n)
    {
        state_ = state_ * 6364136223846793005u + 1442695040888963407u;
        return ((state_ >> 32) * n) >> 32;
    }

private:
    uint64_t state_;
};
