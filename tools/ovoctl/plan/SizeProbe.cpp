// SPDX-License-Identifier: Apache-2.0
#include "SizeProbe.h"

#include <stdexcept>

namespace ovoctl {

void SizeProbe::limitTo(std::optional<std::uint64_t> bytes) {
    limit_ = bytes;
    size_.reset();
    hasBrokenOff_ = false;
}

http::HttpResponse SizeProbe::get(const http::HttpRequest& request) {
    if (!limit_)
        return client_->get(request);
    std::uint64_t received = 0;
    http::HttpRequest probe = request;
    // The downloader decides first: what it refuses, the phone would refuse.
    probe.onLength = [&](std::uint64_t length) {
        if (request.onLength)
            request.onLength(length);
        if (length <= *limit_)
            return;
        size_ = length;
        breakOff();
    };
    probe.onBody = [&](const char* data, std::size_t size) {
        request.onBody(data, size);
        received += size;
        if (received > *limit_)
            breakOff();
    };
    return client_->get(probe);
}

void SizeProbe::breakOff() {
    hasBrokenOff_ = true;
    throw std::runtime_error("enough is known of the file, which is not fetched");
}

} // namespace ovoctl
