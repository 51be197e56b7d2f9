#ifndef GZIPINFLATER_H
#define GZIPINFLATER_H

#include <cstddef>
#include <functional>
#include <memory>

namespace http {

/// Decompresses a gzip stream piece by piece, in constant memory.
class GzipInflater {
public:
    /// Takes decompressed bytes; false ends the work.
    using Sink = std::function<bool(const char* data, std::size_t size)>;

    enum class Result {
        Good,
        Damaged, ///< the bytes are no gzip stream
        Refused  ///< the sink returned false
    };

    GzipInflater();
    ~GzipInflater();
    GzipInflater(const GzipInflater&) = delete;
    GzipInflater& operator=(const GzipInflater&) = delete;

    Result feed(const char* data, std::size_t size, const Sink& sink);
    /// True when the bytes so far end where a stream may end, checksum and length included.
    bool complete() const;

private:
    struct Stream;
    std::unique_ptr<Stream> stream_;
};

} // namespace http

#endif
