// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstring>

/// Slot of a virtual operation, counted from 1 with both destructor entries, as the C++ ABI of
/// Linux lays them out: a pointer to a virtual member holds 1 + the slot's offset (on ARM the
/// offset).
template <typename Member>
std::size_t slotOf(Member member) {
    std::ptrdiff_t representation[2] = {};
    static_assert(sizeof member == sizeof representation);
    std::memcpy(representation, &member, sizeof member);
#if defined(__arm__) || defined(__aarch64__)
    const std::ptrdiff_t offset = representation[0];
#else
    const std::ptrdiff_t offset = representation[0] - 1;
#endif
    return static_cast<std::size_t>(offset) / sizeof(void*) + 1;
}
