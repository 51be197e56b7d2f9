// SPDX-License-Identifier: Apache-2.0
#include "Templates.h"

namespace ovoctl::check {

const std::array<Template, 4> TEMPLATES{{
    {"settings", R"(<?xml version="1.0" encoding="UTF-8"?>
<!-- Parameters of a phone.
     version: the format of the file, "1.0" or "1.1". For one product or one phone only, add
     productID="hd7k" (or "hd9"), or macAddress="02:1A:2B:3C:4D:5E", to the root element. -->
<nvm version="1.1">
  <!-- All parameters of a "settings" element are written together, or none of them. -->
  <settings>
    <param name="Time.Zone" value="Europe/Berlin"/>
    <!-- Of a ringtone only the file name counts, and .wav becomes .mp3. -->
    <param name="SIP.Account.1.Ringtone" value="Bell.mp3"/>
    <!-- Refused while NET.VLAN.Locked is 1. -->
    <param name="NET.VLAN.Id" value="42"/>
    <!-- Refused unless FunctionKeys.3.LockProvisioning is 0. -->
    <param name="PhoneUI.Keys.FunctionKeys.3.Label" value="Reception"/>
  </settings>
</nvm>
)"},
    {"firmware", R"(<?xml version="1.0" encoding="UTF-8"?>
<!-- One firmware image. It is installed where it is newer than what the phone has, and the phone
     looks for updates by itself or the update service asked. -->
<firmware version="1.1">
  <!-- version: two to four decimal numbers with dots. url: complete, or beginning with "/" and then
       relative to the directory of this file. flags="FORCE_ACCEPT" carries the update out in any
       case, and to an older version, too. -->
  <file version="7.2.0" url="/images/hd7k-7.2.0.bin"/>
</firmware>
)"},
    {"scenario", R"(<?xml version="1.0" encoding="UTF-8"?>
<!-- Steps, carried out in their order. One that fails does not stop the others. -->
<custom version="1.1">
  <scenario>
    <!-- A trusted certificate. Without flags="FORCE_ACCEPT" it waits for confirmation. -->
    <step type="certificate" url="/certs/company-ca.pem" flags="FORCE_ACCEPT"/>
    <!-- The phone's client certificate and its private key; password: of an encrypted key. -->
    <step type="Clientcertificate" url="https://prov.example.com/certs/client.pem"/>
    <step type="Clientkey" url="https://prov.example.com/certs/client.key"/>
    <step type="DownloadWallpaper" url="/images/wallpaper.png"/>
    <!-- renewPeriod: seconds, 600 to 86400; 0 switches the renewal off. -->
    <step type="LocalPhoneBook" url="/contacts.xml" renewPeriod="3600"/>
    <!-- Allows files to set all function keys. -->
    <step type="UnlockAllFunctionKeys"/>
    <!-- A further provisioning file, which must not lead back to this one. -->
    <step type="Redirect" url="/site/provisioning.xml"/>
  </scenario>
</custom>
)"},
    {"list", R"(<?xml version="1.0" encoding="UTF-8"?>
<!-- Further provisioning files, fetched in their order.
     type: firmware, nvm or custom. In url, %MACC becomes the phone's MAC address with colons, %MACD
     with dashes, %DVID its device ID. -->
<provisioning version="1.1">
  <category type="firmware" url="/firmware/%DVID.xml"/>
  <category type="nvm" url="/nvm/%MACD.xml"/>
  <category type="custom" url="https://prov.example.com/custom.xml"/>
</provisioning>
)"},
}};

} // namespace ovoctl::check
