// SPDX-License-Identifier: Apache-2.0
#include "WritableStore.h"

#include "ovoctl/Failure.h"
#include "paths/Paths.h"
#include "text/Quote.h"

namespace ovoctl {

using propertyapi::SqlitePropertyApi;

SqlitePropertyApi openStore() {
    try {
        return SqlitePropertyApi();
    } catch (const propertyapi::PropertyApiException& error) {
        // The store's own clients know the phone's path only.
        const std::string phonePath = quote(SqlitePropertyApi::STORE);
        std::string sentence = error.what();
        if (const std::size_t at = sentence.find(phonePath); at != std::string::npos)
            sentence.replace(at, phonePath.size(),
                             quote(paths::toHost(SqlitePropertyApi::STORE).text()));
        throw Unaskable(sentence);
    }
}

} // namespace ovoctl
