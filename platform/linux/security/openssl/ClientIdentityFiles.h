// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ClientPair.h"
#include "ExposedFiles.h"
#include "http/ISecurity.h"
#include "posix/FileStamp.h"

#include <array>
#include <mutex>
#include <optional>
#include <string>

namespace http {

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
    std::optional<ClientIdentity> offered();

private:
    static constexpr std::size_t FILES = 4;
    using Stamps = std::array<posix::FileStamp, FILES>;
    using Answer = std::optional<ClientIdentity>;

    static Stamps stampsNow();
    Answer look(const Stamps& stamps);
    std::optional<Answer> known(const Stamps& stamps);
    void remember(const Stamps& stamps, const Answer& answer);

    std::mutex turns_; ///< so that one thread looks at the files: its whole purpose
    ExposedFiles exposed_;
    std::mutex mutex_;
    std::optional<Stamps> stamps_; ///< of the files that the answer is about
    /// With the password: it is read once, and stays in memory in one place that is overwritten
    /// when another takes its place. Reading it for each request would leave it in more of them.
    Answer answer_;
};

} // namespace http
