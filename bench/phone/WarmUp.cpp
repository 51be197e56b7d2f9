// SPDX-License-Identifier: Apache-2.0
#include "WarmUp.h"

#include <chrono>
#include <thread>
#include <vector>

namespace bench {

void warmUp() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(20);
    std::vector<std::jthread> threads;
    for (unsigned index = 0; index < std::thread::hardware_concurrency(); ++index)
        threads.emplace_back([end] {
            while (std::chrono::steady_clock::now() < end) {
            }
        });
}

} // namespace bench
