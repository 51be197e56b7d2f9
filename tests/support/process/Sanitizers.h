// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Whether the tests were built with the thread sanitizer, which has a thread of its own in each
/// process, and whether with it or the address sanitizer, which take time and memory.
#if defined(__has_feature)
constexpr bool THREAD_SANITIZED = __has_feature(thread_sanitizer);
constexpr bool SANITIZED = THREAD_SANITIZED || __has_feature(address_sanitizer);
#elif defined(__SANITIZE_THREAD__)
constexpr bool THREAD_SANITIZED = true;
constexpr bool SANITIZED = true;
#elif defined(__SANITIZE_ADDRESS__)
constexpr bool THREAD_SANITIZED = false;
constexpr bool SANITIZED = true;
#else
constexpr bool THREAD_SANITIZED = false;
constexpr bool SANITIZED = false;
#endif
