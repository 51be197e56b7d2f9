// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace ovoctl {

class Examination;

/// What a server said to the daemon's request for a URL.
struct HttpAnswer {
    int status = 0;       ///< 0: none came
    std::string problem;  ///< why the answer is not whole; empty: it is
    std::string location; ///< of a redirect
    bool offersBasic = false;
    bool offersDigest = false;
    std::string accepted; ///< which credentials the server took: "the stored credentials"
    std::string refused;  ///< which ones it did not take last
};

/// Asks with the daemon's own web client for the URL of the examination, and, where the server
/// wants credentials, with those that the daemon would try, in its order, without asking the user.
/// The file itself is not fetched.
HttpAnswer askServer(const Examination& examination);

} // namespace ovoctl
