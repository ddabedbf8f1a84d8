// A reference-counted pointer for objects that stay in one thread.
#pragma once

#include "base/assertion.h"

#include <cstddef>
#include <type_traits>
#include <utility>

namespace tarq {

/// Shares the ownership of one object; the last pointer deletes it. The count is not atomic: all
/// copies belong to the thread that works on the family of environments.
template <class T>
class SharedPtr {
public:
    SharedPtr() = default;
    SharedPtr(std::nullptr_t) {}
    /// Takes the ownership of p, which may be null and must not have an owner yet.
    explicit SharedPtr(T* p) : p_(p)
    {
        if (p) {
            try {
                count_ = new size_t(1);
            } catch (...) {
                delete p;
                throw;
            }
        }
    }
    SharedPtr(const SharedPtr& o) noexcept : p_(o.p_), count_(o.count_) { share(); }
    /// From a pointer to a derived class, whose objects are then deleted through T.
    template <class U>
    requires(!std::is_same_v<U, T> && std::is_convertible_v<U*, T*>)
        SharedPtr(const SharedPtr<U>& o)
    noexcept : p_(o.p_), count_(o.count_)
    {
        static_assert(std::has_virtual_destructor_v<T>,
                      "the last pointer may be of the base class");
        share();
    }
    SharedPtr(SharedPtr&& o) noexcept
        : p_(std::exchange(o.p_, nullptr)), count_(std::exchange(o.count_, nullptr))
    {
    }
    SharedPtr& operator=(SharedPtr o) noexcept
    {
        swap(o);
        return *this;
    }
    ~SharedPtr()
    {
        if (count_ && --*count_ == 0) {
            delete count_;
            delete p_;
        }
    }

    T* get() const { return p_; }
    T& operator*() const
    {
        TARQ_ASSERT(p_);
        return *p_;
    }
    T* operator->() const
    {
        TARQ_ASSERT(p_);
        return p_;
    }
    explicit operator bool() const { return p_ != nullptr; }
    /// How many pointers share the object; 0 for a null pointer.
    size_t use_count() const { return count_ ? *count_ : 0; }
    void reset() { SharedPtr().swap(*this); }
    void swap(SharedPtr& o) noexcept
    {
        std::swap(p_, o.p_);
        std::swap(count_, o.count_);
    }

    friend bool operator==(const SharedPtr& a, const SharedPtr& b) { return a.p_ == b.p_; }
    friend bool operator==(const SharedPtr& a, std::nullptr_t) { return a.p_ == nullptr; }

private:
    template <class U>
    friend class SharedPtr;

    void share()
    {
        if (count_) {
            ++*count_;
        }
    }

    T* p_ = nullptr;
    size_t* count_ = nullptr; // null exactly for a null pointer
};

} // namespace tarq
