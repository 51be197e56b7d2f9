// SPDX-License-Identifier: Apache-2.0
#include "RequiredSteps.h"

#include "LogLine.h"
#include "WholeFile.h"

#include <json/reader.h>

#include <exception>
#include <filesystem>
#include <memory>
#include <utility>

namespace {

constexpr char RUNNING[] =
    R"({"flag":false,"name":"provisioningStatus","parameters":{"provInProgress":true}})";
constexpr char IDLE[] =
    R"({"flag":false,"name":"AreYouBusyResponse","parameters":{"value":false}})";
constexpr char ENDED[] =
    R"({"flag":false,"name":"provisioningStatus","parameters":{"provInProgress":false}})";

/// What it has to hold, for one file with one job; what would have to be counted is 0.
std::string reportOf(int number, const std::string& url, const std::string& started,
                     const std::string& result) {
    return R"({"cause":"","files":[{"bytes":0,"cause":"","httpStatus":200,"jobs":[{"applied":0,)"
           R"("attempted":0,"cause":"","element":"settings","job":"NVMJobHandler","requested":0,)"
           R"("status":"success"}],"status":"success","url":")" +
           url + R"("}],"httpStatus":200,"result":")" + result + R"(","run":)" +
           std::to_string(number) + R"(,"seconds":0.001,"started":")" + started + R"(","url":")" +
           url + R"("})";
}

std::string locationOf(Json::CharReader& reader, const std::string& request) {
    Json::Value message;
    std::string errors;
    reader.parse(request.data(), request.data() + request.size(), &message, &errors);
    return message["parameters"]["location"].asString();
}

} // namespace

RequiredSteps::RequiredSteps(const Places& places)
    : password_(places.password)
    , directory_(places.directory)
    , phone_({places.lock, places.configuration, places.directory})
    , store_(places.database)
    , http_(places.caBundle)
    , bus_(places.busSocket, [this](std::string request) { take(std::move(request)); }) {
    phone_.go(store_, places.database);
    messageThread_ = std::thread([this] { serve(); });
}

RequiredSteps::~RequiredSteps() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
    }
    changed_.notify_one();
    messageThread_.join();
    if (runThread_.joinable())
        runThread_.join();
}

/// On the bus thread.
void RequiredSteps::take(std::string request) {
    {
        const std::lock_guard lock(mutex_);
        requests_.push_back(std::move(request));
    }
    changed_.notify_one();
}

/// The message thread.
void RequiredSteps::serve() {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    for (;;) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return isEnding_ || !requests_.empty(); });
        if (isEnding_)
            return;
        const std::string request = std::move(requests_.front());
        requests_.pop_front();
        lock.unlock();
        if (const std::string location = locationOf(*reader, request); !location.empty())
            start(location);
        else
            bus_.publish(IDLE);
    }
}

void RequiredSteps::start(const std::string& url) {
    bus_.publish(RUNNING);
    if (runThread_.joinable())
        runThread_.join();
    logLine("Start provisioning thread");
    runThread_ = std::thread(&RequiredSteps::run, this, url);
}

/// The run's thread.
void RequiredSteps::run(std::string url) {
    const std::string started = timeText();
    std::string result = "success";
    try {
        apply(url);
    } catch (const std::exception& exception) {
        logLine(exception.what());
        result = "fail";
    }
    finish(url, started, result);
}

void RequiredSteps::apply(std::string url) {
    logLine("Provisioning Started");
    store_.write({{"State.Provisioning.InProgress", "1"}}, false);
    removeFiles();
    const std::string mac = store_.value("NET.MAC.Address");
    if (const auto place = url.find("%MACC"); place != std::string::npos)
        url.replace(place, 5, mac);
    const std::string path = directory_ + url.substr(url.rfind('/'));
    logLine("Provisioning XML from: " + url + " to: " + path);
    writeWhole(path, http_.get(url));
    logLine("Verification of file: " + path);
    if (std::string content = readWhole(path); content.starts_with("Salted__"))
        writeWhole(path, decrypt(content, password_));
    std::string plain = readWhole(path);
    const Parameters parameters = parse(plain);
    logLine("nvm is verifiable");
    logLine("File verified positively.");
    logLine("Found 1 valid provisioning job/s. ");
    logLine("+++++ Starting NVMJobHandler");
    for (const auto& [key, value] : parameters)
        if (key.starts_with("PhoneUI.Keys.FunctionKeys."))
            logLine("Preparing function key param: \"" + key + "\"=\"" + value + "\"");
    store_.write(parameters, true);
    logLine("Parameters requested: " + std::to_string(parameters.size()));
    logLine("-----Finishing NVMJobHandler with status: 2");
}

/// Of earlier runs: those of the directory and of the directories in it.
void RequiredSteps::removeFiles() const {
    namespace fs = std::filesystem;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory_)) {
        if (entry.is_regular_file())
            fs::remove(entry.path());
        else
            for (const fs::directory_entry& inner : fs::directory_iterator(entry.path()))
                fs::remove(inner.path());
    }
}

void RequiredSteps::finish(const std::string& url, const std::string& started,
                           const std::string& result) {
    store_.write({{"State.Provisioning.InProgress", "0"}}, false);
    logLine("Provisioning Finished");
    logLine("Run of " + url + ": " + result + ", files 1, jobs 1");
    bus_.publish(ENDED);
    store_.write({{"State.Provisioning.HttpErrorCode", "200"}}, false);
    store_.write({{"State.Provisioning.Report", reportOf(++number_, url, started, result)}}, false);
    store_.write({{"State.Provisioning", result}}, false);
    logLine("Provisioning succeeded. Status: " + result);
    store_.rest();
}
