// SPDX-License-Identifier: Apache-2.0
#include "DoctorCommand.h"

#include "Examination.h"
#include "NetworkChecks.h"
#include "PhoneChecks.h"
#include "StoreChecks.h"
#include "TlsChecks.h"
#include "ovoctl/support/JsonLine.h"
#include "ovoctl/support/Words.h"

#include <algorithm>
#include <array>
#include <exception>
#include <iostream>
#include <memory>
#include <string>

namespace ovoctl {

namespace {

struct Check {
    const char* name; ///< for a check that fails in a way that it does not expect
    void (*examine)(Examination& examination);
};

/// In the order of what needs what.
constexpr std::array CHECKS = {
    Check{"daemon", checkDaemon},
    Check{"broker", checkBroker},
    Check{"store", checkStore},
    Check{"phone configuration", checkPhoneConfiguration},
    Check{"key file", checkKeyFile},
    Check{"directories", checkDirectories},
    Check{"free space", checkSpace},
    Check{"clock", checkClock},
    Check{"server", checkServer},
    Check{"trusted certificates", checkTrustedCertificates},
    Check{"client certificate", checkClientCertificate},
    Check{"proxy", checkProxy},
    Check{"host name", checkHostName},
    Check{"connection", checkConnection},
    Check{"TLS", checkServerCertificates},
    Check{"answer", checkAnswer},
};

struct Options {
    std::string url;
    bool isJson = false;
};

/// What kept it from being printed; null: nothing.
std::exception_ptr printLine(const ExaminationResult& result) {
    std::string level = wordFor(result.level);
    level.resize(8, ' ');
    try {
        std::cout << level << result.check << ": " << result.what;
        if (!result.cure.empty())
            std::cout << "; " << result.cure;
        std::cout << std::endl; // a check may take seconds
        return nullptr;
    } catch (...) {
        return std::current_exception();
    }
}

Json::Value toJson(const ExaminationResult& result) {
    Json::Value object(Json::objectValue);
    object["check"] = result.check;
    object["level"] = wordFor(result.level);
    object["what"] = result.what;
    object["cure"] = result.cure;
    return object;
}

Outcome examine(const Options& options) {
    Json::Value list(Json::arrayValue);
    // Not to be taken for one of the check that the line is of.
    std::exception_ptr outputFailure;
    Examination examination(options.url, [&](const ExaminationResult& result) {
        if (options.isJson)
            list.append(toJson(result));
        else if (!outputFailure)
            outputFailure = printLine(result);
    });
    for (const Check& check : CHECKS) {
        try {
            check.examine(examination);
        } catch (const std::exception& error) {
            examination.fail(check.name, std::string("not checked: ") + error.what(), "");
        }
        if (outputFailure)
            std::rethrow_exception(outputFailure);
    }
    if (options.isJson)
        std::cout << jsonLine(list);
    return examination.isFine() ? Outcome::FINE : Outcome::FINDING;
}

} // namespace

void addDoctorCommand(CLI::App& app, Outcome& outcome) {
    auto options = std::make_shared<Options>();
    CLI::App& command = *app.add_subcommand(
        "doctor", "Look at everything that provisioning needs, and say what to do");
    CLI::Option& url = *command.add_option(
        "URL", options->url, "Provisioning file or its server (default: the configured server)");
    command.add_flag("--json", options->isJson, "Print a list of JSON objects");
    setExample(command, "ovoctl doctor https://prov.example.com/phone.xml");
    command.callback([options, &url, &outcome] {
        if (url.count() > 0) {
            requireName("URL", options->url);
            requireUrl(options->url);
        }
        outcome = examine(*options);
    });
}

} // namespace ovoctl
