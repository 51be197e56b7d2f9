// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/check/CheckRun.h"
#include "support/files/ProvisioningFiles.h"
#include "support/process/PhoneRoot.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

/// Checks files in a directory of their own.
class CheckFixture : public testing::Test {
protected:
    void write(const std::string& name, const std::string& content) const;
    std::string path(const std::string& name) const { return directory_.path() + "/" + name; }

    /// "LINE:COLUMN RULE" for each finding but "plain", of all files.
    std::vector<std::string> check(const std::string& content);
    std::vector<std::string> checkFiles(const std::vector<std::string>& names);
    /// For the phone and at the address that the file is meant for.
    std::vector<std::string> checkFile(const ProvisioningFile& file);
    /// The sentences of the findings of the last check.
    const std::vector<std::string>& sentences() const { return sentences_; }

    ovoctl::check::CheckOptions options;

private:
    void takePhone(const ProvisioningFile& file);

    TemporaryDirectory directory_;
    std::vector<std::string> sentences_;
};
