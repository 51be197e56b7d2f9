// SPDX-License-Identifier: Apache-2.0
#include "AllocationLimit.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> limit = SIZE_MAX;

} // namespace

AllocationLimit::AllocationLimit(std::size_t bytes) {
    limit = bytes;
}

AllocationLimit::~AllocationLimit() {
    limit = SIZE_MAX;
}

void* operator new(std::size_t size) {
    void* memory = size > limit ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return size > limit ? nullptr : std::malloc(size == 0 ? 1 : size);
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
