// SPDX-License-Identifier: Apache-2.0
#include "PlanRecorder.h"

#include "masking/Masking.h"

#include <utility>

namespace ovoctl {

namespace {

PlannedProperty masked(PlannedProperty property) {
    if (property.before)
        property.before = masking::shown(property.key, *property.before);
    property.after = masking::shown(property.key, property.after);
    return property;
}

void setFirst(PlannedLevel* level, const std::string& cause) {
    if (level != nullptr && level->cause.empty())
        level->cause = cause;
}

} // namespace

void PlanRecorder::fileBegins(const std::string& url) {
    PlannedFile file;
    file.url = url;
    step_ = nullptr;
    job_ = nullptr;
    file_ = &plan_.files.emplace_back(std::move(file));
}

void PlanRecorder::fileFetched(int httpStatus, std::uint64_t bytes) {
    file_->httpStatus = httpStatus;
    file_->bytes = bytes;
}

void PlanRecorder::fileEnds(const std::string& status) {
    file_->status = status;
    step_ = nullptr;
    job_ = nullptr;
    file_ = nullptr;
}

void PlanRecorder::jobBegins(const std::string& element) {
    PlannedJob job;
    job.element = element;
    step_ = nullptr;
    job_ = &file_->jobs.emplace_back(std::move(job));
}

void PlanRecorder::jobIs(const std::string& handler) {
    job_->job = handler;
}

void PlanRecorder::jobEnds(const std::string& status) {
    job_->status = status;
    step_ = nullptr;
    job_ = nullptr;
}

void PlanRecorder::stepBegins() {
    step_ = &job_->steps.emplace_back();
}

void PlanRecorder::stepIs(const std::string& type) {
    step_->type = type;
}

void PlanRecorder::stepEnds(const std::string& status) {
    if (step_ == nullptr)
        return; // a step without a type never begins
    step_->status = status;
    step_ = nullptr;
}

void PlanRecorder::requested(std::size_t count) {
    job_->requested = count;
    job_->parameters.reserve(count);
}

void PlanRecorder::attempted(std::size_t count) {
    job_->attempted = count;
}

void PlanRecorder::applied(std::size_t count) {
    job_->applied = count;
}

void PlanRecorder::refused(const std::string& name, const std::string& why) {
    job_->refused.push_back({name, why});
}

void PlanRecorder::firmware(const std::string& installed, const std::string& offered,
                            const std::string& decision) {
    job_->firmware = {installed, offered, decision};
}

void PlanRecorder::failed(const std::string& cause) {
    setFirst(step_, cause);
    setFirst(job_, cause);
    setFirst(file_, cause);
}

void PlanRecorder::remarked(const std::string& remark) {
    for (PlannedLevel* level : {static_cast<PlannedLevel*>(step_), static_cast<PlannedLevel*>(job_),
                                static_cast<PlannedLevel*>(file_)}) {
        if (level == nullptr)
            continue;
        if (level->remark.empty())
            level->remark = remark;
        return;
    }
}

void PlanRecorder::property(PlannedProperty property) {
    add(masked(std::move(property)));
}

void PlanRecorder::parameter(PlannedProperty property) {
    job_->parameters.push_back(masked(std::move(property)));
}

void PlanRecorder::message(PlannedMessage message) {
    message.parameters = masking::shown({}, message.parameters);
    add(std::move(message));
}

void PlanRecorder::download(PlannedDownload download) {
    add(std::move(download));
}

PlannedActions& PlanRecorder::actions() {
    if (step_ != nullptr)
        return step_->actions;
    if (job_ != nullptr)
        return job_->actions;
    if (file_ != nullptr)
        return file_->actions;
    return plan_.files.empty() ? plan_.before : plan_.after;
}

} // namespace ovoctl
