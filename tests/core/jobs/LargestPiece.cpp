// SPDX-License-Identifier: Apache-2.0
// The operators are in a file of their own: where the compiler sees what only one of the two does,
// it takes them for a pair that does not match.
#include "LargestPiece.h"

#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t largest = SIZE_MAX;

} // namespace

LargestPiece::LargestPiece(std::size_t size) {
    largest = size;
}

LargestPiece::~LargestPiece() {
    largest = SIZE_MAX;
}

void* operator new(std::size_t size) {
    void* const memory = size > largest ? nullptr : std::malloc(size == 0 ? 1 : size);
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
