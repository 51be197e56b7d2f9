// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <zlib.h>

#include <string>

/// A text as one gzip member.
inline std::string gzip(const std::string& text) {
    z_stream z{};
    ::deflateInit2(&z, Z_BEST_SPEED, Z_DEFLATED, MAX_WBITS + 16, 8, Z_DEFAULT_STRATEGY);
    std::string result(::deflateBound(&z, static_cast<uLong>(text.size())) + 64, '\0');
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    z.avail_in = static_cast<uInt>(text.size());
    z.next_out = reinterpret_cast<Bytef*>(result.data());
    z.avail_out = static_cast<uInt>(result.size());
    ::deflate(&z, Z_FINISH);
    result.resize(result.size() - z.avail_out);
    ::deflateEnd(&z);
    return result;
}
