// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// Every name that the daemon shares with other programs: property keys and values, configuration
/// keys, and what goes over the bus. They are interface to the letter, and the reference of
/// messages and properties names them all. Paths are in Directories.h, the names of provisioning
/// files in JobHandlers/XMLNodeType.h.
namespace ovo {

/// Properties of the phone's store. What ends in "." begins the names of several.
namespace keys {

// Device
inline constexpr char MAC_ADDRESS[] = "NET.MAC.Address";
inline constexpr char NETWORK_READY[] = "State.Network.Ready"; ///< "0": there is no network
inline constexpr char TIME_CHANGED[] = "State.System.TimeChanged";
inline constexpr char PHONE_SYSTEM_TYPE[] = "Telephony.PhoneSystem.Type";
inline constexpr char GENERAL[] = "System.General.";

// Runs: settings, requests, state and result
inline constexpr char PROVISION[] = "System.Provision.";
inline constexpr char PROVISIONING_SERVER[] = "System.Provision.ProvisioningServer";
inline constexpr char PROVISIONING_PERIOD[] = "System.Provision.Period";
inline constexpr char SIP_NOTIFY_SERVER[] = "State.Provision.ProvisioningServerSipNotify";
inline constexpr char PROVISIONING[] = "State.Provisioning";
inline constexpr char PROVISIONING_IN_PROGRESS[] = "State.Provisioning.InProgress";
inline constexpr char PROVISIONING_HTTP_ERROR_CODE[] = "State.Provisioning.HttpErrorCode";
inline constexpr char PROVISIONING_REPORT[] = "State.Provisioning.Report";
inline constexpr char PROVISIONING_ON_BOOT_UP[] = "State.Provisioning.OnBootUp";

// Credentials and certificates
inline constexpr char SECURITY[] = "System.Security.";
inline constexpr char HTTP_USER[] = "System.Security.HTTPAuthUsername";
inline constexpr char HTTP_PASSWORD[] = "System.Security.HTTPAuthPassword";
inline constexpr char FACTORY_USER[] = "System.Provision.FactoryAuthUsername";
inline constexpr char FACTORY_PASSWORD[] = "System.Provision.FactoryAuthPassword";
inline constexpr char UPDATE_CA_BUNDLE[] = "State.Security.Certificates.UpdateCABundle";

// Firmware update
inline constexpr char FIRMWARE_AUTOMATIC_CHECK[] = "FirmwareManagment.AutomaticCheckForUpdates";
inline constexpr char FIRMWARE_TRIGGER_AUTO[] = "State.FirmwareUpdate.TriggerAuto";
inline constexpr char FIRMWARE_FILE_NAME[] = "State.FirmwareUpdate.Filename";
inline constexpr char FIRMWARE_VERIFY[] = "State.FirmwareUpdate.Verify";
inline constexpr char FIRMWARE_UPDATE_SYSTEM[] = "State.FirmwareUpdate.UpdateSystem";

// Local phone book
inline constexpr char PHONE_BOOK_PERIOD[] = "State.LocalDirectoryUpdate.Period";
inline constexpr char PHONE_BOOK_FILE_NAME[] = "State.LocalDirectoryUpdate.FileName";
inline constexpr char PHONE_BOOK_VERIFY[] = "State.LocalDirectoryUpdate.Verify";

// Parameters with rules of their own, and their locks
inline constexpr char FUNCTION_KEY_PARAMETERS[] = "PhoneUI.Keys.FunctionKeys.";
inline constexpr char FUNCTION_KEYS[] = "FunctionKeys.";
inline constexpr char LOCK_PROVISIONING[] = "LockProvisioning";
/// The lock of one function key.
inline std::string functionKeyLock(const std::string& index) {
    return FUNCTION_KEYS + index + "." + LOCK_PROVISIONING;
}
inline constexpr char ALL_FUNCTION_KEY_LOCKS[] = "FunctionKeys.%.LockProvisioning";
inline constexpr char VLAN[] = "NET.VLAN.";
inline constexpr char VLAN_LOCKED[] = "NET.VLAN.Locked";
inline constexpr char SIP_ACCOUNT[] = "SIP.Account.";
inline constexpr char ONE_MELODY[] = "PhoneUI.Audio.OneMelody.";
inline constexpr char DEFAULT_RINGTONE[] = "SIP.DefaultRingtone";

} // namespace keys

/// Values of properties.
namespace values {

inline constexpr char OFF[] = "0";
inline constexpr char ON[] = "1";
inline constexpr char REQUEST[] = "request";
inline constexpr char REQUEST_CHECK_SYNC[] = "request-check-sync";
inline constexpr char DONE[] = "done";
inline constexpr char FAIL[] = "fail";
inline constexpr char PART_SUCCESS[] = "partSuccess";
inline constexpr char SUCCESS[] = "success";
inline constexpr char NONE[] = "none"; ///< in the run report: the part left no result of its own
inline constexpr char NO_VERSION[] = "no_version"; ///< no firmware to be installed
/// Origin of a batch of parameters.
inline constexpr char ORIGIN[] = "provisioning";

} // namespace values

/// Values of the phone's configuration.
namespace configuration {

inline constexpr char CREDENTIAL_REQUEST_TIMEOUT[] = "ui.security.CredentialRequestTimeout";
inline constexpr char MAJOR_ID[] = "networking.provisioning.MajorId";
inline constexpr char MINOR_ID[] = "networking.provisioning.MinorId";

} // namespace configuration

/// Names on the message bus.
namespace bus {

/// This daemon's own.
inline constexpr char NAME[] = "prov-client";

/// Where messages go.
namespace destinations {
inline constexpr char MONITOR[] = "prov-client/monitor";
inline constexpr char NETWORK_MANAGER[] = "prov-client/netmgr";
inline constexpr char PHONE_UI[] = "prov-client/phone-ui";
inline constexpr char SIP_CLIENT[] = "prov-client/sip-client";
inline constexpr char SYSTEM_CONFIGURATION[] = "prov-client/sysconf";
} // namespace destinations

/// Where requests come from, in the order of subscription.
inline constexpr const char* TOPICS[] = {"auto-reboot/prov-client", "watchdog/prov-client",
                                         "sip-client/prov-client", "netmgr/prov-client",
                                         "phone-ui/prov-client"};

/// Messages that are sent.
namespace messages {
inline constexpr char ARE_YOU_READY[] = "AreYouReady";
inline constexpr char GET_HTTP_CREDENTIALS[] = "GetHttpCredentials";
inline constexpr char MODIFY_CERTIFICATES[] = "MODIFY_CERTIFICATES";
inline constexpr char PROVISIONING_PROGRESS[] = "provisioningProgress";
inline constexpr char PROVISIONING_STATUS[] = "provisioningStatus";
inline constexpr char UPDATE_TLS_SECURITY[] = "update_tls_security";
} // namespace messages

/// Requests that are served.
namespace requests {
inline constexpr char ARE_YOU_BUSY[] = "AreYouBusy";
inline constexpr char ARE_YOU_READY_RESPONSE[] = "AreYouReadyResponse";
inline constexpr char HTTP_CREDENTIALS_ENTERED[] = "HttpCredentialsEntered";
inline constexpr char START_PROVISIONING[] = "startProvisioning";
} // namespace requests

/// Parameters of both, and services that say that they are ready.
namespace parameters {
inline constexpr char BYTES[] = "bytes";
inline constexpr char ELEMENT[] = "element";
inline constexpr char FILE[] = "file";
inline constexpr char IS_BUSY[] = "isBusy";
inline constexpr char JOB[] = "job";
inline constexpr char LOCATION[] = "location";
inline constexpr char NAME[] = "name";
inline constexpr char PASSWORD[] = "password";
inline constexpr char PROV_IN_PROGRESS[] = "provInProgress";
inline constexpr char TOTAL[] = "total";
inline constexpr char USERNAME[] = "username";
inline constexpr char VALUE[] = "value";
} // namespace parameters
namespace services {
inline constexpr char NETWORK_MANAGER[] = "networkmanager";
inline constexpr char PHONE_UI[] = "phoneui";
} // namespace services

} // namespace bus

} // namespace ovo
