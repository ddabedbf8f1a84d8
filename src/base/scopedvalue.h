// ScopedValue: a variable that is different for the length of a block.
#pragma once

#include <utility>

namespace tarq {

/// Sets a variable, and puts the old value back on every way out of the block.
template <class T>
class ScopedValue {
public:
    /// variable  outlives the block
    ScopedValue(T* variable, T value)
        : variable_(variable), old_(std::exchange(*variable, std::move(value)))
    {
    }
    ~ScopedValue() { *variable_ = std::move(old_); }
    ScopedValue(const ScopedValue&) = delete;
    ScopedValue& operator=(const ScopedValue&) = delete;

private:
    T* variable_;
    T old_;
};

} // namespace tarq
