// SPDX-License-Identifier: Apache-2.0
#include "Ctl.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char* PLAIN = "<nvm version=\"1.1\"/>\n";

class CryptCommand : public testing::Test {
protected:
    CryptCommand() {
        root_.write("/key", "secret-of-the-test\n");
        ::chmod(path("key").c_str(), 0600);
        root_.write("/plain", PLAIN);
        ::umask(0022);
    }

    std::string path(const std::string& name) const { return root_.host("/" + name); }
    unsigned int modeOf(const std::string& name) const {
        struct stat status {};
        EXPECT_EQ(::stat(path(name).c_str(), &status), 0) << name;
        return status.st_mode & 07777U;
    }
    std::string stock(const std::vector<std::string>& options, const std::string& name) const {
        std::vector<std::string> words{"openssl", "enc"};
        words.insert(words.end(), options.begin(), options.end());
        for (const std::string& word :
             {std::string("-pass"), "file:" + path("key"), std::string("-in"), path("plain"),
              std::string("-out"), path(name)})
            words.push_back(word);
        EXPECT_EQ(run(words).status, 0);
        return path(name);
    }
    CtlResult decrypt(const std::string& input) const {
        return ctl({"decrypt", "--key", path("key"), input, path("out")});
    }
    /// Nothing was written, no temporary file either.
    void expectNothingWritten() const {
        EXPECT_FALSE(root_.exists("/out"));
        for (const auto& entry : std::filesystem::directory_iterator(root_.path()))
            EXPECT_THAT(entry.path().filename().string(), Not(HasSubstr("tmp")));
    }

    const PhoneRoot root_;
};

TEST_F(CryptCommand, TheStockToolReadsWhatIsEncrypted) {
    const CtlResult result = ctl({"encrypt", "--key", path("key"), path("plain"), path("out")});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, IsEmpty());
    EXPECT_EQ(modeOf("out"), 0644U);
    EXPECT_EQ(run({"openssl", "enc", "-d", "-aes-128-cbc", "-pbkdf2", "-pass",
                   "file:" + path("key"), "-in", path("out")})
                  .output,
              PLAIN);
}

TEST_F(CryptCommand, TwoEncryptionsDiffer) {
    ctl({"encrypt", "--key", path("key"), path("plain"), path("one")});
    ctl({"encrypt", "--key", path("key"), path("plain"), path("two")});
    EXPECT_NE(root_.read("/one"), root_.read("/two"));
}

TEST_F(CryptCommand, DecryptsWhatTheStockToolMade) {
    const CtlResult result = decrypt(stock({"-aes-128-cbc", "-pbkdf2"}, "encrypted"));
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(root_.read("/out"), PLAIN);
    EXPECT_EQ(modeOf("out"), 0600U);
}

TEST_F(CryptCommand, WorksOnTheStandardStreams) {
    const std::string key = " --key '" + path("key") + "' - - ";
    const CtlResult result =
        shell("printf 'a\\0b' | \"$OVOCTL\" encrypt" + key + " | \"$OVOCTL\" decrypt" + key);
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.output, std::string("a\0b", 3));
    EXPECT_EQ(shell("\"$OVOCTL\" encrypt --key '" + path("key") + "' '" + path("plain") +
                    "' - >/dev/full")
                  .status,
              3);
}

TEST_F(CryptCommand, TheKeyIsThatOfThePhone) {
    root_.write("/etc/ovo.d/key", "secret-of-the-test\n");
    ::chmod(path("etc/ovo.d/key").c_str(), 0600);
    EXPECT_EQ(ctl({"decrypt", stock({"-aes-128-cbc", "-pbkdf2"}, "encrypted"), "-"}).output, PLAIN);
}

TEST_F(CryptCommand, AnExistingFileIsReplacedOnlyWhenToldTo) {
    root_.write("/out", "old");
    for (const char* command : {"encrypt", "decrypt"}) {
        const CtlResult result = ctl({command, "--key", path("key"), path("plain"), path("out")});
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.errors,
                  "ovoctl: \"" + path("out") + "\" is there already; --force replaces it\n");
    }
    EXPECT_EQ(ctl({"keygen", path("out")}).status, 2);
    EXPECT_EQ(root_.read("/out"), "old");
    EXPECT_EQ(ctl({"encrypt", "--force", "--key", path("key"), path("plain"), path("out")}).status,
              0);
    EXPECT_EQ(ctl({"decrypt", "--force", "--key", path("key"), path("out"), path("out")}).status,
              0);
    EXPECT_EQ(root_.read("/out"), PLAIN);
    EXPECT_EQ(modeOf("out"), 0600U);
}

TEST_F(CryptCommand, SaysWhyAFileCannotBeDecrypted) {
    struct Case {
        std::string file;
        std::string text;
    };
    const std::string good = stock({"-aes-128-cbc", "-pbkdf2"}, "good");
    root_.write("/cut", root_.read("/good").substr(0, 40));
    for (const Case& one : std::initializer_list<Case>{
             {path("plain"), "the file is not encrypted"},
             {path("cut"), "the file is damaged or was cut"},
             {stock({"-aes-128-cbc"}, "old"), "without -pbkdf2"},
             {stock({"-aes-256-cbc", "-pbkdf2"}, "cipher"), "another cipher"},
             {stock({"-aes-128-cbc", "-pbkdf2", "-a"}, "text"), "without -a"}}) {
        const CtlResult result = decrypt(one.file);
        EXPECT_EQ(result.status, 1) << one.text;
        EXPECT_THAT(result.errors, AllOf(HasSubstr("cannot decrypt \"" + one.file + "\": "),
                                         HasSubstr(one.text), Not(HasSubstr("secret"))));
        expectNothingWritten();
    }
}

TEST_F(CryptCommand, AKeyThatOthersCanReadIsRefused) {
    for (const unsigned int mode : {0644U, 0640U, 0604U, 0660U}) {
        ::chmod(path("key").c_str(), mode);
        for (const char* command : {"encrypt", "decrypt"}) {
            const CtlResult result =
                ctl({command, "--force", "--key", path("key"), path("plain"), path("out")});
            EXPECT_EQ(result.status, 2);
            std::ostringstream text;
            text << std::oct << mode;
            EXPECT_THAT(result.errors, AllOf(HasSubstr(path("key")), HasSubstr("0" + text.str())));
            expectNothingWritten();
        }
    }
}

TEST_F(CryptCommand, WrongFilesAreNamed) {
    root_.write("/empty", "");
    ::chmod(path("empty").c_str(), 0600);
    root_.write("/encrypted", "Salted__12345678");
    const auto expect = [&](const std::vector<std::string>& words, int status,
                            const std::string& text) {
        const CtlResult result = ctl(words);
        EXPECT_EQ(result.status, status) << result.errors;
        EXPECT_THAT(result.errors, HasSubstr(text));
        expectNothingWritten();
    };
    expect({"encrypt", "--key", path("none"), path("plain"), path("out")}, 2,
           "cannot read the key file \"" + path("none") + "\": No such file");
    expect({"encrypt", path("plain"), path("out")}, 2, path("etc/ovo.d/key"));
    expect({"encrypt", "--key", path("empty"), path("plain"), path("out")}, 2,
           "the first line of the key file \"" + path("empty") + "\" is empty");
    expect({"encrypt", "--key", root_.path(), path("plain"), path("out")}, 2, "is not a file");
    expect({"encrypt", "--key", path("key"), path("none"), path("out")}, 2,
           "cannot read \"" + path("none") + "\"");
    expect({"encrypt", "--key", path("key"), path("encrypted"), path("out")}, 2,
           "is encrypted already");
    expect({"encrypt", "--key", path("key"), path("plain"), path("no/out")}, 3,
           "cannot write \"" + path("no/out") + "\": No such file");
    expect({"keygen", path("no/out")}, 3, "cannot write");
    std::filesystem::create_directory(path("directory"));
    expect({"keygen", "--force", path("directory")}, 3, "Is a directory");
    expect({"encrypt", "--key", path("key"), path("plain")}, 2, "OUT is required");
    expect({"decrypt", "--key", path("key"), "--key", path("key"), path("plain"), path("out")}, 2,
           "--key");
}

TEST_F(CryptCommand, MakesKeysForTheirOwnerAlone) {
    ::umask(0);
    EXPECT_EQ(ctl({"keygen", path("new")}).status, 0);
    EXPECT_EQ(modeOf("new"), 0600U);
    const std::string key = root_.read("/new");
    EXPECT_EQ(key.size(), 65U);
    EXPECT_EQ(key.find_first_not_of("0123456789abcdef"), 64U);
    EXPECT_NE(ctl({"keygen", "-"}).output, key);
    EXPECT_EQ(ctl({"encrypt", "--key", path("new"), path("plain"), path("encrypted")}).status, 0);
    EXPECT_EQ(ctl({"decrypt", "--key", path("new"), path("encrypted"), "-"}).output, PLAIN);
}

TEST_F(CryptCommand, SaysWhatWasWrittenInJson) {
    const auto expectWritten = [&](const std::vector<std::string>& words, const std::string& name,
                                   std::size_t size) {
        const CtlResult result = ctl(words);
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(result.output,
                  "{\"bytes\":" + std::to_string(size) + ",\"file\":\"" + path(name) + "\"}\n");
        EXPECT_EQ(root_.read("/" + name).size(), size);
    };
    expectWritten({"encrypt", "--json", "--key", path("key"), path("plain"), path("a")}, "a", 48);
    expectWritten({"decrypt", "--json", "--key", path("key"), path("a"), path("b")}, "b",
                  std::string(PLAIN).size());
    expectWritten({"keygen", "--json", path("c")}, "c", 65);
    const CtlResult odd = ctl({"keygen", "--json", path("d\xff")});
    EXPECT_EQ(odd.output, "{\"bytes\":65,\"file\":\"" + path("d\\\\xff") + "\"}\n");
    const CtlResult failed =
        ctl({"decrypt", "--json", "--key", path("key"), path("plain"), path("out")});
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.output, AllOf(testing::StartsWith("{\"cause\":\"the file is not encrypted"),
                                     HasSubstr("\",\"file\":null}\n")));
    EXPECT_THAT(failed.errors, HasSubstr("cannot decrypt"));
    expectNothingWritten();
}

TEST_F(CryptCommand, JsonAndTheResultDoNotShareTheStandardOutput) {
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"encrypt", "--json", "--key", path("key"), path("plain"), "-"},
          {"decrypt", "--json", "--key", path("key"), path("plain"), "-"},
          {"keygen", "--json", "-"}}) {
        const CtlResult result = ctl(words);
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.output, IsEmpty());
        EXPECT_EQ(result.errors, "ovoctl: --json says what was written to a file, and that is the "
                                 "standard output\n");
    }
}

TEST_F(CryptCommand, ALinkInThePlaceOfTheResultIsNotWrittenThrough) {
    root_.write("/target", "old");
    std::filesystem::create_symlink(path("target"), path("out"));
    EXPECT_EQ(ctl({"keygen", path("out")}).status, 2);
    EXPECT_EQ(ctl({"keygen", "--force", path("out")}).status, 0);
    EXPECT_EQ(root_.read("/target"), "old");
    EXPECT_FALSE(std::filesystem::is_symlink(path("out")));
}

} // namespace
