#include "Directories.h"

namespace ovo {

const std::string Directories::WORKING_ROOT = "/var/volatile/provisioning/";
const std::string Directories::FIRMWARE = WORKING_ROOT + "firmware/";
const std::string Directories::NVM = WORKING_ROOT + "nvm/";
const std::string Directories::CUSTOM = WORKING_ROOT + "custom/";
const std::string Directories::PROVISIONING = WORKING_ROOT + "provisioning/";
const std::string Directories::TRUSTED_CERTIFICATES = "/etc/ssl/certs/";

} // namespace ovo
