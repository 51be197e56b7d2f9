// SPDX-License-Identifier: Apache-2.0
#include "GeneratedFiles.h"

#include "ProvisioningFiles.h"
#include "ovoctl/check/Templates.h"

#include <algorithm>
#include <random>
#include <set>

namespace {

/// One fault in a good file: a text that is replaced, in one of its places or in all.
struct Fault {
    const char* what;
    const char* with;
    bool isEverywhere = false;
};
const std::vector<Fault> FAULTS = {
    {"version=\"1.", "version=\"2."},
    {"version=\"1.", "Version=\"1."},
    {"version=\"1.", "versoin=\"1."},
    {"<nvm ", "<nvm macaddress=\"02:00:00:00:00:01\" "},
    {"<nvm ", "<nvm macAddress=\"02:00:00:00:00\" "},
    {"<custom ", "<custom productID=\"HD7K\" "},
    {"<provisioning ", "<provisioning productID=\"\" "},
    {"<param ", "<parm "},
    {"<param ", "<param Name=\"x\" "},
    {"<param ", "<param><inner/></param><param "},
    {"<param ", "<param/><param "},
    {"<param ", "<file url=\"/x\"/><param "},
    {" name=", " nmae="},
    {" value=", " valeu="},
    {" value=", " value=\"twice\" value="},
    {"<settings>", "<settings lang=\"de\">"},
    {"<settings>", "<group><settings>"},
    {"<step ", "<Step "},
    {"<step ", "<step flag=\"x\" "},
    {"<step ", "<step/><step "},
    {" type=", " typ="},
    {"type=\"", "type=\"x"},
    {"\"Redirect\"", "\"redirect\""},
    {"\"Clientkey\"", "\"Clientcertificate\" password=\"x\""},
    {"\"UnlockAllFunctionKeys\"", "\"UnlockAllFunctionKeys\" url=\"/x\""},
    {" url=", " uri="},
    {"url=\"/", "url=\""},
    {"url=\"/", "url=\"/a b"},
    {"url=\"https:", "url=\"ftp:"},
    {".xml\"", "/\""},
    {".png\"", "/..\""},
    {".bin\"", "/.\""},
    {"flags=\"FORCE_ACCEPT\"", "flags=\"FORCE\""},
    {"flags=\"FORCE_ACCEPT\"", "flag=\"FORCE_ACCEPT\""},
    {"renewPeriod=\"3600\"", "renewPeriod=\"60\""},
    {"renewPeriod=\"3600\"", "renewPeriod=\"hourly\""},
    {"<file ", "<file name=\"x\" "},
    {"version=\"7.", "version=\"v7."},
    {"<category ", "<catgory "},
    {"type=\"nvm\"", "type=\"NVM\""},
    {"</", "</x"},
    {"/>", ">"},
    {"=\"", "="},
    {"<scenario", "<Scenario"},
    {"<firmware", "<Firmware"},
    {"nvm", "Nvm", true},
    {"custom", "costum", true},
    {"firmware", "firmwares", true},
    {"settings", "setings", true},
    {"scenario", "szenario", true},
    {"<step ", "<stp ", true},
};

std::vector<std::size_t> placesOf(const std::string& text, const std::string& part) {
    std::vector<std::size_t> places;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        places.push_back(at);
    return places;
}

} // namespace

std::vector<std::string> generateBadFiles(std::size_t count) {
    std::vector<std::string> good = referenceExamples();
    for (const ovoctl::check::Template& each : ovoctl::check::TEMPLATES)
        good.emplace_back(
            each.text.substr(each.text.find("?>") + 3)); // the declaration is no element
    std::mt19937 random(20);
    const auto any = [&random](std::size_t size) {
        return random() % size;
    };
    std::set<std::string> bad;
    std::vector<std::string> files;
    while (files.size() < count) {
        std::string file = good[any(good.size())];
        const Fault& fault = FAULTS[any(FAULTS.size())];
        std::vector<std::size_t> places = placesOf(file, fault.what);
        // Not in a comment.
        std::erase_if(places, [&](std::size_t place) {
            const auto comment = file.rfind("<!--", place);
            return comment != std::string::npos && file.find("-->", comment) > place;
        });
        if (places.empty())
            continue;
        if (!fault.isEverywhere)
            places = {places[any(places.size())]};
        for (auto place = places.rbegin(); place != places.rend(); ++place)
            file.replace(*place, std::string(fault.what).size(), fault.with);
        if (bad.insert(file).second)
            files.push_back(std::move(file));
    }
    return files;
}
