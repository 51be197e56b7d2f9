// SPDX-License-Identifier: Apache-2.0
#include "StoredCredentials.h"

#include <stdexcept>

namespace ovoctl {

std::string StoredCredentials::getHttpCredentialsFromPhoneUI() {
    throw std::runtime_error("the server asks for other credentials than those of the phone; its "
                             "user would be asked on the screen");
}

} // namespace ovoctl
