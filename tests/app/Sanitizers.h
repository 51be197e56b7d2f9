// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

/// Whether the tests were built with a sanitizer, which makes them slower, and with the thread
/// sanitizer, which has a thread of its own in each process.
constexpr bool SANITIZED = !std::string_view(OVO_SANITIZE).empty();
constexpr bool THREAD_SANITIZED =
    std::string_view(OVO_SANITIZE).find("thread") != std::string_view::npos;
