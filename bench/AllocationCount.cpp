#include "bench/AllocationCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace
{
std::atomic<std::uint64_t> g_allocations{0};
} // namespace

std::uint64_t bench::Allocations()
{
    return g_allocations;
}

void* operator new(std::size_t size)
{
    ++g_allocations;
    if (void* memory = std::malloc(size))
    {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}
