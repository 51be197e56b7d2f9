// SPDX-License-Identifier: Apache-2.0
#include "GzipInflater.h"

#include <zlib.h>

#include <array>
#include <new>

namespace http {

struct GzipInflater::Stream {
    z_stream z{};
    bool atEnd = false; ///< of a member: another one may follow
    std::array<char, 16384> output{};
};

GzipInflater::GzipInflater() : stream_(std::make_unique<Stream>()) {
    constexpr int GZIP_ONLY = 16;
    if (::inflateInit2(&stream_->z, MAX_WBITS + GZIP_ONLY) != Z_OK)
        throw std::bad_alloc();
}

GzipInflater::~GzipInflater() {
    ::inflateEnd(&stream_->z);
}

bool GzipInflater::feed(const char* data, std::size_t size, const Sink& sink) {
    z_stream& z = stream_->z;
    // zlib does not write to its input, though it takes a pointer to non-const.
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data));
    z.avail_in = static_cast<uInt>(size);
    bool more = size > 0;
    while (more) {
        if (stream_->atEnd) {
            ::inflateReset(&z);
            stream_->atEnd = false;
        }
        z.next_out = reinterpret_cast<Bytef*>(stream_->output.data());
        z.avail_out = static_cast<uInt>(stream_->output.size());
        const int code = ::inflate(&z, Z_NO_FLUSH);
        if (code != Z_OK && code != Z_STREAM_END && code != Z_BUF_ERROR)
            return false;
        stream_->atEnd = code == Z_STREAM_END;
        const std::size_t produced = stream_->output.size() - z.avail_out;
        if (produced > 0)
            sink(stream_->output.data(), produced);
        // A full output buffer may leave decompressed bytes inside zlib with no input left.
        more = z.avail_in > 0 || (z.avail_out == 0 && !stream_->atEnd);
    }
    return true;
}

bool GzipInflater::complete() const {
    return stream_->atEnd;
}

} // namespace http
