// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ClientPair.h"
#include "ExposedFiles.h"
#include "common/Guarded.h"
#include "http/ISecurity.h"
#include "posix/FileStamp.h"

#include <array>
#include <mutex>
#include <optional>
#include <string>

namespace security {

/// The client certificate and key to offer to servers. They are installed as three files
/// ("user_cert.pem", "user_key.pem", "user_pass.txt" in "/data/certs/client/"), one after another,
/// so that a renewal passes through states in which they do not belong together, and may stop
/// there. Therefore the pair that matched last is kept beside them in one file, "last_pair.pem"
/// (mode 0600, replaced as a whole; the key encrypted when it has a password), and that file is
/// what is offered: the three are only looked at to see whether they hold a newer pair that can be
/// used. Once certificate or key are removed, nothing is offered and the kept pair is removed too.
/// Any thread.
class ClientIdentityFiles {
public:
    /// Reads the files again only when one of them changed, and then says in one level 2 line why
    /// the installed ones cannot be used.
    std::optional<http::ClientIdentity> offered();

private:
    static constexpr std::size_t FILES = 4;
    using Stamps = std::array<posix::FileStamp, FILES>;
    using Answer = std::optional<http::ClientIdentity>;

    struct Known {
        std::optional<Stamps> stamps; ///< of the files that the answer is about
        /// With the password: it is read once, and stays in memory in one place that is overwritten
        /// when it is replaced. Reading it for each request would leave copies in more places.
        Answer answer;
    };

    static Stamps stampsNow();
    Answer look(const Stamps& stamps);
    std::optional<Answer> known(const Stamps& stamps) const;

    std::mutex looking_; ///< serialises looking at the files, which is its only purpose
    ExposedFiles exposed_;
    common::Guarded<Known> known_;
};

} // namespace security
