// SPDX-License-Identifier: Apache-2.0
#include "AllocationLimit.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>

namespace {

std::atomic<std::size_t> limit = SIZE_MAX;
thread_local bool isNextToFail = false;

/// nullptr where there is none, and where there is to be none.
void* allocate(std::size_t size) {
    const bool fails = std::exchange(isNextToFail, false) || size > limit;
    return fails ? nullptr : std::malloc(size == 0 ? 1 : size);
}

} // namespace

AllocationLimit::AllocationLimit(std::size_t bytes) {
    limit = bytes;
}

AllocationLimit::~AllocationLimit() {
    limit = SIZE_MAX;
}

void failNextAllocation(bool fails) {
    isNextToFail = fails;
}

void* operator new(std::size_t size) {
    void* memory = allocate(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
