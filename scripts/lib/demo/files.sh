# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# The provisioning files of the demo. Sourced by scripts/demo.
#
# A table line is EXPECTATION|NAME|VALUE[|STORED]: what should become of the parameter, and the
# value that the store should then hold where it is not the one asked for. The expectations are
# written down here by hand and compared with what the store and the daemon's log say. A line that
# begins with '#' begins a group of settings.

# $1: number of the run, 1 to 3.
parameters() {
    local run=$1
    # Before run 2 somebody unlocks the VLAN settings, before run 3 function key 5.
    local vlan=refused key5=refused
    ((run < 2)) || vlan=accepted
    ((run < 3)) || key5=accepted
    cat <<END
# System
accepted|System.Language|de
accepted|System.Country|DE
accepted|System.General.DeviceName|Empfang $run
accepted|Time.Zone|Europe/Berlin
accepted|Time.Server.1|ntp1.example.net
accepted|Time.Server.2|ntp2.example.net
accepted|Time.Format|24h
accepted|Display.Brightness|$((60 + 10 * run))
accepted|Display.Backlight.Timeout|60
accepted|Display.Greeting|Müller & Söhne <"Empfang">
accepted|Audio.Ringer.Volume|7
accepted|Audio.Handset.Volume|5
accepted|Audio.Headset.Volume|5
accepted|Audio.Speaker.Volume|6
accepted|NET.DNS.Primary|192.0.2.53
accepted|NET.DNS.Secondary|192.0.2.54
accepted|NET.LLDP.Enabled|1
accepted|NET.QoS.Signalling|26
accepted|NET.QoS.Voice|46
$vlan|NET.VLAN.Id|$((100 + run))
$vlan|NET.VLAN.Priority|5
$vlan|NET.VLAN.PcPort.Id|200
refused|Audio.Sidetone|
# Accounts
accepted|SIP.Account.1.Enabled|1
accepted|SIP.Account.1.DisplayName|Empfang
accepted|SIP.Account.1.UserName|1001
accepted|SIP.Account.1.AuthName|1001
accepted|SIP.Account.1.Password|secret-of-1001
accepted|SIP.Account.1.Registrar|sip.example.net
accepted|SIP.Account.1.RegistrarPort|5061
accepted|SIP.Account.1.Transport|tls
accepted|SIP.Account.1.Expires|$((600 * run))
accepted|SIP.Account.1.Ringtone|/usr/share/sounds/Bell.wav|Bell.mp3
accepted|SIP.Account.1.RingtoneHeader|/usr/share/sounds/Alert.wav
accepted|SIP.Account.2.Enabled|1
accepted|SIP.Account.2.DisplayName|Werkstatt
accepted|SIP.Account.2.UserName|1002
accepted|SIP.Account.2.AuthName|1002
accepted|SIP.Account.2.Password|secret-of-1002
accepted|SIP.Account.2.Registrar|sip.example.net
accepted|SIP.Account.2.RegistrarPort|5061
accepted|SIP.Account.2.Transport|tls
accepted|SIP.Account.2.Ringtone|https://sounds.example.net/r/Alarm.mp3|Alarm.mp3
accepted|SIP.DefaultRingtone|/usr/share/sounds/Classic.wav|Classic.mp3
accepted|SIP.DefaultRingtoneVolume|4
accepted|PhoneUI.Audio.OneMelody.1|Morning.wav|Morning.mp3
accepted|PhoneUI.Audio.OneMelody.2|/data/sounds/Night.$run.wav|Night.$run.mp3
accepted|Telephony.PhoneSystem.Type|generic
accepted|Telephony.CallWaiting|1
accepted|Telephony.AutoAnswer|0
# Function keys
accepted|PhoneUI.Keys.FunctionKeys.1.Type|line
accepted|PhoneUI.Keys.FunctionKeys.1.Label|Amt 1
accepted|PhoneUI.Keys.FunctionKeys.1.Value|1
accepted|PhoneUI.Keys.FunctionKeys.2.Type|line
accepted|PhoneUI.Keys.FunctionKeys.2.Label|Amt 2
accepted|PhoneUI.Keys.FunctionKeys.2.Value|2
accepted|PhoneUI.Keys.FunctionKeys.3.Type|blf
accepted|PhoneUI.Keys.FunctionKeys.3.Label|Werkstatt $run
accepted|PhoneUI.Keys.FunctionKeys.3.Value|1002
accepted|PhoneUI.Keys.FunctionKeys.4.Type|speeddial
accepted|PhoneUI.Keys.FunctionKeys.4.Label|Pförtner
accepted|PhoneUI.Keys.FunctionKeys.4.Value|1099
$key5|PhoneUI.Keys.FunctionKeys.5.Type|speeddial
$key5|PhoneUI.Keys.FunctionKeys.5.Label|Zentrale
$key5|PhoneUI.Keys.FunctionKeys.5.Value|1000
refused|PhoneUI.Keys.FunctionKeys.6.Label|never unlocked
refused|PhoneUI.Keys.FunctionKeys.3.LockProvisioning|1
refused|PhoneUI.Keys.FunctionKeys.Label|no key
refused|PhoneUI.Keys.FunctionKeys.x.Label|no key
END
}

xml_escaped() {
    sed -e 's/&/\&amp;/g' -e 's/</\&lt;/g' -e 's/>/\&gt;/g' -e 's/"/\&quot;/g'
}

# provisioning_file RUN MAC: the XML document. An empty value in the table stands for a parameter
# without the attribute, a mistake that the daemon has to cope with.
provisioning_file() {
    local expectation name value groups=0
    printf '<?xml version="1.0" encoding="UTF-8"?>\n'
    printf '<nvm version="1.1" productID="hd7k" macAddress="%s">\n' "$2"
    while IFS='|' read -r expectation name value _; do
        if [[ $expectation == '#'* ]]; then
            ((groups == 0)) || printf '  </settings>\n'
            printf '  <!-- %s -->\n  <settings>\n' "${expectation#\# }"
            groups=$((groups + 1))
        elif [[ -z $value ]]; then
            printf '    <param name="%s"/>\n' "$name"
        else
            printf '    <param name="%s" value="%s"/>\n' "$name" "$(xml_escaped <<<"$value")"
        fi
    done < <(parameters "$1")
    printf '  </settings>\n</nvm>\n'
}
