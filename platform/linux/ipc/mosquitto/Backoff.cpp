// SPDX-License-Identifier: Apache-2.0
#include "Backoff.h"

#include <algorithm>
#include <utility>

namespace ipc {

Backoff::Backoff(std::chrono::milliseconds first, std::chrono::milliseconds last, double jitter,
                 std::function<double()> random)
    : first_(std::min(first, last))
    , last_(last)
    , current_(first_)
    , jitter_(std::clamp(jitter, 0.0, 1.0))
    , random_(std::move(random)) {}

std::chrono::milliseconds Backoff::next() {
    const std::chrono::milliseconds delay = current_;
    current_ = delay > last_ / 2 ? last_ : delay * 2;
    const double spread = static_cast<double>(delay.count()) * jitter_ * random_();
    return delay - std::chrono::milliseconds(static_cast<std::chrono::milliseconds::rep>(spread));
}

void Backoff::reset() {
    current_ = first_;
}

} // namespace ipc
