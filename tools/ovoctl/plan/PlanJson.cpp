// SPDX-License-Identifier: Apache-2.0
#include "PlanJson.h"

#include <json/writer.h>

#include <memory>
#include <string>
#include <vector>

namespace ovoctl {

namespace {

template <typename T>
Json::Value orNull(const std::optional<T>& value) {
    return value ? Json::Value(*value) : Json::Value();
}

Json::Value numberOrNull(const std::optional<std::uint64_t>& value) {
    return value ? Json::Value(Json::UInt64{*value}) : Json::Value();
}

void describe(const PlannedProperty& property, const char* name, Json::Value& entry) {
    entry[name] = property.key;
    entry["old"] = orNull(property.before);
    entry["new"] = property.after;
    entry["changed"] = property.isChange;
}

struct ActionEntry {
    Json::Value operator()(const PlannedProperty& property) const {
        Json::Value entry;
        describe(property, "property", entry);
        return entry;
    }
    Json::Value operator()(const PlannedMessage& message) const {
        Json::Value entry;
        entry["message"] = message.name;
        entry["to"] = message.destination;
        entry["parameters"] = message.parameters;
        return entry;
    }
    Json::Value operator()(const PlannedDownload& download) const {
        Json::Value entry;
        entry["download"] = download.url;
        entry["path"] = download.path;
        entry["httpStatus"] = download.httpStatus;
        entry["bytes"] = numberOrNull(download.bytes);
        entry["fetched"] = download.isFetched;
        entry["cause"] = download.cause;
        return entry;
    }
};

/// Writes objects and lists; each member or element is written when it is known.
class JsonOutput {
public:
    explicit JsonOutput(std::ostream& output) : output_(output) {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        builder["emitUTF8"] = true;
        writer_.reset(builder.newStreamWriter());
    }

    void open(char bracket) {
        separate();
        output_ << bracket;
        isFirst_ = true;
    }
    void close(char bracket) {
        output_ << bracket;
        isFirst_ = false;
    }
    void name(const char* text) {
        separate();
        output_ << '"' << text << "\":";
        isFirst_ = true; // the value follows without a comma
    }
    void value(const Json::Value& value) {
        separate();
        writer_->write(value, &output_);
    }
    void member(const char* text, const Json::Value& content) {
        name(text);
        value(content);
    }
    template <typename Entries, typename Write>
    void list(const char* text, const Entries& entries, Write write) {
        name(text);
        open('[');
        for (const auto& entry : entries)
            write(entry);
        close(']');
    }

private:
    void separate() {
        if (!isFirst_)
            output_ << ',';
        isFirst_ = false;
    }

    std::ostream& output_;
    std::unique_ptr<Json::StreamWriter> writer_;
    bool isFirst_ = true;
};

class PlanPrinter {
public:
    explicit PlanPrinter(std::ostream& output) : json_(output) {}

    void print(const Plan& plan) {
        json_.open('{');
        json_.member("start", plan.start);
        json_.member("root", plan.root);
        json_.member("result", plan.result);
        json_.member("httpStatus", plan.httpStatus);
        json_.member("cause", plan.cause);
        print("before", plan.before);
        json_.list("files", plan.files, [this](const PlannedFile& file) { print(file); });
        print("after", plan.after);
        json_.close('}');
    }

private:
    void print(const char* name, const PlannedActions& actions) {
        json_.list(name, actions, [this](const PlannedAction& action) {
            json_.value(std::visit(ActionEntry(), action));
        });
    }

    void printEnd(const PlannedLevel& level) {
        json_.member("status", level.status);
        json_.member("cause", level.cause);
        if (!level.remark.empty())
            json_.member("remark", level.remark);
        print("actions", level.actions);
        json_.close('}');
    }

    void print(const PlannedFile& file) {
        json_.open('{');
        json_.member("url", file.url);
        json_.member("httpStatus", file.httpStatus);
        json_.member("bytes", Json::UInt64{file.bytes});
        json_.list("jobs", file.jobs, [this](const PlannedJob& job) { print(job); });
        printEnd(file);
    }

    void count(const char* name, const std::optional<std::size_t>& number) {
        if (number)
            json_.member(name, Json::UInt64{*number});
    }

    void print(const PlannedJob& job) {
        json_.open('{');
        json_.member("element", job.element);
        json_.member("job", job.job);
        count("requested", job.requested);
        count("attempted", job.attempted);
        count("applied", job.applied);
        json_.list("parameters", job.parameters, [this](const PlannedProperty& parameter) {
            Json::Value entry;
            describe(parameter, "name", entry);
            json_.value(entry);
        });
        json_.list("refused", job.refused, [this](const PlannedRefusal& refusal) {
            Json::Value entry;
            entry["name"] = refusal.name;
            entry["why"] = refusal.why;
            json_.value(entry);
        });
        json_.list("steps", job.steps, [this](const PlannedStep& step) { print(step); });
        if (job.firmware)
            print(*job.firmware);
        printEnd(job);
    }

    void print(const PlannedFirmware& firmware) {
        Json::Value entry;
        entry["installed"] = firmware.installed;
        entry["offered"] = firmware.offered;
        entry["decision"] = firmware.decision;
        json_.member("firmware", entry);
    }

    void print(const PlannedStep& step) {
        json_.open('{');
        json_.member("type", step.type);
        printEnd(step);
    }

    JsonOutput json_;
};

} // namespace

void printJson(const Plan& plan, std::ostream& output) {
    PlanPrinter(output).print(plan);
    output << "\n";
}

} // namespace ovoctl
