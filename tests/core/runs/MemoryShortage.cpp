// SPDX-License-Identifier: Apache-2.0
#include "MemoryShortage.h"

#include <cstddef>
#include <cstdlib>
#include <new>
#include <utility>

namespace {

thread_local bool isOutOfMemory = false;

} // namespace

void setOutOfMemory(bool isOut) {
    isOutOfMemory = isOut;
}

void* operator new(std::size_t size) {
    void* const memory =
        std::exchange(isOutOfMemory, false) ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
