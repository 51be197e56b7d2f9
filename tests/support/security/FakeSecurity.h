// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/ISecurity.h"

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// A security service without cryptography: the test says what the files hold. Unless told
/// otherwise every certificate and key is good. Records what it is asked for. Any thread.
class FakeSecurity : public http::ISecurity {
public:
    /// What a test says, by path.
    void setUnusable(const std::string& path);   ///< checkCertificate(): false
    void setInvalid(const std::string& path);    ///< loaded certificate or key: not valid
    void setUnreadable(const std::string& path); ///< loading throws, checkCertificate(): false
    void setUnwritable(const std::string& path); ///< save() there: false
    /// Key at this path needs this password.
    void setKeyPassword(const std::string& path, const std::string& password);
    /// File names of the usable certificates in a directory; a directory never set is missing.
    void setDirectory(const std::string& directory, const std::set<std::string>& names);
    void setClientIdentity(std::optional<http::ClientIdentity> identity);
    /// checkCertificate() throws this text; empty: no more.
    void setCheckError(const std::string& text);

    /// One entry a call, in order: "check PATH", "update DIRECTORY", "take", "certificate PATH",
    /// "key PATH PASSWORD", "save certificate PATH", "save key PATH PASSWORD".
    std::vector<std::string> calls() const;

    bool checkCertificate(const std::string& path) const override;
    void updateCaBundle(const std::string& directory) override;
    CertificateOperations takeCertificateOperations() override;
    std::string getCaBundlePath() const override;
    std::optional<http::ClientIdentity> getClientIdentity() const override;
    std::shared_ptr<http::ICertificate> loadCertificate(const std::string& path) const override;
    std::shared_ptr<http::IPrivateKey> loadPrivateKey(const std::string& path,
                                                      const std::string& password) const override;

private:
    class Certificate;
    class PrivateKey;

    void note(const std::string& operation, const std::string& name);
    void record(const std::string& call) const;
    void requireReadable(const std::string& path) const;
    bool isSavedTo(const std::string& path, const std::string& call) const;

    mutable std::mutex mutex_;
    mutable std::vector<std::string> calls_;
    std::set<std::string> unusable_;
    std::set<std::string> invalid_;
    std::set<std::string> unreadable_;
    std::set<std::string> unwritable_;
    std::map<std::string, std::string> keyPasswords_;
    std::map<std::string, std::set<std::string>> directories_;
    std::set<std::string> bundle_;
    CertificateOperations operations_;
    std::optional<http::ClientIdentity> identity_;
    std::string checkError_;
};
