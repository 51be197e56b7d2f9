// SPDX-License-Identifier: Apache-2.0
#include "Directories.h"

namespace ovo {

const std::string Directories::WORKING_ROOT = "/var/volatile/provisioning/";
const std::string Directories::FIRMWARE = WORKING_ROOT + "firmware/";
const std::string Directories::NVM = WORKING_ROOT + "nvm/";
const std::string Directories::CUSTOM = WORKING_ROOT + "custom/";
const std::string Directories::PROVISIONING = WORKING_ROOT + "provisioning/";
const std::string Directories::TRUSTED_CERTIFICATES = "/etc/ssl/certs/";
const std::string Directories::CERTIFICATES = "/data/certs/";
const std::string Directories::CERTIFICATE_STORAGE = "/data/certs/_storage/";
const std::string Directories::CLIENT_CERTIFICATES = "/data/certs/client/";
const std::string Directories::WALLPAPERS = "/data/images/";
const std::string Directories::FIRMWARE_UPDATES = "/config/swupdate/";
const std::string Directories::CONTACTS = "/var/volatile/contacts/";

const std::string Files::KEY = "/etc/ovo.d/key";
const std::string Files::DEFAULT_NAME = "provisioning.xml";
const std::string Files::FIRMWARE_CLEANUP = "/usr/sbin/firmware-update-cleanup.sh";
const std::string Files::FETCHED_CERTIFICATE = Directories::CUSTOM + "user_cert.pem";
const std::string Files::FETCHED_KEY = Directories::CUSTOM + "user_key.pem";
const std::string Files::CLIENT_CERTIFICATE = Directories::CLIENT_CERTIFICATES + "user_cert.pem";
const std::string Files::CLIENT_KEY = Directories::CLIENT_CERTIFICATES + "user_key.pem";
const std::string Files::CLIENT_KEY_PASSWORD = Directories::CLIENT_CERTIFICATES + "user_pass.txt";

} // namespace ovo
