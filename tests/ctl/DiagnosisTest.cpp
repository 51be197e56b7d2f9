// SPDX-License-Identifier: Apache-2.0
#include "ovoctl/crypt/Diagnosis.h"

#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>

namespace {

using ovoctl::Diagnosed;
using ovoctl::Diagnoser;
using ovoctl::Diagnosis;
using testing::HasSubstr;
using testing::Not;

Diagnosed diagnose(std::string_view content, std::string_view key) {
    return Diagnoser(key).diagnose(content);
}

class DiagnosisOf : public testing::Test {
protected:
    /// What the stock tool makes of the text with these options and the key.
    std::string stock(const std::vector<std::string>& options) const {
        writeHostFile(directory_.path() + "/key", key_);
        writeHostFile(directory_.path() + "/plain", plain_);
        std::vector<std::string> words{"openssl", "enc"};
        words.insert(words.end(), options.begin(), options.end());
        for (const std::string& word :
             {std::string("-pass"), "file:" + directory_.path() + "/key", std::string("-in"),
              directory_.path() + "/plain", std::string("-out"), directory_.path() + "/out"})
            words.push_back(word);
        const Finished finished = run(words);
        EXPECT_EQ(finished.status, 0) << finished.output;
        return readHostFile(directory_.path() + "/out");
    }
    std::string good() const { return stock({"-aes-128-cbc", "-pbkdf2"}); }
    void expect(const std::vector<std::string>& options, Diagnosis diagnosis,
                const std::string& described) const {
        const Diagnosed found = diagnose(stock(options), key_);
        EXPECT_EQ(found.diagnosis, diagnosis) << described;
        EXPECT_EQ(found.options, described);
        EXPECT_THAT(found.sentence, HasSubstr(described));
        EXPECT_THAT(found.sentence, HasSubstr("again"));
        EXPECT_THAT(found.sentence, Not(HasSubstr("the-key")));
    }

    const TemporaryDirectory directory_;
    std::string key_ = "the-key\n";
    std::string plain_ =
        "<?xml version=\"1.0\"?>\n<nvm>gr\xc3\xbc\xc3\x9f</nvm>\n" + std::string(200, ' ');
};

TEST_F(DiagnosisOf, TheStockFormatIsReadable) {
    EXPECT_EQ(diagnose(good(), key_).diagnosis, Diagnosis::READABLE);
    EXPECT_EQ(diagnose(good(), "the-key").diagnosis, Diagnosis::READABLE);
    for (const std::string text : {"", "x"}) {
        plain_ = text;
        const Diagnosed found = diagnose(good(), key_);
        EXPECT_EQ(found.diagnosis, Diagnosis::READABLE);
        EXPECT_EQ(found.plain, text);
    }
}

TEST_F(DiagnosisOf, WhatIsNotTextIsDecryptedAllTheSame) {
    for (const std::string& text : {std::string(16, '\0'), std::string("\xff\xfe\x00\x01", 4)}) {
        plain_ = text;
        const Diagnosed found = diagnose(good(), key_);
        EXPECT_EQ(found.diagnosis, Diagnosis::NO_TEXT);
        EXPECT_EQ(found.plain, text);
        EXPECT_THAT(found.sentence, HasSubstr("not text, or the key is wrong"));
    }
}

TEST_F(DiagnosisOf, APlainFile) {
    for (const std::string content : {"", "<nvm/>", "Salted_"})
        EXPECT_EQ(diagnose(content, key_).diagnosis, Diagnosis::PLAIN);
}

TEST_F(DiagnosisOf, AFileThatIsText) {
    const Diagnosed found = diagnose(stock({"-aes-128-cbc", "-pbkdf2", "-a"}), key_);
    EXPECT_EQ(found.diagnosis, Diagnosis::ENCODED);
    EXPECT_THAT(found.sentence, HasSubstr("without -a"));
}

TEST_F(DiagnosisOf, NoPbkdf2) {
    expect({"-aes-128-cbc"}, Diagnosis::NO_PBKDF2, "-aes-128-cbc");
    expect({"-aes-128-cbc", "-md", "md5"}, Diagnosis::NO_PBKDF2, "-aes-128-cbc -md md5");
    expect({"-aes-256-cbc"}, Diagnosis::NO_PBKDF2, "-aes-256-cbc");
    expect({"-aes-192-cbc", "-md", "sha1"}, Diagnosis::NO_PBKDF2, "-aes-192-cbc -md sha1");
}

TEST_F(DiagnosisOf, OtherRounds) {
    for (const char* rounds : {"1", "1000", "20000", "100000", "600000"})
        expect({"-aes-128-cbc", "-pbkdf2", "-iter", rounds}, Diagnosis::OTHER_ROUNDS,
               std::string("-aes-128-cbc -pbkdf2 -iter ") + rounds);
    expect({"-aes-256-cbc", "-pbkdf2", "-iter", "100000"}, Diagnosis::OTHER_ROUNDS,
           "-aes-256-cbc -pbkdf2 -iter 100000");
}

TEST_F(DiagnosisOf, OtherDigests) {
    for (const char* digest : {"md5", "sha1", "sha384", "sha512"})
        expect({"-aes-128-cbc", "-pbkdf2", "-md", digest}, Diagnosis::OTHER_DIGEST,
               std::string("-aes-128-cbc -pbkdf2 -md ") + digest);
}

TEST_F(DiagnosisOf, OtherCiphers) {
    for (const char* cipher : {"-aes-192-cbc", "-aes-256-cbc"})
        expect({cipher, "-pbkdf2"}, Diagnosis::OTHER_CIPHER, std::string(cipher) + " -pbkdf2");
}

TEST_F(DiagnosisOf, OtherOptionsOfAShortFile) {
    for (const std::string text : {"<a/>", "<nvm></nvm>  \n"}) {
        plain_ = text;
        expect({"-aes-128-cbc"}, Diagnosis::NO_PBKDF2, "-aes-128-cbc");
    }
}

TEST_F(DiagnosisOf, AnotherEndOfTheKeysLine) {
    const std::string encrypted = good();
    EXPECT_EQ(diagnose(encrypted, "the-key\r\n").diagnosis, Diagnosis::OTHER_LINE_END);
    key_ = "the-key\r\n";
    EXPECT_EQ(diagnose(good(), "the-key\n").diagnosis, Diagnosis::OTHER_LINE_END);
}

TEST_F(DiagnosisOf, DamageWithTheRightKey) {
    const std::string encrypted = good();
    // Cut within a block and between blocks; the last bytes changed.
    for (const std::size_t size : {encrypted.size() - 1, encrypted.size() - 16, std::size_t{48}})
        EXPECT_EQ(diagnose(encrypted.substr(0, size), key_).diagnosis, Diagnosis::DAMAGED) << size;
    EXPECT_EQ(diagnose(encrypted + "x", key_).diagnosis, Diagnosis::DAMAGED);
}

TEST_F(DiagnosisOf, AWrongKey) {
    int unreadable = 0;
    const std::string encrypted = good();
    for (const std::string key : {"wrong", "The-Key", "the-ke", "the-keyy", ""}) {
        const Diagnosed found = diagnose(encrypted, key);
        // One wrong key in 256 leaves bytes that look like padding.
        if (found.diagnosis != Diagnosis::NO_TEXT) {
            ++unreadable;
            EXPECT_EQ(found.diagnosis, Diagnosis::UNREADABLE);
            EXPECT_THAT(found.sentence, HasSubstr("the key is wrong or the file is damaged"));
        }
    }
    EXPECT_GE(unreadable, 3);
}

TEST_F(DiagnosisOf, ACutFileWithAWrongKey) {
    EXPECT_EQ(diagnose(good().substr(0, 47), "wrong").diagnosis, Diagnosis::CUT);
    for (const std::string content : {"Salted__", "Salted__1234", "Salted__12345678"})
        EXPECT_EQ(diagnose(content, key_).diagnosis, Diagnosis::CUT);
}

TEST_F(DiagnosisOf, ManyFilesThatNoKeyOpens) {
    constexpr int SEARCHED = 8;
    const std::string common = stock({"-aes-128-cbc", "-pbkdf2", "-iter", "1000"});
    const std::string rare = stock({"-aes-128-cbc", "-pbkdf2", "-iter", "2000"});
    const std::string key = key_;
    Diagnoser diagnoser(key);
    EXPECT_EQ(diagnoser.diagnose(common).diagnosis, Diagnosis::OTHER_ROUNDS);
    key_ = "another key\n";
    for (int files = 0; files < SEARCHED; ++files)
        diagnoser.diagnose(good());
    key_ = key;
    EXPECT_EQ(diagnoser.diagnose(common).diagnosis, Diagnosis::OTHER_ROUNDS);
    EXPECT_EQ(diagnoser.diagnose(good()).diagnosis, Diagnosis::READABLE);
    const Diagnosed unsearched = diagnoser.diagnose(rare);
    EXPECT_TRUE(unsearched.diagnosis == Diagnosis::UNREADABLE ||
                unsearched.diagnosis == Diagnosis::NO_TEXT)
        << unsearched.sentence;
    EXPECT_EQ(diagnose(rare, key_).diagnosis, Diagnosis::OTHER_ROUNDS);
}

} // namespace
