// SPDX-License-Identifier: Apache-2.0
#include "FakeSecurity.h"

#include <stdexcept>
#include <utility>

// What is loaded asks its service again, which therefore has to outlive it.
class FakeSecurity::Certificate : public http::ICertificate {
public:
    Certificate(const FakeSecurity& security, bool valid) : security_(security), valid_(valid) {}

    bool isValid() const override { return valid_; }
    bool save(const std::string& path) const override {
        return security_.isSavedTo(path, "save certificate " + path) && valid_;
    }

private:
    const FakeSecurity& security_;
    const bool valid_;
};

class FakeSecurity::PrivateKey : public http::IPrivateKey {
public:
    PrivateKey(const FakeSecurity& security, bool valid) : security_(security), valid_(valid) {}

    bool isValid() const override { return valid_; }
    bool save(const std::string& path, const std::string& password) const override {
        return security_.isSavedTo(path, "save key " + path + " " + password) && valid_;
    }

private:
    const FakeSecurity& security_;
    const bool valid_;
};

void FakeSecurity::setUnusable(const std::string& path) {
    const std::lock_guard lock(mutex_);
    unusable_.insert(path);
}

void FakeSecurity::setInvalid(const std::string& path) {
    const std::lock_guard lock(mutex_);
    invalid_.insert(path);
}

void FakeSecurity::setUnreadable(const std::string& path) {
    const std::lock_guard lock(mutex_);
    unreadable_.insert(path);
}

void FakeSecurity::setUnwritable(const std::string& path) {
    const std::lock_guard lock(mutex_);
    unwritable_.insert(path);
}

void FakeSecurity::setKeyPassword(const std::string& path, const std::string& password) {
    const std::lock_guard lock(mutex_);
    keyPasswords_[path] = password;
}

void FakeSecurity::setDirectory(const std::string& directory, const std::set<std::string>& names) {
    const std::lock_guard lock(mutex_);
    directories_[directory] = names;
}

void FakeSecurity::setClientIdentity(std::optional<http::ClientIdentity> identity) {
    const std::lock_guard lock(mutex_);
    identity_ = std::move(identity);
}

void FakeSecurity::setCheckError(const std::string& text) {
    const std::lock_guard lock(mutex_);
    checkError_ = text;
}

std::vector<std::string> FakeSecurity::calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
}

bool FakeSecurity::checkCertificate(const std::string& path) const {
    record("check " + path);
    const std::lock_guard lock(mutex_);
    if (!checkError_.empty())
        throw std::runtime_error(checkError_);
    return unusable_.count(path) == 0 && unreadable_.count(path) == 0;
}

void FakeSecurity::updateCaBundle(const std::string& directory) {
    record("update " + directory);
    const std::lock_guard lock(mutex_);
    const auto found = directories_.find(directory);
    if (found == directories_.end())
        throw std::runtime_error("Directory " + directory + " is missing");
    for (const std::string& name : bundle_) {
        if (found->second.count(name) == 0)
            note("Remove", name);
    }
    for (const std::string& name : found->second) {
        if (bundle_.count(name) == 0)
            note("Accept", name);
    }
    bundle_ = found->second;
}

void FakeSecurity::note(const std::string& operation, const std::string& name) {
    std::erase(operations_, std::pair(operation, name));
    operations_.emplace_back(operation, name);
}

FakeSecurity::CertificateOperations FakeSecurity::takeCertificateOperations() {
    record("take");
    const std::lock_guard lock(mutex_);
    return std::exchange(operations_, {});
}

std::string FakeSecurity::getCaBundlePath() const {
    return "/data/certs/ca-bundle.pem";
}

std::optional<http::ClientIdentity> FakeSecurity::getClientIdentity() const {
    const std::lock_guard lock(mutex_);
    return identity_;
}

std::shared_ptr<http::ICertificate> FakeSecurity::loadCertificate(const std::string& path) const {
    record("certificate " + path);
    requireReadable(path);
    const std::lock_guard lock(mutex_);
    return std::make_shared<Certificate>(*this, invalid_.count(path) == 0);
}

std::shared_ptr<http::IPrivateKey> FakeSecurity::loadPrivateKey(const std::string& path,
                                                                const std::string& password) const {
    record("key " + path + " " + password);
    requireReadable(path);
    const std::lock_guard lock(mutex_);
    const auto needed = keyPasswords_.find(path);
    const bool opens = needed == keyPasswords_.end() || needed->second == password;
    return std::make_shared<PrivateKey>(*this, opens && invalid_.count(path) == 0);
}

void FakeSecurity::record(const std::string& call) const {
    const std::lock_guard lock(mutex_);
    calls_.push_back(call);
}

void FakeSecurity::requireReadable(const std::string& path) const {
    const std::lock_guard lock(mutex_);
    if (unreadable_.count(path) != 0)
        throw std::runtime_error("Reading " + path + " failed");
}

bool FakeSecurity::isSavedTo(const std::string& path, const std::string& call) const {
    record(call);
    const std::lock_guard lock(mutex_);
    return unwritable_.count(path) == 0;
}
