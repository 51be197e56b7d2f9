// SPDX-License-Identifier: Apache-2.0
#include "CertificateMaker.h"
#include "http/Aes128CbcDecrypter.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::ThrowsMessage;

constexpr const char* KEY_FILE = "/etc/ovo.d/key";
constexpr const char* FILE_PATH = "/var/provisioning.xml";
constexpr const char* DAMAGED = "Decrypting \"/var/provisioning.xml\" failed: "
                                "the key is wrong or the file is damaged";
constexpr const char* NOT_ENCRYPTED =
    "\"/var/provisioning.xml\" is not encrypted; it is used as it is";

class Decrypter : public testing::Test {
protected:
    /// What the stock tool makes of a text with the key file that is there.
    std::string encrypt(const std::string& plain) {
        return tool.openssl(
            {"enc", "-aes-128-cbc", "-pbkdf2", "-pass", "file:" + phone.host(KEY_FILE)}, plain);
    }
    std::string decrypt(const std::string& content) {
        phone.write(FILE_PATH, content);
        return http::Aes128CbcDecrypter(KEY_FILE).decrypt(FILE_PATH);
    }
    /// Nothing for the sentence about key and damage; every other error fails the test.
    std::optional<std::string> tryToDecrypt(const std::string& content) {
        try {
            return decrypt(content);
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), DAMAGED);
            return std::nullopt;
        }
    }

    const PhoneRoot phone;
    CertificateMaker tool;
};

TEST_F(Decrypter, GivesWhatTheStockToolEncrypted) {
    phone.write(KEY_FILE, "the key\n");
    std::string large;
    for (int i = 0; i < 100000; ++i)
        large += "byte " + std::to_string(i) + '\0';
    std::vector<std::string> texts{"", "x", "<a/>\n", std::string("\0\xff", 2), large};
    for (const std::size_t size : {15U, 16U, 17U, 31U, 32U, 33U})
        texts.emplace_back(size, '\x10');
    for (const std::string& text : texts) {
        const std::string encrypted = encrypt(text);
        EXPECT_EQ(decrypt(encrypted), text);
        EXPECT_EQ(phone.read(FILE_PATH), encrypted) << "the file is not touched";
    }
    EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST_F(Decrypter, TakesTheKeyThatTheStockToolTakes) {
    const std::vector<std::string> keyFiles{
        "key",
        "key\n",
        "key\nother line\n",
        "key\r\n",
        " key \t\n",
        std::string("key\0more\n", 9),
        "gr\xc3\xbc\xc3\x9f\xff\n",
        std::string(1022, 'k') + "\n",
        std::string(1023, 'k') + "\n",
        std::string(1024, 'k') + "\n",
        std::string(3000, 'k'),
    };
    for (const std::string& keyFile : keyFiles) {
        phone.write(KEY_FILE, keyFile);
        EXPECT_EQ(decrypt(encrypt("content")), "content") << keyFile.substr(0, 20);
    }
}

TEST_F(Decrypter, ReadsTheKeyAtEachDecryption) {
    phone.write(KEY_FILE, "first");
    const std::string first = encrypt("one");
    http::Aes128CbcDecrypter decrypter(KEY_FILE);
    phone.write(FILE_PATH, first);
    EXPECT_EQ(decrypter.decrypt(FILE_PATH), "one");
    phone.write(KEY_FILE, "second");
    phone.write(FILE_PATH, encrypt("two"));
    EXPECT_EQ(decrypter.decrypt(FILE_PATH), "two");
}

TEST_F(Decrypter, AWrongKeyIsOneSentence) {
    phone.write(KEY_FILE, "right");
    const std::string encrypted = encrypt("<provisioning/>");
    // One wrong key in 256 leaves bytes that look like padding; then the content is another.
    int refused = 0;
    for (const std::string key :
         {"wrong", "Right", "right ", "right\r\n", "righ", "rightt", "r", "0"}) {
        phone.write(KEY_FILE, key);
        const std::optional<std::string> plain = tryToDecrypt(encrypted);
        EXPECT_NE(plain, "<provisioning/>");
        refused += plain ? 0 : 1;
    }
    EXPECT_GE(refused, 4);
}

TEST_F(Decrypter, ATruncatedFileIsTheSameSentence) {
    phone.write(KEY_FILE, "right");
    // Letters are no padding: every cut shows.
    const std::string encrypted = encrypt(std::string(100, 'x'));
    ASSERT_EQ(encrypted.size(), 16 + 112U);
    for (std::size_t size = 8; size < encrypted.size(); ++size)
        EXPECT_EQ(tryToDecrypt(encrypted.substr(0, size)), std::nullopt) << size;
    for (std::size_t more = 1; more < 16; ++more)
        EXPECT_EQ(tryToDecrypt(encrypted + std::string(more, 'x')), std::nullopt) << more;
}

TEST_F(Decrypter, ADamagedPaddingIsTheSameSentence) {
    phone.write(KEY_FILE, "right");
    // 12 bytes of padding, each 0x0c. A change in the block before changes the same place of it.
    const std::string encrypted = encrypt(std::string(20, 'x'));
    for (std::size_t fromEnd = 1; fromEnd <= 12; ++fromEnd) {
        std::string damaged = encrypted;
        damaged[damaged.size() - 16 - fromEnd] ^= '\x40';
        EXPECT_EQ(tryToDecrypt(damaged), std::nullopt) << fromEnd;
    }
}

TEST_F(Decrypter, NoDamageGivesTheContent) {
    phone.write(KEY_FILE, "right");
    const std::string plain(20, 'x');
    const std::string encrypted = encrypt(plain);
    for (std::size_t at = 8; at < encrypted.size(); ++at) {
        std::string damaged = encrypted;
        damaged[at] ^= '\x01';
        EXPECT_NE(tryToDecrypt(damaged), plain) << at;
    }
}

TEST_F(Decrypter, AFileThatIsNotEncryptedIsSaidToBe) {
    phone.write(KEY_FILE, "right");
    for (const std::string content : {"", "S", "Salted_", "<provisioning/>", "salted__12345678",
                                      " Salted__12345678", "U2FsdGVkX1"})
        EXPECT_THAT([&] { decrypt(content); }, ThrowsMessage<std::runtime_error>(NOT_ENCRYPTED))
            << content;
    // That needs no key.
    std::filesystem::remove(phone.host(KEY_FILE));
    EXPECT_THAT([&] { decrypt("<a/>"); }, ThrowsMessage<std::runtime_error>(NOT_ENCRYPTED));
}

TEST_F(Decrypter, ALargePlainFileIsNotRead) {
    phone.write(FILE_PATH, "<provisioning/>");
    std::filesystem::resize_file(phone.host(FILE_PATH), std::uintmax_t{100} << 30U);
    EXPECT_THAT([&] { http::Aes128CbcDecrypter(KEY_FILE).decrypt(FILE_PATH); },
                ThrowsMessage<std::runtime_error>(NOT_ENCRYPTED));
}

TEST_F(Decrypter, AnEncryptedFileWithMoreThanTheLargestDocumentIsRefusedUnread) {
    phone.write(KEY_FILE, "right");
    phone.write(FILE_PATH, "Salted__12345678");
    std::filesystem::resize_file(phone.host(FILE_PATH), (16U << 20U) + 33);
    EXPECT_THAT([&] { http::Aes128CbcDecrypter(KEY_FILE).decrypt(FILE_PATH); },
                ThrowsMessage<std::runtime_error>(HasSubstr(std::to_string((16U << 20U) + 32))));
    std::filesystem::resize_file(phone.host(FILE_PATH), (16U << 20U) + 32);
    EXPECT_THAT([&] { http::Aes128CbcDecrypter(KEY_FILE).decrypt(FILE_PATH); },
                ThrowsMessage<std::runtime_error>(DAMAGED));
}

TEST_F(Decrypter, AMissingKeyFileIsNamed) {
    EXPECT_THAT(
        [&] { decrypt("Salted__12345678" + std::string(16, 'x')); },
        ThrowsMessage<std::runtime_error>("Decrypting \"/var/provisioning.xml\" failed: no key: "
                                          "Reading \"/etc/ovo.d/key\": No such file or directory"));
}

TEST_F(Decrypter, AKeyFileWithoutAKeyIsNamed) {
    for (const std::string& keyFile :
         {std::string(), std::string("\n"), std::string("\nkey\n"), std::string("\0key", 4)}) {
        phone.write(KEY_FILE, keyFile);
        EXPECT_THAT([&] { decrypt("Salted__12345678" + std::string(16, 'x')); },
                    ThrowsMessage<std::runtime_error>(
                        "Decrypting \"/var/provisioning.xml\" failed: no key: "
                        "the first line of \"/etc/ovo.d/key\" is empty"));
    }
}

TEST_F(Decrypter, AMissingFileIsNamed) {
    phone.write(KEY_FILE, "right");
    EXPECT_THAT([] { http::Aes128CbcDecrypter(KEY_FILE).decrypt("/none"); },
                ThrowsMessage<std::runtime_error>("Reading \"/none\": No such file or directory"));
    EXPECT_THROW(http::Aes128CbcDecrypter(KEY_FILE).decrypt("/var/../var/x"), std::runtime_error);
}

TEST_F(Decrypter, NoMessageShowsTheKey) {
    phone.write(KEY_FILE, "secret");
    for (const std::string content : {"<a/>", "Salted__", "Salted__12345678xxxxxxxxxxxxxxxx"}) {
        try {
            decrypt(content);
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), Not(HasSubstr("secret")));
        }
    }
}

TEST_F(Decrypter, SeveralThreadsMayDecrypt) {
    phone.write(KEY_FILE, "right");
    phone.write(FILE_PATH, encrypt("content"));
    http::Aes128CbcDecrypter decrypter(KEY_FILE);
    std::vector<std::jthread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&] { EXPECT_EQ(decrypter.decrypt(FILE_PATH), "content"); });
}

} // namespace
