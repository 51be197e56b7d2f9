// SPDX-License-Identifier: Apache-2.0
#include "OpenSsl.h"

#include <climits>
#include <new>

namespace security {

BioPtr makeSource(std::string_view text) {
    if (text.size() > INT_MAX)
        throw std::bad_alloc();
    // Without a buffer a negative length would be asked for.
    const char* data = text.empty() ? "" : text.data();
    BioPtr source(BIO_new_mem_buf(data, static_cast<int>(text.size())));
    if (!source)
        throw std::bad_alloc();
    return source;
}

BioPtr makeSink() {
    BioPtr sink(BIO_new(BIO_s_mem()));
    if (!sink)
        throw std::bad_alloc();
    return sink;
}

std::string contentOf(const BioPtr& sink) {
    const char* data = nullptr;
    const long size = BIO_get_mem_data(sink.get(), &data);
    return size > 0 ? std::string(data, static_cast<std::size_t>(size)) : std::string();
}

int refusePassword(char* /*buffer*/, int /*size*/, int /*writing*/, void* /*unused*/) {
    return -1;
}

} // namespace security
