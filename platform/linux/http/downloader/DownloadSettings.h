// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "phoneconfig/IPhoneConfig.h"

#include <chrono>
#include <cstdint>

namespace http {

/// Limits of downloads.
struct DownloadSettings {
    std::chrono::seconds connectTimeout{10};
    std::chrono::seconds stallTimeout{30};
    std::uint64_t maxBytes = 256ULL << 20U;

    /// Reads them from the phone configuration, times in seconds from 1 to 86400, sizes in bytes
    /// from 1. Any other text gives the default and a level 2 line.
    static DownloadSettings read(const phoneconfig::IPhoneConfig& phoneConfig);
};

} // namespace http
