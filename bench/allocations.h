// Counts what containers ask for. To be included once in a program, whose operator new this replaces;
// GMP does not go through it.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

size_t num_allocations = 0;

} // namespace

void* operator new(size_t n)
{
    ++num_allocations;
    if (void* p = std::malloc(n)) {
        return p;
    }
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept
{
    std::free(p);
}
void operator delete(void* p, size_t) noexcept
{
    std::free(p);
}
