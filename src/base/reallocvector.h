// A vector of plain values on realloc, for watch lists and heaps.
#pragma once

#include "base/assertion.h"

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

namespace tarq {

/// Elements must survive a move of their bytes, and need no destructor. 16 bytes when empty, which
/// counts with two of them per variable. Copying is explicit, by copy_to.
template <class T>
class ReallocVector {
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>,
                  "elements are moved by realloc");

public:
    using value_type = T;
    using iterator = T*;
    using const_iterator = const T*;

    ReallocVector() = default;
    ReallocVector(const ReallocVector&) = delete;
    ReallocVector& operator=(const ReallocVector&) = delete;
    ReallocVector(ReallocVector&& o) noexcept { swap(o); }
    ReallocVector& operator=(ReallocVector&& o) noexcept
    {
        if (this != &o) {
            free_memory();
            swap(o);
        }
        return *this;
    }
    ~ReallocVector() { std::free(data_); }

    uint32_t size() const { return size_; }
    uint32_t capacity() const { return capacity_; }
    bool empty() const { return size_ == 0; }

    T& operator[](size_t i)
    {
        TARQ_ASSERT(i < size_);
        return data_[i];
    }
    const T& operator[](size_t i) const
    {
        TARQ_ASSERT(i < size_);
        return data_[i];
    }
    T& back()
    {
        TARQ_ASSERT(size_ > 0);
        return data_[size_ - 1];
    }
    const T& back() const
    {
        TARQ_ASSERT(size_ > 0);
        return data_[size_ - 1];
    }

    T* data() { return data_; }
    const T* data() const { return data_; }
    T* begin() { return data_; }
    T* end() { return data_ + size_; }
    const T* begin() const { return data_; }
    const T* end() const { return data_ + size_; }

    /// Appends a value, which may be an element of this vector. Throws std::bad_alloc, unchanged.
    void push(const T& v)
    {
        const T copy = v;
        if (size_ == capacity_) {
            grow();
        }
        new (data_ + size_++) T(copy);
    }
    void pop()
    {
        TARQ_ASSERT(size_ > 0);
        --size_;
    }

    /// Keeps the first n elements; n at most size(). Keeps the memory.
    void shrink_to(size_t n)
    {
        TARQ_ASSERT(n <= size_);
        size_ = static_cast<uint32_t>(n);
    }
    /// Appends copies of v until there are at least n elements.
    void grow_to(size_t n, const T& v)
    {
        const T copy = v;
        reserve(n);
        while (size_ < n) {
            new (data_ + size_++) T(copy);
        }
    }
    /// Makes room for n elements in all, exactly n if that is more than there is.
    void reserve(size_t n)
    {
        if (n > capacity_) {
            set_capacity(n);
        }
    }

    /// Removes all elements and keeps the memory.
    void clear() { size_ = 0; }
    /// Removes all elements and gives the memory back.
    void free_memory()
    {
        std::free(data_);
        data_ = nullptr;
        size_ = capacity_ = 0;
    }

    /// Makes `to` a copy of this vector.
    void copy_to(ReallocVector& to) const
    {
        if (this == &to) {
            return;
        }
        to.clear();
        to.reserve(size_);
        for (const T& v : *this) {
            new (to.data_ + to.size_++) T(v);
        }
    }

    void swap(ReallocVector& o) noexcept
    {
        std::swap(data_, o.data_);
        std::swap(size_, o.size_);
        std::swap(capacity_, o.capacity_);
    }

private:
    void grow()
    {
        const size_t next = (size_t{capacity_} * 3 + 1) / 2;
        set_capacity(next < 2 ? 2 : next);
    }

    void set_capacity(size_t n)
    {
        if (n > std::numeric_limits<uint32_t>::max()) {
            throw std::bad_alloc();
        }
        void* moved = std::realloc(static_cast<void*>(data_), n * sizeof(T));
        if (!moved) {
            throw std::bad_alloc();
        }
        data_ = static_cast<T*>(moved);
        capacity_ = static_cast<uint32_t>(n);
    }

    T* data_ = nullptr;
    uint32_t size_ = 0;
    uint32_t capacity_ = 0;
};

} // namespace tarq
