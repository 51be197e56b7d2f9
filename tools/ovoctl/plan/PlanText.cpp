// SPDX-License-Identifier: Apache-2.0
#include "PlanText.h"

#include "ovoctl/support/JsonLine.h"
#include "text/Escape.h"
#include "text/Quote.h"

#include <algorithm>
#include <string>

namespace ovoctl {

namespace {

/// More parameters of a job that would stay as they are become one line.
constexpr std::ptrdiff_t MOST_UNCHANGED = 20;

std::string sizeOf(const PlannedDownload& download) {
    return download.bytes ? std::to_string(*download.bytes) + " bytes" : "size not known";
}

class TextPrinter {
public:
    TextPrinter(bool all, std::ostream& output) : all_(all), output_(output) {}

    void print(const Plan& plan) {
        line(0, "Plan for " + quote(plan.start) + " and the phone below " + plan.root +
                    "; nothing is changed");
        print(1, plan.before);
        for (const PlannedFile& file : plan.files)
            print(file);
        if (!plan.after.empty())
            line(0, "At the end");
        print(1, plan.after);
        line(0, "Result: " + plan.result + (plan.cause.empty() ? "" : ": " + plan.cause));
    }

private:
    void line(int depth, const std::string& text) {
        constexpr int INDENT = 2;
        output_ << std::string(static_cast<std::size_t>(depth) * INDENT, ' ')
                << escapeControls(text) << '\n';
    }

    void head(int depth, const std::string& what, const PlannedLevel& level) {
        line(depth, what + ": " + level.status + (level.cause.empty() ? "" : ": " + level.cause) +
                        (level.remark.empty() ? "" : "; " + level.remark));
    }

    void print(const PlannedFile& file) {
        head(0,
             "File " + file.url + " (status " + std::to_string(file.httpStatus) + ", " +
                 std::to_string(file.bytes) + " bytes)",
             file);
        for (const PlannedJob& job : file.jobs)
            print(job);
        print(1, file.actions);
    }

    void print(const PlannedJob& job) {
        head(1, "Job " + quote(job.element) + " (" + job.job + ")", job);
        if (job.firmware)
            line(2, "firmware installed " + quote(job.firmware->installed) + ", offered " +
                        quote(job.firmware->offered) + ": " + job.firmware->decision);
        for (const PlannedRefusal& refusal : job.refused)
            line(2, quote(refusal.name) + ": refused: " + refusal.why);
        print(2, job.actions);
        printParameters(job);
        for (const PlannedStep& step : job.steps) {
            head(2, "Step " + quote(step.type), step);
            print(3, step.actions);
        }
    }

    void printParameters(const PlannedJob& job) {
        const std::ptrdiff_t unchanged =
            std::count_if(job.parameters.begin(), job.parameters.end(),
                          [](const PlannedProperty& parameter) { return !parameter.isChange; });
        const bool isShort = !all_ && unchanged > MOST_UNCHANGED;
        for (const PlannedProperty& parameter : job.parameters)
            if (parameter.isChange || !isShort)
                line(2, describe(parameter));
        if (isShort)
            line(2, std::to_string(unchanged) + " parameters unchanged (--all shows them)");
    }

    static std::string describe(const PlannedProperty& property) {
        if (!property.isChange)
            return quote(property.key) + ": " + quote(property.after) + ", unchanged";
        return quote(property.key) + ": " +
               (property.before ? quote(*property.before) : std::string("not set")) + " -> " +
               quote(property.after);
    }

    void print(int depth, const PlannedActions& actions) {
        for (const PlannedAction& action : actions)
            std::visit([&](const auto& what) { print(depth, what); }, action);
    }

    void print(int depth, const PlannedProperty& property) {
        line(depth, "property " + describe(property));
    }

    void print(int depth, const PlannedMessage& message) {
        line(depth, "message " + quote(message.name) + " to " + message.destination + " " +
                        jsonText(message.parameters));
    }

    void print(int depth, const PlannedDownload& download) {
        const std::string what = "download " + download.url + " to " + download.path + ": ";
        if (!download.cause.empty())
            line(depth, what + download.cause);
        else
            line(depth,
                 what + sizeOf(download) + (download.isFetched ? "" : ", would be downloaded"));
    }

    bool all_;
    std::ostream& output_;
};

} // namespace

void printText(const Plan& plan, bool all, std::ostream& output) {
    TextPrinter(all, output).print(plan);
}

} // namespace ovoctl
