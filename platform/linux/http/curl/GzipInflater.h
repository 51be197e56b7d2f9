// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <memory>

namespace http {

/// Decompresses a gzip stream piece by piece, in constant memory. The HTTP library could do that
/// too, but it accepts half a gzip body as a whole answer.
class GzipInflater {
public:
    /// Takes decompressed bytes. Its exceptions pass through.
    using Sink = std::function<void(const char* data, std::size_t size)>;

    GzipInflater();
    ~GzipInflater();
    GzipInflater(const GzipInflater&) = delete;
    GzipInflater& operator=(const GzipInflater&) = delete;

    /// False: the bytes are not a gzip stream.
    bool feed(const char* data, std::size_t size, const Sink& sink);
    /// True when the bytes so far end where a stream may end, checksum and length included.
    bool complete() const;

private:
    struct Stream;
    std::unique_ptr<Stream> stream_;
};

} // namespace http
