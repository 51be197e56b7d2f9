// SPDX-License-Identifier: Apache-2.0
#include "SickPhone.h"

#include "support/process/ChildProcess.h"

#include <json/reader.h>
#include <json/value.h>
#include <sys/stat.h>

#include <cstdlib>
#include <memory>

std::vector<DoctorLine> Visit::of(const std::string& check) const {
    std::vector<DoctorLine> found;
    for (const DoctorLine& line : lines)
        if (line.check == check)
            found.push_back(line);
    return found;
}

SickPhone::SickPhone() : broker({.socketPath = root.host("/run/halden/bus.sock")}) {
    for (const char* name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY",
                             "no_proxy", "NO_PROXY"})
        ::unsetenv(name);
    daemon.emplace("prov-client");
    root.write(BUNDLE, ca.certificate());
    root.write(CONFIGURATION, R"({"networking.provisioning.MajorId": "hd7k",
        "ui.security.CredentialRequestTimeout": "2"})");
    root.write(KEY, std::string(SECRET) + "\n");
    mode(KEY, 0600);
    serve("");
}

void SickPhone::serve(const std::string& locations, const std::string& clientCa) {
    nginx = std::make_unique<Nginx>(
        locations, Nginx::Tls{ca.issueServer({"IP:127.0.0.1", "DNS:localhost"}), clientCa, {}});
    nginx->publish("/phone.xml", "<nvm/>");
    set({{"System.Provision.ProvisioningServer", nginx->tlsUrl("/phone.xml")}});
}

void SickPhone::serve(const std::string& locations, const TestIdentity& identity) {
    nginx = std::make_unique<Nginx>(locations, Nginx::Tls{identity, {}, {}});
    nginx->publish("/phone.xml", "<nvm/>");
    set({{"System.Provision.ProvisioningServer", nginx->tlsUrl("/phone.xml")}});
}

void SickPhone::set(const std::map<std::string, std::string>& values) {
    propertyapi::SqlitePropertyApi store;
    for (const auto& [key, value] : values)
        store.setValue(key, value);
}

void SickPhone::sql(const std::string& statements) const {
    const Finished finished = run({"sqlite3", root.host(STORE), statements});
    ASSERT_EQ(finished.status, 0) << finished.output;
}

void SickPhone::mode(const std::string& phonePath, unsigned int bits) const {
    ASSERT_EQ(::chmod(root.host(phonePath).c_str(), bits), 0) << phonePath;
}

Visit SickPhone::visit(const std::vector<std::string>& words,
                       const std::map<std::string, std::string>& environment) {
    std::vector<std::string> arguments{OVOCTL, "doctor", "--json"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    const Finished finished = run(arguments, environment);
    Visit visit{finished.status, finished.output, {}};
    const std::size_t begin = ("\n" + finished.output).find("\n[{");
    if (begin == std::string::npos)
        return visit;
    const std::string text = finished.output.substr(begin);
    Json::Value list;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &list, nullptr)) << text;
    for (const Json::Value& line : list)
        visit.lines.push_back({line["check"].asString(), line["level"].asString(),
                               line["what"].asString(), line["cure"].asString()});
    return visit;
}

void SickPhone::expect(const Visit& visit, const std::string& check, const std::string& level,
                       const std::string& what, const std::string& cure) {
    const std::vector<DoctorLine> lines = visit.of(check);
    ASSERT_EQ(lines.size(), 1U) << check << "\n" << visit.output;
    EXPECT_EQ(lines[0].level, level) << check << ": " << lines[0].what;
    EXPECT_THAT(lines[0].what, testing::HasSubstr(what));
    EXPECT_THAT(lines[0].cure, testing::HasSubstr(cure));
    if (level != "ok") {
        EXPECT_EQ(visit.status, 1) << visit.output;
    }
}

void SickPhone::expectSkipped(const Visit& visit, const std::vector<std::string>& checks) {
    for (const std::string& check : checks)
        expect(visit, check, "warning", "not checked: ");
}
