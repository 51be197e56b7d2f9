// SPDX-License-Identifier: Apache-2.0
#include "ParameterFile.h"

#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"

#include <stdexcept>

namespace bench {

std::string parameterFile(int count, const std::string& variant) {
    const int functionKeys = count / 50;
    const int vlanSettings = count / 1000;
    std::string file = std::string("<nvm version=\"1.1\" productID=\"") + PRODUCT +
                       "\" macAddress=\"" + MAC + "\"><settings>\n";
    for (int i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        std::string name = "Directory.Entry." + number + ".Number";
        if (i < functionKeys)
            name = "PhoneUI.Keys.FunctionKeys." + std::to_string(i % 8) + ".Field" + number;
        else if (i < functionKeys + vlanSettings)
            name = "NET.VLAN.Field" + number;
        else if (i % 50 == 0)
            name = "SIP.Account." + number + ".Ringtone";
        file += "<param name=\"" + name + "\" value=\"value " + number + " " + variant + "\"/>\n";
    }
    return file + "</settings></nvm>\n";
}

std::string encrypted(const std::string& content) {
    const TemporaryDirectory directory;
    const std::string plain = directory.path() + "/plain";
    const std::string target = directory.path() + "/encrypted";
    const std::string key = directory.path() + "/key";
    writeHostFile(plain, content);
    writeHostFile(key, std::string(KEY) + "\n");
    const Finished openssl = run({"openssl", "enc", "-aes-128-cbc", "-pbkdf2", "-pass",
                                  "file:" + key, "-in", plain, "-out", target});
    if (openssl.status != 0)
        throw std::runtime_error("openssl: " + openssl.output);
    return readHostFile(target);
}

} // namespace bench
